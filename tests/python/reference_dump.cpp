// Prints, for every block of an .xy file, what the C++ library returns for
// the operations the Python tests compare against, in hexadecimal floating
// point so that the comparison is bit for bit.
//
//   kmath_py_reference <name.xy> [basic|shapes|polygons|curves]
//
// (a file of the bundled data/ folder; the group of operations, basic by
// default). One line per result: "<block> <op> <value> <value> ...".
#include <math/kmath.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "xy_reader.h"

namespace {

void Print(std::size_t block, char const* op, std::vector<double> const& values) {
  std::printf("%zu %s", block, op);
  for (double v : values) std::printf(" %a", v);
  std::printf("\n");
}

std::vector<double> Flat(std::vector<CPointD> const& pts) {
  std::vector<double> out;
  for (CPointD const& p : pts) {
    out.push_back(p.x);
    out.push_back(p.y);
  }
  return out;
}

std::vector<double> Flat(Math::mpoly_base<CPointD> const& polys) {
  // Ring sizes first, so that the layout is compared as well as the points.
  std::vector<double> out{double(polys.size())};
  for (auto const& p : polys) out.push_back(double(p.size()));
  for (auto const& p : polys)
    for (CPointD const& q : p) out.push_back(q.x), out.push_back(q.y);
  return out;
}

void PrintRectangle(std::size_t b, char const* op, Math::CRectangle const& r) {
  CPointD const c = r.Center();
  Print(b, op, {c.x, c.y, r.Width(), r.Height(), r.Angle()});
}

bool IsRing(std::vector<CPointD> const& p) {
  return p.size() >= 4 && p.front().x == p.back().x && p.front().y == p.back().y;
}

void Shapes(std::size_t b, std::vector<CPointD> const& pts) {
  std::vector<CPointD> reduced = pts;
  Math::PolyApprox(reduced, 1.0, std::numeric_limits<double>::max());
  if (IsRing(pts)) {
    std::vector<CPointD> sq = reduced;
    Math::CPolyOrtho::CParams params(0.3, 1.5);
    params.nCorners = 1000;
    bool const ok = sq.size() >= 4 && Math::CPolyOrtho(params)(sq);
    Print(b, ok ? "square" : "square_refused", ok ? Flat(sq) : std::vector<double>{});
  }
  std::vector<CPointD> once = pts;
  if (Math::PolyOrtho(once, 1.0, 0.0, false, false, nullptr)) Print(b, "square_once", Flat(once));
  double a = 0;
  if (Math::PolyOrthoDir(pts.data(), unsigned(pts.size()), a)) Print(b, "ortho_dir", {a});
  Print(b, "base_dir", {Math::PolyBaseDir(pts.data(), unsigned(pts.size()), 0.05)});
  std::vector<std::pair<CPointD, double>> clusters;
  Math::PolyDirClusters(pts.data(), unsigned(pts.size()), clusters, 0.1);
  std::vector<double> flat;
  for (auto const& c : clusters) flat.insert(flat.end(), {c.first.x, c.first.y, c.second});
  Print(b, "dir_clusters", flat);
  std::vector<CPointD> broken = pts;
  if (Math::PolyBroken2(broken, 1.0, IsRing(pts), true)) Print(b, "broken", Flat(broken));
  std::vector<CPointD> hull = pts;
  Math::ConvexHull(hull);
  Print(b, "distances", Flat(Math::PolyDistances(pts, hull)));

  PrintRectangle(b, "min_rect", Math::MinAreaRectangle(pts.data(), unsigned(pts.size()), false));
  PrintRectangle(b, "extent_rect", Math::ExtentRectangle(pts.data(), unsigned(pts.size())));
  PrintRectangle(b, "extent_rect_03", Math::ExtentRectangle(pts.data(), unsigned(pts.size()), 0.3));
  PrintRectangle(b, "moment_rect", Math::MakeRectangle(pts.data(), unsigned(pts.size()), true));

  std::vector<CPointD> spline = reduced;
  if (Math::ReduceToSpline(spline, 0.1) == 1) Print(b, "spline", Flat(spline));
  std::vector<CPointD> smooth = reduced;
  if (Math::SplineSmoothing(smooth, 2.0) == 1) Print(b, "spline_smoothing", Flat(smooth));

  std::vector<std::pair<Math::poly_hit, Math::poly_hit>> pairs;
  Math::DTWMatch(Math::CDTWPoly(pts), Math::CDTWPoly(reduced), pairs, Math::CDTWParams(false, 2.0, false));
  flat.clear();
  for (auto const& p : pairs)
    flat.insert(flat.end(), {double(p.first.index), p.first.param, double(p.second.index), p.second.param});
  Print(b, "dtw", flat);
}

void Polygons(std::size_t b, std::vector<CPointD> const& pts) {
  if (!IsRing(pts)) return;
  // The ring against itself moved by a third of its extent: real outlines
  // overlapping in real ways.
  Math::CRectangle const box = Math::ExtentRectangle(pts.data(), unsigned(pts.size()), 0.0);
  CPointD const shift{box.Width() / 3.0, box.Height() / 5.0};
  std::vector<CPointD> moved = pts;
  for (CPointD& p : moved) p += shift;
  CStdPlgn a, c;
  a.emplace_back(pts);
  c.emplace_back(moved);
  {
    Math::CPlgnOperator op(a, c);
    static char const* const names[] = {"norm_a", "norm_b", "cross", "union", "a_not_b", "b_not_a", "xor"};
    for (int k = 0; k < 7; ++k) Print(b, names[k], Flat(op(Math::EPlgnOperation(k))));
  }
  Print(b, "self_cross", {double(Math::CPlgnStructure(pts.data(), int(pts.size())).CheckSelfCross().Bits())});

  Math::Fortune::CTriangulator t;
  t.Triangulate(pts);
  Print(b, "triangulate", std::vector<double>(t.Triangles().begin(), t.Triangles().end()));
  Math::Fortune::CTriangulator tp;
  if (tp.TriangulatePolygon(a)) Print(b, "triangulate_polygon", std::vector<double>(tp.Triangles().begin(), tp.Triangles().end()));

  std::vector<Math::CCenterLine> lines;
  if (Math::CenterLines(a, 3.0, 0.5, lines, true)) {
    std::vector<double> flat;
    for (auto const& l : lines) {
      flat.push_back(double(l.pts.size()));
      for (std::size_t i = 0; i < l.pts.size(); ++i) flat.insert(flat.end(), {l.pts[i].x, l.pts[i].y, l.halfWidths[i]});
    }
    Print(b, "centerlines", flat);
  }
}

void Curves(std::size_t b, std::vector<CPointD> const& pts) {
  std::vector<CPointD> bez = pts;
  std::vector<Math::CBezierPiece> pieces;
  if (Math::BezierSmoothing(bez, 1.0, 1.2, 0.1, &pieces)) {
    Print(b, "bezier", Flat(bez));
    std::vector<double> flat;
    for (auto const& p : pieces)
      flat.insert(flat.end(), {p.p0.x, p.p0.y, p.p1.x, p.p1.y, p.p2.x, p.p2.y, p.p3.x, p.p3.y, double(p.bCorner)});
    Print(b, "bezier_pieces", flat);
  }
  std::vector<CPointD> smooth = pts;
  if (Math::PolySmoothing(smooth, 2.0, 1.3)) Print(b, "corner_smooth", Flat(smooth));
  Math::COffsetParams const params;
  for (double d : {2.0, -2.0}) {
    std::vector<std::vector<CPointD>> rings;
    if (!Math::PolyOffset(pts, d, params, rings)) continue;
    Math::mpoly_base<CPointD> polys;
    for (auto& r : rings) polys.emplace_back(std::move(r));
    Print(b, d > 0 ? "offset_left" : "offset_right", Flat(polys));
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 && argc != 3) {
    std::fprintf(stderr, "usage: kmath_py_reference <name.xy> [basic|shapes|polygons|curves]\n");
    return 2;
  }
  std::string const group = argc == 3 ? argv[2] : "basic";
  try {
    std::vector<kmath_test::XYBlock> const blocks = kmath_test::LoadXY(argv[1]);
    if (group != "basic") {
      for (std::size_t b = 0; b < blocks.size(); ++b) {
        if (group == "shapes") Shapes(b, blocks[b].pts);
        else if (group == "polygons") Polygons(b, blocks[b].pts);
        else if (group == "curves") Curves(b, blocks[b].pts);
        else throw std::invalid_argument("unknown group " + group);
      }
      return 0;
    }
    for (std::size_t b = 0; b < blocks.size(); ++b) {
      std::vector<CPointD> const& pts = blocks[b].pts;

      std::vector<CPointD> reduced = pts;
      Math::PolyApprox(reduced, 1.5, 40.0);
      Print(b, "simplify", Flat(reduced));

      std::vector<CPointD> hull = pts;
      Math::ConvexHull(hull);
      Print(b, "hull", Flat(hull));

      std::vector<CPointD> resampled = pts;
      Math::PolyResample(resampled, 2.0);
      Print(b, "resample", Flat(resampled));

      Math::CRCMoments const rc{Math::CRawMoments(pts.data(), unsigned(pts.size()))};
      Print(b, "moments", {rc.m00, rc.m10, rc.m01, rc.mu20, rc.mu11, rc.mu02, rc.mu30, rc.mu03});
      if (rc.IsValid()) {
        Math::CHuMoments const hu(rc);
        Print(b, "hu", std::vector<double>(hu.h, hu.h + 7));
      }

      Math::CCircleReduce::CResult const c = Math::CCircleReduce(Math::poly_base<CPointD>(pts));
      if (c.bValid) {
        CPointD const centre = c.ptCenter;
        Print(b, "circle", {centre.x, centre.y, double(c.dRadius), double(c.dDeviation)});
      }
    }
  } catch (std::exception const& e) {
    std::fprintf(stderr, "kmath_py_reference: %s\n", e.what());
    return 1;
  }
  return 0;
}
