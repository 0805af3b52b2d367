// Affine raster-to-world parameters, world files and the transforms fitted
// to reference points.
#include <math/kmath.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz_input.h"

namespace {

std::vector<Math::CRefPoint> RefPoints(kfuzz::CInput& in) {
  std::vector<CPointD> const pts = in.Points(64);
  std::vector<Math::CRefPoint> rps;
  for (std::size_t i = 0; i + 1 < pts.size(); i += 2) rps.push_back({pts[i], pts[i + 1]});
  return rps;
}

// Both blocks of the affine map, to see that a refused definition changed
// nothing. The inverse block is behind Inverse(), which may refresh it, so
// the direct block and the validity flag are what is compared.
struct CAffineState {
  double direct[8];
  bool inverseValid;
  explicit CAffineState(Math::CAffineParams const& a) : inverseValid(a.InverseValid()) {
    std::memcpy(direct, a.Direct().Coefficients(), sizeof direct);
  }
  bool operator==(CAffineState const& o) const {
    return std::memcmp(direct, o.direct, sizeof direct) == 0 && inverseValid == o.inverseValid;
  }
};

void Affine(kfuzz::CInput& in, std::vector<Math::CRefPoint> const& rps) {
  double block[6], inverse[6];
  for (double& v : block) v = in.Number();
  for (double& v : inverse) v = in.Number();
  Math::CAffineParams a(block, in.Flag() ? inverse : nullptr);
  Math::CAffineParams const b(in.Point(), CSizeD{in.Number(), in.Number()}, in.Number());
  Math::CAffineParams c;

  CAffineState const before(a);
  if (!a.Define(Math::CRefPoint{in.Point(), in.Point()}, CSizeD{in.Number(), in.Number()}))
    KFUZZ_CHECK(CAffineState(a) == before);
  else
    KFUZZ_CHECK(a.InverseValid());

  CAffineState const beforeFit(c);
  unsigned const n = static_cast<unsigned>(rps.size());
  if (!c.Define(rps.data(), n)) {
    CAffineState const after(c);
    KFUZZ_CHECK(std::memcmp(after.direct, beforeFit.direct, sizeof after.direct) == 0);
  }
  KFUZZ_CHECK(!c.Define(nullptr, n));

  Math::CTfwInfo const tfw{in.Number(), in.Number(), in.Number(), in.Number(), in.Number(), in.Number()};
  bool const absY = in.Flag();
  KFUZZ_CHECK(c.Define(tfw, absY));
  (void)(c.TfwInfo(absY) == tfw);
  (void)(tfw != c.TfwInfo(!absY));

  a *= b;
  a.Offset(in.Point());
  (void)a.HasRotation();
  CPointD const p = in.Point();
  CPointD const q = a.Direct()(p);
  Math::CTransform<Math::CAffineImpl> const inv = a.Inverse();
  CPointD const back = inv(q);
  (void)back;
  (void)inv.Vector(p);
  (void)inv.Angle(in.Number());
  (void)inv.Distance(in.Number(), in.Flag());
  a.Define(a.Inverse().Coefficients(), a.Direct().Coefficients());
  a.Define(nullptr, nullptr);
  KFUZZ_CHECK(a.InverseValid());
}

void Fitted(kfuzz::CInput& in, std::vector<Math::CRefPoint> const& rps) {
  unsigned const n = static_cast<unsigned>(rps.size());
  Math::CLinearTrans lin(rps.data(), n);
  CPointD const p = in.Point();
  (void)lin.Point(p);
  (void)lin.Inverse().Point(p);
  (void)lin.Angle(in.Number());
  (void)lin.Distance(in.Number(), in.Flag());
  lin.Offset(in.Point());
  double const saved[4] = {lin.Coefficients()[0], lin.Coefficients()[1], lin.Coefficients()[2],
                           lin.Coefficients()[3]};
  if (!lin.Define(rps.data(), in.Count<unsigned>(0, n)))
    KFUZZ_CHECK(std::memcmp(saved, lin.Coefficients(), sizeof saved) == 0);

  Math::CSqrTrans sqr;
  double const fallback[12] = {sqr.Coefficients()[0], sqr.Coefficients()[1], sqr.Coefficients()[2],
                               sqr.Coefficients()[3], sqr.Coefficients()[4], sqr.Coefficients()[5],
                               sqr.Coefficients()[6], sqr.Coefficients()[7], sqr.Coefficients()[8],
                               sqr.Coefficients()[9], sqr.Coefficients()[10], sqr.Coefficients()[11]};
  unsigned const m = in.Count<unsigned>(0, n);
  // Only a failed direct fit promises both blocks untouched; a failed inverse
  // fit keeps the new direct block.
  if (!sqr.Define(rps.data(), m) && m < 6)
    KFUZZ_CHECK(std::memcmp(fallback, sqr.Coefficients(), sizeof fallback) == 0);
  (void)sqr.Point(p);
  (void)sqr.Inverse().Point(p);
  (void)sqr.Angle(in.Number());
  (void)sqr.Distance(in.Number(), in.Flag());
  Math::CSqrTrans const copy(sqr.Coefficients(), sqr.Inverse().Coefficients());
  (void)copy;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  kfuzz::CInput in(data, size);
  std::vector<Math::CRefPoint> const rps = RefPoints(in);
  Affine(in, rps);
  Fitted(in, rps);
  return 0;
}
