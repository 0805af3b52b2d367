#include "vector_io.h"

#include <cpl_conv.h>
#include <cpl_error.h>
#include <cpl_vsi.h>
#include <gdal_priv.h>

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace kmath_tool {

namespace fs = std::filesystem;

namespace {

std::string LastGdalError() {
  char const* msg = CPLGetLastErrorMsg();
  return msg && *msg ? std::string(": ") + msg : std::string();
}

Ring RingOf(OGRSimpleCurve const* curve) {
  Ring r;
  r.reserve(static_cast<std::size_t>(curve->getNumPoints()));
  for (int i = 0; i < curve->getNumPoints(); ++i) r.push_back(CPointD{curve->getX(i), curve->getY(i)});
  return r;
}

void AddPart(Geometry& out, OGRGeometry const* g) {
  OGRwkbGeometryType const t = wkbFlatten(g->getGeometryType());
  GeomKind kind = GeomKind::None;
  std::vector<Ring> part;
  switch (t) {
    case wkbPoint: {
      auto const* p = g->toPoint();
      if (p->IsEmpty()) return;
      kind = GeomKind::Point;
      part.push_back(Ring{CPointD{p->getX(), p->getY()}});
      break;
    }
    case wkbLineString:
    case wkbLinearRing:
      kind = GeomKind::Line;
      part.push_back(RingOf(g->toSimpleCurve()));
      break;
    case wkbPolygon: {
      auto const* poly = g->toPolygon();
      if (poly->IsEmpty()) return;
      kind = GeomKind::Polygon;
      part.push_back(RingOf(poly->getExteriorRing()));
      for (int i = 0; i < poly->getNumInteriorRings(); ++i) part.push_back(RingOf(poly->getInteriorRing(i)));
      break;
    }
    case wkbMultiPoint:
    case wkbMultiLineString:
    case wkbMultiPolygon:
    case wkbGeometryCollection: {
      for (auto const* sub : *g->toGeometryCollection()) AddPart(out, sub);
      return;
    }
    default:
      if (g->hasCurveGeometry()) {
        std::unique_ptr<OGRGeometry> lin(g->getLinearGeometry());
        AddPart(out, lin.get());
        return;
      }
      throw ToolError(std::string("unsupported geometry type ") + OGRGeometryTypeToName(t));
  }
  if (out.kind != GeomKind::None && out.kind != kind)
    throw ToolError("a geometry collection mixing points, lines and polygons is not supported");
  out.kind = kind;
  out.parts.push_back(std::move(part));
}

template <class Curve>
std::unique_ptr<Curve> CurveOf(Ring const& r) {
  auto c = std::make_unique<Curve>();
  c->setNumPoints(static_cast<int>(r.size()), FALSE);
  for (std::size_t i = 0; i < r.size(); ++i) c->setPoint(static_cast<int>(i), r[i].x, r[i].y);
  return c;
}

std::unique_ptr<OGRGeometry> PartToOGR(GeomKind kind, std::vector<Ring> const& part) {
  switch (kind) {
    case GeomKind::Point:
      return std::make_unique<OGRPoint>(part.at(0).at(0).x, part.at(0).at(0).y);
    case GeomKind::Line:
      return CurveOf<OGRLineString>(part.at(0));
    case GeomKind::Polygon: {
      auto poly = std::make_unique<OGRPolygon>();
      for (Ring const& r : part) poly->addRingDirectly(CurveOf<OGRLinearRing>(r).release());
      return poly;
    }
    case GeomKind::None:
      break;
  }
  return nullptr;
}

std::string Lower(std::string s) {
  for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

}  // namespace

Geometry FromOGR(OGRGeometry const* g) {
  Geometry out;
  if (g && !g->IsEmpty()) AddPart(out, g);
  return out;
}

std::unique_ptr<OGRGeometry> ToOGR(Geometry const& g) {
  if (g.parts.empty() || g.kind == GeomKind::None) return nullptr;
  if (g.parts.size() == 1) return PartToOGR(g.kind, g.parts[0]);
  std::unique_ptr<OGRGeometryCollection> multi;
  switch (g.kind) {
    case GeomKind::Point: multi = std::make_unique<OGRMultiPoint>(); break;
    case GeomKind::Line: multi = std::make_unique<OGRMultiLineString>(); break;
    default: multi = std::make_unique<OGRMultiPolygon>(); break;
  }
  for (auto const& part : g.parts) multi->addGeometryDirectly(PartToOGR(g.kind, part).release());
  return multi;
}

std::string DriverForPath(std::string const& path) {
  if (path == "-") return "GeoJSON";
  std::string const ext = Lower(fs::path(path).extension().string());
  if (ext == ".geojson" || ext == ".json") return "GeoJSON";
  if (ext == ".gpkg") return "GPKG";
  if (ext == ".shp") return "ESRI Shapefile";
  if (ext == ".fgb") return "FlatGeobuf";
  if (ext == ".csv") return "CSV";
  if (ext == ".gml") return "GML";
  if (ext == ".kml") return "KML";
  if (ext == ".geojsonl" || ext == ".geojsons") return "GeoJSONSeq";
  throw ToolError(path + ": cannot tell the output format from the extension '" + ext +
                  "' (use .gpkg, .geojson, .shp, .fgb, .csv, or --format)");
}

// ---- reader ---------------------------------------------------------------

VectorReader::VectorReader(std::string const& path, std::string const& layer) : m_path(path) {
  std::string const open = path == "-" ? "/vsistdin/" : path;
  if (path != "-" && !fs::exists(path)) throw ToolError(path + ": no such file");
  CPLErrorReset();
  m_ds = GDALDataset::Open(open.c_str(), GDAL_OF_VECTOR | GDAL_OF_READONLY);
  if (!m_ds) throw ToolError(path + ": not a readable vector dataset" + LastGdalError());
  if (m_ds->GetLayerCount() == 0) throw ToolError(path + ": holds no vector layer");
  m_layer = layer.empty() ? m_ds->GetLayer(0) : m_ds->GetLayerByName(layer.c_str());
  if (!m_layer) throw ToolError(path + ": no layer named '" + layer + "'");
  m_layer->ResetReading();
}

VectorReader::~VectorReader() {
  if (m_ds) GDALClose(m_ds);
}

long long VectorReader::FeatureCount() { return static_cast<long long>(m_layer->GetFeatureCount(FALSE)); }

FeaturePtr VectorReader::Next() { return FeaturePtr(m_layer->GetNextFeature()); }

// ---- writer ---------------------------------------------------------------

VectorWriter::VectorWriter(std::string const& path, std::string const& format, std::string const& layerName,
                           OGRSpatialReference const* srs, OGRwkbGeometryType geomType, OGRFeatureDefn* copyFrom,
                           std::vector<FieldSpec> const& extra)
    : m_target(path), m_stdout(path == "-") {
  std::string const driverName = format.empty() ? DriverForPath(path) : format;
  GDALDriver* driver = GetGDALDriverManager()->GetDriverByName(driverName.c_str());
  if (!driver) throw ToolError(path + ": unknown output format '" + driverName + "'");

  if (m_stdout) {
    static std::atomic<int> counter{0};
    m_tmpPath = "/vsimem/kmath_stdout_" + std::to_string(getpid()) + "_" + std::to_string(counter++) + ".geojson";
  } else {
    fs::path const target(path);
    fs::path dir = target.parent_path();
    if (dir.empty()) dir = ".";
    if (!fs::is_directory(dir)) throw ToolError(path + ": the folder " + dir.string() + " does not exist");
    std::string templ = (dir / ".kmath-tmp-XXXXXX").string();
    if (!mkdtemp(templ.data())) throw ToolError(path + ": cannot create a temporary folder: " + std::strerror(errno));
    m_tmpDir = templ;
    m_tmpPath = (fs::path(m_tmpDir) / target.filename()).string();
  }

  CPLErrorReset();
  m_ds = driver->Create(m_tmpPath.c_str(), 0, 0, 0, GDT_Unknown, nullptr);
  if (!m_ds) throw ToolError(path + ": cannot create the output" + LastGdalError());

  char** layerOptions = nullptr;
  if (driverName == "CSV") layerOptions = CSLSetNameValue(layerOptions, "GEOMETRY", "AS_WKT");
  // FlatGeobuf's spatial index reorders the features; keep the input order.
  if (driverName == "FlatGeobuf") layerOptions = CSLSetNameValue(layerOptions, "SPATIAL_INDEX", "NO");
  std::unique_ptr<OGRSpatialReference, void (*)(OGRSpatialReference*)> srsCopy(
      srs ? srs->Clone() : nullptr, [](OGRSpatialReference* s) {
        if (s) s->Release();
      });
  m_layer = m_ds->CreateLayer(layerName.c_str(), srsCopy.get(), geomType, layerOptions);
  CSLDestroy(layerOptions);
  if (!m_layer) throw ToolError(path + ": cannot create layer '" + layerName + "'" + LastGdalError());

  if (copyFrom) {
    for (int i = 0; i < copyFrom->GetFieldCount(); ++i) {
      if (m_layer->CreateField(copyFrom->GetFieldDefn(i)) != OGRERR_NONE)
        throw ToolError(path + ": cannot create field '" + copyFrom->GetFieldDefn(i)->GetNameRef() + "'" +
                        LastGdalError());
    }
    m_copied = copyFrom->GetFieldCount();
  }
  for (FieldSpec const& f : extra) {
    OGRFeatureDefn* defn = m_layer->GetLayerDefn();
    int idx = defn->GetFieldIndex(f.name.c_str());
    if (idx < 0) {
      OGRFieldDefn fd(f.name.c_str(), f.type);
      if (m_layer->CreateField(&fd) != OGRERR_NONE)
        throw ToolError(path + ": cannot create field '" + f.name + "'" + LastGdalError());
      idx = m_layer->GetLayerDefn()->GetFieldCount() - 1;
    }
    m_extraIndex.push_back(idx);
  }
}

VectorWriter::~VectorWriter() {
  if (m_ds) GDALClose(m_ds);
  if (m_committed) return;
  if (m_stdout) {
    VSIUnlink(m_tmpPath.c_str());
  } else if (!m_tmpDir.empty()) {
    std::error_code ec;
    fs::remove_all(m_tmpDir, ec);
  }
}

void VectorWriter::Write(OGRFeature const* source, Geometry const& geom, std::vector<AttrValue> const& extra) {
  OGRFeature f(m_layer->GetLayerDefn());
  if (source && m_copied > 0) {
    for (int i = 0; i < m_copied && i < source->GetFieldCount(); ++i) {
      if (!source->IsFieldSet(i)) continue;
      if (source->IsFieldNull(i)) {
        f.SetFieldNull(i);
        continue;
      }
      f.SetField(i, source->GetRawFieldRef(i));
    }
  }
  for (std::size_t k = 0; k < extra.size() && k < m_extraIndex.size(); ++k) {
    int const idx = m_extraIndex[k];
    if (std::holds_alternative<std::monostate>(extra[k]))
      f.SetFieldNull(idx);
    else if (auto const* i = std::get_if<long long>(&extra[k]))
      f.SetField(idx, static_cast<GIntBig>(*i));
    else if (auto const* d = std::get_if<double>(&extra[k]))
      std::isfinite(*d) ? f.SetField(idx, *d) : f.SetFieldNull(idx);  // JSON has no NaN
    else
      f.SetField(idx, std::get<std::string>(extra[k]).c_str());
  }
  if (auto g = ToOGR(geom)) f.SetGeometryDirectly(g.release());
  CPLErrorReset();
  if (m_layer->CreateFeature(&f) != OGRERR_NONE)
    throw ToolError(m_target + ": cannot write feature " + std::to_string(m_written) + LastGdalError());
  ++m_written;
}

void VectorWriter::Commit() {
  CPLErrorReset();
  GDALDataset* ds = m_ds;
  m_ds = nullptr;
  GDALClose(ds);
  if (CPLGetLastErrorType() >= CE_Failure) throw ToolError(m_target + ": writing failed" + LastGdalError());
  if (m_stdout) {
    vsi_l_offset len = 0;
    GByte* data = VSIGetMemFileBuffer(m_tmpPath.c_str(), &len, FALSE);
    bool const ok = data && std::fwrite(data, 1, static_cast<std::size_t>(len), stdout) == len && std::fflush(stdout) == 0;
    VSIUnlink(m_tmpPath.c_str());
    m_committed = true;
    if (!ok) throw ToolError("-: cannot write to stdout");
    return;
  }
  fs::path const dir = fs::path(m_target).parent_path().empty() ? fs::path(".") : fs::path(m_target).parent_path();
  std::error_code ec;
  for (auto const& entry : fs::directory_iterator(m_tmpDir)) {
    fs::rename(entry.path(), dir / entry.path().filename(), ec);
    if (ec) throw ToolError(m_target + ": cannot move the output into place: " + ec.message());
  }
  fs::remove(m_tmpDir, ec);
  m_committed = true;
}

}  // namespace kmath_tool
