// A picture of what tracing makes of a round shape: the pixel-boundary
// outline of the roundest coin in the bundled coins photograph, the outline
// thinned to its characteristic points, and the circle fitted to it, drawn
// into one SVG. Usage: kmath_traced_outline_svg [out.svg [file.xy]]
// (default: traced_outline.svg from coins_crack.xy).
#include <math/kmath.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "xy_reader.h"

int main(int argc, char** argv) {
  std::string const out = argc > 1 ? argv[1] : "traced_outline.svg";
  std::string const file = argc > 2 ? argv[2] : kmath_test::DataPath("coins_crack.xy");
  std::vector<std::vector<CPointD>> rings;
  try {
    rings = kmath_test::LoadPolylines(file.substr(file.find_last_of('/') + 1));
  } catch (std::exception const& e) {
    std::fprintf(stderr, "%s\n", e.what());
    return 1;
  }
  if (rings.empty()) return 1;
  // The roundest sizeable closed outline: the smallest deviation from its
  // fitted circle for its radius (the thresholded photograph also holds the
  // frame and blobs of background).
  std::vector<CPointD> traced;
  Math::CCircleReduce::CResult fit{};
  double best = 1e300;
  for (auto const& r : rings) {
    if (r.size() < 100 || r.front().x != r.back().x || r.front().y != r.back().y) continue;
    Math::CCircleReduce::CResult const f = Math::CCircleReduce(Math::poly_base<CPointD>(r));
    double const dev = f.dDeviation, rad = f.dRadius;
    if (f.bValid && rad > 0.0 && dev / rad < best) {
      best = dev / rad;
      traced = r;
      fit = f;
    }
  }
  if (traced.empty()) {
    std::fprintf(stderr, "no closed outline of 100 vertices or more in %s\n", file.c_str());
    return 1;
  }

  std::vector<CPointD> reduced = traced;
  Math::PolyApprox(reduced, 1.0, 1e300);

  CRectD box{traced[0].x, traced[0].y, traced[0].x, traced[0].y};
  for (CPointD const& p : traced)
    box = {std::min(box.left, p.x), std::min(box.top, p.y), std::max(box.right, p.x), std::max(box.bottom, p.y)};

  Math::CSvgDevice svg(out, 900, 900);
  Math::CDebugDC dc(svg);
  // Image coordinates: y runs down, as in the picture the outline came from.
  dc.FitToBox(box, 900, 900, 40, false);

  dc.BeginLayer("traced");
  dc.SelectObject(Math::CDebugPen{{150, 150, 150}, 1.0});
  dc.Polyline(traced);
  dc.EndLayer();

  dc.BeginLayer("reduced");
  dc.SelectObject(Math::CDebugPen{{30, 80, 220}, 2.0});
  dc.Polyline(reduced);
  dc.Points(reduced, 3.0);
  dc.EndLayer();

  if (fit.bValid) {
    CPointD const centre = fit.ptCenter;
    double const radius = fit.dRadius;
    dc.BeginLayer("circle");
    dc.SelectObject(Math::CDebugPen{{220, 30, 30}, 2.0, Math::EDebugDash::Dash});
    dc.Circle(centre, radius);
    dc.Point(centre, 4.0);
    char label[128];
    std::snprintf(label, sizeof label, "r = %.2f px, rms deviation %.2f px", radius, double{fit.dDeviation});
    dc.Text(centre + CPointD{-0.6 * radius, 0.2 * radius}, label, 18.0);
    dc.EndLayer();
  }

  dc.SetTransform(1.0, 1.0, {0.0, 0.0});
  dc.BeginLayer("legend");
  char line[128];
  std::snprintf(line, sizeof line, "traced: %zu vertices", traced.size());
  dc.SelectObject(Math::CDebugPen{{110, 110, 110}, 1.0});
  dc.Text({12, 24}, line, 16.0);
  std::snprintf(line, sizeof line, "reduced at 1 px: %zu vertices", reduced.size());
  dc.SelectObject(Math::CDebugPen{{30, 80, 220}, 1.0});
  dc.Text({12, 44}, line, 16.0);
  dc.SelectObject(Math::CDebugPen{{220, 30, 30}, 1.0});
  dc.Text({12, 64}, "fitted circle", 16.0);
  dc.EndLayer();

  if (!svg.Close()) {
    std::fprintf(stderr, "could not write %s\n", out.c_str());
    return 1;
  }
  std::printf("wrote %s\n", out.c_str());
  return 0;
}
