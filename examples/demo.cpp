// What Kmath finds on a traced outline: convex hull, least-squares line and
// its error, median segment length, the thinned outline and, for a closed
// outline, the best-fitting circle. Usage: kmath_demo [file.xy ...]
// (default: the bundled horse silhouette).
#include <math/kmath.h>

#include <cmath>
#include <cstdio>
#include <exception>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include "xy_reader.h"

namespace {

double RingArea(std::vector<CPointD> const& ring) {
  double twice = 0.0;
  for (size_t i = 0; i + 1 < ring.size(); ++i) twice += ring[i].x * ring[i + 1].y - ring[i + 1].x * ring[i].y;
  return 0.5 * twice;
}

void Describe(std::string const& label, std::vector<CPointD> const& outline) {
  std::printf("%s: %zu vertices\n", label.c_str(), outline.size());

  std::vector<CPointD> hull = outline;
  Math::ConvexHull(hull);
  std::printf("  convex hull: %zu vertices (closed), area %.1f\n", hull.size(), std::abs(RingArea(hull)));

  Math::CPtStat stat(outline.data(), static_cast<int>(outline.size()));
  double err = 0.0;
  Math::CLine const line = Math::MakeLine(stat, &err);
  if (line.Valid()) {
    double const deg = std::atan2(line.Vector().y, line.Vector().x) * 180.0 / M_PI;
    std::printf("  least-squares line: %.4f x + %.4f y = %.2f (direction %.1f deg), rms error %.3f\n", line.cosP(),
                line.sinP(), line.rho(), deg, err);
  } else {
    std::printf("  least-squares line: none (no main direction)\n");
  }

  std::vector<double> lengths;
  for (size_t i = 0; i + 1 < outline.size(); ++i)
    lengths.push_back(std::hypot(outline[i + 1].x - outline[i].x, outline[i + 1].y - outline[i].y));
  if (!lengths.empty())
    std::printf("  median segment length: %.4f\n",
                Math::CalcMedian(lengths.data(), static_cast<unsigned>(lengths.size())));

  // One pixel of deviation is what a traced raster step can carry.
  std::vector<CPointD> thinned = outline;
  Math::PolyApprox(thinned, 1.0, std::numeric_limits<double>::max());
  std::printf("  thinned within 1 px: %zu vertices\n", thinned.size());

  Math::CCircleReduce::CResult const circle = Math::CCircleReduce(Math::poly_base<CPointD>(outline));
  if (circle.bValid) {
    CPointD const c = circle.ptCenter;
    double const r = circle.dRadius;
    double const dev = circle.dDeviation;
    std::printf("  fitted circle: centre (%.2f, %.2f), radius %.2f, rms deviation %.3f\n", c.x, c.y, r, dev);
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> files;
  for (int i = 1; i < argc; ++i) files.push_back(argv[i]);
  if (files.empty()) files.push_back(kmath_test::DataPath("horse_chain.xy"));

  for (auto const& file : files) {
    try {
      std::ifstream in(file);
      if (!in) throw std::runtime_error("cannot open " + file);
      auto const blocks = kmath_test::ReadXY(in);
      if (blocks.empty()) throw std::runtime_error(file + " holds no polyline");
      size_t largest = 0;
      for (size_t i = 1; i < blocks.size(); ++i)
        if (blocks[i].pts.size() > blocks[largest].pts.size()) largest = i;
      std::printf("== %s (%zu blocks; the largest, block %zu) ==\n", file.c_str(), blocks.size(), largest);
      Describe("outline", blocks[largest].pts);
    } catch (std::exception const& e) {
      std::fprintf(stderr, "kmath_demo: %s\n", e.what());
      return 1;
    }
  }
  return 0;
}
