#include <math/dtw.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <utility>

#include <math/line.h>

#include "core/tolerance.h"
#include "polyline/dtw_impl.h"

namespace Math {
namespace {

// The cost matrix's infinity: the largest float, kept as a double so that
// adding a cost to it stays finite and comparable.
constexpr double kNoPath = static_cast<double>(std::numeric_limits<float>::max());

double Dist(CPointD const& a, CPointD const& b) { return std::hypot(b.x - a.x, b.y - a.y); }

// The local cost of the matrix sweep. hypot's guard against overflow costs
// more than the rest of a cell together; coordinates whose squares overflow
// (beyond 1e154) only make that cell's cost infinite.
double Cost(CPointD const& a, CPointD const& b) {
  double const dx = b.x - a.x, dy = b.y - a.y;
  return std::sqrt(dx * dx + dy * dy);
}

bool IsClosed(std::vector<CPointD> const& poly) { return poly.size() >= 2 && Dist(poly.front(), poly.back()) < tol::kEps; }

bool SameHit(poly_hit const& a, poly_hit const& b) {
  return a.index == b.index && std::abs(a.param - b.param) < tol::kEps;
}

// A parameter within 1e-12 of an end snapped onto the vertex, as the
// polyline model returns its positions.
poly_hit Snapped(int seg, double param) {
  if (std::abs(param - 1.0) < tol::kEps) return {seg + 1, 0.0};
  if (std::abs(param) < tol::kEps) return {seg, 0.0};
  return {seg, param};
}

// One straight piece of a section between two consecutive Hits positions,
// as a parameter range on one segment.
struct Leg {
  int seg;
  double p0, p1, len;
};

// The legs of a Hits list. The jump through a ring's closing point (from
// vertex n - 1 to vertex 0, the same point) has no segment and no length
// and is left out.
std::vector<Leg> Legs(std::vector<CPointD> const& poly, std::vector<poly_hit> const& hits) {
  std::vector<Leg> legs;
  legs.reserve(hits.size());
  int const lastSeg = static_cast<int>(poly.size()) - 2;
  for (std::size_t k = 0; k + 1 < hits.size(); ++k) {
    poly_hit const& A = hits[k];
    poly_hit const& B = hits[k + 1];
    Leg leg{0, 0.0, 0.0, 0.0};
    if (A.index == B.index)
      leg = {A.index, A.param, B.param, 0.0};
    else if (B.index == A.index + 1 && std::abs(B.param) < tol::kEps)
      leg = {A.index, A.param, 1.0, 0.0};
    else if (A.index == B.index + 1 && std::abs(A.param) < tol::kEps)
      leg = {B.index, 1.0, B.param, 0.0};
    else
      continue;
    if (leg.seg < 0 || leg.seg > lastSeg) continue;
    leg.len = Dist(poly[leg.seg], poly[leg.seg + 1]) * std::abs(leg.p1 - leg.p0);
    legs.push_back(leg);
  }
  return legs;
}

// The segments of one polyline in runs of kBlock consecutive ones, each run
// with its bounding box. Consecutive segments of a traced line lie close
// together, so the boxes are tight and a short join meets only a few of
// them; the test of one join stays linear in the worst case but touches
// about n / kBlock boxes on real lines.
class CSegmentBlocks {
 public:
  explicit CSegmentBlocks(std::vector<CPointD> const& poly) : m_poly(poly), m_closed(IsClosed(poly)) {
    std::size_t const segs = poly.size() < 2 ? 0 : poly.size() - 1;
    for (std::size_t s = 0; s < segs; s += kBlock) {
      std::size_t const e = std::min(segs, s + kBlock);
      CRectD box{poly[s].x, poly[s].y, poly[s].x, poly[s].y};
      for (std::size_t v = s + 1; v <= e; ++v) Grow(box, poly[v]);
      // A crossing is accepted up to 1e-12 of parameter past an end, so a
      // box may be touched from that far outside.
      double const slack = tol::kEps * (1.0 + (box.right - box.left) + (box.bottom - box.top));
      m_boxes.push_back({box.left - slack, box.top - slack, box.right + slack, box.bottom + slack});
    }
  }

  // True when the join from p to q meets the polyline somewhere other than
  // at its own end on it: the end at join parameter `ownT` (0 or 1), lying
  // at position `own` of this polyline. The segments holding `own` are
  // skipped: a straight segment through one end of the join can meet it
  // nowhere else (short of running along it), and their crossing parameter
  // is the least accurate when they are nearly parallel to the join.
  bool MeetsTwice(CPointD const& p, CPointD const& q, double ownT, poly_hit own) const {
    int const n = static_cast<int>(m_poly.size());
    own = Snapped(own.index, own.param);
    int skip[4] = {own.index, -1, -1, -1};
    if (own.param == 0.0) {
      skip[1] = own.index - 1;
      if (m_closed && (own.index == 0 || own.index == n - 1)) skip[2] = 0, skip[3] = n - 2;
    }
    CEdge const join{p, q};
    double const slack = tol::kEps * (1.0 + Dist(p, q));
    CRectD const jb{std::min(p.x, q.x) - slack, std::min(p.y, q.y) - slack, std::max(p.x, q.x) + slack,
                    std::max(p.y, q.y) + slack};
    std::size_t const segs = m_poly.size() - 1;
    for (std::size_t b = 0; b < m_boxes.size(); ++b) {
      CRectD const& box = m_boxes[b];
      if (box.left > jb.right || jb.left > box.right || box.top > jb.bottom || jb.top > box.bottom) continue;
      std::size_t const e = std::min(segs, (b + 1) * kBlock);
      for (std::size_t s = b * kBlock; s < e; ++s) {
        int const si = static_cast<int>(s);
        if (si == skip[0] || si == skip[1] || si == skip[2] || si == skip[3]) continue;
        auto const cross = CEdgeToEdge(join, CEdge{m_poly[s], m_poly[s + 1]}).CrossData(true);
        if (cross && std::abs(cross->first - ownT) > tol::kEps) return true;
      }
    }
    return false;
  }

 private:
  static constexpr std::size_t kBlock = 16;

  static void Grow(CRectD& r, CPointD const& p) {
    r.left = std::min(r.left, p.x);
    r.right = std::max(r.right, p.x);
    r.top = std::min(r.top, p.y);
    r.bottom = std::max(r.bottom, p.y);
  }

  std::vector<CPointD> const& m_poly;
  bool m_closed;
  std::vector<CRectD> m_boxes;
};

}  // namespace

// ----------------------------------------------------------------- CDTWPoly

CDTWPoly::CDTWPoly(std::vector<CPointD> const& poly)
    : m_poly(poly), m_begin(0, 0.0), m_end(poly.empty() ? 0 : static_cast<int>(poly.size()) - 1, 0.0) {}

CDTWPoly::CDTWPoly(std::vector<CPointD> const& poly, poly_hit begin, poly_hit end)
    : m_poly(poly), m_begin(begin), m_end(end) {}

CPointD CDTWPoly::Point(poly_hit const& hit) const { return PointAt(m_poly, hit); }

std::vector<CPointD> CDTWPoly::Points(std::vector<poly_hit> const& hits) const {
  std::vector<CPointD> pts;
  pts.reserve(hits.size());
  for (poly_hit const& h : hits) pts.push_back(PointAt(m_poly, h));
  return pts;
}

std::vector<poly_hit> CDTWPoly::Hits() const {
  std::vector<poly_hit> hits;
  if (!IsValidHit(m_poly, m_begin) || !IsValidHit(m_poly, m_end)) return hits;
  int const n = static_cast<int>(m_poly.size());
  poly_hit end = m_end;
  hits.push_back(m_begin);
  bool const forward = m_begin.index < end.index ||
                       (m_begin.index == end.index && tol::LtBeyond(m_begin.param, end.param));
  if (forward) {
    for (int i = m_begin.index + 1; i <= end.index; ++i) hits.emplace_back(i, 0.0);
  } else if (n < 2 || !IsClosed(m_poly)) {
    for (int i = m_begin.index; i >= end.index + 1; --i) hits.emplace_back(i, 0.0);
  } else {
    // Through the closing point. Vertex 0 as the end is vertex n - 1, where
    // the walk arrives; an end further along segment 0 needs the walk to
    // carry on to vertex 0 first.
    if (end.index == 0 && std::abs(end.param) < tol::kEps) end = {n - 1, 0.0};
    int i = m_begin.index;
    do {
      i = i + 1 == n ? 0 : i + 1;
      hits.emplace_back(i, 0.0);
    } while (i != end.index);
  }
  hits.push_back(end);
  hits.erase(std::unique(hits.begin(), hits.end(), SameHit), hits.end());
  return hits;
}

std::vector<poly_hit> CDTWPoly::Resample(double step) const {
  std::vector<poly_hit> out;
  if (!(step > 0.0)) return out;
  std::vector<poly_hit> const hits = Hits();
  if (hits.empty()) return out;
  std::vector<Leg> const legs = Legs(m_poly, hits);
  double total = 0.0;
  for (Leg const& l : legs) total += l.len;
  if (!std::isfinite(total)) return out;

  out.push_back(hits.front());
  // Sample k at k * step (multiplied, not summed, so the spacing does not
  // drift over long sections); stop when no more than half a step is left.
  std::size_t li = 0;
  double legStart = 0.0;
  for (std::size_t k = 1;; ++k) {
    double const s = static_cast<double>(k) * step;
    if (!(s < total - 0.5 * step)) break;
    while (li + 1 < legs.size() && legStart + legs[li].len < s) legStart += legs[li++].len;
    Leg const& l = legs[li];
    double const f = l.len > 0.0 ? std::min(1.0, (s - legStart) / l.len) : 0.0;
    poly_hit const h = Snapped(l.seg, l.p0 + (l.p1 - l.p0) * f);
    if (!SameHit(h, out.back())) out.push_back(h);
  }
  if (!SameHit(hits.back(), out.back())) out.push_back(hits.back());
  return out;
}

// ----------------------------------------------------------------- DTWMatch

void DTWMatch(CDTWPoly const& a, CDTWPoly const& b, std::vector<std::pair<poly_hit, poly_hit>>& pairs,
              CDTWParams const& params) {
  pairs.clear();
  double const step = params.dStep;
  bool const resample = step >= tol::kEps;
  std::vector<poly_hit> ha = resample ? a.Resample(step) : a.Hits();
  std::vector<poly_hit> const hb = resample ? b.Resample(step) : b.Hits();
  if (ha.empty() || hb.empty()) return;
  std::vector<CPointD> P = a.Points(ha);
  std::vector<CPointD> const Q = b.Points(hb);

  if (Dist(Q.front(), P.back()) < Dist(Q.front(), P.front()) && Dist(Q.back(), P.front()) < Dist(Q.back(), P.back())) {
    std::reverse(P.begin(), P.end());
    std::reverse(ha.begin(), ha.end());
  }

  std::size_t const na = P.size();
  std::size_t const nb = Q.size();
  dtw_detail::CCostMatrix D(nb + 1, na + 1);
  std::fill(D.Row(0), D.Row(0) + na + 1, kNoPath);
  for (std::size_t j = 1; j <= nb; ++j) D.at(j, 0) = kNoPath;
  D.at(0, 0) = 0.0;
  if (params.bAxisSteps) {
    // Either polyline may skip its first point.
    D.at(0, 1) = 0.0;
    D.at(1, 0) = 0.0;
  }
  for (std::size_t j = 0; j < nb; ++j) {
    double const* prev = D.Row(j);
    double* cur = D.Row(j + 1);
    CPointD const q = Q[j];
    if (params.bAxisSteps) {
      for (std::size_t i = 0; i < na; ++i) {
        double const alongP = cur[i];
        double const alongQ = prev[i + 1];
        cur[i + 1] = Cost(P[i], q) + (alongQ <= alongP ? alongQ : alongP);
      }
    } else {
      for (std::size_t i = 0; i < na; ++i) {
        // Diagonal, along P, along Q: a later candidate wins ties.
        double best = prev[i];
        if (cur[i] <= best) best = cur[i];
        if (prev[i + 1] <= best) best = prev[i + 1];
        cur[i + 1] = Cost(P[i], q) + best;
      }
    }
  }

  std::unique_ptr<CSegmentBlocks> blocksA, blocksB;
  if (params.bCheckCross) {
    blocksA = std::make_unique<CSegmentBlocks>(a.Polyline());
    blocksB = std::make_unique<CSegmentBlocks>(b.Polyline());
  }
  auto const keep = [&](std::size_t i, std::size_t j) {
    if (!params.bCheckCross) return true;
    CPointD const& p = P[i];
    CPointD const& q = Q[j];
    if (!(Dist(p, q) >= tol::kEps)) return true;
    return !blocksA->MeetsTwice(p, q, 0.0, ha[i]) && !blocksB->MeetsTwice(p, q, 1.0, hb[j]);
  };

  pairs.reserve(na + nb);
  std::size_t i = na;
  std::size_t j = nb;
  while (i >= 1 && j >= 1) {
    if (keep(i - 1, j - 1)) pairs.emplace_back(ha[i - 1], hb[j - 1]);
    double const up = D.at(j - 1, i);
    double const left = D.at(j, i - 1);
    if (params.bAxisSteps) {
      if (tol::LtBeyond(up, left))
        --j;
      else
        --i;
      continue;
    }
    double const diag = D.at(j - 1, i - 1);
    if (tol::LtBeyond(up, left)) {
      if (tol::LtBeyond(up, diag))
        --j;
      else
        --i, --j;
    } else if (tol::LtBeyond(left, diag)) {
      --i;
    } else {
      --i, --j;
    }
  }
}

// ------------------------------------------------------------ CPolyWinding

CPolyWinding::CPolyWinding(std::vector<CPointD> const& poly_) : poly(poly_), lengths(poly_.size(), 0.0) {
  for (std::size_t i = 1; i < poly.size(); ++i) lengths[i] = lengths[i - 1] + Dist(poly[i - 1], poly[i]);
}

double CPolyWinding::ZuFactor(double chord, double arc) {
  if (std::abs(arc) < tol::kEps) return 1.0;
  double const r = chord / arc;
  return std::sqrt(std::abs(1.0 - r * r));
}

double CPolyWinding::Length(poly_hit hit) const {
  if (std::isnan(hit.param)) return tol::BadValue();
  if (std::abs(hit.param - 1.0) < tol::kEps) hit = {hit.index + 1, 0.0};
  if (hit.index < 0 || static_cast<std::size_t>(hit.index) >= lengths.size()) return 0.0;
  std::size_t const i = static_cast<std::size_t>(hit.index);
  if (std::abs(hit.param) < tol::kEps) return lengths[i];
  if (i + 1 >= lengths.size()) return 0.0;
  return lengths[i] + hit.param * (lengths[i + 1] - lengths[i]);
}

double CPolyWinding::ZuFactor(poly_hit from, poly_hit to) const {
  double const chord = Dist(PointAt(poly, from), PointAt(poly, to));
  double arc = Length(to) - Length(from);
  if (arc < 0.0 && !lengths.empty()) arc += lengths.back();
  return ZuFactor(chord, arc);
}

void CPolyWinding::ZuFactor(double span, std::vector<double>& factors) const {
  if (poly.size() <= 1 || !(span >= 0.0)) return;
  std::vector<double> out(poly.size());
  double const half = 0.5 * span;
  for (std::size_t i = 0; i < poly.size(); ++i) {
    poly_hit from(static_cast<int>(i), 0.0);
    poly_hit to = from;
    MoveAlong(poly, from, -half, true);
    MoveAlong(poly, to, half, true);
    out[i] = ZuFactor(from, to);
  }
  factors.swap(out);
}

}  // namespace Math
