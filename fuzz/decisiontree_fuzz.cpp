// The decision tree built from a caller's pre-order node list. Every list is
// also read by a direct recursive walk of the documented format, so the tree
// must accept exactly the lists the walk accepts and classify every value
// vector to the same leaf.
#include <math/kmath.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "fuzz_input.h"

namespace {

using Math::CDecisionTree;
using Math::DTC_traits;
using Features = std::vector<DTC_traits::CFeature>;
unsigned short const kLeaf = 0xFFFF;

// Children of each entry of the list by position, or false when the list is
// not a tree.
struct CReference {
  CDecisionTree::CNodeList const& nodes;
  Features const& features;
  std::vector<std::vector<std::size_t>> children;
  std::size_t pos = 0;

  bool Parse(std::size_t& self) {
    if (pos >= nodes.size()) return false;
    self = pos++;
    auto const& [code, vals] = nodes[self];
    if (code == kLeaf) {
      if (vals.size() % 2 != 0) return false;
      for (std::size_t i = 0; i < vals.size(); i += 2) {
        double const cls = vals[i].dValue;
        if (!(cls >= 0.0 && cls <= 65535.0 && std::floor(cls) == cls)) return false;
      }
      return true;
    }
    if (code >= features.size()) return false;
    auto const& f = features[code];
    std::size_t const need = f.options.empty() ? 2 : f.options.size();
    if (vals.size() != (f.options.empty() ? 1u : 0u)) return false;
    for (std::size_t i = 0; i < need; ++i) {
      std::size_t child = 0;
      if (!Parse(child)) return false;
      children[self].push_back(child);
    }
    return true;
  }

  bool Build() {
    for (auto const& f : features)
      for (std::size_t i = 1; i < f.options.size(); ++i)
        if (f.options[i - 1] >= f.options[i]) return false;
    children.assign(nodes.size(), {});
    if (nodes.empty()) return true;
    std::size_t root = 0;
    return Parse(root) && pos == nodes.size();
  }

  DTC_traits::CResult Classify(std::vector<DTC_traits::CValue> const& values) const {
    if (nodes.empty()) return {};
    std::size_t at = 0;
    for (;;) {
      auto const& [code, vals] = nodes[at];
      if (code == kLeaf) {
        DTC_traits::CResult r;
        for (std::size_t i = 0; i < vals.size(); i += 2)
          r.emplace_back(static_cast<unsigned short>(vals[i].dValue), vals[i + 1].dValue);
        return r;
      }
      auto const& f = features[code];
      if (f.index >= values.size()) return {};
      if (f.options.empty()) {
        double const v = values[f.index].dValue, t = vals[0].dValue;
        bool const less = std::fabs(v - t) >= 1e-12 && v < t;
        at = children[at][less ? 0 : 1];
      } else {
        unsigned char const c = values[f.index].nOption;
        auto const it = std::find(f.options.begin(), f.options.end(), c);
        if (it == f.options.end()) return {};
        at = children[at][static_cast<std::size_t>(it - f.options.begin())];
      }
    }
  }
};

bool SameResult(DTC_traits::CResult const& a, DTC_traits::CResult const& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (a[i].first != b[i].first || std::memcmp(&a[i].second, &b[i].second, sizeof(double)) != 0) return false;
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  kfuzz::CInput in(data, size);
  Features features(in.Count<std::size_t>(0, 4));
  for (auto& f : features) {
    f.index = in.Count<unsigned short>(0, 5);
    std::size_t const options = in.Count<std::size_t>(0, 4);
    for (std::size_t i = 0; i < options; ++i) f.options.push_back(in.Count<unsigned char>(0, 8));
    // Mostly valid descriptors, so the node lists get exercised.
    if (in.Flag()) {
      std::sort(f.options.begin(), f.options.end());
      f.options.erase(std::unique(f.options.begin(), f.options.end()), f.options.end());
    }
  }

  CDecisionTree::CNodeList nodes(in.Count<std::size_t>(0, 200));
  for (auto& [code, vals] : nodes) {
    bool const leaf = in.Flag();
    code = leaf ? kLeaf : in.Count<unsigned short>(0, 5);
    std::size_t const n = in.Count<std::size_t>(0, leaf ? 6 : 1);
    for (std::size_t i = 0; i < n; ++i) {
      // Classes are mostly whole numbers; a fraction, a NaN or a number past
      // 65535 must be refused.
      double const v = (leaf && i % 2 == 0 && in.Flag()) ? in.Count<int>(-2, 70000) : in.Number();
      vals.emplace_back(v);
    }
  }

  CReference ref{nodes, features, {}};
  bool const valid = ref.Build();
  try {
    CDecisionTree const tree(nodes, features);
    KFUZZ_CHECK(valid);
    CDecisionTree copy = tree;
    for (int k = in.Count<int>(0, 8); k > 0; --k) {
      std::vector<DTC_traits::CValue> values;
      for (std::size_t i = in.Count<std::size_t>(0, 6); i > 0; --i) {
        if (in.Flag())
          values.emplace_back(in.Number());
        else
          values.emplace_back(in.Count<unsigned char>(0, 9));
      }
      DTC_traits::CResult const got = copy.Classify(values);
      KFUZZ_CHECK(SameResult(got, ref.Classify(values)));
      DTC_traits::CResult ranked = got;
      DTC_traits::SortResult(ranked);
      KFUZZ_CHECK(ranked.size() == got.size());
    }
    copy = CDecisionTree(CDecisionTree::CNodeList{}, {});
    KFUZZ_CHECK(copy.Classify({}).empty());
  } catch (std::invalid_argument const&) {
    KFUZZ_CHECK(!valid);
  }
  return 0;
}
