#include <math/triangulator.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "core/tolerance.h"
#include "graph/predicates_impl.h"

namespace Math {
namespace Fortune {
namespace {

using graph_detail::InCircle;
using graph_detail::Orient;

constexpr std::uint32_t kNone = 0xFFFFFFFFu;

inline std::uint32_t Next(std::uint32_t e) { return e % 3 == 2 ? e - 2 : e + 1; }
inline std::uint32_t Prev(std::uint32_t e) { return e % 3 == 0 ? e + 2 : e - 1; }

bool Usable(CPointD const& p) {
  return std::abs(p.x) <= tol::kMaxTriangulatorCoord && std::abs(p.y) <= tol::kMaxTriangulatorCoord;
}

bool Same(CPointD const& a, CPointD const& b) { return a.x == b.x && a.y == b.y; }

double Dist2(CPointD const& a, CPointD const& b) {
  double const dx = a.x - b.x, dy = a.y - b.y;
  return dx * dx + dy * dy;
}

// Squared circumradius of a, b, c; infinite when they are (nearly) collinear.
double CircumRadius2(CPointD const& a, CPointD const& b, CPointD const& c) {
  double const dx = b.x - a.x, dy = b.y - a.y, ex = c.x - a.x, ey = c.y - a.y;
  double const bl = dx * dx + dy * dy, cl = ex * ex + ey * ey;
  double const d = 0.5 / (dx * ey - dy * ex);
  double const x = (ey * bl - dy * cl) * d, y = (dx * cl - ex * bl) * d;
  double const r = x * x + y * y;
  return std::isfinite(r) ? r : std::numeric_limits<double>::infinity();
}

CPointD CircumCenter(CPointD const& a, CPointD const& b, CPointD const& c) {
  double const dx = b.x - a.x, dy = b.y - a.y, ex = c.x - a.x, ey = c.y - a.y;
  double const bl = dx * dx + dy * dy, cl = ex * ex + ey * ey;
  double const d = 0.5 / (dx * ey - dy * ex);
  return {a.x + (ey * bl - dy * cl) * d, a.y + (dx * cl - ex * bl) * d};
}

// The triangle mesh of the sweep: half-edge e of triangle e / 3 starts at
// tri[e] and ends at tri[Next(e)]; adj[e] is its twin or kNone on the hull.
// The hull is a ring of points linked counter-clockwise; hullTri[v] is the
// inner half-edge of the hull edge leaving v.
class CMesh {
 public:
  explicit CMesh(std::vector<CPointD> const& p) : m_p(p) {}

  std::vector<std::uint32_t> tri;
  std::vector<std::uint32_t> adj;
  std::vector<std::uint8_t> mark;  // constraint bits per half-edge: 1 parity, 2 fixed
  std::vector<std::uint32_t> hullNext, hullPrev, hullTri;
  std::uint32_t hullStart = kNone;
  std::vector<std::uint32_t> order;  // the hull, or the distinct points of collinear input along their line
  std::vector<std::uint32_t> rep;    // per point: itself, the point it duplicates, or kNone
  std::vector<std::uint32_t> vout;   // per point: a half-edge leaving it (constrained mode)
  std::size_t skipped = 0, duplicates = 0;

  // Returns false when no triangle could be made (collinear or too few).
  bool Build();
  bool Flip(std::uint32_t e);
  void Around(std::uint32_t u, std::vector<std::uint32_t>& out) const;
  std::uint32_t FindEdge(std::uint32_t u, std::uint32_t v) const;
  void Toggle(std::uint32_t e) {
    mark[e] = static_cast<std::uint8_t>((mark[e] ^ 1u) | 2u);
    if (adj[e] != kNone) mark[adj[e]] = mark[e];
  }
  bool InsertConstraint(std::uint32_t a, std::uint32_t b, std::size_t& budget);
  void RestoreDelaunay();

 private:
  std::uint32_t AddTri(std::uint32_t i0, std::uint32_t i1, std::uint32_t i2, std::uint32_t a, std::uint32_t b,
                       std::uint32_t c) {
    auto const t = static_cast<std::uint32_t>(tri.size());
    tri.push_back(i0);
    tri.push_back(i1);
    tri.push_back(i2);
    adj.push_back(kNone);
    adj.push_back(kNone);
    adj.push_back(kNone);
    Link(t, a);
    Link(t + 1, b);
    Link(t + 2, c);
    return t;
  }
  void SetTri(std::uint32_t t, std::uint32_t i0, std::uint32_t i1, std::uint32_t i2) {
    tri[t] = i0;
    tri[t + 1] = i1;
    tri[t + 2] = i2;
  }
  void Link(std::uint32_t a, std::uint32_t b) {
    adj[a] = b;
    if (b != kNone) adj[b] = a;
  }
  std::uint32_t HashKey(CPointD const& p) const {
    double const dx = p.x - m_c.x, dy = p.y - m_c.y;
    double const s = std::abs(dx) + std::abs(dy);
    if (!(s > 0.0)) return 0;
    double const q = dx / s;
    double const a = (dy > 0.0 ? 3.0 - q : 1.0 + q) / 4.0;  // pseudo-angle in [0, 1]
    auto const k = static_cast<std::uint32_t>(std::floor(a * static_cast<double>(m_hash.size())));
    return k % static_cast<std::uint32_t>(m_hash.size());
  }
  void FixHullTri(std::uint32_t from, std::uint32_t to) {
    std::uint32_t e = hullStart;
    do {
      if (hullTri[e] == from) {
        hullTri[e] = to;
        return;
      }
      e = hullPrev[e];
    } while (e != hullStart);
  }
  std::uint32_t Legalize(std::uint32_t a);
  void InsertInside(std::uint32_t i);

  std::vector<CPointD> const& m_p;
  // The sweep works on the points in its own order (m_w[k] is the k-th
  // point swept, m_ord[k] its index in m_p): the advancing front then
  // touches recently written memory, not points scattered over the input.
  std::vector<CPointD> m_w;
  std::vector<std::uint32_t> m_ord;
  std::vector<std::uint32_t> m_hash;
  std::vector<std::uint32_t> m_stack;
  CPointD m_c{0, 0};
};

// Lawson flips from the half-edge a, which lies opposite a new point, until
// every edge they touch is locally Delaunay. Returns the half-edge that
// leaves the new point in the last triangle examined: after a sweep step
// that is the new point's hull edge.
std::uint32_t CMesh::Legalize(std::uint32_t a) {
  std::uint32_t ar = 0;
  m_stack.clear();
  for (;;) {
    std::uint32_t const b = adj[a];
    std::uint32_t const a0 = a - a % 3;
    ar = a0 + (a + 2) % 3;
    if (b == kNone) {
      if (m_stack.empty()) break;
      a = m_stack.back();
      m_stack.pop_back();
      continue;
    }
    std::uint32_t const b0 = b - b % 3;
    std::uint32_t const al = a0 + (a + 1) % 3;
    std::uint32_t const bl = b0 + (b + 2) % 3;
    std::uint32_t const p0 = tri[ar], pr = tri[a], pl = tri[al], p1 = tri[bl];
    if (InCircle(m_w[p0], m_w[pr], m_w[pl], m_w[p1]) > 0) {
      tri[a] = p1;
      tri[b] = p0;
      std::uint32_t const hbl = adj[bl];
      // The flipped pair touched the hull from the far side: its hull
      // reference moves with the edge.
      if (hbl == kNone) FixHullTri(bl, a);
      Link(a, hbl);
      Link(b, adj[ar]);
      Link(ar, bl);
      m_stack.push_back(b0 + (b + 1) % 3);
    } else {
      if (m_stack.empty()) break;
      a = m_stack.back();
      m_stack.pop_back();
    }
  }
  return ar;
}

// A point the hull walk could not see from outside lies inside or on the
// current hull (the distance order is only nearly exact). Find its triangle
// by a visibility walk and split it there.
void CMesh::InsertInside(std::uint32_t i) {
  CPointD const& p = m_w[i];
  std::uint32_t const nt = static_cast<std::uint32_t>(tri.size() / 3);
  std::uint32_t t = hullTri[hullStart] / 3;
  std::uint32_t salt = i;
  std::size_t steps = 0;
  for (;;) {
    bool moved = false;
    salt = salt * 1103515245u + 12345u;
    std::uint32_t const r = (salt >> 16) % 3;
    for (std::uint32_t k = 0; k < 3 && !moved; ++k) {
      std::uint32_t const e = 3 * t + (k + r) % 3;
      if (Orient(m_w[tri[e]], m_w[tri[Next(e)]], p) < 0) {
        if (adj[e] == kNone) return;  // outside after all; cannot happen with exact signs
        t = adj[e] / 3;
        moved = true;
      }
    }
    if (!moved) break;
    if (++steps > 4u * nt + 16u) return;
  }
  std::uint32_t const e0 = 3 * t, e1 = e0 + 1, e2 = e0 + 2;
  std::uint32_t const va = tri[e0], vb = tri[e1], vc = tri[e2];
  int const o0 = Orient(m_w[va], m_w[vb], p), o1 = Orient(m_w[vb], m_w[vc], p), o2 = Orient(m_w[vc], m_w[va], p);
  int const zeros = (o0 == 0) + (o1 == 0) + (o2 == 0);
  if (zeros >= 2) {
    // On a vertex: a duplicate the sort did not put next to its twin.
    ++duplicates;
    rep[m_ord[i]] = m_ord[Same(p, m_w[va]) ? va : Same(p, m_w[vb]) ? vb : vc];
    return;
  }
  if (zeros == 0) {
    std::uint32_t const A0 = adj[e0], A1 = adj[e1], A2 = adj[e2];
    SetTri(e0, va, vb, i);
    std::uint32_t const t1 = AddTri(vb, vc, i, A1, kNone, e0 + 1);
    std::uint32_t const t2 = AddTri(vc, va, i, A2, kNone, t1 + 1);
    Link(e0, A0);
    Link(e0 + 2, t2 + 1);
    if (A1 == kNone) hullTri[vb] = t1;
    if (A2 == kNone) hullTri[vc] = t2;
    Legalize(e0);
    Legalize(t1);
    Legalize(t2);
    return;
  }
  // On the edge e = a -> b of t, with c the third vertex.
  std::uint32_t const e = o0 == 0 ? e0 : o1 == 0 ? e1 : e2;
  std::uint32_t const en = Next(e), ep = Prev(e);
  std::uint32_t const a = tri[e], b = tri[en], c = tri[ep];
  std::uint32_t const f = adj[e], Xen = adj[en], Xep = adj[ep];
  if (f == kNone) {
    // A hull edge: two triangles, and i joins the hull between a and b.
    SetTri(3 * t, c, a, i);
    std::uint32_t const t2 = AddTri(b, c, i, Xen, kNone, kNone);
    Link(3 * t, Xep);
    adj[3 * t + 1] = kNone;
    Link(3 * t + 2, t2 + 1);
    if (Xep == kNone) hullTri[c] = 3 * t;
    if (Xen == kNone) hullTri[b] = t2;
    hullNext[a] = i;
    hullPrev[i] = a;
    hullNext[i] = b;
    hullPrev[b] = i;
    hullTri[a] = 3 * t + 1;
    hullTri[i] = t2 + 2;
    m_hash[HashKey(p)] = i;
    Legalize(3 * t);
    Legalize(t2);
    return;
  }
  std::uint32_t const u = f / 3, fn = Next(f), fp = Prev(f);
  std::uint32_t const d = tri[fp], Xfn = adj[fn], Xfp = adj[fp];
  // (c, a, i), (b, c, i), (a, d, i), (d, b, i), each outer edge first.
  SetTri(3 * t, c, a, i);
  SetTri(3 * u, b, c, i);
  std::uint32_t const t3 = AddTri(a, d, i, Xfn, kNone, 3 * t + 1);
  std::uint32_t const t4 = AddTri(d, b, i, Xfp, 3 * u + 2, t3 + 1);
  Link(3 * t, Xep);
  Link(3 * t + 2, 3 * u + 1);
  Link(3 * u, Xen);
  if (Xep == kNone) hullTri[c] = 3 * t;
  if (Xen == kNone) hullTri[b] = 3 * u;
  if (Xfn == kNone) hullTri[a] = t3;
  if (Xfp == kNone) hullTri[d] = t4;
  Legalize(3 * t);
  Legalize(3 * u);
  Legalize(t3);
  Legalize(t4);
}

bool CMesh::Build() {
  std::size_t const n = m_p.size();
  rep.assign(n, kNone);
  std::vector<std::uint32_t> ids;
  ids.reserve(n);
  double minX = std::numeric_limits<double>::infinity(), minY = minX, maxX = -minX, maxY = -minX;
  for (std::size_t i = 0; i < n; ++i) {
    CPointD const& p = m_p[i];
    if (!Usable(p)) {  // NaN fails both comparisons
      ++skipped;
      continue;
    }
    ids.push_back(static_cast<std::uint32_t>(i));
    minX = std::min(minX, p.x);
    minY = std::min(minY, p.y);
    maxX = std::max(maxX, p.x);
    maxY = std::max(maxY, p.y);
  }
  if (ids.empty()) return false;
  CPointD const mid{0.5 * minX + 0.5 * maxX, 0.5 * minY + 0.5 * maxY};

  // Seeds: the point nearest the middle, its nearest distinct neighbour, and
  // the point making the smallest circumcircle with them. Strict comparisons
  // keep the first of equal points.
  std::uint32_t i0 = kNone, i1 = kNone, i2 = kNone;
  double best = std::numeric_limits<double>::infinity();
  for (std::uint32_t i : ids) {
    double const d = Dist2(m_p[i], mid);
    if (i0 == kNone || d < best) i0 = i, best = d;
  }
  best = std::numeric_limits<double>::infinity();
  for (std::uint32_t i : ids) {
    if (Same(m_p[i], m_p[i0])) continue;
    double const d = Dist2(m_p[i], m_p[i0]);
    if (i1 == kNone || d < best) i1 = i, best = d;
  }
  if (i1 != kNone) {
    best = std::numeric_limits<double>::infinity();
    for (std::uint32_t i : ids) {
      if (Orient(m_p[i0], m_p[i1], m_p[i]) == 0) continue;
      double const r = CircumRadius2(m_p[i0], m_p[i1], m_p[i]);
      if (i2 == kNone || r < best) i2 = i, best = r;
    }
  }

  if (i2 == kNone) {
    // No triangle: every usable point lies on one line, and the
    // lexicographic order runs along it.
    std::sort(ids.begin(), ids.end(), [this](std::uint32_t a, std::uint32_t b) {
      CPointD const &p = m_p[a], &q = m_p[b];
      return p.x != q.x ? p.x < q.x : p.y != q.y ? p.y < q.y : a < b;
    });
    for (std::size_t k = 0; k < ids.size(); ++k) {
      if (k > 0 && Same(m_p[ids[k]], m_p[order.back()])) {
        rep[ids[k]] = order.back();
        ++duplicates;
        continue;
      }
      rep[ids[k]] = ids[k];
      order.push_back(ids[k]);
    }
    return false;
  }
  if (Orient(m_p[i0], m_p[i1], m_p[i2]) < 0) std::swap(i1, i2);
  m_c = CircumCenter(m_p[i0], m_p[i1], m_p[i2]);
  if (!std::isfinite(m_c.x) || !std::isfinite(m_c.y)) m_c = mid;

  // Order by distance from the seed circle's centre; equal points become
  // neighbours through the coordinate tie-break, the first index leading.
  // The coordinates travel with the keys: ties (common on grids) compare
  // them without a trip to the input.
  struct Key {
    double d;
    CPointD p;
    std::uint32_t i;
  };
  std::vector<Key> keys;
  keys.reserve(ids.size());
  for (std::uint32_t i : ids) keys.push_back({Dist2(m_p[i], m_c), m_p[i], i});
  std::vector<std::uint32_t>().swap(ids);
  std::sort(keys.begin(), keys.end(), [](Key const& a, Key const& b) {
    if (a.d != b.d) return a.d < b.d;
    return a.p.x != b.p.x ? a.p.x < b.p.x : a.p.y != b.p.y ? a.p.y < b.p.y : a.i < b.i;
  });

  std::size_t const m = keys.size();
  m_w.resize(m);
  m_ord.resize(m);
  std::uint32_t r0 = kNone, r1 = kNone, r2 = kNone;
  for (std::size_t k = 0; k < m; ++k) {
    std::uint32_t const i = keys[k].i;
    m_w[k] = keys[k].p;
    m_ord[k] = i;
    if (i == i0) r0 = static_cast<std::uint32_t>(k);
    if (i == i1) r1 = static_cast<std::uint32_t>(k);
    if (i == i2) r2 = static_cast<std::uint32_t>(k);
  }
  std::vector<Key>().swap(keys);
  tri.reserve(6 * m);
  adj.reserve(6 * m);
  hullNext.assign(m, kNone);
  hullPrev.assign(m, kNone);
  hullTri.assign(m, kNone);
  std::size_t hashSize = 1;
  while (hashSize * hashSize < m) hashSize *= 2;
  m_hash.assign(hashSize, kNone);

  hullStart = r0;
  hullNext[r0] = r1, hullPrev[r2] = r1;
  hullNext[r1] = r2, hullPrev[r0] = r2;
  hullNext[r2] = r0, hullPrev[r1] = r0;
  hullTri[r0] = 0, hullTri[r1] = 1, hullTri[r2] = 2;
  m_hash[HashKey(m_w[r0])] = r0;
  m_hash[HashKey(m_w[r1])] = r1;
  m_hash[HashKey(m_w[r2])] = r2;
  AddTri(r0, r1, r2, kNone, kNone, kNone);
  rep[i0] = i0, rep[i1] = i1, rep[i2] = i2;

  std::uint32_t prev = kNone;
  for (std::uint32_t i = 0; i < m; ++i) {
    if (i == r0 || i == r1 || i == r2) continue;
    std::uint32_t const orig = m_ord[i];
    CPointD const& p = m_w[i];
    if (prev != kNone && Same(p, m_w[prev])) {
      rep[orig] = rep[m_ord[prev]];
      ++duplicates;
      continue;
    }
    prev = i;
    rep[orig] = orig;
    if (Same(p, m_w[r0]) || Same(p, m_w[r1]) || Same(p, m_w[r2])) {
      rep[orig] = Same(p, m_w[r0]) ? i0 : Same(p, m_w[r1]) ? i1 : i2;
      ++duplicates;
      continue;
    }

    // A visible hull edge, starting from the hull point nearest in angle.
    std::uint32_t start = 0;
    std::uint32_t const key = HashKey(p);
    for (std::size_t j = 0; j < hashSize; ++j) {
      start = m_hash[(key + j) & (hashSize - 1)];
      if (start != kNone && start != hullNext[start]) break;
    }
    start = hullPrev[start];
    std::uint32_t e = start, q;
    while (q = hullNext[e], Orient(m_w[e], m_w[q], p) >= 0) {
      e = q;
      if (e == start) {
        e = kNone;
        break;
      }
    }
    if (e == kNone) {
      InsertInside(i);
      continue;
    }

    std::uint32_t t = AddTri(e, i, hullNext[e], kNone, kNone, hullTri[e]);
    hullTri[i] = Legalize(t + 2);
    hullTri[e] = t;
    std::uint32_t nx = hullNext[e];
    while (q = hullNext[nx], Orient(m_w[nx], m_w[q], p) < 0) {
      t = AddTri(nx, i, q, hullTri[i], kNone, hullTri[nx]);
      hullTri[i] = Legalize(t + 2);
      hullNext[nx] = nx;  // removed from the hull
      nx = q;
    }
    if (e == start) {
      while (q = hullPrev[e], Orient(m_w[q], m_w[e], p) < 0) {
        t = AddTri(q, i, e, kNone, hullTri[e], hullTri[q]);
        Legalize(t + 2);
        hullTri[q] = t;
        hullNext[e] = e;
        e = q;
      }
    }
    hullStart = hullPrev[i] = e;
    hullNext[e] = hullPrev[nx] = i;
    hullNext[i] = nx;
    m_hash[HashKey(p)] = i;
    m_hash[HashKey(m_w[e])] = e;
  }

  // Back to the caller's numbering.
  for (std::uint32_t& v : tri) v = m_ord[v];
  std::uint32_t e = hullStart;
  do {
    order.push_back(m_ord[e]);
    e = hullNext[e];
  } while (e != hullStart);
  std::vector<std::uint32_t>().swap(hullNext);
  std::vector<std::uint32_t>().swap(hullPrev);
  std::vector<std::uint32_t>().swap(hullTri);
  std::vector<CPointD>().swap(m_w);
  std::vector<std::uint32_t>().swap(m_ord);
  return true;
}

// Replaces the diagonal of the quadrilateral around the inner half-edge e
// (p -> q, with r opposite in its triangle and s across) by r - s, keeping
// the constraint marks with their edges. The new diagonal is the last
// half-edge of both triangles. False when e is on the hull.
bool CMesh::Flip(std::uint32_t e) {
  std::uint32_t const f = adj[e];
  if (f == kNone) return false;
  std::uint32_t const en = Next(e), ep = Prev(e), fn = Next(f), fp = Prev(f);
  std::uint32_t const p = tri[e], q = tri[en], r = tri[ep], s = tri[fp];
  std::uint32_t const X1 = adj[ep], X2 = adj[fn], X3 = adj[fp], X4 = adj[en];
  std::uint8_t const M1 = mark[ep], M2 = mark[fn], M3 = mark[fp], M4 = mark[en];
  std::uint32_t const A = e - e % 3, B = f - f % 3;
  SetTri(A, r, p, s);
  SetTri(B, s, q, r);
  Link(A, X1), Link(A + 1, X2), Link(A + 2, B + 2), Link(B, X3), Link(B + 1, X4);
  mark[A] = M1, mark[A + 1] = M2, mark[B] = M3, mark[B + 1] = M4, mark[A + 2] = mark[B + 2] = 0;
  return true;
}

// The half-edges leaving u, counter-clockwise, then (when the hull cuts the
// rotation) clockwise from the first one.
void CMesh::Around(std::uint32_t u, std::vector<std::uint32_t>& out) const {
  out.clear();
  std::uint32_t const h0 = vout[u];
  if (h0 == kNone) return;
  std::uint32_t h = h0;
  do {
    out.push_back(h);
    h = adj[Prev(h)];
  } while (h != kNone && h != h0);
  if (h == h0) return;
  for (std::uint32_t g = adj[h0]; g != kNone; g = adj[h]) {
    h = Next(g);
    out.push_back(h);
  }
}

// A half-edge of the edge {u, v}, or kNone.
std::uint32_t CMesh::FindEdge(std::uint32_t u, std::uint32_t v) const {
  std::vector<std::uint32_t> around;
  Around(u, around);
  for (std::uint32_t h : around) {
    if (tri[Next(h)] == v) return h;
    if (tri[Prev(h)] == v) return Prev(h);
  }
  return kNone;
}

// Makes a - b an edge by flipping away the edges that cross it (Sloan's
// method), splitting it at vertices that lie on it, and toggles its parity
// mark. False when it would cross a constraint, or the flip budget (a
// guard, never met on valid input) runs out.
bool CMesh::InsertConstraint(std::uint32_t a, std::uint32_t b, std::size_t& budget) {
  std::vector<std::uint32_t> around;
  std::vector<std::pair<std::uint32_t, std::uint32_t>> queue;
  auto const ahead = [this](std::uint32_t from, std::uint32_t to, std::uint32_t x) {
    CPointD const d = m_p[to] - m_p[from], v = m_p[x] - m_p[from];
    return d.x * v.x + d.y * v.y > 0.0;
  };
  while (a != b) {
    std::uint32_t e = FindEdge(a, b);
    if (e != kNone) {
      Toggle(e);
      return true;
    }
    Around(a, around);
    std::uint32_t cur = kNone, via = kNone;
    for (std::uint32_t h : around) {
      std::uint32_t const x = tri[Next(h)], y = tri[Prev(h)];
      int const ox = Orient(m_p[a], m_p[b], m_p[x]), oy = Orient(m_p[a], m_p[b], m_p[y]);
      if (ox == 0 && ahead(a, b, x)) {
        via = h;
        break;
      }
      if (oy == 0 && ahead(a, b, y)) {
        via = Prev(h);
        break;
      }
      if (ox < 0 && oy > 0) {
        cur = Next(h);
        break;
      }
    }
    if (via != kNone) {
      // A vertex on a - b: the edge to it is the first piece.
      Toggle(via);
      a = tri[via] == a ? tri[Next(via)] : tri[via];
      continue;
    }
    if (cur == kNone) return false;
    queue.clear();
    std::uint32_t c = b;
    for (;;) {
      if (mark[cur] & 2u) return false;
      queue.emplace_back(tri[cur], tri[Next(cur)]);
      std::uint32_t const f = adj[cur];
      if (f == kNone) return false;
      std::uint32_t const z = tri[Prev(f)];
      if (z == b) break;
      int const oz = Orient(m_p[a], m_p[b], m_p[z]);
      if (oz == 0) {
        c = z;
        break;
      }
      cur = oz < 0 ? Prev(f) : Next(f);
    }
    std::size_t const k = queue.size();
    std::size_t local = 16 * (k + 4) * (k + 4);
    std::size_t head = 0;
    while (head < queue.size()) {
      if (local-- == 0 || budget-- == 0) return false;
      auto const [u, v] = queue[head++];
      std::uint32_t const g = FindEdge(u, v);
      if (g == kNone || adj[g] == kNone) return false;
      std::uint32_t const r = tri[Prev(g)], s = tri[Prev(adj[g])];
      int const su = Orient(m_p[r], m_p[s], m_p[u]), sv = Orient(m_p[r], m_p[s], m_p[v]);
      if (su * sv < 0) {
        std::uint32_t const A = g - g % 3, B = adj[g] - adj[g] % 3;
        Flip(g);
        vout[r] = A, vout[tri[A + 1]] = A + 1, vout[s] = A + 2, vout[tri[B + 1]] = B + 1;
        bool const isAC = (r == a && s == c) || (r == c && s == a);
        if (!isAC && r != a && r != c && s != a && s != c &&
            Orient(m_p[a], m_p[c], m_p[r]) * Orient(m_p[a], m_p[c], m_p[s]) < 0) {
          queue.emplace_back(r, s);
        }
      } else {
        queue.emplace_back(u, v);
      }
    }
    e = FindEdge(a, c);
    if (e == kNone) return false;
    Toggle(e);
    a = c;
  }
  return true;
}

// Lawson flips of every edge no constraint holds, until each is locally
// Delaunay: the constrained Delaunay triangulation.
void CMesh::RestoreDelaunay() {
  m_stack.clear();
  for (std::uint32_t e = 0; e < tri.size(); ++e) {
    if (adj[e] != kNone && e < adj[e]) m_stack.push_back(e);
  }
  while (!m_stack.empty()) {
    std::uint32_t const e = m_stack.back();
    m_stack.pop_back();
    std::uint32_t const f = adj[e];
    if (f == kNone || (mark[e] & 2u)) continue;
    std::uint32_t const p = tri[e], q = tri[Next(e)], r = tri[Prev(e)], s = tri[Prev(f)];
    if (InCircle(m_p[p], m_p[q], m_p[r], m_p[s]) <= 0) continue;
    std::uint32_t const A = e - e % 3, B = f - f % 3;
    Flip(e);
    vout[r] = A, vout[p] = A + 1, vout[s] = A + 2, vout[q] = B + 1;
    m_stack.push_back(A);
    m_stack.push_back(A + 1);
    m_stack.push_back(B);
    m_stack.push_back(B + 1);
  }
}

}  // namespace

void CTriangulator::Clear() {
  m_pts.clear();
  m_tri.clear();
  m_hull.clear();
  m_skipped = 0;
  m_duplicates = 0;
}

bool CTriangulator::Triangulate(std::vector<CPointD> const& pts) {
  Clear();
  if (pts.size() > (std::size_t{1} << 29)) return false;
  m_pts = pts;
  CMesh mesh(m_pts);
  bool const ok = mesh.Build();
  m_skipped = mesh.skipped;
  m_duplicates = mesh.duplicates;
  if (!ok) {
    m_hull = std::move(mesh.order);
    return false;
  }
  std::vector<std::uint32_t>().swap(mesh.adj);
  m_tri = std::move(mesh.tri);
  m_hull = std::move(mesh.order);
  return true;
}

bool CTriangulator::TriangulatePolygon(CStdPlgn const& plgn) {
  Clear();
  std::vector<std::pair<std::uint32_t, std::uint32_t>> edges;
  for (auto const& ring : plgn) {
    if (ring.size() < 4) return false;
    CPointD const d = ring.back() - ring.front();
    if (!(std::hypot(d.x, d.y) <= tol::kEps)) return false;
    auto const base = static_cast<std::uint32_t>(m_pts.size());
    std::size_t const n = ring.size() - 1;
    for (std::size_t k = 0; k < n; ++k) {
      if (!Usable(ring[k])) {
        Clear();
        return false;
      }
      m_pts.push_back(ring[k]);
      edges.emplace_back(base + static_cast<std::uint32_t>(k), base + static_cast<std::uint32_t>((k + 1) % n));
    }
    if (m_pts.size() > (std::size_t{1} << 29)) {
      Clear();
      return false;
    }
  }
  CMesh mesh(m_pts);
  if (!mesh.Build()) {
    Clear();
    return false;
  }
  // A ring whose vertices collapse to fewer than three distinct points.
  for (std::size_t k = 0, base = 0; k < plgn.size(); ++k) {
    std::size_t const n = plgn[k].size() - 1;
    std::vector<std::uint32_t> distinct;
    for (std::size_t j = 0; j < n && distinct.size() < 3; ++j) {
      std::uint32_t const r = mesh.rep[base + j];
      if (std::find(distinct.begin(), distinct.end(), r) == distinct.end()) distinct.push_back(r);
    }
    if (distinct.size() < 3) {
      Clear();
      return false;
    }
    base += n;
  }
  mesh.mark.assign(mesh.tri.size(), 0);
  mesh.vout.assign(m_pts.size(), kNone);
  for (std::uint32_t e = 0; e < mesh.tri.size(); ++e) mesh.vout[mesh.tri[e]] = e;
  std::size_t budget = 64 * mesh.tri.size() + 4096;
  for (auto const& [a, b] : edges) {
    std::uint32_t const ra = mesh.rep[a], rb = mesh.rep[b];
    if (ra == rb) continue;
    if (!mesh.InsertConstraint(ra, rb, budget)) {
      Clear();
      return false;
    }
  }
  mesh.RestoreDelaunay();

  // Even-odd by parity: from the outside (parity 0) across the hull, every
  // crossing of an edge held an odd number of times flips inside and out.
  std::size_t const nt = mesh.tri.size() / 3;
  std::vector<std::int8_t> par(nt, -1);
  std::vector<std::uint32_t> stack;
  for (std::uint32_t e = 0; e < mesh.tri.size(); ++e) {
    if (mesh.adj[e] == kNone) {
      par[e / 3] = static_cast<std::int8_t>(mesh.mark[e] & 1u);
      stack.push_back(e / 3);
      break;
    }
  }
  while (!stack.empty()) {
    std::uint32_t const t = stack.back();
    stack.pop_back();
    for (std::uint32_t e = 3 * t; e < 3 * t + 3; ++e) {
      std::uint32_t const f = mesh.adj[e];
      if (f == kNone || par[f / 3] >= 0) continue;
      par[f / 3] = static_cast<std::int8_t>(par[t] ^ (mesh.mark[e] & 1u));
      stack.push_back(f / 3);
    }
  }
  m_duplicates = mesh.duplicates;
  for (std::size_t t = 0; t < nt; ++t) {
    if (par[t] != 1) continue;
    m_tri.insert(m_tri.end(), mesh.tri.begin() + 3 * t, mesh.tri.begin() + 3 * t + 3);
  }
  return !m_tri.empty();
}

egraph::CGraph CTriangulator::Graph() const {
  egraph::CGraph g(m_pts);
  if (m_tri.empty()) {
    for (std::size_t k = 1; k < m_hull.size(); ++k) g.add_edge(m_hull[k - 1], m_hull[k]);
    return g;
  }
  std::vector<std::uint64_t> keys;
  keys.reserve(m_tri.size());
  for (std::size_t e = 0; e < m_tri.size(); ++e) {
    std::uint64_t const u = m_tri[e], v = m_tri[e % 3 == 2 ? e - 2 : e + 1];
    keys.push_back(u < v ? (u << 32 | v) : (v << 32 | u));
  }
  std::sort(keys.begin(), keys.end());
  keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
  for (std::uint64_t k : keys) g.add_edge(static_cast<std::uint32_t>(k >> 32), static_cast<std::uint32_t>(k & 0xFFFFFFFFu));
  return g;
}

}  // namespace Fortune
}  // namespace Math
