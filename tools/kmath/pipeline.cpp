#include "pipeline.h"

#include <CLI/CLI.hpp>
#include <cpl_progress.h>

#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstdio>
#include <filesystem>
#include <thread>

namespace kmath_tool {

namespace {

// Features read and processed per round: enough to keep every thread busy,
// few enough that memory does not grow with the input.
constexpr std::size_t kBatchPerJob = 64;

std::string FeatureName(OGRFeature const* f, long long ordinal) {
  GIntBig const fid = f->GetFID();
  return fid == OGRNullFID ? "feature #" + std::to_string(ordinal) : "feature " + std::to_string(fid);
}

void RefuseOverwritingInput(CommonOptions const& o) {
  if (o.input == "-" || o.output == "-") return;
  namespace fs = std::filesystem;
  std::error_code ec;
  if (fs::exists(o.output, ec) && fs::equivalent(o.input, o.output, ec))
    throw ToolError(o.output + ": is the input; write the result to another file");
}

}  // namespace

namespace {

CLI::Validator NumberCheck(char const* what, bool (*ok)(double)) {
  return CLI::Validator(
      [what, ok](std::string& s) -> std::string {
        char* end = nullptr;
        double const v = std::strtod(s.c_str(), &end);
        if (end == s.c_str() || *end != '\0' || !ok(v)) return "'" + s + "' is not a " + what + " number";
        return {};
      },
      what);
}

}  // namespace

CLI::Validator const& Positive() {
  static CLI::Validator const v = NumberCheck("positive", [](double x) { return x > 0 && std::isfinite(x); });
  return v;
}

CLI::Validator const& NonNegative() {
  static CLI::Validator const v = NumberCheck("non-negative", [](double x) { return x >= 0 && std::isfinite(x); });
  return v;
}

void AddCommonFlags(CLI::App& cmd, CommonOptions& o) {
  cmd.add_option("-f,--format", o.format, "Output format (OGR driver name, e.g. GPKG, GeoJSON, \"ESRI Shapefile\")");
  cmd.add_option("--layer", o.layer, "Input layer (default: the first)");
  cmd.add_option("--out-layer", o.outLayer, "Output layer name (default: the input layer's)");
  cmd.add_option("-j,--jobs", o.jobs, "Features processed in parallel (output order is kept)")
      ->check(CLI::Range(1, 256));
  cmd.add_flag("-q,--quiet", o.quiet, "No progress bar and no summary");
  cmd.add_flag("--skip-invalid", o.skipInvalid, "Skip features the operation cannot use, and report how many");
}

void AddCommonOptions(CLI::App& cmd, CommonOptions& o) {
  cmd.add_option("INPUT", o.input, "Input vector file (any OGR format; - for GeoJSON on stdin)")->required();
  cmd.add_option("OUTPUT", o.output, "Output vector file (format from the extension; - for GeoJSON on stdout)")
      ->required();
  AddCommonFlags(cmd, o);
}

Progress::Progress(bool quiet, long long total) : m_on(!quiet && isatty(STDERR_FILENO) && total > 0), m_total(total) {}

void Progress::Update(long long done) {
  if (!m_on) return;
  int const percent = static_cast<int>(100 * done / m_total);
  if (percent == m_lastPercent) return;
  m_lastPercent = percent;
  GDALTermProgress(static_cast<double>(done) / static_cast<double>(m_total), nullptr, nullptr);
}

void Progress::Finish() {
  if (m_on && m_lastPercent < 100) GDALTermProgress(1.0, nullptr, nullptr);
}

int RunPerFeature(CommonOptions const& o, CommandShape const& shape, FeatureOp const& op) {
  auto const start = std::chrono::steady_clock::now();
  RefuseOverwritingInput(o);
  VectorReader reader(o.input, o.layer);
  OGRwkbGeometryType const outType = shape.outType == wkbUnknown ? reader.Layer().GetGeomType() : shape.outType;
  std::string const layerName = o.outLayer.empty() ? reader.Layer().GetName() : o.outLayer;
  VectorWriter writer(o.output, o.format, layerName, reader.SpatialRef(), outType, reader.Defn(), shape.extra);
  Progress progress(o.quiet, reader.FeatureCount());

  std::size_t const jobs = static_cast<std::size_t>(o.jobs < 1 ? 1 : o.jobs);
  std::vector<FeaturePtr> batch;
  std::vector<Geometry> inputs;
  std::vector<FeatureResult> results;
  long long ordinal = 0, skipped = 0, done = 0;
  std::size_t verticesIn = 0, verticesOut = 0;

  for (;;) {
    batch.clear();
    while (batch.size() < kBatchPerJob * jobs) {
      FeaturePtr f = reader.Next();
      if (!f) break;
      batch.push_back(std::move(f));
    }
    if (batch.empty()) break;
    inputs.assign(batch.size(), Geometry{});
    results.assign(batch.size(), FeatureResult{});

    auto work = [&](std::size_t first) {
      for (std::size_t i = first; i < batch.size(); i += jobs) {
        try {
          inputs[i] = FromOGR(batch[i]->GetGeometryRef());
          if (shape.rejectNonFinite && !inputs[i].AllFinite())
            results[i] = FeatureResult::Error("a coordinate is NaN or infinite");
          else
            results[i] = op(inputs[i]);
        } catch (ToolError const& e) {
          results[i] = FeatureResult::Error(e.what());
        } catch (std::exception const& e) {
          results[i] = FeatureResult::Error(e.what());
        }
      }
    };
    if (jobs == 1) {
      work(0);
    } else {
      std::vector<std::thread> pool;
      for (std::size_t t = 0; t < jobs; ++t) pool.emplace_back(work, t);
      for (auto& t : pool) t.join();
    }

    for (std::size_t i = 0; i < batch.size(); ++i, ++ordinal) {
      if (!results[i].error.empty()) {
        std::string const msg = reader.Path() + ": " + FeatureName(batch[i].get(), ordinal) + ": " + results[i].error;
        if (!o.skipInvalid) throw ToolError(msg + " (--skip-invalid continues past it)");
        ++skipped;
        continue;
      }
      verticesIn += inputs[i].VertexCount();
      for (FeatureOutput const& out : results[i].outputs) {
        verticesOut += out.geom.VertexCount();
        writer.Write(batch[i].get(), out.geom, out.attrs);
      }
    }
    done += static_cast<long long>(batch.size());
    progress.Update(done);
  }
  progress.Finish();
  writer.Commit();

  double const secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (!o.quiet)
    std::fprintf(stderr, "kmath %s: %lld features in, %lld written, %zu -> %zu vertices, %.2f s\n",
                 shape.name.c_str(), ordinal, writer.Written(), verticesIn, verticesOut, secs);
  if (skipped > 0)
    std::fprintf(stderr, "kmath %s: skipped %lld invalid feature%s\n", shape.name.c_str(), skipped,
                 skipped == 1 ? "" : "s");
  return 0;
}

}  // namespace kmath_tool
