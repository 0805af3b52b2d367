// A million classifications by a complete tree of 255 nodes (depth 8:
// numeric and option decisions alternating, three classes per leaf).
#include <math/decisiontree.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <vector>

namespace {

using Math::CDecisionTree;
using Math::DTC_traits;

constexpr int kLevels = 7;  // decision levels; 127 decisions + 128 leaves
constexpr int kClassifications = 1000000;

std::vector<DTC_traits::CFeature> const kFeatures{{0, {}}, {1, {2, 5}}, {2, {}}, {3, {0, 9}}};

void List(CDecisionTree::CNodeList& out, int depth, std::mt19937& rng) {
  std::uniform_real_distribution<double> u(-1, 1);
  if (depth == kLevels) {
    out.push_back({0xFFFF, {double(rng() % 100), u(rng), double(rng() % 100), u(rng), double(rng() % 100), u(rng)}});
    return;
  }
  // Alternate numeric features 0 and 2 with option features 1 and 3.
  unsigned short const f = static_cast<unsigned short>(depth % 4);
  if (kFeatures[f].options.empty()) {
    out.push_back({f, {u(rng)}});
  } else {
    out.push_back({f, {}});
  }
  List(out, depth + 1, rng);
  List(out, depth + 1, rng);
}

void BM_DecisionTreeClassify(benchmark::State& state) {
  std::mt19937 rng(255);
  CDecisionTree::CNodeList nodes;
  List(nodes, 0, rng);
  CDecisionTree const tree(nodes, kFeatures);
  std::uniform_real_distribution<double> u(-1, 1);
  std::vector<std::vector<DTC_traits::CValue>> inputs;
  for (int i = 0; i < 4096; ++i) {
    inputs.push_back({DTC_traits::CValue(u(rng)), DTC_traits::CValue(static_cast<unsigned char>(rng() % 2 ? 2 : 5)),
                      DTC_traits::CValue(u(rng)), DTC_traits::CValue(static_cast<unsigned char>(rng() % 2 ? 0 : 9))});
  }
  for (auto _ : state) {
    std::size_t classes = 0;
    for (int i = 0; i < kClassifications; ++i) classes += tree.Classify(inputs[i & 4095]).size();
    benchmark::DoNotOptimize(classes);
  }
  state.counters["nodes"] = static_cast<double>(nodes.size());
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kClassifications);
}
BENCHMARK(BM_DecisionTreeClassify)->Unit(benchmark::kMillisecond);

}  // namespace
