#include <math/curvefit.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "core/tolerance.h"
#include "polyline/offset_impl.h"

namespace Math {
namespace curvefit_detail {
namespace {

double Cross(CPointD const& u, CPointD const& v) { return u.x * v.y - u.y * v.x; }
double Dot(CPointD const& u, CPointD const& v) { return u.x * v.x + u.y * v.y; }
bool Equal(CPointD const& a, CPointD const& b) { return a.x == b.x && a.y == b.y; }
bool Less(CPointD const& a, CPointD const& b) { return a.x < b.x || (a.x == b.x && a.y < b.y); }

struct CSeg {
  CPointD a, b;
  unsigned char tag;
};

struct CSplit {
  std::uint32_t seg;
  double t;
  CPointD p;
};

// Finds where the segments touch or cross and records the points at which
// each must be split. A touch reuses the touching end point itself, and a
// crossing point is computed once and given to both segments, so the pieces
// meet in bit-identical nodes.
class CSplitter {
 public:
  CSplitter(std::vector<CSeg> const& segs, double snap) : m_segs(segs), m_snap(snap) {}

  void Pair(std::uint32_t i, std::uint32_t j, std::vector<CSplit>& out) const {
    CSeg const& A = m_segs[i];
    CSeg const& B = m_segs[j];
    if (std::max(A.a.x, A.b.x) < std::min(B.a.x, B.b.x) - m_snap ||
        std::max(B.a.x, B.b.x) < std::min(A.a.x, A.b.x) - m_snap ||
        std::max(A.a.y, A.b.y) < std::min(B.a.y, B.b.y) - m_snap ||
        std::max(B.a.y, B.b.y) < std::min(A.a.y, A.b.y) - m_snap)
      return;
    CPointD const u = A.b - A.a, v = B.b - B.a;
    double const lu = std::hypot(u.x, u.y), lv = std::hypot(v.x, v.y);
    // Signed distances of each end from the other segment's line; within the
    // snap distance an end lies on that line.
    double o1 = Cross(v, A.a - B.a) / lv, o2 = Cross(v, A.b - B.a) / lv;
    double o3 = Cross(u, B.a - A.a) / lu, o4 = Cross(u, B.b - A.a) / lu;
    auto snap = [&](double& o) { if (std::abs(o) <= m_snap) o = 0.0; };
    snap(o1); snap(o2); snap(o3); snap(o4);
    if ((o1 > 0 && o2 > 0) || (o1 < 0 && o2 < 0) || (o3 > 0 && o4 > 0) || (o3 < 0 && o4 < 0)) return;
    if (o1 != 0 && o2 != 0 && o3 != 0 && o4 != 0) {
      double const t = o1 / (o1 - o2), w = o3 / (o3 - o4);
      CPointD const x = A.a + u * t;
      out.push_back({i, t, x});
      out.push_back({j, w, x});
      return;
    }
    // A touch, or a collinear overlap (all four zero): split each segment at
    // the other's ends that fall inside it.
    if (o3 == 0) Inside(i, A, u, lu, B.a, out);
    if (o4 == 0) Inside(i, A, u, lu, B.b, out);
    if (o1 == 0) Inside(j, B, v, lv, A.a, out);
    if (o2 == 0) Inside(j, B, v, lv, A.b, out);
  }

 private:
  void Inside(std::uint32_t k, CSeg const& S, CPointD const& d, double len, CPointD const& p,
              std::vector<CSplit>& out) const {
    double const s = Dot(p - S.a, d) / len;  // distance along S
    if (s > m_snap && s < len - m_snap) out.push_back({k, s / len, p});
  }

  std::vector<CSeg> const& m_segs;
  double m_snap;
};

// Candidate pairs from a uniform grid: each segment is entered in the cells
// its own column slabs cross (not its whole bounding box, so one long edge
// does not fill the grid), padded so that a point on a cell border is seen
// from both sides.
void CandidatePairs(std::vector<CSeg> const& segs, std::vector<std::uint64_t>& pairs) {
  std::size_t const m = segs.size();
  double minx = segs[0].a.x, maxx = minx, miny = segs[0].a.y, maxy = miny, total = 0;
  for (CSeg const& s : segs) {
    minx = std::min({minx, s.a.x, s.b.x});
    maxx = std::max({maxx, s.a.x, s.b.x});
    miny = std::min({miny, s.a.y, s.b.y});
    maxy = std::max({maxy, s.a.y, s.b.y});
    total += std::hypot(s.b.x - s.a.x, s.b.y - s.a.y);
  }
  double const w = maxx - minx, hgt = maxy - miny;
  // About one segment per cell, and cells no smaller than a typical segment.
  double h = std::max(std::sqrt(w * hgt / static_cast<double>(m)), total / static_cast<double>(m));
  if (!(h > 0)) h = std::max({w, hgt, 1.0});
  auto cells = [&](double e) { return static_cast<std::size_t>(std::min(e / h, 1e9)) + 1; };
  while (static_cast<double>(cells(w)) * static_cast<double>(cells(hgt)) > 4.0 * static_cast<double>(m) + 16.0) h *= 1.5;
  std::size_t const nx = cells(w), ny = cells(hgt);
  double const pad = h * 1e-9;
  auto col = [&](double x) { return std::min(nx - 1, static_cast<std::size_t>(std::max(0.0, (x - minx) / h))); };
  auto row = [&](double y) { return std::min(ny - 1, static_cast<std::size_t>(std::max(0.0, (y - miny) / h))); };

  // Two passes over the same cell enumeration: count, then fill.
  std::vector<std::uint32_t> start(nx * ny + 1, 0), items;
  auto visit = [&](auto&& emit) {
    for (std::uint32_t k = 0; k < m; ++k) {
      CSeg const& s = segs[k];
      CPointD const a = Less(s.a, s.b) ? s.a : s.b, b = Less(s.a, s.b) ? s.b : s.a;
      std::size_t const c0 = col(a.x - pad), c1 = col(b.x + pad);
      for (std::size_t c = c0; c <= c1; ++c) {
        double y0 = a.y, y1 = b.y;
        if (b.x > a.x) {
          double const xl = std::max(a.x, minx + static_cast<double>(c) * h);
          double const xr = std::min(b.x, minx + static_cast<double>(c + 1) * h);
          y0 = a.y + (b.y - a.y) * ((xl - a.x) / (b.x - a.x));
          y1 = a.y + (b.y - a.y) * ((xr - a.x) / (b.x - a.x));
        }
        std::size_t const r0 = row(std::min(y0, y1) - pad), r1 = row(std::max(y0, y1) + pad);
        for (std::size_t r = r0; r <= r1; ++r) emit(r * nx + c, k);
      }
    }
  };
  visit([&](std::size_t cell, std::uint32_t) { ++start[cell + 1]; });
  for (std::size_t c = 0; c < nx * ny; ++c) start[c + 1] += start[c];
  items.resize(start.back());
  std::vector<std::uint32_t> fill(start.begin(), start.end() - 1);
  visit([&](std::size_t cell, std::uint32_t k) { items[fill[cell]++] = k; });

  for (std::size_t c = 0; c < nx * ny; ++c)
    for (std::uint32_t i = start[c]; i < start[c + 1]; ++i)
      for (std::uint32_t j = i + 1; j < start[c + 1]; ++j) {
        std::uint64_t const a = std::min(items[i], items[j]), b = std::max(items[i], items[j]);
        pairs.push_back(a << 32 | b);
      }
  std::sort(pairs.begin(), pairs.end());
  pairs.erase(std::unique(pairs.begin(), pairs.end()), pairs.end());
}

}  // namespace

void WindingBoundary(std::vector<CLoop> const& loops, int tag, std::vector<std::vector<CPointD>>& out) {
  out.clear();
  std::vector<CSeg> segs;
  double mag = 0;
  for (CLoop const& l : loops) {
    std::size_t const n = l.pts.size();
    for (std::size_t i = 0; i < n; ++i) {
      CPointD const& a = l.pts[i];
      CPointD const& b = l.pts[(i + 1) % n];
      mag = std::max({mag, std::abs(a.x), std::abs(a.y)});
      if (!Equal(a, b)) segs.push_back({a, b, l.tags[i]});
    }
  }
  if (segs.empty()) return;

  // 1. Split at crossings and touches.
  std::vector<CSplit> splits;
  {
    std::vector<std::uint64_t> pairs;
    CandidatePairs(segs, pairs);
    CSplitter const splitter(segs, tol::kOffsetSnapRel * std::max(mag, 1.0));
    for (std::uint64_t p : pairs)
      splitter.Pair(static_cast<std::uint32_t>(p >> 32), static_cast<std::uint32_t>(p & 0xffffffffu), splits);
  }
  std::sort(splits.begin(), splits.end(),
            [](CSplit const& a, CSplit const& b) { return a.seg < b.seg || (a.seg == b.seg && a.t < b.t); });

  struct CPiece {
    CPointD a, b;
    unsigned char tag;
  };
  std::vector<CPiece> pieces;
  pieces.reserve(segs.size() + splits.size());
  for (std::size_t k = 0, s = 0; k < segs.size(); ++k) {
    CPointD prev = segs[k].a;
    for (; s < splits.size() && splits[s].seg == k; ++s)
      if (!Equal(prev, splits[s].p) && !Equal(splits[s].p, segs[k].b)) {
        pieces.push_back({prev, splits[s].p, segs[k].tag});
        prev = splits[s].p;
      }
    pieces.push_back({prev, segs[k].b, segs[k].tag});
  }

  // 2. Nodes: the distinct end points, sorted by x then y, so node 0 is the
  // leftmost (lowest) point of the arrangement.
  std::vector<CPointD> nodes;
  nodes.reserve(2 * pieces.size());
  for (CPiece const& p : pieces) { nodes.push_back(p.a); nodes.push_back(p.b); }
  std::sort(nodes.begin(), nodes.end(), Less);
  nodes.erase(std::unique(nodes.begin(), nodes.end(), Equal), nodes.end());
  auto id = [&](CPointD const& p) {
    return static_cast<std::uint32_t>(std::lower_bound(nodes.begin(), nodes.end(), p, Less) - nodes.begin());
  };

  // 3. Undirected edges with the net count of pieces running low id -> high
  // id; overlapping pieces of opposite direction cancel. An edge whose count
  // cancels stays: it bounds no region but keeps the faces connected.
  struct CRaw {
    std::uint32_t u, v;
    int dir;
    unsigned char tag;
  };
  std::vector<CRaw> raw;
  raw.reserve(pieces.size());
  for (CPiece const& p : pieces) {
    std::uint32_t const a = id(p.a), b = id(p.b);
    if (a != b) raw.push_back({std::min(a, b), std::max(a, b), a < b ? 1 : -1, p.tag});
  }
  std::sort(raw.begin(), raw.end(), [](CRaw const& a, CRaw const& b) { return a.u < b.u || (a.u == b.u && a.v < b.v); });
  struct CEdgeRec {
    std::uint32_t u, v;
    int count;
    unsigned tagFwd, tagBwd;  // bit masks of the tags running each way
  };
  std::vector<CEdgeRec> edges;
  for (std::size_t i = 0; i < raw.size();) {
    CEdgeRec e{raw[i].u, raw[i].v, 0, 0, 0};
    for (; i < raw.size() && raw[i].u == e.u && raw[i].v == e.v; ++i) {
      e.count += raw[i].dir;
      (raw[i].dir > 0 ? e.tagFwd : e.tagBwd) |= 1u << std::min<unsigned>(raw[i].tag, 31);
    }
    edges.push_back(e);
  }

  // 4. Half-edges 2e (u -> v) and 2e + 1 (v -> u), sorted by angle around
  // their origin.
  std::size_t const nh = 2 * edges.size();
  auto org = [&](std::size_t h) { return (h & 1) ? edges[h >> 1].v : edges[h >> 1].u; };
  auto dst = [&](std::size_t h) { return (h & 1) ? edges[h >> 1].u : edges[h >> 1].v; };
  auto weight = [&](std::size_t h) { return (h & 1) ? -edges[h >> 1].count : edges[h >> 1].count; };
  std::vector<double> angle(nh);
  std::vector<std::uint32_t> first(nodes.size() + 1, 0), around(nh), pos(nh);
  for (std::size_t h = 0; h < nh; ++h) {
    CPointD const d = nodes[dst(h)] - nodes[org(h)];
    angle[h] = std::atan2(d.y, d.x);
    ++first[org(h) + 1];
  }
  for (std::size_t v = 0; v < nodes.size(); ++v) first[v + 1] += first[v];
  {
    std::vector<std::uint32_t> fill(first.begin(), first.end() - 1);
    for (std::size_t h = 0; h < nh; ++h) around[fill[org(h)]++] = static_cast<std::uint32_t>(h);
  }
  for (std::size_t v = 0; v < nodes.size(); ++v) {
    std::sort(around.begin() + first[v], around.begin() + first[v + 1],
              [&](std::uint32_t a, std::uint32_t b) { return angle[a] < angle[b] || (angle[a] == angle[b] && a < b); });
    for (std::uint32_t k = first[v]; k < first[v + 1]; ++k) pos[around[k]] = k;
  }
  // The half-edge after h on the face to h's left: at h's head, the one just
  // clockwise of the way back.
  auto cw = [&](std::uint32_t h) {
    std::uint32_t const v = org(h), k = pos[h];
    return around[k == first[v] ? first[v + 1] - 1 : k - 1];
  };
  auto next = [&](std::uint32_t h) { return cw(h ^ 1u); };

  // 5. Faces and their winding numbers.
  std::vector<std::uint32_t> face(nh, UINT32_MAX), faceStart;
  for (std::uint32_t h = 0; h < nh; ++h) {
    if (face[h] != UINT32_MAX) continue;
    auto const f = static_cast<std::uint32_t>(faceStart.size());
    faceStart.push_back(h);
    for (std::uint32_t g = h; face[g] == UINT32_MAX; g = next(g)) face[g] = f;
  }
  constexpr int kUnset = INT32_MIN;
  std::vector<int> wind(faceStart.size(), kUnset);
  std::vector<std::uint32_t> queue;
  for (std::uint32_t v = 0; v < nodes.size(); ++v) {
    if (first[v] == first[v + 1] || wind[face[around[first[v + 1] - 1]]] != kUnset) continue;
    // The leftmost node of a component not reached yet: the face left of its
    // steepest out-edge holds the ray going left from it. Its winding is 0
    // for the first component; a later one counts the edges of the others
    // that the ray crosses.
    CPointD const p = nodes[v];
    int w0 = 0;
    if (v != 0)
      for (CEdgeRec const& e : edges) {
        CPointD const a = nodes[e.u], b = nodes[e.v];
        double const c = Cross(b - a, p - a);
        if (a.y <= p.y && b.y > p.y && c < 0) w0 -= e.count;
        if (a.y > p.y && b.y <= p.y && c > 0) w0 += e.count;
      }
    std::uint32_t const f0 = face[around[first[v + 1] - 1]];
    wind[f0] = w0;
    queue.assign(1, f0);
    while (!queue.empty()) {
      std::uint32_t const f = queue.back();
      queue.pop_back();
      std::uint32_t g = faceStart[f];
      do {
        std::uint32_t const o = face[g ^ 1u];
        if (wind[o] == kUnset) {
          wind[o] = wind[f] - weight(g);
          queue.push_back(o);
        }
        g = next(g);
      } while (g != faceStart[f]);
    }
  }

  // 6. The boundary of {winding > 0}, inside on the left; `sel` marks the
  // part asked for.
  std::vector<char> boundary(nh), sel(nh);
  for (std::uint32_t h = 0; h < nh; ++h) {
    boundary[h] = wind[face[h]] > 0 && wind[face[h ^ 1u]] <= 0;
    unsigned const tags = (h & 1) ? edges[h >> 1].tagBwd : edges[h >> 1].tagFwd;
    sel[h] = boundary[h] && (tag < 0 || (tags >> std::min(tag, 31) & 1u));
  }
  // The next boundary half-edge after h: the first one clockwise from the way
  // back, which is the sharpest left turn, so a pinch splits the rings.
  auto nextBoundary = [&](std::uint32_t h) {
    std::uint32_t g = cw(h ^ 1u);
    for (std::uint32_t k = first[dst(h) + 1] - first[dst(h)]; k-- > 0 && !boundary[g];) g = cw(g);
    return boundary[g] ? g : UINT32_MAX;
  };
  std::vector<std::uint32_t> succ(nh, UINT32_MAX);
  std::vector<char> hasPred(nh, 0), used(nh, 0);
  for (std::uint32_t h = 0; h < nh; ++h)
    if (sel[h] && (succ[h] = nextBoundary(h)) != UINT32_MAX && sel[succ[h]]) hasPred[succ[h]] = 1;
  auto walk = [&](std::uint32_t h) {
    std::vector<CPointD> line{nodes[org(h)]};
    for (; h != UINT32_MAX && sel[h] && !used[h]; h = succ[h]) {
      used[h] = 1;
      line.push_back(nodes[dst(h)]);
    }
    out.push_back(std::move(line));
  };
  // Open chains first (from edges nothing selected leads into), then cycles.
  for (std::uint32_t h = 0; h < nh; ++h)
    if (sel[h] && !hasPred[h] && !used[h]) walk(h);
  for (std::uint32_t h = 0; h < nh; ++h)
    if (sel[h] && !used[h]) walk(h);
}

}  // namespace curvefit_detail

namespace {

using curvefit_detail::CLoop;
using curvefit_detail::Cross;
using curvefit_detail::Dot;

CPointD LeftNormal(CPointD const& a, CPointD const& b) {
  CPointD const d = b - a;
  double const l = std::hypot(d.x, d.y);
  return {-d.y / l, d.x / l};
}

CPointD Rotate(CPointD const& v, double phi) {
  double const c = std::cos(phi), s = std::sin(phi);
  return {v.x * c - v.y * s, v.x * s + v.y * c};
}

// The raw offset of a cyclic vertex list at delta along the left normals,
// with a join (or, at the vertices capA and capB, a cap) at every vertex.
// Each point is pushed with the tag of the segment that starts at it: the
// tag of the edge it belongs to, 0 inside a cap.
class COffsetBuilder {
 public:
  static constexpr double kMaxArcSteps = 1e5;

  COffsetBuilder(COffsetParams const& prm, double delta) : m_prm(prm), m_delta(delta) {
    double const r = std::abs(delta);
    // The largest arc step whose chord stays within the tolerance; at least
    // four steps to a quarter turn, so a coarse tolerance still gives arcs.
    m_step = m_prm.dChordTol < r ? std::min(2.0 * std::acos(1.0 - m_prm.dChordTol / r), M_PI / 8) : M_PI / 8;
    // A bounded point count, whatever the tolerance.
    m_step = std::max(m_step, 2 * M_PI / kMaxArcSteps);
  }

  void Cycle(std::vector<CPointD> const& v, std::vector<unsigned char> const& edgeTag, std::size_t capA,
             std::size_t capB, CLoop& loop) {
    std::size_t const m = v.size();
    m_loop = &loop;
    for (std::size_t i = 0; i < m; ++i) {
      std::size_t const prev = (i + m - 1) % m;
      CPointD const n0 = LeftNormal(v[prev], v[i]), n1 = LeftNormal(v[i], v[(i + 1) % m]);
      bool const cap = i == capA || i == capB;
      if (cap)
        Cap(v[i], n0, n1);
      else
        Join(v[i], n0, n1, edgeTag[i]);
      loop.tags.back() = edgeTag[i];
    }
  }

 private:
  void Push(CPointD const& p, unsigned char tag) {
    m_loop->pts.push_back(p);
    m_loop->tags.push_back(tag);
  }

  void Arc(CPointD const& p, CPointD const& n0, double phi, unsigned char tag) {
    auto const steps = static_cast<int>(std::ceil(std::abs(phi) / m_step - 1e-9));
    Push(p + n0 * m_delta, tag);
    for (int k = 1; k < steps; ++k) Push(p + Rotate(n0 * m_delta, phi * k / steps), tag);
    Push(p + Rotate(n0 * m_delta, phi), tag);
  }

  void Join(CPointD const& p, CPointD const& n0, CPointD const& n1, unsigned char tag) {
    CPointD const a = p + n0 * m_delta, b = p + n1 * m_delta;
    double const cr = Cross(n0, n1), dt = Dot(n0, n1);
    if (std::abs(cr) <= tol::kEps && dt > 0) {  // straight on
      Push(a, tag);
      Push(b, tag);
      return;
    }
    if (cr * m_delta > 0) {
      // The inner side: the two offsets overlap. Going back through the
      // vertex makes the overlap a loop of the wrong winding, which the
      // winding filter removes, where cutting at the offsets' crossing would
      // fail for short edges.
      Push(a, tag);
      Push(p, tag);
      Push(b, tag);
      return;
    }
    switch (m_prm.eJoin) {
      case JoinRound:
        Arc(p, n0, -std::copysign(std::abs(std::atan2(cr, dt)), m_delta), tag);
        return;
      case JoinMiter:
        if (1 + dt > tol::kEps && std::sqrt(2 / (1 + dt)) <= std::max(m_prm.dMiterLimit, 1.0)) {
          Push(p + (n0 + n1) * (m_delta / (1 + dt)), tag);
          return;
        }
        [[fallthrough]];
      case JoinBevel:
        Push(a, tag);
        Push(b, tag);
        return;
    }
  }

  // A half turn around an open polyline's end, from the side arriving (n0)
  // to the side leaving (n1 = -n0).
  void Cap(CPointD const& p, CPointD const& n0, CPointD const& n1) {
    // The direction of travel into the end point is n0 turned clockwise.
    CPointD const fwd{n0.y, -n0.x};
    double const r = std::abs(m_delta);
    switch (m_prm.eCap) {
      case CapRound:
        Arc(p, n0, -std::copysign(M_PI, m_delta), 0);
        return;
      case CapSquare:
        Push(p + n0 * m_delta + fwd * r, 0);
        Push(p + n1 * m_delta + fwd * r, 0);
        return;
      case CapFlat:
        Push(p + n0 * m_delta, 0);
        Push(p + n1 * m_delta, 0);
        return;
    }
  }

  COffsetParams const& m_prm;
  double m_delta;
  double m_step;
  CLoop* m_loop = nullptr;
};

double SignedArea(std::vector<CPointD> const& v) {
  double a = 0;
  for (std::size_t i = 0, n = v.size(); i < n; ++i) a += Cross(v[i], v[(i + 1) % n]);
  return 0.5 * a;
}

bool AllFinite(std::vector<std::vector<CPointD>> const& polys) {
  for (auto const& p : polys)
    for (CPointD const& q : p)
      if (!std::isfinite(q.x) || !std::isfinite(q.y)) return false;
  return true;
}

}  // namespace

bool PolyOffset(std::vector<CPointD> const& poly, double dDist, COffsetParams const& params,
                std::vector<std::vector<CPointD>>& result) {
  if (!std::isfinite(dDist) || dDist == 0 || !(params.dChordTol > 0) || !std::isfinite(params.dChordTol)) return false;
  if (params.eJoin != JoinMiter && params.eJoin != JoinRound && params.eJoin != JoinBevel) return false;
  if (params.eCap != CapFlat && params.eCap != CapRound && params.eCap != CapSquare) return false;
  // Distinct consecutive vertices only: a zero-length edge has no normal.
  std::vector<CPointD> v;
  v.reserve(poly.size());
  for (CPointD const& p : poly) {
    if (!std::isfinite(p.x) || !std::isfinite(p.y)) return false;
    if (v.empty() || std::hypot(p.x - v.back().x, p.y - v.back().y) >= tol::kEps) v.push_back(p);
  }
  bool const closed = poly.size() > 1 && std::hypot(poly.front().x - poly.back().x, poly.front().y - poly.back().y) < tol::kEps;
  if (closed && v.size() > 1 && std::hypot(v.front().x - v.back().x, v.front().y - v.back().y) < tol::kEps) v.pop_back();
  if (v.size() < (closed ? 3u : 2u)) return false;

  std::vector<CLoop> loops(1);
  std::vector<std::vector<CPointD>> out;
  auto finite = [&] {
    for (CPointD const& p : loops[0].pts)
      if (!(std::abs(p.x) <= tol::kHugeCoord && std::abs(p.y) <= tol::kHugeCoord)) return false;
    return true;
  };
  if (closed) {
    // Work counter-clockwise, where "inside" is the left, so that the
    // region is always {winding > 0}; turn the results back at the end.
    bool const cw = SignedArea(v) < 0;
    if (cw) std::reverse(v.begin(), v.end());
    COffsetBuilder(params, cw ? -dDist : dDist).Cycle(v, std::vector<unsigned char>(v.size(), 1), SIZE_MAX, SIZE_MAX, loops[0]);
    if (!finite()) return false;
    curvefit_detail::WindingBoundary(loops, -1, out);
    if (cw)
      for (auto& r : out) std::reverse(r.begin(), r.end());
  } else {
    // The path there and back, offset on its right: the outline around the
    // polyline, counter-clockwise. Edges 0 .. k-1 run forward on the right
    // side, edges k .. 2k-1 back along the left side.
    std::size_t const k = v.size() - 1;
    std::vector<CPointD> path(v);
    path.insert(path.end(), v.rbegin() + 1, v.rend() - 1);
    std::vector<unsigned char> side(path.size(), 1);
    if (!params.bOutline)
      for (std::size_t i = 0; i < path.size(); ++i) side[i] = (i < k) == (dDist < 0);
    COffsetParams prm = params;
    if (!params.bOutline) prm.eCap = CapFlat;
    COffsetBuilder(prm, -std::abs(dDist)).Cycle(path, side, 0, k, loops[0]);
    if (!finite()) return false;
    curvefit_detail::WindingBoundary(loops, params.bOutline ? -1 : 1, out);
    // The left side is traversed backwards.
    if (!params.bOutline && dDist > 0)
      for (auto& r : out) std::reverse(r.begin(), r.end());
  }
  if (!AllFinite(out)) return false;
  result.swap(out);
  return true;
}

bool PolyOffset(std::vector<CPointD>& poly, double dDist, COffsetParams const& params) {
  std::vector<std::vector<CPointD>> out;
  if (!PolyOffset(static_cast<std::vector<CPointD> const&>(poly), dDist, params, out) || out.size() > 1) return false;
  if (out.empty())
    poly.clear();
  else
    poly.swap(out[0]);
  return true;
}

}  // namespace Math
