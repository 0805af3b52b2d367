#include <math/plgnoperator.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "polygon/plgnoperator_impl.h"

namespace Math {
namespace plgn_detail {
namespace {

bool Bit(CFlags const& f, unsigned b) { return f.Test(b); }

void Append(CStdPlgn& dst, CStdPlgn const& src, bool reversed) {
  for (auto const& c : src) {
    dst.push_back(c);
    if (reversed) std::reverse(dst.back().begin(), dst.back().end());
  }
}

}  // namespace

bool CNormA::Shortcut(CFlags const& f, CStdPlgn const& a, CStdPlgn const&, CStdPlgn& r) const {
  if (Bit(f, 0) || Bit(f, 1)) return false;
  r = a;
  return true;
}
bool CNormA::KeepEdge(std::pair<int, int> c, int k) const { return k == 3 && c.first != 0; }
bool CNormA::Inside(unsigned m) const { return (m & 1u) != 0; }

bool CNormB::Shortcut(CFlags const& f, CStdPlgn const&, CStdPlgn const& b, CStdPlgn& r) const {
  if (Bit(f, 0) || Bit(f, 1)) return false;
  r = b;
  return true;
}
bool CNormB::KeepEdge(std::pair<int, int> c, int) const { return c.second != 0; }
bool CNormB::Inside(unsigned m) const { return (m & 2u) != 0; }

bool CCross::Shortcut(CFlags const& f, CStdPlgn const& a, CStdPlgn const& b, CStdPlgn& r) const {
  if (!Bit(f, 0)) r.clear();
  else if (Bit(f, 3)) r = a;
  else if (Bit(f, 4)) r = b;
  else return false;
  return true;
}
bool CCross::KeepEdge(std::pair<int, int> c, int k) const {
  return k == 1 || (k == 2 && c.first * c.second > 0);
}
bool CCross::Inside(unsigned m) const { return m == 3; }

bool CUnion::Shortcut(CFlags const& f, CStdPlgn const& a, CStdPlgn const& b, CStdPlgn& r) const {
  if (!Bit(f, 0) && !Bit(f, 1)) {
    r = a;
    Append(r, b, false);
  } else if (Bit(f, 3)) {
    r = b;
  } else if (Bit(f, 4)) {
    r = a;
  } else {
    return false;
  }
  return true;
}
bool CUnion::KeepEdge(std::pair<int, int> c, int k) const {
  return k == 3 || (k == 2 && c.first * c.second > 0);
}
bool CUnion::Inside(unsigned m) const { return (m & 3u) != 0; }

bool CAnotB::Shortcut(CFlags const& f, CStdPlgn const& a, CStdPlgn const&, CStdPlgn& r) const {
  if (!Bit(f, 0)) r = a;
  else if (Bit(f, 3)) r.clear();
  else return false;
  return true;
}
bool CAnotB::KeepEdge(std::pair<int, int> c, int k) const {
  return (k == 2 && c.first * c.second < 0) || (k == 3 && c.first != 0) || (k == 1 && c.second != 0);
}
bool CAnotB::Inside(unsigned m) const { return (m & 1u) != 0 && (m & 2u) == 0; }

bool CBnotA::Shortcut(CFlags const& f, CStdPlgn const&, CStdPlgn const& b, CStdPlgn& r) const {
  if (!Bit(f, 0)) r = b;
  else if (Bit(f, 4)) r.clear();
  else return false;
  return true;
}
bool CBnotA::KeepEdge(std::pair<int, int> c, int k) const {
  return (k == 2 && c.first * c.second < 0) || (k == 3 && c.second != 0) || (k == 1 && c.first != 0);
}
bool CBnotA::Inside(unsigned m) const { return (m & 2u) != 0 && (m & 1u) == 0; }

bool CAXorB::Shortcut(CFlags const& f, CStdPlgn const& a, CStdPlgn const& b, CStdPlgn& r) const {
  if (Bit(f, 1)) return false;
  r.clear();
  if (!Bit(f, 0)) {
    r = a;
    Append(r, b, false);
  } else if (Bit(f, 3)) {
    r = b;
    Append(r, a, true);
  } else if (Bit(f, 4)) {
    r = a;
    Append(r, b, true);
  }
  return !r.empty();
}
bool CAXorB::KeepEdge(std::pair<int, int> c, int k) const {
  return k >= 1 && k <= 3 && ((std::abs(c.first) + std::abs(c.second)) & 1) == 1;
}
bool CAXorB::Inside(unsigned m) const { return (m & 3u) != 0; }

}  // namespace plgn_detail

namespace {

CStdPlgn const& EmptyPlgn() {
  static CStdPlgn const empty;
  return empty;
}

void Register(plgn_detail::CEngine& engine, CStdPlgn const& p, int tag) {
  for (auto const& c : p) engine.AddContour(c.data(), c.size(), tag);
}

}  // namespace

CPlgnOperator::CPlgnOperator(CStdPlgn const& a, CStdPlgn const& b)
    : m_a(a), m_b(b), m_engine(std::make_unique<plgn_detail::CEngine>()) {
  Register(*m_engine, a, 1);
  Register(*m_engine, b, 2);
  m_flags = m_engine->Flags();
}

CPlgnOperator::CPlgnOperator(CStdPlgn const& a, bool bCheck)
    : m_a(a), m_b(EmptyPlgn()), m_engine(std::make_unique<plgn_detail::CEngine>()) {
  Register(*m_engine, a, 1);
  if (bCheck) m_flags = m_engine->Flags();
  else m_flags.Set(1, m_engine->CheapDefect());
}

CPlgnOperator::~CPlgnOperator() = default;

plgn_detail::COperation* CPlgnOperator::Create(EPlgnOperation op) {
  switch (op) {
    case NormA: return new plgn_detail::CNormA;
    case NormB: return new plgn_detail::CNormB;
    case Cross: return new plgn_detail::CCross;
    case Union: return new plgn_detail::CUnion;
    case AnotB: return new plgn_detail::CAnotB;
    case BnotA: return new plgn_detail::CBnotA;
    case AXorB: return new plgn_detail::CAXorB;
  }
  throw plgn_detail::CBadOp();
}

CStdPlgn CPlgnOperator::operator()(EPlgnOperation op) {
  std::unique_ptr<plgn_detail::COperation> const strategy(Create(op));
  CStdPlgn shortcut;
  if (strategy->Shortcut(m_flags, m_a, m_b, shortcut)) {
    m_result = std::move(shortcut);
    return m_result;
  }
  m_result.clear();
  m_engine->Build(*strategy, m_result);
  return m_result;
}

// ------------------------------------------------------------ multi-union

namespace {

double RingArea(std::vector<CPointD> const& r) {
  double s = 0.0;
  for (std::size_t i = 0, n = r.size(); i < n; ++i) {
    CPointD const& p = r[i];
    CPointD const& q = r[(i + 1) % n];
    s += p.x * q.y - q.x * p.y;
  }
  return 0.5 * s;
}

}  // namespace

CMultiPlgnUnion::CMultiPlgnUnion(bool bCheck) : m_bCheck(bCheck) {}

CMultiPlgnUnion::~CMultiPlgnUnion() = default;

void CMultiPlgnUnion::AddContour(CPointD const* pts, unsigned int count, bool bHole, bool bOriented) {
  if (pts == nullptr || count < 3) return;
  for (unsigned i = 0; i < count; ++i) {
    if (!std::isfinite(pts[i].x) || !std::isfinite(pts[i].y)) return;
  }
  std::vector<CPointD> ring(pts, pts + count);
  bool adds = !bOriented || RingArea(ring) > 0.0;
  if (bHole) adds = !adds;
  if (m_bCheck) {
    // The normalised rings run counter-clockwise around what they enclose
    // and clockwise around holes, so they add exactly the even-odd inside.
    CStdPlgn one;
    one.push_back(Math::poly_base<CPointD>(ring));
    CStdPlgn norm = CPlgnOperator(one, true)(NormA);
    for (auto& c : norm) {
      if (!adds) std::reverse(c.begin(), c.end());
      m_rings.push_back(std::move(c));
    }
    return;
  }
  if ((RingArea(ring) > 0.0) != adds) std::reverse(ring.begin(), ring.end());
  m_rings.push_back(std::move(ring));
}

void CMultiPlgnUnion::AddPolygon(CStdPlgn const& plgn, bool bNormalize) {
  if (!bNormalize) {
    for (auto const& c : plgn) m_rings.push_back(c);
    return;
  }
  CStdPlgn norm = CPlgnOperator(plgn, true)(NormA);
  for (auto& c : norm) m_rings.push_back(std::move(c));
}

CStdPlgn CMultiPlgnUnion::operator()() const {
  plgn_detail::CEngine engine(plgn_detail::CEngine::kPositiveWinding);
  for (auto const& r : m_rings) engine.AddContour(r.data(), r.size(), 1);
  CStdPlgn result;
  engine.Build(plgn_detail::CNormA(), result);
  return result;
}

// ------------------------------------------------------------- structure

CPlgnStructure::CPlgnStructure(CPointD const* pts, int count) : m_engine(std::make_unique<plgn_detail::CEngine>()) {
  if (pts != nullptr && count > 0) m_ring.assign(pts, pts + count);
  if (!m_ring.empty()) m_engine->AddContour(m_ring.data(), m_ring.size(), 1);
}

CPlgnStructure::~CPlgnStructure() = default;

plgn_detail::CFlags CPlgnStructure::CheckSelfCross() const { return m_engine->Flags(false); }

plgn_detail::CFlags CPlgnStructure::CheckOverlap(CPointD const* pts, int count) const {
  plgn_detail::CEngine engine;
  engine.AddContour(m_ring.data(), m_ring.size(), 1);
  if (pts != nullptr && count > 0) engine.AddContour(pts, static_cast<std::size_t>(count), 2);
  else engine.AddContour(nullptr, 0, 2);
  return engine.Flags();
}

}  // namespace Math
