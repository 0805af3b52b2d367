#include <math/curvefit.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <limits>
#include <map>
#include <string>

#include "polyline_test.h"

#ifdef KMATH_TEST_HAVE_POTRACE
#include <potracelib.h>
#endif

namespace polyline_test {
namespace {

using Pieces = std::vector<Math::CBezierPiece>;

CPointD Eval(Math::CBezierPiece const& b, double t) {
  double const s = 1 - t;
  return b.p0 * (s * s * s) + b.p1 * (3 * s * s * t) + b.p2 * (3 * s * t * t) + b.p3 * (t * t * t);
}
double Angle(CPointD const& u, CPointD const& v) {
  return std::abs(std::atan2(u.x * v.y - u.y * v.x, u.x * v.x + u.y * v.y));
}
double Area(Pts const& r) {
  double a = 0;
  for (std::size_t i = 1; i + 1 < r.size(); ++i) {
    CPointD const u = r[i] - r[0], v = r[i + 1] - r[0];
    a += u.x * v.y - v.x * u.y;
  }
  return 0.5 * a;
}

// Nearest distance from a point to a set of segments, through a grid of
// 2-unit cells searched outwards ring by ring (distances that matter here
// are a few units).
class CNearest {
 public:
  void Add(CPointD a, CPointD b) { m_segs.push_back({a, b}); }
  void AddCurve(Pieces const& pieces) {
    for (auto const& b : pieces)
      for (int i = 0; i < 256; ++i) Add(Eval(b, i / 256.0), Eval(b, (i + 1) / 256.0));
  }
  void Build() {
    for (std::size_t k = 0; k < m_segs.size(); ++k) {
      auto const [a, b] = m_segs[k];
      for (long x = Cell(std::min(a.x, b.x)); x <= Cell(std::max(a.x, b.x)); ++x)
        for (long y = Cell(std::min(a.y, b.y)); y <= Cell(std::max(a.y, b.y)); ++y) m_grid[{x, y}].push_back(k);
    }
  }
  // Capped at 8: beyond that the answer only needs to be "too far".
  double Dist(CPointD p) const {
    double best = 8;
    long const cx = Cell(p.x), cy = Cell(p.y);
    for (long r = 0; r <= 4 && best > (r - 1) * kCell; ++r)
      for (long x = cx - r; x <= cx + r; ++x)
        for (long y = cy - r; y <= cy + r; ++y) {
          if (std::max(std::abs(x - cx), std::abs(y - cy)) != r) continue;
          auto const it = m_grid.find({x, y});
          if (it == m_grid.end()) continue;
          for (std::size_t k : it->second) best = std::min(best, SegDist(p, m_segs[k].first, m_segs[k].second));
        }
    return best;
  }

 private:
  static constexpr double kCell = 2;
  static long Cell(double v) { return static_cast<long>(std::floor(v / kCell)); }
  static double SegDist(CPointD p, CPointD a, CPointD b) {
    CPointD const d = b - a, w = p - a;
    double const l2 = d.x * d.x + d.y * d.y;
    double const t = l2 > 0 ? std::clamp((w.x * d.x + w.y * d.y) / l2, 0.0, 1.0) : 0.0;
    return std::hypot(w.x - t * d.x, w.y - t * d.y);
  }
  std::vector<std::pair<CPointD, CPointD>> m_segs;
  std::map<std::pair<long, long>, std::vector<std::size_t>> m_grid;
};

// What every chain must satisfy: it is connected, closed when its input
// was, smooth wherever it does not claim a corner, and within the tolerance
// of every input vertex.
void ExpectGoodChain(Pts const& in, Pieces const& pieces, double tol) {
  ASSERT_FALSE(pieces.empty());
  bool const closed = in.front().x == in.back().x && in.front().y == in.back().y;
  for (std::size_t k = 0; k < pieces.size(); ++k) {
    bool const last = k + 1 == pieces.size();
    if (last && !closed) break;
    auto const& a = pieces[k];
    auto const& b = pieces[last ? 0 : k + 1];
    EXPECT_TRUE(a.p3.x == b.p0.x && a.p3.y == b.p0.y) << "gap after piece " << k;
    if (!b.bCorner) {
      EXPECT_LT(Angle(a.p3 - a.p2, b.p1 - b.p0), 1e-9) << "kink after piece " << k;
    }
  }
  if (!closed) {
    EXPECT_TRUE(pieces.front().p0.x == in.front().x && pieces.front().p0.y == in.front().y);
    EXPECT_TRUE(pieces.back().p3.x == in.back().x && pieces.back().p3.y == in.back().y);
  }
  CNearest near;
  near.AddCurve(pieces);
  near.Build();
  double worst = 0;
  for (CPointD const& p : in) worst = std::max(worst, near.Dist(p));
  // The curve is sampled at 256 chords a piece: allow their sag.
  EXPECT_LE(worst, tol * 1.01 + 1e-3);
}

TEST(BezierFit, SmoothCurvesTakeFewPiecesAndCornersStaySharp) {
  // A circle of radius 50 sampled every degree: a single smooth ring of a
  // few pieces (a cubic follows a quarter circle within 0.00027 r).
  Pts circle;
  for (int i = 0; i <= 360; ++i) circle.push_back({50 * std::cos(i * M_PI / 180), 50 * std::sin(i * M_PI / 180)});
  circle.back() = circle.front();
  Pieces pieces;
  ASSERT_TRUE(Math::BezierFit(circle, 0.05, 1.0, pieces));
  ExpectGoodChain(circle, pieces, 0.05);
  EXPECT_LE(pieces.size(), 5u);
  for (auto const& b : pieces) EXPECT_FALSE(b.bCorner);

  // A 20 x 10 rectangle sampled every 0.5: four corners, one straight piece
  // a side, corners exactly at the rectangle's corners.
  Pts rect;
  auto side = [&](CPointD a, CPointD b) { for (int i = 0; i < 40; ++i) rect.push_back(a + (b - a) * (i / 40.0)); };
  side({0, 0}, {20, 0}); side({20, 0}, {20, 10}); side({20, 10}, {0, 10}); side({0, 10}, {0, 0});
  rect.push_back(rect.front());
  ASSERT_TRUE(Math::BezierFit(rect, 0.1, 1.0, pieces));
  ExpectGoodChain(rect, pieces, 0.1);
  ASSERT_EQ(pieces.size(), 4u);
  for (auto const& b : pieces) {
    EXPECT_TRUE(b.bCorner);
    EXPECT_TRUE(std::fmod(b.p0.x, 20) == 0 && std::fmod(b.p0.y, 10) == 0);
  }

  // An open arc: its ends are kept exactly.
  Pts arc(circle.begin(), circle.begin() + 120);
  ASSERT_TRUE(Math::BezierFit(arc, 0.05, 1.0, pieces));
  ExpectGoodChain(arc, pieces, 0.05);
  EXPECT_TRUE(pieces.front().bCorner);
}

TEST(BezierFit, BadInputIsRefused) {
  Pts const ok = {{0, 0}, {1, 1}, {2, 0}};
  struct Case { char const* name; Pts in; double tol, corner; } const cases[] = {
      {"empty", {}, 0.5, 1}, {"one point", {{1, 1}}, 0.5, 1},
      {"repeats of one point", {{1, 1}, {1, 1}, {1, 1}}, 0.5, 1},
      {"ring of two points", {{0, 0}, {1, 0}, {0, 0}}, 0.5, 1},
      {"NaN", {{0, 0}, {kNaN, 1}, {2, 0}}, 0.5, 1}, {"infinity", {{0, 0}, {kInf, 1}}, 0.5, 1},
      {"zero tolerance", ok, 0, 1}, {"negative tolerance", ok, -1, 1}, {"NaN tolerance", ok, kNaN, 1},
      {"zero corner angle", ok, 0.5, 0}, {"NaN corner angle", ok, 0.5, kNaN},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    Pieces pieces(1, Math::CBezierPiece{{1, 2}, {3, 4}, {5, 6}, {7, 8}, true});
    EXPECT_FALSE(Math::BezierFit(c.in, c.tol, c.corner, pieces));
    EXPECT_EQ(pieces.size(), 1u);
    Pts p = c.in;
    EXPECT_FALSE(Math::BezierSmoothing(p, c.tol, c.corner, 0.01, &pieces));
    EXPECT_TRUE(Same(p, c.in));
    EXPECT_EQ(pieces.size(), 1u);
  }
  Pts p = ok;
  EXPECT_FALSE(Math::BezierSmoothing(p, 0.5, 1, 0));
  EXPECT_TRUE(Same(p, ok));
  // Spikes and repeated points are fitted like any other vertex.
  Pts spike = {{0, 0}, {5, 0}, {5, 0}, {10, 0}, {5, 0.0}, {5, 5}};
  Pieces pieces;
  ASSERT_TRUE(Math::BezierFit(spike, 0.1, 1.0, pieces));
  ExpectGoodChain(spike, pieces, 0.1);
}

// The flattening is within its chord tolerance of the curve (checked at the
// chords' midpoints against a dense sampling) and keeps the piece ends.
TEST(BezierFlatten, ChordsStayWithinTheTolerance) {
  Pieces const pieces = {{{0, 0}, {10, 30}, {40, -20}, {50, 10}, true}, {{50, 10}, {60, 40}, {70, 0}, {80, 0}, false}};
  for (double ct : {1.0, 0.1, 0.001}) {
    Pts out;
    ASSERT_TRUE(Math::BezierFlatten(pieces, ct, out));
    CNearest near;
    for (auto const& b : pieces)
      for (int i = 0; i < 20000; ++i) near.Add(Eval(b, i / 20000.0), Eval(b, (i + 1) / 20000.0));
    near.Build();
    for (std::size_t i = 0; i + 1 < out.size(); ++i) EXPECT_LE(near.Dist((out[i] + out[i + 1]) * 0.5), ct + 1e-4);
    EXPECT_TRUE(out.front().x == 0 && out.back().x == 80);
  }
}

// Traced outlines of real masks: every vertex within the tolerance, G1
// wherever no corner is claimed.
TEST(BezierSmoothing, TracedOutlinesStayWithinTolerance) {
  for (char const* file : {"coins_crack.xy", "horse_crack.xy", "coins_chain.xy", "ccitt2_crack.xy"}) {
    auto const rings = kmath_test::LoadPolylines(file);
    std::size_t n = 0;
    for (Pts const& r : rings) {
      if (std::abs(Area(r)) < 30 || ++n > 60) continue;
      SCOPED_TRACE(std::string(file) + " ring of " + std::to_string(r.size()));
      Pts p = r;
      Pieces pieces;
      ASSERT_TRUE(Math::BezierSmoothing(p, 1.0, 1.2, 0.05, &pieces));
      ExpectGoodChain(r, pieces, 1.0);
      EXPECT_TRUE(p.front().x == p.back().x && p.front().y == p.back().y);
    }
  }
}

// The pixel-boundary outline (as the traced data has it, y up here) of the
// pixels whose centres `inside` accepts, for shapes whose boundary pixels
// never touch only at a corner (discs, ellipses, rectangles).
template <class F>
Pts TraceMask(int lo, int hi, F inside) {
  std::map<std::pair<int, int>, std::pair<int, int>> next;
  for (int i = lo; i < hi; ++i)
    for (int j = lo; j < hi; ++j) {
      if (!inside(i + 0.5, j + 0.5)) continue;
      // Sides with background beyond, counter-clockwise around the pixel.
      if (!inside(i + 0.5, j - 0.5)) next[{i, j}] = {i + 1, j};
      if (!inside(i + 1.5, j + 0.5)) next[{i + 1, j}] = {i + 1, j + 1};
      if (!inside(i + 0.5, j + 1.5)) next[{i + 1, j + 1}] = {i, j + 1};
      if (!inside(i - 0.5, j + 0.5)) next[{i, j + 1}] = {i, j};
    }
  Pts out;
  auto const start = next.begin()->first;
  auto p = start;
  do {
    out.push_back({static_cast<double>(p.first), static_cast<double>(p.second)});
    p = next.at(p);
  } while (p != start);
  out.push_back(out.front());
  return out;
}

// Largest distance of the vertices from a densely sampled true outline.
double Deviation(Pts const& poly, Pts const& truth) {
  CNearest near;
  for (std::size_t i = 0; i + 1 < truth.size(); ++i) near.Add(truth[i], truth[i + 1]);
  near.Build();
  double worst = 0;
  for (CPointD const& p : poly) worst = std::max(worst, near.Dist(p));
  return worst;
}

// Discs and ellipses rasterised at radii 5 to 200 and traced: smoothing
// takes the largest distance of the outline from the true shape down by 40%
// at least (by more than half up to radius 20; the long flat steps of big
// circles outlast a sigma of 2), and keeps the area.
TEST(PolySmoothing, HalvesTheErrorOfTracedCirclesAndEllipses) {
  struct Shape { double a, b; } const shapes[] = {{5, 5}, {10, 10}, {20, 20}, {50, 50}, {100, 100}, {200, 200},
                                                  {12, 6}, {40, 25}, {150, 60}};
  for (Shape const& e : shapes) {
    SCOPED_TRACE(std::to_string(e.a) + " x " + std::to_string(e.b));
    // Off the pixel grid, and turned, so no symmetry helps.
    double const cx = 0.37, cy = -0.21, th = 0.3, c = std::cos(th), s = std::sin(th);
    auto inside = [&](double x, double y) {
      double const u = (x - cx) * c + (y - cy) * s, v = -(x - cx) * s + (y - cy) * c;
      return (u / e.a) * (u / e.a) + (v / e.b) * (v / e.b) <= 1;
    };
    int const r = static_cast<int>(e.a) + 3;
    Pts const traced = TraceMask(-r, r, inside);
    Pts truth;
    for (int k = 0; k <= 40000; ++k) {
      double const t = 2 * M_PI * k / 40000, u = e.a * std::cos(t), v = e.b * std::sin(t);
      truth.push_back({cx + u * c - v * s, cy + u * s + v * c});
    }
    Pts p = traced;
    ASSERT_TRUE(Math::PolySmoothing(p, 2.0, 1.3));
    ASSERT_EQ(p.size(), traced.size());
    double const raw = Deviation(traced, truth), smooth = Deviation(p, truth);
    std::printf("[ smoothing ] %5.0f x %-5.0f raw %.3f smoothed %.3f\n", e.a, e.b, raw, smooth);
    EXPECT_LE(smooth, raw * (e.a <= 20 && e.b == e.a ? 0.5 : 0.6));
    EXPECT_NEAR(Area(p), Area(traced), 1e-9 * Area(traced));
  }
}

// Traced rectangles, turned and off the grid: the corners stay where the
// trace put them, so within a pixel diagonal of the true corners, and the
// sides straighten.
TEST(PolySmoothing, KeepsCornersAndEndsAndRefusesBadInput) {
  for (double th : {0.0, 0.2, 0.5}) {
    SCOPED_TRACE(th);
    double const c = std::cos(th), s = std::sin(th);
    auto inside = [&](double x, double y) {
      double const u = (x - 0.3) * c + (y - 0.1) * s, v = -(x - 0.3) * s + (y - 0.1) * c;
      return std::abs(u) <= 30 && std::abs(v) <= 15;
    };
    Pts const traced = TraceMask(-40, 40, inside);
    Pts p = traced;
    ASSERT_TRUE(Math::PolySmoothing(p, 2.0, 1.3));
    Pts const corners = {{30, 15}, {-30, 15}, {-30, -15}, {30, -15}};
    for (CPointD const& k : corners) {
      CPointD const t{0.3 + k.x * c - k.y * s, 0.1 + k.x * s + k.y * c};
      double near = HUGE_VAL;
      for (CPointD const& q : p) near = std::min(near, std::hypot(q.x - t.x, q.y - t.y));
      EXPECT_LE(near, 1.5) << "corner " << k.x << " " << k.y;
    }
    EXPECT_NEAR(Area(p), Area(traced), 1e-9 * Area(traced));
  }
  // An open staircase keeps its ends.
  Pts stairs;
  for (int i = 0; i < 30; ++i) { stairs.push_back({double(i), double(i)}); stairs.push_back({double(i + 1), double(i)}); }
  Pts p = stairs;
  ASSERT_TRUE(Math::PolySmoothing(p, 2.0, 1.3));
  EXPECT_TRUE(p.front().x == stairs.front().x && p.front().y == stairs.front().y);
  EXPECT_TRUE(p.back().x == stairs.back().x && p.back().y == stairs.back().y);
  double off = 0;  // the staircase's middle line is y = x - 0.5
  for (std::size_t i = 5; i + 5 < p.size(); ++i) off = std::max(off, std::abs(p[i].y - p[i].x + 0.5) / std::sqrt(2.0));
  EXPECT_LT(off, 0.1);

  Pts const ok = {{0, 0}, {1, 1}, {2, 0}, {3, 1}};
  struct Case { char const* name; Pts in; double sigma, corner; } const cases[] = {
      {"two points", {{0, 0}, {1, 1}}, 2, 1}, {"NaN", {{0, 0}, {kNaN, 1}, {2, 0}}, 2, 1},
      {"zero sigma", ok, 0, 1}, {"NaN sigma", ok, kNaN, 1}, {"zero corner angle", ok, 2, 0},
      {"only ends and corners", {{0, 0}, {1, 0}, {1, 1}}, 0.1, 0.5},
  };
  for (Case const& k : cases) {
    SCOPED_TRACE(k.name);
    Pts q = k.in;
    EXPECT_FALSE(Math::PolySmoothing(q, k.sigma, k.corner));
    EXPECT_TRUE(Same(q, k.in));
  }
}

TEST(PolysSmoothJoin, JoinsTangentiallyAndKeepsTheRest) {
  // Two straight lines meeting at a right angle at (10, 0): the joint
  // becomes the parabola with control point (10, 0) from (7, 0) to (10, 3).
  Pts const a = {{0, 0}, {5, 0}, {10, 0}}, b = {{10, 0}, {10, 5}, {10, 10}};
  struct Case { char const* name; Pts b; } const orders[] = {{"end to start", b}, {"end to end", Pts(b.rbegin(), b.rend())}};
  for (auto const& o : orders) {
    SCOPED_TRACE(o.name);
    Pts p = a;
    ASSERT_TRUE(Math::PolysSmoothJoin(p, o.b, 1e-9, 3, 1e-4));
    EXPECT_TRUE(p[0].x == 0 && p[1].x == 5 && p.back().x == 10 && p.back().y == 10);
    for (CPointD const& q : p) {
      if (q.x < 7 || q.y > 3) continue;
      // On the parabola x = 10 - 3 (1-t)^2, y = 3 t^2.
      double const t = std::sqrt(q.y / 3);
      EXPECT_NEAR(q.x, 10 - 3 * (1 - t) * (1 - t), 1e-4 + 1e-9);
    }
    // Tangent where it leaves each line: the first step along x, the last along y.
    std::size_t i = 0;
    while (p[i].x < 7) ++i;
    EXPECT_NEAR(p[i].x, 7, 1e-12);
    EXPECT_LT(std::abs(p[i + 1].y - p[i].y) / (p[i + 1].x - p[i].x), 0.05);
  }
  // poly's start meeting b: b comes first, poly keeps its direction.
  Pts p = a;
  ASSERT_TRUE(Math::PolysSmoothJoin(p, Pts{{0, 10}, {0, 0.5}}, 1, 2, 0.01));
  EXPECT_TRUE(p.front().x == 0 && p.front().y == 10 && p.back().x == 10 && p.back().y == 0);

  struct Bad { char const* name; Pts b; double tol, len, chord; } const bad[] = {
      {"apart", {{20, 20}, {30, 30}}, 1, 3, 0.01}, {"one point", {{10, 0}}, 1, 3, 0.01},
      {"NaN", {{10, 0}, {kNaN, 1}}, 1, 3, 0.01}, {"negative tolerance", b, -1, 3, 0.01},
      {"zero length", b, 1, 0, 0.01}, {"zero chord", b, 1, 3, 0}, {"NaN length", b, 1, kNaN, 0.01},
  };
  for (Bad const& k : bad) {
    SCOPED_TRACE(k.name);
    Pts q = a;
    EXPECT_FALSE(Math::PolysSmoothJoin(q, k.b, k.tol, k.len, k.chord));
    EXPECT_TRUE(Same(q, a));
  }
}

#ifdef KMATH_TEST_HAVE_POTRACE

// The mask in potrace's bitmap, bottom row first, so potrace's y runs up
// and its (x, y) is (x, height - y) in the traced outlines' image frame.
struct CPbm {
  int w = 0, h = 0;
  std::vector<unsigned char> bits;
  bool At(int x, int y) const { return bits[static_cast<std::size_t>(y) * ((w + 7) / 8) + x / 8] >> (7 - x % 8) & 1; }
};
CPbm ReadPbm(std::string const& path) {
  std::ifstream in(path, std::ios::binary);
  std::string magic, line;
  CPbm m;
  in >> magic;
  while (in >> std::ws && in.peek() == '#') std::getline(in, line);
  in >> m.w >> m.h;
  in.get();
  m.bits.resize(static_cast<std::size_t>((m.w + 7) / 8) * m.h);
  in.read(reinterpret_cast<char*>(m.bits.data()), static_cast<std::streamsize>(m.bits.size()));
  return m;
}

// Potrace's curves at its default settings, in the image frame, one chain
// of pieces per path; corners become two straight pieces.
std::vector<Pieces> Potrace(CPbm const& m, std::size_t& segments) {
  int const bitsPerWord = 8 * sizeof(potrace_word);
  int const dy = (m.w + bitsPerWord - 1) / bitsPerWord;
  std::vector<potrace_word> map(static_cast<std::size_t>(dy) * m.h, 0);
  for (int y = 0; y < m.h; ++y)
    for (int x = 0; x < m.w; ++x)
      if (m.At(x, m.h - 1 - y)) map[static_cast<std::size_t>(y) * dy + x / bitsPerWord] |= potrace_word{1} << (bitsPerWord - 1 - x % bitsPerWord);
  potrace_bitmap_t bm{m.w, m.h, dy, map.data()};
  potrace_param_t* prm = potrace_param_default();
  potrace_state_t* st = potrace_trace(prm, &bm);
  std::vector<Pieces> out;
  auto img = [&](potrace_dpoint_t p) { return CPointD{p.x, m.h - p.y}; };
  for (potrace_path_t* p = st->plist; p; p = p->next) {
    Pieces chain;
    potrace_curve_t const& c = p->curve;
    segments += static_cast<std::size_t>(c.n);
    CPointD prev = img(c.c[c.n - 1][2]);
    for (int i = 0; i < c.n; ++i) {
      CPointD const end = img(c.c[i][2]);
      if (c.tag[i] == POTRACE_CURVETO) {
        chain.push_back({prev, img(c.c[i][0]), img(c.c[i][1]), end, false});
      } else {
        CPointD const v = img(c.c[i][1]);
        chain.push_back({prev, prev + (v - prev) / 3, prev + (v - prev) * (2.0 / 3), v, true});
        chain.push_back({v, v + (end - v) / 3, v + (end - v) * (2.0 / 3), end, true});
      }
      prev = end;
    }
    out.push_back(chain);
  }
  potrace_state_free(st);
  potrace_param_free(prm);
  return out;
}

// Side by side with potrace on the same masks: potrace's curves deviate from
// the traced outline's vertices by some largest distance; fitted at that
// deviation, our chain needs no more pieces (a potrace corner counts as one
// piece, though it is two straight lines), and stays within it.
TEST(BezierSmoothing, NoMorePiecesThanPotraceAtItsDeviation) {
  std::printf("[ potrace ] %-10s %8s %8s | %8s %8s\n", "mask", "pieces", "max dev", "ours", "max dev");
  for (std::string const name : {"coins", "horse", "ccitt2", "soho_buildings"}) {
    SCOPED_TRACE(name);
    std::size_t theirPieces = 0;
    auto const chains = Potrace(ReadPbm(kmath_test::DataPath(name + "_mask.pbm")), theirPieces);
    CNearest theirs;
    for (Pieces const& c : chains) {
      theirs.AddCurve(c);
    }
    theirs.Build();
    // Potrace drops paths of area 2 or less (its default speck size).
    std::vector<Pts> rings;
    for (Pts const& r : kmath_test::LoadPolylines(name + "_crack.xy"))
      if (std::abs(Area(r)) > 2) rings.push_back(r);
    double theirDev = 0;
    for (Pts const& r : rings)
      for (CPointD const& p : r) theirDev = std::max(theirDev, theirs.Dist(p));

    std::size_t ourPieces = 0;
    double ourDev = 0;
    CNearest ours;
    for (Pts const& r : rings) {
      Pieces pieces;
      ASSERT_TRUE(Math::BezierFit(r, theirDev, 1.2, pieces));
      ourPieces += pieces.size();
      ours.AddCurve(pieces);
    }
    ours.Build();
    for (Pts const& r : rings)
      for (CPointD const& p : r) ourDev = std::max(ourDev, ours.Dist(p));
    std::printf("[ potrace ] %-10s %8zu %8.3f | %8zu %8.3f\n", name.c_str(), theirPieces, theirDev, ourPieces, ourDev);
    EXPECT_LE(ourPieces, theirPieces);
    EXPECT_LE(ourDev, theirDev * 1.01 + 1e-3);
  }
}

#endif  // KMATH_TEST_HAVE_POTRACE

}  // namespace
// Arc lengths that overflow (a vertex at the largest double) made a tangent
// window NaN, and the arc-length search then read past the run's end.
TEST(BezierFit, OverflowingArcLengthsStayWithinTheRun) {
  Pts const pts{
      {-81.472755432128906, 36.234355926513672}, {-81.452888488769531, 36.239585876464844},
      {-81.431037902832031, 36.260719299316406}, {-81.412330627441406, 36.267292022705078},
      {-81.406387329101562, 36.285053253173828}, {-81.367454528808594, 3.6577902446763882e-312},
      {1.4916685033170888e-154, 1.4916692149949463e-154}, {-5.3264081964697211e-315, 1.5942277411807115e-314},
      {-2.0000004787629448, 2.6815635072819451e+154}, {1.7976931348623157e+308, 1.7976931348623157e+308},
      {2.00000047876315, 2.000001432965866}, {2.6815622279051572e+154, -2.6815635072809978e+154},
      {2.6815622378945358e+154, 2.0000014329652176}, {-5.3264188238217632e-315, -2.0000014329652234},
      {2.6815619182280112e+154, 62716379178.157852}, {1.3580773062177743e-312, 4.0812222575891834e-312},
      {1.3635631420612821e-312, 4.5632992104386293e-310}, {1.3635626824616557e-312, 4.0812204111275265e-312},
      {1.3635632192145734e-312, 4.0812204277281322e-312}, {1.363563801658682e-312, 4.0812208866953546e-312},
      {-2.729372761761178e-17, 2.7123679782285033e-233}, {3.9111210456325172e-187, -3.4930323712214008e-257},
      {6.0786957716105736e+292, -4.3228147059743306e-281}, {3.270304097591207e+292, -6.951496799442643e-281},
      {1.5198723125168745e+292, -1.1163472812392271e-97}, {5.7464248883630915e+291, -1.6967769402050485e-280},
      {1.8711002901888176e+291, -2.3798949291187307e-280}};
  double const big = std::numeric_limits<double>::max();
  std::vector<Math::CBezierPiece> pieces;
  if (Math::BezierFit(pts, big, big, pieces)) {
    EXPECT_FALSE(pieces.empty());
  } else {
    EXPECT_TRUE(pieces.empty());
  }
}

}  // namespace polyline_test
