// Dynamic time warping of two lines: which point of one corresponds to which
// point of the other, written as short joining lines.
#include <math/kmath.h>

#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdio>
#include <memory>

#include "commands.h"
#include "pipeline.h"
#include "vector_io.h"

namespace kmath_tool {

namespace {

struct MatchOpts {
  std::string a, b, output, format;
  double step = 0;
  bool axisSteps = false, checkCross = false, quiet = false;
};

// The first line (or polygon's outer ring) of each feature of a file.
std::vector<Ring> ReadLines(std::string const& path) {
  VectorReader reader(path, "");
  std::vector<Ring> out;
  while (FeaturePtr f = reader.Next()) {
    Geometry const g = FromOGR(f->GetGeometryRef());
    if (g.parts.empty() || g.kind == GeomKind::Point) continue;
    if (!g.AllFinite()) throw ToolError(path + ": feature " + std::to_string(f->GetFID()) + ": a coordinate is NaN or infinite");
    out.push_back(g.parts[0][0]);
  }
  return out;
}

int RunMatch(MatchOpts const& o) {
  std::vector<Ring> const a = ReadLines(o.a), b = ReadLines(o.b);
  if (a.empty() || b.empty()) throw ToolError("both inputs need at least one line");
  if (a.size() != b.size())
    std::fprintf(stderr, "kmath match: %zu lines against %zu: pairing the first %zu in file order\n", a.size(), b.size(),
                 std::min(a.size(), b.size()));
  VectorReader srs(o.a, "");
  VectorWriter writer(o.output, o.format, "pairs", srs.SpatialRef(), wkbLineString, nullptr,
                      {{"kmath_line", OFTInteger}, {"kmath_pair", OFTInteger}, {"kmath_distance", OFTReal}});
  Math::CDTWParams const params(o.checkCross, o.step, o.axisSteps);
  std::size_t total = 0;
  for (std::size_t k = 0; k < std::min(a.size(), b.size()); ++k) {
    Math::CDTWPoly const pa(a[k]), pb(b[k]);
    std::vector<std::pair<Math::poly_hit, Math::poly_hit>> pairs;
    Math::DTWMatch(pa, pb, pairs, params);
    for (std::size_t i = 0; i < pairs.size(); ++i) {
      CPointD const p = pa.Point(pairs[i].first), q = pb.Point(pairs[i].second);
      Geometry g;
      g.kind = GeomKind::Line;
      g.parts.push_back({Ring{p, q}});
      writer.Write(nullptr, g, {static_cast<long long>(k), static_cast<long long>(i), std::hypot(q.x - p.x, q.y - p.y)});
    }
    total += pairs.size();
  }
  writer.Commit();
  if (!o.quiet) std::fprintf(stderr, "kmath match: %zu pairs of points\n", total);
  return 0;
}

void AddMatch(CLI::App& app, Runner& run) {
  auto o = std::make_shared<MatchOpts>();
  CLI::App* cmd = app.add_subcommand("match", "Pair the points of two lines by dynamic time warping");
  cmd->footer("Example: kmath match traced.gpkg reference.gpkg pairs.gpkg --step 2 --check-cross");
  cmd->add_option("A", o->a, "First lines (feature k is matched with feature k of B)")->required();
  cmd->add_option("B", o->b, "Second lines")->required();
  cmd->add_option("OUTPUT", o->output, "Joining lines, one per pair")->required();
  cmd->add_option("-f,--format", o->format, "Output format (OGR driver name)");
  cmd->add_option("-s,--step", o->step, "Resample both lines at this spacing (default: their vertices)")
      ->check(NonNegative());
  cmd->add_flag("--axis-steps", o->axisSteps, "Step along one line at a time (no diagonal steps)");
  cmd->add_flag("--check-cross", o->checkCross, "Drop pairs whose joining line crosses either line");
  cmd->add_flag("-q,--quiet", o->quiet, "No summary");
  cmd->callback([o, &run] { run = [o] { return RunMatch(*o); }; });
}

}  // namespace

void AddMatchCommands(CLI::App& app, Runner& run) { AddMatch(app, run); }

}  // namespace kmath_tool
