// Prints the quality figures of the centre lines of a traced drawing
// against the skeleton of the same raster: per-stroke Hausdorff distance
// (median, 95th percentile), coverage, vertex ratio, and the time taken.
//   centerline_figures [crack.xy centerlines.xy [prune tolerance [out.xy]]]
// With out.xy the centre lines are written there as XY blocks, one per line.
#include <math/centerline.h>

#include <chrono>
#include <ctime>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "centerline_metrics.h"
#include "xy_reader.h"

int main(int argc, char** argv) {
  std::string const crack = argc > 2 ? argv[1] : "ccitt2_crack.xy";
  std::string const skel = argc > 2 ? argv[2] : "ccitt2_centerlines.xy";
  double const prune = argc > 4 ? std::atof(argv[3]) : 4.0;
  double const tol = argc > 4 ? std::atof(argv[4]) : 0.5;
  CStdPlgn const plg = kmath_test::OutlinePolygon(kmath_test::LoadPolylines(crack));
  auto const skeleton = kmath_test::ShiftHalfPixel(kmath_test::LoadPolylines(skel));

  std::vector<Math::CCenterLine> lines;
  auto const t0 = std::chrono::steady_clock::now();
  std::clock_t const c0 = std::clock();
  bool const ok = Math::CenterLines(plg, prune, tol, lines, true);
  double const cpu = double(std::clock() - c0) / CLOCKS_PER_SEC;
  double const secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  if (!ok) {
    std::fprintf(stderr, "CenterLines failed\n");
    return 1;
  }
  if (argc > 5) {
    if (FILE* out = std::fopen(argv[5], "w")) {
      for (auto const& l : lines) {
        for (CPointD const& p : l.pts) std::fprintf(out, "%.17g %.17g\n", p.x, p.y);
        std::fprintf(out, "\n");
      }
      std::fclose(out);
    }
  }
  kmath_test::CenterlineFigures const f = kmath_test::MeasureCenterlines(lines, skeleton);
  std::printf("outlines: %s (%zu rings), skeleton: %s (%zu lines)\n", crack.c_str(), plg.size(), skel.c_str(),
              skeleton.size());
  std::printf("prune %.2f px, tolerance %.2f px: %zu centre lines in %.3f s (CPU %.3f s)\n", prune, tol, f.lines, secs,
              cpu);
  std::printf("Hausdorff per line to the skeleton: median %.4f px, 95th percentile %.4f px\n", f.medianHausdorff,
              f.p95Hausdorff);
  std::printf("coverage (skeleton vertices > 2 px from a stroke end within 1.5 px): %.4f\n", f.coverage);
  std::printf("vertices: %zu of the skeleton's %zu (ratio %.4f)\n", f.lineVertices, f.skeletonVertices,
              double(f.lineVertices) / double(f.skeletonVertices));
  return 0;
}
