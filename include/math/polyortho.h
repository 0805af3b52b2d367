// Squaring of right-angled outlines traced from a raster (building
// footprints, parcels, rectangular symbols): the dominant direction of an
// outline modulo 90 degrees, a one-pass squaring of a polyline, and an
// iterating squarer that keeps the best outline it can build and refuses when
// no squared outline stays close enough to the input.
//
// Directions are measured by the fourfold angle: every side of angle t adds
// (cos 4t, sin 4t) weighted by its length, so sides along either axis, in
// either sense, pull the same way and a staircase's steps cancel in pairs.
//
// How CPolyOrtho builds an outline (the parts a caller can tune):
//  - The working polyline is SmoothPoly(input): repeated points dropped, a
//    ring restarted at its sharpest vertex, then thinned to the vertices that
//    depart from their chord by more than dMaxRms (a vertex closer than the
//    accepted deviation carries no shape the squared outline may keep).
//  - Corners start as every vertex of the working polyline. A side runs from
//    one corner to the next and is classified by its chord: along axis 1,
//    along axis 2, or off-axis when it leans more than 15 degrees.
//  - Axes: unless preset, the fourfold mean of the corner-to-corner sides
//    gives a first direction. Walls then vote again, three rounds: a wall
//    runs from one change of axis to the next, off-axis pieces inside it
//    (a staircase's wobble) included, and its chord votes by its squared
//    length (a chord's angle error falls with its length, its variance with
//    the square). In the second mode (bMode) the longest wall alone sets the
//    direction: for outlines with one reliable wall and a noisy rest. Each
//    build then settles the direction by a golden-section search within 1.5
//    degrees for the least root-mean-square deviation, since a fraction of
//    a degree at the far end of a long wall is more than the raster's noise.
//  - Runs of sides along one axis form a group: one squared wall whose
//    position across the axis is the length-weighted mean of the run's
//    polyline. Off-axis sides between groups of different axes are a cut
//    corner and are dropped; between groups of the same axis they are a
//    step, and a perpendicular wall goes in where it keeps the area under
//    the slanted chain.
//  - Groups whose rebuilt length (the distance between their neighbours'
//    positions) is below dMinSide are removed, shortest first; their two
//    neighbours then lie along one axis and merge. Remaining positions along
//    each axis are snapped together with CGroupCoord (tolerance dMinSide / 4,
//    weights the side lengths), so walls that are one wall on the ground
//    come out collinear.
//  - Corners are the crossings of consecutive groups. An outline with fewer
//    than 4 sides, a side shorter than 1e-12, two crossing sides or the
//    opposite sense to the input is not an outline: the build fails.
//  - Deviation: the squared distance integrated along the input (from the
//    outline) and along the outline (from the input), Simpson's rule on
//    each segment, over their summed length. Along the sides, not at the
//    vertices: a reduced staircase keeps exactly its most deviant pixel
//    corners as vertices, which would make every wall look as noisy as its
//    worst step. The second half catches a corner squared across a real
//    diagonal wall: the wall's ends stay on the outline, the corner does not.
//  - Cost: a build is linear in the input's and the outline's vertices
//    (nearest sides through a grid) plus quadratic in the corner count for
//    the crossing test and the removal of short walls.
//
// A squared outline is accepted when its root-mean-square deviation is at
// most dMaxRms and it has no more corners than the caller allows; otherwise
// the input is left as it was. Every accepted outline is closed, turns by
// +-90 degrees at every corner and does not cross itself.
#pragma once

#include <math/types.h>

#include <boost/function.hpp>

#include <cstdint>
#include <map>
#include <set>
#include <vector>

namespace Math {

// Dominant direction of the polyline modulo 90 degrees, in [-pi/8, 3pi/8):
// a = asin(S/r), pi - a when C/r < 0, times 0.25, where (C, S) sums
// (cos 4t, sin 4t) times the length over the segments longer than 1e-12 and
// r = hypot(C, S). Two points (three when the last repeats the first within
// 1e-12) give the first segment's own atan2 instead, not reduced. False with
// angle = the all-ones NaN: fewer than 2 points, a null pointer, r not
// above 1e-12 (all segments shorter than 1e-12, sides that cancel out), r
// overflowing the double range, or a NaN coordinate.
KMATH_API bool PolyOrthoDir(const CPointD* pts, unsigned n, double& angle);

// Squares `poly` in one pass: a ring is restarted at its sharpest
// inflection, the polyline is split at its inflections with `dTolerance`,
// each piece becomes a line along the nearer of two perpendicular axes
// through its mean point, and corners are the crossings of consecutive lines
// (two parallel lines are joined by the perpendicular through their shared
// vertex). `dSecond` > 0 snaps lines along one axis whose positions differ by
// less than it to their weighted mean (CGroupCoord), and consecutive lines
// that then coincide become one side; dSecond <= 0 snaps nothing. Vertices
// repeated within 1e-12 and vertices between two sides of one line are
// dropped. The axes are *pAngle when pAngle is given (a finite angle), else
// measured from the pieces' fitted directions weighted by their chords.
// bKeepFirst / bKeepLast put the end vertex back: on an open result the end
// side is moved parallel through the kept point and the end vertex set to
// it; on a ring the side leaving the corner that the first vertex became
// (found by coordinates rounded to 0.001) is moved parallel through the kept
// point. On success *pAngle receives the direction used. False (poly and
// *pAngle unchanged): fewer than 2 points, a NaN or infinite coordinate, a
// NaN *pAngle, no measurable direction, or a result with fewer than 2
// distinct points.
KMATH_API bool PolyOrtho(std::vector<CPointD>& poly, double dTolerance, double dSecond, bool bKeepFirst,
                         bool bKeepLast, double* pAngle);

// The iterating squarer of closed outlines. It keeps a reference to the
// caller's parameter record, which must outlive it.
class KMATH_API CPolyOrtho {
 public:
  // Parameters in, results out.
  struct KMATH_API CParams {
    // nCorners 4, nDeviation 0, dMinSide as given, dMaxRms =
    // dMinSide * 0.25 * 4.0 * dRatio / (1.0 - dRatio) evaluated as written,
    // dMaxValue 8000, everything else zero. dRatio must be below 1: at 1 or
    // above (or NaN) dMaxRms is infinite, negative or NaN and every squaring
    // with the record refuses.
    CParams(double dRatio, double dMinSide);

    // In: the largest corner count accepted, and the target of the corner
    // reduction (outlines with more than nCorners + 3 corners are simplified
    // before the search). Out: corners of the last outline built.
    std::uint32_t nCorners;
    // In: non-zero selects the second direction mode (see the file comment).
    // Out: round(100 * summed deviation / outline length).
    std::uint32_t nDeviation;
    double dAux1;
    // Sides shorter than this are not kept as sides of their own.
    double dMinSide;
    // In: the largest accepted root-mean-square deviation. Out: the one the
    // last build reached.
    double dMaxRms;
    double dAux2;
    // Kept with the record; the squaring does not read it.
    double dMaxValue;
    // Reduction starts its search at 5 corners instead of nCorners + 1 and
    // takes any outline with fewer corners, whatever its deviation.
    bool bFixedStart;
    // In: a non-zero vector (a coordinate at least 1e-12 in magnitude) fixes
    // the axes. Out: the axis 1 found, scaled by |axis 1| + |axis 2| on
    // success, unscaled on failure.
    CPointD baseDir;
    // Result words the squaring clears and does not use.
    std::uint32_t nReserved[4];
  };

  // Working state of one run: the corners kept so far (indices into the
  // working polyline, a ring's closing duplicate excluded), the working
  // polyline, and the two axes sides are classified against.
  class KMATH_API CBaseDir {
   public:
    // A preset direction d that is not (0, 0) within 1e-12 per coordinate
    // fixes the axes: axis 1 is d folded into the first quadrant ((|y|, |x|)
    // when x*y < 0; else (|x|, |y|) when |x| < 1e-12 or x < 0; else d), axis
    // 2 is (-d.y, d.x) of the unfolded d. Otherwise the axes are measured
    // from the corners (see the file comment; bMode selects the mode). Every
    // vertex starts as a corner.
    CBaseDir(std::vector<CPointD> const& poly, CPointD const& preset, bool bMode);

    // Removes a corner; unless the axes are fixed they become unknown (all
    // NaN) and are measured again when next needed. False for an index that
    // is not a corner.
    bool RemoveCorner(int index);
    // Measures the axes when they are unknown; false when no direction can be
    // found (they stay NaN).
    bool EnsureAxes();
    // Side classification: 1 = off-axis by more than 15 degrees (also for a
    // vector shorter than 1e-12), 2 = nearer to axis 1 than to axis 2 (ties go
    // to axis 2). When the chosen axis is more than 90 degrees away, v is
    // reversed to point along it.
    int Classify(CPointD& v) const;
    // v turned into the quarter around axis 1: by its angle a to axis 1,
    // negated when a <= -3pi/4 or a > 3pi/4, else turned by -90 degrees when
    // a > pi/4, else by +90 degrees when a < -pi/4.
    CPointD Canonical(CPointD const& v) const;
    // |axis 1| + |axis 2|.
    double AxisLength() const;
    // The angle of axis 1, in radians.
    double Angle() const;

    std::set<int> corners;
    std::vector<CPointD> poly;
    CPointD axis1;
    CPointD axis2;
    bool bFixed;
    bool bMode;
  };

  // Coordinate groups along one axis: a map from position to weight whose
  // order treats positions closer than the tolerance as equal.
  class KMATH_API CGroupCoord {
   public:
    using Map = std::map<double, double, boost::function<bool(double, double)>>;

    explicit CGroupCoord(double tolerance);
    CGroupCoord(const CGroupCoord& other);
    CGroupCoord& operator=(const CGroupCoord& other);

    // Merges (value, weight) with every group it meets, one after the other
    // (the weighted mean may reach a further group), then inserts it. A
    // total weight of zero merges to the plain mean.
    void Add(double value, double weight);
    // Replaces value by the position of its group: the first group not
    // below value - tolerance (the last group when there is none), or its
    // predecessor when that is nearer (ties to the predecessor). The map must
    // not be empty; an empty one leaves value unchanged.
    void GetRound(double& value) const;
    // a < b - tolerance.
    static bool LessValue(double a, double b, double tolerance);

    Map const& Groups() const { return m_groups; }
    double Tolerance() const { return m_tolerance; }

   private:
    double m_tolerance;
    Map m_groups;
  };

  explicit CPolyOrtho(CParams& params) : m_params(params) {}

  // Squares the closed outline `poly`; `variants` receives every outline
  // built on the way (appended). True when an outline was accepted: it
  // replaces poly and the record holds its counts and the scaled direction.
  // False: poly unchanged (an open or degenerate polyline, 4 or fewer
  // inflections at tolerance dMaxRms, a NaN coordinate, a dMaxRms that is not
  // a finite non-negative number, or no outline within the limits); the
  // record then holds the last counts reached and the unscaled direction.
  bool operator()(std::vector<CPointD>& poly, std::vector<std::vector<CPointD>>& variants);
  bool operator()(std::vector<CPointD>& poly);

  // One squared outline of `in` against the corners and axes of `dir`:
  // writes nCorners, nDeviation and dMaxRms of params; true when the new
  // root-mean-square deviation is not greater than the dMaxRms received.
  // False too, with `out` and params untouched, when no outline can be
  // built. `out` is closed (its first vertex equals its last).
  static bool BuildOrto(std::vector<CPointD>& out, CBaseDir& dir, const std::vector<CPointD>& in,
                        CParams& params);
  // Searches for an outline with fewer corners: from a copy of start whose
  // nCorners is start.nCorners + 1 (5 with bFixedStart), builds, keeps a
  // candidate with fewer corners (and, without bFixedStart, no larger
  // dMaxRms) or as many corners and a smaller dMaxRms, stops once the best
  // has fewer corners than the start, else removes one corner (the one
  // leaving along the side most off the axes, the first on ties) and tries
  // again. Stops on a failed build or at 4 corners. True when a candidate
  // was taken: then out and best hold it.
  static bool Reduction(const std::vector<CPointD>& in, std::vector<CPointD>& out, const CParams& start,
                        CParams& best, CBaseDir& dir);
  // The working copy described in the file comment; empty when `in` has
  // fewer than 2 distinct points (a ring counts its closing point once) or
  // a NaN or infinite coordinate.
  static std::vector<CPointD> SmoothPoly(const std::vector<CPointD>& in, const CParams& params);

 private:
  CParams& m_params;
};

}  // namespace Math
