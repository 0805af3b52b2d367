#include <math/plgnoperator.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "xy_reader.h"

#ifdef KMATH_TEST_HAVE_GEOS
#include "geos_oracle.h"
#endif

namespace {

using Math::CPlgnOperator;
using Math::EPlgnOperation;
using Ring = Math::poly_base<CPointD>;

constexpr EPlgnOperation kOps[] = {Math::NormA, Math::NormB, Math::Cross, Math::Union,
                                   Math::AnotB, Math::BnotA, Math::AXorB};
char const* const kOpNames[] = {"NormA", "NormB", "Cross", "Union", "AnotB", "BnotA", "AXorB"};

// Shoelace about the first vertex: far from the origin (micro-degrees) the
// plain products would lose the digits a 1e-9 comparison needs.
double SignedArea(std::vector<CPointD> const& r) {
  if (r.empty()) return 0;
  double s = 0;
  CPointD const o = r[0];
  for (std::size_t i = 0; i + 1 < r.size(); ++i) {
    CPointD const p = r[i] - o, q = r[i + 1] - o;
    s += p.x * q.y - q.x * p.y;
  }
  return 0.5 * s;
}

// Results are laid out with outer rings counter-clockwise and holes
// clockwise, so the signed areas add up to the covered area.
double Area(CStdPlgn const& p) {
  double s = 0;
  for (auto const& c : p) s += SignedArea(c);
  return s;
}

bool Same(std::vector<CPointD> const& a, std::vector<CPointD> const& b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [](CPointD p, CPointD q) { return p.x == q.x && p.y == q.y; });
}

bool Same(CStdPlgn const& a, CStdPlgn const& b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](Ring const& p, Ring const& q) { return Same(p, q); });
}

Ring Closed(std::vector<CPointD> pts) {
  pts.push_back(pts.front());
  return Ring(std::move(pts));
}

Ring Box(double l, double b, double r, double t) { return Closed({{l, b}, {r, b}, {r, t}, {l, t}}); }

// A star-shaped simple ring: sorted random angles, random radii.
Ring Star(std::mt19937& rng, CPointD c, double radius, int n, bool ccw) {
  std::uniform_real_distribution<double> ang(0, 2 * M_PI), rad(0.3 * radius, radius);
  std::vector<double> a(n);
  for (double& v : a) v = ang(rng);
  std::sort(a.begin(), a.end());
  if (!ccw) std::reverse(a.begin(), a.end());
  std::vector<CPointD> pts;
  for (double v : a) {
    double const r = rad(rng);
    pts.push_back({c.x + r * std::cos(v), c.y + r * std::sin(v)});
  }
  return Closed(pts);
}

CStdPlgn Transformed(CStdPlgn const& p, double deg, CPointD about, CPointD shift) {
  double const c = std::cos(deg * M_PI / 180), s = std::sin(deg * M_PI / 180);
  CStdPlgn out = p;
  for (auto& ring : out) {
    for (CPointD& q : ring) {
      CPointD const d = q - about;
      q = CPointD{about.x + c * d.x - s * d.y + shift.x, about.y + s * d.x + c * d.y + shift.y};
    }
  }
  return out;
}

// Real polygons by their id attribute, coordinates scaled so that the
// sweep's absolute touch distance (0.0005) is far below the data's detail.
std::map<std::string, CStdPlgn> LoadById(std::string const& file, double scale) {
  std::map<std::string, CStdPlgn> out;
  for (auto const& b : kmath_test::LoadXY(file)) {
    if (!b.IsClosed()) continue;
    Ring r;
    for (CPointD const& p : b.pts) r.push_back({p.x * scale, p.y * scale});
    out[b.Attr("id")].push_back(std::move(r));
  }
  return out;
}

CPointD Centre(CStdPlgn const& p) {
  double l = 1e300, r = -1e300, b = 1e300, t = -1e300;
  for (auto const& c : p)
    for (CPointD const& q : c) l = std::min(l, q.x), r = std::max(r, q.x), b = std::min(b, q.y), t = std::max(t, q.y);
  return {(l + r) / 2, (b + t) / 2};
}

CStdPlgn Join(std::vector<CStdPlgn> const& parts) {
  CStdPlgn out;
  for (auto const& p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

TEST(PlgnOperator, UnknownOperationThrowsAndLeavesNothing) {
  EXPECT_THROW(CPlgnOperator::Create(static_cast<EPlgnOperation>(7)), Math::plgn_detail::CBadOp);
  EXPECT_THROW(CPlgnOperator::Create(static_cast<EPlgnOperation>(-1)), Math::plgn_detail::CBadOp);
  CStdPlgn const a{Box(0, 0, 1, 1)};
  CPlgnOperator op(a, a);
  EXPECT_THROW(op(static_cast<EPlgnOperation>(7)), Math::plgn_detail::CBadOp);
  for (EPlgnOperation k : kOps) {
    std::unique_ptr<Math::plgn_detail::COperation> s(CPlgnOperator::Create(k));
    EXPECT_NE(s, nullptr);
  }
}

TEST(PlgnOperator, NormAAndNormBTreatOriginDifferently) {
  std::unique_ptr<Math::plgn_detail::COperation> a(CPlgnOperator::Create(Math::NormA));
  std::unique_ptr<Math::plgn_detail::COperation> b(CPlgnOperator::Create(Math::NormB));
  EXPECT_FALSE(a->KeepEdge({1, 0}, 1));
  EXPECT_TRUE(a->KeepEdge({1, 0}, 3));
  EXPECT_TRUE(b->KeepEdge({0, 1}, 1));
  EXPECT_TRUE(b->KeepEdge({0, -1}, 3));
}

// The relation decides these results alone: operands come back as given.
TEST(PlgnOperator, DisjointOperandsAreCopied) {
  CStdPlgn const a{Box(0, 0, 10, 10)};
  CStdPlgn const b{Box(20, 0, 30, 10)};
  CPlgnOperator op(a, b);
  EXPECT_EQ(op.Flags().Bits(), 0u);
  EXPECT_TRUE(op(Math::Cross).empty());
  EXPECT_TRUE(Same(op(Math::Union), Join({a, b})));
  EXPECT_TRUE(Same(op(Math::AnotB), a));
  EXPECT_TRUE(Same(op(Math::BnotA), b));
  EXPECT_TRUE(Same(op(Math::AXorB), Join({a, b})));
}

TEST(PlgnOperator, NestedOperandsAreCopied) {
  CStdPlgn const a{Box(2, 2, 8, 8)};
  CStdPlgn const b{Box(0, 0, 10, 10)};
  CPlgnOperator op(a, b);
  EXPECT_EQ(op.Flags().Bits(), 1u | 8u);
  EXPECT_TRUE(Same(op(Math::Cross), a));
  EXPECT_TRUE(Same(op(Math::Union), b));
  EXPECT_TRUE(op(Math::AnotB).empty());
  CStdPlgn xor_ = op(Math::AXorB);
  ASSERT_EQ(xor_.size(), 2u);
  EXPECT_TRUE(Same(xor_[0], b[0]));
  EXPECT_TRUE(Same(xor_[1], Ring(a[0].rbegin(), a[0].rend())));
  EXPECT_DOUBLE_EQ(Area(xor_), 100 - 36);
  EXPECT_EQ(CPlgnOperator(b, a).Flags().Bits(), 1u | 16u);
}

TEST(PlgnOperator, FlagsTellMeetingBoundaries) {
  struct Case {
    char const* name;
    CStdPlgn a, b;
    unsigned bits;
  };
  Case const cases[] = {
      {"crossing", {Box(0, 0, 10, 10)}, {Box(5, 5, 15, 15)}, 1u | 2u | 4u},
      {"shared edge, no cut", {Box(0, 0, 10, 10)}, {Box(10, 0, 20, 10)}, 2u},
      {"corner touch", {Box(0, 0, 10, 10)}, {Box(10, 10, 20, 20)}, 2u},
      {"identical", {Box(0, 0, 10, 10)}, {Box(0, 0, 10, 10)}, 1u | 2u | 8u | 16u},
      {"inside, touching", {Box(0, 0, 5, 5)}, {Box(0, 0, 10, 10)}, 1u | 2u | 4u | 8u},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(CPlgnOperator(c.a, c.b).Flags().Bits(), c.bits);
  }
}

// The full analysis rebuilds anything that is not a set of disjoint simple
// rings running the right way; the cheap one (for callers who vouch the
// rings do not meet) still catches what a ring shows on its own.
TEST(PlgnOperator, NormalisesSelfCrossingAndBadRings) {
  struct Case {
    char const* name;
    CStdPlgn a;
    double area;
    std::size_t rings;
    bool cheapCatches;
  };
  double const nan = std::numeric_limits<double>::quiet_NaN();
  Case const cases[] = {
      {"bow tie", {Closed({{0, 0}, {10, 10}, {10, 0}, {0, 10}})}, 50, 2, false},
      {"clockwise square", {Closed({{0, 0}, {0, 10}, {10, 10}, {10, 0}})}, 100, 1, false},
      {"unclosed square", {Ring{{0, 0}, {10, 0}, {10, 10}, {0, 10}}}, 100, 1, true},
      {"repeated points", {Closed({{0, 0}, {0, 0}, {10, 0}, {10, 0}, {10, 10}, {0, 10}})}, 100, 1, true},
      {"spike", {Closed({{0, 0}, {10, 0}, {10, 5}, {15, 5}, {10, 5}, {10, 10}, {0, 10}})}, 100, 1, false},
      {"two points", {Ring{{0, 0}, {1, 1}, {0, 0}}}, 0, 0, true},
      {"one point", {Ring{{1, 1}}}, 0, 0, true},
      {"NaN ring left out", {Box(0, 0, 10, 10), Ring{{nan, 0}, {30, 0}, {30, 5}, {nan, 0}}}, 100, 1, true},
      {"overlapping rings, even-odd", {Box(0, 0, 10, 10), Box(5, 0, 15, 10)}, 100, 2, false},
      {"hole touching its outer ring", {Box(0, 0, 10, 10), Closed({{0, 5}, {5, 7}, {5, 3}})}, 90, 2, false},
      {"empty", {}, 0, 0, true},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.name);
    for (bool check : {true, false}) {
      if (!check && !c.cheapCatches) continue;
      CStdPlgn const r = CPlgnOperator(c.a, check)(Math::NormA);
      EXPECT_NEAR(Area(r), c.area, 1e-9) << check;
      EXPECT_EQ(r.size(), c.rings) << check;
      for (auto const& ring : r) EXPECT_TRUE(ring.front().x == ring.back().x && ring.front().y == ring.back().y);
    }
  }
}

// Whatever comes in, every operation returns closed rings of finite points
// and never throws for a valid operation value.
TEST(PlgnOperator, HostileOperandsNeverCrash) {
  double const nan = std::numeric_limits<double>::quiet_NaN();
  double const inf = std::numeric_limits<double>::infinity();
  CStdPlgn const cases[] = {
      {Box(-1e300, -1e300, 1e300, 1e300)},
      {Closed({{0, 0}, {nan, nan}, {1, 1}})},
      {Closed({{0, 0}, {inf, 0}, {1, 1}})},
      {Ring{{0, 0}, {1, 0}, {0, 0}}, Ring{}, Ring{{2, 2}}},
      {Closed({{0, 0}, {1e-300, 0}, {1e-300, 1e-300}})},
      {Closed({{0, 0}, {10, 0}, {0, 0}, {10, 0}, {0, 0}})},
  };
  CStdPlgn const other{Box(0, 0, 5, 5)};
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE("case " + std::to_string(i));
    for (bool swap : {false, true}) {
      CPlgnOperator op(swap ? other : cases[i], swap ? cases[i] : other);
      for (EPlgnOperation k : kOps) {
        CStdPlgn r;
        EXPECT_NO_THROW(r = op(k));
        for (auto const& ring : r) {
          ASSERT_GE(ring.size(), 4u);
          EXPECT_TRUE(ring.front().x == ring.back().x && ring.front().y == ring.back().y);
        }
      }
    }
    EXPECT_NO_THROW(CPlgnOperator(cases[i], true)(Math::NormA));
    for (auto const& ring : cases[i]) {
      EXPECT_NO_THROW(Math::CPlgnStructure(ring.data(), static_cast<int>(ring.size())).CheckSelfCross());
    }
  }
}

TEST(PlgnStructure, ReportsSelfMeetings) {
  struct Case {
    char const* name;
    std::vector<CPointD> ring;
    unsigned bits;
  };
  Case const cases[] = {
      {"simple", Closed({{0, 0}, {10, 0}, {10, 10}, {0, 10}}), 0},
      {"clockwise", Closed({{0, 0}, {0, 10}, {10, 10}, {10, 0}}), 0},
      {"bow tie", Closed({{0, 0}, {10, 10}, {10, 0}, {0, 10}}), 1u | 2u | 4u},
      {"vertex on edge", Closed({{0, 0}, {10, 0}, {10, 10}, {5, 0.0002}, {0, 10}}), 1u | 2u | 4u},
      {"pinched at a vertex", Closed({{0, 0}, {10, 0}, {5, 5}, {10, 10}, {0, 10}, {5, 5}}), 1u | 2u},
      {"runs back on itself", Closed({{0, 0}, {10, 0}, {20, 0}, {10, 0}, {10, 10}}), 1u | 2u},
      {"empty", {}, 0},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Math::CPlgnStructure(c.ring.data(), static_cast<int>(c.ring.size())).CheckSelfCross().Bits(), c.bits);
  }
  auto const sq = Closed({{0, 0}, {10, 0}, {10, 10}, {0, 10}});
  auto const in = Closed({{2, 2}, {4, 2}, {4, 4}});
  Math::CPlgnStructure s(sq.data(), static_cast<int>(sq.size()));
  EXPECT_EQ(s.CheckOverlap(in.data(), static_cast<int>(in.size())).Bits(), 1u | 16u);
}

#ifdef KMATH_TEST_HAVE_GEOS

using kmath_test::CGeos;

struct COracleTally {
  int cases = 0;
  double maxRel = 0;
  ~COracleTally() {
    if (cases) std::printf("[oracle] %d operation results compared, max relative area difference %.3g\n", cases, maxRel);
  }
};
COracleTally g_tally;

// Every operation on (a, b) against GEOS: the area, the area of the
// symmetric difference with GEOS's result, GEOS validity of the result as
// laid out, and inside/outside agreement on sample points away from the
// boundaries. Also the union/intersection area identity.
void CompareWithGeos(CGeos const& g, CStdPlgn const& a, CStdPlgn const& b, double rel) {
  std::mt19937 rng(1);
  GEOSContextHandle_t const h = g.h();
  auto ga = g.EvenOdd(a), gb = g.EvenOdd(b);
  double const areaA = g.Area(ga.get()), areaB = g.Area(gb.get());
  GEOSGeometry* raw[7] = {GEOSGeom_clone_r(h, ga.get()),         GEOSGeom_clone_r(h, gb.get()),
                          GEOSIntersection_r(h, ga.get(), gb.get()), GEOSUnion_r(h, ga.get(), gb.get()),
                          GEOSDifference_r(h, ga.get(), gb.get()),   GEOSDifference_r(h, gb.get(), ga.get()),
                          GEOSSymDifference_r(h, ga.get(), gb.get())};
  CGeos::Geom expected[7];
  for (int k = 0; k < 7; ++k) {
    ASSERT_NE(raw[k], nullptr);
    expected[k] = g.Areal(raw[k]);
    GEOSGeom_destroy_r(h, raw[k]);
  }
  CPlgnOperator op(a, b);
  double areas[7];
  // Boxes of the operands for the sample points.
  double l = 1e300, r = -1e300, bt = 1e300, t = -1e300;
  for (auto const* p : {&a, &b})
    for (auto const& c : *p)
      for (CPointD const& q : c) l = std::min(l, q.x), r = std::max(r, q.x), bt = std::min(bt, q.y), t = std::max(t, q.y);
  double const away = 1e-6 * std::hypot(r - l, t - bt);
  std::uniform_real_distribution<double> ux(l, r), uy(bt, t);
  for (int k = 0; k < 7; ++k) {
    SCOPED_TRACE(kOpNames[k]);
    // NormA keeps only pieces outside B, so A is normalised on its own.
    CStdPlgn const mine = k == 0 ? CPlgnOperator(a, true)(Math::NormA) : op(kOps[k]);
    double const want = g.Area(expected[k].get());
    areas[k] = Area(mine);
    double const scale = std::max({want, 1e-9 * (areaA + areaB), 1e-300});
    // The laid-out result must be a valid polygon set; then GEOS can take it
    // as it stands (the even-odd rebuild of its rings is the slow path).
    auto const structured = g.Structured(mine);
    bool const valid = GEOSisValid_r(h, structured.get()) == 1;
    EXPECT_TRUE(valid) << GEOSisValidReason_r(h, structured.get());
    auto const mineGeos = valid ? g.Own(GEOSGeom_clone_r(h, structured.get())) : g.EvenOdd(mine);
    auto const diff = g.Own(GEOSSymDifference_r(h, mineGeos.get(), expected[k].get()));
    double const d = std::max(std::abs(areas[k] - want), g.Area(diff.get())) / scale;
    g_tally.cases++;
    g_tally.maxRel = std::max(g_tally.maxRel, d);
    EXPECT_LE(d, rel) << "area " << areas[k] << " vs GEOS " << want;
    auto const boundary = g.Own(GEOSBoundary_r(h, expected[k].get()));
    ASSERT_NE(boundary, nullptr);
    GEOSPreparedGeometry const* prep = GEOSPrepare_r(h, expected[k].get());
    for (int i = 0; i < 12; ++i) {
      CPointD const p{ux(rng), uy(rng)};
      auto const pt = g.Own(GEOSGeom_createPointFromXY_r(h, p.x, p.y));
      double dist = 0;
      if (!GEOSisEmpty_r(h, boundary.get())) GEOSDistance_r(h, pt.get(), boundary.get(), &dist);
      else dist = 1e300;
      if (dist < away) continue;
      EXPECT_EQ(mine.PtInside(p), GEOSPreparedContains_r(h, prep, pt.get()) == 1) << p.x << " " << p.y;
    }
    GEOSPreparedGeom_destroy_r(h, prep);
  }
  // On the pair itself NormA gives the loops of A's boundary outside B,
  // still a valid polygon set.
  CStdPlgn const normPair = op(Math::NormA);
  auto const normGeos = g.Structured(normPair);
  EXPECT_TRUE(GEOSisValid_r(h, normGeos.get()) == 1) << GEOSisValidReason_r(h, normGeos.get());
  EXPECT_LE(std::abs(areas[3] - (areaA + areaB - areas[2])), rel * std::max(areas[3], 1e-300) + 1e-12 * (areaA + areaB));
}

TEST(PlgnOperatorOracle, RandomPairsMatchGeos) {
  CGeos g;
  std::mt19937 rng(20261124);
  std::uniform_real_distribution<double> pos(-3000, 3000);
  std::uniform_int_distribution<int> nv(3, 40);
  std::bernoulli_distribution coin(0.5);
  for (int i = 0; i < 300; ++i) {
    SCOPED_TRACE("seed 20261124, case " + std::to_string(i));
    auto star = [&](double radius) { return Star(rng, {pos(rng), pos(rng)}, radius, nv(rng), coin(rng)); };
    CStdPlgn a{star(6000)}, b;
    switch (i % 4) {
      case 0: b = {star(6000)}; break;
      case 1: {  // A with a hole, B a star
        Ring hole = Star(rng, Centre(a), 1200, nv(rng), coin(rng));
        a.push_back(hole);
        b = {star(5000)};
        break;
      }
      case 2: b = {star(4000), star(4000)}; a.push_back(star(3000)); break;
      default: b = Transformed(a, 4 + 10 * std::uniform_real_distribution<double>(0, 1)(rng), Centre(a), {37, -11});
    }
    CompareWithGeos(g, a, b, 1e-9);
  }
}

TEST(PlgnOperatorOracle, DegenerateArrangementsMatchGeos) {
  struct Case {
    char const* name;
    CStdPlgn a, b;
  };
  std::mt19937 srng(7);
  Ring const star = Star(srng, {0, 0}, 10, 17, true);
  Case const cases[] = {
      {"shared edge", {Box(0, 0, 10, 10)}, {Box(10, 0, 20, 10)}},
      {"partly shared edge", {Box(0, 0, 10, 10)}, {Box(10, 4, 20, 20)}},
      {"collinear overlapping edges", {Box(0, 0, 10, 10)}, {Box(5, 0, 15, 10)}},
      {"vertex touching an edge", {Box(0, 0, 10, 10)}, {Closed({{10, 5}, {20, 0}, {20, 10}})}},
      {"vertex touching from inside", {Box(0, 0, 10, 10)}, {Closed({{10, 5}, {2, 2}, {2, 8}})}},
      {"corner touch", {Box(0, 0, 10, 10)}, {Box(10, 10, 20, 20)}},
      {"repeated vertices", {Closed({{0, 0}, {0, 0}, {10, 0}, {10, 10}, {10, 10}, {0, 10}})}, {Box(5, 5, 15, 15)}},
      {"spike into the other", {Closed({{0, 0}, {10, 0}, {10, 5}, {15, 5}, {10, 5}, {10, 10}, {0, 10}})},
       {Box(12, 0, 20, 10)}},
      {"hole touching its outer ring", {Box(0, 0, 10, 10), Closed({{0, 5}, {5, 7}, {5, 3}})}, {Box(3, 3, 8, 8)}},
      {"identical operands", {star}, {star}},
      {"identical, reversed", {star}, {Ring(star.rbegin(), star.rend())}},
      {"nested", {Box(2, 2, 8, 8)}, {Box(0, 0, 10, 10)}},
      {"nested sharing two sides", {Box(0, 0, 5, 5)}, {Box(0, 0, 10, 10)}},
      {"B fills A's hole", {Box(0, 0, 10, 10), Box(3, 3, 7, 7)}, {Box(3, 3, 7, 7)}},
      {"self-crossing operand", {Closed({{0, 0}, {10, 10}, {10, 0}, {0, 10}})}, {Box(2, -5, 8, 5)}},
      {"edges crossing at vertices", {Closed({{0, 0}, {10, 0}, {5, 5}})}, {Closed({{5, 5}, {0, 10}, {10, 10}})}},
      {"star grid", {Box(0, 0, 4, 4), Box(4, 4, 8, 8)}, {Box(4, 0, 8, 4), Box(0, 4, 4, 8)}},
  };
  CGeos g;
  for (auto const& c : cases) {
    SCOPED_TRACE(c.name);
    CompareWithGeos(g, c.a, c.b, 1e-9);
  }
}

TEST(PlgnOperatorOracle, RealPolygonPairsMatchGeos) {
  CGeos g;
  // Degrees to micro-degrees: the touch distance becomes 0.05 mm, below
  // the data's own precision, so it moves nothing.
  auto europe = LoadById("dcw_countries_west_europe.xy", 1e6);
  auto world = LoadById("world_ne110m_countries.xy", 1e6);
  auto nc = LoadById("nc_counties.xy", 1e6);
  // Pixels to thousandths of a pixel, for the same reason.
  auto horse = LoadById("horse_crack.xy", 1000);
  auto coins = LoadById("coins_crack.xy", 1000);
  struct Case {
    std::string name;
    CStdPlgn a, b;
  };
  std::vector<Case> cases;
  CStdPlgn const& fr = europe["France"];
  cases.push_back({"France, rotated copy", fr, Transformed(fr, 5, Centre(fr), {3e5, -2e5})});
  cases.push_back({"Italy against Switzerland and Austria", europe["Italy"], Join({europe["Switzerland"], europe["Austria"]})});
  cases.push_back({"Benelux neighbours", Join({europe["Belgium"], europe["Luxembourg"]}), Join({europe["Netherlands"], europe["France"]})});
  std::vector<CStdPlgn> w0, w1, c0, c1;
  for (auto const& [id, p] : world) (std::stoi(id) % 2 ? w1 : w0).push_back(p);
  cases.push_back({"world, alternate countries", Join(w0), Join(w1)});
  CStdPlgn const all = Join(w0);
  cases.push_back({"world, shifted copy", all, Transformed(all, 0, {0, 0}, {2.5e6, 1.5e6})});
  for (auto const& [id, p] : nc) (std::stoi(id) < 60 ? c0 : c1).push_back(p);
  cases.push_back({"NC counties, two blocks sharing borders", Join(c0), Join(c1)});
  for (int i = 0; i + 1 < 12; i += 2) {
    cases.push_back({"NC counties " + std::to_string(i), nc[std::to_string(i)], nc[std::to_string(i + 1)]});
  }
  CStdPlgn const& hz = horse["0"];
  cases.push_back({"horse, shifted along the pixel grid", hz, Transformed(hz, 0, {0, 0}, {3000, 2000})});
  cases.push_back({"horse, shifted off the grid", hz, Transformed(hz, 0, {0, 0}, {500, 250})});
  cases.push_back({"horse, rotated", hz, Transformed(hz, 30, Centre(hz), {0, 0})});
  CStdPlgn coinsAll;
  for (auto const& [id, p] : coins) coinsAll.insert(coinsAll.end(), p.begin(), p.end());
  cases.push_back({"coins, shifted along the grid", coinsAll, Transformed(coinsAll, 0, {0, 0}, {7000, -5000})});
  for (auto const& c : cases) {
    SCOPED_TRACE(c.name);
    CompareWithGeos(g, c.a, c.b, 1e-9);
  }
}

TEST(PlgnStructureOracle, SelfCrossingAgreesWithGeosValidity) {
  CGeos g;
  GEOSContextHandle_t const h = g.h();
  std::vector<std::vector<CPointD>> rings;
  std::mt19937 rng(99);
  std::uniform_real_distribution<double> u(0, 1000);
  for (int i = 0; i < 300; ++i) {
    std::vector<CPointD> r(4 + i % 9);
    for (CPointD& p : r) p = {u(rng), u(rng)};
    rings.push_back(Closed(r));
    rings.push_back(Star(rng, {u(rng), u(rng)}, 300, 3 + i % 30, i % 2 == 0));
  }
  for (auto const& [id, p] : LoadById("nc_counties.xy", 1000)) rings.insert(rings.end(), p.begin(), p.end());
  for (auto const& [id, p] : LoadById("coins_crack.xy", 1)) rings.insert(rings.end(), p.begin(), p.end());
  int invalid = 0;
  for (std::size_t i = 0; i < rings.size(); ++i) {
    auto const& r = rings[i];
    auto const poly = g.Own(g.RingPolygon(r));
    char* reason = nullptr;
    GEOSGeometry* where = nullptr;
    bool const valid = GEOSisValidDetail_r(h, poly.get(), 0, &reason, &where) == 1;
    std::string const why = reason ? reason : "";
    GEOSFree_r(h, reason);
    if (where) GEOSGeom_destroy_r(h, where);
    bool const selfMeets = !valid && why.find("elf-intersection") != std::string::npos;
    invalid += selfMeets;
    unsigned const bits = Math::CPlgnStructure(r.data(), static_cast<int>(r.size())).CheckSelfCross().Bits();
    EXPECT_EQ((bits & 2u) != 0, selfMeets) << "ring " << i << ": " << why;
  }
  EXPECT_GT(invalid, 100);
}

TEST(MultiPlgnUnionOracle, CountiesDissolveLikeGeosUnaryUnion) {
  CGeos g;
  GEOSContextHandle_t const h = g.h();
  auto nc = LoadById("nc_counties.xy", 1000);
  Math::CMultiPlgnUnion mu(false);
  std::vector<GEOSGeometry*> parts;
  for (auto const& [id, p] : nc) {
    mu.AddPolygon(p, true);
    parts.push_back(g.EvenOdd(p).release());
  }
  auto coll = g.Own(GEOSGeom_createCollection_r(h, GEOS_GEOMETRYCOLLECTION, parts.data(), static_cast<unsigned>(parts.size())));
  auto want = g.Own(GEOSUnaryUnion_r(h, coll.get()));
  CStdPlgn const mine = mu();
  auto const diff = g.Own(GEOSSymDifference_r(h, g.EvenOdd(mine).get(), want.get()));
  double const wa = g.Area(want.get());
  EXPECT_NEAR(Area(mine), wa, 1e-9 * wa);
  EXPECT_LE(g.Area(diff.get()), 1e-9 * wa);
  auto const structured = g.Structured(mine);
  EXPECT_TRUE(GEOSisValid_r(h, structured.get()) == 1) << GEOSisValidReason_r(h, structured.get());
  g_tally.cases++;
  g_tally.maxRel = std::max(g_tally.maxRel, g.Area(diff.get()) / wa);
}

#endif  // KMATH_TEST_HAVE_GEOS

TEST(MultiPlgnUnion, HolesRemoveAndOrientationCounts) {
  auto const outer = Box(0, 0, 10, 10);
  auto const cwHole = Closed({{2, 2}, {2, 8}, {8, 8}, {8, 2}});
  auto const other = Box(5, 5, 15, 15);
  struct Case {
    char const* name;
    bool check, holeFlag, oriented;
    double area;
  };
  // The outer ring less the hole is 64; `other` adds 100 and overlaps it in
  // 25 less the 9 that fall in the hole.
  Case const cases[] = {
      {"hole flag", false, true, false, 100 + 100 - 25 - (36 - 9)},
      {"clockwise ring, oriented", false, false, true, 100 + 100 - 25 - (36 - 9)},
      {"clockwise ring, not oriented, adds", false, false, false, 100 + 100 - 25},
      {"checked", true, true, false, 100 + 100 - 25 - (36 - 9)},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.name);
    Math::CMultiPlgnUnion mu(c.check);
    mu.AddContour(outer.data(), static_cast<unsigned>(outer.size()), false, false);
    mu.AddContour(cwHole.data(), static_cast<unsigned>(cwHole.size()), c.holeFlag, c.oriented);
    mu.AddPolygon(CStdPlgn{other}, false);
    EXPECT_NEAR(Area(mu()), c.area, 1e-9);
  }
  Math::CMultiPlgnUnion empty(true);
  double const nan = std::numeric_limits<double>::quiet_NaN();
  std::vector<CPointD> bad{{0, 0}, {nan, 1}, {1, 1}};
  empty.AddContour(bad.data(), 3, false, false);
  empty.AddContour(bad.data(), 2, false, false);
  empty.AddContour(nullptr, 5, false, false);
  EXPECT_TRUE(empty().empty());
}

}  // namespace

// A contour of fewer than three distinct vertices leaves no piece behind, so
// nothing in the classification marked its operand; the shortcuts then
// copied it into results as a two-point ring.
TEST(PlgnOperator, DegenerateContourIsNeverCopiedIntoAResult) {
  CStdPlgn a;
  a.push_back(Ring{{0, 0}, {0, 0}});
  CStdPlgn const empty;
  CPlgnOperator both(a, empty);
  EXPECT_TRUE(both.Flags().Test(1));
  for (int op = Math::NormA; op <= Math::AXorB; ++op) EXPECT_TRUE(both(EPlgnOperation(op)).empty()) << op;
  CPlgnOperator alone(a, true);
  EXPECT_TRUE(alone(Math::NormA).empty());

  // Beside a real square the degenerate contour is dropped, the square kept.
  a.push_back(Ring{{0, 0}, {4, 0}, {4, 4}, {0, 4}, {0, 0}});
  CPlgnOperator withSquare(a, empty);
  CStdPlgn const norm = withSquare(Math::NormA);
  ASSERT_EQ(norm.size(), 1u);
  EXPECT_EQ(norm[0].size(), 5u);
}
