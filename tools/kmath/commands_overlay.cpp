// Boolean overlay of two polygon layers and dissolving a layer, with the
// library's boolean operations.
#include <math/kmath.h>

#include <CLI/CLI.hpp>

#include <chrono>
#include <cstdio>
#include <map>
#include <memory>

#include "commands.h"
#include "pipeline.h"
#include "plgn_convert.h"
#include "vector_io.h"

namespace kmath_tool {

namespace {

struct Feature {
  FeaturePtr source;
  Geometry geom;
  CRectD box;
};

CRectD BoxOf(Geometry const& g) {
  CRectD b{1e308, 1e308, -1e308, -1e308};
  for (auto const& part : g.parts)
    for (auto const& ring : part)
      for (CPointD const& p : ring)
        b.left = std::min(b.left, p.x), b.right = std::max(b.right, p.x), b.top = std::min(b.top, p.y),
        b.bottom = std::max(b.bottom, p.y);
  return b;
}

bool Overlap(CRectD const& a, CRectD const& b) {
  return a.left <= b.right && b.left <= a.right && a.top <= b.bottom && b.top <= a.bottom;
}

std::vector<Feature> ReadPolygons(VectorReader& reader) {
  std::vector<Feature> out;
  while (FeaturePtr f = reader.Next()) {
    Geometry g = FromOGR(f->GetGeometryRef());
    if (g.kind != GeomKind::Polygon) continue;
    if (!g.AllFinite())
      throw ToolError(reader.Path() + ": feature " + std::to_string(f->GetFID()) + ": a coordinate is NaN or infinite");
    CRectD const box = BoxOf(g);
    out.push_back(Feature{std::move(f), std::move(g), box});
  }
  return out;
}

// The union of the given polygons (each normalised first, so touching or
// self-crossing input is fine).
CStdPlgn UnionOf(std::vector<Feature const*> const& fs) {
  Math::CMultiPlgnUnion u(true);
  for (Feature const* f : fs) u.AddPolygon(ToPlgn(f->geom), true);
  return u();
}

CStdPlgn Apply(CStdPlgn const& a, CStdPlgn const& b, Math::EPlgnOperation op) {
  Math::CPlgnOperator oper(a, b);
  return oper(op);
}

struct OverlayOpts {
  std::string a, b, output, format, op = "intersection";
  bool quiet = false;
};

int RunOverlay(OverlayOpts const& o) {
  auto const start = std::chrono::steady_clock::now();
  VectorReader ra(o.a, ""), rb(o.b, "");
  std::vector<Feature> const fa = ReadPolygons(ra), fb = ReadPolygons(rb);
  VectorWriter writer(o.output, o.format, ra.Layer().GetName(), ra.SpatialRef(), wkbMultiPolygon, ra.Defn(),
                      {{"kmath_source", OFTString}, {"kmath_b_fid", OFTInteger64}});
  auto emit = [&](Feature const* a, Feature const* b, CStdPlgn const& result, char const* source) {
    Geometry const g = FromPlgn(result);
    if (g.parts.empty()) return;
    AttrValue bfid = b ? AttrValue(static_cast<long long>(b->source->GetFID())) : AttrValue{};
    writer.Write(a ? a->source.get() : nullptr, g, {std::string(source), bfid});
  };
  auto partners = [](Feature const& f, std::vector<Feature> const& others) {
    std::vector<Feature const*> out;
    for (Feature const& g : others)
      if (Overlap(f.box, g.box)) out.push_back(&g);
    return out;
  };
  bool const both = o.op == "union" || o.op == "symdifference";
  for (Feature const& a : fa) {
    std::vector<Feature const*> const near = partners(a, fb);
    CStdPlgn const pa = ToPlgn(a.geom);
    if (o.op == "intersection" || o.op == "union") {
      for (Feature const* b : near) emit(&a, b, Apply(pa, ToPlgn(b->geom), Math::Cross), "both");
    }
    if (o.op != "intersection") emit(&a, nullptr, near.empty() ? Apply(pa, CStdPlgn{}, Math::Union) : Apply(pa, UnionOf(near), Math::AnotB), "a");
  }
  if (both) {
    for (Feature const& b : fb) {
      std::vector<Feature const*> const near = partners(b, fa);
      CStdPlgn const pb = ToPlgn(b.geom);
      emit(nullptr, &b, near.empty() ? Apply(pb, CStdPlgn{}, Math::Union) : Apply(pb, UnionOf(near), Math::AnotB), "b");
    }
  }
  writer.Commit();
  if (!o.quiet)
    std::fprintf(stderr, "kmath overlay %s: %zu and %zu polygons, %lld written, %.2f s\n", o.op.c_str(), fa.size(),
                 fb.size(), writer.Written(),
                 std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  return 0;
}

struct DissolveOpts {
  std::string input, output, format, by;
  bool quiet = false;
};

int RunDissolve(DissolveOpts const& o) {
  auto const start = std::chrono::steady_clock::now();
  VectorReader reader(o.input, "");
  int field = -1;
  if (!o.by.empty()) {
    field = reader.Defn()->GetFieldIndex(o.by.c_str());
    if (field < 0) throw ToolError(o.input + ": no field named '" + o.by + "'");
  }
  std::vector<Feature> const fs = ReadPolygons(reader);
  std::map<std::string, std::vector<Feature const*>> groups;
  for (Feature const& f : fs) groups[field < 0 ? std::string() : std::string(f.source->GetFieldAsString(field))].push_back(&f);
  std::vector<FieldSpec> extra{{"kmath_count", OFTInteger64}};
  // The group key is written as text, whatever the field's type.
  if (field >= 0) extra.insert(extra.begin(), FieldSpec{o.by, OFTString});
  VectorWriter writer(o.output, o.format, reader.Layer().GetName(), reader.SpatialRef(), wkbMultiPolygon, nullptr, extra);
  for (auto const& [key, members] : groups) {
    Geometry const g = FromPlgn(UnionOf(members));
    std::vector<AttrValue> attrs;
    if (field >= 0) attrs.push_back(key);
    attrs.push_back(static_cast<long long>(members.size()));
    writer.Write(nullptr, g, attrs);
  }
  writer.Commit();
  if (!o.quiet)
    std::fprintf(stderr, "kmath dissolve: %zu polygons into %lld, %.2f s\n", fs.size(), writer.Written(),
                 std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  return 0;
}

void AddOverlay(CLI::App& app, Runner& run) {
  auto o = std::make_shared<OverlayOpts>();
  CLI::App* cmd = app.add_subcommand("overlay", "Boolean overlay of two polygon layers");
  cmd->footer(
      "Example: kmath overlay parcels.gpkg flood.gpkg wet_parcels.gpkg --op intersection\n"
      "intersection: every overlapping pair's common part (A's fields, kmath_b_fid);\n"
      "difference: each A polygon less all of B; union: the common parts plus what only A or only B covers;\n"
      "symdifference: what only A or only B covers. kmath_source says a, b or both.");
  cmd->add_option("A", o->a, "First polygon layer")->required();
  cmd->add_option("B", o->b, "Second polygon layer")->required();
  cmd->add_option("OUTPUT", o->output, "Output vector file")->required();
  cmd->add_option("--op", o->op, "intersection, union, difference or symdifference")
      ->check(CLI::IsMember({"intersection", "union", "difference", "symdifference"}));
  cmd->add_option("-f,--format", o->format, "Output format (OGR driver name)");
  cmd->add_flag("-q,--quiet", o->quiet, "No summary");
  cmd->callback([o, &run] { run = [o] { return RunOverlay(*o); }; });
}

void AddDissolve(CLI::App& app, Runner& run) {
  auto o = std::make_shared<DissolveOpts>();
  CLI::App* cmd = app.add_subcommand("dissolve", "Union of all polygons, or of those sharing an attribute value");
  cmd->footer("Example: kmath dissolve counties.gpkg states.gpkg --by state");
  cmd->add_option("INPUT", o->input, "Polygon layer")->required();
  cmd->add_option("OUTPUT", o->output, "Output vector file")->required();
  cmd->add_option("--by", o->by, "Field whose equal values are dissolved together (default: all into one)");
  cmd->add_option("-f,--format", o->format, "Output format (OGR driver name)");
  cmd->add_flag("-q,--quiet", o->quiet, "No summary");
  cmd->callback([o, &run] { run = [o] { return RunDissolve(*o); }; });
}

}  // namespace

void AddOverlayCommands(CLI::App& app, Runner& run) {
  AddOverlay(app, run);
  AddDissolve(app, run);
}

}  // namespace kmath_tool
