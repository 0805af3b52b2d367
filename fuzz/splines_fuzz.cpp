// Interpolating splines and their densifications, dynamic time warping and
// the winding factor.
#include <math/kmath.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz_input.h"

namespace {

// Densification keeps every vertex where it was, in order.
bool KeepsVertices(std::vector<CPointD> const& out, std::vector<CPointD> const& in) {
  std::size_t j = 0;
  for (CPointD const& p : out)
    if (j < in.size() && kfuzz::SameBits(p, in[j])) ++j;
  return j == in.size() && kfuzz::SameBits(out.front(), in.front()) && kfuzz::SameBits(out.back(), in.back());
}

// A step or tolerance, raised so that a densification stays within a few
// thousand points: the caller chooses these and can foresee the size.
double Bounded(double v, double length) {
  double const floor = length / 2048.0 + 1e-9;
  return std::isnan(v) || v <= 0.0 ? v : std::fmax(v, floor);
}

void Splines(kfuzz::CInput& in, std::vector<CPointD> const& pts) {
  CPointD const tangent = in.Point();
  bool const withTangent = in.Flag();
  Math::CSpline spline;
  if (spline.Create(pts, withTangent ? &tangent : nullptr)) {
    KFUZZ_CHECK(kfuzz::SameBits(spline.points, pts) && spline.slopes.size() == pts.size());
    KFUZZ_CHECK(spline.Count() + 1 == pts.size() && spline.Points(spline.Count()) == nullptr);
  } else {
    KFUZZ_CHECK(spline.points.empty() && spline.slopes.empty() && spline.Count() == 0);
  }

  double const mag = kfuzz::Magnitude(pts);
  double const length = kfuzz::Length(pts);
  bool const moderate = mag < 1e6;

  int const k = in.Count<int>(-1, 8);
  std::vector<CPointD> dense = pts;
  int const rk = Math::ReduceToSpline(dense, k);
  if (rk != 1) {
    KFUZZ_CHECK(kfuzz::SameBits(dense, pts));
  } else {
    KFUZZ_CHECK(dense.size() == pts.size() + (pts.size() - 1) * static_cast<std::size_t>(k));
    for (std::size_t i = 0; i < pts.size(); ++i) KFUZZ_CHECK(kfuzz::SameBits(dense[i * (k + 1)], pts[i]));
  }

  if (moderate) {
    dense = pts;
    int const rt = Math::ReduceToSpline(dense, Bounded(in.Number(), length + mag));
    if (rt != 1) KFUZZ_CHECK(kfuzz::SameBits(dense, pts));
    else KFUZZ_CHECK(KeepsVertices(dense, pts));

    dense = pts;
    CPointD const* t = in.Flag() ? &tangent : nullptr;
    int const rs = Math::SplineSmoothing(dense, Bounded(in.Number(), length), t);
    if (rs != 1) KFUZZ_CHECK(kfuzz::SameBits(dense, pts));
    else KFUZZ_CHECK(KeepsVertices(dense, pts));
  }

  for (unsigned i = 0; i < spline.Count() && i < 4; ++i) {
    Math::CSplineItem const item = spline.Item(i);
    std::vector<double> params;
    if (moderate) {
      double const tol = Bounded(in.Number(), mag);
      int const c = item.GetParams(params, tol > 0.0 ? tol : 1.0);
      KFUZZ_CHECK(c >= 2 && static_cast<std::size_t>(c) == params.size());
      KFUZZ_CHECK(params.front() == 0.0 && params.back() == 1.0);
      for (std::size_t j = 1; j < params.size(); ++j) KFUZZ_CHECK(params[j] > params[j - 1]);
    }
    double const t0 = in.Number(), t1 = in.Number();
    double const dev = item.Deviation(t0, t1);
    KFUZZ_CHECK(std::isnan(dev) || dev >= 0.0);
    if (moderate) {
      std::vector<CPointD> curve{CPointD{7, 7}};
      std::vector<CPointD> const sentinel = curve;
      double const step = in.Number();
      CPointD const chord = item.Value(1.0) - item.Value(0.0);
      double const len = std::hypot(chord.x, chord.y);
      kfuzz::Dump("step,len", {CPointD{step, len}});
      item.BuildCurve(curve, Bounded(step, len));
      kfuzz::Dump("curve", curve);
      // A degenerate chord empties the output before the step is looked at.
      if (!(len >= 1e-12)) KFUZZ_CHECK(curve.empty());
      else if (!(step > 0.0)) KFUZZ_CHECK(kfuzz::SameBits(curve, sentinel));
      else if (curve.size() >= 2)
        KFUZZ_CHECK(kfuzz::SameBits(curve.front(), item.Value(0.0)) && kfuzz::SameBits(curve.back(), item.Value(1.0)));
    }
  }
}

bool ValidHit(Math::poly_hit const& h, std::size_t n) { return h.index >= 0 && static_cast<std::size_t>(h.index) < n; }

void Warping(kfuzz::CInput& in, std::vector<CPointD> const& a, std::vector<CPointD> const& b) {
  double step = in.Number();
  // Resampling below this step would make the cost matrix larger than the
  // inputs allow the caller to expect.
  double const floor = (kfuzz::Length(a) + kfuzz::Length(b)) / 128.0;
  if (step >= 1e-12 && step < floor) step = floor;
  Math::CDTWParams const params(in.Flag(), step, in.Flag());
  Math::poly_hit const b0{in.Count<int>(-1, 70), in.Number()};
  Math::poly_hit const b1{in.Count<int>(-1, 70), in.Number()};
  Math::CDTWPoly const sa(a);
  Math::CDTWPoly const sb(b, b0, b1);
  std::vector<std::pair<Math::poly_hit, Math::poly_hit>> pairs{{{1, 0.5}, {1, 0.5}}};
  if (!std::isfinite(kfuzz::Length(a)) || !std::isfinite(kfuzz::Length(b))) return;
  Math::DTWMatch(sa, sb, pairs, params);
  for (auto const& pr : pairs) KFUZZ_CHECK(ValidHit(pr.first, a.size()) && ValidHit(pr.second, b.size()));
  if (a.empty() || b.empty()) KFUZZ_CHECK(pairs.empty());
  for (Math::poly_hit const& h : sb.Hits()) KFUZZ_CHECK(ValidHit(h, b.size()));

  Math::CPolyWinding const winding(a);
  KFUZZ_CHECK(winding.lengths.size() == a.size());
  std::vector<double> factors{-1.0};
  double const span = in.Moderate(1e6);
  winding.ZuFactor(span, factors);
  if (a.size() <= 1 || !(span >= 0.0)) KFUZZ_CHECK(factors.size() == 1 && factors[0] == -1.0);
  for (double f : factors)
    if (a.size() > 1 && span >= 0.0) KFUZZ_CHECK(std::isnan(f) || (f >= 0.0 && f <= 1.0 + 1e-9));
  (void)winding.ZuFactor(Math::poly_hit{in.Count<int>(-1, 70), in.Number()}, Math::poly_hit{in.Count<int>(-1, 70), in.Number()});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  kfuzz::CInput in(data, size);
  std::vector<CPointD> const a = in.Points(64);
  std::vector<CPointD> const b = in.Points(64);
  Splines(in, a);
  Warping(in, a, b);
  return 0;
}
