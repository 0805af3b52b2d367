#include <math/decisiontree.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Math::CDecisionTree;
using Math::DTC_traits;
using V = DTC_traits::CValue;
using Result = DTC_traits::CResult;
using Features = std::vector<DTC_traits::CFeature>;
using Code = unsigned char;
unsigned short const kLeaf = 0xFFFF;

// Values are laid out as {option code, number, number}; the features read
// them out of order on purpose.
Features const kFeatures{
    {2, {}},         // 0: numeric, values[2]
    {0, {1, 4, 9}},  // 1: option, values[0]
    {1, {}},         // 2: numeric, values[1]
};

// values[2] < 2.5 ?
//   yes: option code of values[0]?
//     1: A {3: .2, 7: .8}
//     4: B {1: 1}
//     9: values[1] < -1 ?
//       yes: C {2: .5, 5: .5}
//       no:  D (no classes)
//   no: E {4: .6, 6: .3, 8: .1}
CDecisionTree::CNodeList const kNodes{
    {0, {2.5}},
    {1, {}},
    {kLeaf, {3.0, 0.2, 7.0, 0.8}},
    {kLeaf, {1.0, 1.0}},
    {2, {-1.0}},
    {kLeaf, {2.0, 0.5, 5.0, 0.5}},
    {kLeaf, {}},
    {kLeaf, {4.0, 0.6, 6.0, 0.3, 8.0, 0.1}},
};

std::vector<V> Values(Code code, double v1, double v2) { return {V(code), V(v1), V(v2)}; }

}  // namespace

TEST(CDecisionTree, ClassifiesATableToItsLeavesRankedLists) {
  double const nan = std::nan("");
  struct Case {
    char const* name;
    std::vector<V> values;
    Result ranked;
  } const cases[] = {
      {"less, code 1", Values(1, 0, 1.0), {{7, 0.8}, {3, 0.2}}},
      {"less, code 4", Values(4, 0, -1e300), {{1, 1.0}}},
      {"2e-12 below the threshold is less", Values(4, 0, 2.5 - 2e-12), {{1, 1.0}}},
      {"1e-13 below the threshold is equal", Values(4, 0, 2.5 - 1e-13), {{4, 0.6}, {6, 0.3}, {8, 0.1}}},
      {"above the threshold", Values(1, 0, 3.0), {{4, 0.6}, {6, 0.3}, {8, 0.1}}},
      {"a NaN is never less", Values(1, 0, nan), {{4, 0.6}, {6, 0.3}, {8, 0.1}}},
      {"code 9, second threshold", Values(9, -2.0, -HUGE_VAL), {{2, 0.5}, {5, 0.5}}},
      {"code 9, within 1e-12 of it", Values(9, -1.0 - 5e-13, 0), {}},
      {"code 5 has no branch", Values(5, 0, 0), {}},
      {"code 0 sorts before every branch", Values(0, 0, 0), {}},
      {"code 200 sorts after every branch", Values(200, 0, 0), {}},
      {"values too short for the root", {V(Code{1}), V(0.0)}, {}},
      {"no values", {}, {}},
  };
  CDecisionTree const tree(kNodes, kFeatures);
  for (auto const& c : cases) {
    SCOPED_TRACE(c.name);
    Result r = tree.Classify(c.values);
    DTC_traits::SortResult(r);
    if (c.ranked.size() == 2 && c.ranked[0].second == c.ranked[1].second) {
      // Equal scores may come in either order.
      EXPECT_TRUE(r == c.ranked || r == (Result{c.ranked[1], c.ranked[0]}));
    } else {
      EXPECT_EQ(r, c.ranked);
    }
  }
  // A leaf hands back its list as given; ranking is the caller's call.
  EXPECT_EQ(tree.Classify(Values(1, 0, 0)), (Result{{3, 0.2}, {7, 0.8}}));
}

TEST(CDecisionTree, ResultHelpersRankByScore) {
  EXPECT_EQ(DTC_traits::MakeResult(12, -0.5), (Result{{12, -0.5}}));
  Result r{{1, 0.2}, {2, 0.7}, {3, 0.1}};
  DTC_traits::SortResult(r);
  EXPECT_EQ(r, (Result{{2, 0.7}, {1, 0.2}, {3, 0.1}}));
  // NaN scores go last instead of breaking the sort.
  Result n{{1, std::nan("")}, {2, 0.3}, {3, std::nan("")}, {4, 0.9}, {5, -HUGE_VAL}};
  DTC_traits::SortResult(n);
  EXPECT_TRUE(n[0].first == 4 && n[1].first == 2);
  EXPECT_EQ(n[2].first + n[3].first + n[4].first, 1 + 3 + 5);
}

TEST(CDecisionTree, CopiesShareNodesAndOutliveTheOriginal) {
  auto original = std::make_unique<CDecisionTree>(kNodes, kFeatures);
  CDecisionTree copy(*original);
  CDecisionTree assigned(CDecisionTree::CNodeList{{kLeaf, {1.0, 1.0}}}, Features{});
  CDecisionTree empty({}, kFeatures);
  assigned = *original;
  empty = empty;  // self-assignment keeps the (absent) root
  Result const before = original->Classify(Values(9, -3, 0));
  original.reset();
  EXPECT_EQ(copy.Classify(Values(9, -3, 0)), before);
  EXPECT_EQ(assigned.Classify(Values(9, -3, 0)), before);
  EXPECT_EQ(before, (Result{{2, 0.5}, {5, 0.5}}));
  // Giving up the last holder of a tree's nodes by assignment frees them
  // (LeakSanitizer checks), and the empty tree answers nothing.
  copy = empty;
  assigned = copy;
  EXPECT_TRUE(copy.Classify(Values(1, 0, 0)).empty() && assigned.Classify({}).empty());
}

TEST(CDecisionTree, MalformedNodeListsAreRejectedWhole) {
  struct Case {
    char const* name;
    CDecisionTree::CNodeList nodes;
    Features features;
  } const cases[] = {
      {"ends inside the tree", {{0, {1.0}}, {kLeaf, {1.0, 1.0}}}, kFeatures},
      {"ends inside an option node", {{1, {}}, {kLeaf, {}}, {kLeaf, {}}}, kFeatures},
      {"entries after the root's subtree", {{kLeaf, {1.0, 1.0}}, {kLeaf, {2.0, 1.0}}}, kFeatures},
      {"missing feature", {{3, {1.0}}, {kLeaf, {}}, {kLeaf, {}}}, kFeatures},
      {"numeric node without threshold", {{0, {}}, {kLeaf, {}}, {kLeaf, {}}}, kFeatures},
      {"numeric node with two values", {{0, {1.0, 2.0}}, {kLeaf, {}}, {kLeaf, {}}}, kFeatures},
      {"option node with a value", {{1, {Code{1}}}, {kLeaf, {}}, {kLeaf, {}}, {kLeaf, {}}}, kFeatures},
      {"leaf class without a score", {{kLeaf, {1.0, 0.5, 2.0}}}, kFeatures},
      {"fractional class", {{kLeaf, {1.5, 0.5}}}, kFeatures},
      {"negative class", {{kLeaf, {-1.0, 0.5}}}, kFeatures},
      {"class past 16 bits", {{kLeaf, {65536.0, 0.5}}}, kFeatures},
      {"NaN class", {{kLeaf, {std::nan(""), 0.5}}}, kFeatures},
      {"unsorted options", {{kLeaf, {}}}, Features{{0, {4, 1}}}},
      {"repeated option", {{kLeaf, {}}}, Features{{0, {1, 1}}}},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.name);
    // Several finished subtrees exist when the fault is found; LeakSanitizer
    // sees whether they were freed.
    EXPECT_THROW(CDecisionTree(c.nodes, c.features), std::invalid_argument);
  }
  // The deepest legal classes and an empty list are fine.
  EXPECT_NO_THROW(CDecisionTree({{kLeaf, {0.0, 1.0, 65535.0, 2.0}}}, {}));
  EXPECT_TRUE(CDecisionTree({}, {}).Classify(Values(1, 0, 0)).empty());
}

namespace {

// An independent reading of the node list: evaluates the pre-order listing
// in place, skipping unchosen subtrees by their listed size.
struct ListWalker {
  CDecisionTree::CNodeList const& nodes;
  Features const& features;

  std::size_t Skip(std::size_t i) const {
    if (nodes[i].first == kLeaf) return i + 1;
    auto const& f = features[nodes[i].first];
    std::size_t const kids = f.options.empty() ? 2 : f.options.size();
    std::size_t j = i + 1;
    for (std::size_t k = 0; k < kids; ++k) j = Skip(j);
    return j;
  }

  Result Eval(std::size_t i, std::vector<V> const& v) const {
    auto const& [code, vals] = nodes[i];
    if (code == kLeaf) {
      Result r;
      for (std::size_t k = 0; k < vals.size(); k += 2) r.emplace_back(static_cast<unsigned short>(vals[k].dValue), vals[k + 1].dValue);
      return r;
    }
    auto const& f = features[code];
    std::size_t child = 0;
    if (f.options.empty()) {
      double const x = v[f.index].dValue, t = vals[0].dValue;
      child = (x < t && std::abs(x - t) >= 1e-12) ? 0 : 1;
    } else {
      child = f.options.size();
      for (std::size_t k = 0; k < f.options.size(); ++k) {
        if (f.options[k] == v[f.index].nOption) child = k;
      }
      if (child == f.options.size()) return {};
    }
    std::size_t j = i + 1;
    for (std::size_t k = 0; k < child; ++k) j = Skip(j);
    return Eval(j, v);
  }
};

}  // namespace

TEST(CDecisionTree, RandomTreesAgreeWithAWalkOfTheirNodeList) {
  std::mt19937 rng(8801);
  Features const features{{0, {}}, {1, {0, 3, 5, 6, 250}}, {2, {}}, {3, {2, 7}}};
  std::uniform_real_distribution<double> num(-1, 1);
  std::uniform_int_distribution<int> pick(0, 3), code(0, 8);
  for (int t = 0; t < 30; ++t) {
    SCOPED_TRACE("seed 8801, tree " + std::to_string(t));
    // A random pre-order listing: decision nodes while the budget lasts.
    CDecisionTree::CNodeList nodes;
    int open = 1, budget = 60, cls = 0;
    while (open > 0) {
      --open;
      if (budget-- > 0 && num(rng) > -0.3) {
        unsigned short const f = static_cast<unsigned short>(pick(rng));
        if (features[f].options.empty()) {
          nodes.push_back({f, {std::round(num(rng) * 4) / 4}});  // thresholds values can hit exactly
          open += 2;
        } else {
          nodes.push_back({f, {}});
          open += static_cast<int>(features[f].options.size());
        }
      } else {
        nodes.push_back({kLeaf, {double(cls++ % 65536), num(rng), double(cls % 65536), num(rng)}});
      }
    }
    CDecisionTree const tree(nodes, features);
    ListWalker const walker{nodes, features};
    for (int k = 0; k < 200; ++k) {
      std::vector<V> const v{V(std::round(num(rng) * 4) / 4), V(static_cast<Code>(k % 3 == 0 ? 250 : code(rng))),
                             V(num(rng)), V(static_cast<Code>(code(rng)))};
      EXPECT_EQ(tree.Classify(v), walker.Eval(0, v));
    }
  }
}

TEST(CDecisionTree, ChainsThreeHundredThousandDeepBuildClassifyAndDie) {
  // Each level: "values[0] < level" sends smaller values to a leaf naming
  // the level, the rest further down.
  int const depth = 300000;
  CDecisionTree::CNodeList nodes;
  for (int k = 0; k < depth; ++k) {
    nodes.push_back({0, {double(k)}});
    nodes.push_back({kLeaf, {double(k % 65536), 1.0}});
  }
  nodes.push_back({kLeaf, {7.0, 0.5}});
  auto tree = std::make_unique<CDecisionTree>(nodes, Features{{0, {}}});
  EXPECT_EQ(tree->Classify({V(76543.5)}), (Result{{76544 % 65536, 1.0}}));
  EXPECT_EQ(tree->Classify({V(1e9)}), (Result{{7, 0.5}}));
  CDecisionTree const copy(*tree);
  tree.reset();  // the copy still holds every node
  EXPECT_EQ(copy.Classify({V(-1.0)}), (Result{{0, 1.0}}));
}
