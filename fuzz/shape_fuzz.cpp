// Moments, circles and arcs, the circle fits, samples and estimators.
#include <math/kmath.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz_input.h"

namespace {

void Moments(kfuzz::CInput& in, std::vector<CPointD> const& pts) {
  unsigned const n = static_cast<unsigned>(pts.size());
  Math::CRawMoments raw(pts.data(), n);
  double const m00 = raw.m00;
  if (raw.nOrder == 0) KFUZZ_CHECK(m00 == 0.0);
  else KFUZZ_CHECK(raw.nOrder == 3 && std::fabs(m00) > FLT_EPSILON / 2);
  Math::CRawMoments pixels(in.Count<unsigned char>(0, 4));
  for (int i = in.Count<int>(0, 16); i > 0; --i) pixels.AddPoint(CPoint(in.Int(), in.Int()), in.Number());
  for (Math::CRawMoments const& r : {raw, pixels}) {
    Math::CRCMoments const rc(r);
    if (r.IsValid()) {
      (void)r.Centroid();
      (void)rc.Orientation();
      (void)rc.PrimaryAxes();
      (void)rc.Eccentricity();
      (void)rc.Skewness();
      double ellipse = 0.0, triangle = 0.0;
      rc.Descriptors(ellipse, triangle);
      Math::CHuMoments const hu(rc);
      for (int method = -1; method <= 3; ++method) (void)Math::Difference(hu, Math::CHuMoments(), method);
    }
  }

  Math::CAreaMoments2 const area(pts.data(), n);
  if (n < 3) KFUZZ_CHECK(area.dArea == 0.0 && area.dCx == 0.0 && area.dMu20 == 0.0);
  // The central moments pass a semi-definiteness check or are all zero.
  KFUZZ_CHECK(!(area.dMu20 < -1e-12) && !(area.dMu02 < -1e-12));
  Math::CEdgeMoments2 const wire(pts.data(), n);
  KFUZZ_CHECK(!(wire.dLength < 0.0) && !(wire.dMu20 < -1e-12) && !(wire.dMu02 < -1e-12));
}

void Circles(kfuzz::CInput& in, std::vector<CPointD> const& pts) {
  Math::CCircle const circle(in.Point(), in.Number());
  KFUZZ_CHECK(!(circle.dRadius < 0.0));
  (void)circle.Angle(in.Point());
  double const tolerance = in.Number();
  // The vertex count is the caller's to bound; nMax keeps a run short.
  int const nMax = in.Count<int>(-2, 4096);
  Math::poly_base<CPointD> ring = {CPointD{-7.0, -7.0}};
  if (circle.MakePoly(ring, tolerance, nMax)) {
    KFUZZ_CHECK(ring.size() >= 3 && kfuzz::SameBits(ring.front(), ring.back()));
    KFUZZ_CHECK(static_cast<int>(ring.size()) <= 2 * nMax + 2);
  } else {
    KFUZZ_CHECK(ring.size() == 1 && ring[0].x == -7.0);
  }

  Math::CArc const arc(in.Point(), in.Number(), in.Number(), in.Number());
  (void)arc.IsClockwise();
  (void)arc.IsValid();
  Math::poly_base<CPointD> arcPts = {CPointD{-7.0, -7.0}};
  int const arcMax = in.Count<int>(-1, 4096);
  if (arc.MakePoly(arcPts, in.Number(), arcMax)) {
    KFUZZ_CHECK(!arcPts.empty() && static_cast<int>(arcPts.size()) <= arcMax);
  } else {
    KFUZZ_CHECK(arcPts.size() == 1 && arcPts[0].x == -7.0);
  }

  if (pts.size() >= 3) (void)Math::MakeArc(pts.data(), in.Number());

  std::vector<CPointD> out(in.Count<std::size_t>(0, 2), CPointD{-7.0, -7.0});
  std::size_t const before = out.size();
  unsigned const polyMax = in.Count<unsigned>(0, 4096);
  if (Math::CircleToPoly(out, in.Point(), in.Number(), in.Number(), polyMax))
    KFUZZ_CHECK(out.size() > before && out.size() <= before + 2 * polyMax + 2);
  else
    KFUZZ_CHECK(out.size() == before);

  Math::CCircleReduce::CResult const fit = Math::CCircleReduce(Math::poly_base<CPointD>(pts));
  if (fit.bValid) {
    double const r = fit.dRadius, dev = fit.dDeviation;
    KFUZZ_CHECK(std::isfinite(r) && r >= 0.0 && std::isfinite(dev) && dev >= 0.0);
  } else {
    double const r = fit.dRadius;
    KFUZZ_CHECK(r == 0.0);
  }
  std::vector<double> weights;
  for (std::size_t i = 0; i < pts.size(); ++i) weights.push_back(in.Number());
  unsigned const n = static_cast<unsigned>(pts.size());
  Math::CCircleReduce::CResult const algebraic = Math::CCircleReduce(pts.data(), n, in.Flag() ? weights.data() : nullptr);
  if (n <= 2) KFUZZ_CHECK(!algebraic.bValid);
}

void Statistics(kfuzz::CInput& in, std::vector<CPointD> const& pts) {
  Stat::CSample2 sample;
  std::vector<double> values;
  for (CPointD const& p : pts) values.push_back(p.x);
  sample.AddVals(values.data(), static_cast<unsigned>(values.size()));
  sample.AddVal(in.Number(), in.Count<unsigned>(0, 1000));
  if (in.Flag()) sample.DelVal(in.Number());
  Stat::CSample2 other;
  other.AddVal(in.Number(), 3);
  sample += other;
  (void)sample.Mean();
  KFUZZ_CHECK(!(sample.Disp() < 0.0));
  (void)sample.Sigma();

  double t[4];
  for (double& v : t) v = in.Number();
  CEstimation const est(t[0], t[1], t[2], t[3]);
  int const cls = est.Classify(in.Number());
  KFUZZ_CHECK(cls >= -1 && cls <= 3);
  KFUZZ_CHECK(est.Classify(NAN) == CEstimation::kBelow);
  (void)CEstimation::ExpFactor(in.Number(), in.Number());
  double const like = CLenEstimation::Estimate(in.Number(), sample, in.Flag());
  (void)like;
  int const mode = in.Count<int>(-1, 4);
  double const f = CDirMeasure::Factor(in.Point(), in.Point(), mode);
  if (std::isfinite(f)) KFUZZ_CHECK(f >= 0.0 && f <= 1.0 + 1e-12);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  kfuzz::CInput in(data, size);
  std::vector<CPointD> const pts = in.Points(2048);
  Moments(in, pts);
  Circles(in, pts);
  Statistics(in, pts);
  return 0;
}
