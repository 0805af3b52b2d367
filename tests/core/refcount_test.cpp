#include <kcls/refcount.h>

#include <gtest/gtest.h>

#include <thread>
#include <utility>
#include <vector>

namespace {

// Counts live instances so a test sees exactly when the last release
// destroyed an object.
template <class TCounter>
struct CTracked : Kcls::CRcBase<TCounter> {
  explicit CTracked(int& live, int v = 0) : m_live(live), value(v) { ++m_live; }
  CTracked(CTracked const& o) : Kcls::CRcBase<TCounter>(o), m_live(o.m_live), value(o.value) { ++m_live; }
  CTracked& operator=(CTracked const& o) {
    Kcls::CRcBase<TCounter>::operator=(o);
    value = o.value;
    return *this;
  }
  ~CTracked() override { --m_live; }
  int& m_live;
  int value;
};

using CNode = CTracked<Kcls::CRcSimple>;
using CSharedNode = CTracked<Kcls::CRcMultiThrd>;

struct CChild : CNode {
  using CNode::CNode;
};

}  // namespace

TEST(CRcBase, LastReleaseDestroys) {
  int live = 0;
  auto* n = new CNode(live);
  EXPECT_EQ(n->RefCount(), 0u);
  n->AddRef();
  n->AddRef();
  EXPECT_EQ(n->Release(), 1u);
  EXPECT_EQ(live, 1);
  EXPECT_EQ(n->Release(), 0u);
  EXPECT_EQ(live, 0);

  // Destruction goes through the virtual destructor from the base.
  Kcls::CRcBase<>* base = new CChild(live);
  base->AddRef();
  EXPECT_EQ(live, 1);
  base->Release();
  EXPECT_EQ(live, 0);
}

TEST(CRcBase, CopyStartsUnshared) {
  int live = 0;
  Kcls::CRcPtr<CNode> a(new CNode(live, 7));
  Kcls::CRcPtr<CNode> shared = a;
  EXPECT_EQ(a->RefCount(), 2u);
  Kcls::CRcPtr<CNode> copy(new CNode(*a));
  EXPECT_EQ(copy->RefCount(), 1u);
  EXPECT_EQ(copy->value, 7);
  *copy = *a;  // assignment keeps each object's own count
  EXPECT_EQ(copy->RefCount(), 1u);
  EXPECT_EQ(a->RefCount(), 2u);
  EXPECT_EQ(live, 2);
}

TEST(CRcPtr, SharesAndReleases) {
  int live = 0;
  {
    Kcls::CRcPtr<CNode> a(new CNode(live, 1));
    EXPECT_EQ(a->RefCount(), 1u);
    {
      Kcls::CRcPtr<CNode> b = a;
      Kcls::CRcPtr<CNode> c;
      c = b;
      EXPECT_EQ(a->RefCount(), 3u);
      EXPECT_TRUE(a == c);
    }
    EXPECT_EQ(a->RefCount(), 1u);

    Kcls::CRcPtr<CNode> moved = std::move(a);
    EXPECT_FALSE(a);
    EXPECT_EQ(moved->RefCount(), 1u);

    moved = moved;  // self-assignment keeps the object
    EXPECT_EQ(live, 1);
    EXPECT_EQ(moved->RefCount(), 1u);

    // Replacing the only reference destroys the old object after the new
    // one is held.
    moved = Kcls::CRcPtr<CNode>(new CNode(live, 2));
    EXPECT_EQ(live, 1);
    EXPECT_EQ(moved->value, 2);

    moved.reset();
    EXPECT_EQ(live, 0);
    EXPECT_FALSE(moved);

    Kcls::CRcPtr<CChild> child(new CChild(live));
    Kcls::CRcPtr<CNode> asBase = child;
    EXPECT_EQ(child->RefCount(), 2u);
  }
  EXPECT_EQ(live, 0);
}

TEST(CRcPtr, AssigningAnObjectsOwnMemberIsSafe) {
  // A holder that drops its parent for the parent's child: the child must
  // be taken before the parent (and with it the child's other holder) goes.
  struct CLink : Kcls::CRcBase<> {
    Kcls::CRcPtr<CLink> next;
  };
  Kcls::CRcPtr<CLink> head(new CLink);
  head->next = Kcls::CRcPtr<CLink>(new CLink);
  head->next->next = Kcls::CRcPtr<CLink>(new CLink);
  head = head->next;
  ASSERT_TRUE(head);
  EXPECT_EQ(head->RefCount(), 1u);
  ASSERT_TRUE(head->next);
  EXPECT_FALSE(head->next->next);
}

TEST(CRcMultiThrd, ConcurrentHoldersBalance) {
  int live = 0;
  Kcls::CRcPtr<CSharedNode> root(new CSharedNode(live));
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&root] {
      for (int i = 0; i < 20000; ++i) {
        Kcls::CRcPtr<CSharedNode> local = root;
        Kcls::CRcPtr<CSharedNode> other = local;
      }
    });
  }
  for (std::thread& th : threads) th.join();
  EXPECT_EQ(root->RefCount(), 1u);
  EXPECT_EQ(live, 1);
  root.reset();
  EXPECT_EQ(live, 0);
}
