// From rasters to vectors: tracing the outlines of thresholded regions.
#include <math/kmath.h>

#include <CLI/CLI.hpp>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <map>
#include <memory>
#include <thread>

#include "commands.h"
#include "outline_cleanup.h"
#include "pipeline.h"
#include "raster_io.h"

namespace kmath_tool {

namespace {

struct TraceOpts {
  std::string raster, output, format, outLayer = "outlines";
  MaskOptions mask;
  double threshold = 0;
  std::vector<double> color;
  double minArea = 4, minHole = -1;
  bool noHoles = false, eightConnected = false;
  bool forceSquare = false, forceSmooth = false, linesOnly = false;
  CleanupOptions cleanup;
  int jobs = 1;
  bool quiet = false;
};

int RunTrace(TraceOpts& o) {
  auto const start = std::chrono::steady_clock::now();
  RasterSource src(o.raster);
  double thresholdUsed = 0;
  std::vector<unsigned char> const mask = src.Mask(o.mask, &thresholdUsed);
  std::vector<std::vector<Ring>> regions = OutlineRegions(mask, src.Width(), src.Height(), o.eightConnected);

  // Speckle and pinhole removal on the pixel outlines, before any clean-up.
  double const minHole = o.minHole < 0 ? o.minArea : o.minHole;
  std::vector<std::vector<Ring>> kept;
  for (auto& region : regions) {
    if (region.empty() || std::abs(SignedArea(region[0])) < o.minArea) continue;
    std::vector<Ring> rings{std::move(region[0])};
    if (!o.noHoles)
      for (std::size_t h = 1; h < region.size(); ++h)
        if (std::abs(SignedArea(region[h])) >= minHole) rings.push_back(std::move(region[h]));
    kept.push_back(std::move(rings));
  }

  o.cleanup.mode = o.forceSquare ? CleanupMode::Square
                   : o.forceSmooth ? CleanupMode::Smooth
                   : o.linesOnly ? CleanupMode::LinesOnly
                                 : CleanupMode::Auto;
  std::vector<CleanedOutline> cleaned(kept.size());
  std::size_t const jobs = static_cast<std::size_t>(std::max(1, o.jobs));
  auto work = [&](std::size_t first) {
    for (std::size_t i = first; i < kept.size(); i += jobs) cleaned[i] = CleanOutline(kept[i], o.cleanup);
  };
  std::vector<std::thread> pool;
  for (std::size_t t = 1; t < jobs; ++t) pool.emplace_back(work, t);
  work(0);
  for (auto& t : pool) t.join();

  VectorWriter writer(o.output, o.format, o.outLayer, src.SpatialRef(), wkbPolygon, nullptr,
                      {{"kmath_area", OFTReal},
                       {"kmath_vertices_traced", OFTInteger64},
                       {"kmath_vertices_out", OFTInteger64},
                       {"kmath_holes", OFTInteger},
                       {"kmath_cleanup", OFTString}});
  std::size_t traced = 0, written = 0, verticesOut = 0;
  std::map<std::string, int> applied;
  for (std::size_t i = 0; i < kept.size(); ++i) {
    if (cleaned[i].rings.empty()) continue;
    Geometry g;
    g.kind = GeomKind::Polygon;
    g.parts.push_back(std::move(cleaned[i].rings));
    for (auto& ring : g.parts[0])
      for (CPointD& p : ring) p = src.ToWorld(p);
    std::size_t nTraced = 0;
    for (auto const& r : kept[i]) nTraced += r.size();
    traced += nTraced;
    verticesOut += g.VertexCount();
    ++applied[cleaned[i].applied];
    writer.Write(nullptr, g,
                 {PolygonArea(g), static_cast<long long>(nTraced), static_cast<long long>(g.VertexCount()),
                  static_cast<long long>(g.parts[0].size() - 1), cleaned[i].applied});
    ++written;
  }
  writer.Commit();
  double const secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (!o.quiet) {
    std::fprintf(stderr, "kmath trace: %s %dx%d, threshold %g, %zu regions, %zu outlines written, %zu -> %zu vertices",
                 src.Path().c_str(), src.Width(), src.Height(), thresholdUsed, regions.size(), written, traced,
                 verticesOut);
    for (auto const& [k, v] : applied) std::fprintf(stderr, ", %d %s", v, k.c_str());
    std::fprintf(stderr, ", %.2f s\n", secs);
  }
  return 0;
}

void AddTrace(CLI::App& app, Runner& run) {
  auto o = std::make_shared<TraceOpts>();
  CLI::App* cmd = app.add_subcommand("trace", "Trace the regions of a thresholded raster into clean outlines");
  cmd->footer(
      "Examples:\n"
      "  kmath trace scan.tif shapes.gpkg                       (Otsu threshold, light regions)\n"
      "  kmath trace scan.png ink.gpkg --invert --threshold 128 (dark strokes)\n"
      "  kmath trace map.png buildings.gpkg --color 217,208,201 --square\n"
      "Coordinates follow the raster's georeferencing (GeoTIFF tags or a world file); without it, pixel\n"
      "corners (x = column, y = row). Tolerances and areas are in pixels.");
  cmd->add_option("RASTER", o->raster, "Input raster (GeoTIFF, PNG, PNM, ... any GDAL format)")->required();
  cmd->add_option("OUTPUT", o->output, "Output vector file")->required();
  cmd->add_option("-f,--format", o->format, "Output format (OGR driver name)");
  cmd->add_option("--out-layer", o->outLayer, "Output layer name");
  cmd->add_option("--band", o->mask.band, "Band to threshold (1-based)")->check(CLI::Range(1, 65535));
  cmd->add_option("--threshold", o->threshold, "Foreground: value >= threshold (default: Otsu's)");
  cmd->add_flag("--invert", o->mask.invert, "Foreground: value below the threshold");
  cmd->add_option("--color", o->color, "Foreground: pixels of this R,G,B colour (bands 1-3)")
      ->delimiter(',')
      ->expected(3);
  cmd->add_option("--color-tolerance", o->mask.colorTolerance, "Largest difference per channel for --color")
      ->check(NonNegative());
  cmd->add_option("--min-area", o->minArea, "Drop regions smaller than this many pixels (speckle)")->check(NonNegative());
  cmd->add_option("--min-hole", o->minHole, "Drop holes smaller than this many pixels (default: --min-area)")
      ->check(NonNegative());
  cmd->add_flag("--no-holes", o->noHoles, "Fill every hole");
  cmd->add_flag("--eight-connected", o->eightConnected, "Regions touching at a corner are one region");
  cmd->add_option("-t,--tolerance", o->cleanup.tolerance, "Reduction tolerance in pixels")->check(Positive());
  cmd->add_option("--max-chord", o->cleanup.maxChord, "Longest chord of the reduction in pixels")->check(Positive());
  auto* sq = cmd->add_flag("--square", o->forceSquare, "Square every outline");
  auto* sm = cmd->add_flag("--smooth", o->forceSmooth, "Smooth every outline");
  auto* lo = cmd->add_flag("--lines-only", o->linesOnly, "Only reduce; neither square nor smooth");
  sq->excludes(sm)->excludes(lo);
  sm->excludes(lo);
  cmd->add_option("-j,--jobs", o->jobs, "Outlines cleaned in parallel")->check(CLI::Range(1, 256));
  cmd->add_flag("-q,--quiet", o->quiet, "No summary");
  cmd->callback([o, &run, cmd] {
    if (cmd->count("--threshold")) o->mask.threshold = o->threshold;
    if (!o->color.empty()) o->mask.color = std::array<double, 3>{o->color[0], o->color[1], o->color[2]};
    run = [o] { return RunTrace(*o); };
  });
}

}  // namespace

void AddRasterCommands(CLI::App& app, Runner& run) { AddTrace(app, run); }

}  // namespace kmath_tool
