// Reader for data/georef_geotiffs.txt: per image the world-file record (as
// numbers and as the text tokens, to check written-back records) and a 5 x 5
// grid of pixel-corner positions with their projected and WGS 84 coordinates.
#pragma once

#include <math/affine.h>

#include <xy_reader.h>

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace kmath_test {

struct GeorefRow {
  CPointD pixel;      // col, row (corner coordinates, 0,0 = top-left corner)
  CPointD projected;  // X, Y in the image's CRS
  CPointD lonlat;     // WGS 84 degrees
};

struct GeorefImage {
  std::string header;              // the "# image=..." line
  Math::CTfwInfo tfw{};            // A D B E C F
  std::vector<std::string> tokens; // the six numbers exactly as written
  std::vector<GeorefRow> rows;
};

inline std::vector<GeorefImage> LoadGeoref() {
  std::string const path = DataPath("georef_geotiffs.txt");
  std::ifstream in(path);
  if (!in) throw std::runtime_error("cannot open " + path);
  std::vector<GeorefImage> out;
  std::string line;
  while (std::getline(in, line)) {
    if (line.empty()) continue;
    if (line[0] == '#') {
      if (line.rfind("# image=", 0) == 0) {
        out.emplace_back();
        out.back().header = line;
      }
      continue;
    }
    if (out.empty()) throw std::runtime_error("data before the first image: " + line);
    std::istringstream s(line);
    GeorefImage& img = out.back();
    if (line.rfind("tfw ", 0) == 0) {
      std::string word;
      s >> word;
      img.tokens.assign(6, "");
      for (auto& t : img.tokens) s >> t;
      double* f[6] = {&img.tfw.A, &img.tfw.D, &img.tfw.B, &img.tfw.E, &img.tfw.C, &img.tfw.F};
      for (int i = 0; i < 6; ++i) *f[i] = std::stod(img.tokens[i]);
      continue;
    }
    GeorefRow r{};
    if (!(s >> r.pixel.x >> r.pixel.y >> r.projected.x >> r.projected.y >> r.lonlat.x >> r.lonlat.y))
      throw std::runtime_error("bad georef row: " + line);
    img.rows.push_back(r);
  }
  return out;
}

}  // namespace kmath_test
