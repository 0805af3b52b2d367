// Triangulation, Voronoi diagrams and centre lines of vector data.
#include <math/kmath.h>

#include <CLI/CLI.hpp>

#include <chrono>
#include <cstdio>
#include <memory>

#include "commands.h"
#include "pipeline.h"
#include "plgn_convert.h"
#include "vector_io.h"

namespace kmath_tool {

namespace {

struct GraphOpts {
  std::string input, output, format;
  bool constrained = false, quiet = false;
  double chordTol = 0.1, margin = 0.1;
  double prune = 4.0, tolerance = 0.5;
  bool widths = false;
};

std::vector<CPointD> AllVertices(VectorReader& reader, std::vector<CStdPlgn>* polygons) {
  std::vector<CPointD> pts;
  while (FeaturePtr f = reader.Next()) {
    Geometry const g = FromOGR(f->GetGeometryRef());
    if (!g.AllFinite())
      throw ToolError(reader.Path() + ": feature " + std::to_string(f->GetFID()) + ": a coordinate is NaN or infinite");
    for (auto const& part : g.parts)
      for (auto const& ring : part) {
        // A closed ring's repeated end is one vertex.
        std::size_t const n = g.kind == GeomKind::Polygon && IsClosed(ring) ? ring.size() - 1 : ring.size();
        pts.insert(pts.end(), ring.begin(), ring.begin() + static_cast<std::ptrdiff_t>(n));
      }
    if (polygons && g.kind == GeomKind::Polygon) polygons->push_back(ToPlgn(g));
  }
  return pts;
}

int RunTriangulate(GraphOpts const& o) {
  auto const start = std::chrono::steady_clock::now();
  VectorReader reader(o.input, "");
  std::vector<CStdPlgn> polys;
  std::vector<CPointD> const pts = AllVertices(reader, o.constrained ? &polys : nullptr);
  VectorWriter writer(o.output, o.format, "triangles", reader.SpatialRef(), wkbPolygon, nullptr,
                      {{"kmath_a", OFTInteger64}, {"kmath_b", OFTInteger64}, {"kmath_c", OFTInteger64}});
  auto emit = [&](Math::Fortune::CTriangulator const& t) {
    auto const& tri = t.Triangles();
    auto const& p = t.Points();
    for (std::size_t k = 0; k + 2 < tri.size(); k += 3) {
      Geometry g;
      g.kind = GeomKind::Polygon;
      g.parts.push_back({Ring{p[tri[k]], p[tri[k + 1]], p[tri[k + 2]], p[tri[k]]}});
      writer.Write(nullptr, g, {static_cast<long long>(tri[k]), static_cast<long long>(tri[k + 1]),
                                static_cast<long long>(tri[k + 2])});
    }
  };
  std::size_t skipped = 0, dup = 0;
  if (o.constrained) {
    for (std::size_t i = 0; i < polys.size(); ++i) {
      Math::Fortune::CTriangulator t;
      if (!t.TriangulatePolygon(polys[i]))
        throw ToolError(o.input + ": polygon " + std::to_string(i) + " cannot be triangulated (crossing or unclosed rings)");
      emit(t);
      dup += t.DuplicateCount();
    }
  } else {
    Math::Fortune::CTriangulator t;
    if (!t.Triangulate(pts)) throw ToolError(o.input + ": fewer than three points off one line");
    emit(t);
    skipped = t.SkippedCount(), dup = t.DuplicateCount();
  }
  writer.Commit();
  if (!o.quiet)
    std::fprintf(stderr, "kmath triangulate: %zu points, %lld triangles, %zu duplicates merged, %zu skipped, %.2f s\n",
                 pts.size(), writer.Written(), dup, skipped,
                 std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  return 0;
}

int RunVoronoi(GraphOpts const& o) {
  auto const start = std::chrono::steady_clock::now();
  VectorReader reader(o.input, "");
  std::vector<CPointD> const pts = AllVertices(reader, nullptr);
  if (pts.empty()) throw ToolError(o.input + ": holds no points");
  double x0 = pts[0].x, x1 = x0, y0 = pts[0].y, y1 = y0;
  for (CPointD const& p : pts) x0 = std::min(x0, p.x), x1 = std::max(x1, p.x), y0 = std::min(y0, p.y), y1 = std::max(y1, p.y);
  double const m = o.margin * std::max({x1 - x0, y1 - y0, 1e-9});
  Math::Voronoi::CVoronoiGraph vg;
  if (!vg.Build(pts, {}, CRectD{x0 - m, y0 - m, x1 + m, y1 + m}, o.chordTol))
    throw ToolError(o.input + ": no Voronoi diagram (no usable sites)");
  auto const& g = vg.Graph();
  VectorWriter writer(o.output, o.format, "voronoi", reader.SpatialRef(), wkbLineString, nullptr,
                      {{"kmath_left_site", OFTInteger64}, {"kmath_right_site", OFTInteger64}});
  for (std::uint32_t e = 0; e < g.num_edges(); ++e) {
    std::uint32_t const h = 2 * e;
    Geometry line;
    line.kind = GeomKind::Line;
    line.parts.push_back({Ring{g.node_pos(g.source(h)), g.node_pos(g.target(h))}});
    auto site = [&](std::uint32_t he) -> AttrValue {
      std::uint32_t const s = vg.LeftSite(he).index;
      return s == Math::Voronoi::CVoronoiGraph::npos ? AttrValue{} : AttrValue(static_cast<long long>(s));
    };
    writer.Write(nullptr, line, {site(h), site(h ^ 1u)});
  }
  writer.Commit();
  if (!o.quiet)
    std::fprintf(stderr, "kmath voronoi: %zu sites, %lld edges, %.2f s\n", pts.size(), writer.Written(),
                 std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  return 0;
}

}  // namespace

// Shared with trace --centerlines.
FeatureResult CenterLinesOf(Geometry const& g, double prune, double tolerance, bool widths) {
  if (g.kind != GeomKind::Polygon) return FeatureResult::Error("centre lines need polygons");
  std::vector<Math::CCenterLine> lines;
  if (!Math::CenterLines(ToPlgn(g), prune, tolerance, lines, widths))
    return FeatureResult::Error("no centre lines (a ring with fewer than three distinct vertices)");
  FeatureResult r;
  for (auto& l : lines) {
    Geometry line;
    line.kind = GeomKind::Line;
    double mean = 0, mx = 0;
    for (double w : l.halfWidths) mean += w, mx = std::max(mx, w);
    if (!l.halfWidths.empty()) mean /= static_cast<double>(l.halfWidths.size());
    line.parts.push_back({std::move(l.pts)});
    std::vector<AttrValue> attrs;
    if (widths) attrs = {2 * mean, 2 * mx};
    r.outputs.push_back(FeatureOutput{std::move(line), std::move(attrs)});
  }
  return r;
}

namespace {

void AddTriangulate(CLI::App& app, Runner& run) {
  auto o = std::make_shared<GraphOpts>();
  CLI::App* cmd = app.add_subcommand("triangulate", "Delaunay triangles of all vertices, or of each polygon (--constrained)");
  cmd->footer("Example: kmath triangulate spot_heights.gpkg tin.gpkg\n         kmath triangulate parcels.gpkg parcel_triangles.gpkg --constrained");
  cmd->add_option("INPUT", o->input, "Points, lines or polygons; every vertex is a site")->required();
  cmd->add_option("OUTPUT", o->output, "Triangles (kmath_a, kmath_b, kmath_c: the input vertex numbers)")->required();
  cmd->add_flag("--constrained", o->constrained, "Triangulate the inside of each polygon, keeping its edges");
  cmd->add_option("-f,--format", o->format, "Output format (OGR driver name)");
  cmd->add_flag("-q,--quiet", o->quiet, "No summary");
  cmd->callback([o, &run] { run = [o] { return RunTriangulate(*o); }; });
}

void AddVoronoi(CLI::App& app, Runner& run) {
  auto o = std::make_shared<GraphOpts>();
  CLI::App* cmd = app.add_subcommand("voronoi", "Voronoi edges of all vertices, cut to their box plus a margin");
  cmd->footer("Example: kmath voronoi wells.gpkg cells.gpkg --margin 0.2");
  cmd->add_option("INPUT", o->input, "Points, lines or polygons; every vertex is a site")->required();
  cmd->add_option("OUTPUT", o->output, "Edges (kmath_left_site, kmath_right_site: vertex numbers)")->required();
  cmd->add_option("--margin", o->margin, "Margin around the sites' box, as a share of its larger side")->check(NonNegative());
  cmd->add_option("-f,--format", o->format, "Output format (OGR driver name)");
  cmd->add_flag("-q,--quiet", o->quiet, "No summary");
  cmd->callback([o, &run] { run = [o] { return RunVoronoi(*o); }; });
}

void AddCenterlines(CLI::App& app, Runner& run) {
  struct Opts {
    CommonOptions common;
    double prune = 4.0, tolerance = 0.5;
    bool widths = false;
  };
  auto o = std::make_shared<Opts>();
  CLI::App* cmd = app.add_subcommand("centerlines", "Centre lines (medial axis) of polygons, such as traced strokes");
  cmd->footer("Example: kmath centerlines strokes.gpkg lines.gpkg --prune 4 --tolerance 0.5 --widths");
  AddCommonOptions(*cmd, o->common);
  cmd->add_option("--prune", o->prune, "Branches shorter than this (boundary noise) are removed")->check(NonNegative());
  cmd->add_option("-t,--tolerance", o->tolerance, "Reduction tolerance of the lines")->check(Positive());
  cmd->add_flag("--widths", o->widths, "Add the mean and largest stroke width of each line");
  cmd->callback([o, &run] {
    run = [o] {
      CommandShape shape{"centerlines", wkbLineString, {}};
      if (o->widths) shape.extra = {{"kmath_width_mean", OFTReal}, {"kmath_width_max", OFTReal}};
      return RunPerFeature(o->common, shape, [o](Geometry const& g) {
        return CenterLinesOf(g, o->prune, o->tolerance, o->widths);
      });
    };
  });
}

}  // namespace

void AddGraphCommands(CLI::App& app, Runner& run) {
  AddTriangulate(app, run);
  AddVoronoi(app, run);
  AddCenterlines(app, run);
}

}  // namespace kmath_tool
