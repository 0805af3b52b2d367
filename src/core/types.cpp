#include <math/types.h>

#include <cmath>

#include "core/tolerance.h"

CPolarVector::CPolarVector(CPointD const& v) : length(std::hypot(v.x, v.y)) {
  // Not longer than EPS is no direction at all: keep it all zero rather
  // than a direction blown up from rounding noise.
  if (length > Math::tol::kEps) {
    dx = v.x / length;
    dy = v.y / length;
  } else {
    length = 0.0;
  }
}

CPolarVector::CPolarVector(CPointD const& p, CPointD const& q) : CPolarVector(q - p) {}

CPolarVector operator+(CPolarVector const& a, CPolarVector const& b) {
  return CPolarVector(CPointD{a.dx * a.length + b.dx * b.length, a.dy * a.length + b.dy * b.length});
}

CPointD operator+(CPointD const& p, CPolarVector const& v) { return {p.x + v.dx * v.length, p.y + v.dy * v.length}; }
