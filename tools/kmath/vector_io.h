// Reading and writing vector layers through OGR, one feature at a time, and
// the conversions between OGR geometries and the tool's plain geometry.
//
// Nothing is lost on failure: output goes to a temporary folder beside the
// target and is moved into place only by Commit(); "-" reads GeoJSON from
// stdin and writes GeoJSON to stdout (held in memory until Commit()).
#pragma once

#include <ogrsf_frmts.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "geometry.h"

namespace kmath_tool {

// A failure the user must hear about; main prints it on one line and exits
// non-zero.
struct ToolError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct OGRFeatureDeleter {
  void operator()(OGRFeature* f) const { OGRFeature::DestroyFeature(f); }
};
using FeaturePtr = std::unique_ptr<OGRFeature, OGRFeatureDeleter>;

// The geometry of one OGR feature in plain form. Curves are linearised;
// z and m are dropped. Throws ToolError for a geometry type the tool cannot
// use (a collection of mixed kinds).
Geometry FromOGR(OGRGeometry const* g);
// An OGR geometry of g (multi-part when g has several parts), or null for
// an empty geometry.
std::unique_ptr<OGRGeometry> ToOGR(Geometry const& g);

class VectorReader {
 public:
  // Opens `path` ("-" for GeoJSON on stdin) and its layer `layer` (the
  // first when empty). Throws ToolError naming the file.
  VectorReader(std::string const& path, std::string const& layer);
  ~VectorReader();
  VectorReader(VectorReader const&) = delete;
  VectorReader& operator=(VectorReader const&) = delete;

  OGRLayer& Layer() { return *m_layer; }
  OGRFeatureDefn* Defn() { return m_layer->GetLayerDefn(); }
  OGRSpatialReference const* SpatialRef() { return m_layer->GetSpatialRef(); }
  std::string const& Path() const { return m_path; }
  // -1 when the driver cannot tell without reading everything.
  long long FeatureCount();
  FeaturePtr Next();

 private:
  std::string m_path;
  GDALDataset* m_ds = nullptr;
  OGRLayer* m_layer = nullptr;
};

// monostate and non-finite doubles are written as null.
using AttrValue = std::variant<std::monostate, long long, double, std::string>;

struct FieldSpec {
  std::string name;
  OGRFieldType type;
};

class VectorWriter {
 public:
  // Prepares `path` ("-" for GeoJSON on stdout) with the driver named by
  // `format`, or the one its extension implies. `copyFrom` lists the fields
  // copied from the input (null: none), `extra` the fields the command adds.
  VectorWriter(std::string const& path, std::string const& format, std::string const& layerName,
               OGRSpatialReference const* srs, OGRwkbGeometryType geomType, OGRFeatureDefn* copyFrom,
               std::vector<FieldSpec> const& extra);
  // Removes the temporary output unless committed.
  ~VectorWriter();
  VectorWriter(VectorWriter const&) = delete;
  VectorWriter& operator=(VectorWriter const&) = delete;

  // Writes one feature: the input's fields (when given and copied), the
  // extra values in the order of `extra`, and the geometry.
  void Write(OGRFeature const* source, Geometry const& geom, std::vector<AttrValue> const& extra);
  // Closes the output and moves it into place. Throws ToolError on failure
  // (the target is then untouched).
  void Commit();
  long long Written() const { return m_written; }

 private:
  std::string m_target;
  std::string m_tmpDir;
  std::string m_tmpPath;
  bool m_stdout = false;
  bool m_committed = false;
  GDALDataset* m_ds = nullptr;
  OGRLayer* m_layer = nullptr;
  int m_copied = 0;
  std::vector<int> m_extraIndex;
  long long m_written = 0;
};

// The OGR driver name for an output path's extension (GeoJSON for "-").
std::string DriverForPath(std::string const& path);

}  // namespace kmath_tool
