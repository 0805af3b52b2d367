// Infinite lines, directed edges and the elementary relations between them:
// line through points, point-to-edge projection, edge-to-edge crossing,
// line-to-rectangle and edge-to-circle intersection, clipping of an edge by
// a rectangle or a disc, and angle bisectors.
//
// Tolerances: 1e-12 (EPS) on lengths, parameters, cross products and angles;
// the single-precision epsilon for parallelism in CEdgeToEdge::CrossData.
// "within EPS" accepts a near-tie, "beyond EPS" needs a clear margin.
#pragma once

#include <math/types.h>

#include <utility>

#include <boost/optional.hpp>

namespace Math {

class CPtStat;

// An infinite line in normal form: x*cosP + y*sinP = rho. The normal is unit
// for every line built from points, a form or an angle; the all-zero line
// (the default) stands for "no line".
class KMATH_API CLine {
 public:
  // Thrown when a line cannot be built (direction shorter than EPS) or a
  // coordinate is asked along an axis the line is parallel to. No data.
  struct CBadOp {};

  CLine() = default;
  // Stored unchanged, normalised or not.
  CLine(double cosP, double sinP, double rho) : m_cosP(cosP), m_sinP(sinP), m_rho(rho) {}
  // Through p, normal pointing at `angle` radians.
  CLine(CPointD const& p, double angle);
  // Through p1 and p2 with normal (d.y, -d.x)/|d|, d = p2 - p1: Vector()
  // points from p2 back to p1 and Value() is positive right of the travel
  // p1 -> p2 (y up). Throws CBadOp when |d| < EPS; a NaN coordinate gives
  // a NaN line (not Valid) without throwing.
  CLine(CPointD const& p1, CPointD const& p2);
  // a*x + b*y + c = 0 normalised; throws CBadOp when hypot(a, b) < EPS (a
  // NaN form gives a NaN line, not Valid).
  explicit CLine(CLinForm const& f);
  // Total-least-squares line of the points (MakeLine of their CPtStat); the
  // all-zero line when that fit fails (fewer than two points, no main
  // direction, NaN).
  CLine(CPointD const* pts, unsigned int n);

  double cosP() const { return m_cosP; }
  double sinP() const { return m_sinP; }
  double rho() const { return m_rho; }

  CPointD Normal() const { return {m_cosP, m_sinP}; }
  // The unit direction (sinP, -cosP).
  CPointD Vector() const { return {m_sinP, -m_cosP}; }
  // Signed distance of p for a normalised line.
  double Value(CPointD const& p) const;
  CPointD Project(CPointD const& p) const;
  CPointD Reflect(CPointD const& p) const;
  // Shifts the line by d along its normal.
  CLine& Move(double d) {
    m_rho += d;
    return *this;
  }
  // The parallel line through p.
  CLine& MoveTo(CPointD const& p);
  // x at the given y; throws CBadOp when |cosP| < EPS.
  double X(double y) const;
  // y at the given x; throws CBadOp when |sinP| < EPS.
  double Y(double x) const;
  // hypot(cosP, sinP) >= EPS.
  bool Valid() const;

 private:
  double m_cosP = 0.0;
  double m_sinP = 0.0;
  double m_rho = 0.0;
};

KMATH_FP_CONTRACT_OFF_BEGIN
inline double CLine::Value(CPointD const& p) const { return p.x * m_cosP + p.y * m_sinP - m_rho; }
inline CPointD CLine::Project(CPointD const& p) const { return p - Normal() * Value(p); }
inline CPointD CLine::Reflect(CPointD const& p) const { return p - Normal() * (2.0 * Value(p)); }
inline CLine& CLine::MoveTo(CPointD const& p) {
  m_rho = p.x * m_cosP + p.y * m_sinP;
  return *this;
}
KMATH_FP_CONTRACT_OFF_END

// The line through p perpendicular to l.
KMATH_API CLine OrthoLine(CLine const& l, CPointD const& p);

// Total-least-squares line of the accumulated points; on success stores its
// root-mean-square residual in *err (when err is not null). The all-zero line
// on failure, *err untouched.
KMATH_API CLine MakeLine(CPtStat const& stat, double* err);
// The line with normal at `angle` through the centroid of the points; for
// n = 0 the centroid is the all-ones NaN and so is rho.
KMATH_API CLine MakeLine(CPointD const* pts, unsigned int n, double angle);
// The locally weighted fit of LIRLine (ptstat.h), arguments passed through;
// the all-zero line when it fails.
KMATH_API CLine MakeLine(CPointD const* pts, unsigned int n, double pos, double sharpness, bool laplace);

// Intersection of two lines; false (out untouched) when the determinant of
// their normals is below EPS, is a NaN, or the crossing is not finite.
KMATH_API bool LineToLine(CLine const& l1, CLine const& l2, CPointD& out);
// The two points where l meets the border of r, written to out[0], out[1];
// true exactly when two were found (out is written only then; a null out
// gives false). Left and right sides are tried first (when |sinP| >= EPS),
// then top and bottom (when |cosP| >= EPS); a side is hit when the crossing
// lies on it within EPS. A corner may be found twice and is then returned
// twice.
KMATH_API bool LineToRect(CLine const& l, CRectD const& r, CPointD* out);

// Projection of a point onto an edge's line. `t` is the unclamped parameter
// of the foot, `dist` the signed distance: positive right of p0 -> p1 (y
// up), the sign of CLine(p0, p1).Value. For an edge shorter than EPS, dist
// is the unsigned distance to p0 and t the all-ones NaN, which the tolerant
// range tests of the collinear crossing and of EdgeToCircle let through.
class KMATH_API CPtToEdge {
 public:
  CPtToEdge(CEdge const& e, CPointD const& p);

  CEdge edge;
  CPointD point;
  double t;
  double dist;
};

// A line against an edge.
class KMATH_API CLineToEdge {
 public:
  CLineToEdge(CLine const& l, CEdge const& e) : m_line(l), m_edge(e) {}

  // The crossing point and its parameter on the edge. An end within EPS of
  // the line wins (p0 first, even when the whole edge lies on the line);
  // otherwise the ends must lie strictly on opposite sides, the edge be at
  // least EPS long and the lines cross (LineToLine).
  boost::optional<std::pair<CPointD, double>> CrossData() const;

 private:
  CLine m_line;
  CEdge m_edge;
};

// Two edges against each other.
class KMATH_API CEdgeToEdge {
 public:
  using CParams = boost::optional<std::pair<double, double>>;

  CEdgeToEdge(CEdge const& e1, CEdge const& e2) : m_e1(e1), m_e2(e2) {}

  // The closed edges touch or cross (bounding boxes with EPS slack, then the
  // side tests on products of cross products, absolute EPS). False when a
  // coordinate is NaN.
  bool HasCross() const;
  // (parameter on e1, parameter on e2), unclamped. Non-parallel edges
  // (|den| >= single-precision epsilon): the line crossing, kept in bounded
  // mode only when both lie in [0, 1] within EPS. Parallel apart, or a NaN
  // coordinate: nothing. Collinear: one shared point, the first of Q0, Q1,
  // P0, P1 whose parameter on the other edge is not outside [0, 1] beyond
  // EPS (so the NaN parameter on a zero-length edge passes); unbounded mode
  // takes Q0 without testing.
  CParams CrossData(bool bounded) const;
  // The point of the bounded crossing.
  boost::optional<CPointD> CrossPoint() const;
  // A present pair neither of whose parameters is further than EPS from
  // both 0 and 1 (distance exactly EPS counts as at the end; so does a NaN
  // parameter, the one a zero-length edge gives).
  static bool IsEndCross(CParams const& cross);
  // MinAngle() <= tol within EPS.
  bool IsParallel(double tol) const;
  // The acute angle between the two edges' lines, in [0, pi/2] (direction
  // components below EPS count as zero); a difference within EPS of pi/2 is
  // returned as it is, so it may exceed pi/2 by less than EPS. The all-ones
  // NaN when a coordinate is NaN.
  double MinAngle() const;
  // Mean distance of two roughly parallel edges: the area of the
  // quadrilateral they span over their mean length. Not finite for two
  // zero-length edges.
  double Distance() const;

 private:
  CEdge m_e1;
  CEdge m_e2;
};

// Parameters where e meets the circle (c, r), larger first, written to t
// (room for two); returns their count. Unbounded: 2 whenever the line meets
// the circle (equal for a tangent), else 0. Bounded: only those not outside
// [0, 1] beyond EPS, packed to the front. 0 for a NaN input or a null t. A
// zero-length edge is not guarded: when its point is within r of c it gives
// NaN parameters, which the bounded test lets through.
KMATH_API int EdgeToCircle(CEdge const& e, CPointD const& c, double r, double* t, bool unbounded);
// Clips e to the disc, keeping its direction; an edge wholly inside is left
// bit for bit. False (e unchanged) when less than EPS of parameter is left,
// for a zero-length edge and for NaN input.
KMATH_API bool ClipEdge(CEdge& e, CPointD const& c, double r);
// Clips e to the rectangle, keeping its direction; false (e unchanged) when
// the edge's line misses r or less than EPS of parameter is left. Throws
// CLine::CBadOp for an edge shorter than EPS.
KMATH_API bool ClipEdge(CEdge& e, CRectD const& r);

// Bisector of the angle a-b-c as an edge from b: both arms stretched to the
// longer one, m, and summed: its length is 2 m cos(angle / 2).
// A straight or empty angle gives the unit normal of CLine(a, b) at b
// (throws CLine::CBadOp when a and b coincide).
KMATH_API CEdge BisectEdge(CPointD const& a, CPointD const& b, CPointD const& c);
// The same bisector as a line, CLine(e.p0, e.p1).
KMATH_API CLine BisectLine(CPointD const& a, CPointD const& b, CPointD const& c);
// Perpendicular bisector of a and b; throws CLine::CBadOp when they are
// closer than EPS.
KMATH_API CLine BisectLine(CPointD const& a, CPointD const& b);

}  // namespace Math
