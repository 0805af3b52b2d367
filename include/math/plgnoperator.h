// Boolean operations on polygons with holes (CStdPlgn, even-odd rule):
// intersection, union, differences, symmetric difference, and normalisation
// of one polygon; the union of many polygons; self-crossing and overlap
// checks of rings.
//
// How a result is built
// ---------------------
// 1. Registration. Every contour of A (tag 1) and of B (tag 2) gives its
//    consecutive point pairs as edges. A contour whose last point differs
//    from its first is closed by an implied edge; a contour with a NaN or
//    infinite coordinate, or with fewer than two points, is left out.
// 2. Noding. The crossing sweep (math/edgecross.h) cuts all edges at their
//    meetings; its queue holds every edge's begin and end abscissa. Cut
//    points and vertices closer than 0.0005 (the sweep's touch threshold,
//    absolute) become one node, an original vertex winning over a computed
//    point; where two computed points of a crossing merge, the node is the
//    crossing of the two edges recomputed in extended precision, so nearly
//    parallel edges cross where they should. The sweep runs again over the pieces until a pass
//    cuts nothing, at most 10 passes. Zero-length pieces vanish; pieces
//    joining the same two nodes become one piece that remembers, per
//    operand, the sum of its sources' directions (+1 running from the
//    lower-left node to the upper-right one, -1 back).
// 3. Classification. A sweep over the nodes' abscissae walks, in every
//    slab between two of them, the pieces spanning it from the bottom up
//    (ordered by their heights at the slab's two ends, ties by slope, so a
//    slab thinner than rounding cannot swap two pieces leaving one node),
//    summing those direction weights: that gives every piece the winding
//    number of each operand on its two sides (a vertical piece reads the
//    slab to its right). A side lies inside an operand when its winding is
//    odd (even-odd rule; the many-polygon union uses winding > 0). The
//    membership m of a side holds bit 0 for A, bit 1 for B.
// 4. Counts and origin. For a piece directed from its lower-left node,
//    cA = insideA(left side) - insideA(right side), and cB likewise, each
//    -1, 0 or +1; a piece with both 0 bounds nothing and is dropped. The
//    origin code k is 2 when the piece bounds both operands, otherwise 1
//    when it lies inside the other operand and 3 when outside it.
// 5. Selection and direction. The strategy's keep-edge test picks the
//    pieces of the result's boundary; each kept piece is directed so that
//    the side the inside test accepts lies on its left. When the test
//    accepts both sides (the symmetric difference uses the union's test),
//    the side covered by exactly one operand is the inside; a piece whose
//    sides cannot be told apart is dropped.
// 6. Loops. Kept pieces are linked at their nodes. Start points are taken
//    by ascending (x, y) of their node; from each, the walk leaves a node by
//    the first unused outgoing piece clockwise from the way it came in (the
//    tightest left turn, reversing along a spike only as a last resort),
//    and a loop is cut off as soon as the walk revisits a node of its
//    current path, so every loop is a simple ring; the walk goes on from
//    the start until no unused piece leaves it. A path that runs into a
//    dead end is discarded: the kept pieces of every operation but NormA
//    on two operands balance at every node, so only rounding damage (or
//    that NormA) leaves one.
// 7. Rings. Loops with the inside on the left are counter-clockwise
//    (positive signed area, y up): outer contours. Clockwise loops are
//    holes, each given to the smallest outer contour holding the midpoint
//    of its first edge; a hole no outer contour holds is dropped, and so is
//    a loop whose area is zero or overflows. Every
//    ring is closed (first point repeated) and starts at its least (x, y)
//    vertex; the result lists outer contours by that start point, each
//    followed by its holes in the same order. Rings never cross; they may
//    touch at single nodes.
//
// Relation flags (CFlags), from the classification of step 3. An operand
// is "clean" when its contours are pairwise disjoint simple rings, each
// with the operand's inside on its left (outer contours counter-clockwise,
// holes clockwise), as a built result is; otherwise it must be rebuilt
// (it crosses, touches or cancels itself, has a ring unclosed or left out,
// or runs the wrong way).
//   bit 0 (1)  the operands interact: their interiors overlap (some piece
//              side is inside both), or one of them must be rebuilt. Clear
//              means A intersect B has no area and both are clean.
//   bit 1 (2)  some boundary must be rebuilt: an operand is not clean, or
//              the two boundaries share a node or a piece, or the sweep cut
//              an edge. Clear means all contours of both operands are
//              disjoint clean rings.
//   bit 2 (4)  the sweep cut at least one edge.
//   bit 3 (8)  both operands are clean, A is not empty, and A lies inside
//              B (no piece side is in A only).
//   bit 4 (16) likewise B inside A.
// The shortcuts therefore copy an operand only when it is clean, and the
// copies keep the operands' contour order; every other result is built and
// laid out as above.
//
// Cost: the two sweeps do work proportional to the events times the beam
// length (about n sqrt(n) for real outlines of n vertices); loops and
// rings are linear; giving holes to outer contours tests each hole against
// the outer contours whose boxes hold it.
#pragma once

#include <math/polygon.h>
#include <math/types.h>

#include <exception>
#include <memory>
#include <utility>
#include <vector>

namespace Math {

enum EPlgnOperation { NormA, NormB, Cross, Union, AnotB, BnotA, AXorB };

namespace plgn_detail {

// Thrown for an operation value outside 0..6.
struct KMATH_API CBadOp : std::exception {
  char const* what() const noexcept override { return "unknown polygon operation"; }
};

// The five relation bits (see the file comment); all clear when
// default-constructed.
class KMATH_API CFlags {
 public:
  CFlags() = default;
  unsigned Bits() const { return m_bits; }
  bool Test(unsigned bit) const { return bit < 5 && ((m_bits >> bit) & 1u) != 0; }
  void Set(unsigned bit, bool on = true) {
    if (bit >= 5) return;
    m_bits = on ? (m_bits | (1u << bit)) : (m_bits & ~(1u << bit));
  }

 private:
  unsigned m_bits = 0;
};

// One operation's three decisions. Stateless.
class KMATH_API COperation {
 public:
  virtual ~COperation() = default;
  // When the flags alone decide the result, writes it (replacing what
  // `result` held) and returns true.
  virtual bool Shortcut(CFlags const& flags, CStdPlgn const& a, CStdPlgn const& b, CStdPlgn& result) const = 0;
  // Whether a piece with counts (cA, cB) and origin code k (1 inside the
  // other operand, 2 on both boundaries, 3 outside the other) bounds the
  // result.
  virtual bool KeepEdge(std::pair<int, int> counts, int origin) const = 0;
  // Whether a point with membership m (bit 0 in A, bit 1 in B) is inside
  // the result.
  virtual bool Inside(unsigned m) const = 0;
};

// The seven strategies. Shortcuts, in the order tested:
//   CNormA  bits 0, 1 clear: A.
//   CNormB  bits 0, 1 clear: B.
//   CCross  bit 0 clear: empty; bit 3: A; bit 4: B.
//   CUnion  bits 0, 1 clear: A then B's contours; bit 3: B; bit 4: A.
//   CAnotB  bit 0 clear: A; bit 3: empty.
//   CBnotA  bit 0 clear: B; bit 4: empty.
//   CAXorB  bit 1 set: none; bit 0 clear: A then B; bit 3: B then A's
//           contours reversed; bit 4: A then B's reversed; true only when
//           that result has a contour.
// Keep-edge tests with (cA, cB) and k:
//   CNormA  k = 3 and cA != 0 (k matters here but not for CNormB: with
//           two operands NormA yields only the loops of A's boundary that
//           lie outside B; normalise A with the single-operand
//           constructor, where every piece of A has k = 3).
//   CNormB  cB != 0.
//   CCross  k = 1, or k = 2 and cA * cB > 0.
//   CUnion  k = 3, or k = 2 and cA * cB > 0.
//   CAnotB  k = 2 and cA * cB < 0, or k = 3 and cA != 0, or k = 1 and cB != 0.
//   CBnotA  k = 2 and cA * cB < 0, or k = 3 and cB != 0, or k = 1 and cA != 0.
//   CAXorB  k in 1..3 and |cA| + |cB| odd.
// Inside tests with m: CNormA bit 0; CNormB bit 1; CCross m = 3; CUnion
// and CAXorB bit 0 or 1; CAnotB bit 0 only; CBnotA bit 1 only.
class KMATH_API CNormA : public COperation {
 public:
  bool Shortcut(CFlags const& flags, CStdPlgn const& a, CStdPlgn const& b, CStdPlgn& result) const override;
  bool KeepEdge(std::pair<int, int> counts, int origin) const override;
  bool Inside(unsigned m) const override;
};
class KMATH_API CNormB : public COperation {
 public:
  bool Shortcut(CFlags const& flags, CStdPlgn const& a, CStdPlgn const& b, CStdPlgn& result) const override;
  bool KeepEdge(std::pair<int, int> counts, int origin) const override;
  bool Inside(unsigned m) const override;
};
class KMATH_API CCross : public COperation {
 public:
  bool Shortcut(CFlags const& flags, CStdPlgn const& a, CStdPlgn const& b, CStdPlgn& result) const override;
  bool KeepEdge(std::pair<int, int> counts, int origin) const override;
  bool Inside(unsigned m) const override;
};
class KMATH_API CUnion : public COperation {
 public:
  bool Shortcut(CFlags const& flags, CStdPlgn const& a, CStdPlgn const& b, CStdPlgn& result) const override;
  bool KeepEdge(std::pair<int, int> counts, int origin) const override;
  bool Inside(unsigned m) const override;
};
class KMATH_API CAnotB : public COperation {
 public:
  bool Shortcut(CFlags const& flags, CStdPlgn const& a, CStdPlgn const& b, CStdPlgn& result) const override;
  bool KeepEdge(std::pair<int, int> counts, int origin) const override;
  bool Inside(unsigned m) const override;
};
class KMATH_API CBnotA : public COperation {
 public:
  bool Shortcut(CFlags const& flags, CStdPlgn const& a, CStdPlgn const& b, CStdPlgn& result) const override;
  bool KeepEdge(std::pair<int, int> counts, int origin) const override;
  bool Inside(unsigned m) const override;
};
class KMATH_API CAXorB : public COperation {
 public:
  bool Shortcut(CFlags const& flags, CStdPlgn const& a, CStdPlgn const& b, CStdPlgn& result) const override;
  bool KeepEdge(std::pair<int, int> counts, int origin) const override;
  bool Inside(unsigned m) const override;
};

// The noding and classification engine shared by the classes below
// (defined in the sources).
class CEngine;

}  // namespace plgn_detail

// Holds two operands (by reference: they must outlive the operator and stay
// unchanged) and their relation. The constructors do the noding and
// classification once; each operator() call then only selects, links and
// sorts, so several operations on one pair cost little more than one.
class KMATH_API CPlgnOperator {
 public:
  CPlgnOperator(CStdPlgn const& a, CStdPlgn const& b);
  // One operand (B is empty), for normalisation. bCheck true: the full
  // analysis. False: the caller vouches that the contours neither cross
  // nor touch; only cheap per-contour checks run (closed, finite, at least
  // three distinct points, no repeated consecutive points), setting bit 1
  // when one fails, and noding waits until an operation needs it.
  CPlgnOperator(CStdPlgn const& a, bool bCheck);
  ~CPlgnOperator();
  CPlgnOperator(CPlgnOperator const&) = delete;
  CPlgnOperator& operator=(CPlgnOperator const&) = delete;

  plgn_detail::CFlags Flags() const { return m_flags; }
  // The result of `op`; plgn_detail::CBadOp for a value outside 0..6.
  CStdPlgn operator()(EPlgnOperation op);
  // A new strategy for `op`, owned by the caller; CBadOp outside 0..6.
  static plgn_detail::COperation* Create(EPlgnOperation op);

 private:
  CStdPlgn const& m_a;
  CStdPlgn const& m_b;
  CStdPlgn m_result;
  plgn_detail::CFlags m_flags;
  std::unique_ptr<plgn_detail::CEngine> m_engine;
};

// The union of many contours and polygons in one noding pass: a point is in
// the result when it lies inside at least one added polygon. Contours are
// counted by winding: each added ring adds +1 inside itself when it is an
// outer contour and -1 when it is a hole, so holes must lie inside the
// outer contours they belong to.
class KMATH_API CMultiPlgnUnion {
 public:
  // bCheck: contours given to AddContour may cross or touch themselves and
  // are normalised (even-odd) first; false: each is a simple ring.
  explicit CMultiPlgnUnion(bool bCheck);
  ~CMultiPlgnUnion();
  CMultiPlgnUnion(CMultiPlgnUnion const&) = delete;
  CMultiPlgnUnion& operator=(CMultiPlgnUnion const&) = delete;

  // One ring of `count` points (closed or not; an unclosed ring is closed by
  // an implied edge). bOriented false: the ring adds its inside whichever way
  // it runs; true: a counter-clockwise ring adds and a clockwise one
  // removes. bHole turns adding into removing and back. With the
  // constructor's bCheck the ring is normalised first, so a self-crossing
  // ring adds (or removes) its even-odd inside. A ring with a NaN or
  // infinite coordinate, or fewer than three points, adds nothing.
  void AddContour(CPointD const* pts, unsigned int count, bool bHole, bool bOriented);
  // All contours of `plgn` as one polygon under the even-odd rule.
  // bNormalize true: the polygon is normalised first, so its contours may
  // cross, touch and run either way; false: its contours are taken as they
  // stand, counter-clockwise ones adding and clockwise ones removing (as a
  // result of this library is laid out).
  void AddPolygon(CStdPlgn const& plgn, bool bNormalize);
  // The union, laid out as the boolean operations lay out their results.
  CStdPlgn operator()() const;

 private:
  bool m_bCheck;
  // Every ring already oriented so that its winding is what it adds.
  std::vector<std::vector<CPointD>> m_rings;
};

// Structure checks of rings.
class KMATH_API CPlgnStructure {
 public:
  // The contour to check (count < 0 or a null pointer: no contour).
  CPlgnStructure(CPointD const* pts, int count);
  ~CPlgnStructure();
  CPlgnStructure(CPlgnStructure const&) = delete;
  CPlgnStructure& operator=(CPlgnStructure const&) = delete;

  // The contour against itself: bits 0 and 1 set when it meets itself
  // anywhere (crosses, touches an edge or a vertex, runs back along itself,
  // or cannot be closed), bit 2 also when the sweep had to cut an edge. A
  // simple ring gives 0 whichever way it runs.
  plgn_detail::CFlags CheckSelfCross() const;
  // The contour (as A) against another ring (as B): the relation flags of
  // the file comment.
  plgn_detail::CFlags CheckOverlap(CPointD const* pts, int count) const;

 private:
  std::vector<CPointD> m_ring;
  std::unique_ptr<plgn_detail::CEngine> m_engine;
};

}  // namespace Math
