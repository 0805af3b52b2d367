#include <math/splines.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

#include <math/line.h>
#include <math/ptstat.h>

#include "core/tolerance.h"
#include "polyline/splines_impl.h"

namespace Math {
namespace {

double Dot(CPointD const& a, CPointD const& b) { return a.x * b.x + a.y * b.y; }
double Length(CPointD const& v) { return std::hypot(v.x, v.y); }
bool Finite(CPointD const& p) { return std::isfinite(p.x) && std::isfinite(p.y); }

// The slopes shared by CSpline::Create and the densifications: 1 with one M
// per point in `m`, 0 for too few points, -1 when the system cannot be
// solved. `m` is written only on success.
int ComputeSlopes(std::vector<CPointD> const& pts, CPointD const* tangent, std::vector<CPointD>& m) {
  std::size_t const n = pts.size();
  bool const closed = n > 2 && Length(pts.back() - pts.front()) < tol::kEps;
  if (n < (closed ? 4u : 3u)) return 0;
  // A NaN would not stop the elimination (the pivots come from the constant
  // coefficients alone); it would only fill M with NaN, so refuse it here.
  for (CPointD const& p : pts)
    if (!Finite(p)) return -1;
  if (tangent && !closed && !Finite(*tangent)) return -1;

  std::size_t const k = closed ? n - 1 : n;
  std::vector<double> a(k, 1.0), b(k, 4.0), c(k, 1.0);
  std::vector<CPointD> r(k);
  for (std::size_t i = 1; i + 1 < k; ++i) r[i] = (pts[i - 1] - pts[i] * 2.0 + pts[i + 1]) * 6.0;
  if (closed) {
    r[0] = (pts[k - 1] - pts[0] * 2.0 + pts[1]) * 6.0;
    r[k - 1] = (pts[k - 2] - pts[k - 1] * 2.0 + pts[0]) * 6.0;
  } else {
    if (tangent) {
      a[0] = 0.0, b[0] = 2.0, c[0] = 1.0;
      r[0] = ((pts[1] - pts[0]) - *tangent) * 6.0;
    } else {
      a[0] = 0.0, b[0] = 1.0, c[0] = 0.0;
      r[0] = {0.0, 0.0};
    }
    // The finishing end stays natural even with a start tangent.
    a[k - 1] = 0.0, b[k - 1] = 1.0, c[k - 1] = 0.0;
    r[k - 1] = {0.0, 0.0};
  }
  std::vector<CPointD> sol;
  if (!spline_detail::SolveTridiagonal(a, b, c, r, sol)) return -1;
  if (closed) sol.push_back(sol.front());
  m.swap(sol);
  return 1;
}

// Roots of n . S'(t) = 0 strictly inside (t0, t1), n the chord's unit normal:
// the points where the curve runs parallel to the chord, i.e. its extremes
// against it. Returns their count (0 to 2).
int ExtremesAgainstChord(CSplineItem const& s, CPointD const& A, CPointD const& B, double L, double t0, double t1,
                         double& x1, double& x2) {
  CPointD const n{-(B.y - A.y) / L, (B.x - A.x) / L};
  return SolveQuadratic(3.0 * Dot(n, s.c3), 2.0 * Dot(n, s.c2), Dot(n, s.c1), x1, x2, t0, t1);
}

double ChordDistance(CPointD const& A, CPointD const& B, CPointD const& p) {
  return std::abs(CPtToEdge(CEdge{A, B}, p).dist);
}

// A step along a chord as a parameter increment, or 0 when it cannot
// advance t (not a positive number, or lost when added to 1).
double ParamStep(double step, double chord) {
  double const dt = step / chord;
  return (dt > 0.0 && 1.0 + dt > 1.0) ? dt : 0.0;
}

}  // namespace

// ------------------------------------------------------------ CSplineItem

CSplineItem CSplineItem::Create(CPointD const& p0, CPointD const& m0, CPointD const& p1, CPointD const& m1) {
  CSplineItem s;
  s.c0 = p0;
  s.c2 = m0 * 0.5;
  s.c3 = (m1 - m0) / 6.0;
  s.c1 = p1 - (s.c3 + s.c2 + s.c0);
  return s;
}

CPointD CSplineItem::Value(double t) const { return ((c3 * t + c2) * t + c1) * t + c0; }

CSplineItem CSplineItem::Derivative(unsigned int k) const {
  CSplineItem d = *this;
  // Past the third derivative everything is zero; stop there rather than
  // loop k times.
  for (unsigned int i = 0; i < k && i < 4; ++i) d = CSplineItem(d.c1, d.c2 * 2.0, d.c3 * 3.0, {0.0, 0.0});
  return d;
}

double CSplineItem::Deviation(double t0, double t1) const {
  CPointD const A = Value(t0);
  CPointD const B = Value(t1);
  double const L = Length(B - A);
  if (!(L > tol::kFltEps)) return 0.0;
  double x1 = 0.0, x2 = 0.0;
  if (ExtremesAgainstChord(*this, A, B, L, t0, t1, x1, x2) == 0) return 0.0;
  // A single root comes back in both x1 and x2.
  return std::max(ChordDistance(A, B, Value(x1)), ChordDistance(A, B, Value(x2)));
}

int CSplineItem::GetParams(std::vector<double>& params, double tol) const {
  // Inserting c points after params[k] and re-examining interval k visits
  // the intervals depth first, left to right; an explicit stack of pending
  // intervals gives the same list without shifting the vector on every
  // insertion. Each interval's end is appended once the interval is done.
  struct Interval {
    double lo, hi;
  };
  std::vector<double> out{0.0};
  std::vector<Interval> pending{{0.0, 1.0}};
  while (!pending.empty()) {
    Interval const iv = pending.back();
    pending.pop_back();
    CPointD const A = Value(iv.lo);
    CPointD const B = Value(iv.hi);
    double const L = Length(B - A);
    if (!(L > tol::kEps)) {
      // The subdivision ends here; the ends already inserted stay.
      out.push_back(iv.hi);
      while (!pending.empty()) {
        out.push_back(pending.back().hi);
        pending.pop_back();
      }
      break;
    }
    double x[2] = {0.0, 0.0};
    int const roots = ExtremesAgainstChord(*this, A, B, L, iv.lo, iv.hi, x[0], x[1]);
    int far = 0;
    for (int i = 0; i < roots; ++i)
      if (ChordDistance(A, B, Value(x[i])) >= tol) ++far;
    if (far == 0) {
      out.push_back(iv.hi);
      continue;
    }
    // The c + 1 equal parts, pushed last first so the first is examined next.
    double const w = (iv.hi - iv.lo) / (far + 1);
    for (int j = far; j >= 0; --j) {
      double const lo = j == 0 ? iv.lo : iv.lo + w * j;
      double const hi = j == far ? iv.hi : iv.lo + w * (j + 1);
      pending.push_back({lo, hi});
    }
  }
  params.swap(out);
  return static_cast<int>(params.size());
}

void CSplineItem::BuildCurve(std::vector<CPointD>& out, double step) const {
  CPointD const P0 = Value(0.0);
  CPointD const P1 = Value(1.0);
  double const L = Length(P1 - P0);
  if (!(L >= tol::kEps)) {
    out.clear();
    return;
  }
  double const dt = ParamStep(step, L);
  if (dt == 0.0) return;
  std::vector<CPointD> pts;
  for (double t = 0.0; tol::LeWithin(t, 1.0); t += dt) pts.push_back(Value(t));
  pts.front() = P0;
  // The last sample is replaced, not kept beside S(1): with a step that does
  // not divide the chord the final gap is shorter than the others would be
  // plus up to one whole step.
  if (pts.size() > 1)
    pts.back() = P1;
  else
    pts.push_back(P1);
  out.swap(pts);
}

CSplineItem CSplineItem::operator+(CSplineItem const& o) const {
  return {c0 + o.c0, c1 + o.c1, c2 + o.c2, c3 + o.c3};
}
CSplineItem CSplineItem::operator-(CSplineItem const& o) const {
  return {c0 - o.c0, c1 - o.c1, c2 - o.c2, c3 - o.c3};
}
CSplineItem CSplineItem::operator-() const { return {-c0, -c1, -c2, -c3}; }
CSplineItem CSplineItem::operator*(double s) const { return {c0 * s, c1 * s, c2 * s, c3 * s}; }
CSplineItem CSplineItem::operator/(double s) const { return {c0 / s, c1 / s, c2 / s, c3 / s}; }
CSplineItem& CSplineItem::operator*=(double s) { return *this = *this * s; }
CSplineItem& CSplineItem::operator/=(double s) { return *this = *this / s; }

// ---------------------------------------------------------------- CSpline

bool CSpline::Create(std::vector<CPointD> const& pts, CPointD const* startTangent) {
  std::vector<CPointD> m;
  if (ComputeSlopes(pts, startTangent, m) <= 0) {
    points.clear();
    slopes.clear();
    return false;
  }
  points = pts;
  slopes.swap(m);
  return true;
}

unsigned int CSpline::Count() const { return points.empty() ? 0u : static_cast<unsigned int>(points.size() - 1); }

CPointD const* CSpline::Points(unsigned int i) const {
  return std::size_t{i} + 1 < points.size() ? &points[i] : nullptr;
}

CPointD const* CSpline::Slopes(unsigned int i) const {
  return std::size_t{i} + 1 < slopes.size() ? &slopes[i] : nullptr;
}

CSplineItem CSpline::Item(unsigned int i) const {
  // Both vectors are checked: a caller may have filled them unevenly.
  if (std::size_t{i} + 1 >= points.size() || std::size_t{i} + 1 >= slopes.size()) return {};
  return CSplineItem::Create(points[i], slopes[i], points[i + 1], slopes[i + 1]);
}

// ------------------------------------------------------- densifications

int ReduceToSpline(std::vector<CPointD>& pts, int k) {
  if (k < 1 || pts.size() < 2) return 0;
  std::vector<CPointD> m;
  int const rc = ComputeSlopes(pts, nullptr, m);
  if (rc <= 0) return rc;
  std::size_t const segs = pts.size() - 1;
  std::vector<CPointD> out;
  out.reserve(pts.size() + segs * static_cast<std::size_t>(k));
  for (std::size_t i = 0; i < segs; ++i) {
    CSplineItem const s = CSplineItem::Create(pts[i], m[i], pts[i + 1], m[i + 1]);
    out.push_back(pts[i]);
    for (int j = 1; j <= k; ++j) out.push_back(s.Value(static_cast<double>(j) / (k + 1)));
  }
  out.push_back(pts.back());
  pts.swap(out);
  return 1;
}

int ReduceToSpline(std::vector<CPointD>& pts, double tol) {
  // Without a positive tolerance every interval would be split until its
  // chord vanishes: no useful answer, only a flood of points.
  if (!(tol > 0.0)) return 0;
  std::vector<CPointD> m;
  int const rc = ComputeSlopes(pts, nullptr, m);
  if (rc <= 0) return rc;
  std::vector<CPointD> out;
  out.reserve(pts.size());
  std::vector<double> params;
  for (std::size_t i = 0; i + 1 < pts.size(); ++i) {
    CSplineItem const s = CSplineItem::Create(pts[i], m[i], pts[i + 1], m[i + 1]);
    out.push_back(pts[i]);
    s.GetParams(params, tol);
    for (std::size_t j = 1; j + 1 < params.size(); ++j) out.push_back(s.Value(params[j]));
  }
  out.push_back(pts.back());
  if (out.size() == pts.size()) return 0;
  pts.swap(out);
  return 1;
}

int SplineSmoothing(std::vector<CPointD>& pts, double step, CPointD const* startTangent) {
  if (!(step > 0.0)) return 0;
  std::vector<CPointD> m;
  int const rc = ComputeSlopes(pts, startTangent, m);
  if (rc <= 0) return rc;
  std::vector<CPointD> out;
  out.reserve(pts.size());
  for (std::size_t i = 0; i + 1 < pts.size(); ++i) {
    out.push_back(pts[i]);
    double const len = Length(pts[i + 1] - pts[i]);
    // A repeated point has no chord to step along.
    if (!(len >= tol::kEps)) continue;
    double const dt = ParamStep(step, len);
    if (dt == 0.0) return 0;
    CSplineItem const s = CSplineItem::Create(pts[i], m[i], pts[i + 1], m[i + 1]);
    for (double t = dt; tol::LeWithin(t, 1.0 - dt); t += dt) out.push_back(s.Value(t));
  }
  out.push_back(pts.back());
  if (out.size() == pts.size()) return 0;
  pts.swap(out);
  return 1;
}

}  // namespace Math
