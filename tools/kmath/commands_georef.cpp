// Fitting transforms to reference points, reporting their residuals,
// applying them to vector data, and world files.
#include <math/kmath.h>

#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iomanip>
#include <memory>
#include <sstream>

#include "commands.h"
#include "pipeline.h"

namespace kmath_tool {

namespace {

using PointMap = std::function<CPointD(CPointD)>;

// Reference pairs from a CSV file: a header naming src_x, src_y, dst_x,
// dst_y (any order, other columns ignored), or four numbers per line.
std::vector<Math::CRefPoint> ReadRefPoints(std::string const& path) {
  std::ifstream in(path);
  if (!in) throw ToolError(path + ": cannot open");
  std::vector<Math::CRefPoint> out;
  std::string line;
  int col[4] = {0, 1, 2, 3};
  int lineNo = 0;
  while (std::getline(in, line)) {
    ++lineNo;
    if (line.empty() || line[0] == '#') continue;
    std::vector<std::string> cells;
    std::stringstream ss(line);
    for (std::string c; std::getline(ss, c, ',');) cells.push_back(c);
    auto trim = [](std::string s) {
      s.erase(0, s.find_first_not_of(" \t\r"));
      s.erase(s.find_last_not_of(" \t\r") + 1);
      return s;
    };
    for (auto& c : cells) c = trim(c);
    if (out.empty() && lineNo == 1 && !cells.empty() && !std::isdigit(static_cast<unsigned char>(cells[0][0])) &&
        cells[0][0] != '-' && cells[0][0] != '.') {
      char const* names[4] = {"src_x", "src_y", "dst_x", "dst_y"};
      for (int k = 0; k < 4; ++k) {
        auto it = std::find(cells.begin(), cells.end(), names[k]);
        if (it == cells.end()) throw ToolError(path + ": the header has no column '" + names[k] + "'");
        col[k] = static_cast<int>(it - cells.begin());
      }
      continue;
    }
    double v[4];
    for (int k = 0; k < 4; ++k) {
      if (col[k] >= static_cast<int>(cells.size()))
        throw ToolError(path + ": line " + std::to_string(lineNo) + ": too few columns");
      char* end = nullptr;
      v[k] = std::strtod(cells[col[k]].c_str(), &end);
      if (end == cells[col[k]].c_str() || *end != '\0' || !std::isfinite(v[k]))
        throw ToolError(path + ": line " + std::to_string(lineNo) + ": '" + cells[col[k]] + "' is not a finite number");
    }
    out.push_back(Math::CRefPoint{CPointD{v[0], v[1]}, CPointD{v[2], v[3]}});
  }
  return out;
}

struct Fitted {
  PointMap direct;
  PointMap inverse;  // may be empty
  std::shared_ptr<Math::CAffineParams> affine;  // for world files
};

// The second-order fit is ill-conditioned on raw projected coordinates, so
// both sides are centred and scaled to about unit spread first, and the
// normalisations are composed around the fitted polynomial.
Fitted FitPoly2(std::vector<Math::CRefPoint> const& rps) {
  auto frame = [&](bool src) {
    CPointD c{0, 0};
    for (auto const& r : rps) c = c + (src ? r.src : r.dst);
    c = c / static_cast<double>(rps.size());
    double s = 0;
    for (auto const& r : rps) {
      CPointD const d = (src ? r.src : r.dst) - c;
      s = std::max(s, std::max(std::abs(d.x), std::abs(d.y)));
    }
    return std::make_pair(c, s > 0 ? s : 1.0);
  };
  auto const [cs, ss] = frame(true);
  auto const [cd, sd] = frame(false);
  std::vector<Math::CRefPoint> norm;
  for (auto const& r : rps) norm.push_back({(r.src - cs) / ss, (r.dst - cd) / sd});
  auto t = std::make_shared<Math::CSqrTrans>();
  if (!t->Define(norm.data(), static_cast<unsigned>(norm.size())))
    throw ToolError("the second-order fit failed: needs at least six well-spread reference points");
  auto inv = std::make_shared<Math::CSqrTrans>(t->Inverse());
  Fitted f;
  f.direct = [t, cs = cs, ss = ss, cd = cd, sd = sd](CPointD p) { return t->Point((p - cs) / ss) * sd + cd; };
  f.inverse = [inv, cs = cs, ss = ss, cd = cd, sd = sd](CPointD p) { return inv->Point((p - cd) / sd) * ss + cs; };
  return f;
}

Fitted Fit(std::string const& model, std::vector<Math::CRefPoint> const& rps) {
  Fitted f;
  if (model == "similarity") {
    auto t = std::make_shared<Math::CLinearTrans>();
    if (!t->Define(rps.data(), static_cast<unsigned>(rps.size())))
      throw ToolError("the similarity fit failed: needs two distinct source and target points");
    auto inv = std::make_shared<Math::CLinearTrans>(t->Inverse());
    f.direct = [t](CPointD p) { return t->Point(p); };
    f.inverse = [inv](CPointD p) { return inv->Point(p); };
  } else if (model == "affine") {
    auto a = std::make_shared<Math::CAffineParams>();
    if (!a->Define(rps.data(), static_cast<unsigned>(rps.size())))
      throw ToolError("the affine fit failed: needs three or more reference points not on one line");
    a->Inverse();
    if (!a->InverseValid()) throw ToolError("the fitted affine map is singular");
    f.direct = [a](CPointD p) { return a->Direct()(p); };
    f.inverse = [a](CPointD p) {
      // Inverse() on a valid map only returns the cached block.
      return const_cast<Math::CAffineParams&>(*a).Inverse()(p);
    };
    f.affine = a;
  } else {
    f = FitPoly2(rps);
  }
  return f;
}

void Report(std::vector<Math::CRefPoint> const& rps, Fitted const& f, std::string const& residualsPath, bool quiet) {
  std::ofstream csv;
  if (!residualsPath.empty()) {
    csv.open(residualsPath);
    if (!csv) throw ToolError(residualsPath + ": cannot write");
    csv << "point,src_x,src_y,dst_x,dst_y,fit_x,fit_y,dx,dy,residual\n" << std::setprecision(17);
  }
  double sum2 = 0, worst = 0;
  if (!quiet) std::fprintf(stderr, "%5s %14s %14s %12s\n", "point", "dx", "dy", "residual");
  for (std::size_t i = 0; i < rps.size(); ++i) {
    CPointD const fit = f.direct(rps[i].src);
    CPointD const d = fit - rps[i].dst;
    double const r = std::hypot(d.x, d.y);
    sum2 += r * r;
    worst = std::max(worst, r);
    if (!quiet) std::fprintf(stderr, "%5zu %14.6g %14.6g %12.6g\n", i + 1, d.x, d.y, r);
    if (csv)
      csv << i + 1 << ',' << rps[i].src.x << ',' << rps[i].src.y << ',' << rps[i].dst.x << ',' << rps[i].dst.y << ','
          << fit.x << ',' << fit.y << ',' << d.x << ',' << d.y << ',' << r << '\n';
  }
  if (!quiet)
    std::fprintf(stderr, "rms residual %.6g, largest %.6g (%zu points)\n", std::sqrt(sum2 / double(rps.size())), worst,
                 rps.size());
}

void AddGeoref(CLI::App& app, Runner& run) {
  struct Opts {
    CommonOptions common;
    std::string points, model = "affine", residuals, worldOut, worldIn;
    bool inverse = false, absY = false;
  };
  auto o = std::make_shared<Opts>();
  CLI::App* cmd = app.add_subcommand(
      "georef", "Fit a transform to reference points (or read a world file), report residuals, apply it");
  cmd->footer(
      "Examples:\n"
      "  kmath georef --points refs.csv --model poly2 --residuals res.csv\n"
      "  kmath georef traced_px.gpkg world.gpkg --points refs.csv --model affine\n"
      "  kmath georef --points refs.csv --world-file scan.tfw\n"
      "  kmath georef traced_px.gpkg world.gpkg --from-world scan.tfw\n"
      "refs.csv: a header with src_x,src_y,dst_x,dst_y (src: raster/pixels, dst: world), or four numbers a line.");
  cmd->add_option("INPUT", o->common.input, "Vector file to transform (optional)");
  cmd->add_option("OUTPUT", o->common.output, "Transformed output");
  AddCommonFlags(*cmd, o->common);
  cmd->add_option("--points", o->points, "CSV of reference points");
  cmd->add_option("--model", o->model, "similarity (first two pairs), affine (least squares), poly2 (second order)")
      ->check(CLI::IsMember({"similarity", "affine", "poly2"}));
  cmd->add_flag("--inverse", o->inverse, "Apply the world-to-raster direction");
  cmd->add_option("--residuals", o->residuals, "Write the residual of every reference point to this CSV");
  cmd->add_option("--world-file", o->worldOut, "Write the fitted affine map as a world file (affine model)");
  cmd->add_option("--from-world", o->worldIn, "Use this world file instead of reference points");
  cmd->add_flag("--abs-y", o->absY, "World file with a positive y pixel size (y down)");
  cmd->callback([o, &run] {
    if (o->points.empty() == o->worldIn.empty())
      throw CLI::ValidationError("georef", "give either --points or --from-world");
    if (o->common.input.empty() != o->common.output.empty())
      throw CLI::ValidationError("georef", "give both INPUT and OUTPUT, or neither");
    if (!o->worldOut.empty() && o->model != "affine")
      throw CLI::ValidationError("--world-file", "a world file holds an affine map: use --model affine");
    run = [o] {
      Fitted f;
      if (!o->worldIn.empty()) {
        std::ifstream in(o->worldIn);
        double v[6];
        for (double& x : v)
          if (!(in >> x) || !std::isfinite(x)) throw ToolError(o->worldIn + ": not a world file (six numbers)");
        auto a = std::make_shared<Math::CAffineParams>();
        a->Define(Math::CTfwInfo{v[0], v[1], v[2], v[3], v[4], v[5]}, o->absY);
        a->Inverse();
        if (!a->InverseValid()) throw ToolError(o->worldIn + ": the map is singular");
        f.direct = [a](CPointD p) { return a->Direct()(p); };
        f.inverse = [a](CPointD p) { return const_cast<Math::CAffineParams&>(*a).Inverse()(p); };
        f.affine = a;
      } else {
        auto const rps = ReadRefPoints(o->points);
        f = Fit(o->model, rps);
        Report(rps, f, o->residuals, o->common.quiet);
      }
      if (!o->worldOut.empty()) {
        Math::CTfwInfo const t = f.affine->TfwInfo(o->absY);
        std::ofstream out(o->worldOut);
        out << std::setprecision(17) << t.A << '\n' << t.D << '\n' << t.B << '\n' << t.E << '\n' << t.C << '\n' << t.F << '\n';
        if (!out) throw ToolError(o->worldOut + ": cannot write");
      }
      if (o->common.input.empty()) return 0;
      PointMap const map = o->inverse ? f.inverse : f.direct;
      CommandShape shape{"georef", wkbUnknown, {}};
      return RunPerFeature(o->common, shape, [map](Geometry const& g) {
        Geometry out = g;
        for (auto& part : out.parts)
          for (auto& ring : part)
            for (CPointD& p : ring) p = map(p);
        return FeatureResult::One(std::move(out));
      });
    };
  });
}

}  // namespace

void AddGeorefCommands(CLI::App& app, Runner& run) { AddGeoref(app, run); }

}  // namespace kmath_tool
