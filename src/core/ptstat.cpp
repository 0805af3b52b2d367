#include <math/ptstat.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

#include "core/geom_impl.h"
#include "core/tolerance.h"

namespace Math {
namespace {

using tol::kEps;
using tol::kFltEps;

using geom_detail::kHalfPi;

// Direction of the axis of largest spread of the covariance (cxx, cxy,
// cyy), in (-pi/2, pi/2]. False when the spread is isotropic or empty (no
// main direction) and when the moments are not finite.
bool PrincipalDirection(double cxx, double cxy, double cyy, double& theta) {
  if (std::abs(cxy) >= kEps) {
    double const half = (cyy - cxx) / 2.0;
    double const h = std::hypot(half, cxy);
    theta = std::atan((h + half) / cxy);
  } else if (tol::GtBeyond(cxx, cyy)) {
    theta = 0.0;
  } else if (tol::GtBeyond(cyy, cxx)) {
    theta = kHalfPi;
  } else {
    return false;
  }
  return std::isfinite(theta);
}

// The line through (mx, my) along theta, (a, b) unit. False when the form
// would not be finite (overflowing sums), f untouched.
bool FormAlong(double theta, double mx, double my, CLinForm& f) {
  double const a = -std::sin(theta);
  double const b = std::cos(theta);
  double const c = -(a * mx + b * my);
  if (!std::isfinite(c)) return false;
  f = CLinForm{a, b, c};
  return true;
}

}  // namespace

// -------------------------------------------------------------- CPtStat

CPtStat::CPtStat(CPointD const* pts, int n) { AddPoints(pts, n); }

void CPtStat::AddPoint(CPointD const& p) {
  m_sx += p.x;
  m_sy += p.y;
  m_sxx += p.x * p.x;
  m_sxy += p.x * p.y;
  m_syy += p.y * p.y;
  ++m_count;
}

void CPtStat::DelPoint(CPointD const& p) {
  m_sx -= p.x;
  m_sy -= p.y;
  m_sxx -= p.x * p.x;
  m_sxy -= p.x * p.y;
  m_syy -= p.y * p.y;
  --m_count;
}

void CPtStat::AddPoints(CPointD const* pts, int n) {
  if (pts == nullptr || n <= 0) return;
  for (int i = 0; i < n; ++i) AddPoint(pts[i]);
}

CPtStat& CPtStat::operator+=(CPtStat const& o) {
  m_sx += o.m_sx;
  m_sy += o.m_sy;
  m_sxx += o.m_sxx;
  m_sxy += o.m_sxy;
  m_syy += o.m_syy;
  m_count += o.m_count;
  return *this;
}

CPointD CPtStat::AvgPoint() const {
  if (m_count == 0) return CPointD{tol::BadValue(), tol::BadValue()};
  double const n = m_count;
  return CPointD{m_sx / n, m_sy / n};
}

bool CPtStat::InitLine(CLinForm& f) const {
  if (m_count < 2) return false;
  double const n = m_count;
  double const mx = m_sx / n;
  double const my = m_sy / n;
  // Population moments from raw sums; the variances can come out slightly
  // negative by cancellation, hence the absolute values.
  double const cxx = std::abs(m_sxx / n - mx * mx);
  double const cxy = m_sxy / n - mx * my;
  double const cyy = std::abs(m_syy / n - my * my);
  double theta = 0.0;
  if (!PrincipalDirection(cxx, cxy, cyy, theta)) return false;
  return FormAlong(theta, mx, my, f);
}

bool CPtStat::InitLine(CLinForm& f, CPointD const& p) const {
  double const n = m_count;
  double const sxx = m_sxx - 2.0 * m_sx * p.x + n * p.x * p.x;
  double const sxy = m_sxy - m_sx * p.y - m_sy * p.x + n * p.x * p.y;
  double const syy = m_syy - 2.0 * m_sy * p.y + n * p.y * p.y;
  // Regression of y on x through p: direction (Sxx, Sxy), normal (-Sxy, Sxx).
  double a = -sxy;
  double const b = sxx;
  // Every point on the vertical through p: the line is that vertical.
  if (std::abs(a) < kEps && std::abs(b) < kEps) a = syy;
  f = CLinForm{a, b, -a * p.x - b * p.y};
  return true;
}

double CPtStat::MSError(double a, double b, double c) const {
  if (m_count == 0) return 0.0;
  double const n = m_count;
  // Sum of squared residuals expanded over the stored sums.
  double const q =
      a * a * m_sxx + b * b * m_syy + c * c * n + 2.0 * a * b * m_sxy + 2.0 * a * c * m_sx + 2.0 * b * c * m_sy;
  // Cancellation can leave a tiny negative sum for points on the line.
  return q > 0.0 ? std::sqrt(q / n) : 0.0;
}

double CPtStat::MSError() const {
  CLinForm f{};
  if (!InitLine(f)) return 0.0;
  return MSError(f.a, f.b, f.c);
}

// ------------------------------------------------------------ fits

double MaxDeviation(CLine const& l, CPointD const* pts, unsigned int n) {
  if (pts == nullptr) return 0.0;
  double worst = 0.0;
  for (unsigned int i = 0; i < n; ++i) {
    double const d = std::abs(l.Value(pts[i]));
    // A NaN would lose every comparison and vanish from the maximum; report
    // it instead so that no tolerance test passes on it.
    if (std::isnan(d)) return tol::BadValue();
    worst = std::max(worst, d);
  }
  return worst;
}

bool LIRLine(CLinForm& f, CPointD const* pts, unsigned int n, double pos, double sharpness, bool laplace) {
  if (pts == nullptr || n == 0) return false;
  double total = 0.0;
  for (unsigned int i = 0; i + 1 < n; ++i) total += std::hypot(pts[i + 1].x - pts[i].x, pts[i + 1].y - pts[i].y);
  // Written as "not at least" so that a NaN length fails too.
  if (!(total >= kEps)) return false;

  // The weight of the vertex at arc length s. The first vertex of the
  // Laplace kernel keeps the sign of pos (no absolute value): callers that
  // pass pos < 0 have tuned against this.
  auto const weight = [&](double s, bool first) {
    double const u = pos - s / total;
    if (!laplace) return std::exp(-sharpness * u * u);
    return first ? std::exp(-sharpness * pos) : std::exp(-sharpness * std::abs(u));
  };

  double w = 0.0, swx = 0.0, swy = 0.0, swxx = 0.0, swxy = 0.0, swyy = 0.0;
  auto const add = [&](CPointD const& p, double k) {
    w += k;
    swx += k * p.x;
    swy += k * p.y;
    swxx += k * p.x * p.x;
    swxy += k * p.x * p.y;
    swyy += k * p.y * p.y;
  };

  // Trapezoid rule: each segment lends its length times the end weight to
  // both of its vertices.
  double s = 0.0;
  double wPrev = weight(0.0, true);
  for (unsigned int i = 0; i + 1 < n; ++i) {
    double const len = std::hypot(pts[i + 1].x - pts[i].x, pts[i + 1].y - pts[i].y);
    double const sNext = s + len;
    double const wNext = weight(sNext, false);
    add(pts[i], len * wPrev);
    add(pts[i + 1], len * wNext);
    s = sNext;
    wPrev = wNext;
  }

  double mx = swx, my = swy, cxx = swxx, cxy = swxy, cyy = swyy;
  if (w > kEps) {
    mx = swx / w;
    my = swy / w;
    cxx = std::abs(swxx / w - mx * mx);
    cyy = std::abs(swyy / w - my * my);
    cxy = swxy / w - mx * my;
  }
  double theta = 0.0;
  if (!PrincipalDirection(cxx, cxy, cyy, theta)) return false;
  return FormAlong(theta, mx, my, f);
}

// ------------------------------------------------------------ solvers

bool SolveKramer(double const* m, double* x, double const* r) {
  if (m == nullptr || x == nullptr || r == nullptr) return false;
  double const det = m[0] * m[3] - m[1] * m[2];
  if (!(std::abs(det) > kEps)) return false;
  double const x0 = (r[0] * m[3] - m[1] * r[1]) / det;
  double const x1 = (r[1] * m[0] - m[2] * r[0]) / det;
  x[0] = x0;
  x[1] = x1;
  return true;
}

int SolveQuadratic(double a, double b, double c, double& x1, double& x2, double lo, double hi) {
  double r1 = 0.0;
  double r2 = 0.0;
  if (std::abs(a) <= kFltEps) {
    if (std::abs(b) <= kFltEps) return 0;
    r1 = r2 = -c / b;
  } else {
    double const d = b * b - 4.0 * a * c;
    if (d < 0.0) return 0;
    double const sq = std::sqrt(d);
    r1 = (-b - sq) / (2.0 * a);
    r2 = (sq - b) / (2.0 * a);
    if (r1 > r2) std::swap(r1, r2);
  }
  // A NaN coefficient leaves no real root: report none and write nothing.
  if (std::isnan(r1) || std::isnan(r2)) return 0;
  int count = std::abs(r1 - r2) >= kFltEps ? 2 : 1;
  // Open interval.
  auto const outside = [&](double v) { return !(v > lo && v < hi); };
  if (outside(r1)) {
    --count;
    r1 = r2;
  }
  if (count != 0 && outside(r2)) {
    r2 = r1;
    --count;
  }
  x1 = r1;
  x2 = r2;
  return count;
}

double Regression(std::vector<CPointD> const& pts, double& k, double& b) {
  double sx = 0.0, sy = 0.0, sxx = 0.0, sxy = 0.0;
  for (CPointD const& p : pts) {
    sx += p.x;
    sy += p.y;
    sxx += p.x * p.x;
    sxy += p.x * p.y;
  }
  double const n = static_cast<double>(pts.size());
  double const mx = sx / n;
  double const my = sy / n;
  k = (sxy / n - my * mx) / std::abs(sxx / n - mx * mx);
  b = my - k * mx;
  return k;
}

double CalcMedian(double const* v, unsigned int n) {
  if (v == nullptr || n == 0) return tol::BadValue();
  // A NaN breaks the ordering the selection relies on (undefined
  // behaviour in the standard algorithms), so it has no median.
  for (unsigned int i = 0; i < n; ++i) {
    if (std::isnan(v[i])) return tol::BadValue();
  }
  std::vector<double> copy(v, v + n);
  auto const mid = copy.begin() + n / 2;
  std::nth_element(copy.begin(), mid, copy.end());
  if (n % 2 == 1) return *mid;
  // The lower middle is the largest of the part before mid.
  double const lower = *std::max_element(copy.begin(), mid);
  return (lower + *mid) / 2.0;
}

bool NextCombination(unsigned int n, unsigned int k, std::vector<int>& comb) {
  // Every element stays at most max(n, k) - 1, so counts up to 2^31 keep
  // them within int; beyond, the increment below would overflow.
  if (n > tol::kMaxSubsetCount || k > tol::kMaxSubsetCount) return false;
  if (comb.size() != k) {
    comb.resize(k);
    for (unsigned int i = 0; i < k; ++i) comb[i] = static_cast<int>(i);
    return true;
  }
  // Signed on purpose: with k > n the bound n - k + i is negative, and an
  // unsigned bound would wrap round and never end the enumeration.
  std::int64_t const base = static_cast<std::int64_t>(n) - static_cast<std::int64_t>(k);
  for (std::int64_t i = static_cast<std::int64_t>(k) - 1; i >= 0; --i) {
    if (comb[i] < base + i) {
      ++comb[i];
      for (std::int64_t j = i + 1; j < static_cast<std::int64_t>(k); ++j) comb[j] = comb[j - 1] + 1;
      return true;
    }
  }
  return false;
}

// ---------------------------------------------------------- convex hull

namespace {

struct CHullRec {
  CPointD q;      // relative to the pivot
  double angle;   // atan2 of q
  double radius;  // |q|
  CPointD orig;   // the caller's point
};

// The quadrilateral of the lowest, rightmost, highest and leftmost points
// (counter-clockwise): a point deep inside it cannot be a hull vertex, so the
// sort need not see it. On random clouds this leaves a small fraction of the
// points. Points within the margin of a side, the pivot among them, stay, so
// the scan's near-collinear and tie decisions are untouched.
class CInteriorFilter {
 public:
  explicit CInteriorFilter(std::vector<CPointD> const& pts) {
    std::size_t lo = 0, right = 0, hi = 0, left = 0;
    double extent = 0.0;
    for (std::size_t i = 1; i < pts.size(); ++i) {
      if (pts[i].y < pts[lo].y) lo = i;
      if (pts[i].x > pts[right].x) right = i;
      if (pts[i].y > pts[hi].y) hi = i;
      if (pts[i].x < pts[left].x) left = i;
    }
    for (CPointD const& p : pts) extent = std::max({extent, std::abs(p.x), std::abs(p.y)});
    m_margin = tol::kHullSkipRel * extent + tol::kEps;
    std::size_t const corners[4] = {lo, right, hi, left};
    for (int k = 0; k < 4; ++k) {
      CPointD const a = pts[corners[k]];
      CPointD const d = pts[corners[(k + 1) % 4]] - a;
      double const len = std::hypot(d.x, d.y);
      // A side of no length bounds nothing; the others still close the
      // (then triangular) quadrilateral.
      if (len > 0.0) m_sides[m_count++] = CSide{a, d, len};
    }
  }

  bool DeepInside(CPointD const& p) const {
    if (m_count < 3) return false;
    for (int k = 0; k < m_count; ++k) {
      CSide const& s = m_sides[k];
      if (!(s.d.x * (p.y - s.a.y) - s.d.y * (p.x - s.a.x) > m_margin * s.len)) return false;
    }
    return true;
  }

 private:
  struct CSide {
    CPointD a;
    CPointD d;
    double len;
  };
  CSide m_sides[4] = {};
  int m_count = 0;
  double m_margin = 0.0;
};

}  // namespace

void ConvexHull(std::vector<CPointD>& pts) {
  std::size_t const n = pts.size();
  if (n <= 3) return;
  // Angles and radii of non-finite points cannot be ordered (NaN breaks the
  // sort's strict weak ordering), so such input is left as it is.
  double extent = 0.0;
  for (CPointD const& p : pts) {
    if (!std::isfinite(p.x) || !std::isfinite(p.y)) return;
    extent = std::max({extent, std::abs(p.x), std::abs(p.y)});
  }
  // Differences of coordinates near the largest double overflow, and the
  // side tests multiply two of them. Beyond kHullMaxDirect the scan runs on
  // the points scaled by a power of two, which is exact (only coordinates
  // some 10^150 times smaller than the extent can lose bits); at that scale
  // every tolerance is far below the coordinates' rounding, as it is for
  // unscaled points of that size.
  std::vector<CPointD> scaled;
  if (extent > tol::kHullMaxDirect) {
    // extent in [2^e, 2^(e+1)) lands in [2^499, 2^500).
    int const shift = std::ilogb(extent) - std::ilogb(tol::kHullMaxDirect) + 1;
    scaled.reserve(n);
    for (CPointD const& p : pts) scaled.push_back({std::ldexp(p.x, -shift), std::ldexp(p.y, -shift)});
  }
  std::vector<CPointD> const& work = scaled.empty() ? pts : scaled;

  // Lowest point; a later one replaces it only when lower beyond EPS, or
  // level within EPS and further left beyond EPS: near-ties in either
  // coordinate keep the earlier point.
  std::size_t pv = 0;
  for (std::size_t i = 1; i < n; ++i) {
    CPointD const& p = work[i];
    CPointD const& b = work[pv];
    if (tol::LtBeyond(p.y, b.y) || (std::abs(p.y - b.y) < kEps && tol::LtBeyond(p.x, b.x))) pv = i;
  }
  CPointD const pivot = work[pv];
  CPointD const pivotOrig = pts[pv];

  CInteriorFilter const interior(work);
  std::vector<CHullRec> recs;
  recs.reserve(n);
  recs.push_back(CHullRec{CPointD{0.0, 0.0}, 0.0, 0.0, pivotOrig});
  for (std::size_t i = 0; i < n; ++i) {
    if (i == pv || interior.DeepInside(work[i])) continue;
    CPointD const q = work[i] - pivot;
    recs.push_back(CHullRec{q, std::atan2(q.y, q.x), std::hypot(q.x, q.y), pts[i]});
  }

  // Angle ascending, and within EPS of angle radius ascending. A tolerant
  // comparator is not a strict weak ordering, so sort exactly by (angle,
  // radius) first, then re-sort each run of angles chained within EPS by
  // radius alone.
  auto const byAngle = [](CHullRec const& a, CHullRec const& b) {
    return a.angle < b.angle || (a.angle == b.angle && a.radius < b.radius);
  };
  auto const byRadius = [](CHullRec const& a, CHullRec const& b) { return a.radius < b.radius; };
  std::size_t const m = recs.size();
  std::sort(recs.begin() + 1, recs.end(), byAngle);
  for (std::size_t i = 1; i < m;) {
    std::size_t j = i + 1;
    while (j < m && recs[j].angle - recs[j - 1].angle < kEps) ++j;
    if (j - i > 1) std::sort(recs.begin() + i, recs.begin() + j, byRadius);
    i = j;
  }

  // Graham scan over indices into recs; each record is pushed and popped at
  // most once.
  std::vector<std::size_t> stack;
  stack.reserve(m + 1);
  stack.push_back(0);
  stack.push_back(1);
  for (std::size_t i = 2; i < m; ++i) {
    CPointD const& p = recs[i].q;
    while (stack.size() > 1) {
      CEdge const e{recs[stack[stack.size() - 2]].q, recs[stack.back()].q};
      // Stop at a clear left turn; straight on, right turns and duplicates
      // (a zero-length edge gives an unsigned distance) are dropped.
      if (tol::LtBeyond(CPtToEdge(e, p).dist, 0.0)) break;
      stack.pop_back();
    }
    stack.push_back(i);
  }

  // The hull vertices are input points: hand back the caller's exact
  // coordinates rather than (p - pivot) + pivot.
  pts.clear();
  for (std::size_t i : stack) pts.push_back(recs[i].orig);
  pts.push_back(pivotOrig);
}

// ------------------------------------------------ lines from point arrays
// Declared with CLine but built here from the statistics, so that the
// statistics depend on the line and never the other way round.

CLine::CLine(CPointD const* pts, unsigned int n) {
  CPtStat stat;
  if (pts != nullptr) {
    for (unsigned int i = 0; i < n; ++i) stat.AddPoint(pts[i]);
  }
  *this = MakeLine(stat, nullptr);
}

CLine MakeLine(CPtStat const& stat, double* err) {
  CLinForm f{};
  if (!stat.InitLine(f)) return CLine();
  if (err != nullptr) *err = stat.MSError(f.a, f.b, f.c);
  // InitLine hands back a unit (a, b), so this cannot throw.
  return CLine(f);
}

CLine MakeLine(CPointD const* pts, unsigned int n, double angle) {
  CPtStat stat;
  if (pts != nullptr) {
    for (unsigned int i = 0; i < n; ++i) stat.AddPoint(pts[i]);
  }
  CPointD const c = stat.AvgPoint();
  double const cs = std::cos(angle);
  double const sn = std::sin(angle);
  return CLine(cs, sn, cs * c.x + sn * c.y);
}

CLine MakeLine(CPointD const* pts, unsigned int n, double pos, double sharpness, bool laplace) {
  CLinForm f{};
  if (!LIRLine(f, pts, n, pos, sharpness, laplace)) return CLine();
  return CLine(f);
}

}  // namespace Math
