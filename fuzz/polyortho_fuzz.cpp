// Squaring of right-angled outlines: the dominant direction, the one-pass
// squaring and the iterating squarer.
#include <math/kmath.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  kfuzz::CInput in(data, size);
  std::vector<CPointD> const pts = in.Points(96);
  auto const n = static_cast<unsigned>(pts.size());

  double angle = 0.0;
  kfuzz::Dump("dir", pts);
  if (Math::PolyOrthoDir(pts.data(), n, angle)) {
    kfuzz::Dump("angle", {CPointD{angle, 0.0}});
    // The two-point case returns the segment's own atan2, not reduced.
    KFUZZ_CHECK(angle >= -M_PI && angle <= M_PI);
  } else {
    KFUZZ_CHECK(std::isnan(angle));
  }

  std::vector<CPointD> poly = pts;
  double const given = in.Number();
  double dir = given;
  bool const preset = in.Flag();
  double const tolerance = in.Positive();
  double const second = in.Number();
  bool const keepFirst = in.Flag(), keepLast = in.Flag();
  if (!Math::PolyOrtho(poly, tolerance, second, keepFirst, keepLast, preset ? &dir : nullptr)) {
    KFUZZ_CHECK(kfuzz::SameBits(poly, pts));
    KFUZZ_CHECK(std::memcmp(&dir, &given, sizeof dir) == 0);
  } else {
    KFUZZ_CHECK(poly.size() >= 2);
  }

  // The squarer: accepted outlines are closed and turn by a right angle at
  // every corner; refusals leave the outline alone.
  double const ratio = std::fmod(std::fabs(in.Moderate(1.0)), 1.0);
  double const minSide = in.Moderate(1e4);
  Math::CPolyOrtho::CParams params(ratio, minSide);
  params.nCorners = in.Count<std::uint32_t>(4, 16);
  params.nDeviation = in.Count<std::uint32_t>(0, 1);
  params.bFixedStart = in.Flag();
  if (in.Flag()) params.baseDir = in.Point();
  kfuzz::Dump("params", {CPointD{ratio, minSide}, CPointD{double(params.nCorners), double(params.nDeviation)},
                         CPointD{double(params.bFixedStart), 0.0}, params.baseDir});
  std::vector<CPointD> outline = pts;
  std::vector<std::vector<CPointD>> variants;
  Math::CPolyOrtho squarer(params);
  if (!squarer(outline, variants)) {
    KFUZZ_CHECK(kfuzz::SameBits(outline, pts));
  } else {
    kfuzz::Dump("in", pts);
    kfuzz::Dump("out", outline);
    KFUZZ_CHECK(outline.size() >= 5 && outline.front().x == outline.back().x && outline.front().y == outline.back().y);
    KFUZZ_CHECK(outline.size() - 1 <= params.nCorners);
    for (std::size_t i = 1; i + 1 < outline.size() + 1; ++i) {
      CPointD const a = outline[i] - outline[i - 1];
      CPointD const b = (i + 1 < outline.size() ? outline[i + 1] : outline[1]) - outline[i];
      double const la = std::hypot(a.x, a.y), lb = std::hypot(b.x, b.y);
      KFUZZ_CHECK(std::fabs(a.x * b.x + a.y * b.y) <= 1e-6 * la * lb);
    }
  }
  return 0;
}
