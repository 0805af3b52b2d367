#include <math/polydir.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <numeric>

#include <boost/geometry.hpp>
#include <boost/geometry/geometries/box.hpp>
#include <boost/geometry/geometries/point.hpp>
#include <boost/geometry/geometries/segment.hpp>
#include <boost/geometry/index/rtree.hpp>

#include <math/polyapprox.h>

#include "core/tolerance.h"

namespace Math {
namespace {

constexpr double kPi = 3.14159265358979323846;
// The mean of the runs within the window settles in two or three steps; the
// cap only guards against a window that keeps trading one run for another.
constexpr int kMeanShiftSteps = 8;

bool AllFinite(CPointD const* pts, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i)
    if (!std::isfinite(pts[i].x) || !std::isfinite(pts[i].y)) return false;
  return true;
}

double Len(CPointD const& v) { return std::hypot(v.x, v.y); }
double Cross(CPointD const& a, CPointD const& b) { return a.x * b.y - a.y * b.x; }
double Dot(CPointD const& a, CPointD const& b) { return a.x * b.x + a.y * b.y; }

// Folds an angle into [0, period).
double Fold(double a, double period) {
  double r = std::fmod(a, period);
  if (r < 0.0) r += period;
  return r >= period ? 0.0 : r;
}

// Direction of largest spread of a scatter: the total-least-squares line.
double AxisAngle(double sxx, double sxy, double syy) { return 0.5 * std::atan2(2.0 * sxy, sxx - syy); }

// Running sums of points taken relative to `origin`, so that a run far from
// the coordinate origin does not lose its spread to cancellation.
struct CSums {
  CPointD origin{0.0, 0.0};
  double n = 0.0, sx = 0.0, sy = 0.0, sxx = 0.0, sxy = 0.0, syy = 0.0;

  void Add(CPointD const& p) {
    double const x = p.x - origin.x, y = p.y - origin.y;
    n += 1.0; sx += x; sy += y; sxx += x * x; sxy += x * y; syy += y * y;
  }
  CPointD Mean() const { return {origin.x + sx / n, origin.y + sy / n}; }
  // Central moments.
  double Cxx() const { return sxx - sx * sx / n; }
  double Cxy() const { return sxy - sx * sy / n; }
  double Cyy() const { return syy - sy * sy / n; }
  // Unit direction of the fitted line, pointing from `from` towards `to`.
  CPointD Dir(CPointD const& from, CPointD const& to) const {
    double const a = AxisAngle(Cxx(), Cxy(), Cyy());
    CPointD d{std::cos(a), std::sin(a)};
    return Dot(d, to - from) < 0.0 ? -d : d;
  }
};

// A straight run: vertices first..last, the total-least-squares line through
// them (the point `at` and the unit vector `dir` along the way of travel) and
// the length of its chord.
struct CRun {
  std::size_t first;
  std::size_t last;
  CPointD at;
  CPointD dir;
  double length;
};

double LineDistance(CRun const& r, CPointD const& p) { return std::abs(Cross(r.dir, p - r.at)); }
CPointD Project(CRun const& r, CPointD const& p) { return r.at + r.dir * Dot(p - r.at, r.dir); }

// The straight runs of a polyline at deviation `tolerance`. The approximation
// alone cuts a traced side wherever a step happened to lie farthest, leaving
// short pieces along the grid; consecutive pieces are therefore joined while
// one fitted line holds them all within the tolerance. Joining checks only
// the new piece's points and the run's first and middle points against the
// refitted line, so the whole pass stays linear.
std::vector<CRun> Straighten(CPointD const* pts, std::size_t n, double tolerance) {
  std::vector<int> idx;
  if (n < 3 || !PolyInflections(pts, static_cast<unsigned>(n), tolerance, idx)) {
    idx.resize(n);
    std::iota(idx.begin(), idx.end(), 0);
  }
  std::vector<CRun> runs;
  CSums cur;
  std::size_t first = static_cast<std::size_t>(idx[0]), last = first;
  cur.origin = pts[first];
  cur.Add(pts[first]);
  auto flush = [&]() {
    double const len = Len(pts[last] - pts[first]);
    if (last > first && len >= tol::kEps) runs.push_back({first, last, cur.Mean(), cur.Dir(pts[first], pts[last]), len});
  };
  for (std::size_t k = 1; k < idx.size(); ++k) {
    auto const j = static_cast<std::size_t>(idx[k]);
    CSums next = cur;
    for (std::size_t i = last + 1; i <= j; ++i) next.Add(pts[i]);
    bool fits = last > first;
    if (fits) {
      CRun const r{first, j, next.Mean(), next.Dir(pts[first], pts[j]), 0.0};
      fits = LineDistance(r, pts[first]) <= tolerance && LineDistance(r, pts[(first + last) / 2]) <= tolerance;
      for (std::size_t i = last + 1; fits && i <= j; ++i) fits = LineDistance(r, pts[i]) <= tolerance;
    }
    if (fits || last == first) {
      cur = next;
      last = j;
      continue;
    }
    flush();
    first = last;
    cur = CSums{};
    cur.origin = pts[first];
    for (std::size_t i = first; i <= j; ++i) cur.Add(pts[i]);
    last = j;
  }
  flush();
  return runs;
}

// The deviation at which a trace's staircase disappears: the median edge
// length, capped at one pixel. Vector data with long edges keeps its shape
// (nothing smaller than a pixel is lost), traced data loses its steps.
double StraightenTolerance(CPointD const* pts, unsigned n) {
  std::vector<double> len;
  len.reserve(n);
  for (unsigned i = 1; i < n; ++i) {
    double const l = Len(pts[i] - pts[i - 1]);
    if (l >= tol::kEps) len.push_back(l);
  }
  if (len.empty()) return 0.0;
  auto mid = len.begin() + static_cast<std::ptrdiff_t>(len.size() / 2);
  std::nth_element(len.begin(), mid, len.end());
  return std::min(*mid, tol::kTraceStep);
}

// A run's direction folded into [0, period) and its weight.
struct CVote {
  double angle;
  double weight;
  std::size_t run;
};

std::vector<CVote> Votes(std::vector<CRun> const& runs, double period) {
  std::vector<CVote> v;
  v.reserve(runs.size());
  for (std::size_t k = 0; k < runs.size(); ++k)
    v.push_back({Fold(std::atan2(runs[k].dir.y, runs[k].dir.x), period), runs[k].length, k});
  std::sort(v.begin(), v.end(), [](CVote const& a, CVote const& b) { return a.angle < b.angle; });
  return v;
}

bool GoodAngleArgs(CPointD const* pts, unsigned n, double d, double dMax) {
  return pts != nullptr && n >= 2 && d > 0.0 && d <= dMax && AllFinite(pts, n);
}

}  // namespace

double PolyBaseDir(CPointD const* pts, unsigned n, double d) {
  if (!GoodAngleArgs(pts, n, d, 0.25 * kPi)) return tol::BadValue();
  double const period = 0.5 * kPi;
  std::vector<CRun> const runs = Straighten(pts, n, StraightenTolerance(pts, n));
  if (runs.empty()) return tol::BadValue();
  std::vector<CVote> const votes = Votes(runs, period);

  // Each run's angle is a candidate centre; its vote is the length of the
  // runs in [centre - d, centre + d) round the quarter circle. The sorted
  // angles are laid out three times (shifted by -period, 0, +period) so the
  // window never wraps, and a prefix sum turns each vote into two binary
  // searches. d <= period / 2, so no run is counted twice.
  std::size_t const m = votes.size();
  std::vector<double> ext(3 * m);
  std::vector<double> cum(3 * m + 1, 0.0);
  for (std::size_t k = 0; k < 3 * m; ++k) {
    ext[k] = votes[k % m].angle + period * (static_cast<double>(k / m) - 1.0);
    cum[k + 1] = cum[k] + votes[k % m].weight;
  }
  double best = -1.0;
  std::size_t bestK = 0;
  for (std::size_t k = 0; k < m; ++k) {
    double const c = votes[k].angle;
    auto const lo = std::lower_bound(ext.begin(), ext.end(), c - d) - ext.begin();
    auto const hi = std::lower_bound(ext.begin(), ext.end(), c + d) - ext.begin();
    double const vote = cum[static_cast<std::size_t>(hi)] - cum[static_cast<std::size_t>(lo)];
    if (tol::GtBeyond(vote, best)) {
      best = vote;
      bestK = k;
    }
  }
  // Refine: the length-weighted mean direction of the runs within d of the
  // centre, moved to that mean and taken again until it settles (each step
  // can only gain or lose runs at the window's edges). Every run votes with
  // the line fitted through all its points, so the staircase of a long side
  // averages out.
  double centre = votes[bestK].angle;
  for (int iter = 0; iter < kMeanShiftSteps; ++iter) {
    double sw = 0.0, sa = 0.0;
    for (CVote const& v : votes) {
      double gap = v.angle - centre;
      if (gap > 0.5 * period) gap -= period;
      if (gap < -0.5 * period) gap += period;
      if (std::abs(gap) > d) continue;
      sw += v.weight;
      sa += v.weight * gap;
    }
    double const step = sa / sw;
    centre = Fold(centre + step, period);
    if (std::abs(step) < tol::kEps) break;
  }
  return centre;
}

void PolyDirClusters(CPointD const* pts, unsigned n, std::vector<std::pair<CPointD, double>>& out, double d) {
  if (!GoodAngleArgs(pts, n, d, 0.5 * kPi)) return;
  std::vector<CVote> const runs = Votes(Straighten(pts, n, StraightenTolerance(pts, n)), kPi);
  if (runs.empty()) return;
  std::size_t const m = runs.size();

  // Cut the half circle at its widest gap between neighbouring directions,
  // so a cluster never straddles the cut; a circle with no gap of d is one
  // cluster.
  std::size_t start = 0;
  double widest = -1.0;
  for (std::size_t k = 0; k < m; ++k) {
    double const next = k + 1 < m ? runs[k + 1].angle : runs[0].angle + kPi;
    double const gap = next - runs[k].angle;
    if (gap > widest) {
      widest = gap;
      start = (k + 1) % m;
    }
  }

  double total = 0.0;
  for (CVote const& r : runs) total += r.weight;

  std::vector<std::pair<CPointD, double>> result;
  // Doubled angles average undirected lines: 179 and 1 degrees mean 0.
  double cx = 0.0, cy = 0.0, w = 0.0, heaviest = -1.0, heaviestAngle = 0.0;
  auto flush = [&]() {
    double a = 0.5 * std::atan2(cy, cx);
    // Only a cluster spread evenly round the half circle has no mean; its
    // heaviest run stands for it.
    if (std::hypot(cx, cy) < tol::kEps * w) a = heaviestAngle;
    a = Fold(a, kPi);
    result.push_back({CPointD{std::cos(a), std::sin(a)}, w / total});
    cx = cy = w = 0.0;
    heaviest = -1.0;
  };
  for (std::size_t s = 0; s < m; ++s) {
    std::size_t const k = (start + s) % m;
    if (s > 0) {
      std::size_t const prev = (start + s - 1) % m;
      double gap = runs[k].angle - runs[prev].angle;
      if (gap < 0.0) gap += kPi;
      if (gap >= d) flush();
    }
    CVote const& r = runs[k];
    cx += r.weight * std::cos(2.0 * r.angle);
    cy += r.weight * std::sin(2.0 * r.angle);
    w += r.weight;
    if (r.weight > heaviest) {
      heaviest = r.weight;
      heaviestAngle = r.angle;
    }
  }
  flush();
  std::sort(result.begin(), result.end(), [](auto const& a, auto const& b) {
    if (a.second != b.second) return a.second > b.second;
    return std::atan2(a.first.y, a.first.x) < std::atan2(b.first.y, b.first.x);
  });
  out.swap(result);
}

namespace {

// The line of a run refitted without its end vertices when it has four or
// more: the ends sit in the bevels a trace cuts at corners and pull the line
// towards the neighbouring side.
CRun CornerFit(std::vector<CPointD> const& w, CRun const& r) {
  std::size_t a = r.first, b = r.last;
  if (b - a + 1 >= 4) { ++a; --b; }
  CSums s;
  s.origin = w[a];
  for (std::size_t i = a; i <= b; ++i) s.Add(w[i]);
  return {r.first, r.last, s.Mean(), s.Dir(w[r.first], w[r.last]), r.length};
}

bool Parallel(CRun const& a, CRun const& b) { return std::abs(Cross(a.dir, b.dir)) < tol::kParallelSine; }

// Where the lines of a and b cross; they must not be parallel.
CPointD Meet(CRun const& a, CRun const& b) {
  // a.at + s a.dir on b's line: cross(b.dir, a.at + s a.dir - b.at) = 0.
  return a.at + a.dir * (Cross(b.dir, b.at - a.at) / Cross(b.dir, a.dir));
}

// Consecutive runs on one line (a side the straightening split where a step
// sat farthest from its chord, and a short stretch between dropped) become
// one run refitted through all their points.
std::vector<CRun> MergeCollinear(std::vector<CPointD> const& w, std::vector<CRun> const& runs, double tolerance) {
  std::vector<CRun> out;
  for (CRun const& r : runs) {
    if (!out.empty()) {
      CRun const& a = out.back();
      if (Parallel(a, r) && LineDistance(a, r.at) <= tolerance && LineDistance(r, a.at) <= tolerance) {
        CRun const joined{a.first, r.last, a.at, a.dir, Len(w[r.last] - w[a.first])};
        out.back() = CornerFit(w, joined);
        continue;
      }
    }
    out.push_back(r);
  }
  return out;
}

// A run whose neighbours' lines meet within kBevelDepth tolerances of its own
// line only cuts their corner: a trace's bevel, not a side. Dropping it lets
// the neighbours meet at the true corner.
std::vector<CRun> DropBevels(std::vector<CRun> const& runs, bool closed, double tolerance) {
  std::vector<CRun> out;
  std::size_t const m = runs.size();
  if (m < (closed ? 4u : 3u)) return runs;
  std::vector<char> drop(m, 0);
  for (std::size_t k = 0; k < m; ++k) {
    if (!closed && (k == 0 || k + 1 == m)) continue;
    // The nearest kept neighbours, so that two bevels in a row are judged
    // against the sides around them.
    std::size_t p = (k + m - 1) % m;
    if (drop[p]) continue;
    std::size_t const q = (k + 1) % m;
    CRun const& a = runs[p];
    CRun const& b = runs[q];
    if (Parallel(a, b)) continue;
    if (LineDistance(runs[k], Meet(a, b)) <= tol::kBevelDepth * tolerance) drop[k] = 1;
  }
  for (std::size_t k = 0; k < m; ++k)
    if (!drop[k]) out.push_back(runs[k]);
  return out.size() >= (closed ? 3u : 1u) ? out : runs;
}

}  // namespace

bool PolyBroken(std::vector<CPointD>& poly, double dTolerance, double dMinRun, bool bClosed, bool bKeepEnds) {
  std::size_t const n = poly.size();
  if (n < (bClosed ? 3u : 2u) || n > static_cast<std::size_t>(std::numeric_limits<int>::max() - 1)) return false;
  if (!(dTolerance > 0.0) || !std::isfinite(dTolerance) || !(dMinRun >= 0.0)) return false;
  if (!AllFinite(poly.data(), n)) return false;

  // Work on a ring that repeats its first point, so the approximation sees
  // the closing side like any other.
  std::vector<CPointD> w(poly);
  if (bClosed && Len(w.back() - w.front()) >= tol::kEps) w.push_back(w.front());
  std::vector<CRun> runs = Straighten(w.data(), w.size(), dTolerance);
  if (bClosed && runs.size() >= 2) {
    // A ring's first point usually sits inside a side and splits it in two;
    // start the ring again where the second run starts (the end of a side)
    // and straighten once more.
    std::size_t const s = runs[1].first;
    std::vector<CPointD> r(w.begin() + static_cast<std::ptrdiff_t>(s), w.end() - 1);
    r.insert(r.end(), w.begin(), w.begin() + static_cast<std::ptrdiff_t>(s) + 1);
    w.swap(r);
    runs = Straighten(w.data(), w.size(), dTolerance);
  }
  std::vector<CRun> kept;
  for (CRun const& r : runs)
    if (tol::GeWithin(r.length, dMinRun)) kept.push_back(CornerFit(w, r));
  kept = MergeCollinear(w, kept, dTolerance);
  kept = DropBevels(kept, bClosed, dTolerance);
  kept = MergeCollinear(w, kept, dTolerance);
  if (bClosed ? kept.size() < 3 : kept.empty()) return false;

  std::vector<CPointD> result;
  if (!bClosed) result.push_back(bKeepEnds ? w.front() : Project(kept.front(), w.front()));
  std::size_t const joins = bClosed ? kept.size() : kept.size() - 1;
  for (std::size_t k = 0; k < joins; ++k) {
    CRun const& a = kept[k];
    CRun const& b = kept[(k + 1) % kept.size()];
    CPointD const endA = w[a.last];
    CPointD const startB = w[b.first];
    bool corner = !Parallel(a, b);
    CPointD x{};
    if (corner) {
      x = Meet(a, b);
      double const reach = tol::kCornerReach * Len(startB - endA) + dMinRun;
      corner = Len(x - endA) <= reach && Len(x - startB) <= reach;
    }
    if (corner) {
      result.push_back(x);
    } else {
      result.push_back(Project(a, endA));
      result.push_back(Project(b, startB));
    }
  }
  if (bClosed) {
    // Start with the corner that opens the first run.
    std::rotate(result.begin(), result.end() - 1, result.end());
    result.push_back(result.front());
  } else {
    result.push_back(bKeepEnds ? w.back() : Project(kept.back(), w.back()));
  }
  for (CPointD const& p : result)
    if (!std::isfinite(p.x) || !std::isfinite(p.y)) return false;
  if (result.size() == n && std::equal(result.begin(), result.end(), poly.begin(), [](CPointD const& p, CPointD const& q) {
        return p.x == q.x && p.y == q.y;
      }))
    return false;
  poly.swap(result);
  return true;
}

bool PolyBroken2(std::vector<CPointD>& poly, double dTolerance, bool bClosed, bool bKeepEnds) {
  return PolyBroken(poly, dTolerance, tol::kBrokenRunFactor * dTolerance, bClosed, bKeepEnds);
}

namespace {

namespace bg = boost::geometry;
namespace bgi = boost::geometry::index;
using BPoint = bg::model::point<double, 2, bg::cs::cartesian>;
using BSegment = bg::model::segment<BPoint>;
using BBox = bg::model::box<BPoint>;
using BValue = std::pair<BSegment, unsigned>;

// Nearest point of segment a-b to p: parameter clamped to [0, 1].
struct CFoot {
  double t;
  double dist;
};

CFoot Foot(CPointD const& a, CPointD const& b, CPointD const& p) {
  CPointD const d = b - a;
  double t = Dot(p - a, d) / Dot(d, d);
  t = std::clamp(t, 0.0, 1.0);
  return {t, Len(p - (a + d * t))};
}

}  // namespace

std::vector<CPointD> PolyDistances(std::vector<CPointD> const& a, std::vector<CPointD> const& b) {
  std::vector<CPointD> out;
  if (a.empty() || b.empty() || !AllFinite(b.data(), b.size())) return out;
  std::size_t const m = b.size();

  // Segments of b that have a length; zero-length ones hold no point the
  // neighbours do not.
  std::vector<unsigned> segs;
  std::vector<double> cum(m, 0.0);
  for (std::size_t i = 1; i < m; ++i) {
    CPointD const d = b[i] - b[i - 1];
    double const l = Len(d);
    cum[i] = cum[i - 1] + l;
    // A segment so short that its squared length underflows has no
    // parameter to offer; its ends belong to its neighbours.
    if (l > 0.0 && Dot(d, d) > 0.0) segs.push_back(static_cast<unsigned>(i - 1));
  }
  out.reserve(a.size());
  if (segs.empty()) {
    for (CPointD const& p : a) {
      if (!std::isfinite(p.x) || !std::isfinite(p.y))
        out.push_back({tol::BadValue(), tol::BadValue()});
      else
        out.push_back({0.0, Len(p - b[0])});
    }
    return out;
  }

  // Neighbouring segments with a length, for the side test at a vertex; a
  // closed b turns its seam into an ordinary vertex.
  bool const closed = Len(b.back() - b.front()) < tol::kEps;
  std::size_t const ns = segs.size();

  std::vector<BValue> values;
  values.reserve(ns);
  for (std::size_t k = 0; k < ns; ++k) {
    unsigned const i = segs[k];
    values.push_back({BSegment(BPoint(b[i].x, b[i].y), BPoint(b[i + 1].x, b[i + 1].y)), static_cast<unsigned>(k)});
  }
  // The packing constructor bulk-loads in O(m log m) and gives a tighter tree
  // than inserting one by one.
  bgi::rtree<BValue, bgi::quadratic<16>> tree(values.begin(), values.end());

  auto unit = [&](std::size_t k) {
    unsigned const i = segs[k];
    CPointD const d = b[i + 1] - b[i];
    return d / Len(d);
  };

  std::vector<BValue> hits;
  for (CPointD const& p : a) {
    if (!std::isfinite(p.x) || !std::isfinite(p.y)) {
      out.push_back({tol::BadValue(), tol::BadValue()});
      continue;
    }
    BPoint const q(p.x, p.y);
    hits.clear();
    tree.query(bgi::nearest(q, 1), std::back_inserter(hits));
    std::size_t const k0 = hits.front().second;
    unsigned const i0 = segs[k0];
    CFoot const f0 = Foot(b[i0], b[i0 + 1], p);
    double const d0 = f0.dist;
    // The tree's nearest is one of possibly several equally near segments;
    // gather every segment whose box comes within d0 and keep the earliest of
    // the nearest, as a walk along b would. The slack covers the rounding of
    // distances computed from coordinates of the point's magnitude.
    double const r = d0 + tol::kEps * (d0 + std::abs(p.x) + std::abs(p.y));
    BBox const box(BPoint(p.x - r, p.y - r), BPoint(p.x + r, p.y + r));
    hits.clear();
    tree.query(bgi::intersects(box), std::back_inserter(hits));
    // Start from the tree's nearest: when the distances overflow to NaN the
    // box query finds nothing, and there must still be a segment to report.
    std::size_t bestK = k0;
    CFoot best = f0;
    for (BValue const& h : hits) {
      unsigned const i = segs[h.second];
      CFoot const f = Foot(b[i], b[i + 1], p);
      if (f.dist < best.dist || (f.dist == best.dist && h.second < bestK)) {
        best = f;
        bestK = h.second;
      }
    }
    unsigned const i = segs[bestK];
    double const len = cum[i + 1] - cum[i];
    double const pos = cum[i] + best.t * len;

    // Side: on the segment's interior its own cross product. At a vertex the
    // point lies in the wedge outside the corner, where both segments agree
    // on the side; adding their unit crosses keeps that agreement and lets
    // the nearer-to-perpendicular one win at a straight joint.
    CPointD const u = unit(bestK);
    CPointD const foot = b[i] + (b[i + 1] - b[i]) * best.t;
    double side = Cross(u, p - foot);
    if (best.t >= 1.0) {
      std::size_t const nk = bestK + 1 < ns ? bestK + 1 : (closed ? 0 : ns);
      if (nk < ns) side += Cross(unit(nk), p - foot);
    } else if (best.t <= 0.0) {
      std::size_t const pk = bestK > 0 ? bestK - 1 : (closed ? ns - 1 : ns);
      if (pk < ns) side += Cross(unit(pk), p - foot);
    }
    out.push_back({pos, side < 0.0 ? -best.dist : best.dist});
  }
  return out;
}

}  // namespace Math
