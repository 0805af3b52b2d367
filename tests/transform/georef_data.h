// Reader for data/georef_geotiffs.txt (per image the world-file line and a
// 5 x 5 grid of pixel corners with their projected and WGS 84 coordinates),
// and the grid helpers both test files share.
#pragma once

#include <math/affine.h>

#include <xy_reader.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace kmath_test {

using Math::CRefPoint;

struct GeorefRow {
  CPointD pixel, projected, lonlat;
};  // pixel corners: (0, 0) = top-left corner

// header and tfwLine: the "# image=..." and "tfw A D B E C F" lines as written.
struct GeorefImage {
  std::string header, tfwLine;
  Math::CTfwInfo tfw;
  std::vector<GeorefRow> rows;
};

// Malformed rows are dropped and a missing file gives no images: the
// callers' counts catch both.
inline std::vector<GeorefImage> LoadGeoref() {
  std::ifstream in(DataPath("georef_geotiffs.txt"));
  std::vector<GeorefImage> out;
  std::string line, word;
  while (std::getline(in, line)) {
    std::istringstream s(line);
    GeorefRow r{};
    if (line.rfind("# image=", 0) == 0) out.push_back({line, "", {}, {}});
    if (line.empty() || line[0] == '#' || out.empty()) continue;
    Math::CTfwInfo& t = out.back().tfw;
    if (line.rfind("tfw ", 0) == 0 && s >> word >> t.A >> t.D >> t.B >> t.E >> t.C >> t.F)
      out.back().tfwLine = line;
    else if (s >> r.pixel.x >> r.pixel.y >> r.projected.x >> r.projected.y >> r.lonlat.x >> r.lonlat.y)
      out.back().rows.push_back(r);
  }
  return out;
}

inline double Dist(CPointD const& a, CPointD const& b) { return std::hypot(a.x - b.x, a.y - b.y); }

// nx * ny points over [0, w] x [0, h], row by row.
inline std::vector<CPointD> PixelGrid(double w, double h, int nx, int ny) {
  std::vector<CPointD> g;
  for (int k = 0; k < nx * ny; ++k) g.push_back({w * (k % nx) / (nx - 1), h * (k / nx) / (ny - 1)});
  return g;
}

// The largest err(p) over the points; a NaN sticks.
template <class Pts, class Err>
double Worst(Pts const& pts, Err err) {
  double w = 0;
  for (auto const& p : pts) w = std::isnan(w) ? w : std::max(err(p), w);
  return w;
}

// Reference pairs (p, map(p)) over the points.
template <class Map>
std::vector<CRefPoint> Pairs(std::vector<CPointD> const& pts, Map map) {
  std::vector<CRefPoint> r;
  for (auto const& p : pts) r.push_back({p, map(p)});
  return r;
}

template <class V>
unsigned N(V const& v) {
  return static_cast<unsigned>(v.size());
}

}  // namespace kmath_test
