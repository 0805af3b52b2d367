#include <math/edgecross.h>
#include <math/plgnoperator.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "core/tolerance.h"
#include "polygon/plgnoperator_impl.h"

namespace Math::plgn_detail {
namespace {

constexpr double kPi = 3.14159265358979323846;
// The sweep settles real data in one or two passes; the bound only stops
// rounding from cutting the same place forever.
constexpr int kMaxPasses = 10;

bool Finite(CPointD const& p) { return std::isfinite(p.x) && std::isfinite(p.y); }

bool LexLess(CPointD const& a, CPointD const& b) { return a.x < b.x || (a.x == b.x && a.y < b.y); }

double Dist(CPointD const& a, CPointD const& b) { return std::hypot(a.x - b.x, a.y - b.y); }

// Union-find whose root is always the smallest index, so the original
// vertices (registered first) win over points the sweep computed.
struct CUnionFind {
  std::vector<int> parent;
  explicit CUnionFind(std::size_t n) : parent(n) { std::iota(parent.begin(), parent.end(), 0); }
  int Find(int i) {
    while (parent[i] != i) i = parent[i] = parent[parent[i]];
    return i;
  }
  void Unite(int a, int b) {
    a = Find(a);
    b = Find(b);
    if (a < b) parent[b] = a;
    else if (b < a) parent[a] = b;
  }
};

double SignedArea(std::vector<CPointD> const& ring) {
  double s = 0.0;
  for (std::size_t i = 0, n = ring.size(); i < n; ++i) {
    CPointD const& p = ring[i];
    CPointD const& q = ring[(i + 1) % n];
    s += p.x * q.y - q.x * p.y;
  }
  return 0.5 * s;
}

}  // namespace

void CEngine::AddContour(CPointD const* pts, std::size_t count, int tag) {
  bool& defect = m_defectOf[tag == 2 ? 1 : 0];
  if (pts == nullptr || count < 2) {
    m_defect = defect = true;
    return;
  }
  for (std::size_t i = 0; i < count; ++i) {
    if (!Finite(pts[i])) {
      m_defect = defect = true;
      return;
    }
  }
  bool const closed = Dist(pts[0], pts[count - 1]) < tol::kEps;
  if (!closed) m_defect = defect = true;
  std::size_t const n = closed ? count - 1 : count;
  std::size_t distinct = 0;
  for (std::size_t i = 0; i < n; ++i) {
    if (Dist(pts[i], pts[(i + 1) % n]) < tol::kEps) m_cheapDefect = true;
    else ++distinct;
  }
  // Fewer than three distinct vertices is no simple ring, and its pieces
  // may all vanish, leaving nothing in the classification to say so: an
  // operand holding one must be rebuilt, never copied as it stands.
  if (distinct < 3) m_cheapDefect = m_defect = defect = true;
  int const base = static_cast<int>(m_nodes.size());
  int const contour = m_nContours++;
  m_nodes.insert(m_nodes.end(), pts, pts + n);
  m_carrier.resize(m_nodes.size(), CCarrier{{0, 0}, {0, 0}, false});
  for (std::size_t i = 0; i < n; ++i) {
    m_segs.push_back({base + static_cast<int>(i), base + static_cast<int>((i + 1) % n), tag, contour});
  }
  m_analysed = false;
}

// Nodes closer than the touch threshold become one: the sweep cuts an edge
// at the foot of a touching vertex, up to that far from the vertex, and the
// two must be the same node or the touch would leave a gap in the result.
void CEngine::MergeNodes() {
  std::size_t const n = m_nodes.size();
  double const tol = tol::kNodeMerge;
  struct CKey {
    double cell;
    double y;
    int idx;
  };
  std::vector<CKey> keys(n);
  for (std::size_t i = 0; i < n; ++i) keys[i] = {std::floor(m_nodes[i].x / tol), m_nodes[i].y, static_cast<int>(i)};
  auto less = [](CKey const& a, CKey const& b) { return a.cell < b.cell || (a.cell == b.cell && a.y < b.y); };
  std::sort(keys.begin(), keys.end(), less);
  CUnionFind uf(n);
  // A pair closer than tol lies in the same or in adjacent cells of width
  // tol; looking one cell to the right from each point finds every pair.
  for (CKey const& k : keys) {
    for (double dc = 0.0; dc <= 1.0; dc += 1.0) {
      auto it = std::lower_bound(keys.begin(), keys.end(), CKey{k.cell + dc, k.y - tol, 0}, less);
      for (; it != keys.end() && it->cell == k.cell + dc && it->y <= k.y + tol; ++it) {
        if (it->idx != k.idx && Dist(m_nodes[it->idx], m_nodes[k.idx]) < tol) uf.Unite(it->idx, k.idx);
      }
    }
  }
  std::vector<char> refined(n, 0);
  for (std::size_t i = 0; i < n; ++i) {
    int const r = uf.Find(static_cast<int>(i));
    if (r == static_cast<int>(i) || refined[r] || !m_carrier[r].computed || !m_carrier[i].computed) continue;
    CCarrier const& a = m_carrier[r];
    CCarrier const& b = m_carrier[i];
    long double const d1x = static_cast<long double>(a.q.x) - a.p.x, d1y = static_cast<long double>(a.q.y) - a.p.y;
    long double const d2x = static_cast<long double>(b.q.x) - b.p.x, d2y = static_cast<long double>(b.q.y) - b.p.y;
    long double const den = d1x * d2y - d1y * d2x;
    if (den == 0) continue;
    long double const wx = static_cast<long double>(b.p.x) - a.p.x, wy = static_cast<long double>(b.p.y) - a.p.y;
    long double const t = (wx * d2y - wy * d2x) / den;
    CPointD const x{static_cast<double>(a.p.x + d1x * t), static_cast<double>(a.p.y + d1y * t)};
    // Only a refinement: a crossing far from both cuts is not this one.
    if (!(Dist(x, m_nodes[r]) < tol && Dist(x, m_nodes[i]) < tol)) continue;
    m_nodes[r] = x;
    refined[r] = 1;
  }
  // Keep only nodes still in use, in index order, so originals stay first.
  std::vector<int> remap(n, -1);
  for (CSeg& s : m_segs) {
    s.u = uf.Find(s.u);
    s.v = uf.Find(s.v);
    if (s.u != s.v) remap[s.u] = remap[s.v] = 0;
  }
  std::vector<CPointD> nodes;
  std::vector<CCarrier> carrier;
  nodes.reserve(n);
  carrier.reserve(n);
  for (std::size_t i = 0; i < n; ++i) {
    if (remap[i] < 0) continue;
    remap[i] = static_cast<int>(nodes.size());
    nodes.push_back(m_nodes[i]);
    carrier.push_back(m_carrier[i]);
  }
  m_nodes.swap(nodes);
  m_carrier.swap(carrier);
  std::vector<CSeg> segs;
  segs.reserve(m_segs.size());
  for (CSeg const& s : m_segs) {
    if (s.u != s.v) segs.push_back({remap[s.u], remap[s.v], s.tag, s.contour});
  }
  m_segs.swap(segs);
}

bool CEngine::SplitPass() {
  sba_detail::CEvents events;
  std::vector<char> flip(m_segs.size());
  auto ends = [this, &flip](std::size_t i) {
    CPointD const& p = m_nodes[m_segs[i].u];
    CPointD const& q = m_nodes[m_segs[i].v];
    // Vertical edges run upward: the sweep's vertical walk starts at beg.
    bool const f = std::abs(p.x - q.x) < tol::kFltEps ? p.y > q.y : p.x > q.x;
    flip[i] = f;
    return f ? std::make_pair(q, p) : std::make_pair(p, q);
  };
  // End abscissae are events too: where an edge ends its neighbours change,
  // and two edges that become neighbours only there are tested nowhere else.
  for (std::size_t i = 0; i < m_segs.size(); ++i) {
    sba_detail::CEdge const e(static_cast<unsigned>(i), ends(i));
    events.Add(e);
    events.AddX(e.end().x);
  }
  sba_detail::CSplitTable splits;
  SplitAtCrossings(events, splits);

  bool cut = false;
  std::vector<CSeg> segs;
  segs.reserve(m_segs.size() + 2 * splits.size());
  std::vector<int> chain;
  for (std::size_t i = 0; i < m_segs.size(); ++i) {
    CSeg const s = m_segs[i];
    auto const it = splits.find(static_cast<unsigned>(i));
    if (it == splits.end()) {
      segs.push_back(s);
      continue;
    }
    int const begNode = flip[i] ? s.v : s.u;
    int const endNode = flip[i] ? s.u : s.v;
    CPointD const beg = m_nodes[begNode];
    CPointD const end = m_nodes[endNode];
    chain.assign(1, begNode);
    CPointD last = beg;
    for (double t : it->second) {
      if (!(t > 0.0 && t < 1.0)) continue;
      CPointD const p = beg + (end - beg) * t;
      // A cut that would merge into a neighbouring node anyway is no cut;
      // counting it would keep the passes going for nothing.
      if (Dist(p, last) < tol::kNodeMerge || Dist(p, end) < tol::kNodeMerge) continue;
      chain.push_back(static_cast<int>(m_nodes.size()));
      m_nodes.push_back(p);
      m_carrier.push_back({beg, end, true});
      last = p;
      cut = true;
    }
    chain.push_back(endNode);
    if (flip[i]) std::reverse(chain.begin(), chain.end());
    for (std::size_t k = 0; k + 1 < chain.size(); ++k) segs.push_back({chain[k], chain[k + 1], s.tag, s.contour});
  }
  m_segs.swap(segs);
  return cut;
}

void CEngine::MakePieces() {
  m_pieces.clear();
  struct CRef {
    int lo;
    int hi;
    int dir;
    std::size_t seg;
  };
  std::vector<CRef> refs;
  refs.reserve(m_segs.size());
  for (std::size_t i = 0; i < m_segs.size(); ++i) {
    CSeg const& s = m_segs[i];
    bool const fwd = LexLess(m_nodes[s.u], m_nodes[s.v]);
    refs.push_back({fwd ? s.u : s.v, fwd ? s.v : s.u, fwd ? 1 : -1, i});
  }
  std::sort(refs.begin(), refs.end(), [](CRef const& a, CRef const& b) {
    return a.lo < b.lo || (a.lo == b.lo && (a.hi < b.hi || (a.hi == b.hi && a.seg < b.seg)));
  });
  for (std::size_t i = 0; i < refs.size();) {
    CPiece p{refs[i].lo, refs[i].hi, {0, 0}, {0, 0}, {-1, -1}, {false, false}, false, {0, 0}, {0, 0}};
    for (; i < refs.size() && refs[i].lo == p.lo && refs[i].hi == p.hi; ++i) {
      CSeg const& s = m_segs[refs[i].seg];
      int const op = s.tag == 2 ? 1 : 0;
      p.w[op] += refs[i].dir;
      ++p.n[op];
      if (p.contour[op] < 0) p.contour[op] = s.contour;
      else if (p.contour[op] != s.contour) p.mixed[op] = true;
    }
    m_pieces.push_back(p);
  }
}

// Winding numbers by slabs: between two consecutive node abscissae no piece
// starts, ends or crosses another, so the pieces spanning the slab are
// ordered by height and each one's lower side has the winding of all the
// pieces below it. The order carries over from one slab to the next except
// where pieces come and go, so an insertion sort keeps it in linear time.
void CEngine::Classify() {
  std::vector<int> slanted, vertical;
  std::vector<double> xs;
  xs.reserve(2 * m_pieces.size());
  for (std::size_t i = 0; i < m_pieces.size(); ++i) {
    CPiece const& p = m_pieces[i];
    double const x0 = m_nodes[p.lo].x;
    double const x1 = m_nodes[p.hi].x;
    (x0 == x1 ? vertical : slanted).push_back(static_cast<int>(i));
    xs.push_back(x0);
    xs.push_back(x1);
  }
  std::sort(xs.begin(), xs.end());
  xs.erase(std::unique(xs.begin(), xs.end()), xs.end());
  auto byLoX = [this](int a, int b) { return m_nodes[m_pieces[a].lo].x < m_nodes[m_pieces[b].lo].x; };
  std::sort(slanted.begin(), slanted.end(), byLoX);
  std::sort(vertical.begin(), vertical.end(), byLoX);
  // Heights at the slab's ends are exact at a piece's own end points, so two
  // pieces leaving (or reaching) one node compare by where they go, however
  // thin the slab: a midpoint abscissa could round onto the node itself.
  auto yAt = [this](int i, double x) {
    CPointD const& a = m_nodes[m_pieces[i].lo];
    CPointD const& b = m_nodes[m_pieces[i].hi];
    if (x == a.x) return a.y;
    if (x == b.x) return b.y;
    return a.y + (x - a.x) * (b.y - a.y) / (b.x - a.x);
  };
  struct CActive {
    double y0, y1, slope;
    int idx;
  };
  auto below = [](CActive const& a, CActive const& b) {
    double const sa = a.y0 + a.y1, sb = b.y0 + b.y1;
    if (sa != sb) return sa < sb;
    if (a.y0 == b.y0) return a.slope < b.slope;  // from one node: the flatter is lower
    return a.slope > b.slope;                    // into one node: the steeper is lower
  };

  std::vector<CActive> active;
  std::vector<int> sumA, sumB;
  std::size_t is = 0, iv = 0;
  for (std::size_t i = 0; i < xs.size(); ++i) {
    double const x0 = xs[i];
    active.erase(std::remove_if(active.begin(), active.end(),
                                [&](CActive const& e) { return m_nodes[m_pieces[e.idx].hi].x <= x0; }),
                 active.end());
    for (; is < slanted.size() && m_nodes[m_pieces[slanted[is]].lo].x == x0; ++is) {
      CPiece const& p = m_pieces[slanted[is]];
      CPointD const& a = m_nodes[p.lo];
      CPointD const& b = m_nodes[p.hi];
      active.push_back({0.0, 0.0, (b.y - a.y) / (b.x - a.x), slanted[is]});
    }
    sumA.assign(1, 0);
    sumB.assign(1, 0);
    if (i + 1 < xs.size()) {
      double const x1 = xs[i + 1];
      for (auto& e : active) {
        e.y0 = yAt(e.idx, x0);
        e.y1 = yAt(e.idx, x1);
      }
      for (std::size_t j = 1; j < active.size(); ++j) {
        CActive const e = active[j];
        std::size_t k = j;
        for (; k > 0 && below(e, active[k - 1]); --k) active[k] = active[k - 1];
        active[k] = e;
      }
      int wa = 0, wb = 0;
      for (auto const& e : active) {
        CPiece& p = m_pieces[e.idx];
        if (!p.classified) {
          p.right[0] = wa;
          p.right[1] = wb;
          p.left[0] = wa + p.w[0];
          p.left[1] = wb + p.w[1];
          p.classified = true;
        }
        wa += p.w[0];
        wb += p.w[1];
        sumA.push_back(wa);
        sumB.push_back(wb);
      }
    }
    // A vertical piece reads the slab to its right at its mid-height: the
    // pieces of that slab do not cross it, so at x0 they lie wholly below or
    // above that height and the count below is a prefix of the slab order.
    for (; iv < vertical.size() && m_nodes[m_pieces[vertical[iv]].lo].x == x0; ++iv) {
      CPiece& p = m_pieces[vertical[iv]];
      double const ymid = 0.5 * (m_nodes[p.lo].y + m_nodes[p.hi].y);
      auto const pos = std::partition_point(active.begin(), active.end(), [&](CActive const& e) { return e.y0 < ymid; });
      std::size_t const k = static_cast<std::size_t>(pos - active.begin());
      std::size_t const kk = std::min(k, sumA.size() - 1);
      p.right[0] = sumA[kk];
      p.right[1] = sumB[kk];
      // Upward, the left side is the smaller x: left = right + direction.
      p.left[0] = p.right[0] + p.w[0];
      p.left[1] = p.right[1] + p.w[1];
      p.classified = true;
    }
  }
}

void CEngine::Analyse() {
  if (m_analysed) return;
  m_cut = false;
  MergeNodes();
  for (int pass = 0; pass < kMaxPasses; ++pass) {
    if (!SplitPass()) break;
    m_cut = true;
    MergeNodes();
  }
  MakePieces();
  Classify();
  m_analysed = true;
}

CFlags CEngine::Flags(bool bOrientation) {
  Analyse();
  // own[op]: the operand must be rebuilt on its own (it crosses, touches or
  // cancels itself, was unclosed, or runs the wrong way); meet: the two
  // operands' boundaries share a node or a piece.
  bool own[2] = {m_defectOf[0], m_defectOf[1]};
  bool meet = false;
  bool anyBoth = false, anyAOnly = false, anyBOnly = false, anyA = false, anyB = false;
  std::vector<int> degree[2] = {std::vector<int>(m_nodes.size(), 0), std::vector<int>(m_nodes.size(), 0)};
  std::vector<int> owner[2] = {std::vector<int>(m_nodes.size(), -1), std::vector<int>(m_nodes.size(), -1)};
  for (CPiece const& p : m_pieces) {
    unsigned const mL = Membership(p.left);
    unsigned const mR = Membership(p.right);
    for (unsigned m : {mL, mR}) {
      anyBoth = anyBoth || m == 3;
      anyAOnly = anyAOnly || m == 1;
      anyBOnly = anyBOnly || m == 2;
      anyA = anyA || (m & 1u) != 0;
      anyB = anyB || (m & 2u) != 0;
    }
    meet = meet || (p.n[0] > 0 && p.n[1] > 0);
    for (int op = 0; op < 2; ++op) {
      if (p.n[op] == 0) continue;
      bool const bounds = In(p.left[op]) != In(p.right[op]);
      if (p.n[op] > 1 || p.mixed[op] || !bounds) own[op] = true;
      // A lone source must have its operand's inside on its left: outer
      // rings counter-clockwise, holes clockwise.
      if (bOrientation && p.n[op] == 1 && bounds && !In(p.w[op] > 0 ? p.left[op] : p.right[op])) own[op] = true;
      for (int node : {p.lo, p.hi}) {
        ++degree[op][node];
        if (owner[op][node] < 0) owner[op][node] = p.contour[op];
        else if (owner[op][node] != p.contour[op]) own[op] = true;
      }
    }
  }
  for (std::size_t i = 0; i < m_nodes.size(); ++i) {
    for (int op = 0; op < 2; ++op) own[op] = own[op] || (degree[op][i] != 0 && degree[op][i] != 2);
    meet = meet || (degree[0][i] != 0 && degree[1][i] != 0);
  }
  bool const clean = !own[0] && !own[1];
  CFlags f;
  // An operand to rebuild is never copied, so it counts as interacting.
  f.Set(0, anyBoth || !clean);
  f.Set(1, !clean || meet || m_cut);
  f.Set(2, m_cut);
  f.Set(3, clean && anyA && !anyAOnly);
  f.Set(4, clean && anyB && !anyBOnly);
  return f;
}

void CEngine::Build(COperation const& op, CStdPlgn& out) {
  Analyse();
  struct CDirEdge {
    int from;
    int to;
    double angle;
  };
  std::vector<CDirEdge> edges;
  for (CPiece const& p : m_pieces) {
    unsigned const mL = Membership(p.left);
    unsigned const mR = Membership(p.right);
    int const cA = static_cast<int>(mL & 1u) - static_cast<int>(mR & 1u);
    int const cB = static_cast<int>((mL >> 1) & 1u) - static_cast<int>((mR >> 1) & 1u);
    if (cA == 0 && cB == 0) continue;
    int const k = (cA != 0 && cB != 0) ? 2 : (cA != 0 ? ((mL & 2u) ? 1 : 3) : ((mL & 1u) ? 1 : 3));
    if (!op.KeepEdge({cA, cB}, k)) continue;
    bool inL = op.Inside(mL);
    bool const inR = op.Inside(mR);
    if (inL == inR) {
      // Only the symmetric difference accepts both sides; its inside is the
      // side covered by one operand alone.
      bool const oneL = mL == 1 || mL == 2;
      bool const oneR = mR == 1 || mR == 2;
      if (!inL || oneL == oneR) continue;
      inL = oneL;
    }
    int const from = inL ? p.lo : p.hi;
    int const to = inL ? p.hi : p.lo;
    CPointD const d = m_nodes[to] - m_nodes[from];
    edges.push_back({from, to, std::atan2(d.y, d.x)});
  }
  if (edges.empty()) return;

  // Outgoing edges per node, and the walk order of start edges.
  std::vector<int> first(m_nodes.size() + 1, 0);
  for (CDirEdge const& e : edges) ++first[e.from + 1];
  std::partial_sum(first.begin(), first.end(), first.begin());
  std::vector<int> out_edges(edges.size());
  {
    std::vector<int> fill(first.begin(), first.end() - 1);
    for (std::size_t i = 0; i < edges.size(); ++i) out_edges[fill[edges[i].from]++] = static_cast<int>(i);
  }
  std::vector<int> starts(edges.size());
  std::iota(starts.begin(), starts.end(), 0);
  std::sort(starts.begin(), starts.end(), [&](int a, int b) {
    CPointD const& pa = m_nodes[edges[a].from];
    CPointD const& pb = m_nodes[edges[b].from];
    if (pa.x != pb.x || pa.y != pb.y) return LexLess(pa, pb);
    return edges[a].angle < edges[b].angle || (edges[a].angle == edges[b].angle && a < b);
  });

  std::vector<char> used(edges.size(), 0);
  // The first unused edge clockwise from the reverse of the way in: the
  // tightest left turn, which keeps the inside (on the left) as small as
  // possible; going straight back (a spike) comes last.
  auto next = [&](int node, double inAngle) {
    int best = -1;
    double bestDelta = 0.0;
    double const back = inAngle + kPi;
    for (int j = first[node]; j < first[node + 1]; ++j) {
      int const e = out_edges[j];
      if (used[e]) continue;
      double delta = std::fmod(back - edges[e].angle, 2.0 * kPi);
      if (delta < 0.0) delta += 2.0 * kPi;
      if (delta < tol::kEps) delta = 2.0 * kPi;
      if (best < 0 || delta < bestDelta) {
        best = e;
        bestDelta = delta;
      }
    }
    return best;
  };

  std::vector<Math::poly_base<CPointD>> outers, holes;
  std::vector<int> pos(m_nodes.size(), -1);
  std::vector<int> path;
  auto emit = [&](std::size_t from) {
    if (path.size() - from < 3) return;
    Math::poly_base<CPointD> ring;
    ring.reserve(path.size() - from + 1);
    for (std::size_t q = from; q < path.size(); ++q) ring.push_back(m_nodes[path[q]]);
    double const area = SignedArea(ring);
    if (area == 0.0 || !std::isfinite(area)) return;
    std::rotate(ring.begin(), std::min_element(ring.begin(), ring.end(), LexLess), ring.end());
    ring.push_back(ring.front());
    (area > 0.0 ? outers : holes).push_back(std::move(ring));
  };
  for (int s : starts) {
    if (used[s]) continue;
    used[s] = 1;
    path.assign(1, edges[s].from);
    pos[edges[s].from] = 0;
    int cur = edges[s].to;
    double inAngle = edges[s].angle;
    for (;;) {
      if (pos[cur] >= 0) {
        std::size_t const p = static_cast<std::size_t>(pos[cur]);
        emit(p);
        for (std::size_t q = p + 1; q < path.size(); ++q) pos[path[q]] = -1;
        path.resize(p + 1);
      } else {
        pos[cur] = static_cast<int>(path.size());
        path.push_back(cur);
      }
      int const e = next(cur, inAngle);
      if (e < 0) break;
      used[e] = 1;
      inAngle = edges[e].angle;
      cur = edges[e].to;
    }
    // Either back at the start with nothing left to leave by, or a dead end
    // whose open path cannot bound anything.
    for (int node : path) pos[node] = -1;
  }

  // Holes to the smallest outer contour that holds them. Rings do not cross,
  // so one point of a hole decides; an edge midpoint is never a node, so it
  // cannot lie on another ring where rings touch.
  struct CBox {
    double l, b, r, t;
  };
  auto box = [](std::vector<CPointD> const& ring) {
    CBox bx{ring[0].x, ring[0].y, ring[0].x, ring[0].y};
    for (CPointD const& p : ring) {
      bx.l = std::min(bx.l, p.x);
      bx.r = std::max(bx.r, p.x);
      bx.b = std::min(bx.b, p.y);
      bx.t = std::max(bx.t, p.y);
    }
    return bx;
  };
  std::vector<CBox> outerBox;
  std::vector<double> outerArea;
  for (auto const& o : outers) {
    outerBox.push_back(box(o));
    outerArea.push_back(SignedArea(o));
  }
  std::vector<int> bySize(outers.size());
  std::iota(bySize.begin(), bySize.end(), 0);
  std::sort(bySize.begin(), bySize.end(), [&](int a, int b) { return outerArea[a] < outerArea[b]; });
  std::vector<std::vector<int>> holesOf(outers.size());
  for (std::size_t h = 0; h < holes.size(); ++h) {
    CBox const hb = box(holes[h]);
    CPointD const mid = (holes[h][0] + holes[h][1]) * 0.5;
    for (int o : bySize) {
      CBox const& ob = outerBox[o];
      if (hb.l < ob.l || hb.r > ob.r || hb.b < ob.b || hb.t > ob.t) continue;
      if (!CStdPlgn::PtInside(mid, outers[o])) continue;
      holesOf[o].push_back(static_cast<int>(h));
      break;
    }
  }
  auto byStart = [](std::vector<CPointD> const& a, std::vector<CPointD> const& b) { return LexLess(a[0], b[0]); };
  std::vector<int> order(outers.size());
  std::iota(order.begin(), order.end(), 0);
  std::sort(order.begin(), order.end(), [&](int a, int b) { return byStart(outers[a], outers[b]); });
  for (int o : order) {
    out.push_back(std::move(outers[o]));
    std::sort(holesOf[o].begin(), holesOf[o].end(), [&](int a, int b) { return byStart(holes[a], holes[b]); });
    for (int h : holesOf[o]) out.push_back(std::move(holes[h]));
  }
}

}  // namespace Math::plgn_detail
