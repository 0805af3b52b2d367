#include <math/smoothing.h>

#include <cmath>
#include <cstddef>
#include <limits>

#include "core/geom_impl.h"
#include "core/tolerance.h"
#include "polyline/resample_impl.h"

namespace Math {
namespace {

CPointD Binomial(CPointD const& prev, CPointD const& p, CPointD const& next) {
  return prev * 0.25 + p * 0.5 + next * 0.25;
}

}  // namespace

void PolyResample(std::vector<CPointD>& poly, double dStep) {
  if (poly.size() < 2 || !(dStep > 0.0) || !geom_detail::AllFinite(poly)) return;

  // Count first: a tiny step against huge coordinates would otherwise
  // allocate without bound.
  double const total = resample_detail::Capacity(poly.data(), poly.size(), dStep);
  if (!(total <= static_cast<double>(std::numeric_limits<int>::max()))) return;

  std::vector<CPointD> out;
  out.reserve(static_cast<std::size_t>(total));
  for (std::size_t i = 1; i < poly.size(); ++i) {
    CPointD const& a = poly[i - 1];
    CPointD const d = poly[i] - a;
    out.push_back(a);
    double const len = std::hypot(d.x, d.y);
    if (len > dStep) {
      double const dt = 1.0 / std::ceil(len / dStep);
      // Repeated addition is the contract: it decides whether a point lands
      // just short of the segment's end.
      for (double t = dt; t < 1.0; t += dt) out.push_back(a + d * t);
    }
  }
  out.push_back(poly.back());
  poly.swap(out);
}

void GaussSmoothing(std::vector<CPointD>& poly) {
  std::size_t const n = poly.size();
  if (n < 3 || !geom_detail::AllFinite(poly)) return;
  bool const closed =
      std::abs(poly[0].x - poly[n - 1].x) < tol::kEps && std::abs(poly[0].y - poly[n - 1].y) < tol::kEps;

  std::vector<CPointD> out(n);
  out[0] = closed ? Binomial(poly[n - 2], poly[0], poly[1]) : poly[0];
  for (std::size_t i = 1; i + 1 < n; ++i) out[i] = Binomial(poly[i - 1], poly[i], poly[i + 1]);
  out[n - 1] = closed ? out[0] : poly[n - 1];
  poly.swap(out);
}

void ReconnectPoly(std::vector<CPointD>& poly, unsigned int k) {
  std::size_t const n = poly.size();
  if (n < 2 || k == 0 || k >= n - 1) return;
  CPointD const d = poly[n - 1] - poly[0];
  if (!(std::hypot(d.x, d.y) < tol::kEps)) return;

  std::vector<CPointD> out;
  out.reserve(n);
  out.insert(out.end(), poly.begin() + k, poly.end());
  out.insert(out.end(), poly.begin() + 1, poly.begin() + k + 1);
  poly.swap(out);
}

}  // namespace Math
