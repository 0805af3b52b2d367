#include <math/polygon.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include "core/geom_impl.h"
#include "core/tolerance.h"

namespace Math {
namespace {

using geom_detail::CloseTo;
using geom_detail::IsClosedRing;
using geom_detail::IsFinite;

// One side of the rectangle: the bound on x or on y, and whether points
// must lie at or above it (left, top) or at or below it (right, bottom).
struct CSide {
  double bound;
  bool onX;
  bool lower;
};

// A clipped point and whether the segment ending at it was made by the
// clipping (it joins an exit to the next entry along a side) rather than
// taken from the input. Pieces of an open polyline break at such segments.
template <class T>
struct CFlagged {
  T pt;
  bool bridge;
};

double Across(CPointD const& p, bool onX) { return onX ? p.x : p.y; }
double Across(CPoint3D const& p, bool onX) { return onX ? p.x : p.y; }
double Along(CPointD const& p, bool onX) { return onX ? p.y : p.x; }
double Along(CPoint3D const& p, bool onX) { return onX ? p.y : p.x; }

bool Same(CPointD const& a, CPointD const& b) { return a.x == b.x && a.y == b.y; }
bool Same(CPoint3D const& a, CPoint3D const& b) { return a.x == b.x && a.y == b.y && a.z == b.z; }

template <class T>
bool Inside(T const& p, CSide const& s) {
  if (!IsFinite(p)) return false;
  double const c = Across(p, s.onX);
  return s.lower ? c >= s.bound : c <= s.bound;
}

// Parameter of the cut and the coordinate along the side, for a segment
// whose ends lie on opposite sides of the bound (so the denominator is not
// zero). The parameter is kept in [0, 1] and the coordinate between the
// ends' values: rounding must not push a cut point outside a side clipped
// earlier. Overflowing differences (huge coordinates) land on an end.
struct CCut {
  double t;
  double along;
};

template <class T>
CCut CutAt(T const& s, T const& e, CSide const& side) {
  double const cs = Across(s, side.onX);
  double const ce = Across(e, side.onX);
  double t = (side.bound - cs) / (ce - cs);
  if (!(t >= 0.0)) t = 0.0;
  if (!(t <= 1.0)) t = 1.0;
  double const as = Along(s, side.onX);
  double const ae = Along(e, side.onX);
  double a = as + t * (ae - as);
  double const lo = std::fmin(as, ae);
  double const hi = std::fmax(as, ae);
  if (!(a >= lo)) a = lo;
  if (!(a <= hi)) a = hi;
  return {t, a};
}

CPointD Cut(CPointD const& s, CPointD const& e, CSide const& side) {
  CCut const c = CutAt(s, e, side);
  return side.onX ? CPointD{side.bound, c.along} : CPointD{c.along, side.bound};
}

CPoint3D Cut(CPoint3D const& s, CPoint3D const& e, CSide const& side) {
  CCut const c = CutAt(s, e, side);
  double const z = s.z + c.t * (e.z - s.z);
  return side.onX ? CPoint3D{side.bound, c.along, z} : CPoint3D{c.along, side.bound, z};
}

// One Sutherland-Hodgman stage: clips the stream of points it is fed
// against one side and feeds what survives to the next stage at once, so
// the four sides run as a pipeline and no intermediate path is stored. No
// closing pair is walked; a ring stays closed because Finish re-closes the
// stage's output along its side when the ring's start was cut away.
template <class T>
class CStage {
 public:
  CStage(CSide const& side, bool ring) : m_side(side), m_ring(ring) {}

  // `flag`: the segment ending at p is a bridge made by an earlier stage.
  template <class Next>
  void Push(T const& e, bool flag, Next&& next) {
    bool const eIn = Inside(e, m_side);
    if (!m_started) {
      m_started = true;
      if (eIn) Emit(e, false, next);
    } else if (m_prevIn && eIn) {
      Emit(e, flag, next);
    } else if (m_prevIn) {
      // Exit. The cut is the previous point itself when that lies on the
      // side: nothing to add.
      if (IsFinite(m_prev) && IsFinite(e)) {
        T const c = Cut(m_prev, e, m_side);
        if (!Same(c, m_prev)) Emit(c, flag, next);
      }
    } else if (eIn) {
      // Entry. The segment from the last exit to here runs along the side:
      // a bridge. Coming back to the very point of exit is no bridge at all.
      T const c = IsFinite(m_prev) && IsFinite(e) ? Cut(m_prev, e, m_side) : e;
      bool const back = m_count > 0 && Same(c, m_last);
      if (Same(c, e)) {
        if (!back) Emit(e, true, next);
      } else {
        if (!back) Emit(c, true, next);
        Emit(e, flag, next);
      }
    }
    m_prev = e;
    m_prevIn = eIn;
  }

  template <class Next>
  void Finish(Next&& next) {
    if (m_ring && m_count > 1 && !CloseTo(m_first, m_last)) Emit(m_first, true, next);
  }

 private:
  template <class Next>
  void Emit(T const& p, bool flag, Next&& next) {
    if (m_count++ == 0) m_first = p;
    m_last = p;
    next(p, flag);
  }

  CSide m_side;
  bool m_ring;
  bool m_started = false;
  bool m_prevIn = false;
  T m_prev{};
  std::size_t m_count = 0;
  T m_first{};
  T m_last{};
};

// Clips `poly` into `out` (cleared first). Returns whether the result is a
// kept ring.
template <class T>
bool ClipPath(std::vector<T> const& poly, CRectD const& rect, bool keepClosed, std::vector<CFlagged<T>>& out) {
  bool const ring = keepClosed && IsClosedRing(poly);
  out.clear();
  // Most polylines of a map lie wholly inside or wholly outside a window:
  // their box answers without the stages (which would give the same).
  bool finite = true;
  CRectD box{HUGE_VAL, HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
  for (T const& p : poly) {
    finite = finite && IsFinite(p);
    box = {std::min(box.left, p.x), std::min(box.top, p.y), std::max(box.right, p.x), std::max(box.bottom, p.y)};
  }
  if (finite && (box.right < rect.left || box.left > rect.right || box.bottom < rect.top || box.top > rect.bottom)) {
    return false;
  }
  if (finite && box.left >= rect.left && box.right <= rect.right && box.top >= rect.top && box.bottom <= rect.bottom) {
    for (T const& p : poly) out.push_back({p, false});
    return ring;
  }
  CStage<T> left({rect.left, true, true}, ring);
  CStage<T> top({rect.top, false, true}, ring);
  CStage<T> right({rect.right, true, false}, ring);
  CStage<T> bottom({rect.bottom, false, false}, ring);
  auto sink = [&](T const& p, bool f) { out.push_back({p, f}); };
  auto toBottom = [&](T const& p, bool f) { bottom.Push(p, f, sink); };
  auto toRight = [&](T const& p, bool f) { right.Push(p, f, toBottom); };
  auto toTop = [&](T const& p, bool f) { top.Push(p, f, toRight); };
  for (T const& p : poly) left.Push(p, false, toTop);
  left.Finish(toTop);
  top.Finish(toRight);
  right.Finish(toBottom);
  bottom.Finish(sink);
  return ring && out.size() > 1 && CloseTo(out.front().pt, out.back().pt);
}

// Open result: a piece is a maximal run of input segments; bridges separate
// pieces and a lone point (a touch) is no piece.
template <class W, class T, class Finish>
void EmitPieces(std::vector<CFlagged<W>> const& a, bool ring, mpoly_base<T>& result, Finish&& finish) {
  if (ring) {
    poly_base<T> out;
    out.reserve(a.size());
    for (auto const& f : a) finish(out, f.pt);
    if (out.size() > 1) result.push_back(std::move(out));
    return;
  }
  std::size_t start = 0;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    if (i < a.size() && !a[i].bridge) continue;
    if (i - start >= 2) {
      poly_base<T> piece;
      piece.reserve(i - start);
      for (std::size_t j = start; j < i; ++j) finish(piece, a[j].pt);
      if (piece.size() >= 2) result.push_back(std::move(piece));
    }
    start = i;
  }
}

bool ValidRect(CRectD const& r) { return r.left <= r.right && r.top <= r.bottom; }

template <class T>
void ClipAll(mpoly_base<T>& polys, CRectD const& rect, bool keepClosed) {
  mpoly_base<T> result;
  if (ValidRect(rect)) {
    std::vector<CFlagged<T>> path;
    for (poly_base<T> const& poly : polys) {
      bool const ring = ClipPath(poly, rect, keepClosed, path);
      EmitPieces(path, ring, result, [](poly_base<T>& out, T const& p) { out.push_back(p); });
    }
  }
  polys.swap(result);
}

}  // namespace

void ClipPolyByRect(mpoly_base<CPointD>& polys, CRectD const& rect, bool keepClosed) {
  ClipAll(polys, rect, keepClosed);
}

void ClipPolyByRect(mpoly_base<CPoint3D>& polys, CRectD const& rect, bool keepClosed) {
  ClipAll(polys, rect, keepClosed);
}

// Integer polylines are clipped in double precision, so every cut is
// rounded once, from the true crossing, rather than again after each side.
// Rounding to nearest, then clamping into the integer range of the
// rectangle, keeps a cut on a fractional side inside.
void ClipPolyByRect(mpoly_base<tagPOINT>& polys, CRectD const& rect, bool keepClosed) {
  mpoly_base<tagPOINT> result;
  double const xlo = std::ceil(rect.left), xhi = std::floor(rect.right);
  double const ylo = std::ceil(rect.top), yhi = std::floor(rect.bottom);
  if (ValidRect(rect) && xlo <= xhi && ylo <= yhi) {
    auto round = [](double v, double lo, double hi) {
      return static_cast<int>(std::min(std::max(std::round(v), lo), hi));
    };
    // Clipping never emits a point twice in a row, so equal neighbours in
    // double precision are repeated input points (kept), while equal
    // neighbours after rounding involve a cut (merged).
    CPointD last{};
    auto finish = [&](poly_base<tagPOINT>& out, CPointD const& p) {
      tagPOINT const q{round(p.x, xlo, xhi), round(p.y, ylo, yhi)};
      bool const repeated = !out.empty() && p.x == last.x && p.y == last.y;
      last = p;
      if (!repeated && !out.empty() && out.back().x == q.x && out.back().y == q.y) return;
      out.push_back(q);
    };
    std::vector<CPointD> poly;
    std::vector<CFlagged<CPointD>> path;
    for (auto const& ip : polys) {
      poly.clear();
      for (tagPOINT const& p : ip) poly.push_back({static_cast<double>(p.x), static_cast<double>(p.y)});
      bool const ring = ClipPath(poly, rect, keepClosed, path);
      EmitPieces(path, ring, result, finish);
    }
  }
  polys.swap(result);
}

}  // namespace Math
