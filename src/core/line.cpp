#include <math/line.h>

#include <algorithm>
#include <cmath>

#include "core/angle_impl.h"
#include "core/geom_impl.h"
#include "core/tolerance.h"

namespace Math {
namespace {

using tol::kEps;
using tol::kFltEps;

using geom_detail::kHalfPi;
using geom_detail::kPi;

// The point at parameter t, exact at both ends so that a clip which keeps an
// end hands back the caller's point bit for bit.
CPointD At(CEdge const& e, double t) {
  if (t == 0.0) return e.p0;
  if (t == 1.0) return e.p1;
  return e.p0 + (e.p1 - e.p0) * t;
}

double Clamp01(double t) { return std::min(std::max(t, 0.0), 1.0); }

// Shared tail of both ClipEdge overloads. A NaN parameter (NaN input, or the
// NaN t of a zero-length edge) fails the span test and leaves e as it was.
bool ClipToSpan(CEdge& e, double t0, double t1) {
  double const a = Clamp01(t0);
  double const b = Clamp01(t1);
  double const lo = std::min(a, b);
  double const hi = std::max(a, b);
  if (!(hi - lo >= kEps)) return false;
  CEdge const clipped{At(e, lo), At(e, hi)};
  e = clipped;
  return true;
}

}  // namespace

// ---------------------------------------------------------------- CLine

CLine::CLine(CPointD const& p, double angle)
    : m_cosP(std::cos(angle)), m_sinP(std::sin(angle)), m_rho(p.x * m_cosP + p.y * m_sinP) {}

CLine::CLine(CPointD const& p1, CPointD const& p2) {
  CPointD const d = p2 - p1;
  double const len = std::hypot(d.x, d.y);
  if (len < kEps) throw CBadOp{};
  // Normal (d.y, -d.x): the direction runs from p2 back to p1. Callers rely
  // on the sign of Value this gives, so it is not "fixed" to (-d.y, d.x).
  m_cosP = d.y / len;
  m_sinP = -d.x / len;
  m_rho = p1.x * m_cosP + p1.y * m_sinP;
}

CLine::CLine(CLinForm const& f) {
  double const len = std::hypot(f.a, f.b);
  if (len < kEps) throw CBadOp{};
  m_cosP = f.a / len;
  m_sinP = f.b / len;
  m_rho = -f.c / len;
}

double CLine::X(double y) const {
  if (std::abs(m_cosP) < kEps) throw CBadOp{};
  return (m_rho - m_sinP * y) / m_cosP;
}

double CLine::Y(double x) const {
  if (std::abs(m_sinP) < kEps) throw CBadOp{};
  return (m_rho - m_cosP * x) / m_sinP;
}

bool CLine::Valid() const { return std::hypot(m_cosP, m_sinP) >= kEps; }

// ------------------------------------------------------- line functions

CLine OrthoLine(CLine const& l, CPointD const& p) {
  return CLine(-l.sinP(), l.cosP(), -l.sinP() * p.x + l.cosP() * p.y);
}

bool LineToLine(CLine const& l1, CLine const& l2, CPointD& out) {
  double const det = l1.cosP() * l2.sinP() - l2.cosP() * l1.sinP();
  // Written as "not beyond" so that a NaN determinant fails too.
  if (!(std::abs(det) >= kEps)) return false;
  double const x = (l1.rho() * l2.sinP() - l2.rho() * l1.sinP()) / det;
  double const y = (l2.rho() * l1.cosP() - l2.cosP() * l1.rho()) / det;
  if (!std::isfinite(x) || !std::isfinite(y)) return false;
  out = CPointD{x, y};
  return true;
}

bool LineToRect(CLine const& l, CRectD const& r, CPointD* out) {
  if (out == nullptr) return false;
  CPointD found[2];
  int n = 0;
  // The vertical sides first; a corner met here is met again by a
  // horizontal side below and then returned twice, which callers accept.
  if (std::abs(l.sinP()) >= kEps) {
    double y = l.Y(r.left);
    if (tol::GeWithin(y, r.top) && tol::LeWithin(y, r.bottom)) found[n++] = CPointD{r.left, y};
    y = l.Y(r.right);
    if (tol::GeWithin(y, r.top) && tol::LeWithin(y, r.bottom)) found[n++] = CPointD{r.right, y};
  }
  if (n < 2 && std::abs(l.cosP()) >= kEps) {
    double x = l.X(r.top);
    if (tol::GeWithin(x, r.left) && tol::LeWithin(x, r.right)) found[n++] = CPointD{x, r.top};
    if (n < 2) {
      x = l.X(r.bottom);
      if (tol::GeWithin(x, r.left) && tol::LeWithin(x, r.right)) found[n++] = CPointD{x, r.bottom};
    }
  }
  // Only a full pair is written, so a miss leaves the caller's buffer alone.
  if (n != 2) return false;
  out[0] = found[0];
  out[1] = found[1];
  return true;
}

// ------------------------------------------------------------ CPtToEdge

CPtToEdge::CPtToEdge(CEdge const& e, CPointD const& p) : edge(e), point(p) {
  CPointD const d = e.p1 - e.p0;
  double const len = std::hypot(d.x, d.y);
  if (len < kEps) {
    // No direction: the distance to the point edge, and a parameter that is
    // the all-ones NaN on purpose (the tolerant range tests let it pass).
    dist = std::hypot(p.x - e.p0.x, p.y - e.p0.y);
    t = tol::BadValue();
    return;
  }
  dist = ((p.x - e.p0.x) * d.y - d.x * (p.y - e.p0.y)) / len;
  t = (d.x * (p.x - e.p0.x) + d.y * (p.y - e.p0.y)) / (len * len);
}

// ---------------------------------------------------------- CLineToEdge

boost::optional<std::pair<CPointD, double>> CLineToEdge::CrossData() const {
  double const val0 = m_line.Value(m_edge.p0);
  // p0 wins even when the whole edge lies on the line.
  if (std::abs(val0) < kEps) return std::make_pair(m_edge.p0, 0.0);
  double const val1 = m_line.Value(m_edge.p1);
  if (std::abs(val1) < kEps) return std::make_pair(m_edge.p1, 1.0);
  if (!(val0 * val1 < 0.0)) return boost::none;
  // With an unnormalised line the ends can lie on opposite sides of an
  // edge shorter than EPS; there is no edge line then, and no crossing.
  CPointD const d = m_edge.p1 - m_edge.p0;
  if (std::hypot(d.x, d.y) < kEps) return boost::none;
  CPointD pt{};
  if (!LineToLine(m_line, CLine(m_edge.p0, m_edge.p1), pt)) return boost::none;
  return std::make_pair(pt, CPtToEdge(m_edge, pt).t);
}

// ---------------------------------------------------------- CEdgeToEdge

bool CEdgeToEdge::HasCross() const {
  CPointD const& P0 = m_e1.p0;
  CPointD const& P1 = m_e1.p1;
  CPointD const& Q0 = m_e2.p0;
  CPointD const& Q1 = m_e2.p1;

  if (tol::GtBeyond(std::min(P0.x, P1.x), std::max(Q0.x, Q1.x))) return false;
  if (tol::LtBeyond(std::max(P0.x, P1.x), std::min(Q0.x, Q1.x))) return false;
  if (tol::LtBeyond(std::max(Q0.y, Q1.y), std::min(P0.y, P1.y))) return false;
  if (tol::LtBeyond(std::max(P0.y, P1.y), std::min(Q0.y, Q1.y))) return false;

  // Products of two cross products, compared with an absolute EPS: a
  // product of four coordinate differences, so the tolerance shrinks
  // relative to the edges' size. Kept as callers calibrated it.
  double const c1 = ((Q1.x - P0.x) * (P1.y - P0.y) - (Q1.y - P0.y) * (P1.x - P0.x)) *
                    ((P1.y - P0.y) * (Q0.x - P0.x) - (Q0.y - P0.y) * (P1.x - P0.x));
  double const c2 = ((P1.x - Q0.x) * (Q1.y - Q0.y) - (P1.y - Q0.y) * (Q1.x - Q0.x)) *
                    ((Q1.y - Q0.y) * (P0.x - Q0.x) - (P0.y - Q0.y) * (Q1.x - Q0.x));
  // Every coordinate enters both products, so a NaN anywhere shows here;
  // without this a NaN edge would "cross" everything.
  if (std::isnan(c1) || std::isnan(c2)) return false;
  if (tol::GtBeyond(c1, 0.0)) return false;
  return !tol::GtBeyond(c2, 0.0);
}

CEdgeToEdge::CParams CEdgeToEdge::CrossData(bool bounded) const {
  CPointD const& P0 = m_e1.p0;
  CPointD const& P1 = m_e1.p1;
  CPointD const& Q0 = m_e2.p0;
  CPointD const& Q1 = m_e2.p1;

  double const den = (P1.y - P0.y) * (Q1.x - Q0.x) - (Q1.y - Q0.y) * (P1.x - P0.x);
  double const na = (Q0.y - P0.y) * (Q1.x - Q0.x) - (Q0.x - P0.x) * (Q1.y - Q0.y);
  double const nb = (Q0.y - P0.y) * (P1.x - P0.x) - (Q0.x - P0.x) * (P1.y - P0.y);

  if (std::abs(den) >= kFltEps) {
    double const ta = na / den;
    double const tb = nb / den;
    if (!bounded) return std::make_pair(ta, tb);
    if (tol::GeWithin(ta, 0.0) && tol::LeWithin(ta, 1.0) && tol::GeWithin(tb, 0.0) && tol::LeWithin(tb, 1.0))
      return std::make_pair(ta, tb);
    return boost::none;
  }
  // Parallel and apart, or a NaN somewhere (every branch test fails).
  if (!(std::abs(den) < kFltEps && std::abs(na) < kFltEps && std::abs(nb) < kFltEps)) return boost::none;

  // Collinear: report one shared point, trying Q0, Q1, P0, P1 in turn. The
  // range test is written as "not outside", so the NaN parameter of a
  // zero-length edge passes it.
  double t = CPtToEdge(m_e1, Q0).t;
  if (!bounded || tol::InUnitWithin(t)) return std::make_pair(t, 0.0);
  t = CPtToEdge(m_e1, Q1).t;
  if (tol::InUnitWithin(t)) return std::make_pair(t, 1.0);
  double s = CPtToEdge(m_e2, P0).t;
  if (tol::InUnitWithin(s)) return std::make_pair(0.0, s);
  s = CPtToEdge(m_e2, P1).t;
  if (tol::InUnitWithin(s)) return std::make_pair(1.0, s);
  return boost::none;
}

boost::optional<CPointD> CEdgeToEdge::CrossPoint() const {
  CParams const c = CrossData(true);
  if (!c) return boost::none;
  return m_e1.p0 + (m_e1.p1 - m_e1.p0) * c->first;
}

bool CEdgeToEdge::IsEndCross(CParams const& cross) {
  if (!cross) return false;
  // Rejects only a parameter clearly away from both ends: one exactly EPS
  // from an end still counts, and so does the NaN parameter a zero-length
  // edge gives (no comparison with it holds).
  auto const inside = [](double t) { return std::abs(t) > kEps && std::abs(t - 1.0) > kEps; };
  return !inside(cross->first) && !inside(cross->second);
}

bool CEdgeToEdge::IsParallel(double tol) const { return tol::LeWithin(MinAngle(), tol); }

double CEdgeToEdge::MinAngle() const {
  double const a1 = angle_detail::VectorAngle(m_e1.p1 - m_e1.p0);
  double const a2 = angle_detail::VectorAngle(m_e2.p1 - m_e2.p0);
  double d = a1 - a2;
  // The fold below only terminates on a number.
  if (std::isnan(d)) return tol::BadValue();
  // Fold the difference of two angles in [-pi, pi] into [0, pi/2]; a value
  // within EPS of pi/2 is taken as it is rather than folded to -pi/2.
  for (;;) {
    d = std::abs(d);
    if (std::abs(d - kHalfPi) < kEps) return d;
    if (d <= kHalfPi) return d;
    d -= kPi;
  }
}

double CEdgeToEdge::Distance() const {
  CPointD const& P0 = m_e1.p0;
  CPointD const& P1 = m_e1.p1;
  CPointD Q0 = m_e2.p0;
  CPointD Q1 = m_e2.p1;
  // Face the second edge the way of the first so the quadrilateral does
  // not cross itself.
  if (std::abs(angle_detail::SignedAngle(P1 - P0, Q1 - Q0)) > kHalfPi) std::swap(Q0, Q1);

  CPointD const quad[5] = {P0, Q0, Q1, P1, P0};
  double twiceArea = 0.0;
  for (int i = 0; i < 4; ++i) twiceArea += quad[i].x * quad[i + 1].y - quad[i].y * quad[i + 1].x;
  double const area = 0.5 * twiceArea;
  double const meanLen = 0.5 * (std::hypot(P1.x - P0.x, P1.y - P0.y) + std::hypot(Q1.x - Q0.x, Q1.y - Q0.y));
  return std::abs(area) / meanLen;
}

// ------------------------------------------------------- edge and circle

int EdgeToCircle(CEdge const& e, CPointD const& c, double r, double* t, bool unbounded) {
  if (t == nullptr) return 0;
  CPtToEdge const pe(e, c);
  double const q = r * r - pe.dist * pe.dist;
  // "Not at least zero" also turns away a NaN radius or centre.
  if (!(q >= 0.0)) return 0;
  double const h = std::sqrt(q);
  double const len = std::hypot(e.p0.x - e.p1.x, e.p0.y - e.p1.y);
  double const ts[2] = {pe.t + h / len, pe.t - h / len};
  if (unbounded) {
    t[0] = ts[0];
    t[1] = ts[1];
    return 2;
  }
  int n = 0;
  for (double v : ts) {
    if (tol::InUnitWithin(v)) t[n++] = v;
  }
  return n;
}

bool ClipEdge(CEdge& e, CPointD const& c, double r) {
  double t[2];
  if (EdgeToCircle(e, c, r, t, true) == 0) return false;
  return ClipToSpan(e, t[0], t[1]);
}

bool ClipEdge(CEdge& e, CRectD const& r) {
  CLine const l(e.p0, e.p1);
  CPointD border[2];
  if (!LineToRect(l, r, border)) return false;
  return ClipToSpan(e, CPtToEdge(e, border[0]).t, CPtToEdge(e, border[1]).t);
}

// ------------------------------------------------------------ bisectors

CEdge BisectEdge(CPointD const& a, CPointD const& b, CPointD const& c) {
  CPolarVector const u(c - b);
  CPolarVector const v(a - b);
  double const m = std::max(u.length, v.length);
  // Both arms stretched to the longer one, so the sum halves the angle.
  CPolarVector const s(CPointD{(u.dx + v.dx) * m, (u.dy + v.dy) * m});
  if (std::abs(s.length) < kEps || s.length <= 0.0) {
    // A straight angle (or no angle at all): the arms cancel and the
    // bisector is the normal of the incoming arm.
    CPointD const n = CLine(a, b).Normal();
    return CEdge{b, b + n};
  }
  return CEdge{b, b + s};
}

CLine BisectLine(CPointD const& a, CPointD const& b, CPointD const& c) {
  CEdge const e = BisectEdge(a, b, c);
  return CLine(e.p0, e.p1);
}

CLine BisectLine(CPointD const& a, CPointD const& b) { return OrthoLine(CLine(a, b), (a + b) / 2.0); }

}  // namespace Math
