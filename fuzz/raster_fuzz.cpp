// Scan-line polygon fill into pixel masks, digital segments and circles.
#include <math/kmath.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "fuzz_input.h"

namespace {

bool Adjacent8(CPoint const& a, CPoint const& b) {
  long long const dx = std::llabs(static_cast<long long>(a.x) - b.x);
  long long const dy = std::llabs(static_cast<long long>(a.y) - b.y);
  return dx <= 1 && dy <= 1 && dx + dy > 0;
}

void Fill(kfuzz::CInput& in, std::vector<tagPOINT> const& pts) {
  CFillPoly fill;
  int const bits[] = {1, 4, 8, 16, 24, 32};
  int const depth = bits[in.Count<int>(0, 5)];
  fill.SetBitPixel(depth);
  long long x0 = 0, x1 = 0, y0 = 0, y1 = 0;
  if (!pts.empty()) {
    x0 = x1 = pts[0].x;
    y0 = y1 = pts[0].y;
  }
  for (tagPOINT const& p : pts) {
    x0 = std::min<long long>(x0, p.x), x1 = std::max<long long>(x1, p.x);
    y0 = std::min<long long>(y0, p.y), y1 = std::max<long long>(y1, p.y);
  }
  int const ok = fill.Init(pts.data(), static_cast<int>(pts.size()));
  bool const steppable = x1 - x0 < (1LL << 31) && y1 - y0 < (1LL << 31);
  KFUZZ_CHECK(ok == (pts.size() >= 3 && steppable ? 1 : 0));

  // A window of lines and pixels: the mask is as wide as the caller says,
  // and nothing is written at or past its last byte.
  unsigned const width = in.Count<unsigned>(0, 300);
  unsigned const bytes = in.Count<unsigned>(0, (width * depth + 7) / 8);
  int const top = in.Flag() ? static_cast<int>(std::clamp<long long>(y0, INT_MIN, INT_MAX - 200)) : in.Int();
  int const lines = in.Count<int>(0, 128);
  std::vector<unsigned char> mask(bytes + 16);
  for (long long yl = top; yl < static_cast<long long>(top) + lines && yl <= INT_MAX; ++yl) {
    int const y = static_cast<int>(yl);
    std::fill(mask.begin(), mask.end(), 0xA5);
    fill.NextScanLine(y);
    fill.GetLineMask(mask.data(), bytes, width);
    for (std::size_t i = bytes; i < mask.size(); ++i) KFUZZ_CHECK(mask[i] == 0xA5);
    // A set pixel lies in the polygon's box: x from the leftmost vertex up
    // to, not including, the rightmost; the line between top and bottom.
    for (unsigned x = 0; x < width && (x * depth) / 8 < bytes; ++x) {
      std::size_t const bit = static_cast<std::size_t>(x) * depth;
      bool set;
      if (depth == 1) set = (mask[bit / 8] >> (7 - bit % 8)) & 1;
      else if (depth == 4) set = (mask[bit / 8] >> (bit % 8 == 0 ? 4 : 0)) & 0xF;
      else set = mask[bit / 8] != 0;
      if (set) KFUZZ_CHECK(x >= x0 && x < x1 && y >= y0 && y < y1);
    }
  }
}

void Segments(kfuzz::CInput& in) {
  CPoint const a(in.Int(), in.Int()), b(in.Int(), in.Int());
  long long const dx = std::llabs(static_cast<long long>(b.x) - a.x);
  long long const dy = std::llabs(static_cast<long long>(b.y) - a.y);
  bool const traced = dx <= (1 << 30) - 1 && dy <= (1 << 30) - 1;
  // Walks are only followed for short segments; the count is checked always.
  bool const walk = traced && std::max(dx, dy) <= 4096;

  CSegmBuilder seg8;
  seg8.Init(a, b);
  KFUZZ_CHECK(seg8.GetCount() == (traced ? std::max(dx, dy) + 1 : 1));
  if (walk) {
    CPoint prev = a, pt;
    int count = 1;
    while (seg8.GetNext(pt)) {
      KFUZZ_CHECK(Adjacent8(prev, pt));
      prev = pt;
      KFUZZ_CHECK(++count <= seg8.GetCount());
    }
    KFUZZ_CHECK(count == seg8.GetCount() && prev.x == b.x && prev.y == b.y);

    Math::CSegmPoints const range(a, b);
    KFUZZ_CHECK(range.size() == seg8.GetCount());
    seg8.Init(a, b);
    auto it = range.begin();
    KFUZZ_CHECK(it->x == a.x && it->y == a.y);
    for (++it; it != range.end(); ++it) {
      KFUZZ_CHECK(seg8.GetNext(pt) && pt.x == it->x && pt.y == it->y);
    }
  }

  CSegmBuilder4 seg4;
  seg4.Init(a, b);
  KFUZZ_CHECK(seg4.GetCount() == (traced ? dx + dy + 1 : 1));
  if (walk) {
    CPoint prev = a, pt;
    int count = 1;
    while (seg4.GetNext(pt)) {
      KFUZZ_CHECK(Adjacent8(prev, pt) && (prev.x == pt.x || prev.y == pt.y));
      prev = pt;
      KFUZZ_CHECK(++count <= seg4.GetCount());
    }
    KFUZZ_CHECK(count == seg4.GetCount() && prev.x == b.x && prev.y == b.y);
  }

  CCircleBuilder2 circle;
  CPoint const c(in.Int(), in.Int());
  int const r = in.Flag() ? in.Int() : in.Count<int>(-2, 600);
  circle.Init(c, r);
  CPoint prev = circle.GetHead();
  int steps = 0;
  CPoint pt;
  while (circle.GetNext(pt)) {
    KFUZZ_CHECK(Adjacent8(prev, pt));
    KFUZZ_CHECK(std::llabs(static_cast<long long>(pt.x) - c.x) <= r + 1 &&
                std::llabs(static_cast<long long>(pt.y) - c.y) <= r + 1);
    prev = pt;
    // The walk has a budget of 16 r half-pixel steps.
    KFUZZ_CHECK(++steps <= 16LL * r + 1);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  kfuzz::CInput in(data, size);
  Segments(in);
  std::vector<tagPOINT> const pts = in.IntPoints(1024);
  Fill(in, pts);
  return 0;
}
