#include <math/polyortho.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>

#include <boost/bind/bind.hpp>

#include <math/line.h>
#include <math/polyapprox.h>
#include <math/ptstat.h>
#include <math/smoothing.h>

#include "core/angle_impl.h"
#include "core/tolerance.h"

namespace Math {
namespace {

constexpr double kPi = 3.14159265358979323846;
// Rounds of the wall vote: each re-classifies the sides against the last
// direction; two more after the first settle it on every real outline.
constexpr int kWallRounds = 3;
// The direction search around the voted direction: half its width (1.5
// degrees, beyond the error of any wall vote seen on real outlines), the
// golden ratio, and the evaluations after the first two.
constexpr double kAngleSearch = 0.02617993877991494;
constexpr double kGolden = 0.6180339887498949;
constexpr int kAngleEvaluations = 10;
// A step put in for a slanted chain carries almost no weight: when it is
// too short to keep, its two walls merge as if it had never been there.
constexpr double kStepWeight = 1e-3;
// Polylines up to this many segments are measured without a grid.
constexpr std::size_t kGridMinSegments = 48;

double Len(CPointD const& v) { return std::hypot(v.x, v.y); }
double Dot(CPointD const& a, CPointD const& b) { return a.x * b.x + a.y * b.y; }
double Cross(CPointD const& a, CPointD const& b) { return a.x * b.y - a.y * b.x; }

bool AllFinite(CPointD const* pts, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i)
    if (!std::isfinite(pts[i].x) || !std::isfinite(pts[i].y)) return false;
  return true;
}

bool IsClosed(std::vector<CPointD> const& p) { return p.size() > 1 && Len(p.back() - p.front()) < tol::kEps; }

// Sums of the fourfold angle: a side of direction (c, s) adds
// (cos 4t, sin 4t) * w, built from the double angle so no trigonometry runs
// per side.
struct CFourfold {
  double C = 0.0;
  double S = 0.0;

  void Add(double dx, double dy, double len, double w) {
    double const c = dx / len;
    double const s = dy / len;
    double const c2 = c * c - s * s;
    double const s2 = 2.0 * c * s;
    C += (c2 * c2 - s2 * s2) * w;
    S += 2.0 * s2 * c2 * w;
  }
  // The direction modulo 90 degrees in [-pi/8, 3pi/8); false when the sums
  // cancel.
  bool Angle(double& a) const {
    double const r = std::hypot(C, S);
    // Sums of lengths near the double range overflow; S / r is then NaN.
    if (!(r > tol::kEps) || !std::isfinite(r)) return false;
    double t = std::asin(std::clamp(S / r, -1.0, 1.0));
    if (C / r < 0) t = kPi - t;
    a = t * 0.25;
    return true;
  }
};

// The frame of a squaring: u along axis 1, n a quarter turn on. A squared
// vertex is kept as its two frame coordinates so that sides along an axis
// share one coordinate exactly and collinearity is an equality test.
struct CFrame {
  CPointD u;
  CPointD n;

  explicit CFrame(double angle) : u{std::cos(angle), std::sin(angle)}, n{-std::sin(angle), std::cos(angle)} {}
  explicit CFrame(CPointD const& axis) {
    double const l = Len(axis);
    u = axis / l;
    n = CPointD{-u.y, u.x};
  }
  CPointD ToWorld(double a, double b) const { return u * a + n * b; }
};

// Distance from p to the segment a-b.
double SegDist(CPointD const& p, CPointD const& a, CPointD const& b) {
  CPointD const d = b - a;
  double const l2 = Dot(d, d);
  double t = l2 > 0 ? Dot(p - a, d) / l2 : 0.0;
  t = std::clamp(t, 0.0, 1.0);
  return Len(p - (a + d * t));
}

// Nearest-segment queries on a polyline through a uniform grid of cells
// about one mean segment long, so that measuring n points against g sides
// costs about n + g instead of n * g. Each segment is entered in the cells
// of points every half cell along it; a query searches rings of cells
// outward and stops once no unseen segment can be nearer.
class CSegGrid {
 public:
  explicit CSegGrid(std::vector<CPointD> const& poly) : m_poly(poly) {
    std::size_t const segs = poly.size() > 1 ? poly.size() - 1 : 0;
    // A short polyline is scanned whole: cheaper than building a grid.
    if (segs <= kGridMinSegments) return;
    double x0 = poly[0].x, x1 = x0, y0 = poly[0].y, y1 = y0, len = 0;
    for (std::size_t i = 0; i < poly.size(); ++i) {
      x0 = std::min(x0, poly[i].x);
      x1 = std::max(x1, poly[i].x);
      y0 = std::min(y0, poly[i].y);
      y1 = std::max(y1, poly[i].y);
      if (i + 1 < poly.size()) len += Len(poly[i + 1] - poly[i]);
    }
    // Cells of one mean segment, but never more cells than a few per
    // segment: the grid stays linear in the polyline's size.
    double cell = std::max(len / static_cast<double>(segs), tol::kEps);
    double const area = std::max(x1 - x0, cell) * std::max(y1 - y0, cell);
    cell = std::max(cell, std::sqrt(area / (4.0 * static_cast<double>(segs) + 16.0)));
    // Coordinates too large to measure: scan the whole polyline instead.
    if (!std::isfinite(cell) || !std::isfinite(x1 - x0) || !std::isfinite(y1 - y0)) return;
    m_cell = cell;
    m_x0 = x0;
    m_y0 = y0;
    m_nx = static_cast<int>((x1 - x0) / cell) + 1;
    m_ny = static_cast<int>((y1 - y0) / cell) + 1;
    std::vector<std::pair<int, int>> entries;  // (cell, segment)
    for (std::size_t i = 0; i < segs; ++i) {
      CPointD const a = poly[i], d = poly[i + 1] - poly[i];
      int const k = static_cast<int>(std::ceil(2.0 * Len(d) / cell)) + 1;
      int last = -1;
      for (int j = 0; j <= k; ++j) {
        int const c = CellOf(a + d * (static_cast<double>(j) / k));
        if (c != last) entries.emplace_back(c, static_cast<int>(i));
        last = c;
      }
    }
    std::sort(entries.begin(), entries.end());
    entries.erase(std::unique(entries.begin(), entries.end()), entries.end());
    m_start.assign(static_cast<std::size_t>(m_nx) * static_cast<std::size_t>(m_ny) + 1, 0);
    for (auto const& e : entries) ++m_start[static_cast<std::size_t>(e.first) + 1];
    for (std::size_t c = 1; c < m_start.size(); ++c) m_start[c] += m_start[c - 1];
    m_items.resize(entries.size());
    for (std::size_t i = 0; i < entries.size(); ++i) m_items[i] = entries[i].second;
  }

  // Clamped before the conversion: a query far off the grid (or an
  // overflowing quotient) is no int, and converting it is undefined.
  static int CellOf(double q, int n) {
    double const c = std::floor(q);
    if (!(c > 0.0)) return 0;
    return c >= n - 1 ? n - 1 : static_cast<int>(c);
  }

  double Distance(CPointD const& p) const {
    if (m_start.empty()) {
      if (m_poly.size() == 1) return Len(p - m_poly[0]);
      double best = std::numeric_limits<double>::infinity();
      for (std::size_t i = 0; i + 1 < m_poly.size(); ++i) best = std::min(best, SegDist(p, m_poly[i], m_poly[i + 1]));
      return best;
    }
    int const cx = CellOf((p.x - m_x0) / m_cell, m_nx);
    int const cy = CellOf((p.y - m_y0) / m_cell, m_ny);
    // A query outside the grid starts at its nearest cell; the distance to
    // the grid is a lower bound for every ring.
    double const outside = std::hypot(std::max({m_x0 - p.x, p.x - (m_x0 + m_nx * m_cell), 0.0}),
                                      std::max({m_y0 - p.y, p.y - (m_y0 + m_ny * m_cell), 0.0}));
    double best = std::numeric_limits<double>::infinity();
    int const rmax = std::max(m_nx, m_ny);
    for (int r = 0; r <= rmax; ++r) {
      for (int y = cy - r; y <= cy + r; ++y) {
        if (y < 0 || y >= m_ny) continue;
        bool const edgeRow = y == cy - r || y == cy + r;
        for (int x = cx - r; x <= cx + r; x += (edgeRow || r == 0) ? 1 : 2 * r) {
          if (x < 0 || x >= m_nx) continue;
          std::size_t const c = static_cast<std::size_t>(y) * static_cast<std::size_t>(m_nx) + static_cast<std::size_t>(x);
          for (int k = m_start[c]; k < m_start[c + 1]; ++k) {
            auto const i = static_cast<std::size_t>(m_items[static_cast<std::size_t>(k)]);
            best = std::min(best, SegDist(p, m_poly[i], m_poly[i + 1]));
          }
        }
      }
      // Segments not yet seen have all their sample cells beyond ring r, so
      // they lie at least (r - 1/2) cells away, less the half cell between
      // samples.
      if (best <= outside + (r - 1) * m_cell) break;
    }
    return best;
  }

 private:
  int CellOf(CPointD const& p) const {
    int const x = CellOf((p.x - m_x0) / m_cell, m_nx);
    int const y = CellOf((p.y - m_y0) / m_cell, m_ny);
    return y * m_nx + x;
  }

  std::vector<CPointD> const& m_poly;
  double m_x0 = 0, m_y0 = 0, m_cell = 1;
  int m_nx = 0, m_ny = 0;
  std::vector<int> m_start;
  std::vector<int> m_items;
};

// Proper crossing or touching of two segments (exact orientation signs are
// good enough here: the squared sides are far longer than rounding).
bool SegmentsMeet(CPointD const& a, CPointD const& b, CPointD const& c, CPointD const& d) {
  double const d1 = Cross(b - a, c - a);
  double const d2 = Cross(b - a, d - a);
  double const d3 = Cross(d - c, a - c);
  double const d4 = Cross(d - c, b - c);
  if (((d1 > 0 && d2 < 0) || (d1 < 0 && d2 > 0)) && ((d3 > 0 && d4 < 0) || (d3 < 0 && d4 > 0))) return true;
  auto on = [](CPointD const& p, CPointD const& q, CPointD const& r, double cr) {
    return cr == 0 && std::min(p.x, q.x) <= r.x && r.x <= std::max(p.x, q.x) && std::min(p.y, q.y) <= r.y &&
           r.y <= std::max(p.y, q.y);
  };
  return on(a, b, c, d1) || on(a, b, d, d2) || on(c, d, a, d3) || on(c, d, b, d4);
}

double SignedArea(std::vector<CPointD> const& ring) {
  double s = 0;
  for (std::size_t i = 0; i + 1 < ring.size(); ++i) s += Cross(ring[i], ring[i + 1]);
  return 0.5 * s;
}

// One side group of a build: a wall along axis `axis` (0: along u, its
// position is the n coordinate; 1: along n, position the u coordinate).
struct CGroup {
  int axis;
  double pos;
  double w;
};

// A squared outline and its deviation from the input.
struct CBuild {
  std::vector<CPointD> ring;
  double rms = 0;
  double deviation = 0;  // percent of the outline's length
};

// The side classification of CBaseDir against a frame: 1 = off-axis, 2 =
// along u. The frame's axes are exactly perpendicular, whatever a preset
// direction made of axis 2.
int ClassifyIn(CFrame const& fr, CPointD const& v) {
  if (Len(v) < tol::kEps) return 1;
  double const a1 = std::abs(angle_detail::SignedAngle(fr.u, v));
  double const a2 = std::abs(angle_detail::SignedAngle(fr.n, v));
  double const d1 = std::min(a1, kPi - a1);
  double const d2 = std::min(a2, kPi - a2);
  double const dev = d1 < d2 ? d1 : d2;
  return (d1 < d2 ? 2 : 0) | (dev > tol::kOrthoOffAxis ? 1 : 0);
}

// A chain of off-axis sides: its ends in frame coordinates and its
// integrals of n du and u dn.
struct CStep {
  double pu, pn, qu, qn, inu, iun;
};

// The corner-to-corner sides of the corner set, as index pairs into the
// working ring (the last pair wraps over the closing vertex).
void CornerSides(CPolyOrtho::CBaseDir const& dir, std::vector<std::pair<int, int>>& sides) {
  sides.clear();
  int const m = static_cast<int>(dir.poly.size()) - 1;
  if (dir.corners.size() < 2 || m < 2) return;
  auto it = dir.corners.begin();
  int const first = *it;
  int prev = first;
  for (++it; it != dir.corners.end(); ++it) {
    sides.emplace_back(prev, *it);
    prev = *it;
  }
  sides.emplace_back(prev, first + m);
}

CPointD RingAt(std::vector<CPointD> const& ring, int i) {
  int const m = static_cast<int>(ring.size()) - 1;
  return ring[static_cast<std::size_t>(i % m)];
}

// Removes the corner whose outgoing side leans furthest from the axes, the
// first of equals. False when too few corners are left to lose one.
bool SimplifyStep(CPolyOrtho::CBaseDir& dir) {
  if (dir.corners.size() <= 3 || !dir.EnsureAxes()) return false;
  std::vector<std::pair<int, int>> sides;
  CornerSides(dir, sides);
  double worst = -1.0;
  int pick = -1;
  for (auto const& s : sides) {
    CPointD const v = dir.Canonical(RingAt(dir.poly, s.second) - RingAt(dir.poly, s.first));
    double const a = std::abs(std::atan2(Cross(dir.axis1, v), Dot(dir.axis1, v)));
    if (a > worst) {
      worst = a;
      pick = s.first;
    }
  }
  return pick >= 0 && dir.RemoveCorner(pick);
}

}  // namespace

// ---------------------------------------------------------------------------

bool PolyOrthoDir(const CPointD* pts, unsigned n, double& angle) {
  angle = tol::BadValue();
  if (pts == nullptr || n < 2 || !AllFinite(pts, n)) return false;
  bool const closed = Len(pts[n - 1] - pts[0]) < tol::kEps;
  if ((!closed && n < 3) || (closed && n < 4)) {
    CPointD const d = pts[1] - pts[0];
    if (!(Len(d) > tol::kEps)) return false;
    angle = std::atan2(d.y, d.x);
    return true;
  }
  CFourfold f;
  for (unsigned i = 0; i + 1 < n; ++i) {
    CPointD const d = pts[i + 1] - pts[i];
    double const l = Len(d);
    if (l > tol::kEps) f.Add(d.x, d.y, l, l);
  }
  double a;
  if (!f.Angle(a)) return false;
  angle = a;
  return true;
}

// ---------------------------------------------------------------------------
// CGroupCoord

CPolyOrtho::CGroupCoord::CGroupCoord(double tolerance)
    : m_tolerance(tolerance),
      m_groups(boost::bind(&CGroupCoord::LessValue, boost::placeholders::_1, boost::placeholders::_2, tolerance)) {}

CPolyOrtho::CGroupCoord::CGroupCoord(const CGroupCoord& other)
    : m_tolerance(other.m_tolerance), m_groups(other.m_groups) {}

CPolyOrtho::CGroupCoord& CPolyOrtho::CGroupCoord::operator=(const CGroupCoord& other) {
  m_tolerance = other.m_tolerance;
  m_groups = other.m_groups;
  return *this;
}

bool CPolyOrtho::CGroupCoord::LessValue(double a, double b, double tolerance) { return a < b - tolerance; }

void CPolyOrtho::CGroupCoord::Add(double value, double weight) {
  // A NaN would compare equal to every key and never find a place to stop
  // merging sensibly; it carries no position anyway.
  if (std::isnan(value) || std::isnan(weight)) return;
  for (auto it = m_groups.find(value); it != m_groups.end(); it = m_groups.find(value)) {
    double const wk = it->second;
    double const sum = wk + weight;
    value = sum != 0 ? (it->first * wk + value * weight) / sum : 0.5 * (it->first + value);
    weight = sum;
    m_groups.erase(it);
  }
  m_groups.emplace(value, weight);
}

void CPolyOrtho::CGroupCoord::GetRound(double& value) const {
  if (m_groups.empty() || std::isnan(value)) return;
  auto it = m_groups.lower_bound(value);
  if (it == m_groups.end()) {
    value = std::prev(it)->first;
    return;
  }
  if (it != m_groups.begin()) {
    auto const pr = std::prev(it);
    if (std::abs(value - pr->first) <= std::abs(it->first - value)) it = pr;
  }
  value = it->first;
}

// ---------------------------------------------------------------------------
// CParams

CPolyOrtho::CParams::CParams(double dRatio, double dMinSide_)
    : nCorners(4),
      nDeviation(0),
      dAux1(0),
      dMinSide(dMinSide_),
      dMaxRms(dMinSide_ * 0.25 * 4.0 * dRatio / (1.0 - dRatio)),
      dAux2(0),
      dMaxValue(8000.0),
      bFixedStart(false),
      baseDir{0, 0},
      nReserved{0, 0, 0, 0} {}

// ---------------------------------------------------------------------------
// CBaseDir

CPolyOrtho::CBaseDir::CBaseDir(std::vector<CPointD> const& poly_, CPointD const& preset, bool bMode_)
    : poly(poly_), axis1{0, 0}, axis2{0, 0}, bFixed(false), bMode(bMode_) {
  bFixed = std::abs(preset.x) >= tol::kEps || std::abs(preset.y) >= tol::kEps;
  if (bFixed) {
    double const x = preset.x;
    double const y = preset.y;
    if (x * y < 0)
      axis1 = {std::abs(y), std::abs(x)};
    else if (std::abs(x) < tol::kEps || x < 0)
      axis1 = {std::abs(x), std::abs(y)};
    else
      axis1 = preset;
    axis2 = {-y, x};
  }
  int const m = static_cast<int>(poly.size()) - (IsClosed(poly) ? 1 : 0);
  for (int i = 0; i < m; ++i) corners.insert(corners.end(), i);
  if (!bFixed) {
    axis1 = axis2 = {tol::BadValue(), tol::BadValue()};
    EnsureAxes();
  }
}

bool CPolyOrtho::CBaseDir::RemoveCorner(int index) {
  if (corners.erase(index) == 0) return false;
  if (!bFixed) axis1 = axis2 = {tol::BadValue(), tol::BadValue()};
  return true;
}

bool CPolyOrtho::CBaseDir::EnsureAxes() {
  if (!std::isnan(axis1.x) && !std::isnan(axis2.x)) return Len(axis1) > tol::kEps && Len(axis2) > tol::kEps;
  if (bFixed || !IsClosed(poly)) return false;
  std::vector<std::pair<int, int>> sides;
  CornerSides(*this, sides);
  if (sides.size() < 2) return false;
  // First vote: every corner-to-corner chord by its length.
  CFourfold f;
  for (auto const& s : sides) {
    CPointD const d = RingAt(poly, s.second) - RingAt(poly, s.first);
    double const l = Len(d);
    if (l > tol::kEps) f.Add(d.x, d.y, l, l);
  }
  double a0;
  if (!f.Angle(a0)) return false;
  axis1 = {std::cos(a0), std::sin(a0)};
  axis2 = {-axis1.y, axis1.x};
  // Second vote, repeated: walls. A wall runs from one change of axis to the
  // next; off-axis pieces inside it are the wobble of a staircase (or a cut
  // step) and stay in, so the wall's chord spans all of it. Each chord votes
  // by its squared length: its angle error falls with the length, its
  // variance with the square.
  std::size_t const k = sides.size();
  std::vector<int> cls(k);
  double a = a0;
  for (int round = 0; round < kWallRounds; ++round) {
    axis1 = {std::cos(a), std::sin(a)};
    axis2 = {-axis1.y, axis1.x};
    for (std::size_t i = 0; i < k; ++i) {
      CPointD v = RingAt(poly, sides[i].second) - RingAt(poly, sides[i].first);
      cls[i] = Classify(v);
    }
    // Start at an on-axis side whose previous on-axis side lies along the
    // other axis, so no wall is cut by the ring's seam.
    std::size_t start = k;
    int prevAxis = -1;
    for (std::size_t c = 0; c < 2 * k && start == k; ++c) {
      std::size_t const i = c % k;
      if (cls[i] & 1) continue;
      int const ax = (cls[i] & 2) ? 0 : 1;
      if (prevAxis >= 0 && ax != prevAxis) start = i;
      prevAxis = ax;
    }
    if (start == k) start = 0;
    CFourfold g;
    double bestLen = -1;
    CPointD bestWall{0, 0};
    int wallAxis = -1;
    CPointD wallA{0, 0}, wallB{0, 0};
    auto close = [&]() {
      if (wallAxis < 0) return;
      CPointD const d = wallB - wallA;
      double const l = Len(d);
      if (l > tol::kEps) {
        g.Add(d.x, d.y, l, l * l);
        if (l > bestLen) {
          bestLen = l;
          bestWall = d;
        }
      }
    };
    for (std::size_t c = 0; c < k; ++c) {
      std::size_t const i = (start + c) % k;
      if (cls[i] & 1) continue;
      int const ax = (cls[i] & 2) ? 0 : 1;
      if (ax != wallAxis) {
        close();
        wallAxis = ax;
        wallA = RingAt(poly, sides[i].first);
      }
      wallB = RingAt(poly, sides[i].second);
    }
    close();
    double next;
    if (bMode && bestLen > 0)
      next = std::atan2(bestWall.y, bestWall.x);
    else if (!g.Angle(next))
      break;
    a = next;
  }
  axis1 = {std::cos(a), std::sin(a)};
  axis2 = {-axis1.y, axis1.x};
  return true;
}

int CPolyOrtho::CBaseDir::Classify(CPointD& v) const {
  if (Len(v) < tol::kEps) return 1;
  double const a1 = std::abs(angle_detail::SignedAngle(axis1, v));
  double const a2 = std::abs(angle_detail::SignedAngle(axis2, v));
  double const d1 = std::min(a1, kPi - a1);
  double const d2 = std::min(a2, kPi - a2);
  int res = 0;
  double dev;
  if (d1 < d2) {
    res |= 2;
    dev = d1;
    if (a1 > kPi / 2) v = -v;
  } else {
    dev = d2;
    if (a2 > kPi / 2) v = -v;
  }
  if (dev > tol::kOrthoOffAxis) res |= 1;
  return res;
}

CPointD CPolyOrtho::CBaseDir::Canonical(CPointD const& v) const {
  double const a = angle_detail::SignedAngle(axis1, v);
  if (a <= -3 * kPi / 4 || a > 3 * kPi / 4) return -v;
  if (a > kPi / 4) return {v.y, -v.x};
  if (a < -kPi / 4) return {-v.y, v.x};
  return v;
}

double CPolyOrtho::CBaseDir::AxisLength() const { return Len(axis1) + Len(axis2); }

double CPolyOrtho::CBaseDir::Angle() const { return std::atan2(axis1.y, axis1.x); }

// ---------------------------------------------------------------------------
// SmoothPoly

std::vector<CPointD> CPolyOrtho::SmoothPoly(const std::vector<CPointD>& in, const CParams& params) {
  std::vector<CPointD> pts;
  if (in.empty() || !AllFinite(in.data(), in.size())) return pts;
  pts.reserve(in.size());
  for (CPointD const& p : in)
    if (pts.empty() || Len(p - pts.back()) >= tol::kEps) pts.push_back(p);
  bool const closed = IsClosed(in) && pts.size() > 1;
  if (closed && Len(pts.back() - pts.front()) < tol::kEps) pts.pop_back();
  if (pts.size() < 2) return {};
  double const tolerance = std::isfinite(params.dMaxRms) && params.dMaxRms > 0 ? params.dMaxRms : 0.0;
  if (closed) {
    // Restart at the sharpest turn: the split that follows keeps both ends of
    // the ring, so the seam must sit on a true corner, not mid-wall.
    std::size_t const m = pts.size();
    std::size_t sharp = 0;
    double best = -1;
    for (std::size_t i = 0; i < m; ++i) {
      CPointD const a = pts[i] - pts[(i + m - 1) % m];
      CPointD const b = pts[(i + 1) % m] - pts[i];
      double const t = std::abs(angle_detail::SignedAngle(a, b));
      if (t > best) {
        best = t;
        sharp = i;
      }
    }
    std::rotate(pts.begin(), pts.begin() + static_cast<std::ptrdiff_t>(sharp), pts.end());
    pts.push_back(pts.front());
  }
  std::vector<int> idx;
  CPolyApprox(tolerance, std::numeric_limits<double>::max())
      .GetInflections(pts.data(), static_cast<unsigned>(pts.size()), idx);
  if (idx.size() < 2) return pts;
  std::vector<CPointD> out;
  out.reserve(idx.size());
  for (int i : idx) out.push_back(pts[static_cast<std::size_t>(i)]);
  return out;
}

// ---------------------------------------------------------------------------
// BuildOrto

namespace {

// One squared outline of the working ring P, its corners given by `sides`,
// in the frame `fr`; false when the walls do not make an outline.
bool BuildIn(CFrame const& fr, std::vector<CPointD> const& P, std::vector<std::pair<int, int>> const& sides,
             std::vector<CPointD> const& in, CSegGrid const& toInput, double dMinSide, CBuild& res) {
  std::size_t const k = sides.size();

  // Classify every side and fit the on-axis ones: the length-weighted mean
  // position of its polyline across the axis.
  struct CSide {
    int cls;
    double pos;
    double w;
  };
  std::vector<CSide> sd(k);
  bool anyOn = false;
  for (std::size_t i = 0; i < k; ++i) {
    CPointD const v = RingAt(P, sides[i].second) - RingAt(P, sides[i].first);
    int cls = ClassifyIn(fr, v);
    int const axis = (cls & 2) ? 0 : 1;
    CPointD const nrm = axis == 0 ? fr.n : fr.u;
    double pos = 0, w = 0;
    for (int j = sides[i].first; j < sides[i].second; ++j) {
      CPointD const a = RingAt(P, j);
      CPointD const b = RingAt(P, j + 1);
      double const l = Len(b - a);
      pos += l * 0.5 * (Dot(nrm, a) + Dot(nrm, b));
      w += l;
    }
    if (!(w > tol::kEps)) cls |= 1;
    sd[i] = {cls, w > 0 ? pos / w : 0.0, w};
    if ((cls & 1) == 0) anyOn = true;
  }
  if (!anyOn) return false;

  // Start at an on-axis side that does not continue the run before it.
  auto axisOf = [&](std::size_t i) { return (sd[i].cls & 2) ? 0 : 1; };
  auto isOn = [&](std::size_t i) { return (sd[i].cls & 1) == 0; };
  std::size_t start = k;
  for (std::size_t i = 0; i < k && start == k; ++i) {
    std::size_t const p = (i + k - 1) % k;
    if (isOn(i) && (!isOn(p) || axisOf(p) != axisOf(i))) start = i;
  }
  if (start == k) start = 0;  // every side on one axis: no outline, caught below

  std::vector<CGroup> groups;
  groups.reserve(k + 2);
  // Off-axis sides between two walls along one axis are a step: a
  // perpendicular wall goes in where it keeps the area under the slanted
  // chain (placed once both walls are final). Between walls of different
  // axes they are a cut corner and are dropped.
  bool pendingOff = false;
  CStep chain{};
  auto chainSide = [&](std::size_t i) {
    if (!pendingOff) {
      chain = CStep{};
      CPointD const a = RingAt(P, sides[i].first);
      chain.pu = Dot(fr.u, a);
      chain.pn = Dot(fr.n, a);
    }
    for (int j = sides[i].first; j < sides[i].second; ++j) {
      CPointD const a = RingAt(P, j), b = RingAt(P, j + 1);
      double const ua = Dot(fr.u, a), na = Dot(fr.n, a), ub = Dot(fr.u, b), nb = Dot(fr.n, b);
      chain.inu += 0.5 * (na + nb) * (ub - ua);
      chain.iun += 0.5 * (ua + ub) * (nb - na);
      chain.qu = ub;
      chain.qn = nb;
    }
    pendingOff = true;
  };
  std::vector<std::pair<std::size_t, CStep>> steps;
  auto stepGroup = [&](int axis) {
    steps.emplace_back(groups.size(), chain);
    groups.push_back({1 - axis, 0.0, kStepWeight});
  };
  for (std::size_t c = 0; c < k; ++c) {
    std::size_t const i = (start + c) % k;
    if (!isOn(i)) {
      chainSide(i);
      continue;
    }
    int const ax = axisOf(i);
    if (!groups.empty() && groups.back().axis == ax) {
      if (pendingOff) {
        stepGroup(ax);
        groups.push_back({ax, sd[i].pos, sd[i].w});
      } else {
        CGroup& g = groups.back();
        double const w = g.w + sd[i].w;
        g.pos = (g.pos * g.w + sd[i].pos * sd[i].w) / w;
        g.w = w;
      }
    } else {
      groups.push_back({ax, sd[i].pos, sd[i].w});
    }
    pendingOff = false;
  }
  // The seam: the last group meets the first.
  if (groups.size() > 1 && groups.back().axis == groups.front().axis) {
    if (pendingOff) {
      stepGroup(groups.back().axis);
    } else {
      CGroup& f = groups.front();
      CGroup const& l = groups.back();
      double const w = f.w + l.w;
      f.pos = (f.pos * f.w + l.pos * l.w) / w;
      f.w = w;
      groups.pop_back();
    }
  }
  for (auto const& st : steps) {
    std::size_t const gn = groups.size();
    std::size_t const j = st.first;
    if (j >= gn) continue;
    CStep const& ch = st.second;
    double const a = groups[(j + gn - 1) % gn].pos, b = groups[(j + 1) % gn].pos;
    // Walls along u (positions in n) take a step along n at u = s, where
    // a (s - pu) + b (qu - s) equals the chain's integral of n du; walls
    // along n mirror it.
    bool const alongU = groups[j].axis == 1;
    double const c = alongU ? ch.inu : ch.iun;
    double const p0 = alongU ? ch.pu : ch.pn, q0 = alongU ? ch.qu : ch.qn;
    double sv = 0.5 * (p0 + q0);
    if (std::abs(a - b) > tol::kEps) sv = std::clamp((c + a * p0 - b * q0) / (a - b), std::min(p0, q0), std::max(p0, q0));
    groups[j].pos = sv;
  }
  if (groups.size() < 4 || groups.size() % 2 != 0) return false;

  // Drop walls shorter than dMinSide, shortest first; the two neighbours of
  // a dropped wall lie along one axis and become one wall.
  double const minSide = std::isfinite(dMinSide) && dMinSide > 0 ? dMinSide : 0.0;
  auto lengthOf = [&](std::size_t i) {
    std::size_t const g = groups.size();
    return std::abs(groups[(i + 1) % g].pos - groups[(i + g - 1) % g].pos);
  };
  auto dropShort = [&](double limit) {
    while (groups.size() > 4) {
      std::size_t const g = groups.size();
      std::size_t pick = g;
      double shortest = limit;
      for (std::size_t i = 0; i < g; ++i) {
        double const l = lengthOf(i);
        if (l < shortest) {
          shortest = l;
          pick = i;
        }
      }
      if (pick == g) return;
      std::size_t const a = (pick + g - 1) % g;
      std::size_t const b = (pick + 1) % g;
      CGroup& ga = groups[a];
      double const w = ga.w + groups[b].w;
      ga.pos = w > 0 ? (ga.pos * ga.w + groups[b].pos * groups[b].w) / w : 0.5 * (ga.pos + groups[b].pos);
      ga.w = w;
      // Erase the higher index first so the lower one stays valid.
      std::size_t const hi = std::max(pick, b), lo = std::min(pick, b);
      groups.erase(groups.begin() + static_cast<std::ptrdiff_t>(hi));
      groups.erase(groups.begin() + static_cast<std::ptrdiff_t>(lo));
    }
  };
  dropShort(minSide);

  // Walls along one axis that are one wall on the ground come out collinear.
  if (minSide > 0) {
    CPolyOrtho::CGroupCoord gc[2] = {CPolyOrtho::CGroupCoord(minSide * tol::kOrthoSnapShare),
                                     CPolyOrtho::CGroupCoord(minSide * tol::kOrthoSnapShare)};
    for (CGroup const& g : groups) gc[g.axis].Add(g.pos, g.w);
    for (CGroup& g : groups) gc[g.axis].GetRound(g.pos);
    dropShort(minSide);
  }
  std::size_t const g = groups.size();
  if (g < 4) return false;
  for (std::size_t i = 0; i < g; ++i)
    if (!(lengthOf(i) >= std::max(minSide, tol::kEps))) return false;

  // Corners: the crossing of each wall with the next.
  std::vector<CPointD> ring;
  ring.reserve(g + 1);
  for (std::size_t i = 0; i < g; ++i) {
    CGroup const& a = groups[i];
    CGroup const& b = groups[(i + 1) % g];
    double const uc = a.axis == 1 ? a.pos : b.pos;
    double const nc = a.axis == 0 ? a.pos : b.pos;
    ring.push_back(fr.ToWorld(uc, nc));
  }
  ring.push_back(ring.front());

  // An outline must not cross itself and must keep the input's sense.
  for (std::size_t i = 0; i < g; ++i)
    for (std::size_t j = i + 2; j < g; ++j) {
      if (i == 0 && j == g - 1) continue;
      if (SegmentsMeet(ring[i], ring[i + 1], ring[j], ring[j + 1])) return false;
    }
  if (SignedArea(ring) * SignedArea(P) <= 0) return false;

  // Deviation both ways, as integrals of the squared distance along the
  // input (from the outline) and along the outline (from the input), by
  // Simpson's rule on each segment.
  std::size_t const nin = in.size();
  double sum = 0, sq = 0, len = 0;
  CSegGrid const toRing(ring);
  auto along = [&](std::vector<CPointD> const& a, CSegGrid const& b) {
    for (std::size_t i = 0; i + 1 < a.size(); ++i) {
      double const l = Len(a[i + 1] - a[i]);
      if (!(l > 0)) continue;
      double const d0 = b.Distance(a[i]), d1 = b.Distance((a[i] + a[i + 1]) * 0.5), d2 = b.Distance(a[i + 1]);
      sum += l * (d0 + 4 * d1 + d2) / 6;
      sq += l * (d0 * d0 + 4 * d1 * d1 + d2 * d2) / 6;
      len += l;
    }
  };
  along(in, toRing);
  if (!IsClosed(in) && nin > 1) {
    std::vector<CPointD> const seam{in.back(), in.front()};
    along(seam, toRing);
  }
  along(ring, toInput);
  double perim = 0;
  for (std::size_t i = 0; i < g; ++i) perim += Len(ring[i + 1] - ring[i]);
  res.rms = len > 0 ? std::sqrt(sq / len) : 0.0;
  res.deviation = perim > 0 ? 100.0 * sum / perim : 0.0;
  res.ring.swap(ring);
  return true;
}

}  // namespace

bool CPolyOrtho::BuildOrto(std::vector<CPointD>& out, CBaseDir& dir, const std::vector<CPointD>& in,
                           CParams& params) {
  if (!IsClosed(dir.poly) || dir.poly.size() < 4 || dir.corners.size() < 3 || in.size() < 2) return false;
  if (in.size() > std::numeric_limits<unsigned>::max() || !AllFinite(in.data(), in.size())) return false;
  if (!dir.EnsureAxes()) return false;
  std::vector<std::pair<int, int>> sides;
  CornerSides(dir, sides);
  CSegGrid const toInput(in);
  CBuild res;
  if (!dir.bFixed) {
    // The votes leave the direction a fraction of a degree off on short or
    // wobbly walls, which at the far end of a long wall is more than the
    // staircase's own noise: settle it where the outline deviates least.
    double const a0 = dir.Angle();
    auto rmsAt = [&](double a) {
      CBuild b;
      return BuildIn(CFrame(a), dir.poly, sides, in, toInput, params.dMinSide, b) ? b.rms
                                                                          : std::numeric_limits<double>::infinity();
    };
    double lo = a0 - kAngleSearch, hi = a0 + kAngleSearch;
    double x1 = lo + (1 - kGolden) * (hi - lo), x2 = lo + kGolden * (hi - lo);
    double f1 = rmsAt(x1), f2 = rmsAt(x2);
    for (int e = 0; e < kAngleEvaluations; ++e) {
      if (f1 <= f2) {
        hi = x2;
        x2 = x1;
        f2 = f1;
        x1 = lo + (1 - kGolden) * (hi - lo);
        f1 = rmsAt(x1);
      } else {
        lo = x1;
        x1 = x2;
        f1 = f2;
        x2 = lo + kGolden * (hi - lo);
        f2 = rmsAt(x2);
      }
    }
    double best = f1 <= f2 ? x1 : x2;
    if (!(std::min(f1, f2) < rmsAt(a0))) best = a0;
    dir.axis1 = {std::cos(best), std::sin(best)};
    dir.axis2 = {-dir.axis1.y, dir.axis1.x};
  }
  if (!BuildIn(CFrame(dir.axis1), dir.poly, sides, in, toInput, params.dMinSide, res)) return false;
  bool const ok = res.rms <= params.dMaxRms;
  params.nCorners = static_cast<std::uint32_t>(res.ring.size() - 1);
  params.nDeviation = res.deviation < 4e9 ? static_cast<std::uint32_t>(std::lround(res.deviation)) : 0xFFFFFFFFu;
  params.dMaxRms = res.rms;
  out.swap(res.ring);
  return ok;
}

// ---------------------------------------------------------------------------
// Reduction and the iteration

bool CPolyOrtho::Reduction(const std::vector<CPointD>& in, std::vector<CPointD>& out, const CParams& start,
                           CParams& best, CBaseDir& dir) {
  best = start;
  best.nCorners = start.bFixedStart ? 5u : start.nCorners == UINT32_MAX ? UINT32_MAX : start.nCorners + 1;
  std::uint32_t const startCount = best.nCorners;
  bool taken = false;
  for (;;) {
    CParams cand = start;
    std::vector<CPointD> o;
    if (!BuildOrto(o, dir, in, cand)) break;
    if ((cand.nCorners < best.nCorners && (start.bFixedStart || cand.dMaxRms <= best.dMaxRms)) ||
        (cand.nCorners == best.nCorners && cand.dMaxRms < best.dMaxRms)) {
      best = cand;
      out.swap(o);
      taken = true;
    }
    if (best.nCorners < startCount) break;
    if (!SimplifyStep(dir)) break;
  }
  return taken;
}

bool CPolyOrtho::operator()(std::vector<CPointD>& poly, std::vector<std::vector<CPointD>>& variants) {
  CParams const caller = m_params;
  if (poly.size() < 4 || !IsClosed(poly) || !AllFinite(poly.data(), poly.size())) return false;
  if (!(std::isfinite(caller.dMaxRms) && caller.dMaxRms >= 0)) return false;
  if (poly.size() > std::numeric_limits<unsigned>::max()) return false;

  // The inflections at the accepted deviation: a ring that keeps 4 or fewer
  // (a triangle and its closing vertex) has no right angles to square.
  std::vector<int> idx;
  PolyInflections(poly.data(), static_cast<unsigned>(poly.size()), caller.dMaxRms, idx);
  if (idx.size() <= 4) return false;

  std::vector<CPointD> const work = SmoothPoly(poly, caller);
  if (work.size() < 5) return false;
  CBaseDir dir(work, caller.baseDir, caller.nDeviation != 0);

  auto refuse = [&](CParams const& rec) {
    m_params = rec;
    m_params.baseDir = dir.axis1;
    return false;
  };

  CParams cur = caller;
  std::vector<CPointD> out;
  if (!BuildOrto(out, dir, poly, cur)) {
    if (!out.empty()) variants.push_back(out);
    return refuse(caller);
  }
  variants.push_back(out);

  // 64-bit sums: a caller asking for any corner count passes UINT32_MAX.
  for (unsigned step = 1; std::uint64_t{cur.nCorners} > std::uint64_t{caller.nCorners} + 3; ++step) {
    if (!SimplifyStep(dir)) return refuse(cur);
    if (step % 5 == 0) {
      cur = caller;
      out.clear();
      bool const ok = BuildOrto(out, dir, poly, cur);
      if (!out.empty()) variants.push_back(out);
      if (!ok) return refuse(caller);
    }
  }

  CParams best = caller;
  std::vector<CPointD> result;
  Reduction(poly, result, caller, best, dir);
  if (!result.empty()) variants.push_back(result);
  if (!result.empty() && best.nCorners <= caller.nCorners && best.dMaxRms <= caller.dMaxRms) {
    m_params = best;
    m_params.baseDir = dir.axis1 * dir.AxisLength();
    poly.swap(result);
    return true;
  }
  return refuse(best);
}

bool CPolyOrtho::operator()(std::vector<CPointD>& poly) {
  std::vector<std::vector<CPointD>> variants;
  return (*this)(poly, variants);
}

// ---------------------------------------------------------------------------
// PolyOrtho

namespace {

// A vertex in the frame of the axes.
struct CLocal {
  double a;  // along u
  double b;  // along n
};

bool SameLocal(CLocal const& p, CLocal const& q) {
  return std::abs(p.a - q.a) < tol::kEps && std::abs(p.b - q.b) < tol::kEps;
}

double RoundGrid(double v) { return std::floor(v / tol::kOrthoGrid + 0.5) * tol::kOrthoGrid; }

// Moves side r -> r+1 of `res` parallel so that its line passes through
// `kept`; a ring's duplicated ends move together.
void ShiftSide(std::vector<CPointD>& res, std::size_t r, CPointD const& kept, bool closed) {
  std::size_t const s = r + 1;
  CPointD const d = res[s] - res[r];
  double const l2 = Dot(d, d);
  if (!(l2 > 0)) return;
  double const t = Dot(kept - res[r], d) / l2;
  CPointD const off = kept - (res[r] + d * t);
  res[r] += off;
  res[s] += off;
  if (closed) {
    if (r == 0) res.back() = res.front();
    if (s == res.size() - 1) res.front() = res.back();
  }
}

}  // namespace

bool PolyOrtho(std::vector<CPointD>& poly, double dTolerance, double dSecond, bool bKeepFirst, bool bKeepLast,
               double* pAngle) {
  if (poly.size() < 2 || poly.size() > std::numeric_limits<unsigned>::max()) return false;
  if (!AllFinite(poly.data(), poly.size())) return false;
  if (pAngle != nullptr && !std::isfinite(*pAngle)) return false;
  CPointD const keptFirst = poly.front();
  CPointD const keptLast = poly.back();
  bool const closed = IsClosed(poly);

  std::vector<CPointD> work;
  work.reserve(poly.size());
  for (CPointD const& p : poly)
    if (work.empty() || Len(p - work.back()) >= tol::kEps) work.push_back(p);
  if (closed && work.size() > 1 && Len(work.back() - work.front()) < tol::kEps) work.back() = work.front();
  if (closed && work.size() > 1 && Len(work.back() - work.front()) >= tol::kEps) work.push_back(work.front());
  if (work.size() < 2 || (closed && work.size() < 3)) return false;

  std::vector<int> idx;
  auto inflections = [&]() {
    idx.clear();
    PolyInflections(work.data(), static_cast<unsigned>(work.size()), dTolerance, idx);
    if (idx.size() < 2) idx = {0, static_cast<int>(work.size()) - 1};
  };
  inflections();

  // A ring restarts at its sharpest inflection, so the seam is a corner.
  std::size_t firstAt = 0;  // where the caller's first vertex is in `work`
  if (closed && idx.size() > 3) {
    std::size_t const m = idx.size() - 1;
    double best = -1;
    std::size_t sharp = 0;
    for (std::size_t i = 0; i < m; ++i) {
      CPointD const a = work[static_cast<std::size_t>(idx[i])] - work[static_cast<std::size_t>(idx[(i + m - 1) % m])];
      CPointD const b = work[static_cast<std::size_t>(idx[i + 1])] - work[static_cast<std::size_t>(idx[i])];
      double const t = std::abs(angle_detail::SignedAngle(a, b));
      if (t > best) {
        best = t;
        sharp = static_cast<std::size_t>(idx[i]);
      }
    }
    if (sharp > 0 && sharp < work.size() - 1) {
      ReconnectPoly(work, static_cast<unsigned>(sharp));
      firstAt = work.size() - 1 - sharp;
      inflections();
    }
  }
  std::size_t const pieces = idx.size() - 1;

  // The direction: fitted piece directions, weighted by their chords.
  double angle = 0;
  if (pAngle != nullptr) {
    angle = *pAngle;
  } else {
    CFourfold f;
    for (std::size_t i = 0; i < pieces; ++i) {
      auto const a = static_cast<std::size_t>(idx[i]);
      auto const b = static_cast<std::size_t>(idx[i + 1]);
      CLine const l(work.data() + a, static_cast<unsigned>(b - a + 1));
      CPointD const v = l.Vector();
      double const lv = Len(v);
      if (!(lv >= tol::kEps)) continue;
      double const chord = Len(work[b] - work[a]);
      f.Add(v.x, v.y, lv, chord);
    }
    if (!f.Angle(angle)) {
      double longest = 0;
      for (std::size_t i = 0; i + 1 < work.size(); ++i) {
        CPointD const d = work[i + 1] - work[i];
        if (Len(d) > longest) {
          longest = Len(d);
          angle = std::atan2(d.y, d.x);
        }
      }
      if (!(longest > tol::kEps)) return false;
    }
  }
  CFrame const fr(angle);
  auto toLocal = [&](CPointD const& p) { return CLocal{Dot(fr.u, p), Dot(fr.n, p)}; };

  // Each piece becomes a line along the nearer axis through its mean point.
  std::vector<CGroup> lines(pieces);
  for (std::size_t i = 0; i < pieces; ++i) {
    auto const a = static_cast<std::size_t>(idx[i]);
    auto const b = static_cast<std::size_t>(idx[i + 1]);
    CPtStat st(work.data() + a, static_cast<int>(b - a + 1));
    CPointD const m = st.AvgPoint();
    CPointD const c = work[b] - work[a];
    int const axis = std::abs(Dot(c, fr.u)) >= std::abs(Dot(c, fr.n)) ? 0 : 1;
    lines[i] = {axis, axis == 0 ? Dot(fr.n, m) : Dot(fr.u, m), Len(c)};
  }
  if (dSecond > 0) {
    CPolyOrtho::CGroupCoord gc[2] = {CPolyOrtho::CGroupCoord(dSecond), CPolyOrtho::CGroupCoord(dSecond)};
    for (CGroup const& l : lines) gc[l.axis].Add(l.pos, l.w);
    for (CGroup& l : lines) gc[l.axis].GetRound(l.pos);
  }

  // Junction of line i-1 and line i at the shared vertex s: their crossing,
  // or the feet of s on both when they are parallel.
  std::vector<CLocal> loc;
  loc.reserve(2 * pieces + 2);
  std::size_t firstCorner = 0;
  auto foot = [](CGroup const& l, CLocal p) {
    if (l.axis == 0) p.b = l.pos; else p.a = l.pos;
    return p;
  };
  auto junction = [&](CGroup const& l0, CGroup const& l1, CPointD const& s) {
    if (l0.axis != l1.axis) {
      loc.push_back(l0.axis == 1 ? CLocal{l0.pos, l1.pos} : CLocal{l1.pos, l0.pos});
    } else {
      loc.push_back(foot(l0, toLocal(s)));
      loc.push_back(foot(l1, toLocal(s)));
    }
  };
  if (closed) {
    for (std::size_t i = 0; i < pieces; ++i) {
      if (static_cast<std::size_t>(idx[i]) <= firstAt) firstCorner = loc.size();
      junction(lines[(i + pieces - 1) % pieces], lines[i], work[static_cast<std::size_t>(idx[i])]);
    }
    loc.push_back(loc.front());
  } else {
    loc.push_back(foot(lines[0], toLocal(work.front())));
    for (std::size_t i = 1; i < pieces; ++i) junction(lines[i - 1], lines[i], work[static_cast<std::size_t>(idx[i])]);
    loc.push_back(foot(lines[pieces - 1], toLocal(work.back())));
  }
  CPointD const firstCornerWorld = fr.ToWorld(loc[firstCorner].a, loc[firstCorner].b);

  // Clean-up: repeated vertices and vertices inside one straight side go.
  std::vector<CLocal> clean;
  clean.reserve(loc.size());
  for (CLocal const& p : loc) {
    if (!clean.empty() && SameLocal(clean.back(), p)) continue;
    if (clean.size() >= 2) {
      CLocal const& a = clean[clean.size() - 2];
      CLocal const& b = clean.back();
      bool const straight = (std::abs(a.a - b.a) < tol::kEps && std::abs(b.a - p.a) < tol::kEps) ||
                            (std::abs(a.b - b.b) < tol::kEps && std::abs(b.b - p.b) < tol::kEps);
      if (straight) clean.pop_back();
    }
    clean.push_back(p);
  }
  if (closed && clean.size() >= 4) {
    // The seam vertex itself may sit inside a side.
    CLocal const& a = clean[clean.size() - 2];
    CLocal const& b = clean.front();
    CLocal const& c = clean[1];
    bool const straight = (std::abs(a.a - b.a) < tol::kEps && std::abs(b.a - c.a) < tol::kEps) ||
                          (std::abs(a.b - b.b) < tol::kEps && std::abs(b.b - c.b) < tol::kEps);
    if (straight) {
      clean.erase(clean.begin());
      clean.back() = clean.front();
    }
  }
  std::size_t distinct = clean.size() - (closed ? 1 : 0);
  if (clean.size() < 2 || distinct < 2) return false;

  std::vector<CPointD> res;
  res.reserve(clean.size());
  for (CLocal const& p : clean) res.push_back(fr.ToWorld(p.a, p.b));
  if (closed) res.back() = res.front();

  if (closed) {
    if (bKeepFirst || bKeepLast) {
      // The corner the first vertex became, found on the rounding grid; the
      // nearest vertex when the clean-up merged it away.
      std::size_t r = res.size();
      for (std::size_t i = 0; i + 1 < res.size() && r == res.size(); ++i)
        if (RoundGrid(res[i].x) == RoundGrid(firstCornerWorld.x) && RoundGrid(res[i].y) == RoundGrid(firstCornerWorld.y))
          r = i;
      if (r == res.size()) {
        double bd = std::numeric_limits<double>::infinity();
        for (std::size_t i = 0; i + 1 < res.size(); ++i)
          if (Len(res[i] - keptFirst) < bd) {
            bd = Len(res[i] - keptFirst);
            r = i;
          }
      }
      if (r + 1 < res.size()) ShiftSide(res, r, keptFirst, true);
    }
  } else {
    if (bKeepFirst) {
      ShiftSide(res, 0, keptFirst, false);
      res.front() = keptFirst;
    }
    if (bKeepLast) {
      ShiftSide(res, res.size() - 2, keptLast, false);
      res.back() = keptLast;
    }
  }
  if (pAngle != nullptr) *pAngle = angle;
  poly.swap(res);
  return true;
}

}  // namespace Math
