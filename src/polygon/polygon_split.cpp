#include <math/polygon.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "core/geom_impl.h"
#include "core/tolerance.h"
#include "polygon/polygon_impl.h"
#include "polyline/polyline_model_impl.h"

namespace Math {
namespace {

using plgn_detail::CIntervalIndex;
using plgn_detail::CSegKey;
using tol::kEps;
using tol::kFltEps;

using tol::kFltEps2;
using tol::kUlp;

CPointD Flat(CPointD const& p) { return p; }
CPointD Flat(CPoint3D const& p) { return {p.x, p.y}; }

// Squared distance from p to the segment a-b, and the clamped parameter of
// the nearest point (0 for a zero-length segment).
double DistSq(CPointD const& p, CPointD const& a, CPointD const& b, double* param = nullptr) {
  double const dx = b.x - a.x;
  double const dy = b.y - a.y;
  double const len2 = dx * dx + dy * dy;
  double t = 0.0;
  if (len2 > 0.0) {
    t = ((p.x - a.x) * dx + (p.y - a.y) * dy) / len2;
    t = std::min(std::max(t, 0.0), 1.0);
  }
  if (param != nullptr) *param = t;
  double const ex = a.x + t * dx - p.x;
  double const ey = a.y + t * dy - p.y;
  return ex * ex + ey * ey;
}

double Orient(CPointD const& a, CPointD const& b, CPointD const& p) {
  return (b.x - a.x) * (p.y - a.y) - (b.y - a.y) * (p.x - a.x);
}

bool Opposite(double u, double v) { return (u > 0.0 && v < 0.0) || (u < 0.0 && v > 0.0); }

// Parameters on p-q where it meets a-b. Contacts within FLT_EPSILON (an end
// of either segment on the other) are reported as such; only when there is
// none is a proper crossing looked for, so a crossing through a vertex is
// found once, from the vertex, and a collinear overlap yields its two ends.
template <class F>
void Contacts(CPointD const& p, CPointD const& q, CPointD const& a, CPointD const& b, F&& report) {
  bool touched = false;
  double t = 0.0;
  if (DistSq(p, a, b) < kFltEps2) {
    report(0.0);
    touched = true;
  }
  if (DistSq(q, a, b) < kFltEps2) {
    report(1.0);
    touched = true;
  }
  if (DistSq(a, p, q, &t) < kFltEps2) {
    report(t);
    touched = true;
  }
  if (DistSq(b, p, q, &t) < kFltEps2) {
    report(t);
    touched = true;
  }
  if (touched) return;
  double const d1 = Orient(p, q, a);
  double const d2 = Orient(p, q, b);
  if (!Opposite(d1, d2)) return;
  double const d3 = Orient(a, b, p);
  double const d4 = Orient(a, b, q);
  if (!Opposite(d3, d4)) return;
  double const s = d3 / (d3 - d4);
  if (s >= 0.0 && s <= 1.0) report(s);
}

// Consecutive pieces that meet end to start become one; a closed input's
// last piece then runs on into its first through the ring's start.
template <class T>
void JoinPieces(mpoly_base<T>& pieces, bool closed) {
  if (pieces.size() > 1) {
    std::size_t w = 0;
    for (std::size_t k = 1; k < pieces.size(); ++k) {
      if (geom_detail::CloseTo(pieces[w].back(), pieces[k].front())) {
        pieces[w].insert(pieces[w].end(), pieces[k].begin() + 1, pieces[k].end());
      } else if (++w != k) {
        pieces[w] = std::move(pieces[k]);
      }
    }
    pieces.resize(w + 1);
  }
  if (closed && pieces.size() > 1 &&
      plgn_detail::NearEqual(Flat(pieces.front().front()), Flat(pieces.back().back()), kEps)) {
    auto& last = pieces.back();
    pieces.front().insert(pieces.front().begin(), last.begin(), last.end() - 1);
    pieces.pop_back();
  }
}

}  // namespace

// The polygon's segments (those with finite ends) are indexed by their x
// range for the crossing search and by their y range for classifying
// points. On each axis the segments are listed as {contour, segment, value}
// twice, sorted by the smaller and by the larger coordinate (see
// CIntervalIndex), so the segments whose range meets a given range are
// found without visiting the others.
struct CSplitPoly1::CState {
  CState(CStdPlgn const& p, bool c) : plgn(p), closed(c) {}

  CStdPlgn const& plgn;
  bool closed;
  CIntervalIndex byX;
  CIntervalIndex byY;

  void Segment(CSegKey const& k, CPointD& a, CPointD& b) const {
    auto const& ring = plgn[static_cast<std::size_t>(k.contour)];
    a = ring[static_cast<std::size_t>(k.segment)];
    b = ring[static_cast<std::size_t>(k.segment) + 1];
  }

  // 0 on the boundary (or a non-finite point), 1 inside, -1 outside. The
  // crossing rule is CStdPlgn::PtInside's, term for term, over the segments
  // whose y range reaches p.y (no other can count or lie near p): the parity
  // of all contours' crossings is the parity of the contours holding p.
  int Classify(CPointD const& p) const {
    if (!geom_detail::IsFinite(p)) return 0;
    bool odd = false;
    bool boundary = false;
    byY.Overlapping(p.y - kFltEps, p.y + kFltEps, [&](CSegKey const& k, CIntervalIndex::CRange const& xr) {
      // Wholly left of p by more than the tolerance: not near p, and its
      // crossing x, even rounded up by a few units in the last place of the
      // segment's coordinates, is not right of p.
      double const slack = tol::kCrossSlackUlps * kUlp * (std::abs(xr.lo) + std::abs(xr.hi));
      if (boundary || xr.hi + slack < p.x - kFltEps) return;
      CPointD a, b;
      Segment(k, a, b);
      if (DistSq(p, a, b) < kFltEps2) {
        boundary = true;
        return;
      }
      if (geom_detail::CrossesRightOf(p, a, b)) odd = !odd;
    });
    if (boundary) return 0;
    return odd ? 1 : -1;
  }

  template <class T>
  int Side(poly_base<T> const& poly) const {
    for (T const& v : poly) {
      if (int const c = Classify(Flat(v))) return c;
    }
    // The midpoints are asked from the second segment on: the first
    // segment's never decides, so a two-point chord between boundary points
    // has no side.
    for (std::size_t i = 1; i + 1 < poly.size(); ++i) {
      if (int const c = Classify((Flat(poly[i]) + Flat(poly[i + 1])) / 2.0)) return c;
    }
    return 0;
  }

  // Every position where the polyline meets the boundary, sorted along the
  // polyline, duplicates merged, a parameter within 1e-12 of a vertex moved
  // onto it (so the end is (n-1, 0)). An x sweep over the polyline's
  // segments taken by their left end: `active` holds the polygon segments
  // spanning the sweep's x, the low-end list supplies those starting within
  // a segment's x range. Each candidate pair overlaps in x (widened by
  // FLT_EPSILON), so the work is the overlapping pairs, not m * n.
  template <class T>
  std::vector<poly_hit> Hits(poly_base<T> const& poly) const {
    std::vector<poly_hit> hits;
    struct CSpan {
      double lo, hi;    // x range, widened by the tolerance
      double ylo, yhi;  // y range, likewise
      std::int32_t index;
    };
    std::vector<CSpan> spans;
    spans.reserve(poly.size());
    for (std::size_t i = 0; i + 1 < poly.size(); ++i) {
      CPointD const p = Flat(poly[i]);
      CPointD const q = Flat(poly[i + 1]);
      if (!geom_detail::IsFinite(p) || !geom_detail::IsFinite(q)) continue;
      spans.push_back({std::min(p.x, q.x) - kFltEps, std::max(p.x, q.x) + kFltEps, std::min(p.y, q.y) - kFltEps,
                       std::max(p.y, q.y) + kFltEps, static_cast<std::int32_t>(i)});
    }
    if (spans.empty() || byX.size() == 0) return hits;
    std::sort(spans.begin(), spans.end(),
              [](CSpan const& a, CSpan const& b) { return a.lo < b.lo || (a.lo == b.lo && a.index < b.index); });

    // A polygon segment met by the sweep, its points fetched once.
    struct CActive {
      CPointD a, b;
      double hi;
    };
    auto fetch = [&](CSegKey const& k) {
      CActive c{};
      Segment(k, c.a, c.b);
      c.hi = std::max(c.a.x, c.b.x);
      return c;
    };
    auto test = [&](CSpan const& s, CActive const& c) {
      if (std::max(c.a.y, c.b.y) < s.ylo || std::min(c.a.y, c.b.y) > s.yhi) return;
      CPointD const p = Flat(poly[static_cast<std::size_t>(s.index)]);
      CPointD const q = Flat(poly[static_cast<std::size_t>(s.index) + 1]);
      Contacts(p, q, c.a, c.b, [&](double t) {
        if (t < kEps) {
          hits.emplace_back(s.index, 0.0);
        } else if (t > 1.0 - kEps) {
          hits.emplace_back(s.index + 1, 0.0);
        } else {
          hits.emplace_back(s.index, t);
        }
      });
    };

    // `active`: the segments that started at or left of the sweep's x and
    // had not ended when last looked at; the low-end list feeds it in order.
    std::vector<CActive> active;
    byX.Stabbing(spans[0].lo, [&](CSegKey const& k, CIntervalIndex::CRange const&) { active.push_back(fetch(k)); });
    std::size_t next = byX.LoUpperBound(spans[0].lo);
    for (CSpan const& s : spans) {
      for (; next < byX.size() && byX.ByLo(next).x <= s.lo; ++next) active.push_back(fetch(byX.ByLo(next)));
      std::size_t kept = 0;
      for (CActive const& c : active) {
        if (c.hi < s.lo) continue;  // ended left of the sweep: never needed again
        active[kept++] = c;
        test(s, c);
      }
      active.resize(kept);
      for (std::size_t k = next; k < byX.size() && byX.ByLo(k).x <= s.hi; ++k) {
        CIntervalIndex::CRange const& yr = byX.ByLoOther(k);
        if (yr.hi >= s.ylo && yr.lo <= s.yhi) test(s, fetch(byX.ByLo(k)));
      }
    }

    std::sort(hits.begin(), hits.end(), [](poly_hit const& a, poly_hit const& b) {
      return a.index < b.index || (a.index == b.index && a.param < b.param);
    });
    hits.erase(std::unique(hits.begin(), hits.end(),
                           [](poly_hit const& a, poly_hit const& b) { return poly_detail::Compare(a, b) == 0; }),
               hits.end());
    return hits;
  }

  template <class T>
  void Split(poly_base<T> const& poly, mpoly_base<T>& inside, mpoly_base<T>& outside, bool boundaryInside) const {
    int const side = Side(poly);
    if (side == 0) return;
    std::vector<poly_hit> hits = Hits(poly);
    if (hits.empty()) {
      (side > 0 ? inside : outside).push_back(poly);
      return;
    }
    poly_hit const end(static_cast<int>(poly.size()) - 1, 0.0);
    if (poly_detail::Compare(hits.back(), end) != 0) hits.push_back(end);
    mpoly_base<T> in;
    mpoly_base<T> out;
    poly_hit prev(0, 0.0);
    for (poly_hit const& h : hits) {
      if (poly_detail::Compare(h, prev) == 0) continue;  // a first position at the start opens no piece
      // Positions here are built normalised (params 0 or within [1e-12,
      // 1 - 1e-12]) and in increasing order, so the model's cut applies as is.
      poly_base<T> piece;
      poly_detail::Cut(poly, prev, h, piece);
      std::size_t const m = piece.size();
      CPointD const mid = (Flat(piece[(m - 1) / 2]) + Flat(piece[m / 2])) / 2.0;
      int const c = Classify(mid);
      bool const toInside = c > 0 || (c == 0 && boundaryInside);
      (toInside ? in : out).push_back(std::move(piece));
      prev = h;
    }
    JoinPieces(in, closed);
    JoinPieces(out, closed);
    for (auto& p : in) inside.push_back(std::move(p));
    for (auto& p : out) outside.push_back(std::move(p));
  }
};

CSplitPoly1::CSplitPoly1(CStdPlgn const& plgn, bool closed) : m_state(std::make_unique<CState>(plgn, closed)) {
  std::vector<CIntervalIndex::CItem> xs;
  std::vector<CIntervalIndex::CItem> ys;
  for (std::size_t c = 0; c < plgn.size(); ++c) {
    auto const& ring = plgn[c];
    for (std::size_t i = 0; i + 1 < ring.size(); ++i) {
      CPointD const& a = ring[i];
      CPointD const& b = ring[i + 1];
      if (!geom_detail::IsFinite(a) || !geom_detail::IsFinite(b)) continue;
      auto const ci = static_cast<std::int32_t>(c);
      auto const si = static_cast<std::int32_t>(i);
      CIntervalIndex::CRange const xr{std::min(a.x, b.x), std::max(a.x, b.x)};
      CIntervalIndex::CRange const yr{std::min(a.y, b.y), std::max(a.y, b.y)};
      xs.push_back({ci, si, xr.lo, xr.hi, yr});
      ys.push_back({ci, si, yr.lo, yr.hi, xr});
    }
  }
  m_state->byX.Build(std::move(xs));
  m_state->byY.Build(std::move(ys));
}

CSplitPoly1::~CSplitPoly1() = default;
CSplitPoly1::CSplitPoly1(CSplitPoly1&&) noexcept = default;
CSplitPoly1& CSplitPoly1::operator=(CSplitPoly1&&) noexcept = default;

void CSplitPoly1::operator()(poly_base<CPointD> const& poly, mpoly_base<CPointD>& inside, mpoly_base<CPointD>& outside,
                             bool boundaryInside) const {
  if (m_state) m_state->Split(poly, inside, outside, boundaryInside);
}

void CSplitPoly1::operator()(poly_base<CPoint3D> const& poly, mpoly_base<CPoint3D>& inside,
                             mpoly_base<CPoint3D>& outside, bool boundaryInside) const {
  if (m_state) m_state->Split(poly, inside, outside, boundaryInside);
}

}  // namespace Math
