// Every family run from several threads at once on shared, read-only input.
// Each thread turns the same real outlines into a digest of results; the
// digests must equal the one the main thread computes afterwards. Built and
// run under ThreadSanitizer by scripts/test, where a data race is fatal.
//
// What is shared and what is not follows the headers: input containers, a
// const polygon splitter, a prepared polygon index, a const affine map, a
// CSegmPoints range and a decision tree's node list are shared; the objects
// whose const accessors write (a CSample2's cache, a decision tree's
// reference counts) are one per thread, and so is a boolean operator (it
// keeps its result). The one process-wide state is the pair of kink
// parameters of curve analysis (CCurveInfo::SetKinkParms): they are written
// without a lock, so they are set before the threads start and only read
// while they run.
#include <math/kmath.h>

#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

#include "xy_reader.h"

namespace {

struct CShared {
  std::vector<std::vector<CPointD>> outlines;  // rings in pixel units
  CStdPlgn polygon;
  Math::CAffineParams affine;
  Math::CSegmPoints segment{CPoint(-40, 7), CPoint(300, -91)};
  Math::CDecisionTree::CNodeList nodes;
  std::vector<Math::DTC_traits::CFeature> features;
};

// The results of one pass, as doubles compared bit for bit.
using Digest = std::vector<double>;

void Add(Digest& d, CPointD const& p) {
  d.push_back(p.x);
  d.push_back(p.y);
}

void Core(CShared const& s, Digest& d) {
  for (auto const& ring : s.outlines) {
    std::vector<CPointD> hull = ring;
    Math::ConvexHull(hull);
    for (CPointD const& p : hull) Add(d, p);
    Math::CPtStat const stat(ring.data(), static_cast<int>(ring.size()));
    double err = 0.0;
    Math::CLine const line = Math::MakeLine(stat, &err);
    d.insert(d.end(), {line.cosP(), line.sinP(), line.rho(), err});
    Math::CLinForm f{};
    if (Math::LIRLine(f, ring.data(), static_cast<unsigned>(ring.size()), 0.4, 2.0, false))
      d.insert(d.end(), {f.a, f.b, f.c});
    std::vector<double> xs;
    for (CPointD const& p : ring) xs.push_back(p.x);
    d.push_back(Math::CalcMedian(xs.data(), static_cast<unsigned>(xs.size())));
  }
  Math::CMatrix3D m = Math::CMatrix3D::RotateX(0.3) * Math::CMatrix3D::RotateZ(1.1);
  m.Invert();
  CPoint3D const p = Spherical(m * CPoint3D{1.0, 2.0, 3.0});
  d.insert(d.end(), {p.x, p.y, p.z});
}

void Polyline(CShared const& s, Digest& d) {
  for (auto const& ring : s.outlines) {
    std::vector<CPointD> approx = ring;
    Math::PolyApprox(approx, 1.0, 40.0);
    for (CPointD const& p : approx) Add(d, p);
    std::vector<CPointD> smooth = ring;
    Math::GaussSmoothing(smooth);
    Math::PolyResample(smooth, 0.7);
    d.push_back(static_cast<double>(smooth.size()));
    Add(d, smooth[smooth.size() / 2]);
    Math::poly_hit hit(0, 0.0);
    d.push_back(Math::MoveAlong(ring, hit, 123.4, true));
    Add(d, Math::PointAt(ring, hit));
    Math::CCurveInfo const info = Math::CurveInfo(ring, hit, 20.0, false, 3);
    d.insert(d.end(), {info.Tangent(), info.Curvature(), info.Direction()});
    Add(d, Math::PolyStartingDir(ring.data(), static_cast<unsigned>(ring.size()), 200, 5.0, 1.0));
    Add(d, Math::PolyEndingDir(ring.data(), static_cast<unsigned>(ring.size()), 200, 5.0, 1.0));
  }
}

void Polygon(CShared const& s, Digest& d, Math::CSplitPoly1 const& split) {
  CStdPlgn holes = s.polygon;
  holes.IncludeHoles();
  for (auto const& ring : holes) d.push_back(static_cast<double>(ring.size()));
  for (int i = 0; i < 50; ++i) d.push_back(s.polygon.PtInside(CPointD{10.0 + 7.3 * i, 5.0 + 4.1 * i}));
  Math::mpoly_base<CPointD> clipped(s.outlines.begin(), s.outlines.end());
  Math::ClipPolyByRect(clipped, CRectD{20.0, 20.0, 180.0, 150.0}, true);
  for (auto const& piece : clipped) d.push_back(static_cast<double>(piece.size()));
  Math::mpoly_base<CPointD> inside, outside;
  split(s.outlines.back(), inside, outside, true);
  for (auto const& piece : inside) Add(d, piece.back());
  for (auto const& piece : outside) Add(d, piece.front());
}

void Shape(CShared const& s, Digest& d) {
  for (auto const& ring : s.outlines) {
    Math::CRCMoments const rc(Math::CRawMoments(ring.data(), static_cast<unsigned>(ring.size())));
    Math::CHuMoments const hu(rc);
    d.insert(d.end(), std::begin(hu.h), std::end(hu.h));
    Math::CAreaMoments2 const area(ring.data(), static_cast<unsigned>(ring.size()));
    d.insert(d.end(), {area.dArea, area.dMu20, area.dMu11});
    Math::CCircleReduce::CResult const c = Math::CCircleReduce(Math::poly_base<CPointD>(ring));
    d.insert(d.end(), {c.ptCenter.x, c.ptCenter.y, c.dRadius});
    Stat::CSample2 sample;  // its accessors write their cache: one per thread
    for (CPointD const& p : ring) sample.AddVal(p.x, 1);
    d.insert(d.end(), {sample.Mean(), sample.Sigma(), CLenEstimation::Estimate(50.0, sample, false)});
  }
  Math::poly_base<CPointD> poly;
  Math::CCircle(CPointD{3.0, 4.0}, 25.0).MakePoly(poly, 0.1, 500);
  d.push_back(static_cast<double>(poly.size()));
}

void Transform(CShared const& s, Digest& d) {
  Math::CTransform<Math::CAffineImpl> const direct = s.affine.Direct();
  for (auto const& ring : s.outlines) Add(d, direct(ring[ring.size() / 3]));
  std::vector<Math::CRefPoint> rps;
  for (CPointD const& p : s.outlines.front()) rps.push_back({p, direct(p)});
  Math::CLinearTrans const lin(rps.data(), static_cast<unsigned>(rps.size()));
  Math::CSqrTrans const sqr(rps.data(), static_cast<unsigned>(rps.size()));
  Add(d, lin.Inverse().Point(CPointD{100.0, 100.0}));
  Add(d, sqr.Inverse().Point(CPointD{100.0, 100.0}));
  Math::CAffineParams fit;  // Inverse() refreshes a block: one per thread
  fit.Define(rps.data(), static_cast<unsigned>(rps.size()));
  Add(d, fit.Inverse()(CPointD{1000.0, -2000.0}));
}

void Raster(CShared const& s, Digest& d) {
  for (auto const& ring : s.outlines) {
    std::vector<tagPOINT> pts;
    for (CPointD const& p : ring) pts.push_back({static_cast<int>(p.x), static_cast<int>(p.y)});
    pts.pop_back();
    CFillPoly fill;
    fill.Init(pts.data(), static_cast<int>(pts.size()));
    fill.SetBitPixel(1);
    unsigned char row[64];
    unsigned sum = 0;
    for (int y = 0; y < 300; ++y) {
      fill.NextScanLine(y);
      fill.GetLineMask(row, sizeof row, 512);
      for (unsigned char b : row) sum = sum * 31 + b;
    }
    d.push_back(sum);
  }
  for (CPoint const& p : s.segment) d.insert(d.end(), {double(p.x), double(p.y)});
  CCircleBuilder2 circle;
  circle.Init(CPoint(5, 5), 40);
  CPoint p = circle.GetHead();
  while (circle.GetNext(p)) d.push_back(p.x * 1000.0 + p.y);
}

void Classify(CShared const& s, Digest& d) {
  // The nodes' reference counts are plain integers: each thread builds its
  // own tree from the shared list.
  Math::CDecisionTree const tree(s.nodes, s.features);
  for (int i = 0; i < 200; ++i) {
    std::vector<Math::DTC_traits::CValue> values = {Math::DTC_traits::CValue(static_cast<unsigned char>(i % 3)),
                                                   Math::DTC_traits::CValue(i * 0.37)};
    for (auto const& [cls, score] : tree.Classify(values)) d.insert(d.end(), {double(cls), score});
  }
}

// Every k-th vertex, closed again: the heavier families run on outlines of a
// couple of hundred vertices so the ThreadSanitizer run stays short.
std::vector<CPointD> Thin(std::vector<CPointD> const& ring, std::size_t most) {
  std::size_t const step = ring.size() / most + 1;
  std::vector<CPointD> out;
  for (std::size_t i = 0; i + 1 < ring.size(); i += step) out.push_back(ring[i]);
  out.push_back(out.front());
  return out;
}

void Shapes(CShared const& s, Digest& d) {
  for (auto const& ring : s.outlines) {
    auto const n = static_cast<unsigned>(ring.size());
    for (Math::CRectangle r : {Math::MinAreaRectangle(ring.data(), n, false), Math::MakeRectangle(ring.data(), n, true)}) {
      Math::AdjustRectangle(r, ring.data(), n);
      Math::OptimizeRectangle(r, ring.data(), n, 1e-4);
      d.insert(d.end(), {r.Center().x, r.Center().y, r.Width(), r.Height(), r.Angle()});
    }
    double a = 0.0;
    if (Math::PolyOrthoDir(ring.data(), n, a)) d.push_back(a);
    std::vector<CPointD> squared = Thin(ring, 200);
    Math::CPolyOrtho::CParams params(0.5, 4.0);
    params.nCorners = 12;
    if (Math::CPolyOrtho(params)(squared)) d.push_back(static_cast<double>(squared.size()));
    d.insert(d.end(), {params.dMaxRms, double(params.nCorners)});
  }
}

void Curves(CShared const& s, Digest& d) {
  for (auto const& ring : s.outlines) {
    auto const n = static_cast<unsigned>(ring.size());
    std::vector<CPointD> const thin = Thin(ring, 120);
    std::vector<CPointD> spline = thin;
    d.push_back(Math::SplineSmoothing(spline, 2.0));
    d.push_back(static_cast<double>(spline.size()));
    std::vector<Math::CBezierPiece> pieces;
    if (Math::BezierFit(ring, 1.0, 1.0, pieces))
      for (auto const& piece : pieces) Add(d, piece.p1);
    std::vector<CPointD> smooth = ring;
    Math::PolySmoothing(smooth, 2.0, 1.0);
    Add(d, smooth[n / 2]);
    std::vector<std::vector<CPointD>> offset;
    if (Math::PolyOffset(thin, 3.0, Math::COffsetParams(), offset))
      for (auto const& piece : offset) d.push_back(static_cast<double>(piece.size()));
    d.push_back(Math::PolyBaseDir(ring.data(), n, 0.05));
    std::vector<CPointD> broken = ring;
    Math::PolyBroken2(broken, 1.0, true, false);
    d.push_back(static_cast<double>(broken.size()));
    for (CPointD const& p : Math::PolyDistances(thin, s.outlines.front())) Add(d, p);
    std::vector<std::pair<Math::poly_hit, Math::poly_hit>> pairs;
    Math::DTWMatch(thin, Thin(s.outlines.front(), 80), pairs, Math::CDTWParams(false, 3.0, false));
    for (auto const& pr : pairs) d.insert(d.end(), {double(pr.first.index), pr.second.param});
    std::vector<double> factors;
    Math::CPolyWinding(ring).ZuFactor(20.0, factors);
    d.insert(d.end(), factors.begin(), factors.end());
  }
}

void Graphs(CShared const& s, Digest& d, Math::CPreparedPlgn const& prepared) {
  for (int i = 0; i < 200; ++i) d.push_back(prepared.PtInside(CPointD{10.0 + 1.3 * i, 5.0 + 0.9 * i}));
  CStdPlgn thin;
  for (auto const& ring : s.polygon) thin.push_back(Thin(ring, 150));
  CStdPlgn const other(Math::mpoly_base<CPointD>(1, Thin(s.outlines.back(), 150)));
  Math::CPlgnOperator op(thin, other);
  for (auto operation : {Math::Cross, Math::Union, Math::AXorB})
    for (auto const& ring : op(operation)) Add(d, ring.front());
  Math::Fortune::CTriangulator tri;
  tri.Triangulate(s.outlines.front());
  d.insert(d.end(), tri.Triangles().begin(), tri.Triangles().end());
  tri.TriangulatePolygon(thin);
  d.push_back(static_cast<double>(tri.TriangleCount()));
  Math::Voronoi::CVoronoiGraph voronoi;
  voronoi.Build(Thin(s.outlines.front(), 150), {}, CRectD{-500, -500, 1500, 1500}, 0.5);
  d.insert(d.end(), {double(voronoi.Graph().num_edges()), double(voronoi.Graph().num_loops())});
  std::vector<Math::CCenterLine> lines;
  Math::CenterLines(thin, 4.0, 1.0, lines, true);
  for (auto const& line : lines) Add(d, line.pts.back());
}

Digest Everything(CShared const& s, Math::CSplitPoly1 const& split, Math::CPreparedPlgn const& prepared) {
  Digest d;
  Core(s, d);
  Polyline(s, d);
  Polygon(s, d, split);
  Shape(s, d);
  Transform(s, d);
  Raster(s, d);
  Classify(s, d);
  Shapes(s, d);
  Curves(s, d);
  Graphs(s, d, prepared);
  return d;
}

bool SameBits(Digest const& a, Digest const& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0;
}

}  // namespace

TEST(Threads, EveryFamilyGivesTheSameResultsFromSeveralThreads) {
  CShared s;
  for (auto const& ring : kmath_test::LoadPolylines("horse_crack.xy")) s.outlines.push_back(ring);
  for (auto const& ring : kmath_test::LoadPolylines("coins_chain.xy")) {
    if (s.outlines.size() >= 6) break;
    if (ring.size() > 40 && ring.front().x == ring.back().x && ring.front().y == ring.back().y)
      s.outlines.push_back(ring);
  }
  ASSERT_GE(s.outlines.size(), 3u);
  s.polygon = CStdPlgn(Math::mpoly_base<CPointD>(s.outlines.begin(), s.outlines.end() - 1));
  double const block[6] = {0.5, 0.1, 500000.0, -0.1, -0.5, 6000000.0};
  s.affine.Define(block, nullptr);
  using V = Math::DTC_traits::CValue;
  s.features = {{0, {0, 1, 2}}, {1, {}}};
  unsigned short const leaf = 0xFFFF;
  s.nodes = {{0, {}},   {leaf, {1.0, 0.5}}, {1, {V(30.0)}}, {leaf, {2.0, 1.0}},
             {leaf, {3.0, 0.25, 4.0, 0.75}}, {leaf, {}}};
  // Set before any thread starts: the kink parameters are process-wide and
  // unguarded, the one state that must not change while curves are analysed.
  Math::CCurveInfo::SetKinkParms(2.0, 1.0471975511965976);

  Math::CSplitPoly1 const split(s.polygon, true);
  Math::CPreparedPlgn const prepared(s.polygon);
  unsigned const kThreads = 4;
  std::vector<Digest> digests(kThreads);
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < kThreads; ++t)
    threads.emplace_back([&, t] {
      for (int round = 0; round < 2; ++round) digests[t] = Everything(s, split, prepared);
    });
  for (auto& th : threads) th.join();

  // The reference comes last, so first uses of lazily made constants happened
  // concurrently above.
  Digest const reference = Everything(s, split, prepared);
  ASSERT_GT(reference.size(), 1000u);
  for (unsigned t = 0; t < kThreads; ++t) {
    SCOPED_TRACE(t);
    EXPECT_TRUE(SameBits(digests[t], reference));
  }
}
