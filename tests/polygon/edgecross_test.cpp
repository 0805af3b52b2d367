#include <math/edgecross.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace {

using Math::sba_detail::CEdge;
using Math::sba_detail::CEvents;
using Math::sba_detail::CSplitTable;

struct Seg {
  CPointD p, q;
};

CEvents EventsOf(std::vector<Seg> const& segs) {
  CEvents ev;
  for (unsigned i = 0; i < segs.size(); ++i) {
    Seg s = segs[i];
    if (s.q.x < s.p.x || (s.q.x == s.p.x && s.q.y < s.p.y)) std::swap(s.p, s.q);
    ev.Add(CEdge(i, {s.p, s.q}));
    ev.AddX(s.q.x);
  }
  return ev;
}

CSplitTable Split(std::vector<Seg> const& segs) {
  CSplitTable t;
  Math::SplitAtCrossings(EventsOf(segs), t);
  return t;
}

TEST(EdgeCross, EdgeOrderAndHeight) {
  CEdge up(0, {{0, 0}, {1, 1}}), down(1, {{0, 0}, {1, -1}}), flat(2, {{3, 1}, {3, 4}});
  up.MoveX(0);
  down.MoveX(0);
  EXPECT_TRUE(down < up);  // equal height: by angle
  EXPECT_FALSE(up < down);
  up.MoveX(0.5);
  EXPECT_DOUBLE_EQ(up.Y(), 0.5);
  flat.MoveX(10);
  EXPECT_TRUE(flat.is_flat());
  EXPECT_EQ(flat.Y(), 1.0);
  CEdge tiny(3, {{0, 0}, {1e-13, 1}});
  EXPECT_DOUBLE_EQ(tiny.angle(), M_PI / 2);  // dx below 1e-12 counts as 0
}

TEST(EdgeCross, EventsKeepOneEntryPerExactAbscissa) {
  CEvents ev;
  ev.AddX(1.0);
  ev.Add(CEdge(0, {{1.0, 0}, {2, 0}}));
  ev.AddX(1.0);
  ev.AddX(1.0 + 1e-15);
  ev.AddX(std::numeric_limits<double>::quiet_NaN());
  ev.Add(CEdge(1, {{std::numeric_limits<double>::quiet_NaN(), 0}, {2, 0}}));
  ASSERT_EQ(ev.size(), 2u);
  EXPECT_EQ(ev.begin()->second.size(), 1u);
}

TEST(EdgeCross, SplitsWhereEdgesMeet) {
  struct Case {
    char const* name;
    std::vector<Seg> segs;
    CSplitTable want;
  };
  Case const cases[] = {
      {"shared end point", {{{0, 0}, {10, 0}}, {{10, 0}, {10, 10}}}, {}},
      {"crossing", {{{0, 0}, {10, 10}}, {{0, 10}, {10, 0}}}, {{0, {0.5}}, {1, {0.5}}}},
      {"end point 0.0004 from an interior", {{{0, 0}, {10, 0}}, {{5, 0.0004}, {8, 10}}}, {{0, {0.5}}, {1, {0.0}}}},
      {"end point 0.0006 away", {{{0, 0}, {10, 0}}, {{5, 0.0006}, {8, 10}}}, {}},
      {"end of a touching edge", {{{0, 0}, {10, 0}}, {{2, 5}, {4, 0}}}, {{0, {0.4}}, {1, {1.0}}}},
      {"collinear overlap", {{{0, 0}, {10, 0}}, {{5, 0}, {15, 0}}}, {{0, {0.5, 1.0}}, {1, {0.0, 0.5}}}},
      {"parallel", {{{0, 0}, {10, 0}}, {{0, 1}, {10, 1}}}, {}},
      // The two long edges become neighbours only where the short one ends.
      {"crossing behind a short edge", {{{0, 0}, {10, 10}}, {{0, 10}, {10, 0}}, {{0, 5}, {1, 5}}}, {{0, {0.5}}, {1, {0.5}}}},
      {"zero-length edge away", {{{0, 0}, {10, 0}}, {{3, 3}, {3, 3}}}, {}},
      // The vertical edge meets all three edges below its top, not only its
      // beam neighbours.
      {"vertical edge through a stack",
       {{{5, 0}, {5, 10}}, {{0, 2}, {10, 2}}, {{0, 5}, {10, 5}}, {{0, 8}, {10, 8}}, {{0, 12}, {10, 12}}},
       {{0, {0.2, 0.5, 0.8}}, {1, {0.5}}, {2, {0.5}}, {3, {0.5}}}},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.name);
    CSplitTable const got = Split(c.segs);
    ASSERT_EQ(got.size(), c.want.size());
    for (auto const& [id, ts] : c.want) {
      ASSERT_EQ(got.count(id), 1u) << id;
      ASSERT_EQ(got.at(id).size(), ts.size()) << id;
      for (std::size_t k = 0; k < ts.size(); ++k) EXPECT_NEAR(got.at(id)[k], ts[k], 1e-12) << id;
    }
  }
}

// Two crossings on one edge closer than FLT_EPSILON in parameter, found left
// to right: the later (larger) one has no stored value after it, so both are
// kept.
TEST(EdgeCross, NearDuplicateLargerParameterIsKept) {
  double const dt = 5e-8;
  std::vector<Seg> segs{{{0, 0}, {1, 0}}, {{0.5, -1}, {0.5, 1}}, {{0.5 + dt, -1}, {0.5 + dt, 1}}};
  CSplitTable const got = Split(segs);
  ASSERT_EQ(got.at(0).size(), 2u);
  EXPECT_NEAR(got.at(0)[1] - got.at(0)[0], dt, 1e-12);
}

TEST(EdgeCross, CrossingBecomesALaterEvent) {
  struct CProbe : Math::CEdgeCrossProc {
    using CEdgeCrossProc::CEdgeCrossProc;
  };
  CEvents ev = EventsOf({{{0, 0}, {10, 10}}, {{0, 10}, {10, 0}}});
  CSplitTable t;
  CProbe probe(ev, t);
  probe.Run();
  EXPECT_EQ(ev.count(5.0), 1u);
  EXPECT_EQ(ev.size(), 3u);  // both begin at 0, end at 10, cross at 5
}

// Against every pair of a few hundred random segments: each clear crossing
// is found on both edges at its parameter, and every recorded cut lies on
// another segment (a crossing or a touch), never anywhere else.
TEST(EdgeCross, FindsEveryCrossingOfRandomSegments) {
  std::mt19937 rng(31337);
  std::uniform_real_distribution<double> u(0, 1000), d(-80, 80);
  for (int round = 0; round < 5; ++round) {
    SCOPED_TRACE("seed 31337, round " + std::to_string(round));
    std::vector<Seg> segs;
    for (int i = 0; i < 300; ++i) {
      CPointD const p{u(rng), u(rng)};
      segs.push_back({p, {p.x + d(rng), p.y + d(rng)}});
    }
    // Axis-parallel and vertical ones too: the vertical walk must see them.
    for (int i = 0; i < 40; ++i) {
      CPointD const p{std::round(u(rng)), u(rng)};
      segs.push_back(i % 2 ? Seg{p, {p.x, p.y + d(rng)}} : Seg{p, {p.x + d(rng), p.y}});
    }
    CSplitTable const got = Split(segs);
    auto has = [&](unsigned id, double t) {
      auto it = got.find(id);
      if (it == got.end()) return false;
      return std::any_of(it->second.begin(), it->second.end(), [t](double v) { return std::abs(v - t) < 1e-9; });
    };
    auto param = [&](Seg const& s, CPointD x) {
      // The sweep measures along the edge from its left (lower) end.
      Seg o = s;
      if (o.q.x < o.p.x || (o.q.x == o.p.x && o.q.y < o.p.y)) std::swap(o.p, o.q);
      CPointD const dd = o.q - o.p;
      return ((x.x - o.p.x) * dd.x + (x.y - o.p.y) * dd.y) / (dd.x * dd.x + dd.y * dd.y);
    };
    int crossings = 0;
    for (unsigned i = 0; i < segs.size(); ++i) {
      for (unsigned j = i + 1; j < segs.size(); ++j) {
        CPointD const r = segs[i].q - segs[i].p, s = segs[j].q - segs[j].p, w = segs[j].p - segs[i].p;
        double const den = r.x * s.y - r.y * s.x;
        if (std::abs(den) < 1e-3) continue;
        double const ti = (w.x * s.y - w.y * s.x) / den, tj = (w.x * r.y - w.y * r.x) / den;
        if (ti < 1e-6 || ti > 1 - 1e-6 || tj < 1e-6 || tj > 1 - 1e-6) continue;
        CPointD const x = segs[i].p + r * ti;
        ++crossings;
        EXPECT_TRUE(has(i, param(segs[i], x))) << i << " x " << j;
        EXPECT_TRUE(has(j, param(segs[j], x))) << i << " x " << j;
      }
    }
    EXPECT_GT(crossings, 50);
    for (auto const& [id, ts] : got) {
      Seg o = segs[id];
      if (o.q.x < o.p.x || (o.q.x == o.p.x && o.q.y < o.p.y)) std::swap(o.p, o.q);
      for (double t : ts) {
        CPointD const x = o.p + (o.q - o.p) * t;
        bool onOther = false;
        for (unsigned j = 0; j < segs.size() && !onOther; ++j) {
          if (j == id) continue;
          CPointD const a = segs[j].p, b = segs[j].q, ab = b - a;
          double const len2 = ab.x * ab.x + ab.y * ab.y;
          double const s = std::clamp(((x.x - a.x) * ab.x + (x.y - a.y) * ab.y) / len2, 0.0, 1.0);
          onOther = std::hypot(a.x + ab.x * s - x.x, a.y + ab.y * s - x.y) < 1e-3;
        }
        EXPECT_TRUE(onOther) << id << " at " << t;
      }
    }
  }
}

}  // namespace
