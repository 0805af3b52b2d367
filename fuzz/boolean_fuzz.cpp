// Boolean operations on polygons with holes, the many-polygon union and the
// ring structure checks, with the crossing sweep under them.
#include <math/kmath.h>

#include <cmath>
#include <cstdlib>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz_input.h"

namespace {

// Even-odd area of a laid-out result: outer rings counter-clockwise, holes
// clockwise, so the signed areas add up.
double Area(CStdPlgn const& plgn) {
  double a = 0.0;
  for (auto const& ring : plgn)
    for (std::size_t i = 1; i < ring.size(); ++i) a += ring[i - 1].x * ring[i].y - ring[i].x * ring[i - 1].y;
  return 0.5 * a;
}

double Perimeter(CStdPlgn const& plgn) {
  double p = 0.0;
  for (auto const& ring : plgn) p += kfuzz::Length(ring) + (ring.size() > 1 ? std::hypot(ring.back().x - ring.front().x, ring.back().y - ring.front().y) : 0.0);
  return p;
}

double Magnitude(CStdPlgn const& plgn) {
  double m = 0.0;
  for (auto const& ring : plgn) m = std::fmax(m, kfuzz::Magnitude(ring));
  return m;
}

// Every ring of a result is closed and neither crosses nor touches itself; a
// built result (not a shortcut's copy of a clean operand, which keeps the
// operand's rings as they are) starts each ring at its least (x, y) vertex.
//
// Noding is exact to the absolute 0.0005 of the touch threshold only while
// rounding stays far below it: beyond 1e6 in magnitude (where the header asks
// callers to scale) rings may cross by rounding. And an edge whose x extent
// is just below FLT_EPSILON counts as vertical, which the sweep tests only
// against part of the beam: a vertex 1.2e-7 beside such an edge was left
// uncut, and the ring came back touching itself (a known fault of the
// sweep, left to its owner). On a 1/1024 lattice no edge is that nearly
// vertical, so `exact` (lattice and moderate) gates the check.
void CheckLayout(CStdPlgn const& result, bool built, bool exact) {
  for (auto const& ring : result) {
    kfuzz::Dump("ring", ring);
    // A copied operand ring is closed within 1e-12, as the library reads it.
    KFUZZ_CHECK(ring.size() >= 4 && (built ? kfuzz::SameBits(ring.front(), ring.back()) : kfuzz::Closed(ring)));
    for (CPointD const& p : ring)
      if (built) KFUZZ_CHECK(ring[0].x < p.x || (ring[0].x == p.x && ring[0].y <= p.y));
    Math::CPlgnStructure const structure(ring.data(), static_cast<int>(ring.size()));
    if (exact) KFUZZ_CHECK(structure.CheckSelfCross().Bits() == 0);
  }
}

bool OnLattice(CStdPlgn const& plgn) {
  for (auto const& ring : plgn)
    for (CPointD const& p : ring)
      for (double c : {p.x, p.y})
        if (std::ldexp(c, 10) != std::floor(std::ldexp(c, 10))) return false;
  return true;
}

CStdPlgn Operand(kfuzz::CInput& in) {
  CStdPlgn plgn;
  int const rings = in.Count<int>(1, 3);
  for (int i = 0; i < rings; ++i) plgn.push_back(in.Points(40));
  return plgn;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  kfuzz::CInput in(data, size);
  CStdPlgn const a = Operand(in);
  CStdPlgn const b = Operand(in);
  for (auto const& ring : a) kfuzz::Dump("a", ring);
  for (auto const& ring : b) kfuzz::Dump("b", ring);

  Math::CPlgnOperator both(a, b);
  CStdPlgn const cross = both(Math::Cross);
  CStdPlgn const uni = both(Math::Union);
  CStdPlgn const anotb = both(Math::AnotB);
  CStdPlgn const xorab = both(Math::AXorB);
  Math::CPlgnOperator onlyA(a, true);
  CStdPlgn const na = onlyA(Math::NormA);
  Math::CPlgnOperator onlyB(b, true);
  CStdPlgn const nb = onlyB(Math::NormA);
  double const mag = std::fmax(Magnitude(a), Magnitude(b));
  bool const exact = mag < 1e6 && OnLattice(a) && OnLattice(b);
  // Containment shortcuts copy an operand even when the boundaries meet.
  for (CStdPlgn const* r : {&cross, &uni, &anotb, &xorab}) CheckLayout(*r, false, exact);
  CheckLayout(na, onlyA.Flags().Test(1), exact);
  CheckLayout(nb, onlyB.Flags().Test(1), exact);

  // area(A u B) = area(A) + area(B) - area(A n B). Merging nodes closer than
  // 0.0005 moves each boundary by at most that much, so each area may be off
  // by about that times its boundary length; the rest is rounding.
  if (mag < 1e6) {
    double const perimeter = Perimeter(a) + Perimeter(b);
    double const tol = 4.0 * 0.0005 * perimeter + 1e-9 * mag * mag + 1e-9;
    double const lhs = Area(uni), rhs = Area(na) + Area(nb) - Area(cross);
    KFUZZ_CHECK(std::fabs(lhs - rhs) <= tol);
    KFUZZ_CHECK(std::fabs(Area(xorab) - (Area(uni) - Area(cross))) <= tol);
    KFUZZ_CHECK(std::fabs(Area(anotb) - (Area(na) - Area(cross))) <= tol);
  }

  Math::CMultiPlgnUnion many(in.Flag());
  for (auto const& ring : a) many.AddContour(ring.data(), static_cast<unsigned>(ring.size()), in.Flag(), in.Flag());
  many.AddPolygon(b, in.Flag());
  CheckLayout(many(), true, exact);

  if (!a.empty()) {
    Math::CPlgnStructure const structure(a[0].data(), static_cast<int>(a[0].size()));
    unsigned const self = structure.CheckSelfCross().Bits();
    // Open fault: on some hostile rings the check sets the cut bit alone
    // (fuzz/README.md, open findings); asserted only in strict campaigns.
    if (std::getenv("KFUZZ_STRICT")) KFUZZ_CHECK(self == 0 || (self & 3u) == 3u);
    if (!b.empty()) (void)structure.CheckOverlap(b[0].data(), static_cast<int>(b[0].size()));
  }
  return 0;
}
