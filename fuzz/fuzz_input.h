// Turns a fuzzer's bytes into the geometry callers hand Kmath: doubles that
// are often hostile (NaN, infinities, the largest and denormal values, exact
// zeros, tolerance-sized steps), polylines with repeated points and
// zero-length edges, integer points at the ends of the int range, counts and
// flags.
//
// Layout of an input: FuzzedDataProvider takes control values (selectors,
// counts, flags) from the END of the buffer and raw payload (doubles, ints)
// from the FRONT. A seed made of little-endian coordinates followed by
// control bytes whose selectors are 0 (= "raw value") therefore decodes as
// exactly those coordinates: make_seeds.py writes the corpora that way, and a
// count of 0 reads as many points as the payload holds.
//
// Every target is a file <family>_fuzz.cpp defining LLVMFuzzerTestOneInput;
// it runs all the family's entry points on one decoded input and checks the
// promises that are cheap to check with KFUZZ_CHECK, which aborts (a finding)
// with the failed condition.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <math/types.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

#define KFUZZ_CHECK(cond)                                                                  \
  do {                                                                                     \
    if (!(cond)) {                                                                         \
      std::fprintf(stderr, "%s:%d: promise broken: %s\n", __FILE__, __LINE__, #cond);      \
      std::abort();                                                                        \
    }                                                                                      \
  } while (0)

namespace kfuzz {

inline bool Finite(CPointD const& p) { return std::isfinite(p.x) && std::isfinite(p.y); }

inline bool AllFinite(std::vector<CPointD> const& pts) {
  for (CPointD const& p : pts)
    if (!Finite(p)) return false;
  return true;
}

// Largest |coordinate| of the points (a NaN counts as infinite).
inline double Magnitude(std::vector<CPointD> const& pts) {
  double m = 0.0;
  for (CPointD const& p : pts) {
    if (!Finite(p)) return std::numeric_limits<double>::infinity();
    m = std::fmax(m, std::fmax(std::fabs(p.x), std::fabs(p.y)));
  }
  return m;
}

// With KFUZZ_DEBUG set, prints the points (with every digit) when a finding
// is replayed, so the failing geometry can be read off and made a test.
inline void Dump(char const* label, std::vector<CPointD> const& pts) {
  if (!std::getenv("KFUZZ_DEBUG")) return;
  for (CPointD const& p : pts) std::fprintf(stderr, "%s %.17g %.17g\n", label, p.x, p.y);
}

// First and last points closer than 1e-12: the library's closed polyline.
inline bool Closed(std::vector<CPointD> const& pts) {
  return pts.size() > 1 && std::hypot(pts.back().x - pts.front().x, pts.back().y - pts.front().y) < 1e-12;
}

// Bit for bit, so a NaN left in place compares equal to itself.
template <class T>
bool SameBits(std::vector<T> const& a, std::vector<T> const& b) {
  return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0);
}

inline bool SameBits(CPointD const& a, CPointD const& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

inline double Length(std::vector<CPointD> const& pts) {
  double len = 0.0;
  for (std::size_t i = 1; i < pts.size(); ++i) len += std::hypot(pts[i].x - pts[i - 1].x, pts[i].y - pts[i - 1].y);
  return len;
}

class CInput {
 public:
  CInput(std::uint8_t const* data, std::size_t size) : m_fdp(data, size) {}

  FuzzedDataProvider& Provider() { return m_fdp; }
  bool Flag() { return m_fdp.ConsumeBool(); }
  // A count in [lo, hi]; 0 from an exhausted input maps to lo.
  template <class T>
  T Count(T lo, T hi) {
    return m_fdp.ConsumeIntegralInRange<T>(lo, hi);
  }

  // A double: usually the next 8 payload bytes as they are (so mutation
  // reaches every bit pattern), sometimes a value chosen to sit on a
  // tolerance, an overflow or a rounding edge, sometimes a small integer
  // (collinear and coincident points come from a coarse grid).
  double Number() {
    std::uint8_t const tag = m_fdp.ConsumeIntegral<std::uint8_t>();
    if (tag < 200) return RawDouble();
    if (tag < 232) return Special(tag - 200);
    return static_cast<double>(m_fdp.ConsumeIntegralInRange<int>(-16, 16));
  }

  // A length, step or tolerance: Number() without the sign most of the time.
  double Positive() {
    double const v = Number();
    return m_fdp.ConsumeBool() ? v : std::fabs(v);
  }

  // A finite, moderate number, for parameters whose huge values only make
  // the call slow in a way the contract allows (a step count, a radius).
  double Moderate(double limit) {
    double const v = Number();
    if (!std::isfinite(v)) return 0.0;
    return std::fmod(v, limit);
  }

  CPointD Point() { return {Number(), Number()}; }

  // Up to `max` points; a count of 0 reads as many as the payload holds.
  // Some points repeat their predecessor exactly or move off it by a step
  // below every tolerance, making zero-length and near-zero edges.
  std::vector<CPointD> Points(std::size_t max) {
    std::size_t n = m_fdp.ConsumeIntegral<std::uint16_t>();
    if (n == 0) n = m_fdp.remaining_bytes() / 19;  // 16 payload + 3 selector bytes a point
    if (n > max) n = max;
    std::vector<CPointD> pts;
    pts.reserve(n);
    for (std::size_t i = 0; i < n; ++i) {
      std::uint8_t const tag = m_fdp.ConsumeIntegral<std::uint8_t>();
      if (tag >= 240 && !pts.empty()) {
        CPointD p = pts.back();
        if (tag >= 248) p.x += tag >= 252 ? 1e-13 : std::numeric_limits<double>::denorm_min();
        pts.push_back(p);
      } else if (tag >= 236 && pts.size() >= 2) {
        pts.push_back(pts.front());  // closes a ring
      } else {
        pts.push_back(Point());
      }
      if (m_fdp.remaining_bytes() == 0) break;
    }
    return pts;
  }

  // An integer coordinate: raw 4 payload bytes, a value at the end of the
  // int range or at a documented limit, or a small grid value.
  int Int() {
    std::uint8_t const tag = m_fdp.ConsumeIntegral<std::uint8_t>();
    if (tag < 200) return RawInt();
    if (tag < 232) {
      static int const kInts[] = {0,       1,          -1,          INT_MAX,         INT_MIN,     INT_MAX - 1,
                                  INT_MIN + 1, 1 << 30, -(1 << 30), (1 << 30) - 1, 23170,       23171,
                                  -23171,  1 << 16,    65535,       46341,           -46341,      1 << 29};
      return kInts[(tag - 200) % (sizeof kInts / sizeof kInts[0])];
    }
    return m_fdp.ConsumeIntegralInRange<int>(-40, 40);
  }

  std::vector<tagPOINT> IntPoints(std::size_t max) {
    std::size_t n = m_fdp.ConsumeIntegral<std::uint16_t>();
    if (n == 0) n = m_fdp.remaining_bytes() / 11;  // 8 payload + 3 selector bytes a point
    if (n > max) n = max;
    std::vector<tagPOINT> pts;
    pts.reserve(n);
    for (std::size_t i = 0; i < n; ++i) {
      std::uint8_t const tag = m_fdp.ConsumeIntegral<std::uint8_t>();
      if (tag >= 240 && !pts.empty())
        pts.push_back(pts.back());
      else
        pts.push_back(tagPOINT{Int(), Int()});
      if (m_fdp.remaining_bytes() == 0) break;
    }
    return pts;
  }

 private:
  double RawDouble() {
    double d = 0.0;
    if (m_fdp.remaining_bytes() >= sizeof d) m_fdp.ConsumeData(&d, sizeof d);
    return d;
  }

  int RawInt() {
    std::int32_t v = 0;
    if (m_fdp.remaining_bytes() >= sizeof v) m_fdp.ConsumeData(&v, sizeof v);
    return v;
  }

  static double Special(unsigned i) {
    static double const kValues[] = {
        0.0,
        -0.0,
        1.0,
        -1.0,
        0.5,
        1e-12,
        -1e-12,
        2e-12,
        FLT_EPSILON,
        1e-8,
        std::numeric_limits<double>::denorm_min(),
        -std::numeric_limits<double>::denorm_min(),
        std::numeric_limits<double>::min(),
        1e-300,
        1e154,
        1e155,
        1e300,
        -1e300,
        std::numeric_limits<double>::max(),
        std::numeric_limits<double>::lowest(),
        std::numeric_limits<double>::infinity(),
        -std::numeric_limits<double>::infinity(),
        std::numeric_limits<double>::quiet_NaN(),
        -std::numeric_limits<double>::quiet_NaN(),
        2147483647.0,
        2147483648.0,
        -2147483649.0,
        9007199254740993.0,
        3.141592653589793,
        6.283185307179586,
        1e7,
        0.1,
    };
    return kValues[i % (sizeof kValues / sizeof kValues[0])];
  }

  FuzzedDataProvider m_fdp;
};

}  // namespace kfuzz
