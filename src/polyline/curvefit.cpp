#include <math/curvefit.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>

#include <math/polyapprox.h>

#include "core/tolerance.h"
#include "polyline/curvefit_impl.h"

namespace Math {
namespace curvefit_detail {

bool CleanPolyline(std::vector<CPointD> const& poly, std::vector<CPointD>& v, bool& closed) {
  v.clear();
  v.reserve(poly.size());
  for (CPointD const& p : poly) {
    if (!std::isfinite(p.x) || !std::isfinite(p.y)) return false;
    if (v.empty() || Norm(p - v.back()) >= tol::kEps) v.push_back(p);
  }
  closed = poly.size() > 1 && Norm(poly.front() - poly.back()) < tol::kEps;
  if (closed && v.size() > 1 && Norm(v.front() - v.back()) < tol::kEps) v.pop_back();
  return v.size() >= (closed ? 3u : 2u);
}

std::vector<std::size_t> FindCorners(std::vector<CPointD> const& v, bool closed, double dApprox, double dCornerAngle) {
  std::vector<CPointD> ring(v);
  if (closed) ring.push_back(v.front());
  std::vector<int> idx;
  if (!PolyInflections(ring, dApprox, idx) && idx.empty()) {
    idx.resize(ring.size());
    std::iota(idx.begin(), idx.end(), 0);
  }
  std::vector<std::size_t> corners;
  std::size_t const k = idx.size();
  auto turn = [&](int a, int b, int c) {
    CPointD const u = ring[b] - ring[a], w = ring[c] - ring[b];
    return std::abs(std::atan2(Cross(u, w), Dot(u, w)));
  };
  // A ring's start is a corner candidate too: its chords are the last and
  // the first.
  if (closed && k >= 3 && turn(idx[k - 2], 0, idx[1]) > dCornerAngle) corners.push_back(0);
  for (std::size_t i = 1; i + 1 < k; ++i)
    if (turn(idx[i - 1], idx[i], idx[i + 1]) > dCornerAngle) corners.push_back(static_cast<std::size_t>(idx[i]));
  return corners;
}

namespace {

// One run between corners (or a whole ring without corners), with its
// cumulative arc length and coordinate prefix sums for windowed means. A
// ring is held three times over so that windows can reach across its seam;
// index i of the run is element m_o + i.
class CRun {
 public:
  CRun(std::vector<CPointD> const& v, std::size_t from, std::size_t to, bool cyclic) : m_cyclic(cyclic) {
    std::size_t const n = v.size();
    m_len = cyclic ? n : (to + n - from) % n;
    if (!cyclic && m_len == 0) m_len = n;  // a ring with one corner: the whole way round
    std::size_t const copies = cyclic ? 3 : 1;
    m_o = cyclic ? m_len : 0;
    for (std::size_t c = 0; c < copies; ++c)
      for (std::size_t i = 0; i < m_len + (c + 1 == copies ? 1 : 0); ++i) m_p.push_back(v[(from + i) % n]);
    m_s.assign(m_p.size(), 0.0);
    m_sx.assign(m_p.size() + 1, 0.0);
    m_sy.assign(m_p.size() + 1, 0.0);
    for (std::size_t i = 0; i < m_p.size(); ++i) {
      if (i) m_s[i] = m_s[i - 1] + Norm(m_p[i] - m_p[i - 1]);
      m_sx[i + 1] = m_sx[i] + m_p[i].x;
      m_sy[i + 1] = m_sy[i] + m_p[i].y;
    }
  }

  std::size_t Size() const { return m_len; }
  bool Cyclic() const { return m_cyclic; }
  CPointD const& P(std::size_t i) const { return m_p[m_o + i]; }
  double S(std::size_t i) const { return m_s[m_o + i]; }
  double Length() const { return S(m_len) - S(0); }

  // The point at arc length s (absolute, in the stored copies), clamped to
  // what is stored.
  CPointD At(double s) const {
    if (s <= m_s.front()) return m_p.front();
    // Negated so that a NaN arc length (a tangent window of an overflowing
    // run) clamps too, instead of searching past the end.
    if (!(s < m_s.back())) return m_p.back();
    std::size_t const k = static_cast<std::size_t>(std::upper_bound(m_s.begin(), m_s.end(), s) - m_s.begin());
    double const l = m_s[k] - m_s[k - 1];
    return l > 0 ? m_p[k - 1] + (m_p[k] - m_p[k - 1]) * ((s - m_s[k - 1]) / l) : m_p[k];
  }

  // The direction at vertex i, from the points `w` before and after along
  // the arc: wide enough to see through a pixel staircase. A run's ends look
  // one way only (At clamps), which suits a corner.
  CPointD Tangent(std::size_t i, double w) const {
    double const s = S(i);
    double lo = s - w, hi = s + w;
    if (!m_cyclic) { lo = std::max(lo, S(0)); hi = std::min(hi, S(m_len)); }
    CPointD d = At(hi) - At(lo);
    if (Norm(d) < tol::kEps) d = P(std::min(i + 1, m_len)) - P(i > 0 ? i - 1 : 0);
    return d / Norm(d);
  }

  // The mean of the vertices within `h` of vertex i along the arc: a joint
  // on the staircase's middle rather than on one of its steps. Falls back to
  // the vertex itself when the mean strays more than `limit` from it.
  CPointD Joint(std::size_t i, double h, double limit) const {
    if (!m_cyclic && (i == 0 || i == m_len)) return P(i);
    double const s = S(i);
    double lo = s - h, hi = s + h;
    if (!m_cyclic) { lo = std::max(lo, S(0)); hi = std::min(hi, S(m_len)); }
    auto const a = static_cast<std::size_t>(std::lower_bound(m_s.begin(), m_s.end(), lo) - m_s.begin());
    auto const b = static_cast<std::size_t>(std::upper_bound(m_s.begin(), m_s.end(), hi) - m_s.begin());
    if (b <= a) return P(i);
    double const cnt = static_cast<double>(b - a);
    CPointD const m{(m_sx[b] - m_sx[a]) / cnt, (m_sy[b] - m_sy[a]) / cnt};
    return Norm(m - P(i)) <= limit ? m : P(i);
  }

 private:
  bool m_cyclic;
  std::size_t m_len = 0, m_o = 0;
  std::vector<CPointD> m_p;
  std::vector<double> m_s, m_sx, m_sy;
};

// Least-squares cubic with fixed end points and end directions through the
// run's vertices a..b (Schneider's fit), reparametrised by Newton steps.
class CPieceFitter {
 public:
  CPieceFitter(CRun const& run, double tol) : m_run(run), m_tol(tol) {}

  // True when every vertex a..b lies within the tolerance of the piece from
  // j0 (leaving along t0) to j1 (arriving along t1); `out` gets the piece.
  bool Fit(std::size_t a, std::size_t b, CPointD const& j0, CPointD const& t0, CPointD const& j1, CPointD const& t1,
           CBezierPiece& out) {
    std::size_t const n = b - a + 1;
    m_u.resize(n);
    double const lead = Norm(m_run.P(a) - j0);
    double const total = lead + (m_run.S(b) - m_run.S(a)) + Norm(j1 - m_run.P(b));
    double const chord = Norm(j1 - j0);
    for (std::size_t i = 0; i < n; ++i) m_u[i] = total > 0 ? (lead + m_run.S(a + i) - m_run.S(a)) / total : 0.0;
    out = {j0, j0, j1, j1, false};
    double err = 0;
    for (int iter = 0; iter < 5; ++iter) {
      Solve(a, j0, t0, j1, t1, chord, out);
      err = MaxError(a, out);
      // Far outside the tolerance no reparametrisation will save the fit.
      if (err <= m_tol || err > 8 * m_tol) break;
      Reparametrise(a, out);
    }
    return err <= m_tol;
  }

 private:
  void Solve(std::size_t a, CPointD const& j0, CPointD const& t0, CPointD const& j1, CPointD const& t1, double chord,
             CBezierPiece& out) const {
    double c00 = 0, c01 = 0, c11 = 0, x0 = 0, x1 = 0;
    for (std::size_t i = 0; i < m_u.size(); ++i) {
      double const u = m_u[i], s = 1 - u;
      double const b0 = s * s * s, b1 = 3 * s * s * u, b2 = 3 * s * u * u, b3 = u * u * u;
      CPointD const A0 = t0 * b1, A1 = t1 * (-b2);
      CPointD const r = m_run.P(a + i) - (j0 * (b0 + b1) + j1 * (b2 + b3));
      c00 += Dot(A0, A0);
      c01 += Dot(A0, A1);
      c11 += Dot(A1, A1);
      x0 += Dot(r, A0);
      x1 += Dot(r, A1);
    }
    double const det = c00 * c11 - c01 * c01;
    double al0 = 0, al1 = 0;
    if (std::abs(det) > tol::kEps * (c00 * c11 + tol::kEps)) {
      al0 = (x0 * c11 - x1 * c01) / det;
      al1 = (c00 * x1 - c01 * x0) / det;
    }
    // A handle that points backwards or runs far past the chord makes a loop
    // or a cusp; the classic third of the chord is the safe shape then.
    double const lo = tol::kEps + 1e-6 * chord, hi = 2 * chord;
    if (!(al0 > lo && al1 > lo && al0 < hi && al1 < hi)) al0 = al1 = chord / 3;
    out = {j0, j0 + t0 * al0, j1 - t1 * al1, j1, false};
  }

  // Distance bound per vertex: to the curve at its parameter, or to either
  // end of the piece, whichever is less (both are points of the curve).
  double MaxError(std::size_t a, CBezierPiece const& p) const {
    double err = 0;
    for (std::size_t i = 0; i < m_u.size(); ++i) {
      CPointD const q = m_run.P(a + i);
      double const d = std::min({Norm(Bezier(p, m_u[i]) - q), Norm(q - p.p0), Norm(q - p.p3)});
      err = std::max(err, d);
    }
    return err;
  }

  void Reparametrise(std::size_t a, CBezierPiece const& p) {
    for (std::size_t i = 0; i < m_u.size(); ++i) {
      double const u = m_u[i];
      CPointD const d = Bezier(p, u) - m_run.P(a + i), d1 = BezierD1(p, u), d2 = BezierD2(p, u);
      double const den = Dot(d1, d1) + Dot(d, d2);
      if (std::abs(den) > tol::kEps) m_u[i] = std::clamp(u - Dot(d, d1) / den, 0.0, 1.0);
    }
  }

  CRun const& m_run;
  double m_tol;
  std::vector<double> m_u;
};

// Covers a run greedily with the longest pieces that fit: doubling the
// span until a fit fails, then halving the gap between the last success and
// the first failure. Every piece starts in the direction the previous ended.
void FitRun(CRun const& run, double tol, std::vector<CBezierPiece>& pieces) {
  std::size_t const L = run.Size();
  double const w = std::min(4 * tol + 1, run.Length() / 3), h = w / 2;
  CPointD const start = run.Joint(0, h, tol / 2), startT = run.Tangent(0, w);
  CPointD const endT = run.Cyclic() ? startT : run.Tangent(L, w);
  CPointD const end = run.Cyclic() ? start : run.Joint(L, h, tol / 2);
  CPieceFitter fitter(run, tol);
  auto joint = [&](std::size_t e) { return e == L ? end : run.Joint(e, h, tol / 2); };
  auto tangent = [&](std::size_t e) { return e == L ? endT : run.Tangent(e, w); };

  // Neighbouring pieces are alike in length: the search starts from the
  // last piece's span, which saves most of the doubling probes.
  std::size_t s = 0, last = 2;
  CPointD js = start, ts = startT;
  bool first = true;
  while (s < L) {
    CBezierPiece best{}, trial{};
    std::size_t good = s + 1;
    fitter.Fit(s, good, js, ts, joint(good), tangent(good), best);  // two vertices always fit
    std::size_t bad = L + 1;
    for (std::size_t span = std::max<std::size_t>(2, last); good < L; span *= 2) {
      std::size_t const e = std::min(s + span, L);
      if (!fitter.Fit(s, e, js, ts, joint(e), tangent(e), trial)) { bad = e; break; }
      good = e;
      best = trial;
    }
    while (bad <= L && bad - good > 1) {
      std::size_t const e = good + (bad - good) / 2;
      if (fitter.Fit(s, e, js, ts, joint(e), tangent(e), trial)) {
        good = e;
        best = trial;
      } else {
        bad = e;
      }
    }
    best.bCorner = first && !run.Cyclic();
    first = false;
    pieces.push_back(best);
    js = best.p3;
    ts = tangent(good);
    last = good - s;
    s = good;
  }
}

}  // namespace
}  // namespace curvefit_detail

using curvefit_detail::Norm;

namespace {

// The Gaussian average, along the arc, of one run's free vertices into
// `out`. Past a fixed end the run continues as its point reflection through
// that end, so a straight run stays straight and the ends do not pull the
// neighbouring vertices off the line they lie on; a ring wraps round.
void SmoothRun(std::vector<CPointD> const& v, std::size_t from, std::size_t len, bool cyclic, double sigma,
               std::vector<CPointD>& out) {
  std::size_t const n = v.size();
  std::vector<CPointD> p(len + 1);
  std::vector<double> s(len + 1, 0.0);
  for (std::size_t i = 0; i <= len; ++i) p[i] = v[(from + i) % n];
  for (std::size_t i = 1; i <= len; ++i) s[i] = s[i - 1] + curvefit_detail::Norm(p[i] - p[i - 1]);
  double const total = s[len];
  if (!(total > 0)) return;
  double const sg = std::min(sigma, total / 3), reach = 3 * sg;

  std::vector<CPointD> ep;
  std::vector<double> es;
  for (std::size_t i = 1; i < len; ++i) {  // before the start, farthest first
    std::size_t const j = cyclic ? i : len - i;
    if (cyclic ? total - s[j] > reach : s[j] > reach) continue;
    ep.push_back(cyclic ? p[j] : p[0] * 2 - p[j]);
    es.push_back(cyclic ? s[j] - total : -s[j]);
  }
  std::size_t const o = ep.size();
  ep.insert(ep.end(), p.begin(), p.end());
  es.insert(es.end(), s.begin(), s.end());
  for (std::size_t i = 1; i < len; ++i) {  // after the end, nearest first
    if (cyclic ? s[i] > reach : total - s[len - i] > reach) break;
    ep.push_back(cyclic ? p[i] : p[len] * 2 - p[len - i]);
    es.push_back(cyclic ? total + s[i] : 2 * total - s[len - i]);
  }
  // Each vertex stands for half of each segment beside it, so that uneven
  // spacing (chain codes' 1 and 1.41 steps) does not bias the average.
  auto spacing = [&](std::size_t j) {
    double const a = j > 0 ? es[j] - es[j - 1] : 0, b = j + 1 < es.size() ? es[j + 1] - es[j] : 0;
    return 0.5 * (a + b);
  };
  for (std::size_t i = cyclic ? 0 : 1; i < len; ++i) {
    std::size_t const k = o + i;
    double wsum = 0;
    CPointD acc{0, 0};
    std::size_t j = k;
    while (j > 0 && es[k] - es[j - 1] <= reach) --j;
    for (; j < es.size() && es[j] - es[k] <= reach; ++j) {
      double const z = (es[j] - es[k]) / sg;
      double const w = std::exp(-0.5 * z * z) * spacing(j);
      acc += ep[j] * w;
      wsum += w;
    }
    if (wsum > 0) out[(from + i) % n] = acc / wsum;
  }
}

double RingArea(std::vector<CPointD> const& v) {
  double a = 0;
  for (std::size_t i = 1; i + 1 < v.size(); ++i) a += curvefit_detail::Cross(v[i] - v[0], v[i + 1] - v[0]);
  return 0.5 * a;
}

}  // namespace

bool PolySmoothing(std::vector<CPointD>& poly, double dSigma, double dCornerAngle) {
  if (!(dSigma > 0) || !std::isfinite(dSigma) || !(dCornerAngle > 0) || poly.size() < 3) return false;
  std::vector<CPointD> v;
  bool closed = false;
  if (!curvefit_detail::CleanPolyline(poly, v, closed)) return false;
  // Work on the caller's vertices themselves (repeats included) so the count
  // is kept; corners are found on the cleaned copy and mapped back.
  std::vector<CPointD> w(poly);
  if (closed) w.pop_back();
  std::size_t const n = w.size();
  std::vector<char> fixed(n, 0);
  {
    std::vector<std::size_t> const corners = curvefit_detail::FindCorners(v, closed, dSigma / 2, dCornerAngle);
    // Cleaned index -> first caller index with that point.
    std::vector<std::size_t> map(v.size());
    for (std::size_t i = 0, k = 0; i < n && k < v.size(); ++i)
      if (curvefit_detail::Norm(w[i] - v[k]) < tol::kEps) map[k++] = i;
    for (std::size_t c : corners) fixed[map[c]] = 1;
    if (!closed) fixed[0] = fixed[n - 1] = 1;
  }
  std::vector<std::size_t> anchors;
  for (std::size_t i = 0; i < n; ++i)
    if (fixed[i]) anchors.push_back(i);
  if (anchors.size() == n) return false;

  std::vector<CPointD> out(w);
  if (anchors.empty()) {
    SmoothRun(w, 0, n, true, dSigma, out);
  } else {
    std::size_t const runs = closed ? anchors.size() : anchors.size() - 1;
    for (std::size_t r = 0; r < runs; ++r) {
      std::size_t const a = anchors[r], b = anchors[(r + 1) % anchors.size()];
      std::size_t const len = b > a ? b - a : b + n - a;
      if (len > 1) SmoothRun(w, a, len, false, dSigma, out);
    }
  }

  if (closed) {
    // Give the area back: move the free vertices along their normals by a
    // common distance found by secant steps (the area is nearly linear in
    // it, so a few steps reach the relative tolerance).
    double const target = RingArea(w);
    std::vector<CPointD> normal(n);
    for (std::size_t i = 0; i < n; ++i) {
      if (fixed[i]) continue;
      CPointD const d = out[(i + 1) % n] - out[(i + n - 1) % n];
      double const l = curvefit_detail::Norm(d);
      normal[i] = l > 0 ? CPointD{d.y / l, -d.x / l} : CPointD{0, 0};
    }
    std::vector<CPointD> trial(n);
    auto area = [&](double t) {
      for (std::size_t i = 0; i < n; ++i) trial[i] = out[i] + normal[i] * t;
      trial.push_back(trial[0]);
      double const a = RingArea(trial);
      trial.pop_back();
      return a;
    };
    double t0 = 0, f0 = area(0) - target;
    double perim = 0;
    for (std::size_t i = 0; i < n; ++i) perim += curvefit_detail::Norm(out[(i + 1) % n] - out[i]);
    double t1 = perim > 0 ? f0 / perim : 0, f1 = area(t1) - target;
    for (int it = 0; it < 20 && std::abs(f1) > tol::kAreaRel * std::abs(target) && f1 != f0; ++it) {
      double const t2 = t1 - f1 * (t1 - t0) / (f1 - f0);
      t0 = t1; f0 = f1;
      t1 = t2; f1 = area(t1) - target;
    }
    if (std::isfinite(t1) && std::abs(f1) <= std::abs(f0)) area(t1), out.swap(trial);
    out.push_back(out[0]);
  }
  for (CPointD const& p : out)
    if (!std::isfinite(p.x) || !std::isfinite(p.y)) return false;
  poly.swap(out);
  return true;
}

namespace {

// Consecutive repeats dropped; false on a NaN or infinite coordinate or
// fewer than 2 distinct points. Closedness plays no part in a join.
bool DistinctPoints(std::vector<CPointD> const& poly, std::vector<CPointD>& v) {
  for (CPointD const& p : poly) {
    if (!std::isfinite(p.x) || !std::isfinite(p.y)) return false;
    if (v.empty() || curvefit_detail::Norm(p - v.back()) >= tol::kEps) v.push_back(p);
  }
  return v.size() >= 2;
}

CPointD Unit(CPointD const& d) { return d / curvefit_detail::Norm(d); }

}  // namespace

bool PolysSmoothJoin(std::vector<CPointD>& poly, std::vector<CPointD> const& b, double dJoinTol, double dLength,
                     double dChordTol) {
  if (!(dJoinTol >= 0) || !std::isfinite(dJoinTol) || !(dLength > 0) || !std::isfinite(dLength) || !(dChordTol > 0))
    return false;
  std::vector<CPointD> a, c;
  if (!DistinctPoints(poly, a) || !DistinctPoints(b, c)) return false;
  using curvefit_detail::Norm;
  // x ends at the joint, y starts there; poly keeps its direction.
  std::vector<CPointD> x, y;
  if (Norm(a.back() - c.front()) <= dJoinTol) {
    x = a; y = c;
  } else if (Norm(a.back() - c.back()) <= dJoinTol) {
    x = a; y.assign(c.rbegin(), c.rend());
  } else if (Norm(a.front() - c.back()) <= dJoinTol) {
    x = c; y = a;
  } else if (Norm(a.front() - c.front()) <= dJoinTol) {
    x.assign(c.rbegin(), c.rend()); y = a;
  } else {
    return false;
  }

  // The transition's ends: dLength back along x, dLength on along y (or
  // the far ends when a polyline is shorter).
  std::size_t i = x.size() - 1;
  double acc = 0;
  while (i > 0 && acc + Norm(x[i] - x[i - 1]) <= dLength) acc += Norm(x[i] - x[i - 1]), --i;
  CPointD px = x[0], tx = Unit(x[1] - x[0]);
  double dx = acc;
  if (i > 0) {
    tx = Unit(x[i] - x[i - 1]);
    px = x[i] - tx * (dLength - acc);
    dx = dLength;
  }
  std::size_t j = 0;
  acc = 0;
  while (j + 1 < y.size() && acc + Norm(y[j + 1] - y[j]) <= dLength) acc += Norm(y[j + 1] - y[j]), ++j;
  CPointD py = y.back(), ty = Unit(y.back() - y[y.size() - 2]);
  double dy = acc;
  if (j + 1 < y.size()) {
    ty = Unit(y[j + 1] - y[j]);
    py = y[j] + ty * (dLength - acc);
    dy = dLength;
  }
  // Handles of two thirds of the walked length: when both sides run
  // straight into the joint this is the parabola with the joint as its
  // control point, tangent to both polylines where it leaves them.
  std::vector<CBezierPiece> const piece = {{px, px + tx * (2 * dx / 3), py - ty * (2 * dy / 3), py, true}};
  std::vector<CPointD> out(x.begin(), x.begin() + static_cast<std::ptrdiff_t>(i));
  if (!BezierFlatten(piece, dChordTol, out)) return false;
  out.insert(out.end(), y.begin() + static_cast<std::ptrdiff_t>(j + 1), y.end());
  for (CPointD const& p : out)
    if (!std::isfinite(p.x) || !std::isfinite(p.y)) return false;
  poly.swap(out);
  return true;
}

bool BezierFit(std::vector<CPointD> const& poly, double dTolerance, double dCornerAngle,
               std::vector<CBezierPiece>& pieces) {
  if (!(dTolerance > 0) || !(dCornerAngle > 0) || !std::isfinite(dTolerance)) return false;
  std::vector<CPointD> v;
  bool closed = false;
  if (!curvefit_detail::CleanPolyline(poly, v, closed)) return false;
  std::vector<std::size_t> corners = curvefit_detail::FindCorners(v, closed, dTolerance, dCornerAngle);
  if (!closed) {
    corners.insert(corners.begin(), 0);
    corners.push_back(v.size() - 1);
  }
  std::vector<CBezierPiece> out;
  if (closed && corners.empty()) {
    curvefit_detail::FitRun(curvefit_detail::CRun(v, 0, 0, true), dTolerance, out);
  } else {
    std::size_t const runs = closed ? corners.size() : corners.size() - 1;
    for (std::size_t r = 0; r < runs; ++r)
      curvefit_detail::FitRun(curvefit_detail::CRun(v, corners[r], corners[(r + 1) % corners.size()], false), dTolerance, out);
  }
  for (CBezierPiece const& b : out)
    for (CPointD const& p : {b.p0, b.p1, b.p2, b.p3})
      if (!std::isfinite(p.x) || !std::isfinite(p.y)) return false;
  pieces.swap(out);
  return true;
}

bool BezierFlatten(std::vector<CBezierPiece> const& pieces, double dChordTol, std::vector<CPointD>& out) {
  if (pieces.empty() || !(dChordTol > 0)) return false;
  std::vector<double> steps(pieces.size());
  double total = 1;
  for (std::size_t k = 0; k < pieces.size(); ++k) {
    CBezierPiece const& b = pieces[k];
    double const m = std::max(Norm(b.p0 - b.p1 * 2 + b.p2), Norm(b.p1 - b.p2 * 2 + b.p3));
    steps[k] = std::max(1.0, std::ceil(std::sqrt(0.75 * m / dChordTol)));
    total += steps[k];
  }
  if (!(total <= 1e8)) return false;
  out.reserve(out.size() + static_cast<std::size_t>(total));
  out.push_back(pieces[0].p0);
  for (std::size_t k = 0; k < pieces.size(); ++k) {
    auto const n = static_cast<int>(steps[k]);
    for (int i = 1; i < n; ++i) out.push_back(curvefit_detail::Bezier(pieces[k], static_cast<double>(i) / n));
    out.push_back(pieces[k].p3);
  }
  return true;
}

bool BezierSmoothing(std::vector<CPointD>& poly, double dTolerance, double dCornerAngle, double dChordTol,
                     std::vector<CBezierPiece>* pieces) {
  std::vector<CBezierPiece> chain;
  std::vector<CPointD> out;
  if (!BezierFit(poly, dTolerance, dCornerAngle, chain) || !BezierFlatten(chain, dChordTol, out)) return false;
  poly.swap(out);
  if (pieces) pieces->swap(chain);
  return true;
}

}  // namespace Math
