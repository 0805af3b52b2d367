// Scan-line fill of real shorelines (GSHHG full resolution, British Isles)
// into a 4096 x 4096 8-bit mask, and the digital segment and circle
// generators over a million pixels. Baselines: OpenCV's fillPoly and its
// LineIterator.
#include <math/fillpoly.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "xy_reader.h"

#ifdef KMATH_BENCH_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

constexpr int kSide = 4096;

// Outer shoreline rings in file order (largest first), as read.
std::vector<std::vector<CPointD>> const& Shorelines() {
  static std::vector<std::vector<CPointD>> const rings = [] {
    std::vector<std::vector<CPointD>> out;
    for (auto& b : kmath_test::LoadXY("gshhg_f_british_isles.xy")) {
      if (b.Attr("ring") == "outer") out.push_back(std::move(b.pts));
    }
    std::sort(out.begin(), out.end(), [](auto const& a, auto const& b) { return a.size() > b.size(); });
    return out;
  }();
  return rings;
}

// Z-order key of a pixel, so rings taken in key order lie near each other.
std::uint64_t Morton(tagPOINT p) {
  std::uint64_t key = 0;
  for (int b = 0; b < 16; ++b) {
    key |= (std::uint64_t{(static_cast<unsigned>(p.x) >> b) & 1u} << (2 * b)) |
           (std::uint64_t{(static_cast<unsigned>(p.y) >> b) & 1u} << (2 * b + 1));
  }
  return key;
}

// Case 0: the second largest ring (28 thousand vertices); 1: the largest
// (49 thousand); 2: every ring (147 thousand) joined into one polygon by
// bridges walked out and back, which cancel under the even-odd rule. The
// rings go in Z-order of their start so the bridges stay short; long ones
// would cross most scan lines and dominate the timing. Scaled so the whole
// set spans the mask.
std::vector<tagPOINT> const& Polygon(int which) {
  static std::vector<tagPOINT> cache[3];
  auto& out = cache[which];
  if (!out.empty()) return out;
  auto const& all = Shorelines();
  std::vector<std::vector<CPointD> const*> rings;
  if (which == 2) {
    for (auto const& r : all) rings.push_back(&r);
  } else {
    rings.push_back(&all[which == 0 ? 1 : 0]);
  }
  double x0 = HUGE_VAL, y0 = HUGE_VAL, x1 = -HUGE_VAL, y1 = -HUGE_VAL;
  for (auto const* r : rings) {
    for (auto const& p : *r) x0 = std::min(x0, p.x), y0 = std::min(y0, p.y), x1 = std::max(x1, p.x), y1 = std::max(y1, p.y);
  }
  double const s = (kSide - 1) / std::max(x1 - x0, y1 - y0);
  auto const px = [&](CPointD const& p) {
    return tagPOINT{static_cast<int>(std::lround((p.x - x0) * s)), static_cast<int>(std::lround((y1 - p.y) * s))};
  };
  std::sort(rings.begin(), rings.end(), [&](auto const* a, auto const* b) {
    return Morton(px(a->front())) < Morton(px(b->front()));
  });
  for (auto const* r : rings) {
    for (auto const& p : *r) out.push_back(px(p));  // each ring repeats its start at its end
  }
  for (std::size_t k = rings.size() - 1; k-- > 1;) out.push_back(px(rings[k]->front()));
  return out;
}

void BM_FillPoly8Bit(benchmark::State& state) {
  auto const& poly = Polygon(static_cast<int>(state.range(0)));
  std::vector<unsigned char> mask(static_cast<std::size_t>(kSide) * kSide);
  CFillPoly fill;
  for (auto _ : state) {
    fill.Init(poly.data(), static_cast<int>(poly.size()));
    fill.SetBitPixel(8);
    for (int y = 0; y < kSide; ++y) {
      fill.NextScanLine(y);
      fill.GetLineMask(mask.data() + static_cast<std::size_t>(y) * kSide, kSide, kSide);
    }
    benchmark::DoNotOptimize(mask.data());
    benchmark::ClobberMemory();
  }
  state.counters["vertices"] = static_cast<double>(poly.size());
  state.counters["filled"] = static_cast<double>(std::count(mask.begin(), mask.end(), 0xff));
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kSide * kSide);
}
BENCHMARK(BM_FillPoly8Bit)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);

#ifdef KMATH_BENCH_HAVE_OPENCV
void BM_FillPoly8Bit_OpenCv(benchmark::State& state) {
  auto const& poly = Polygon(static_cast<int>(state.range(0)));
  std::vector<std::vector<cv::Point>> const contours{std::vector<cv::Point>()};
  auto pts = contours;
  for (auto const& p : poly) pts[0].emplace_back(p.x, p.y);
  cv::Mat mask(kSide, kSide, CV_8UC1);
  for (auto _ : state) {
    mask.setTo(0);
    cv::fillPoly(mask, pts, cv::Scalar(255), cv::LINE_8);
    benchmark::DoNotOptimize(mask.data);
    benchmark::ClobberMemory();
  }
  state.counters["vertices"] = static_cast<double>(poly.size());
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kSide * kSide);
}
BENCHMARK(BM_FillPoly8Bit_OpenCv)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);
#endif

// ------------------------------------------------------------- lines

constexpr long long kLinePixels = 1000000;

struct Seg {
  CPoint a, b;
};

// Random segments of up to 300 pixels in every direction, a million
// 8-connected pixels in all.
std::vector<Seg> const& Segments() {
  static std::vector<Seg> const segs = [] {
    std::mt19937 rng(77);
    std::uniform_int_distribution<int> c(0, kSide - 1), d(-300, 300);
    std::vector<Seg> out;
    long long total = 0;
    while (total < kLinePixels) {
      CPoint const a(c(rng), c(rng)), b(a.x + d(rng), a.y + d(rng));
      out.push_back({a, b});
      total += std::max(std::abs(b.x - a.x), std::abs(b.y - a.y)) + 1;
    }
    return out;
  }();
  return segs;
}

void BM_SegmBuilder(benchmark::State& state) {
  long long n = 0;
  for (auto _ : state) {
    unsigned sum = 0;
    n = 0;
    CSegmBuilder s;
    CPoint p;
    for (auto const& g : Segments()) {
      s.Init(g.a, g.b);
      while (s.GetNext(p)) sum += static_cast<unsigned>(p.x ^ p.y), ++n;
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * n);
}
BENCHMARK(BM_SegmBuilder)->Unit(benchmark::kMillisecond);

void BM_SegmPoints(benchmark::State& state) {
  long long n = 0;
  for (auto _ : state) {
    unsigned sum = 0;
    n = 0;
    for (auto const& g : Segments()) {
      for (CPoint const& p : Math::CSegmPoints(g.a, g.b)) sum += static_cast<unsigned>(p.x ^ p.y), ++n;
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * n);
}
BENCHMARK(BM_SegmPoints)->Unit(benchmark::kMillisecond);

void BM_SegmBuilder4(benchmark::State& state) {
  long long n = 0;
  for (auto _ : state) {
    unsigned sum = 0;
    n = 0;
    CSegmBuilder4 s;
    CPoint p;
    for (auto const& g : Segments()) {
      s.Init(g.a, g.b);
      while (s.GetNext(p)) sum += static_cast<unsigned>(p.x ^ p.y), ++n;
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * n);
}
BENCHMARK(BM_SegmBuilder4)->Unit(benchmark::kMillisecond);

// Circles of radius 1 to 400 until a million pixels have come out.
void BM_CircleBuilder2(benchmark::State& state) {
  long long n = 0;
  for (auto _ : state) {
    unsigned sum = 0;
    n = 0;
    CCircleBuilder2 c;
    CPoint p;
    for (int r = 1; n < kLinePixels; r = r % 400 + 1) {
      c.Init(CPoint(2048, 2048), r);
      while (c.GetNext(p)) sum += static_cast<unsigned>(p.x ^ p.y), ++n;
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * n);
}
BENCHMARK(BM_CircleBuilder2)->Unit(benchmark::kMillisecond);

#ifdef KMATH_BENCH_HAVE_OPENCV
void BM_SegmBuilder_OpenCvLineIterator(benchmark::State& state) {
  long long n = 0;
  cv::Rect const box(-400, -400, kSide + 800, kSide + 800);  // no clipping
  for (auto _ : state) {
    unsigned sum = 0;
    n = 0;
    for (auto const& g : Segments()) {
      cv::LineIterator it(box, cv::Point(g.a.x, g.a.y), cv::Point(g.b.x, g.b.y), 8);
      for (int i = 0; i < it.count; ++i, ++it) {
        cv::Point const p = it.pos();
        sum += static_cast<unsigned>(p.x ^ p.y), ++n;
      }
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * n);
}
BENCHMARK(BM_SegmBuilder_OpenCvLineIterator)->Unit(benchmark::kMillisecond);
#endif

}  // namespace
