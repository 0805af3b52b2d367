#include <kcls/refcount.h>

#include <gtest/gtest.h>

#include <thread>
#include <type_traits>

namespace {

// Counted classes derive from CRcSimple or CRcMultiThrd, both through the
// one polymorphic CRcBase whose only virtual member is the destructor.
static_assert(std::is_base_of_v<Kcls::CRcBase, Kcls::CRcSimple> && std::has_virtual_destructor_v<Kcls::CRcBase>);
static_assert(std::is_base_of_v<Kcls::CRcBase, Kcls::CRcMultiThrd> && sizeof(Kcls::CRcBase) == sizeof(void*));

// Counts live instances, so a test sees exactly when the last release
// destroyed an object.
template <class TCounted>
struct CTracked : TCounted {
  CTracked() { ++live; }
  CTracked(CTracked const& o) : TCounted(o) { ++live; }
  CTracked& operator=(CTracked const&) = default;
  ~CTracked() override { --live; }
  static inline int live = 0;
  Kcls::CRcPtr<CTracked> next;
};
using CNode = CTracked<Kcls::CRcSimple>;
using CShared = CTracked<Kcls::CRcMultiThrd>;

}  // namespace

TEST(RcPtr, TheLastReleaseDestroysCopiesStartUnsharedAndThreadsBalance) {
  {
    Kcls::CRcPtr<CNode> a(new CNode), b = a, copy(new CNode(*a));
    *copy = *a;  // neither copying nor assigning an object shares its count
    EXPECT_TRUE(a->RefCount() == 2u && copy->RefCount() == 1u && b == a && CNode::live == 2);
    copy = b = Kcls::CRcPtr<CNode>(new CNode);  // b lets go of a's node, the copy's node dies
    // Trading a node for its own child, held by nothing else: the child
    // must be taken before the parent goes.
    a->next = Kcls::CRcPtr<CNode>(new CNode);
    a = a->next;
    EXPECT_TRUE(CNode::live == 2 && a->RefCount() == 1u && !a->next);
  }
  // Holders on two threads at once: the atomic count balances.
  Kcls::CRcPtr<CShared> root(new CShared);
  auto const hold = [&root] {
    for (int i = 0; i < 1000000; ++i) Kcls::CRcPtr<CShared>(root).reset();
  };
  std::thread other(hold);
  hold();
  other.join();
  EXPECT_TRUE(CNode::live == 0 && root->RefCount() == 1u && CShared::live == 1);
}
