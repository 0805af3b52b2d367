// Runs a per-feature operation over a vector layer: streamed in bounded
// batches (memory stays flat however many features there are), optionally
// on several threads with the output order kept, with one-line errors that
// name the file and the feature, and all-or-nothing output.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "geometry.h"
#include "vector_io.h"

namespace CLI {
class App;
class Validator;
}

namespace kmath_tool {

// Options every vector command takes.
struct CommonOptions {
  std::string input;
  std::string output;
  std::string format;    // OGR driver name; empty: from the output's extension
  std::string layer;     // input layer; empty: the first
  std::string outLayer;  // output layer name; empty: the input layer's
  int jobs = 1;
  bool quiet = false;
  bool skipInvalid = false;
};

// Option checks with short messages (CLI11's own print the whole double range).
CLI::Validator const& Positive();
CLI::Validator const& NonNegative();

// Adds INPUT OUTPUT and the common options to a subcommand.
void AddCommonOptions(CLI::App& cmd, CommonOptions& o);
// Adds only the flags (for commands with other positionals).
void AddCommonFlags(CLI::App& cmd, CommonOptions& o);

struct FeatureOutput {
  Geometry geom;
  std::vector<AttrValue> attrs;  // in the order of CommandShape::extra
};

// What one feature became: zero or more outputs, or an error message
// (the feature is invalid for this operation).
struct FeatureResult {
  std::vector<FeatureOutput> outputs;
  std::string error;

  static FeatureResult Error(std::string msg) {
    FeatureResult r;
    r.error = std::move(msg);
    return r;
  }
  static FeatureResult One(Geometry g, std::vector<AttrValue> attrs = {}) {
    FeatureResult r;
    r.outputs.push_back(FeatureOutput{std::move(g), std::move(attrs)});
    return r;
  }
};

// Must be safe to call from several threads at once.
using FeatureOp = std::function<FeatureResult(Geometry const&)>;

struct CommandShape {
  std::string name;  // for messages: "simplify"
  // wkbUnknown: the input layer's type.
  OGRwkbGeometryType outType = wkbUnknown;
  std::vector<FieldSpec> extra;
  // Features with non-finite coordinates are invalid unless the op takes
  // them itself.
  bool rejectNonFinite = true;
};

// Reads o.input, applies op to every feature and writes o.output. Returns
// the process exit code; throws ToolError for failures that stop the run
// (the output is then not written).
int RunPerFeature(CommonOptions const& o, CommandShape const& shape, FeatureOp const& op);

// Centre lines of one polygon feature as line outputs (with the mean and
// largest stroke width as attributes when `widths`).
FeatureResult CenterLinesOf(Geometry const& g, double prune, double tolerance, bool widths);

// Progress on stderr when it is a terminal and not quiet.
class Progress {
 public:
  Progress(bool quiet, long long total);
  void Update(long long done);
  void Finish();

 private:
  bool m_on;
  long long m_total;
  int m_lastPercent = -1;
};

}  // namespace kmath_tool
