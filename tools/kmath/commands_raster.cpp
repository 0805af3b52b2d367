// From rasters to vectors: tracing the outlines of thresholded regions.
#include <math/kmath.h>

#include <CLI/CLI.hpp>

#include <algorithm>
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
#include "vector_io.h"

namespace kmath_tool {

namespace {

struct TraceOpts {
  std::string raster, output, format, outLayer = "outlines";
  MaskOptions mask;
  double threshold = 0;
  std::vector<double> color;
  double minArea = 4, minHole = -1;
  int largest = 0;
  bool noHoles = false, eightConnected = false;
  bool forceSquare = false, forceSmooth = false, linesOnly = false, raw = false;
  bool centerlines = false;
  double prune = 4.0, lineTolerance = 0.5;
  CleanupOptions cleanup;
  int jobs = 1;
  bool quiet = false;
};

// Thin strokes become their centre lines (the medial axis of each region,
// pruned and reduced) instead of outlines.
int WriteCenterLines(TraceOpts const& o, RasterSource const& src, std::vector<std::vector<Ring>> const& kept,
                     std::size_t regionCount, double thresholdUsed, std::chrono::steady_clock::time_point start) {
  std::vector<FeatureResult> lines(kept.size());
  std::size_t const jobs = static_cast<std::size_t>(std::max(1, o.jobs));
  auto work = [&](std::size_t first) {
    for (std::size_t i = first; i < kept.size(); i += jobs) {
      Geometry g;
      g.kind = GeomKind::Polygon;
      g.parts.push_back(kept[i]);
      lines[i] = CenterLinesOf(g, o.prune, o.lineTolerance, true);
    }
  };
  std::vector<std::thread> pool;
  for (std::size_t t = 1; t < jobs; ++t) pool.emplace_back(work, t);
  work(0);
  for (auto& t : pool) t.join();
  VectorWriter writer(o.output, o.format, o.outLayer == "outlines" ? "centerlines" : o.outLayer, src.SpatialRef(),
                      wkbLineString, nullptr,
                      {{"kmath_region", OFTInteger64}, {"kmath_width_mean", OFTReal}, {"kmath_width_max", OFTReal}});
  double const px = src.HasGeoTransform() ? src.PixelSize() : 1.0;
  std::size_t vertices = 0;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    for (FeatureOutput& out : lines[i].outputs) {
      for (auto& part : out.geom.parts)
        for (auto& ring : part)
          for (CPointD& p : ring) p = src.ToWorld(p);
      vertices += out.geom.VertexCount();
      // Widths in world units.
      double const mean = std::get<double>(out.attrs.at(0)) * px, mx = std::get<double>(out.attrs.at(1)) * px;
      writer.Write(nullptr, out.geom, {static_cast<long long>(i), mean, mx});
    }
  }
  writer.Commit();
  if (!o.quiet)
    std::fprintf(stderr, "kmath trace: %s %dx%d, threshold %g, %zu regions, %lld centre lines, %zu vertices, %.2f s\n",
                 src.Path().c_str(), src.Width(), src.Height(), thresholdUsed, regionCount, writer.Written(), vertices,
                 std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  return 0;
}

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

  if (o.largest > 0 && kept.size() > static_cast<std::size_t>(o.largest)) {
    auto const area = [](std::vector<Ring> const& r) { return std::abs(SignedArea(r[0])); };
    std::stable_sort(kept.begin(), kept.end(),
                     [&](std::vector<Ring> const& a, std::vector<Ring> const& b) { return area(a) > area(b); });
    kept.resize(static_cast<std::size_t>(o.largest));
  }

  if (o.centerlines) return WriteCenterLines(o, src, kept, regions.size(), thresholdUsed, start);

  o.cleanup.mode = o.forceSquare ? CleanupMode::Square
                   : o.forceSmooth ? CleanupMode::Smooth
                   : o.linesOnly ? CleanupMode::LinesOnly
                   : o.raw       ? CleanupMode::Raw
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
      "  kmath trace drawing.pbm strokes.gpkg --centerlines --threshold 1\n"
      "Each outline is reduced, then squared when the squarer accepts it (a squared outline within\n"
      "0.64 px RMS of the trace, walls of 1.5 px or more), else smoothed by a spline through the\n"
      "reduced vertices; --square, --smooth, --lines-only and --raw force one treatment.\n"
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
  cmd->add_option("--largest", o->largest, "Keep only the N largest regions")->check(CLI::Range(1, 1 << 30));
  cmd->add_flag("--eight-connected", o->eightConnected, "Regions touching at a corner are one region");
  cmd->add_option("-t,--tolerance", o->cleanup.tolerance, "Reduction tolerance in pixels")->check(Positive());
  cmd->add_option("--max-chord", o->cleanup.maxChord, "Longest chord of the reduction in pixels")->check(Positive());
  auto* sq = cmd->add_flag("--square", o->forceSquare, "Square every outline");
  auto* sm = cmd->add_flag("--smooth", o->forceSmooth, "Smooth every outline");
  auto* lo = cmd->add_flag("--lines-only", o->linesOnly, "Only reduce; neither square nor smooth");
  auto* rw = cmd->add_flag("--raw", o->raw, "The pixel-boundary outlines as traced, not even reduced");
  auto* cl = cmd->add_flag("--centerlines", o->centerlines, "Centre lines of thin strokes instead of outlines");
  cmd->add_option("--prune", o->prune, "--centerlines: branches shorter than this many pixels are noise")
      ->check(NonNegative());
  cmd->add_option("--line-tolerance", o->lineTolerance, "--centerlines: reduction tolerance of the lines in pixels")
      ->check(Positive());
  cl->excludes(sq)->excludes(sm)->excludes(lo)->excludes(rw);
  sq->excludes(sm)->excludes(lo)->excludes(rw);
  sm->excludes(lo)->excludes(rw);
  lo->excludes(rw);
  cmd->add_option("-j,--jobs", o->jobs, "Outlines cleaned in parallel")->check(CLI::Range(1, 256));
  cmd->add_flag("-q,--quiet", o->quiet, "No summary");
  cmd->callback([o, &run, cmd] {
    if (cmd->count("--threshold")) o->mask.threshold = o->threshold;
    if (!o->color.empty()) o->mask.color = std::array<double, 3>{o->color[0], o->color[1], o->color[2]};
    run = [o] { return RunTrace(*o); };
  });
}

struct RasterizeOpts {
  std::string input, output, layer;
  double resolution = 0;
  std::vector<int> size;
  std::vector<double> extent;
  int burn = 255;
  bool quiet = false;
};

// Burns every polygon of the input into a one-band 8-bit raster with the
// library's scan-line fill. Each ring is filled on its own and the rings of
// one feature are combined by exclusive or, which is the even-odd rule of
// the whole polygon; features are combined by or.
int RunRasterize(RasterizeOpts const& o) {
  auto const start = std::chrono::steady_clock::now();
  VectorReader reader(o.input, o.layer);
  std::vector<Geometry> polys;
  while (FeaturePtr f = reader.Next()) {
    Geometry g = FromOGR(f->GetGeometryRef());
    if (g.kind != GeomKind::Polygon) continue;
    if (!g.AllFinite())
      throw ToolError(reader.Path() + ": feature " + std::to_string(f->GetFID()) + ": a coordinate is NaN or infinite");
    polys.push_back(std::move(g));
  }
  double x0, y0, x1, y1;
  if (!o.extent.empty()) {
    x0 = o.extent[0], y0 = o.extent[1], x1 = o.extent[2], y1 = o.extent[3];
  } else {
    OGREnvelope env;
    if (polys.empty() || reader.Layer().GetExtent(&env, TRUE) != OGRERR_NONE)
      throw ToolError(reader.Path() + ": holds no polygon to rasterise (or give --extent)");
    x0 = env.MinX, y0 = env.MinY, x1 = env.MaxX, y1 = env.MaxY;
  }
  if (!(x1 > x0 && y1 > y0)) throw ToolError("the extent is empty");
  int width, height;
  double rx, ry;
  if (!o.size.empty()) {
    width = o.size[0], height = o.size[1];
    rx = (x1 - x0) / width, ry = (y1 - y0) / height;
  } else {
    rx = ry = o.resolution;
    double const w = std::ceil((x1 - x0) / rx), h = std::ceil((y1 - y0) / ry);
    if (w * h > 4e9) throw ToolError("the raster would have " + std::to_string(w * h) + " pixels; use a coarser --resolution");
    width = static_cast<int>(w), height = static_cast<int>(h);
    x1 = x0 + width * rx, y0 = y1 - height * ry;  // north-up: keep the top-left corner
  }
  std::vector<unsigned char> image(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), 0);
  std::vector<unsigned char> row(static_cast<std::size_t>(width)), acc(static_cast<std::size_t>(width));
  for (Geometry const& g : polys) {
    for (auto const& part : g.parts) {
      // Pixel (i, j) is set when its centre is inside: map the world onto
      // pixel-centre coordinates, where the fill's integer test points are.
      std::vector<std::unique_ptr<CFillPoly>> fills;
      int top = height, bottom = -1;
      for (Ring const& ring : part) {
        std::vector<tagPOINT> pts;
        for (std::size_t k = 0; k + (IsClosed(ring) ? 1 : 0) < ring.size(); ++k) {
          double const px = (ring[k].x - x0) / rx - 0.5, py = (y1 - ring[k].y) / ry - 0.5;
          pts.push_back(tagPOINT{static_cast<int>(std::lround(std::clamp(px, -1e9, 1e9))),
                                 static_cast<int>(std::lround(std::clamp(py, -1e9, 1e9)))});
          top = std::min(top, pts.back().y), bottom = std::max(bottom, pts.back().y);
        }
        auto fill = std::make_unique<CFillPoly>();
        if (fill->Init(pts.data(), static_cast<int>(pts.size()))) fills.push_back(std::move(fill));
      }
      if (fills.empty()) continue;
      top = std::max(top, 0), bottom = std::min(bottom, height - 1);
      for (int y = top; y <= bottom; ++y) {
        std::fill(acc.begin(), acc.end(), 0);
        for (auto& fill : fills) {
          fill->NextScanLine(y);
          fill->GetLineMask(row.data(), static_cast<unsigned>(width), static_cast<unsigned>(width));
          for (int x = 0; x < width; ++x) acc[x] ^= row[x] ? 1 : 0;
        }
        unsigned char* out = image.data() + static_cast<std::size_t>(y) * width;
        for (int x = 0; x < width; ++x)
          if (acc[x]) out[x] = static_cast<unsigned char>(o.burn);
      }
    }
  }
  double const gt[6] = {x0, rx, 0, y1, 0, -ry};
  WriteByteRaster(o.output, image, width, height, gt, reader.SpatialRef());
  if (!o.quiet) {
    std::size_t set = 0;
    for (unsigned char v : image) set += v != 0;
    std::fprintf(stderr, "kmath rasterize: %zu polygons onto %dx%d pixels of %g x %g, %zu set, %.2f s\n", polys.size(),
                 width, height, rx, ry, set,
                 std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  return 0;
}

void AddRasterize(CLI::App& app, Runner& run) {
  auto o = std::make_shared<RasterizeOpts>();
  CLI::App* cmd = app.add_subcommand("rasterize", "Burn polygons into an 8-bit mask (GeoTIFF, or PNG with a world file)");
  cmd->footer("Example: kmath rasterize parcels.gpkg parcels.tif --resolution 0.5");
  cmd->add_option("INPUT", o->input, "Polygon file")->required();
  cmd->add_option("OUTPUT", o->output, "Raster file: .tif, or .png (written with a .wld world file)")->required();
  cmd->add_option("--layer", o->layer, "Input layer (default: the first)");
  auto* res = cmd->add_option("-r,--resolution", o->resolution, "Pixel size in map units")->check(Positive());
  auto* size = cmd->add_option("--size", o->size, "WIDTH,HEIGHT in pixels (the extent is stretched to it)")
                   ->delimiter(',')
                   ->expected(2)
                   ->check(CLI::Range(1, 1 << 20));
  res->excludes(size);
  cmd->add_option("--extent", o->extent, "xmin,ymin,xmax,ymax (default: the layer's)")->delimiter(',')->expected(4);
  cmd->add_option("--burn", o->burn, "Value of covered pixels")->check(CLI::Range(1, 255));
  cmd->add_flag("-q,--quiet", o->quiet, "No summary");
  cmd->callback([o, &run] {
    if (o->resolution <= 0 && o->size.empty()) throw CLI::ValidationError("rasterize", "give --resolution or --size");
    run = [o] { return RunRasterize(*o); };
  });
}

}  // namespace

void AddRasterCommands(CLI::App& app, Runner& run) {
  AddTrace(app, run);
  AddRasterize(app, run);
}

}  // namespace kmath_tool
