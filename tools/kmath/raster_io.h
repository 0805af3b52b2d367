// Raster input for tracing: one band (or a colour match) thresholded into a
// 0/1 mask, its regions turned into pixel-boundary outlines, and the
// raster's georeferencing.
#pragma once

#include <gdal_priv.h>

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "geometry.h"

namespace kmath_tool {

struct MaskOptions {
  int band = 1;                                // 1-based
  std::optional<double> threshold;             // foreground: value >= threshold (Otsu when unset)
  bool invert = false;                         // foreground: value < threshold
  std::optional<std::array<double, 3>> color;  // foreground: RGB within colorTolerance (bands 1-3)
  double colorTolerance = 8.0;
};

class RasterSource {
 public:
  // Throws ToolError naming the file.
  explicit RasterSource(std::string const& path);
  ~RasterSource();
  RasterSource(RasterSource const&) = delete;
  RasterSource& operator=(RasterSource const&) = delete;

  int Width() const { return m_width; }
  int Height() const { return m_height; }
  // Pixel-corner coordinates (x = column, y = row, down) to world; the
  // identity when the raster has no georeferencing (HasGeoTransform false).
  CPointD ToWorld(CPointD const& px) const;
  bool HasGeoTransform() const { return m_hasGt; }
  // Length of one pixel side in world units (the mean of both axes).
  double PixelSize() const;
  OGRSpatialReference const* SpatialRef() const { return m_ds->GetSpatialRef(); }
  std::string const& Path() const { return m_path; }

  // The 0/1 mask and the threshold used (Otsu's when none was given).
  std::vector<unsigned char> Mask(MaskOptions const& o, double* thresholdUsed) const;

 private:
  std::string m_path;
  GDALDataset* m_ds = nullptr;
  int m_width = 0, m_height = 0;
  double m_gt[6] = {0, 1, 0, 0, 0, 1};
  bool m_hasGt = false;
};

// Writes a one-band 8-bit raster (format from the extension: .tif GeoTIFF,
// .png PNG with a world file) through a temporary file beside the target,
// renamed on success. gt is GDAL's geotransform.
void WriteByteRaster(std::string const& path, std::vector<unsigned char> const& pixels, int width, int height,
                     double const gt[6], OGRSpatialReference const* srs);

// Otsu's threshold of 8-bit-binned values: the bin edge that maximises the
// between-class variance.
double OtsuThreshold(std::vector<double> const& values, double lo, double hi);

// Outlines of the 4-connected (or, with eightConnected, 8-connected)
// regions of 1s in a width x height mask, in pixel-corner coordinates:
// each part is an outer ring and its holes, closed.
std::vector<std::vector<Ring>> OutlineRegions(std::vector<unsigned char> const& mask, int width, int height,
                                              bool eightConnected);

}  // namespace kmath_tool
