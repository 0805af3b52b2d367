// Bézier fitting and flattening, corner-preserving smoothing, smooth joins
// and parallel offsets.
#include <math/kmath.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz_input.h"

namespace {

bool SamePieces(std::vector<Math::CBezierPiece> const& a, std::vector<Math::CBezierPiece> const& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (!kfuzz::SameBits(a[i].p0, b[i].p0) || !kfuzz::SameBits(a[i].p3, b[i].p3) || a[i].bCorner != b[i].bCorner) return false;
  return true;
}

double Extent(std::vector<CPointD> const& pts) { return kfuzz::Length(pts) + kfuzz::Magnitude(pts); }

// A chord tolerance the flattening can meet within a few thousand points:
// the caller picks it against the size of the curve.
double ChordTol(double v, double extent) {
  return std::isnan(v) || v <= 0.0 ? v : std::fmax(v, extent / 1024.0 + 1e-9);
}

void Fit(kfuzz::CInput& in, std::vector<CPointD> const& pts) {
  double const tol = in.Number(), corner = in.Number();
  std::vector<Math::CBezierPiece> const sentinel{{{1, 2}, {3, 4}, {5, 6}, {7, 8}, true}};
  std::vector<Math::CBezierPiece> pieces = sentinel;
  bool const moderate = kfuzz::Magnitude(pts) < 1e6;
  kfuzz::Dump("fit", pts);
  kfuzz::Dump("tol,corner", {CPointD{tol, corner}});
  if (!Math::BezierFit(pts, tol, corner, pieces)) {
    KFUZZ_CHECK(SamePieces(pieces, sentinel));
    return;
  }
  KFUZZ_CHECK(!pieces.empty());
  for (std::size_t i = 1; i < pieces.size(); ++i) KFUZZ_CHECK(kfuzz::SameBits(pieces[i - 1].p3, pieces[i].p0));
  if (!moderate) return;
  std::vector<CPointD> flat{CPointD{9, 9}};
  double const chord = in.Number();
  if (Math::BezierFlatten(pieces, ChordTol(chord, Extent(pts)), flat)) {
    KFUZZ_CHECK(flat.size() >= 2 && flat[0].x == 9.0 && kfuzz::SameBits(flat[1], pieces[0].p0));
    KFUZZ_CHECK(kfuzz::SameBits(flat.back(), pieces.back().p3));
  } else {
    KFUZZ_CHECK(flat.size() == 1 && flat[0].x == 9.0);
  }

  std::vector<CPointD> poly = pts;
  std::vector<Math::CBezierPiece> chain = sentinel;
  if (!Math::BezierSmoothing(poly, tol, corner, ChordTol(chord, Extent(pts)), &chain)) {
    KFUZZ_CHECK(kfuzz::SameBits(poly, pts) && SamePieces(chain, sentinel));
  } else if (kfuzz::Closed(pts)) {
    KFUZZ_CHECK(kfuzz::Closed(poly));
  }
}

void Smooth(kfuzz::CInput& in, std::vector<CPointD> const& pts, std::vector<CPointD> const& b) {
  std::vector<CPointD> poly = pts;
  if (Math::PolySmoothing(poly, in.Number(), in.Number())) {
    KFUZZ_CHECK(poly.size() == pts.size() && kfuzz::AllFinite(poly));
    if (!kfuzz::Closed(pts)) KFUZZ_CHECK(kfuzz::SameBits(poly.front(), pts.front()) && kfuzz::SameBits(poly.back(), pts.back()));
  } else {
    KFUZZ_CHECK(kfuzz::SameBits(poly, pts));
  }

  if (kfuzz::Magnitude(pts) < 1e6 && kfuzz::Magnitude(b) < 1e6) {
    poly = pts;
    double const extent = Extent(pts) + Extent(b);
    if (!Math::PolysSmoothJoin(poly, b, in.Number(), in.Number(), ChordTol(in.Number(), extent)))
      KFUZZ_CHECK(kfuzz::SameBits(poly, pts));
  }
}

void Offset(kfuzz::CInput& in, std::vector<CPointD> const& pts) {
  double const mag = kfuzz::Magnitude(pts);
  double const dist = in.Number();
  Math::COffsetParams params;
  params.eJoin = static_cast<Math::EOffsetJoin>(in.Count<int>(0, 2));
  params.eCap = static_cast<Math::EOffsetCap>(in.Count<int>(0, 2));
  params.dMiterLimit = in.Number();
  params.bOutline = in.Flag();
  // Round joins take up to 100000 chords a turn; a tolerance near |d| keeps
  // an input within the smoke run's budget.
  double const chord = in.Number();
  params.dChordTol = std::isnan(chord) || chord <= 0.0 ? chord : std::fmax(chord, 1e-3 * std::fabs(dist));
  if (!(mag < 1e6) || !(std::fabs(dist) < 1e6)) return;
  std::vector<std::vector<CPointD>> const sentinel{{CPointD{5, 5}}};
  std::vector<std::vector<CPointD>> result = sentinel;
  if (Math::PolyOffset(pts, dist, params, result)) {
    for (auto const& piece : result) KFUZZ_CHECK(!piece.empty() && kfuzz::AllFinite(piece));
  } else {
    KFUZZ_CHECK(result.size() == 1 && kfuzz::SameBits(result[0], sentinel[0]));
  }
  std::vector<CPointD> poly = pts;
  if (!Math::PolyOffset(poly, dist, params)) KFUZZ_CHECK(kfuzz::SameBits(poly, pts));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  kfuzz::CInput in(data, size);
  std::vector<CPointD> const pts = in.Points(128);
  std::vector<CPointD> const b = in.Points(32);
  Fit(in, pts);
  Smooth(in, pts, b);
  Offset(in, pts);
  return 0;
}
