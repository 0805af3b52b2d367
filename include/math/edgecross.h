// The scan-beam sweep that finds where edges meet, and records for every edge
// the parameters at which it must be cut. The polygon boolean operations run
// it over all edges of both operands before they assemble their result.
//
// The sweep line is vertical and moves in increasing x over an ordered set
// of event abscissae. At each event it keeps the edges it currently cuts (the
// beam) ordered by their height at the line, and tests only beam neighbours
// (and, for a vertical edge, the run of edges up to its upper end), each pair
// of edge ids at most once per sweep. Meetings to the right of the current
// event become later events, so the walk reaches them in order.
//
// Tolerances (src/core/tolerance.h): FLT_EPSILON for edge order, flatness,
// parallelism, shared end points and the tolerant [0, 1] range of a meeting;
// a 0.001 grid for end-point touch distances, so an end point closer than
// 0.0005 (absolute, in coordinate units) to another edge's interior touches
// it. That threshold is absolute by contract: callers working at a scale
// where 0.0005 matters must scale their coordinates.
#pragma once

#include <math/types.h>

#include <cstdint>
#include <list>
#include <map>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace Math {
namespace sba_detail {

// One directed segment of the sweep. Its creator orients it so that
// beg.x <= end.x (a vertical edge from its lower end up, which the vertical
// walk of the sweep relies on).
class KMATH_API CEdge {
 public:
  // `angle` is atan2(dy, dx) of end - beg, each of dx, dy taken as 0 when
  // its magnitude is below 1e-12; it only breaks ties of equal height.
  CEdge(unsigned int id, std::pair<CPointD, CPointD> const& pts);

  unsigned int id() const { return m_id; }
  // Height at the abscissa of the last MoveX; 0 before the first.
  double Y() const { return m_y; }
  CPointD const& beg() const { return m_beg; }
  CPointD const& end() const { return m_end; }
  double angle() const { return m_angle; }

  // Vertical: |beg.x - end.x| < FLT_EPSILON.
  bool is_flat() const;
  // By Y when the heights differ by FLT_EPSILON or more, else by angle when
  // the angles do, else equal (false both ways). Not a strict weak order
  // near ties; the beam sorts stably with it.
  bool operator<(CEdge const& other) const;
  // Y = height at x on the carrying line; a vertical edge keeps beg.y.
  void MoveX(double x);

 private:
  unsigned int m_id;
  CPointD m_beg;
  CPointD m_end;
  double m_y = 0.0;
  double m_angle;
};

// Parameters (0 at beg, 1 at end) at which each edge id must be cut,
// ascending.
using CSplitTable = std::unordered_map<unsigned int, std::vector<double>>;

// The event queue: abscissa (compared exactly, ascending) to the edges that
// begin there.
class KMATH_API CEvents : public std::map<double, std::list<CEdge>> {
 public:
  // Appends the edge to the entry at its beg().x, creating it if needed.
  void Add(CEdge const& e);
  // Creates an empty entry at x unless one with exactly that key exists.
  void AddX(double x);
};

// The beam: the edges the sweep line cuts, in edge order after each Update.
class KMATH_API CScanBeam : public std::list<CEdge> {
 public:
  // Records whether `incoming` holds a vertical edge; with bDropEnded first
  // removes edges that end before x by FLT_EPSILON or more (those ending at
  // x within it stay, so a vertical edge at x still meets them); splices
  // `incoming` in (leaving it empty), moves every edge to x and sorts
  // stably by edge order. The beam is nearly sorted between events (order
  // changes only at meetings), so sorting is by insertion: linear plus the
  // number of swaps.
  void Update(double x, std::list<CEdge>& incoming, bool bDropEnded);
  bool HasFlat() const { return m_bFlat; }

 private:
  bool m_bFlat = false;
};

}  // namespace sba_detail

// The sweep machinery; what to do with a meeting is left to SplitEdges.
class KMATH_API CEdgeCrossBase {
 public:
  CEdgeCrossBase& operator=(CEdgeCrossBase const&) = delete;
  virtual ~CEdgeCrossBase() = default;

 protected:
  explicit CEdgeCrossBase(sba_detail::CEvents& events);
  CEdgeCrossBase(CEdgeCrossBase const& other) = default;

  // Inserts the abscissa of e at parameter t into the event queue (exact
  // key; an existing abscissa is not duplicated).
  void AddEvent(sba_detail::CEdge const& e, double t);
  // One event: update the beam (dropping ended edges); when a vertical edge
  // came in, test every vertical edge against the edges after it in the
  // beam up to the first whose Y exceeds its end.y by FLT_EPSILON or more;
  // remove edges ending at x (within FLT_EPSILON); test all neighbour pairs.
  void OnNextEvent(double x, std::list<sba_detail::CEdge>& incoming);

  sba_detail::CEvents& m_events;
  sba_detail::CScanBeam m_beam;

 private:
  // Called once per meeting, ta and tb the meeting's parameters along a, b.
  virtual void SplitEdges(sba_detail::CEdge const& a, sba_detail::CEdge const& b, double ta, double tb) = 0;

  // Tests a pair once: the four end-point touches (b's begin and end on a,
  // then a's begin and end on b, always all four), and only when none
  // touched, the proper crossing of the carrying segments (parallel when
  // |den| < FLT_EPSILON; accepted within [0, 1] widened by FLT_EPSILON).
  void EdgeToEdge(sba_detail::CEdge const& a, sba_detail::CEdge const& b);
  // Does a's begin (bBeg) or end touch b? An end shared within FLT_EPSILON
  // touches without a cut; a point whose foot lies within b and whose
  // distance rounds to 0 on the 0.001 grid cuts b at the foot and a at its
  // end (0 or 1).
  bool PointToEdge(sba_detail::CEdge const& a, sba_detail::CEdge const& b, bool bBeg);
  // True when the id pair was tested before; records it otherwise.
  bool Processed(sba_detail::CEdge const& a, sba_detail::CEdge const& b);

  std::unordered_set<std::uint64_t> m_tested;
};

// The sweep that fills a split table.
class KMATH_API CEdgeCrossProc : public CEdgeCrossBase {
 public:
  CEdgeCrossProc(sba_detail::CEvents& events, sba_detail::CSplitTable& splits);
  CEdgeCrossProc(CEdgeCrossProc const& other) = default;

  // Drives the sweep over its event queue, visiting abscissae the sweep
  // inserts when the walk reaches them.
  void Run();

 private:
  // Adds an event at a's meeting abscissa, then records ta for a and tb
  // for b.
  void SplitEdges(sba_detail::CEdge const& a, sba_detail::CEdge const& b, double ta, double tb) override;
  // Inserts t into e's ascending list before the first value not less than
  // t, unless that value lies within FLT_EPSILON of t; appends when there is
  // none. Only the following value is compared, never the preceding one, so
  // a near-duplicate larger than every stored value is kept.
  void SplitEdge(sba_detail::CEdge const& e, double t);

  sba_detail::CSplitTable& m_splits;
};

// Runs the sweep over a copy of `events` and leaves in `splits` (expected
// empty) the ascending cut parameters of every edge that must be cut. Pairs
// are tested only when they are beam neighbours at an event, so the queue
// must also hold every edge's end abscissa (AddX): where an edge ends, the
// edges around it become neighbours, and without an event there a crossing
// of theirs before the next event goes unseen. Cuts are made at
// proper crossings, and where an end point of one edge touches another's
// interior. Edges sharing an end point, parallel edges and zero-length edges
// produce no cut by themselves. Cost: the events (the edges' begin and end abscissae
// plus one per meeting) times the beam length, the beam kept sorted by
// insertion; each edge pair is tested at most once.
KMATH_API void SplitAtCrossings(sba_detail::CEvents const& events, sba_detail::CSplitTable& splits);

}  // namespace Math
