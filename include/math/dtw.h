// Two measures along polylines: dynamic time warping, which matches the
// positions of one polyline section with those of another (a traced line
// against a reference, two traces against each other), and the winding
// factor, 0 for a straight run and towards 1 for a run much longer than the
// distance between its ends.
//
// Positions are poly_hit values (segment index, parameter along it); the
// point at a position and the moves along a polyline are those of the
// polyline model in polygon.h.
#pragma once

#include <math/polygon.h>
#include <math/types.h>

#include <utility>
#include <vector>

namespace Math {

#pragma pack(push, 2)
// How DTWMatch samples and steps. A packed record (2-byte alignment, 10
// bytes), copied byte for byte. The constructor takes its arguments in a
// different order from the fields.
struct CDTWParams {
  // True: steps along one polyline at a time, either polyline may skip its
  // first point. False: classic warping with diagonal steps.
  bool bAxisSteps;
  // Keep a pair only when the segment joining its two points meets each
  // polyline only at that pair's own point on it.
  bool bCheckCross;
  // Resampling step along both sections; a step that is not at least 1e-12
  // (0, negative, NaN) means the sections' vertices are used.
  double dStep;

  CDTWParams(bool bCheckCross_, double dStep_, bool bAxisSteps_)
      : bAxisSteps(bAxisSteps_), bCheckCross(bCheckCross_), dStep(dStep_) {}
};
#pragma pack(pop)

// A section of a polyline from one position to another. Keeps a reference
// to the polyline: it must outlive the section and not change meanwhile.
//
// Direction of travel: forward when the begin index is smaller than the
// end index, or the indices are equal and the begin parameter is smaller by
// at least 1e-12. Otherwise an open polyline is walked backward, but a
// closed one (first and last points closer than 1e-12) is walked forward
// through its closing point: on a ring every section runs forward, and a
// section whose ends coincide goes once round.
//
// A section on an empty polyline, or with an end that is not a valid
// position (IsValidHit), is empty: Hits and Resample give nothing.
class KMATH_API CDTWPoly {
 public:
  // The whole polyline: (0, 0.0) to (n - 1, 0.0). Implicit, so a polyline
  // can be handed to DTWMatch as it is (the temporary section lives for
  // the call).
  CDTWPoly(std::vector<CPointD> const& poly);
  CDTWPoly(std::vector<CPointD> const& poly, poly_hit begin, poly_hit end);

  std::vector<CPointD> const& Polyline() const { return m_poly; }
  poly_hit Begin() const { return m_begin; }
  poly_hit End() const { return m_end; }

  // The point at a position (PointAt): the all-ones NaN point for a
  // position that is not valid on the polyline.
  CPointD Point(poly_hit const& hit) const;
  // The points of a list of positions, in order.
  std::vector<CPointD> Points(std::vector<poly_hit> const& hits) const;

  // The begin, every vertex strictly inside the section, and the end, in
  // order of travel, vertices as (i, 0.0); consecutive equal positions are
  // dropped. Forward: vertices begin index + 1 .. end index. Backward:
  // begin index down to end index + 1. Through a ring's closing point:
  // begin index + 1 up to n - 1, then 0 up to the end index; an end at
  // vertex 0 itself is taken as vertex n - 1 (the same point), so the walk
  // stops there instead of running on to vertex 0.
  std::vector<poly_hit> Hits() const;

  // Positions along the section spaced by `step` of arc length, starting
  // at the begin position, then at step, 2 step, ... for as long as the
  // remaining length exceeds half a step; the end position closes the list.
  // So the last step is longer than half a step and shorter than one and a
  // half: a final shorter step is kept only when it is longer than half the
  // step, otherwise the sample before the end is dropped. Consecutive equal
  // positions are dropped as in Hits. Empty for an empty section, for a
  // step that is not a positive number and for a section whose length is
  // not finite. Linear in the number of vertices and positions.
  std::vector<poly_hit> Resample(double step) const;

 private:
  std::vector<CPointD> const& m_poly;
  poly_hit m_begin;
  poly_hit m_end;
};

// Matches the positions of section a with those of section b and replaces
// `pairs` (cleared first) by the matched (position of a, position of b).
//
// The positions are a.Resample / b.Resample with params.dStep when it is at
// least 1e-12, otherwise a.Hits / b.Hits; P and Q are their points. When
// |Q first - P last| < |Q first - P first| and |Q last - P first| <
// |Q last - P last| the sections run against each other and P (with a's
// positions) is reversed.
//
// The cost matrix D has (nb + 1) rows and (na + 1) columns of doubles, one
// contiguous allocation; cell (j + 1, i + 1) adds |Q(j) - P(i)| to the best
// predecessor, and the largest single-precision value stands for infinity.
// - Classic (bAxisSteps false): D[0][0] = 0, the rest of row and column 0
//   infinite; predecessors diagonal, along P, along Q (ties to the later).
// - Axis steps: D[0][0] = D[0][1] = D[1][0] = 0, the rest of the border
//   infinite; predecessors along P and along Q only (ties along Q).
// Back-tracking runs from (na, nb) while both indices are at least 1,
// emitting (a position i - 1, b position j - 1), so the pairs come from the
// ends of the sections towards their beginnings. With up = D[j-1][i], left =
// D[j][i-1] and diag = D[j-1][i-1], "below" meaning smaller by at least
// 1e-12: classic, when up is below left, step up (j - 1) if up is also
// below diag, else diagonally; otherwise step left (i - 1) if left is below
// diag, else diagonally, so ties prefer the diagonal. Axis steps: up when
// up is below left, otherwise left, so ties go along P.
//
// With bCheckCross a pair is kept only when the segment joining P(i - 1)
// and Q(j - 1) meets each of the two polylines (whole, not only the
// sections) fewer than 2 times: a segment of a polyline that does not hold
// the pair's own point on it, and that touches the join (CEdgeToEdge) at a
// join parameter further than 1e-12 from that point, is a second meeting.
// A join shorter than 1e-12 is always kept.
//
// Time O(na nb) for the matrix plus, with bCheckCross, O(na + nb) per pair
// for the crossing tests (blocks of segments are rejected by their bounding
// boxes first); memory (na + 1)(nb + 1) doubles. An empty section gives no
// pairs. A matrix index out of range would throw std::out_of_range with the
// text "invalid vector<T> subscript" (consistent sizes never do).
KMATH_API void DTWMatch(CDTWPoly const& a, CDTWPoly const& b, std::vector<std::pair<poly_hit, poly_hit>>& pairs,
                        CDTWParams const& params);

// Arc lengths along a polyline and the winding factor between positions.
// Copyable; the owner may fill the two vectors itself (lengths[i] is the
// length from the first point to vertex i, lengths[0] = 0) or let the
// constructor do it.
class KMATH_API CPolyWinding {
 public:
  std::vector<CPointD> poly;
  std::vector<double> lengths;

  CPolyWinding() = default;
  // Copies the polyline and sums its segment lengths.
  explicit CPolyWinding(std::vector<CPointD> const& poly_);

  // sqrt(|1 - (chord / arc)^2|); 1 when |arc| < 1e-12.
  static double ZuFactor(double chord, double arc);

  // The arc length from the first point to `hit`. A parameter within 1e-12
  // of 1 counts as the next vertex and one within 1e-12 of 0 as the vertex
  // itself; otherwise lengths[index] plus the parameter times the length of
  // segment index. 0 for an index outside the cumulative lengths (so past
  // the last vertex), for a negative index and for a parameter on the last
  // vertex that would need a segment after it; a NaN parameter gives the
  // all-ones NaN.
  double Length(poly_hit hit) const;

  // ZuFactor of the distance between the points at the two positions and
  // the arc from `from` to `to`; an arc running backward gets the total
  // length added (the polyline is taken as a ring).
  double ZuFactor(poly_hit from, poly_hit to) const;

  // factors[i] = ZuFactor(half the span before vertex i, half the span
  // after it) for every vertex; the positions are found with MoveAlong,
  // which stops at the ends of an open polyline and runs through the
  // closing point of a ring. Nothing is done (factors unchanged) with at
  // most 1 point, or when the span is negative or NaN. Each vertex costs
  // the segments within half the span of it.
  void ZuFactor(double span, std::vector<double>& factors) const;
};

}  // namespace Math
