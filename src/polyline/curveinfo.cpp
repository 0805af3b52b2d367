#include <math/curveinfo.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

#include <math/line.h>
#include <math/polyapprox.h>
#include <math/smoothing.h>

#include "core/angle_impl.h"
#include "core/geom_impl.h"
#include "core/tolerance.h"
#include "polyline/resample_impl.h"

namespace Math {
namespace {

// The process-wide kink parameters; see CCurveInfo::SetKinkParms.
double g_dKinkArm = 2.0;
double g_dKinkAngle = 1.0471975511965976;

CPointD BadPoint() { return {tol::BadValue(), tol::BadValue()}; }

double Dist(CPointD const& a, CPointD const& b) { return std::hypot(b.x - a.x, b.y - a.y); }

// Least-squares polynomial of the given degree through the points against
// their chord length t from the first point, x and y independently.
//
// Raw powers of t (t runs to the stretch length, tens to thousands of units)
// make the normal equations hopeless beyond degree 2, so the fit runs on
// u = (t - tc) / ts in [-1, 1] by Householder QR and is expanded back into
// powers of t at the end. With only r distinct values of t, a polynomial of
// degree r - 1 already interpolates them: the degree of the solve is capped
// there and the higher coefficients stay 0, instead of solving a singular
// system.
std::vector<CPointD> FitPolynom(CPointD const* pts, std::size_t n, unsigned int nDegree) {
  std::size_t const ncoef = std::min<std::size_t>(nDegree, n - 1) + 1;
  std::vector<double> t(n);
  t[0] = 0.0;
  std::size_t distinct = 1;
  for (std::size_t i = 1; i < n; ++i) {
    t[i] = t[i - 1] + Dist(pts[i - 1], pts[i]);
    if (t[i] != t[i - 1]) ++distinct;
  }
  std::size_t const m = std::min(ncoef, distinct);
  std::vector<CPointD> coef(ncoef, CPointD{0.0, 0.0});

  // t never decreases, so the range is [t[0], t[n-1]].
  double const tc = 0.5 * (t[0] + t[n - 1]);
  double const ts = 0.5 * (t[n - 1] - t[0]);
  std::size_t const cols = m + 2;  // design columns, then x and y
  std::vector<double> a(n * cols);
  for (std::size_t i = 0; i < n; ++i) {
    double const u = ts > 0.0 ? (t[i] - tc) / ts : 0.0;
    double pw = 1.0;
    double* row = &a[i * cols];
    for (std::size_t k = 0; k < m; ++k, pw *= u) row[k] = pw;
    row[m] = pts[i].x;
    row[m + 1] = pts[i].y;
  }
  auto at = [&](std::size_t i, std::size_t k) -> double& { return a[i * cols + k]; };

  // Householder reflections column by column, applied to the right-hand
  // sides as well; R ends up in the upper triangle.
  for (std::size_t k = 0; k < m; ++k) {
    // Design entries lie in [-1, 1]: the plain sum of squares cannot overflow.
    double sq = 0.0;
    for (std::size_t i = k; i < n; ++i) sq += at(i, k) * at(i, k);
    double const norm = std::sqrt(sq);
    if (norm == 0.0) continue;
    double const alpha = at(k, k) > 0.0 ? -norm : norm;
    double const v0 = at(k, k) - alpha;
    // v = (v0, a[k+1..n-1][k]); H = I - 2 v v^T / (v^T v), v^T v = -2 alpha v0.
    double const vtv = -2.0 * alpha * v0;
    at(k, k) = alpha;
    for (std::size_t j = k + 1; j < cols; ++j) {
      double s = v0 * at(k, j);
      for (std::size_t i = k + 1; i < n; ++i) s += at(i, k) * at(i, j);
      double const f = 2.0 * s / vtv;
      at(k, j) -= f * v0;
      for (std::size_t i = k + 1; i < n; ++i) at(i, j) -= f * at(i, k);
    }
  }

  // Back substitution; a zero pivot (cannot happen with m distinct values,
  // but rounding is not proof) leaves its coefficient 0.
  std::vector<CPointD> cu(m, CPointD{0.0, 0.0});
  for (std::size_t kk = m; kk-- > 0;) {
    double sx = at(kk, m);
    double sy = at(kk, m + 1);
    for (std::size_t j = kk + 1; j < m; ++j) {
      sx -= at(kk, j) * cu[j].x;
      sy -= at(kk, j) * cu[j].y;
    }
    double const r = at(kk, kk);
    cu[kk] = r != 0.0 ? CPointD{sx / r, sy / r} : CPointD{0.0, 0.0};
  }

  // Expand sum cu[k] u^k with u = alpha t + beta by Horner's rule on
  // polynomials: c = c * (alpha t + beta) + cu[k].
  double const alpha = ts > 0.0 ? 1.0 / ts : 0.0;
  double const beta = ts > 0.0 ? -tc / ts : 0.0;
  std::vector<CPointD> c(m, CPointD{0.0, 0.0});
  for (std::size_t kk = m; kk-- > 0;) {
    for (std::size_t j = m - 1; j > 0; --j) c[j] = c[j] * beta + c[j - 1] * alpha;
    c[0] = c[0] * beta + cu[kk];
  }
  std::copy(c.begin(), c.end(), coef.begin());
  return coef;
}

// A vertex where the polyline folds back: at least one arm long enough and
// the arms closer than the kink angle.
bool IsKink(CPointD const& p0, CPointD const& p1, CPointD const& p2) {
  CPointD const a = p0 - p1;
  CPointD const b = p2 - p1;
  if (std::hypot(a.x, a.y) < g_dKinkArm && std::hypot(b.x, b.y) < g_dKinkArm) return false;
  return std::abs(angle_detail::SignedAngle(a, b)) <= g_dKinkAngle;
}

double PathLength(CPointD const* pts, std::size_t n) {
  double s = 0.0;
  for (std::size_t i = 1; i < n; ++i) s += Dist(pts[i - 1], pts[i]);
  return s;
}

// The inflection list the direction functions walk: PolyInflections' list,
// or, when it returns false, whatever it left in the list followed by 0
// and c - 1. The append (not a replacement) is what the callers rely on.
std::vector<int> DirectionKeys(CPointD const* pts, unsigned int c, double dTolerance) {
  std::vector<int> keys;
  if (!PolyInflections(pts, c, dTolerance, keys)) {
    keys.push_back(0);
    keys.push_back(static_cast<int>(c) - 1);
  }
  return keys;
}

// The vector between the projections of the stretch's ends on its weighted
// fitted line; (0, 0) when the fit or the vector vanishes.
CPointD ProjectedRun(CPointD const* pts, unsigned int cnt, double dLength, double pos, double span) {
  double const len = PathLength(pts, cnt);
  double const v = std::min(dLength / len, 0.2);
  double const sharp = std::log(3.0) / ((span - v) * (span - v));
  CLine const line = MakeLine(pts, cnt, pos, sharp, false);
  if (!(std::hypot(line.cosP(), line.sinP()) >= tol::kEps)) return {0.0, 0.0};
  CPointD const r = line.Project(pts[cnt - 1]) - line.Project(pts[0]);
  if (!(std::hypot(r.x, r.y) >= tol::kEps)) return {0.0, 0.0};
  return r;
}

}  // namespace

CCurveInfo::CCurveInfo(poly_base<CPointD> const& poly, double dLength, unsigned int nDegree, double dOffset) {
  if (poly.size() < 2 || std::isnan(dLength) || !std::isfinite(dOffset)) return;
  InitChordLength(poly, dLength, dOffset);
  std::size_t const n = m_params.size();
  if (!geom_detail::AllFinite(poly.data(), n)) {
    m_params.clear();
    return;
  }
  m_polynom = FitPolynom(poly.data(), n, nDegree);

  double const h = dLength * 0.5;
  unsigned int const k = GetNotExceedCnt(h);
  std::vector<CPointD> half(poly.begin(), poly.begin() + k);
  poly_hit mid(0, 0.0);
  MoveAlong(poly, mid, h);
  half.push_back(PointAt(poly, mid));
  // The line always reads at least two points and the point half way, which
  // may lie beyond the polynomial's points: with a negative length the
  // polynomial has only the first point, and a NaN in the second would
  // otherwise make a valid object with a NaN line.
  if (!geom_detail::AllFinite(half)) {
    m_params.clear();
    m_polynom.clear();
    return;
  }
  m_regline = FitPolynom(half.data(), half.size(), 1);
}

void CCurveInfo::InitChordLength(poly_base<CPointD> const& poly, double dLength, double dOffset) {
  m_params.assign(poly.size(), 0.0);
  if (m_params.empty()) return;
  m_params[0] = -dOffset;
  double s = 0.0;
  std::size_t i = 1;
  // The test comes before the addition, so the point that carries the
  // length past dLength is still included.
  for (; i < poly.size(); ++i) {
    if (tol::GtBeyond(s, dLength)) break;
    s += Dist(poly[i - 1], poly[i]);
    m_params[i] = s - dOffset;
  }
  m_params.resize(i);
}

unsigned int CCurveInfo::GetNotExceedCnt(double x) const {
  auto const cnt = std::upper_bound(m_params.begin(), m_params.end(), x) - m_params.begin();
  return std::max(static_cast<unsigned int>(cnt), 2u);
}

CPointD CCurveInfo::TanVector() const { return m_polynom.size() > 1 ? m_polynom[1] : BadPoint(); }

CPointD CCurveInfo::TanVector(double t) const {
  if (m_polynom.empty()) return BadPoint();
  CPointD d{0.0, 0.0};
  for (std::size_t k = m_polynom.size() - 1; k > 0; --k) d = d * t + m_polynom[k] * static_cast<double>(k);
  return d;
}

double CCurveInfo::Tangent() const {
  if (m_polynom.size() < 2) return tol::BadValue();
  return std::atan2(m_polynom[1].y, m_polynom[1].x);
}

CPointD CCurveInfo::DirVector() const { return m_regline.size() > 1 ? m_regline[1] : BadPoint(); }

double CCurveInfo::Direction() const {
  if (m_regline.size() < 2) return tol::BadValue();
  return std::atan2(m_regline[1].y, m_regline[1].x);
}

double CCurveInfo::Curvature() const {
  if (m_polynom.size() < 3) return tol::BadValue();
  CPointD const& c1 = m_polynom[1];
  CPointD const& c2 = m_polynom[2];
  double const q = c1.x * c1.x + c1.y * c1.y;
  return 2.0 * (c1.x * c2.y - c1.y * c2.x) / std::sqrt(q * q * q);
}

void CCurveInfo::SetKinkParms(double dArmLength, double dAngle) {
  g_dKinkArm = dArmLength;
  g_dKinkAngle = dAngle;
}

CCurveInfo CurveInfo(poly_base<CPointD> const& poly, poly_hit hit, double dLength, bool bBackward,
                     unsigned int nDegree) {
  // Only "shorter than EPS" matters, so the sum stops as soon as it is not:
  // a call costs the stretch, not the whole polyline.
  bool bLong = false;
  double total = 0.0;
  for (std::size_t i = 1; i < poly.size() && !bLong; ++i) {
    total += Dist(poly[i - 1], poly[i]);
    bLong = total >= tol::kEps;
  }
  CCurveInfo const invalid(poly_base<CPointD>(), 0.0, 3, 0.0);
  if (!bLong || !(dLength >= 0.0)) return invalid;
  if (hit.index < 0 || static_cast<std::size_t>(hit.index) >= poly.size()) return invalid;
  if (std::abs(hit.param - 1.0) < tol::kEps) hit = poly_hit(hit.index + 1, 0.0);
  if (!IsValidHit(poly, hit)) return invalid;

  poly_hit other = hit;
  MoveAlong(poly, other, bBackward ? -dLength : dLength);
  poly_base<CPointD> stretch;
  CutBetween(poly, hit, other, stretch);

  for (std::size_t i = 1; i + 1 < stretch.size(); ++i) {
    if (IsKink(stretch[i - 1], stretch[i], stretch[i + 1])) {
      stretch.resize(i + 1);
      break;
    }
  }
  // The resampling is what could allocate beyond anything the caller
  // holds: about one point per unit of length, however few the vertices.
  if (resample_detail::Capacity(stretch.data(), stretch.size(), 1.0) > tol::kMaxCurveSamples) return invalid;
  if (stretch.size() > 1) PolyResample(stretch, 1.0);
  return CCurveInfo(stretch, dLength, nDegree, 0.0);
}

CPointD PolyStartingDir(CPointD const* pts, unsigned int n, unsigned int nSpan, double dLength, double dTolerance) {
  if (n < 2 || pts == nullptr) return {0.0, 0.0};
  unsigned int const m = std::min(n, nSpan);
  if (m < 2 || !geom_detail::AllFinite(pts, m)) return {0.0, 0.0};
  std::vector<int> const keys = DirectionKeys(pts, m, dTolerance);

  std::size_t u = 1;
  for (; u + 1 < keys.size(); ++u)
    if (Dist(pts[keys[u]], pts[0]) >= 2.0 * dLength) break;
  unsigned int const e = static_cast<unsigned int>(keys[u]) + 1;
  return ProjectedRun(pts, e, dLength, 0.4, 0.4);
}

CPointD PolyEndingDir(CPointD const* pts, unsigned int n, unsigned int nSpan, double dLength, double dTolerance) {
  if (n < 2 || pts == nullptr) return {0.0, 0.0};
  unsigned int const s = nSpan < n ? n - nSpan : 0;
  unsigned int const c = n - s;
  CPointD const* span = pts + s;
  if (c < 2 || !geom_detail::AllFinite(span, c)) return {0.0, 0.0};
  std::vector<int> const keys = DirectionKeys(span, c, dTolerance);

  int const last = keys.back();
  std::size_t j = keys.size() - 2;
  for (; j >= 1; --j)
    if (Dist(span[keys[j]], span[last]) >= 2.0 * dLength) break;
  unsigned int const cnt = static_cast<unsigned int>(last - keys[j]) + 1;
  // 0.65 here against 0.4 at the start, and 0.35 = 1 - 0.65 in the
  // sharpness against 0.4: not mirror images, and meant so.
  return ProjectedRun(span + keys[j], cnt, dLength, 0.65, 0.35);
}

}  // namespace Math
