#include <math/rectangle.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include <math/line.h>
#include <math/moments.h>
#include <math/polyortho.h>
#include <math/ptstat.h>

#include "core/angle_impl.h"
#include "core/tolerance.h"

namespace Math {
namespace {

constexpr double kQuarterPi = 0.7853981633974483;
constexpr double kHalfPi = 1.5707963267948966;
// The two golden-section ratios; they are stored with different roundings
// on purpose, so that the interior points land where they always have.
constexpr double kGoldenLow = 0.3819660113;
constexpr double kGoldenHigh = 0.6180339886999999;
constexpr int kGoldenEvaluations = 20;

bool AllFinite(CPointD const* pts, unsigned n) {
  for (unsigned i = 0; i < n; ++i)
    if (!std::isfinite(pts[i].x) || !std::isfinite(pts[i].y)) return false;
  return true;
}

// Axis of largest spread of a covariance, the same rule as the line fits use.
bool PrincipalDirection(double cxx, double cxy, double cyy, double& theta) {
  if (std::abs(cxy) >= tol::kEps) {
    double const half = (cyy - cxx) / 2;
    double const h = std::hypot(half, cxy);
    theta = std::atan((h + half) / cxy);
    return true;
  }
  if (tol::GtBeyond(cxx, cyy)) {
    theta = 0;
    return true;
  }
  if (tol::GtBeyond(cyy, cxx)) {
    theta = kHalfPi;
    return true;
  }
  return false;
}

bool Degenerate(CAreaMoments2 const& m) { return std::abs(m.dMu20) < tol::kEps && std::abs(m.dMu02) < tol::kEps; }

// Largest Distance from the rectangle turned to `angle` to any point.
double Cost(CRectangle r, double angle, CPointD const* pts, unsigned n) {
  r.SetAngle(angle);
  double worst = 0;
  for (unsigned i = 0; i < n; ++i) worst = std::max(worst, r.Distance(pts[i]));
  return worst;
}

}  // namespace

CRectangle::CRectangle(CPointD const& c, double hw, double hh, double angle)
    : m_c(c), m_hw(std::abs(hw)), m_hh(std::abs(hh)), m_cos(std::cos(angle)), m_sin(std::sin(angle)) {}

CRectangle::CRectangle(CRectD const& r, bool widthLonger)
    : m_c{(r.left + r.right) / 2, (r.top + r.bottom) / 2},
      m_hw(std::abs(r.right - r.left) / 2),
      m_hh(std::abs(r.bottom - r.top) / 2),
      m_cos(1),
      m_sin(0) {
  if (widthLonger && m_hw < m_hh) SwapSides();
}

double CRectangle::Hypot() const { return 4.0 * std::hypot(m_hw, m_hh); }

double CRectangle::Angle() const { return angle_detail::VectorAngle({m_cos, m_sin}); }

void CRectangle::SetAngle(double a) {
  m_cos = std::cos(a);
  m_sin = std::sin(a);
}

void CRectangle::SetWidth(double w) { m_hw = std::abs(w) / 2; }
void CRectangle::SetHeight(double h) { m_hh = std::abs(h) / 2; }

void CRectangle::Rotate(double a) {
  if (!(std::abs(a) >= tol::kEps)) return;
  double const c = std::cos(a), s = std::sin(a);
  double const nc = m_cos * c - m_sin * s;
  double const ns = m_sin * c + m_cos * s;
  m_cos = nc;
  m_sin = ns;
}

void CRectangle::SwapSides() {
  std::swap(m_hw, m_hh);
  double const c = m_cos;
  m_cos = m_sin;
  m_sin = -c;
}

double CRectangle::Excess() const {
  if (tol::LtBeyond(m_hw, m_hh)) return m_hw / m_hh;
  return m_hw > 0 ? m_hh / m_hw : 0.0;
}

bool CRectangle::IsValid() const {
  return m_hw >= tol::kEps && m_hh >= tol::kEps && (std::abs(m_cos) >= tol::kEps || std::abs(m_sin) >= tol::kEps);
}

CPolarVector CRectangle::Vector(bool alongWidth) const {
  CPolarVector v;
  if (alongWidth) {
    v.dx = m_cos;
    v.dy = m_sin;
    v.length = m_hw;
  } else {
    v.dx = -m_sin;
    v.dy = m_cos;
    v.length = std::abs(m_hh);
  }
  return v;
}

CEdge CRectangle::Axial(bool alongWidth) const {
  CPolarVector const v = Vector(alongWidth);
  CPointD const d{v.dx * v.length, v.dy * v.length};
  return {m_c - d, m_c + d};
}

std::pair<CEdge, CEdge> CRectangle::Edges(bool alongWidth) const {
  CEdge const a = Axial(alongWidth);
  CPolarVector const v = Vector(!alongWidth);
  CPointD const d{v.dx * v.length, v.dy * v.length};
  return {CEdge{a.p0 + d, a.p1 + d}, CEdge{a.p0 - d, a.p1 - d}};
}

bool CRectangle::CalcVertices(CPointD* out) const {
  if (!IsValid()) return false;
  CPointD const U{m_hw * m_cos, m_hw * m_sin};
  CPointD const V{-m_hh * m_sin, m_hh * m_cos};
  out[0] = m_c - U - V;
  out[1] = m_c + U - V;
  out[2] = m_c + U + V;
  out[3] = m_c - U + V;
  return true;
}

double CRectangle::Distance(CPointD const& p) const {
  if (!IsValid()) return 0.0;
  double const dx = p.x - m_c.x, dy = p.y - m_c.y;
  double const a = std::abs(m_cos * dx + m_sin * dy);
  double const b = std::abs(m_cos * dy - m_sin * dx);
  bool const outA = tol::GtBeyond(a, m_hw);
  bool const outB = tol::GtBeyond(b, m_hh);
  if (outA && outB) return std::hypot(a - m_hw, b - m_hh);
  if (outA) return a - m_hw;
  if (outB) return b - m_hh;
  // Within 1e-12 outside a side counts as on it: never a tiny negative.
  return std::max(0.0, std::min(m_hw - a, m_hh - b));
}

bool CRectangle::IsInside(CPointD const& p) const {
  if (!IsValid()) return false;
  double const dx = p.x - m_c.x, dy = p.y - m_c.y;
  double const a = std::abs(m_cos * dx + m_sin * dy);
  double const b = std::abs(m_cos * dy - m_sin * dx);
  return tol::LeWithin(a, m_hw) && tol::LeWithin(b, m_hh);
}

double CRectangle::SizeDiff(CSizeD const& s) const {
  double const W = Width(), H = Height();
  double const sx = std::abs(s.cx), sy = std::abs(s.cy);
  return std::min(std::max(std::abs(H - sy), std::abs(W - sx)), std::max(std::abs(H - sx), std::abs(W - sy)));
}

void CRectangle::Adjust(CSizeD const& s) {
  double const a = std::abs(s.cx) / 2, b = std::abs(s.cy) / 2;
  double const straight = std::max(std::abs(m_hw - a), std::abs(m_hh - b));
  double const crossed = std::max(std::abs(m_hw - b), std::abs(m_hh - a));
  if (crossed < straight) {
    m_hw = b;
    m_hh = a;
  } else {
    m_hw = a;
    m_hh = b;
  }
}

bool CRectangle::Extend(CPointD const* pts, unsigned int n) {
  if (!IsValid()) {
    CRectangle const r = MakeRectangle(pts, n, false);
    if (!r.IsValid()) return false;
    *this = r;
  }
  double umin = -m_hw, umax = m_hw, vmin = -m_hh, vmax = m_hh;
  for (unsigned i = 0; pts != nullptr && i < n; ++i) {
    double const dx = pts[i].x - m_c.x, dy = pts[i].y - m_c.y;
    double const u = m_cos * dx + m_sin * dy;
    double const v = m_cos * dy - m_sin * dx;
    if (u < umin) umin = u;
    else if (u > umax) umax = u;
    if (v < vmin) vmin = v;
    else if (v > vmax) vmax = v;
  }
  double const mu = (umin + umax) / 2, mv = (vmin + vmax) / 2;
  m_c = m_c + CPointD{m_cos * mu - m_sin * mv, m_sin * mu + m_cos * mv};
  m_hw = (umax - umin) / 2 + tol::kFltEps;
  m_hh = (vmax - vmin) / 2 + tol::kFltEps;
  return true;
}

bool CRectangle::Shrink(CPointD const* pts, unsigned int n) {
  if (pts == nullptr) return false;
  double umin = tol::kFltMax, umax = -tol::kFltMax, vmin = tol::kFltMax, vmax = -tol::kFltMax;
  bool any = false;
  for (unsigned i = 0; i < n; ++i) {
    if (!std::isfinite(pts[i].x) || !std::isfinite(pts[i].y)) continue;
    double const dx = pts[i].x - m_c.x, dy = pts[i].y - m_c.y;
    double const u = m_cos * dx + m_sin * dy;
    double const v = m_cos * dy - m_sin * dx;
    umin = std::min(umin, u);
    umax = std::max(umax, u);
    vmin = std::min(vmin, v);
    vmax = std::max(vmax, v);
    any = true;
  }
  if (!any) return false;
  umin = std::max(umin, -m_hw);
  umax = std::min(umax, m_hw);
  vmin = std::max(vmin, -m_hh);
  vmax = std::min(vmax, m_hh);
  if (umin > umax || vmin > vmax) return false;
  double const mu = (umin + umax) / 2, mv = (vmin + vmax) / 2;
  m_c = m_c + CPointD{m_cos * mu - m_sin * mv, m_sin * mu + m_cos * mv};
  m_hw = (umax - umin) / 2;
  m_hh = (vmax - vmin) / 2;
  return true;
}

CRectangle& CRectangle::operator+=(CPointD const& d) {
  m_c += d;
  return *this;
}

CRectangle& CRectangle::operator-=(CPointD const& d) {
  m_c -= d;
  return *this;
}

CRectangle& CRectangle::operator*=(double f) {
  m_hw *= std::abs(f);
  m_hh *= std::abs(f);
  return *this;
}

CRectangle& CRectangle::operator*=(CSizeD const& s) {
  m_hw *= std::abs(s.cx);
  m_hh *= std::abs(s.cy);
  return *this;
}

// ---------------------------------------------------------------------------

CRectangle MinAreaRectangle(CPointD const* pts, unsigned int n, bool isConvex) {
  if (pts == nullptr || n == 0 || !AllFinite(pts, n)) return {};
  std::vector<CPointD> h(pts, pts + n);
  if (!isConvex) ConvexHull(h);
  auto dist = [](CPointD const& a, CPointD const& b) { return std::hypot(b.x - a.x, b.y - a.y); };
  if (h.size() == 2 || (h.size() == 3 && dist(h[0], h[2]) < tol::kEps)) {
    CPointD const d = h[1] - h[0];
    CRectangle r((h[0] + h[1]) * 0.5, dist(h[0], h[1]) / 2, 0.0, 0.0);
    if (r.Width() / 2 >= tol::kEps)
      r.SetAngle(std::atan2(d.y, d.x));
    else
      r = CRectangle();
    return r;
  }
  if (h.size() > 1 && dist(h.front(), h.back()) < tol::kEps) h.pop_back();
  std::size_t const m = h.size();
  if (m < 3) return {};

  // Edge directions and their inverse lengths; the sense of the polygon
  // from its first turn decides which side of an edge is inside.
  std::vector<CPointD> e(m);
  std::vector<double> inv(m);
  for (std::size_t i = 0; i < m; ++i) {
    e[i] = h[(i + 1) % m] - h[i];
    double const l = std::hypot(e[i].x, e[i].y);
    inv[i] = l > 0 ? 1.0 / l : 0.0;
  }
  double sense = 0.0;
  for (std::size_t i = 0; i < m; ++i) {
    double const c = e[i].x * e[(i + 1) % m].y - e[i].y * e[(i + 1) % m].x;
    if (std::abs(c) >= tol::kEps) {
      sense = c > 0 ? 1.0 : -1.0;
      break;
    }
  }
  // A thin hull (a long edge beside a short one) can turn by less than the
  // tolerance at every vertex; its signed area still tells the sense, and
  // guessing wrong measures every width on the outside of its edge.
  if (sense == 0.0) {
    double area2 = 0.0;
    for (std::size_t i = 0; i < m; ++i) area2 += h[i].x * h[(i + 1) % m].y - h[(i + 1) % m].x * h[i].y;
    sense = area2 < 0 ? -1.0 : 1.0;
  }
  auto along = [&](std::size_t k, CPointD const& d) { return h[k % m].x * d.x + h[k % m].y * d.y; };
  // Supports: farthest ahead along the edge, farthest behind, farthest
  // across. They only move forward as the edge turns, so all of them
  // together walk the hull a bounded number of times.
  std::size_t iMax = 0, iMin = 0, iTop = 0;
  bool started = false;
  bool have = false;
  double bestArea = 0;
  CPointD bestCorner{0, 0}, bestSide1{0, 0}, bestSide2{0, 0};
  for (std::size_t i = 0; i < m; ++i) {
    if (inv[i] == 0) continue;
    CPointD const d = e[i] * inv[i];
    CPointD const nrm = CPointD{-d.y, d.x} * sense;
    if (!started) {
      for (std::size_t k = 0; k < m; ++k) {
        if (along(k, d) > along(iMax, d)) iMax = k;
        if (along(k, d) < along(iMin, d)) iMin = k;
        if (along(k, nrm) > along(iTop, nrm)) iTop = k;
      }
      started = true;
    } else {
      for (std::size_t s = 0; s < m && along(iMax + 1, d) >= along(iMax, d); ++s) iMax = (iMax + 1) % m;
      for (std::size_t s = 0; s < m && along(iMin + 1, d) <= along(iMin, d); ++s) iMin = (iMin + 1) % m;
      for (std::size_t s = 0; s < m && along(iTop + 1, nrm) >= along(iTop, nrm); ++s) iTop = (iTop + 1) % m;
    }
    double const lo = along(iMin, d), hi = along(iMax, d);
    double const base = along(i, nrm), top = along(iTop, nrm);
    double const area = (hi - lo) * (top - base);
    if (!have || area < bestArea) {
      have = true;
      bestArea = area;
      bestCorner = h[i] + d * (lo - along(i, d));
      bestSide1 = d * (hi - lo);
      bestSide2 = nrm * (top - base);
    }
  }
  if (!have) return {};
  CPointD const c = bestCorner + (bestSide1 + bestSide2) * 0.5;
  CRectangle r(c, std::hypot(bestSide1.x, bestSide1.y) / 2, std::hypot(bestSide2.x, bestSide2.y) / 2,
               std::atan2(bestSide1.y, bestSide1.x));
  if (r.Width() < r.Height()) r.SwapSides();
  return r;
}

CRectangle MakeRectangle(CPointD const* pts, unsigned int n, bool useHull) {
  if (pts == nullptr || n == 0 || !AllFinite(pts, n)) return {};
  CAreaMoments2 m(pts, n);
  if (Degenerate(m)) {
    if (!useHull) return {};
    std::vector<CPointD> h(pts, pts + n);
    ConvexHull(h);
    m = CAreaMoments2(h.data(), static_cast<unsigned>(h.size()));
    if (Degenerate(m)) return {};
  }
  double theta = 0;
  if (!PrincipalDirection(m.dMu20, m.dMu11, m.dMu02, theta)) theta = 0;
  double const c = std::cos(theta), s = std::sin(theta);
  double const iu = c * c * m.dMu20 + 2 * c * s * m.dMu11 + s * s * m.dMu02;
  double const iv = s * s * m.dMu20 - 2 * c * s * m.dMu11 + c * c * m.dMu02;
  if (!(iu > 0) || !(iv > 0)) return {};
  double const hw = std::sqrt(0.5 * std::sqrt(3 * iu * std::sqrt(iu / iv)));
  double const hh = std::sqrt(0.5 * std::sqrt(3 * iv * std::sqrt(iv / iu)));
  return CRectangle(CPointD{m.dCx, m.dCy}, hw, hh, theta);
}

CRectangle ExtentRectangle(CPointD const* pts, unsigned int n, double angle) {
  if (pts == nullptr || n == 0 || !std::isfinite(angle)) return {};
  CLine const l1(pts[0], angle);
  CLine const l2 = OrthoLine(l1, pts[0]);
  double min1 = tol::kFltMax, max1 = -tol::kFltMax, min2 = tol::kFltMax, max2 = -tol::kFltMax;
  for (unsigned i = 0; i < n; ++i) {
    double const a = l1.Value(pts[i]);
    double const b = l2.Value(pts[i]);
    if (a < min1) min1 = a;
    else if (a > max1) max1 = a;
    if (b < min2) min2 = b;
    else if (b > max2) max2 = b;
  }
  CPointD const dir{std::cos(angle), std::sin(angle)};
  CPointD const c = pts[0] + dir * ((min1 + max1) / 2) + l2.Normal() * ((min2 + max2) / 2);
  return CRectangle(c, std::abs(max1 - min1) / 2, std::abs(max2 - min2) / 2, angle);
}

CRectangle ExtentRectangle(CPointD const* pts, unsigned int n) {
  if (pts == nullptr || n == 0) return {};
  CRectangle r = MakeRectangle(pts, n, false);
  if (r.IsValid()) {
    r.Extend(pts, n);
    return r;
  }
  CRectD box{tol::kFltMax, tol::kFltMax, -tol::kFltMax, -tol::kFltMax};
  bool any = false;
  for (unsigned i = 0; i < n; ++i) {
    if (!std::isfinite(pts[i].x) || !std::isfinite(pts[i].y)) continue;
    box.left = std::min(box.left, pts[i].x);
    box.right = std::max(box.right, pts[i].x);
    box.top = std::min(box.top, pts[i].y);
    box.bottom = std::max(box.bottom, pts[i].y);
    any = true;
  }
  return any ? CRectangle(box, false) : CRectangle();
}

bool AdjustRectangle(CRectangle& r, CPointD const* pts, unsigned int n) {
  double a;
  if (!PolyOrthoDir(pts, n, a)) return false;
  double const cand[3] = {r.Angle(), a, a + kHalfPi};
  double best = cand[0];
  double bestCost = Cost(r, cand[0], pts, n);
  for (int i = 1; i < 3; ++i) {
    double const c = Cost(r, cand[i], pts, n);
    if (c < bestCost) {
      bestCost = c;
      best = cand[i];
    }
  }
  r.SetAngle(best);
  return true;
}

void OptimizeRectangle(CRectangle& r, CPointD const* pts, unsigned int n, double tol) {
  if (pts == nullptr || n == 0 || !r.IsValid()) return;
  double const a = r.Angle();
  double bestAngle = a;
  double bestCost = Cost(r, a, pts, n);
  auto search = [&](double lo) {
    double hi = lo + kQuarterPi;
    double x1 = lo + kGoldenLow * (hi - lo);
    double x2 = lo + kGoldenHigh * (hi - lo);
    double f1 = Cost(r, x1, pts, n);
    double f2 = Cost(r, x2, pts, n);
    int evals = 2;
    while (hi - lo > tol && evals < kGoldenEvaluations) {
      if (f1 < f2) {
        hi = x2;
        x2 = x1;
        f2 = f1;
        x1 = lo + kGoldenLow * (hi - lo);
        f1 = Cost(r, x1, pts, n);
      } else {
        lo = x1;
        x1 = x2;
        f1 = f2;
        x2 = lo + kGoldenHigh * (hi - lo);
        f2 = Cost(r, x2, pts, n);
      }
      ++evals;
    }
    double const x = f1 <= f2 ? x1 : x2;
    double const f = std::min(f1, f2);
    if (f < bestCost) {
      bestCost = f;
      bestAngle = x;
    }
  };
  search(a);
  // A near-square has a second near-minimum a quarter turn away, so the
  // other side of the start is searched too.
  if (r.Excess() >= tol::kRectSquarish) search(a - kQuarterPi);
  r.SetAngle(bestAngle);
}

}  // namespace Math
