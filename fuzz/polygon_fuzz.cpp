// The polygon model: point in polygon, holes, point classification,
// clipping by a rectangle and splitting by a polygon.
#include <math/kmath.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz_input.h"

namespace {

// Exactly inside the closed rectangle: cut points are placed on the sides,
// not near them.
bool InRect(CPointD const& p, CRectD const& r) {
  return p.x >= r.left && p.x <= r.right && p.y >= r.top && p.y <= r.bottom;
}

double Length(Math::mpoly_base<CPointD> const& polys) {
  double len = 0.0;
  for (auto const& p : polys) len += kfuzz::Length(p);
  return len;
}

void Clip(kfuzz::CInput& in, CStdPlgn const& polys) {
  CRectD const r{in.Number(), in.Number(), in.Number(), in.Number()};
  bool const keepClosed = in.Flag();
  bool const empty = !(r.left <= r.right && r.top <= r.bottom);

  Math::mpoly_base<CPointD> clipped(polys);
  Math::ClipPolyByRect(clipped, r, keepClosed);
  if (empty) KFUZZ_CHECK(clipped.empty());
  for (auto const& piece : clipped) {
    if (!keepClosed) KFUZZ_CHECK(piece.size() >= 2);
    for (CPointD const& p : piece) KFUZZ_CHECK(InRect(p, r));
  }

  Math::mpoly_base<CPoint3D> polys3;
  for (auto const& poly : polys) {
    Math::poly_base<CPoint3D> p3;
    for (CPointD const& p : poly) p3.push_back({p.x, p.y, in.Number()});
    polys3.push_back(p3);
  }
  Math::ClipPolyByRect(polys3, r, keepClosed);
  for (auto const& piece : polys3)
    for (CPoint3D const& p : piece) KFUZZ_CHECK(InRect({p.x, p.y}, r));

  // Integer points stay in the rectangle's integer range.
  Math::mpoly_base<tagPOINT> ints;
  for (auto const& poly : polys) {
    Math::poly_base<tagPOINT> pi;
    for (CPointD const& p : poly)
      if (std::fabs(p.x) < 1e9 && std::fabs(p.y) < 1e9) pi.push_back({int(p.x), int(p.y)});
    ints.push_back(pi);
  }
  Math::ClipPolyByRect(ints, r, keepClosed);
  for (auto const& piece : ints)
    for (tagPOINT const& p : piece) KFUZZ_CHECK(InRect({double(p.x), double(p.y)}, r));
}

void Split(kfuzz::CInput& in, CStdPlgn const& plgn, std::vector<CPointD> const& line) {
  Math::CSplitPoly1 split(plgn, in.Flag());
  Math::mpoly_base<CPointD> inside, outside;
  bool const boundaryInside = in.Flag();
  split(line, inside, outside, boundaryInside);
  // No piece is dropped: the two sides add up to the polyline, unless the
  // whole polyline lies on the boundary (then nothing is output).
  double const total = kfuzz::Length(line);
  double const parts = Length(inside) + Length(outside);
  if (std::isfinite(total) && kfuzz::Magnitude(line) < 1e100 && !(inside.empty() && outside.empty()))
    KFUZZ_CHECK(std::fabs(parts - total) <= 1e-9 * (total + kfuzz::Magnitude(line)) + 1e-9);

  Math::poly_base<CPoint3D> line3;
  for (CPointD const& p : line) line3.push_back({p.x, p.y, in.Number()});
  Math::mpoly_base<CPoint3D> in3, out3;
  split(line3, in3, out3, !boundaryInside);

  Math::CSplitPoly1 moved(std::move(split));
  Math::mpoly_base<CPointD> none1, none2;
  split(line, none1, none2, boundaryInside);
  KFUZZ_CHECK(none1.empty() && none2.empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  kfuzz::CInput in(data, size);
  CStdPlgn plgn;
  int const contours = in.Count<int>(0, 6);
  for (int i = 0; i < contours; ++i) plgn.push_back(in.Points(256));
  std::vector<CPointD> const line = in.Points(512);
  plgn.push_back(in.Points(512));

  CPointD const p = in.Point();
  bool const inside = plgn.PtInside(p);
  if (std::isnan(p.x) || std::isnan(p.y)) KFUZZ_CHECK(!inside);
  for (auto const& ring : plgn) (void)CStdPlgn::PtInside(p, ring);

  if (line.size() >= 2) {
    CClassifyPoint const classify(Math::CEdge{line[0], line[1]});
    int const pos = classify(p);
    KFUZZ_CHECK(pos >= CClassifyPoint::PT_LEFT && pos <= CClassifyPoint::PT_ON_EDGE);
  }

  Clip(in, plgn);
  Split(in, plgn, line);

  CStdPlgn holes = plgn;
  holes.IncludeHoles();
  KFUZZ_CHECK(holes.size() <= plgn.size());
  return 0;
}
