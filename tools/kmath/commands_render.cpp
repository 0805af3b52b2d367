// Pictures of vector layers, optionally over a raster, drawn with the
// library's debug drawing: a quick look at before and after.
#include <math/kmath.h>

#include <CLI/CLI.hpp>
#include <cpl_string.h>
#include <cpl_vsi.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <sstream>

#include "commands.h"
#include "pipeline.h"
#include "raster_io.h"
#include "vector_io.h"

namespace kmath_tool {

namespace {

struct RenderOpts {
  std::vector<std::string> inputs;
  std::string output, raster;
  double width = 1200;
  bool quiet = false, yDown = false;
};

// One distinct pen colour per layer, readable over a photo or a map.
Math::CDebugColor LayerColor(std::size_t i) {
  static Math::CDebugColor const colors[] = {{220, 30, 30},  {30, 90, 220}, {20, 160, 60},
                                             {230, 140, 0},  {150, 40, 180}, {0, 160, 170}};
  return colors[i % (sizeof colors / sizeof colors[0])];
}

// The raster as a PNG in memory, base64-encoded for an SVG <image>.
std::string RasterAsDataUri(std::string const& path) {
  GDALDataset* src = GDALDataset::Open(path.c_str(), GDAL_OF_RASTER | GDAL_OF_READONLY);
  if (!src) throw ToolError(path + ": not a readable raster");
  std::unique_ptr<GDALDataset, void (*)(GDALDataset*)> hold(src, [](GDALDataset* d) { GDALClose(d); });
  GDALDriver* png = GetGDALDriverManager()->GetDriverByName("PNG");
  std::string const mem = "/vsimem/kmath_render.png";
  GDALDataset* out = png->CreateCopy(mem.c_str(), src, FALSE, nullptr, nullptr, nullptr);
  if (!out) throw ToolError(path + ": cannot be drawn (PNG holds 1-4 bands of 8 or 16 bits)");
  GDALClose(out);
  vsi_l_offset len = 0;
  GByte* data = VSIGetMemFileBuffer(mem.c_str(), &len, FALSE);
  char* b64 = CPLBase64Encode(static_cast<int>(len), data);
  std::string uri = std::string("data:image/png;base64,") + b64;
  CPLFree(b64);
  VSIUnlink(mem.c_str());
  return uri;
}

int RunRender(RenderOpts const& o) {
  namespace fs = std::filesystem;
  std::string ext = fs::path(o.output).extension().string();
  bool const wantPng = ext == ".png";
  if (!wantPng && ext != ".svg") throw ToolError(o.output + ": write .svg or .png");

  // Everything is read first: the picture's frame is the union of the
  // layers' extents (and the raster's).
  struct Layer {
    std::string name;
    std::vector<Geometry> geoms;
  };
  std::vector<Layer> layers;
  CRectD box{std::numeric_limits<double>::max(), std::numeric_limits<double>::max(),
             -std::numeric_limits<double>::max(), -std::numeric_limits<double>::max()};
  auto grow = [&](CPointD const& p) {
    box.left = std::min(box.left, p.x), box.right = std::max(box.right, p.x);
    box.top = std::min(box.top, p.y), box.bottom = std::max(box.bottom, p.y);
  };
  std::unique_ptr<RasterSource> raster;
  if (!o.raster.empty()) {
    raster = std::make_unique<RasterSource>(o.raster);
    grow(raster->ToWorld({0, 0}));
    grow(raster->ToWorld({double(raster->Width()), double(raster->Height())}));
  }
  for (std::string const& in : o.inputs) {
    VectorReader reader(in, "");
    Layer layer{fs::path(in).stem().string(), {}};
    while (FeaturePtr f = reader.Next()) {
      Geometry g = FromOGR(f->GetGeometryRef());
      for (auto const& part : g.parts)
        for (auto const& ring : part)
          for (CPointD const& p : ring)
            if (std::isfinite(p.x) && std::isfinite(p.y)) grow(p);
      layer.geoms.push_back(std::move(g));
    }
    layers.push_back(std::move(layer));
  }
  if (!(box.right >= box.left)) throw ToolError("nothing to draw");
  double const aspect = box.right > box.left ? (box.bottom - box.top) / (box.right - box.left) : 1.0;
  double const height = std::max(1.0, std::round(o.width * aspect));

  std::ostringstream svg;
  CPointD imgA{0, 0}, imgB{0, 0};
  {
    Math::CSvgDevice device(svg, o.width, height);
    Math::CDebugDC dc(device);
    // A raster without georeferencing is in pixel rows downwards, like the
    // device; georeferenced data has y up.
    bool const yUp = raster ? raster->HasGeoTransform() : !o.yDown;
    dc.FitToBox(box, o.width, height, 0.0, yUp);
    if (raster) {
      imgA = dc.ToDevice(raster->ToWorld({0, 0}));
      imgB = dc.ToDevice(raster->ToWorld({double(raster->Width()), double(raster->Height())}));
    }
    for (std::size_t i = 0; i < layers.size(); ++i) {
      dc.BeginLayer(layers[i].name);
      Math::CDebugPen pen;
      pen.color = LayerColor(i);
      pen.width = 1.5;
      dc.SelectObject(pen);
      Math::CDebugColor const c = LayerColor(i);
      dc.SelectObject(Math::CDebugBrush::Solid(c, 0.15));
      for (Geometry const& g : layers[i].geoms) {
        for (auto const& part : g.parts) {
          if (g.kind == GeomKind::Polygon) {
            Math::mpoly_base<CPointD> rings;
            for (auto const& r : part) rings.emplace_back(r);
            dc.Polygon(rings);
          } else if (g.kind == GeomKind::Line) {
            dc.Polyline(part[0]);
          } else {
            dc.Point(part[0][0], 2.5);
          }
        }
      }
      dc.EndLayer();
    }
    if (!device.Close()) throw ToolError(o.output + ": drawing failed");
  }
  std::string doc = svg.str();
  if (raster) {
    // The device draws vectors only; the raster goes in as an image right
    // after the background, placed where the transform puts its corners.
    std::ostringstream img;
    img << "<image x=\"" << std::min(imgA.x, imgB.x) << "\" y=\"" << std::min(imgA.y, imgB.y) << "\" width=\""
        << std::abs(imgB.x - imgA.x) << "\" height=\"" << std::abs(imgB.y - imgA.y) << "\" preserveAspectRatio=\"none\" href=\"" << RasterAsDataUri(o.raster)
        << "\"/>\n";
    std::size_t const bg = doc.find("<rect");
    std::size_t const at = bg == std::string::npos ? std::string::npos : doc.find('>', bg);
    if (at == std::string::npos) throw ToolError("unexpected SVG from the drawing device");
    doc.insert(at + 1, "\n" + img.str());
  }

  fs::path const target(o.output);
  fs::path const svgPath = wantPng ? fs::path(o.output + ".tmp.svg") : fs::path(o.output + ".tmp");
  {
    std::ofstream f(svgPath);
    f << doc;
    if (!f) throw ToolError(svgPath.string() + ": cannot write");
  }
  if (wantPng) {
    std::string const cmd = "rsvg-convert -o '" + o.output + ".tmp' '" + svgPath.string() + "'";
    int const rc = std::system(cmd.c_str());
    std::error_code ec;
    fs::remove(svgPath, ec);
    if (rc != 0) {
      fs::remove(o.output + ".tmp", ec);
      throw ToolError(o.output + ": PNG needs rsvg-convert (Debian librsvg2-bin); write .svg instead");
    }
    fs::rename(o.output + ".tmp", target);
  } else {
    fs::rename(svgPath, target);
  }
  if (!o.quiet)
    std::fprintf(stderr, "kmath render: %zu layer%s%s -> %s (%.0fx%.0f)\n", layers.size(), layers.size() == 1 ? "" : "s",
                 raster ? " over a raster" : "", o.output.c_str(), o.width, height);
  return 0;
}

void AddRender(CLI::App& app, Runner& run) {
  auto o = std::make_shared<RenderOpts>();
  CLI::App* cmd = app.add_subcommand("render", "Draw vector layers (over an optional raster) into an SVG or PNG");
  cmd->footer("Example: kmath render traced.gpkg squared.gpkg --raster map.png -o before_after.svg");
  cmd->add_option("INPUT", o->inputs, "Vector files, drawn in order, one colour each")->required();
  cmd->add_option("-o,--output", o->output, "Picture: .svg, or .png (through rsvg-convert)")->required();
  cmd->add_option("--raster", o->raster, "Raster drawn underneath");
  cmd->add_option("--width", o->width, "Picture width in pixels")->check(CLI::Range(16.0, 20000.0));
  cmd->add_flag("--y-down", o->yDown, "The data is in pixel rows downwards (traced from a raster without georeferencing)");
  cmd->add_flag("-q,--quiet", o->quiet, "No summary");
  cmd->callback([o, &run] { run = [o] { return RunRender(*o); }; });
}

}  // namespace

void AddRenderCommands(CLI::App& app, Runner& run) { AddRender(app, run); }

}  // namespace kmath_tool
