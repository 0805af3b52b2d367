// Clipping by a rectangle and splitting by polygons.
#include <math/kmath.h>

#include <CLI/CLI.hpp>

#include <memory>

#include "commands.h"
#include "pipeline.h"

namespace kmath_tool {

namespace {

void AddClip(CLI::App& app, Runner& run) {
  struct Opts {
    CommonOptions common;
    std::vector<double> rect;
  };
  auto o = std::make_shared<Opts>();
  CLI::App* cmd = app.add_subcommand("clip", "Clip lines and polygons to a rectangle");
  cmd->footer("Example: kmath clip roads.gpkg tile.gpkg --rect 500000,6000000,501000,6001000");
  AddCommonOptions(*cmd, o->common);
  cmd->add_option("--rect", o->rect, "xmin,ymin,xmax,ymax (the sides belong to the rectangle)")
      ->required()
      ->delimiter(',')
      ->expected(4);
  cmd->callback([o, &run] {
    if (!(o->rect[0] <= o->rect[2] && o->rect[1] <= o->rect[3]))
      throw CLI::ValidationError("--rect", "needs xmin <= xmax and ymin <= ymax");
    run = [o] {
      CRectD const rect{o->rect[0], o->rect[1], o->rect[2], o->rect[3]};
      CommandShape shape{"clip", wkbUnknown, {}};
      return RunPerFeature(o->common, shape, [rect](Geometry const& g) {
        Geometry out;
        out.kind = g.kind;
        for (auto const& part : g.parts) {
          if (g.kind == GeomKind::Polygon) {
            // Each ring is clipped as a closed ring; a hole that leaves the
            // rectangle runs along its sides like the outer ring does.
            std::vector<Ring> rings;
            for (std::size_t r = 0; r < part.size(); ++r) {
              Math::mpoly_base<CPointD> polys{Math::poly_base<CPointD>(part[r])};
              Math::ClipPolyByRect(polys, rect, true);
              if (polys.empty() || polys[0].size() < 4) {
                if (r == 0) break;
                continue;
              }
              rings.push_back(std::move(polys[0]));
            }
            if (!rings.empty()) out.parts.push_back(std::move(rings));
          } else if (g.kind == GeomKind::Line) {
            Math::mpoly_base<CPointD> polys{Math::poly_base<CPointD>(part[0])};
            Math::ClipPolyByRect(polys, rect, false);
            for (auto& p : polys) out.parts.push_back({std::move(p)});
          } else {
            CPointD const p = part[0][0];
            if (p.x >= rect.left && p.x <= rect.right && p.y >= rect.top && p.y <= rect.bottom)
              out.parts.push_back(part);
          }
        }
        FeatureResult r;
        if (!out.parts.empty()) r.outputs.push_back(FeatureOutput{std::move(out), {}});
        return r;
      });
    };
  });
}

void AddSplit(CLI::App& app, Runner& run) {
  struct Opts {
    CommonOptions common;
    std::string by;
    bool boundaryInside = true;
  };
  auto o = std::make_shared<Opts>();
  CLI::App* cmd = app.add_subcommand("split", "Split lines by polygons into the pieces inside and outside");
  cmd->footer("Example: kmath split rivers.gpkg pieces.gpkg --by parks.gpkg");
  AddCommonOptions(*cmd, o->common);
  cmd->add_option("--by", o->by, "Polygon file; all its rings together form the splitting polygon (even-odd)")
      ->required();
  cmd->add_flag("--boundary-outside{false}", o->boundaryInside, "Pieces along the boundary go outside");
  cmd->callback([o, &run] {
    run = [o] {
      auto plgn = std::make_shared<CStdPlgn>();
      VectorReader by(o->by, "");
      while (FeaturePtr f = by.Next()) {
        Geometry const g = FromOGR(f->GetGeometryRef());
        if (g.kind != GeomKind::Polygon) continue;
        if (!g.AllFinite()) throw ToolError(o->by + ": feature " + std::to_string(f->GetFID()) + ": a coordinate is NaN or infinite");
        for (auto const& part : g.parts)
          for (auto const& ring : part) {
            Ring closed = ring;
            if (!IsClosed(closed) && !closed.empty()) closed.push_back(closed.front());
            plgn->emplace_back(std::move(closed));
          }
      }
      if (plgn->empty()) throw ToolError(o->by + ": holds no polygon");
      auto splitter = std::make_shared<Math::CSplitPoly1>(*plgn, false);
      CommandShape shape{"split", wkbLineString, {{"kmath_side", OFTString}}};
      bool const boundaryInside = o->boundaryInside;
      return RunPerFeature(o->common, shape, [plgn, splitter, boundaryInside](Geometry const& g) {
        if (g.kind != GeomKind::Line) return FeatureResult::Error("split takes lines");
        FeatureResult r;
        for (auto const& part : g.parts) {
          Math::mpoly_base<CPointD> inside, outside;
          (*splitter)(Math::poly_base<CPointD>(part[0]), inside, outside, boundaryInside);
          for (auto& p : inside) {
            Geometry piece;
            piece.kind = GeomKind::Line;
            piece.parts.push_back({std::move(p)});
            r.outputs.push_back(FeatureOutput{std::move(piece), {std::string("inside")}});
          }
          for (auto& p : outside) {
            Geometry piece;
            piece.kind = GeomKind::Line;
            piece.parts.push_back({std::move(p)});
            r.outputs.push_back(FeatureOutput{std::move(piece), {std::string("outside")}});
          }
        }
        return r;
      });
    };
  });
}

}  // namespace

void AddPolygonCommands(CLI::App& app, Runner& run) {
  AddClip(app, run);
  AddSplit(app, run);
}

}  // namespace kmath_tool
