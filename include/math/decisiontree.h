// A decision tree classifier over numeric and option-valued features: a
// feature vector walks from the root to a leaf, whose ranked list of
// (class, score) pairs is the answer.
//
// Nodes are reference-counted (Kcls::CRcSimple) and shared by copies of a
// tree, so copying a tree is cheap and a copy outlives its original. The
// counts are plain integers changed while classifying: a tree, and every
// copy sharing its nodes, must be used from one thread at a time.
#pragma once

#include <kcls/refcount.h>
#include <math/export.h>

#include <utility>
#include <vector>

namespace Math {

struct KMATH_API DTC_traits {
  // One feature value; the feature's descriptor says which member counts.
  union CValue {
    double dValue;
    unsigned char nOption;

    CValue(double d) : dValue(d) {}
    CValue(unsigned char c) : nOption(c) {}
  };

  // Where a feature sits in the value vector, and its option codes, sorted
  // strictly ascending; no options makes the feature numeric.
  struct CFeature {
    unsigned short index;
    std::vector<unsigned char> options;
  };

  // (class, score) pairs.
  using CResult = std::vector<std::pair<unsigned short, double>>;

  // a < b under the descriptor f: option codes compare as unsigned bytes;
  // numbers compare with a < b only when they differ by at least 1e-12, so
  // values within 1e-12 are equal. A NaN is never less nor greater.
  static bool Less(CFeature const& f, CValue const& a, CValue const& b);

  // The list holding (cls, score) alone.
  static CResult MakeResult(unsigned short cls, double score);
  // Highest score first; equal scores in no guaranteed order (unstable).
  // NaN scores rank last.
  static void SortResult(CResult& result);

  // Decision nodes let go of their children one at a time, not by nested
  // destructors, so dropping a tree thousands of levels deep cannot run out
  // of stack.

  // A node of a tree. Virtual slots after the destructor: IsLeaf, Result,
  // Next.
  class KMATH_API CBaseNode : public Kcls::CRcSimple {
   public:
    ~CBaseNode() override = default;
    virtual bool IsLeaf() const = 0;
    // A leaf replaces `result` by its class list; a decision node leaves it.
    virtual void Result(CResult& result) const = 0;
    // The child to follow for `values`, with a reference taken for the
    // caller (who releases it), or null: no branch for the value, or the
    // value vector too short to hold the feature. Leaves give null.
    virtual CBaseNode* Next(std::vector<CValue> const& values) const = 0;
  };

  // Follows `less` when the feature's value is less than the threshold (by
  // Less, so a value within 1e-12 of it goes to `notLess`), else `notLess`.
  class KMATH_API CFloatNode : public CBaseNode {
   public:
    CFloatNode(CFeature feature, CValue threshold, Kcls::CRcPtr<CBaseNode> less, Kcls::CRcPtr<CBaseNode> notLess);
    ~CFloatNode() override;
    bool IsLeaf() const override { return false; }
    void Result(CResult&) const override {}
    CBaseNode* Next(std::vector<CValue> const& values) const override;

   private:
    CFeature m_feature;
    CValue m_threshold;
    Kcls::CRcPtr<CBaseNode> m_less;
    Kcls::CRcPtr<CBaseNode> m_notLess;
  };

  // One child per option code of the feature, in the descriptor's order;
  // the value's code is found by binary search (lower bound), and a code
  // the descriptor does not list has no child.
  class KMATH_API COptionNode : public CBaseNode {
   public:
    // children.size() must equal feature.options.size().
    COptionNode(CFeature feature, std::vector<Kcls::CRcPtr<CBaseNode>> children);
    ~COptionNode() override;
    bool IsLeaf() const override { return false; }
    void Result(CResult&) const override {}
    CBaseNode* Next(std::vector<CValue> const& values) const override;

   private:
    CFeature m_feature;
    std::vector<Kcls::CRcPtr<CBaseNode>> m_children;
  };

  // A leaf: its class list, kept in the order given (not sorted).
  class KMATH_API CResultNode : public CBaseNode {
   public:
    explicit CResultNode(CResult result);
    bool IsLeaf() const override { return true; }
    void Result(CResult& result) const override { result = m_result; }
    CBaseNode* Next(std::vector<CValue> const&) const override { return nullptr; }

   private:
    CResult m_result;
  };
};

// A tree built once from its pre-order node list, then shared by copies.
class KMATH_API CDecisionTree {
 public:
  using CNodeList = std::vector<std::pair<unsigned short, std::vector<DTC_traits::CValue>>>;

  // Builds the nodes depth-first from `nodes`, each entry one node:
  //   first == 0xFFFF: a leaf; second holds class, score, class, score, ...
  //     (each class a whole number 0..65535 stored as a dValue);
  //   otherwise first is the position of a feature in `features`:
  //     numeric: second holds the threshold alone; the subtree of the
  //       "less" child follows, then the other one;
  //     option: second is empty; one subtree per option code follows, in
  //       the descriptor's order.
  // An empty list makes the empty tree. Throws std::invalid_argument for a
  // list that ends early, has entries left over, names a missing feature,
  // gives a node the wrong number of values or a leaf a bad class, or uses
  // an option list that is not strictly ascending; nothing leaks then.
  CDecisionTree(CNodeList const& nodes, std::vector<DTC_traits::CFeature> const& features);
  CDecisionTree(CDecisionTree const& other);
  CDecisionTree& operator=(CDecisionTree const& other);
  ~CDecisionTree();

  // The leaf's class list for `values` (in the leaf's order; SortResult
  // ranks it). Empty for the empty tree, for an option code without a
  // branch, and when `values` is too short for a feature on the path
  // (nothing is read past its end).
  // Takes and gives back node references as it walks, hence the warning on
  // threads above.
  DTC_traits::CResult Classify(std::vector<DTC_traits::CValue> const& values) const;

 private:
  std::vector<DTC_traits::CFeature> m_features;
  Kcls::CRcPtr<DTC_traits::CBaseNode> m_root;
};

}  // namespace Math
