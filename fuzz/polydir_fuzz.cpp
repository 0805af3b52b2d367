// Directions of polylines, their generalisation into straight runs, and the
// deviation profile of one polyline against another.
#include <math/kmath.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  kfuzz::CInput in(data, size);
  std::vector<CPointD> const pts = in.Points(128);
  std::vector<CPointD> const ref = in.Points(64);
  auto const n = static_cast<unsigned>(pts.size());
  bool const finite = kfuzz::AllFinite(pts);

  double const d = in.Number();
  double const base = Math::PolyBaseDir(pts.data(), n, d);
  if (!finite || n < 2 || !(d > 0.0 && d <= M_PI / 4)) KFUZZ_CHECK(std::isnan(base));
  if (!std::isnan(base)) KFUZZ_CHECK(base >= 0.0 && base < M_PI / 2);

  std::vector<std::pair<CPointD, double>> clusters{{CPointD{2, 3}, -7.0}};
  double const dc = in.Number();
  Math::PolyDirClusters(pts.data(), n, clusters, dc);
  bool const refused = clusters.size() == 1 && clusters[0].second == -7.0;
  if (!finite || n < 2 || !(dc > 0.0 && dc <= M_PI / 2)) KFUZZ_CHECK(refused);
  if (!refused) {
    double sum = 0.0;
    for (std::size_t i = 0; i < clusters.size(); ++i) {
      CPointD const u = clusters[i].first;
      double const angle = std::atan2(u.y, u.x);
      KFUZZ_CHECK(std::fabs(std::hypot(u.x, u.y) - 1.0) < 1e-9);
      KFUZZ_CHECK(angle >= -1e-12 && angle < M_PI + 1e-12);
      KFUZZ_CHECK(clusters[i].second > 0.0);
      if (i > 0) KFUZZ_CHECK(clusters[i].second <= clusters[i - 1].second);
      sum += clusters[i].second;
    }
    KFUZZ_CHECK(std::fabs(sum - 1.0) < 1e-9);
  }

  double const tol = in.Number(), minRun = in.Number();
  bool const closed = in.Flag(), keepEnds = in.Flag();
  std::vector<CPointD> poly = pts;
  if (!Math::PolyBroken(poly, tol, minRun, closed, keepEnds)) {
    KFUZZ_CHECK(kfuzz::SameBits(poly, pts));
  } else {
    KFUZZ_CHECK(kfuzz::AllFinite(poly) && !kfuzz::SameBits(poly, pts));
    if (closed) KFUZZ_CHECK(poly.size() >= 4 && kfuzz::SameBits(poly.front(), poly.back()));
    else if (keepEnds) KFUZZ_CHECK(kfuzz::SameBits(poly.front(), pts.front()) && kfuzz::SameBits(poly.back(), pts.back()));
  }
  poly = pts;
  if (!Math::PolyBroken2(poly, tol, closed, keepEnds)) KFUZZ_CHECK(kfuzz::SameBits(poly, pts));

  kfuzz::Dump("a", pts);
  kfuzz::Dump("b", ref);
  std::vector<CPointD> const profile = Math::PolyDistances(pts, ref);
  if (pts.empty() || ref.empty() || !kfuzz::AllFinite(ref)) {
    KFUZZ_CHECK(profile.empty());
  } else {
    KFUZZ_CHECK(profile.size() == pts.size());
    double const total = kfuzz::Length(ref);
    for (std::size_t i = 0; i < pts.size(); ++i) {
      if (!kfuzz::Finite(pts[i])) {
        KFUZZ_CHECK(std::isnan(profile[i].x) && std::isnan(profile[i].y));
      } else if (std::isfinite(total) && kfuzz::Magnitude(ref) < 1e100 && kfuzz::Magnitude(pts) < 1e100) {
        KFUZZ_CHECK(profile[i].x >= 0.0 && profile[i].x <= total * (1 + 1e-12) + 1e-300);
        // No nearer point than a vertex of the reference.
        double nearest = INFINITY;
        for (CPointD const& q : ref) nearest = std::fmin(nearest, std::hypot(pts[i].x - q.x, pts[i].y - q.y));
        KFUZZ_CHECK(std::fabs(profile[i].y) <= nearest * (1 + 1e-12));
      }
    }
  }
  return 0;
}
