// Interpolating cubic splines of unit parameter spacing through a polyline's
// vertices, and the densifications built on them: k points per segment,
// adaptive points until every sub-chord is within a tolerance, or points at
// a fixed chord step.
//
// The second-derivative values M (the "slopes") solve, per coordinate,
// M[i-1] + 4 M[i] + M[i+1] = 6 (P[i-1] - 2 P[i] + P[i+1]) at the inner
// vertices. The ends are natural (M = 0) on an open polyline; a start
// tangent D replaces the first row by 2 M[0] + M[1] = 6 ((P[1] - P[0]) - D)
// while the finishing end stays natural. A polyline whose first and last
// points are closer than 1e-12 (and which has more than 2 points) is closed:
// its repeated last point is not an unknown, the system wraps round
// (cyclic, solved by elimination carrying the corner terms) and the last M
// repeats the first. Open polylines need 3 points, closed ones 4.
//
// The shared slope computation reports 0 for too few points and -1 for a
// system it cannot solve: a pivot within 1e-12 of zero, or a NaN or infinite
// coordinate (input or start tangent). The editing functions below return
// such a result as it is and leave the caller's vector as it was.
#pragma once

#include <math/types.h>

#include <vector>

namespace Math {

// One cubic piece S(t) = c0 + c1 t + c2 t^2 + c3 t^3, x and y independent,
// t from 0 at the piece's first vertex to 1 at its second.
class KMATH_API CSplineItem {
 public:
  CPointD c0{0.0, 0.0};
  CPointD c1{0.0, 0.0};
  CPointD c2{0.0, 0.0};
  CPointD c3{0.0, 0.0};

  // All four coefficients zero.
  CSplineItem() = default;
  // Stored unchanged.
  CSplineItem(CPointD const& c0_, CPointD const& c1_, CPointD const& c2_, CPointD const& c3_)
      : c0(c0_), c1(c1_), c2(c2_), c3(c3_) {}

  // The piece from p0 to p1 with second derivatives m0 at p0 and m1 at p1:
  // c0 = p0, c2 = m0 / 2, c3 = (m1 - m0) / 6, c1 = p1 - (c3 + c2 + c0).
  static CSplineItem Create(CPointD const& p0, CPointD const& m0, CPointD const& p1, CPointD const& m1);

  // S(t) by Horner's rule from c3 down.
  CPointD Value(double t) const;
  CPointD operator()(double t) const { return Value(t); }

  // The k-th derivative as a piece of its own: each step maps
  // (c0, c1, c2, c3) to (c1, 2 c2, 3 c3, 0); k = 0 is a copy.
  CSplineItem Derivative(unsigned int k) const;

  // The largest distance of the curve between t0 and t1 from the line of
  // the chord S(t0) - S(t1), taken at the curve's extreme points against
  // that chord strictly inside (t0, t1) (SolveQuadratic). 0 when the chord
  // is not longer than the single-precision epsilon, when there is no such
  // extreme point (a straight piece, t0 >= t1) and for a NaN chord.
  double Deviation(double t0, double t1) const;

  // Replaces `params` by the increasing parameters of an adaptive
  // subdivision of [0, 1] and returns their count (at least 2: 0 and 1).
  // An interval is accepted when none of the extreme points of the curve
  // against its chord lies `tol` or further from the chord's line;
  // otherwise the c such points (1 or 2) divide it into c + 1 equal parts,
  // inserted after its start, and the first part is examined next. A chord
  // of at most 1e-12 ends the whole subdivision where it stands. Linear in
  // the number of parameters produced.
  int GetParams(std::vector<double>& params, double tol) const;

  // Replaces `out` by points of the piece at a fixed step of chord length:
  // S(t) for t = 0, dt, 2 dt, ... (dt = step / |S(1) - S(0)|, t advanced by
  // repeated addition) while t <= 1 within 1e-12; then the first point is
  // set to S(0) exactly and the last sampled point is overwritten by S(1)
  // (or S(1) appended when only one was sampled). So a step larger than the
  // chord gives exactly S(0), S(1). A chord shorter than 1e-12 leaves `out`
  // empty. A step that is not a positive number, or so small that adding
  // dt to 1 changes nothing, leaves `out` as it was.
  void BuildCurve(std::vector<CPointD>& out, double step) const;

  // Coefficient-wise on all four coefficients.
  CSplineItem operator+(CSplineItem const& o) const;
  CSplineItem operator-(CSplineItem const& o) const;
  CSplineItem operator-() const;
  CSplineItem operator*(double s) const;
  CSplineItem operator/(double s) const;
  CSplineItem& operator*=(double s);
  CSplineItem& operator/=(double s);
};

// The vertices of a spline and the second-derivative value M of each.
class KMATH_API CSpline {
 public:
  std::vector<CPointD> points;
  std::vector<CPointD> slopes;

  // Runs the slope computation on pts (natural ends, or the start tangent
  // when `startTangent` is not null). On success stores points = pts and one
  // M per point (a closed polyline's last M repeats its first) and returns
  // true; otherwise both vectors are left empty and the result is false.
  bool Create(std::vector<CPointD> const& pts, CPointD const* startTangent = nullptr);

  bool Empty() const { return points.empty(); }
  // Number of pieces: points - 1, or 0 without points.
  unsigned int Count() const;
  // Element i, or null unless i + 1 < size: the last vertex (and its M) is
  // never returned, and an empty spline gives null for every i.
  CPointD const* Points(unsigned int i) const;
  CPointD const* Slopes(unsigned int i) const;
  // The piece from vertex i to vertex i + 1; the all-zero item when there is
  // no such piece.
  CSplineItem Item(unsigned int i) const;
};

// Inserts k points into every segment: after P[i] the points S(j / (k + 1)),
// j = 1 .. k, of that segment's piece (natural ends). Returns 1, or 0 when
// k < 1 or there are fewer than 2 points, or the slope computation's result
// when it is not positive; `pts` is then unchanged.
KMATH_API int ReduceToSpline(std::vector<CPointD>& pts, int k);

// Inserts into every segment the inner parameters of its piece's GetParams
// subdivision (natural ends), so every sub-chord holds its part of the curve
// within `tol` of its line. Returns 1 when points were added, 0 when none
// were, when `tol` is not a positive number (nothing is done) or with too
// few points; -1 as the slope computation reports it. `pts` is unchanged
// unless the result is 1.
KMATH_API int ReduceToSpline(std::vector<CPointD>& pts, double tol);

// Inserts into every segment i the points S(dt), S(2 dt), ... while
// t <= 1 - dt within 1e-12 (dt = step / |P[i+1] - P[i]|, t advanced by
// repeated addition), with the start tangent when it is not null. A segment
// shorter than 1e-12 gets no points. Returns 1 when points were added, else
// 0 (also for a step that is not a positive number, or one so small that
// adding dt to 1 changes nothing; nothing is done then); -1 or 0 as the
// slope computation reports it. `pts` is unchanged unless the result is 1.
KMATH_API int SplineSmoothing(std::vector<CPointD>& pts, double step, CPointD const* startTangent = nullptr);

}  // namespace Math
