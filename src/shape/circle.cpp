#include <math/circle.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include <math/line.h>

#include "core/geom_impl.h"
#include "core/tolerance.h"

namespace Math {

static_assert(sizeof(CCircleReduce::CResult) == 2 + 4 * sizeof(double), "CResult must stay packed");

namespace {

using geom_detail::IsFinite;
using geom_detail::kPi;
constexpr double kTwoPi = 2 * kPi;
// Coarsest step of a full circle: at least 8 sides.
constexpr double kMaxCircleStep = kPi / 4;
// Rounding slack of the side count, so that a step that divides the circle
// a hair too finely does not cost a whole extra side.
constexpr double kCircleCountSlack = 0.999;
constexpr double kArcCountSlack = 0.9;
// Levenberg-Marquardt budget of the geometric refinement: Taubin's start is
// close, so a handful of steps converge; the caps only bound bad cases.
constexpr int kMaxLmIterations = 50;
constexpr int kMaxLmRetries = 12;
constexpr double kLmLambda0 = 1e-3;
// Newton on Taubin's characteristic polynomial converges in a few steps;
// the cap guards against a cycle on degenerate data.
constexpr int kMaxNewtonIterations = 99;

// The angular step shared by both circle-to-polygon conversions: the chord
// angle that deviates by `t` once the vertices are pushed out to the
// compensated radius, clamped to [2 pi / nMax, pi / 4] (nMax wins). False
// for the requests that have no polygon.
bool CircleStep(CPointD const& center, double r, double t, double nMax, double& s) {
  // A NaN tolerance passes this test; its NaN step becomes pi/4 below.
  if (std::abs(t + r) < tol::kEps) return false;
  if (nMax < 2 || !std::isfinite(r) || !IsFinite(center)) return false;
  // r / ((t + r) / 2) is 2r / (t + r) bit for bit, without overflowing 2r.
  s = 2 * std::acos(r / ((t + r) / 2) - 1);
  s = std::isnan(s) ? kMaxCircleStep : std::min(s, kMaxCircleStep);
  s = std::max(s, kTwoPi / nMax);
  return true;
}

// Vertex radius that puts the circle halfway between the vertices and the
// chord midpoints of a polygon with angular step theta.
double CompensatedRadius(double r, double theta) { return r / ((std::cos(theta / 2) + 1) / 2); }

// Solves the 3x3 system m x = rhs by LU factorisation with scaled partial
// pivoting, then forward and back substitution. False when a pivot is
// below EPS relative to its row's largest original entry (a singular
// system; an all-zero or NaN row included) or the solution is not finite.
bool SolveLu3(double m[3][3], double rhs[3], double x[3]) {
  double scale[3];
  for (int i = 0; i < 3; ++i) {
    scale[i] = std::max({std::abs(m[i][0]), std::abs(m[i][1]), std::abs(m[i][2])});
    if (!(scale[i] > 0) || !std::isfinite(scale[i])) return false;
  }
  for (int k = 0; k < 3; ++k) {
    int p = k;
    for (int i = k + 1; i < 3; ++i) {
      if (std::abs(m[i][k]) / scale[i] > std::abs(m[p][k]) / scale[p]) p = i;
    }
    if (!(std::abs(m[p][k]) > tol::kEps * scale[p])) return false;
    if (p != k) {
      for (int j = 0; j < 3; ++j) std::swap(m[p][j], m[k][j]);
      std::swap(scale[p], scale[k]);
      std::swap(rhs[p], rhs[k]);
    }
    for (int i = k + 1; i < 3; ++i) {
      double const f = m[i][k] / m[k][k];
      m[i][k] = f;
      for (int j = k + 1; j < 3; ++j) m[i][j] -= f * m[k][j];
    }
  }
  double y[3];
  for (int i = 0; i < 3; ++i) {
    y[i] = rhs[i];
    for (int j = 0; j < i; ++j) y[i] -= m[i][j] * y[j];
  }
  for (int i = 2; i >= 0; --i) {
    double v = y[i];
    for (int j = i + 1; j < 3; ++j) v -= m[i][j] * x[j];
    x[i] = v / m[i][i];
  }
  return std::isfinite(x[0]) && std::isfinite(x[1]) && std::isfinite(x[2]);
}

// Weighted points in a centred, scaled frame: unit root-mean-square
// distance from the weighted centroid, so the fourth-order sums of Taubin's
// fit neither overflow nor lose digits to an offset.
struct CUnitFrame {
  CPointD origin;
  double scale;
  std::vector<CPointD> pts;
  std::vector<double> w;
};

struct CUnitCircle {
  double a, b, r;
};

double RadialCost(CUnitFrame const& f, double a, double b, double r) {
  double cost = 0;
  for (std::size_t i = 0; i < f.pts.size(); ++i) {
    double const dx = f.pts[i].x - a, dy = f.pts[i].y - b;
    double const e = std::sqrt(dx * dx + dy * dy) - r;
    cost += f.w[i] * e * e;
  }
  return cost;
}

// Taubin's fit: the algebraic circle A z + B x + C y + D = 0 under the
// constraint that normalises by the mean squared gradient, found as the
// smallest root of its characteristic cubic by Newton's method from 0.
// False when the points define no finite circle (collinear).
bool TaubinFit(CUnitFrame const& f, CUnitCircle& c) {
  double mxx = 0, myy = 0, mxy = 0, mxz = 0, myz = 0, mzz = 0;
  for (std::size_t i = 0; i < f.pts.size(); ++i) {
    double const x = f.pts[i].x, y = f.pts[i].y, w = f.w[i];
    double const z = x * x + y * y;
    mxx += w * x * x;
    myy += w * y * y;
    mxy += w * x * y;
    mxz += w * x * z;
    myz += w * y * z;
    mzz += w * z * z;
  }
  double const mz = mxx + myy;
  double const cov = mxx * myy - mxy * mxy;
  double const var = mzz - mz * mz;
  double const a3 = 4 * mz;
  double const a2 = -3 * mz * mz - mzz;
  double const a1 = var * mz + 4 * cov * mz - mxz * mxz - myz * myz;
  double const a0 = mxz * (mxz * myy - myz * mxy) + myz * (myz * mxx - mxz * mxy) - var * cov;
  double x = 0, y = a0;
  for (int it = 0; it < kMaxNewtonIterations; ++it) {
    double const dy = a1 + x * (2 * a2 + 3 * a3 * x);
    double const xn = x - y / dy;
    if (xn == x || !std::isfinite(xn)) break;
    double const yn = a0 + xn * (a1 + xn * (a2 + xn * a3));
    if (std::abs(yn) >= std::abs(y)) break;
    x = xn;
    y = yn;
  }
  double const det = x * x - x * mz + cov;
  double const xc = (mxz * (myy - x) - myz * mxy) / det / 2;
  double const yc = (myz * (mxx - x) - mxz * mxy) / det / 2;
  double const r = std::sqrt(xc * xc + yc * yc + mz);
  // The spread is 1 in this frame: a radius beyond 1/EPS is a straight line.
  if (!std::isfinite(xc) || !std::isfinite(yc) || !std::isfinite(r) || r * tol::kEps > 1) return false;
  c = {xc, yc, r};
  return true;
}

// Levenberg-Marquardt on the weighted squared radial distances, from c.
// Only steps that lower the cost are taken, so the result is never worse
// than the start.
void RefineGeometric(CUnitFrame const& f, CUnitCircle& c) {
  double cost = RadialCost(f, c.a, c.b, c.r);
  double lambda = kLmLambda0;
  for (int it = 0; it < kMaxLmIterations && cost > 0; ++it) {
    double jtj[3][3] = {};
    double jtr[3] = {};
    for (std::size_t i = 0; i < f.pts.size(); ++i) {
      double const dx = f.pts[i].x - c.a, dy = f.pts[i].y - c.b;
      double const d = std::sqrt(dx * dx + dy * dy);
      double const w = f.w[i];
      // A point on the centre has no radial direction; it only pulls r.
      double const j0 = d > 0 ? -dx / d : 0.0;
      double const j1 = d > 0 ? -dy / d : 0.0;
      double const jr[3] = {j0, j1, -1.0};
      double const e = d - c.r;
      for (int p = 0; p < 3; ++p) {
        jtr[p] += w * jr[p] * e;
        for (int q = p; q < 3; ++q) jtj[p][q] += w * jr[p] * jr[q];
      }
    }
    jtj[1][0] = jtj[0][1];
    jtj[2][0] = jtj[0][2];
    jtj[2][1] = jtj[1][2];
    bool improved = false;
    bool converged = false;
    for (int retry = 0; retry < kMaxLmRetries && !improved && !converged; ++retry) {
      double m[3][3];
      double rhs[3];
      for (int p = 0; p < 3; ++p) {
        for (int q = 0; q < 3; ++q) m[p][q] = jtj[p][q];
        m[p][p] += lambda * jtj[p][p];
        rhs[p] = -jtr[p];
      }
      double d[3];
      if (SolveLu3(m, rhs, d)) {
        // A step below rounding of the parameters cannot lower the cost;
        // testing it first saves the retries that would prove so.
        if (std::max({std::abs(d[0]), std::abs(d[1]), std::abs(d[2])}) <= tol::kEps * (1 + std::abs(c.r))) {
          converged = true;
          break;
        }
        double const na = c.a + d[0], nb = c.b + d[1], nr = c.r + d[2];
        double const ncost = RadialCost(f, na, nb, nr);
        if (ncost < cost) {
          converged = cost - ncost <= tol::kEps * cost;
          c = {na, nb, nr};
          cost = ncost;
          lambda *= 0.1;
          improved = true;
          break;
        }
      }
      lambda *= 10;
    }
    if (!improved || converged) break;
  }
  // A radius through zero mirrors the circle; the distances are symmetric.
  c.r = std::abs(c.r);
}

}  // namespace

// ---- circles ------------------------------------------------------------------

CCircle::CCircle(CPointD const& center, double radius) : ptCenter(center), dRadius(std::abs(radius)) {}

bool CCircle::IsValid() const { return dRadius >= tol::kEps && dRadius > 0; }

double CCircle::Angle(CPointD const& p) const {
  if (!(dRadius >= tol::kEps)) return tol::BadValue();
  return std::atan2(p.y - ptCenter.y, p.x - ptCenter.x);
}

bool CCircle::MakePoly(poly_base<CPointD>& out, double tolerance, int nMax) const {
  double s;
  if (!CircleStep(ptCenter, dRadius, tolerance, nMax, s)) return false;
  int const n = static_cast<int>(kTwoPi / s + kCircleCountSlack);
  double const theta = kTwoPi / n;
  double const rv = CompensatedRadius(dRadius, theta);
  out.resize(static_cast<std::size_t>(n) + 1);
  for (int k = 0; k < n; ++k) {
    double const a = k * theta;
    out[k] = {ptCenter.x + rv * std::cos(a), ptCenter.y + rv * std::sin(a)};
  }
  out[n] = out[0];
  return true;
}

bool CircleToPoly(std::vector<CPointD>& out, CPointD const& center, double radius, double tolerance, unsigned nMax) {
  double s;
  if (!CircleStep(center, radius, tolerance, nMax, s)) return false;
  double const n = std::ceil(kTwoPi / s);
  double const theta = kTwoPi / n;
  double const rv = CompensatedRadius(radius, theta);
  out.reserve(out.size() + static_cast<std::size_t>(n) + 2);
  // Repeated addition, not k * theta: the count of vertices follows the
  // accumulated angle, so rounding may add one next to the first.
  for (double a = 0; a < kTwoPi; a += theta) {
    out.push_back({center.x + rv * std::cos(a), center.y + rv * std::sin(a)});
  }
  out.push_back(out.front());
  return true;
}

// ---- arcs -----------------------------------------------------------------------

CArc::CArc(CPointD const& center, double radius, double start, double end)
    : ptCenter(center), dRadius(std::abs(radius)), dStart(start), dEnd(end) {}

bool CArc::IsClockwise() const { return dEnd - dStart < 0; }

bool CArc::IsValid() const { return !(std::abs(dStart) < tol::kEps && std::abs(dEnd) < tol::kEps); }

bool CArc::MakePoly(poly_base<CPointD>& out, double tolerance, int nMax) const {
  double const r = dRadius;
  if (!(r >= tol::kEps && tolerance >= tol::kEps)) return false;
  double const sweep = std::abs(dEnd - dStart);
  // Only a sweep of exactly 0 has no step (0 / 0); any other, however small,
  // gets its four segments. nMax 1 caps the count at 0: the end point alone.
  if (!(sweep > 0) || !std::isfinite(sweep) || nMax < 1 || !IsFinite(ptCenter) || !std::isfinite(r)) {
    return false;
  }
  double const s = 2 * std::acos((r - tolerance) / r);
  double const step = (std::isnan(s) || s > sweep / 2) ? sweep / 4 : s;
  // Capped in double first: a tiny step would overflow the integer.
  double const count = std::min(std::trunc(sweep / step + kArcCountSlack), static_cast<double>(nMax - 1));
  int const n = static_cast<int>(count);
  double const da = (dEnd - dStart) / n;
  out.resize(static_cast<std::size_t>(n) + 1);
  for (int k = 0; k < n; ++k) {
    double const a = dStart + k * da;
    out[k] = {ptCenter.x + r * std::cos(a), ptCenter.y + r * std::sin(a)};
  }
  out[n] = {ptCenter.x + r * std::cos(dEnd), ptCenter.y + r * std::sin(dEnd)};
  return true;
}

CArc MakeArc(CPointD const* pts, double radius) {
  CArc const none(CPointD{0, 0}, 0, 0, 0);
  // A zero radius leaves both tangent points on the corner and the angles
  // to rounding noise; every other radius is computed, however small.
  if (pts == nullptr || radius == 0) return none;
  CPointD const corner = pts[1];
  CPointD const u = pts[0] - corner;
  CPointD const v = pts[2] - corner;
  double const phi = std::abs(std::atan2(u.x * v.y - u.y * v.x, u.x * v.x + u.y * v.y));
  double const d = radius / std::tan(phi * 0.5);
  double const f0 = d / std::hypot(u.x, u.y);
  double const f2 = d / std::hypot(v.x, v.y);
  // Written so that a NaN (zero leg with zero radius, NaN input) refuses too.
  if (!(f0 <= 1) || !(f2 <= 1) || !std::isfinite(f0) || !std::isfinite(f2)) return none;
  CPointD const t0 = corner + u * f0;
  CPointD const t2 = corner + v * f2;
  CPointD center;
  if (!LineToLine(CLine(t0, std::atan2(u.y, u.x)), CLine(t2, std::atan2(v.y, v.x)), center)) return none;
  if (!IsFinite(center)) return none;
  double a0 = std::atan2(t0.y - center.y, t0.x - center.x);
  double const a1 = std::atan2(t2.y - center.y, t2.x - center.x);
  if (std::abs(a1 - a0) > kPi) {
    double const sign = std::abs(a0) < tol::kEps ? 0.0 : (a0 > 0 ? 1.0 : -1.0);
    a0 -= kTwoPi * sign;
  }
  return CArc(center, radius, a0, a1);
}

// ---- circle fit ------------------------------------------------------------------

CCircleReduce::CCircleReduce(CPointD const* pts, unsigned n, double const* weights) : m_result{} {
  if (pts == nullptr || n <= 2) return;
  double sxx = 0, sxy = 0, sx = 0, syy = 0, sy = 0, qx = 0, qy = 0, q = 0;
  for (unsigned i = 0; i < n; ++i) {
    double const x = pts[i].x, y = pts[i].y;
    double const w = weights ? weights[i] * weights[i] : 1.0;
    double const qq = x * x + y * y;
    sxx += w * x * x;
    sxy += w * x * y;
    sx += w * x;
    syy += w * y * y;
    sy += w * y;
    qx += w * qq * x;
    qy += w * qq * y;
    q += w * qq;
  }
  // The last diagonal entry is minus the point count, not the weight sum.
  double m[3][3] = {{4 * sxx, 4 * sxy, -2 * sx}, {4 * sxy, 4 * syy, -2 * sy}, {2 * sx, 2 * sy, -double(n)}};
  double rhs[3] = {2 * qx, 2 * qy, q};
  double sol[3];
  if (!SolveLu3(m, rhs, sol)) return;
  double const a = sol[0], b = sol[1], k = sol[2];
  double const rr = a * a + b * b;
  if (!(k <= rr)) return;
  double const r = std::sqrt(rr - k);
  double dev = 0, wsum = 0;
  for (unsigned i = 0; i < n; ++i) {
    double const w = weights ? weights[i] * weights[i] : 1.0;
    double const e = std::hypot(pts[i].x - a, pts[i].y - b) - r;
    dev += w * e * e;
    wsum += w;
  }
  dev = wsum > 0 ? std::sqrt(dev / wsum) : 0.0;
  if (!std::isfinite(r) || !std::isfinite(dev)) return;
  m_result.bValid = true;
  m_result.ptCenter = CPointD{a, b};
  m_result.dRadius = r;
  m_result.dDeviation = dev;
}

CCircleReduce::CCircleReduce(poly_base<CPointD> const& poly) : m_result{} {
  std::size_t const n = poly.size();
  if (n <= 2) return;
  for (CPointD const& p : poly) {
    if (!IsFinite(p)) return;
  }
  if (!geom_detail::IsClosedRing(poly)) return;

  std::vector<CPt> wpts;
  WeightPoly(poly, wpts);
  NormalizeWeights(wpts);

  CUnitFrame f;
  f.origin = {0, 0};
  for (CPt const& p : wpts) f.origin += p.pt * p.w;
  f.pts.reserve(wpts.size());
  f.w.reserve(wpts.size());
  double spread = 0;
  for (CPt const& p : wpts) {
    CPointD const d = p.pt - f.origin;
    spread += p.w * (d.x * d.x + d.y * d.y);
  }
  f.scale = std::sqrt(spread);
  if (!std::isfinite(f.scale)) return;

  CUnitCircle c{0, 0, 0};
  if (f.scale > 0) {
    for (CPt const& p : wpts) {
      f.pts.push_back((p.pt - f.origin) / f.scale);
      f.w.push_back(p.w);
    }
    if (TaubinFit(f, c)) {
      RefineGeometric(f, c);
    } else {
      // No finite circle: the centroid and the mean distance from it, which
      // is exact for two points and honest (a large deviation) for a line.
      c = {0, 0, 0};
      for (std::size_t i = 0; i < f.pts.size(); ++i) c.r += f.w[i] * std::hypot(f.pts[i].x, f.pts[i].y);
    }
  }
  double dev = f.scale > 0 ? std::sqrt(RadialCost(f, c.a, c.b, c.r)) : 0.0;

  CPointD const center{f.origin.x + c.a * f.scale, f.origin.y + c.b * f.scale};
  double const radius = c.r * f.scale;
  dev *= f.scale;
  if (!IsFinite(center) || !std::isfinite(radius) || !std::isfinite(dev)) return;
  m_result.bValid = true;
  m_result.ptCenter = center;
  m_result.dRadius = radius;
  m_result.dDeviation = dev;
}

void CCircleReduce::WeightPoly(poly_base<CPointD> const& poly, std::vector<CPt>& out) {
  // The closing point repeats the first: m distinct vertices, m segments.
  std::size_t const m = poly.size() - 1;
  out.clear();
  out.reserve(m);
  // sqrt, not hypot: an overflowing length makes the total infinite, and
  // NormalizeWeights then falls back to uniform weights.
  auto length = [&poly](std::size_t i) {
    double const dx = poly[i + 1].x - poly[i].x, dy = poly[i + 1].y - poly[i].y;
    return std::sqrt(dx * dx + dy * dy);
  };
  double prev = length(m - 1);
  double total = 0;
  for (std::size_t i = 0; i < m; ++i) {
    double const next = length(i);
    out.push_back({poly[i], (prev + next) / 2});
    total += next;
    prev = next;
  }
  if (!(total > 0)) {
    for (CPt& p : out) p.w = 1;
  }
}

void CCircleReduce::NormalizeWeights(std::vector<CPt>& pts) {
  double sum = 0;
  for (CPt const& p : pts) sum += p.w;
  if (!(sum > 0) || !std::isfinite(sum)) {
    for (CPt& p : pts) p.w = 1.0 / static_cast<double>(pts.size());
    return;
  }
  for (CPt& p : pts) p.w /= sum;
}

}  // namespace Math
