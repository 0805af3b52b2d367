#include <math/edgecross.h>

#include <math/line.h>

#include <algorithm>
#include <cmath>
#include <iterator>

#include "core/tolerance.h"

namespace Math {
namespace sba_detail {
namespace {

bool Finite(CPointD const& p) { return std::isfinite(p.x) && std::isfinite(p.y); }

double ZeroBelowEps(double v) { return std::abs(v) < tol::kEps ? 0.0 : v; }

}  // namespace

CEdge::CEdge(unsigned int id, std::pair<CPointD, CPointD> const& pts)
    : m_id(id),
      m_beg(pts.first),
      m_end(pts.second),
      m_angle(std::atan2(ZeroBelowEps(pts.second.y - pts.first.y), ZeroBelowEps(pts.second.x - pts.first.x))) {}

bool CEdge::is_flat() const { return std::abs(m_beg.x - m_end.x) < tol::kFltEps; }

bool CEdge::operator<(CEdge const& other) const {
  if (std::abs(m_y - other.m_y) >= tol::kFltEps) return m_y < other.m_y;
  if (std::abs(m_angle - other.m_angle) >= tol::kFltEps) return m_angle < other.m_angle;
  return false;
}

void CEdge::MoveX(double x) {
  m_y = m_beg.y;
  double const dx = m_end.x - m_beg.x;
  if (std::abs(dx) >= tol::kFltEps) m_y = m_beg.y + (x - m_beg.x) * (m_end.y - m_beg.y) / dx;
}

// A NaN key would break the map's ordering, so edges and abscissae that are
// not finite never enter the queue.
void CEvents::Add(CEdge const& e) {
  if (!Finite(e.beg()) || !Finite(e.end())) return;
  (*this)[e.beg().x].push_back(e);
}

void CEvents::AddX(double x) {
  if (std::isfinite(x)) try_emplace(x);
}

void CScanBeam::Update(double x, std::list<CEdge>& incoming, bool bDropEnded) {
  m_bFlat = false;
  for (CEdge const& e : incoming) m_bFlat = m_bFlat || e.is_flat();
  if (bDropEnded) remove_if([x](CEdge const& e) { return tol::LtBeyond(e.end().x, x, tol::kFltEps); });
  splice(end(), incoming);
  for (CEdge& e : *this) e.MoveX(x);
  // Stable insertion sort: an edge moves back only past edges clearly above
  // it, so equal edges keep the order they had.
  if (empty()) return;
  for (auto it = std::next(begin()); it != end();) {
    auto const next = std::next(it);
    auto pos = it;
    while (pos != begin() && *it < *std::prev(pos)) --pos;
    if (pos != it) splice(pos, *this, it);
    it = next;
  }
}

}  // namespace sba_detail

using SEdge = sba_detail::CEdge;

// Each event tests its beam neighbours, so the pairs grow with the events;
// sizing the set up front saves the rehashing that would otherwise dominate.
CEdgeCrossBase::CEdgeCrossBase(sba_detail::CEvents& events) : m_events(events) { m_tested.reserve(4 * events.size()); }

void CEdgeCrossBase::AddEvent(SEdge const& e, double t) { m_events.AddX(e.beg().x + (e.end().x - e.beg().x) * t); }

void CEdgeCrossBase::OnNextEvent(double x, std::list<SEdge>& incoming) {
  m_beam.Update(x, incoming, true);
  if (m_beam.HasFlat()) {
    for (auto e = m_beam.begin(); e != m_beam.end(); ++e) {
      if (!e->is_flat()) continue;
      for (auto f = std::next(e); f != m_beam.end(); ++f) {
        if (tol::GtBeyond(f->Y(), e->end().y, tol::kFltEps)) break;
        EdgeToEdge(*e, *f);
      }
    }
  }
  m_beam.remove_if([x](SEdge const& e) { return tol::LeWithin(e.end().x, x, tol::kFltEps); });
  if (m_beam.empty()) return;
  for (auto p = m_beam.begin(), n = std::next(p); n != m_beam.end(); p = n++) EdgeToEdge(*p, *n);
}

bool CEdgeCrossBase::Processed(SEdge const& a, SEdge const& b) {
  std::uint64_t const lo = std::min(a.id(), b.id());
  std::uint64_t const hi = std::max(a.id(), b.id());
  return !m_tested.insert((lo << 32) | hi).second;
}

void CEdgeCrossBase::EdgeToEdge(SEdge const& a, SEdge const& b) {
  if (Processed(a, b)) return;
  // All four, in this order, even after a hit: collinear overlaps need a cut
  // on each edge, and each end point reports its own.
  bool touched = PointToEdge(b, a, true);
  touched = PointToEdge(b, a, false) || touched;
  touched = PointToEdge(a, b, true) || touched;
  touched = PointToEdge(a, b, false) || touched;
  if (touched) return;

  CPointD const d1 = a.end() - a.beg();
  CPointD const d2 = b.end() - b.beg();
  double const den = d1.y * d2.x - d2.y * d1.x;
  if (!(std::abs(den) >= tol::kFltEps)) return;
  CPointD const w = b.beg() - a.beg();
  double const ta = (w.y * d2.x - w.x * d2.y) / den;
  double const tb = (w.y * d1.x - w.x * d1.y) / den;
  if (!tol::InUnitWithin(ta, tol::kFltEps) || !tol::InUnitWithin(tb, tol::kFltEps)) return;
  if (!std::isfinite(ta) || !std::isfinite(tb)) return;
  SplitEdges(a, b, ta, tb);
}

bool CEdgeCrossBase::PointToEdge(SEdge const& a, SEdge const& b, bool bBeg) {
  CPointD const p = bBeg ? a.beg() : a.end();
  auto near = [&p](CPointD const& q) { return std::hypot(p.x - q.x, p.y - q.y) < tol::kFltEps; };
  if (near(b.beg()) || near(b.end())) return true;
  CPtToEdge const rel(Math::CEdge{b.beg(), b.end()}, p);
  // A zero-length b has no foot (t is NaN); it touches only through its ends.
  if (!std::isfinite(rel.t) || !tol::InUnitWithin(rel.t, tol::kFltEps)) return false;
  double const q = std::floor(std::abs(rel.dist) / tol::kGrid + 0.5) * tol::kGrid;
  if (!(std::abs(q) < tol::kEps)) return false;
  SplitEdges(a, b, bBeg ? 0.0 : 1.0, rel.t);
  return true;
}

CEdgeCrossProc::CEdgeCrossProc(sba_detail::CEvents& events, sba_detail::CSplitTable& splits)
    : CEdgeCrossBase(events), m_splits(splits) {}

void CEdgeCrossProc::Run() {
  // Map iterators survive insertion, so abscissae added by AddEvent to the
  // right of the current one are reached by this same walk.
  for (auto it = m_events.begin(); it != m_events.end(); ++it) OnNextEvent(it->first, it->second);
  m_beam.clear();
}

void CEdgeCrossProc::SplitEdges(SEdge const& a, SEdge const& b, double ta, double tb) {
  AddEvent(a, ta);
  SplitEdge(a, ta);
  SplitEdge(b, tb);
}

void CEdgeCrossProc::SplitEdge(SEdge const& e, double t) {
  std::vector<double>& ts = m_splits[e.id()];
  auto it = std::lower_bound(ts.begin(), ts.end(), t);
  if (it == ts.end()) {
    ts.push_back(t);
  } else if (std::abs(*it - t) >= tol::kFltEps) {
    ts.insert(it, t);
  }
}

void SplitAtCrossings(sba_detail::CEvents const& events, sba_detail::CSplitTable& splits) {
  sba_detail::CEvents copy(events);
  CEdgeCrossProc proc(copy, splits);
  proc.Run();
}

}  // namespace Math
