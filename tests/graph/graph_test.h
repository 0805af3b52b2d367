// Shared checks of the graph family: exact local Delaunay and the counts
// every triangulation of a point set must meet.
#pragma once

#include <math/kmath.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <vector>

#include "graph/predicates_impl.h"

namespace kmath_test {

using Tri = std::array<std::uint32_t, 3>;

// The triangle rotated to start at its smallest index.
inline Tri Canonical(std::uint32_t a, std::uint32_t b, std::uint32_t c) {
  if (b < a && b < c) return {b, c, a};
  if (c < a && c < b) return {c, a, b};
  return {a, b, c};
}

inline std::set<Tri> TriangleSet(std::vector<std::uint32_t> const& t) {
  std::set<Tri> s;
  for (std::size_t k = 0; k + 2 < t.size(); k += 3) s.insert(Canonical(t[k], t[k + 1], t[k + 2]));
  return s;
}

// Every triangle counter-clockwise, every interior edge locally Delaunay
// (the opposite vertex not strictly inside the circle), each edge shared by
// at most two triangles; returns the number of failures.
inline int DelaunayFaults(std::vector<CPointD> const& p, std::vector<std::uint32_t> const& t) {
  using Math::graph_detail::InCircle;
  using Math::graph_detail::Orient;
  int faults = 0;
  std::map<std::pair<std::uint32_t, std::uint32_t>, std::uint32_t> opposite;
  for (std::size_t k = 0; k + 2 < t.size(); k += 3) {
    if (Orient(p[t[k]], p[t[k + 1]], p[t[k + 2]]) <= 0) ++faults;
    for (int j = 0; j < 3; ++j) {
      auto const key = std::make_pair(t[k + j], t[k + (j + 1) % 3]);
      if (!opposite.emplace(key, t[k + (j + 2) % 3]).second) ++faults;
    }
  }
  for (auto const& [e, r] : opposite) {
    auto const it = opposite.find({e.second, e.first});
    if (it == opposite.end()) continue;
    if (InCircle(p[e.first], p[e.second], p[r], p[it->second]) > 0) ++faults;
  }
  return faults;
}

inline std::vector<CPointD> RandomPoints(std::size_t n, unsigned seed, double scale = 1000.0) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> u(0.0, scale);
  std::vector<CPointD> pts(n);
  for (auto& p : pts) p = {u(rng), u(rng)};
  return pts;
}

inline std::vector<CPointD> GridPoints(int w, int h) {
  std::vector<CPointD> pts;
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) pts.push_back({double(x), double(y)});
  }
  return pts;
}

// Gaussian clusters around random centres.
inline std::vector<CPointD> ClusteredPoints(std::size_t n, unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> u(0.0, 1000.0);
  std::normal_distribution<double> g(0.0, 5.0);
  std::vector<CPointD> centres(std::max<std::size_t>(1, n / 200));
  for (auto& c : centres) c = {u(rng), u(rng)};
  std::vector<CPointD> pts(n);
  for (std::size_t k = 0; k < n; ++k) pts[k] = centres[k % centres.size()] + CPointD{g(rng), g(rng)};
  return pts;
}

}  // namespace kmath_test
