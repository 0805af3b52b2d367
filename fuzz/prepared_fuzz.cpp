// The prepared point-in-polygon index against the polygon's own test.
#include <math/kmath.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  kfuzz::CInput in(data, size);
  CStdPlgn plgn;
  int const rings = in.Count<int>(1, 4);
  for (int i = 0; i < rings; ++i) plgn.push_back(in.Points(64));
  Math::CPreparedPlgn const prepared(plgn);

  // Queries where the answer is decided by a hair: the vertices, edge
  // midpoints, points a rounding step off them, and free points.
  std::vector<CPointD> queries;
  for (auto const& ring : plgn)
    for (std::size_t i = 0; i < ring.size(); ++i) {
      queries.push_back(ring[i]);
      if (i + 1 < ring.size()) {
        CPointD const m = (ring[i] + ring[i + 1]) * 0.5;
        queries.push_back(m);
        queries.push_back({std::nextafter(m.x, INFINITY), m.y});
        queries.push_back({m.x, std::nextafter(m.y, -INFINITY)});
      }
    }
  for (int i = in.Count<int>(0, 16); i > 0; --i) queries.push_back(in.Point());
  for (CPointD const& p : queries) {
    if (prepared.PtInside(p) != plgn.PtInside(p)) {
      kfuzz::Dump("query", {p});
      for (auto const& ring : plgn) kfuzz::Dump("ring", ring);
      KFUZZ_CHECK(false);
    }
  }

  // The index holds its own copy.
  CStdPlgn const original = plgn;
  plgn.clear();
  for (CPointD const& p : queries) KFUZZ_CHECK(prepared.PtInside(p) == original.PtInside(p));
  KFUZZ_CHECK(!Math::CPreparedPlgn().PtInside(in.Point()));
  return 0;
}
