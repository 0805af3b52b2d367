// Approximation, resampling, smoothing, curve analysis and the polyline
// model (positions along a polyline).
#include <math/kmath.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz_input.h"

namespace {

void Approximation(kfuzz::CInput& in, std::vector<CPointD> const& pts) {
  double const tolerance = in.Positive();
  double const chord = in.Positive();
  Math::CPolyApprox const approx(tolerance, chord);
  unsigned const n = static_cast<unsigned>(pts.size());

  std::vector<int> idx = {-7};
  bool const ok = approx.GetInflections(pts.data(), n, idx);
  std::vector<CPointD> poly = pts;
  KFUZZ_CHECK(approx(poly) == ok);
  if (n < 3 || !kfuzz::AllFinite(pts)) {
    KFUZZ_CHECK(!ok && idx.size() == 1 && idx[0] == -7);
  } else {
    // Kept indices run from 0 to n - 1, strictly increasing; a false result
    // with usable input only says that nothing was dropped.
    KFUZZ_CHECK(idx.size() >= 2 && idx.front() == 0 && idx.back() == static_cast<int>(n) - 1);
    for (std::size_t i = 1; i < idx.size(); ++i) KFUZZ_CHECK(idx[i - 1] < idx[i]);
    KFUZZ_CHECK(ok == (idx.size() + (kfuzz::Closed(pts) ? 1 : 0) < n));
  }
  if (ok) {
    KFUZZ_CHECK(poly.size() == idx.size());
    for (std::size_t i = 0; i < idx.size(); ++i)
      KFUZZ_CHECK(poly[i].x == pts[idx[i]].x && poly[i].y == pts[idx[i]].y);
  } else {
    KFUZZ_CHECK(kfuzz::SameBits(poly, pts));
  }

  std::vector<int> a, b;
  bool const ra = Math::PolyInflections(pts, tolerance, a);
  bool const rb = Math::PolyInflections(pts.data(), n, tolerance, b);
  KFUZZ_CHECK(ra == rb && a == b);

  if (n >= 2) {
    std::size_t const i = in.Count<std::size_t>(0, n - 1), j = in.Count<std::size_t>(0, n - 1);
    CPointD const* first = pts.data() + std::min(i, j);
    CPointD const* last = pts.data() + std::max(i, j);
    double dist = -7.0;
    CPointD const* far = approx.OutmostPoint(first, last, dist);
    KFUZZ_CHECK(far == last || (far > first && far < last));
    if (far == last) KFUZZ_CHECK(dist == 0.0);
  }
}

void Resampling(kfuzz::CInput& in, std::vector<CPointD> const& pts) {
  double const step = in.Positive();
  // The result's size is the caller's to foresee: skip steps that would make
  // more points than a fuzz run should spend time on.
  double parts = 0.0;
  for (std::size_t i = 1; i < pts.size(); ++i) {
    double const len = std::hypot(pts[i].x - pts[i - 1].x, pts[i].y - pts[i - 1].y);
    if (std::isfinite(len) && step > 0.0) parts += std::ceil(len / step);
  }
  if (parts < 100000.0) {
    std::vector<CPointD> poly = pts;
    Math::PolyResample(poly, step);
    KFUZZ_CHECK(poly.size() >= pts.size());
    if (poly.size() > pts.size()) {
      KFUZZ_CHECK(poly.front().x == pts.front().x && poly.back().y == pts.back().y);
      // Every piece is at most a step long (rounding of the interpolation
      // aside), and the vertices are all still there, in order.
      std::size_t k = 0;
      for (std::size_t i = 0; i < poly.size(); ++i) {
        if (k < pts.size() && poly[i].x == pts[k].x && poly[i].y == pts[k].y) ++k;
        if (i > 0 && kfuzz::Magnitude(pts) < 1e150) {
          double const len = std::hypot(poly[i].x - poly[i - 1].x, poly[i].y - poly[i - 1].y);
          KFUZZ_CHECK(len <= step * (1 + 1e-9) + 1e-9 * kfuzz::Magnitude(pts));
        }
      }
      KFUZZ_CHECK(k == pts.size());
    } else {
      KFUZZ_CHECK(kfuzz::SameBits(poly, pts));
    }
  }

  std::vector<CPointD> smooth = pts;
  Math::GaussSmoothing(smooth);
  KFUZZ_CHECK(smooth.size() == pts.size());

  std::vector<CPointD> ring = pts;
  unsigned const k = in.Count<unsigned>(0, static_cast<unsigned>(pts.size()) + 1);
  Math::ReconnectPoly(ring, k);
  KFUZZ_CHECK(ring.size() == pts.size());
  if (!kfuzz::SameBits(ring, pts)) {
    KFUZZ_CHECK(kfuzz::SameBits(ring.front(), pts[k]) && kfuzz::SameBits(ring.back(), pts[k]));
  }
}

void Model(kfuzz::CInput& in, std::vector<CPointD> const& pts) {
  int const n = static_cast<int>(pts.size());
  Math::poly_hit hit(in.Count<int>(-1, n), in.Number());
  Math::poly_hit const to(in.Count<int>(-1, n), in.Number());
  bool const valid = Math::IsValidHit(pts, hit);
  CPointD const at = Math::PointAt(pts, hit);
  if (!valid) KFUZZ_CHECK(std::isnan(at.x) && std::isnan(at.y));

  Math::poly_hit moved = hit;
  double const dist = in.Number();
  double const travelled = Math::MoveAlong(pts, moved, dist, in.Flag());
  if (valid && !std::isnan(dist)) {
    KFUZZ_CHECK(Math::IsValidHit(pts, moved));
    KFUZZ_CHECK(moved.param >= 0.0 && moved.param < 1.0);
    if (std::isfinite(travelled) && std::isfinite(dist))
      KFUZZ_CHECK(std::fabs(travelled) <= std::fabs(dist) * (1 + 1e-9) + 1e-300);
  } else {
    KFUZZ_CHECK(std::isnan(travelled) && moved.index == hit.index);
  }

  std::vector<CPointD> cut = {CPointD{-7.0, -7.0}};
  if (Math::CutBetween(pts, hit, to, cut)) {
    KFUZZ_CHECK(!cut.empty() && cut.size() <= pts.size() + 2);
  } else {
    KFUZZ_CHECK(cut.size() == 1 && cut[0].x == -7.0);
  }
}

void Curves(kfuzz::CInput& in, std::vector<CPointD> const& pts) {
  Math::poly_base<CPointD> const poly(pts);
  unsigned const degree = in.Count<unsigned>(0, 8);
  Math::CCurveInfo const direct(poly, in.Number(), degree, in.Number());
  if (direct.IsValid()) {
    (void)direct.Tangent();
    (void)direct.Direction();
    (void)direct.Curvature();
    (void)direct.TanVector(in.Number());
  } else {
    KFUZZ_CHECK(direct.Polynom().empty() && direct.RegLine().empty() && direct.Params().empty());
    (void)direct.Curvature();
  }

  bool const kink = in.Flag();
  if (kink) Math::CCurveInfo::SetKinkParms(in.Number(), in.Number());
  // CurveInfo resamples its stretch at step 1, so the length is kept to what
  // a run can afford: an unbounded length is a known fault of CurveInfo,
  // fixed separately.
  double const length = in.Moderate(4096.0);
  Math::poly_hit const hit(in.Count<int>(-1, static_cast<int>(pts.size())), in.Number());
  Math::CCurveInfo const info = Math::CurveInfo(poly, hit, length, in.Flag(), degree);
  if (!Math::IsValidHit(pts, hit) || !(length >= 0.0)) KFUZZ_CHECK(!info.IsValid());
  (void)info.Tangent();
  (void)info.Curvature();
  if (kink) Math::CCurveInfo::SetKinkParms(2.0, M_PI / 3);

  unsigned const span = in.Count<unsigned>(0, 4096);
  double const dirLength = in.Number(), dirTolerance = in.Positive();
  unsigned const n = static_cast<unsigned>(pts.size());
  CPointD const s = Math::PolyStartingDir(pts.data(), n, span, dirLength, dirTolerance);
  CPointD const e = Math::PolyEndingDir(pts.data(), n, span, dirLength, dirTolerance);
  if (std::min(n, span) < 2) KFUZZ_CHECK(s.x == 0.0 && s.y == 0.0 && e.x == 0.0 && e.y == 0.0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  kfuzz::CInput in(data, size);
  // Up to 1024 vertices: approximation with a chord limit is quadratic on
  // long nearly straight lines (a known fault of PolyApprox, fixed
  // separately), and longer lines find nothing shorter ones do not.
  std::vector<CPointD> const pts = in.Points(1024);
  Approximation(in, pts);
  Resampling(in, pts);
  Model(in, pts);
  Curves(in, pts);
  return 0;
}
