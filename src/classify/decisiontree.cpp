#include <math/decisiontree.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <stdexcept>

#include "core/tolerance.h"

namespace Math {
namespace {

using CNodePtr = Kcls::CRcPtr<DTC_traits::CBaseNode>;

// The union's members read through memcpy: the descriptor, not the last
// write, decides which member a value holds, and a byte copy is defined for
// either.
double AsNumber(DTC_traits::CValue const& v) {
  double d;
  std::memcpy(&d, &v, sizeof d);
  return d;
}

unsigned char AsOption(DTC_traits::CValue const& v) {
  unsigned char c;
  std::memcpy(&c, &v, sizeof c);
  return c;
}

DTC_traits::CBaseNode* Share(CNodePtr const& p) {
  if (p) p->AddRef();
  return p.get();
}

unsigned short const kLeaf = 0xFFFF;

// Children of the nodes now being destroyed on this thread. Destroying a
// node that is the last holder of its child would destroy the child inside
// the parent's destructor, one nested call per level; instead the child is
// parked here and released by the loop at the bottom of the first call.
thread_local std::vector<CNodePtr>* t_dying = nullptr;

void Bury(CNodePtr& child) {
  if (!child) return;
  if (child->RefCount() > 1) {  // others still hold it: no cascade follows
    child.reset();
    return;
  }
  if (t_dying != nullptr) {
    t_dying->push_back(std::move(child));
    return;
  }
  std::vector<CNodePtr> dying;
  t_dying = &dying;
  dying.push_back(std::move(child));
  while (!dying.empty()) {
    CNodePtr last = std::move(dying.back());
    dying.pop_back();
    last.reset();  // may park that node's children in `dying`
  }
  t_dying = nullptr;
}

}  // namespace

bool DTC_traits::Less(CFeature const& f, CValue const& a, CValue const& b) {
  if (!f.options.empty()) return AsOption(a) < AsOption(b);
  return tol::LtBeyond(AsNumber(a), AsNumber(b));
}

DTC_traits::CResult DTC_traits::MakeResult(unsigned short cls, double score) { return CResult{{cls, score}}; }

void DTC_traits::SortResult(CResult& result) {
  if (result.size() < 2) return;
  // A NaN would break the ordering std::sort relies on; it ranks with -inf.
  auto const key = [](double s) { return std::isnan(s) ? -HUGE_VAL : s; };
  std::sort(result.begin(), result.end(),
            [&key](auto const& a, auto const& b) { return key(a.second) > key(b.second); });
}

DTC_traits::CFloatNode::CFloatNode(CFeature feature, CValue threshold, Kcls::CRcPtr<CBaseNode> less,
                                   Kcls::CRcPtr<CBaseNode> notLess)
    : m_feature(std::move(feature)), m_threshold(threshold), m_less(std::move(less)), m_notLess(std::move(notLess)) {}

DTC_traits::CFloatNode::~CFloatNode() {
  Bury(m_less);
  Bury(m_notLess);
}

DTC_traits::CBaseNode* DTC_traits::CFloatNode::Next(std::vector<CValue> const& values) const {
  if (m_feature.index >= values.size()) return nullptr;
  return Share(Less(m_feature, values[m_feature.index], m_threshold) ? m_less : m_notLess);
}

DTC_traits::COptionNode::COptionNode(CFeature feature, std::vector<Kcls::CRcPtr<CBaseNode>> children)
    : m_feature(std::move(feature)), m_children(std::move(children)) {}

DTC_traits::COptionNode::~COptionNode() {
  for (auto& child : m_children) Bury(child);
}

DTC_traits::CBaseNode* DTC_traits::COptionNode::Next(std::vector<CValue> const& values) const {
  if (m_feature.index >= values.size()) return nullptr;
  unsigned char const code = AsOption(values[m_feature.index]);
  auto const& opts = m_feature.options;
  auto const it = std::lower_bound(opts.begin(), opts.end(), code);
  if (it == opts.end() || *it != code) return nullptr;
  auto const pos = static_cast<std::size_t>(it - opts.begin());
  return pos < m_children.size() ? Share(m_children[pos]) : nullptr;
}

DTC_traits::CResultNode::CResultNode(CResult result) : m_result(std::move(result)) {}

// ---------------------------------------------------------------------------

CDecisionTree::CDecisionTree(CNodeList const& nodes, std::vector<DTC_traits::CFeature> const& features)
    : m_features(features) {
  for (auto const& f : m_features) {
    if (std::adjacent_find(f.options.begin(), f.options.end(), std::greater_equal<unsigned char>()) !=
        f.options.end())
      throw std::invalid_argument("CDecisionTree: option codes not strictly ascending");
  }
  // Decision nodes waiting for their subtrees. An explicit stack instead of
  // recursion: the list's depth is the caller's, not the call stack's. The
  // frames hold counted references, so a throw part-way frees everything
  // built so far.
  struct CFrame {
    unsigned short feature;
    DTC_traits::CValue threshold;
    std::size_t need;
    std::vector<CNodePtr> children;
  };
  std::vector<CFrame> pending;
  CNodePtr root;
  for (auto const& [code, vals] : nodes) {
    if (root) throw std::invalid_argument("CDecisionTree: node list has entries after the tree");
    CNodePtr done;
    if (code == kLeaf) {
      if (vals.size() % 2 != 0) throw std::invalid_argument("CDecisionTree: leaf without a score for its last class");
      DTC_traits::CResult result;
      result.reserve(vals.size() / 2);
      for (std::size_t k = 0; k < vals.size(); k += 2) {
        double const cls = AsNumber(vals[k]);
        if (!(cls >= 0.0 && cls <= 65535.0 && std::floor(cls) == cls))
          throw std::invalid_argument("CDecisionTree: leaf class is not a whole number in 0..65535");
        result.emplace_back(static_cast<unsigned short>(cls), AsNumber(vals[k + 1]));
      }
      done = CNodePtr(new DTC_traits::CResultNode(std::move(result)));
    } else {
      if (code >= m_features.size()) throw std::invalid_argument("CDecisionTree: node names a missing feature");
      auto const& f = m_features[code];
      bool const numeric = f.options.empty();
      if (vals.size() != (numeric ? 1u : 0u))
        throw std::invalid_argument(numeric ? "CDecisionTree: numeric node needs one threshold"
                                            : "CDecisionTree: option node takes no values");
      pending.push_back(CFrame{code, numeric ? vals[0] : DTC_traits::CValue(0.0), numeric ? 2 : f.options.size(), {}});
      pending.back().children.reserve(pending.back().need);
      continue;
    }
    // A finished subtree goes to its parent; a parent that now has all its
    // children is finished in turn.
    while (!pending.empty()) {
      CFrame& top = pending.back();
      top.children.push_back(std::move(done));
      if (top.children.size() < top.need) break;
      auto const& f = m_features[top.feature];
      if (f.options.empty()) {
        done = CNodePtr(new DTC_traits::CFloatNode(f, top.threshold, top.children[0], top.children[1]));
      } else {
        done = CNodePtr(new DTC_traits::COptionNode(f, std::move(top.children)));
      }
      pending.pop_back();
    }
    if (pending.empty()) root = std::move(done);
  }
  if (!pending.empty()) throw std::invalid_argument("CDecisionTree: node list ends inside the tree");
  m_root = std::move(root);
}

CDecisionTree::CDecisionTree(CDecisionTree const& other) = default;

CDecisionTree& CDecisionTree::operator=(CDecisionTree const& other) {
  // The descriptors are copied before anything changes, so a failed copy
  // leaves this tree whole; the root assignment takes the new reference
  // before it lets go of the old one.
  std::vector<DTC_traits::CFeature> features(other.m_features);
  m_root = other.m_root;
  m_features.swap(features);
  return *this;
}

CDecisionTree::~CDecisionTree() = default;

DTC_traits::CResult CDecisionTree::Classify(std::vector<DTC_traits::CValue> const& values) const {
  DTC_traits::CResult result;
  if (!m_root) return result;
  DTC_traits::CBaseNode* node = Share(m_root);
  while (!node->IsLeaf()) {
    DTC_traits::CBaseNode* const next = node->Next(values);
    node->Release();
    if (next == nullptr) return result;
    node = next;
  }
  try {
    node->Result(result);
  } catch (...) {
    node->Release();
    throw;
  }
  node->Release();
  return result;
}

}  // namespace Math
