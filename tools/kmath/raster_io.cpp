#include "raster_io.h"

#include <gdal_alg.h>
#include <ogrsf_frmts.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <fstream>
#include <filesystem>

#include <unistd.h>

#include "vector_io.h"

namespace kmath_tool {

namespace {

// GDAL's PNM driver reads grey and colour netpbm files but not the packed
// bitmap (P4) that scanners and fax tools write; read that here into an
// in-memory band, 1 for black as the format says. Null when the file is not
// a P4 bitmap; throws ToolError when it is one but is cut short.
GDALDataset* OpenPackedBitmap(std::string const& path) {
  std::ifstream in(path, std::ios::binary);
  char magic[2] = {0, 0};
  if (!in.read(magic, 2) || magic[0] != 'P' || magic[1] != '4') return nullptr;
  auto token = [&]() -> long {
    int c = in.get();
    while (c != EOF && (std::isspace(c) || c == '#')) {
      if (c == '#')
        while (c != EOF && c != '\n') c = in.get();
      c = in.get();
    }
    long v = 0;
    bool any = false;
    while (c != EOF && std::isdigit(c)) v = v * 10 + (c - '0'), any = true, c = in.get();
    return any && v < (1L << 20) ? v : -1;  // the single whitespace after the height is consumed here
  };
  long const w = token(), h = token();
  if (w <= 0 || h <= 0) throw ToolError(path + ": a PBM bitmap with a bad size");
  std::size_t const rowBytes = static_cast<std::size_t>((w + 7) / 8);
  std::vector<unsigned char> packed(rowBytes * static_cast<std::size_t>(h));
  if (!in.read(reinterpret_cast<char*>(packed.data()), static_cast<std::streamsize>(packed.size())))
    throw ToolError(path + ": the PBM bitmap is cut short");
  std::vector<unsigned char> pixels(static_cast<std::size_t>(w) * static_cast<std::size_t>(h));
  for (long y = 0; y < h; ++y)
    for (long x = 0; x < w; ++x)
      pixels[static_cast<std::size_t>(y * w + x)] = (packed[static_cast<std::size_t>(y) * rowBytes + x / 8] >> (7 - x % 8)) & 1;
  GDALDriver* mem = GetGDALDriverManager()->GetDriverByName("MEM");
  GDALDataset* ds = mem->Create("", static_cast<int>(w), static_cast<int>(h), 1, GDT_Byte, nullptr);
  if (!ds || ds->GetRasterBand(1)->RasterIO(GF_Write, 0, 0, static_cast<int>(w), static_cast<int>(h), pixels.data(),
                                             static_cast<int>(w), static_cast<int>(h), GDT_Byte, 0, 0) != CE_None) {
    if (ds) GDALClose(ds);
    throw ToolError(path + ": cannot hold the bitmap in memory");
  }
  return ds;
}

}  // namespace

RasterSource::RasterSource(std::string const& path) : m_path(path) {
  CPLErrorReset();
  m_ds = GDALDataset::Open(path.c_str(), GDAL_OF_RASTER | GDAL_OF_READONLY);
  if (!m_ds && std::filesystem::exists(path)) m_ds = OpenPackedBitmap(path);
  if (!m_ds) {
    char const* msg = CPLGetLastErrorMsg();
    throw ToolError(path + ": not a readable raster" + (msg && *msg ? std::string(": ") + msg : ""));
  }
  m_width = m_ds->GetRasterXSize();
  m_height = m_ds->GetRasterYSize();
  if (m_width <= 0 || m_height <= 0 || m_ds->GetRasterCount() < 1) throw ToolError(path + ": holds no raster band");
  m_hasGt = m_ds->GetGeoTransform(m_gt) == CE_None;
  if (!m_hasGt) {
    double const identity[6] = {0, 1, 0, 0, 0, 1};
    std::copy(identity, identity + 6, m_gt);
  }
}

RasterSource::~RasterSource() {
  if (m_ds) GDALClose(m_ds);
}

CPointD RasterSource::ToWorld(CPointD const& px) const {
  return CPointD{m_gt[0] + px.x * m_gt[1] + px.y * m_gt[2], m_gt[3] + px.x * m_gt[4] + px.y * m_gt[5]};
}

double RasterSource::PixelSize() const {
  return 0.5 * (std::hypot(m_gt[1], m_gt[4]) + std::hypot(m_gt[2], m_gt[5]));
}

void WriteByteRaster(std::string const& path, std::vector<unsigned char> const& pixels, int width, int height,
                     double const gt[6], OGRSpatialReference const* srs) {
  namespace fs = std::filesystem;
  std::string ext = fs::path(path).extension().string();
  for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  bool const png = ext == ".png";
  if (!png && ext != ".tif" && ext != ".tiff") throw ToolError(path + ": write .tif or .png");
  fs::path const target(path);
  fs::path dir = target.parent_path().empty() ? fs::path(".") : target.parent_path();
  if (!fs::is_directory(dir)) throw ToolError(path + ": the folder " + dir.string() + " does not exist");
  std::string templ = (dir / ".kmath-tmp-XXXXXX").string();
  if (!mkdtemp(templ.data())) throw ToolError(path + ": cannot create a temporary folder");
  fs::path const tmpDir(templ);
  auto cleanup = [&] {
    std::error_code ec;
    fs::remove_all(tmpDir, ec);
  };
  try {
    GDALDriver* mem = GetGDALDriverManager()->GetDriverByName("MEM");
    GDALDriver* out = GetGDALDriverManager()->GetDriverByName(png ? "PNG" : "GTiff");
    if (!mem || !out) throw ToolError(path + ": GDAL lacks the driver");
    std::unique_ptr<GDALDataset, void (*)(GDALDataset*)> ds(mem->Create("", width, height, 1, GDT_Byte, nullptr),
                                                           [](GDALDataset* d) { GDALClose(d); });
    ds->SetGeoTransform(const_cast<double*>(gt));
    if (srs) ds->SetSpatialRef(srs);
    if (ds->GetRasterBand(1)->RasterIO(GF_Write, 0, 0, width, height, const_cast<unsigned char*>(pixels.data()), width,
                                       height, GDT_Byte, 0, 0) != CE_None)
      throw ToolError(path + ": cannot fill the raster");
    char** options = png ? CSLSetNameValue(nullptr, "WORLDFILE", "YES") : CSLSetNameValue(nullptr, "COMPRESS", "DEFLATE");
    std::string const tmpPath = (tmpDir / target.filename()).string();
    GDALDataset* copy = out->CreateCopy(tmpPath.c_str(), ds.get(), FALSE, options, nullptr, nullptr);
    CSLDestroy(options);
    if (!copy) throw ToolError(path + ": cannot write" + std::string(": ") + CPLGetLastErrorMsg());
    GDALClose(copy);
    for (auto const& entry : fs::directory_iterator(tmpDir)) {
      // GDAL's PNG side files (.aux.xml for the spatial reference) travel too.
      fs::rename(entry.path(), dir / entry.path().filename());
    }
  } catch (...) {
    cleanup();
    throw;
  }
  cleanup();
}

double OtsuThreshold(std::vector<double> const& values, double lo, double hi) {
  constexpr int kBins = 256;
  if (!(hi > lo)) return hi;
  std::vector<double> hist(kBins, 0.0);
  double const scale = (kBins - 1) / (hi - lo);
  for (double v : values)
    if (std::isfinite(v)) hist[static_cast<std::size_t>(std::clamp((v - lo) * scale, 0.0, double(kBins - 1)))] += 1;
  double total = 0, sumAll = 0;
  for (int i = 0; i < kBins; ++i) total += hist[i], sumAll += i * hist[i];
  double wB = 0, sumB = 0, best = -1;
  int bestBin = 0;
  for (int t = 0; t < kBins - 1; ++t) {
    wB += hist[t];
    sumB += t * hist[t];
    double const wF = total - wB;
    if (wB == 0 || wF == 0) continue;
    double const mB = sumB / wB, mF = (sumAll - sumB) / wF;
    double const between = wB * wF * (mB - mF) * (mB - mF);
    if (between > best) best = between, bestBin = t;
  }
  // Foreground is "value >= threshold": the edge just above the last
  // background bin.
  return lo + (bestBin + 1) / scale;
}

std::vector<unsigned char> RasterSource::Mask(MaskOptions const& o, double* thresholdUsed) const {
  std::size_t const n = static_cast<std::size_t>(m_width) * static_cast<std::size_t>(m_height);
  std::vector<unsigned char> mask(n, 0);
  auto readBand = [&](int b) {
    if (b < 1 || b > m_ds->GetRasterCount())
      throw ToolError(m_path + ": has no band " + std::to_string(b) + " (it has " +
                      std::to_string(m_ds->GetRasterCount()) + ")");
    std::vector<double> v(n);
    if (m_ds->GetRasterBand(b)->RasterIO(GF_Read, 0, 0, m_width, m_height, v.data(), m_width, m_height, GDT_Float64,
                                         0, 0) != CE_None)
      throw ToolError(m_path + ": cannot read band " + std::to_string(b));
    return v;
  };
  if (o.color) {
    std::vector<double> const r = readBand(1), g = readBand(2), b = readBand(3);
    auto const& c = *o.color;
    for (std::size_t i = 0; i < n; ++i)
      mask[i] = std::abs(r[i] - c[0]) <= o.colorTolerance && std::abs(g[i] - c[1]) <= o.colorTolerance &&
                std::abs(b[i] - c[2]) <= o.colorTolerance;
    if (thresholdUsed) *thresholdUsed = o.colorTolerance;
  } else {
    std::vector<double> const v = readBand(o.band);
    double threshold = 0;
    if (o.threshold) {
      threshold = *o.threshold;
    } else {
      auto const [mn, mx] = std::minmax_element(v.begin(), v.end());
      threshold = OtsuThreshold(v, *mn, *mx);
    }
    for (std::size_t i = 0; i < n; ++i) mask[i] = (v[i] >= threshold) != o.invert;
    if (thresholdUsed) *thresholdUsed = threshold;
  }
  return mask;
}

std::vector<std::vector<Ring>> OutlineRegions(std::vector<unsigned char> const& mask, int width, int height,
                                              bool eightConnected) {
  GDALDriver* mem = GetGDALDriverManager()->GetDriverByName("MEM");
  GDALDriver* memVec = GetGDALDriverManager()->GetDriverByName("Memory");
  if (!mem || !memVec) throw ToolError("GDAL lacks its in-memory drivers");
  std::unique_ptr<GDALDataset, void (*)(GDALDataset*)> ras(mem->Create("", width, height, 1, GDT_Byte, nullptr),
                                                            [](GDALDataset* d) { GDALClose(d); });
  GDALRasterBand* band = ras->GetRasterBand(1);
  if (band->RasterIO(GF_Write, 0, 0, width, height, const_cast<unsigned char*>(mask.data()), width, height, GDT_Byte,
                     0, 0) != CE_None)
    throw ToolError("cannot fill the in-memory mask");
  std::unique_ptr<GDALDataset, void (*)(GDALDataset*)> vec(memVec->Create("", 0, 0, 0, GDT_Unknown, nullptr),
                                                            [](GDALDataset* d) { GDALClose(d); });
  OGRLayer* layer = vec->CreateLayer("regions", nullptr, wkbPolygon, nullptr);
  OGRFieldDefn field("value", OFTInteger);
  layer->CreateField(&field);
  char** options = eightConnected ? CSLSetNameValue(nullptr, "8CONNECTED", "8") : nullptr;
  // The band is its own mask: only the 1s become polygons.
  CPLErr const err = GDALPolygonize(band, band, layer, 0, options, nullptr, nullptr);
  CSLDestroy(options);
  if (err != CE_None) throw ToolError("polygonising the mask failed");
  std::vector<std::vector<Ring>> out;
  layer->ResetReading();
  while (OGRFeature* f = layer->GetNextFeature()) {
    Geometry g = FromOGR(f->GetGeometryRef());
    OGRFeature::DestroyFeature(f);
    for (auto& part : g.parts) out.push_back(std::move(part));
  }
  return out;
}

}  // namespace kmath_tool
