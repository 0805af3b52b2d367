// Intrusive reference counting for objects shared by several holders (the
// nodes of a decision tree): the count lives in the object, the last
// Release destroys it through the virtual destructor of CRcBase.
//
//   class CNode : public Kcls::CRcSimple { ... };
//   Kcls::CRcPtr<CNode> p(new CNode);  // count 1, deleted with the last copy
//
// CRcSimple counts with a plain integer: cheap, but the holders of one
// object must not change its count from several threads at once.
// CRcMultiThrd counts atomically and may be shared across threads.
#pragma once

#include <atomic>
#include <cstddef>
#include <utility>

namespace Kcls {

// The polymorphic root of every counted object. Its one virtual member is
// the destructor, so a class deriving from CRcSimple or CRcMultiThrd finds
// its own virtual functions right after it.
class CRcBase {
 public:
  virtual ~CRcBase() = default;

 protected:
  CRcBase() = default;
  CRcBase(CRcBase const&) = default;
  CRcBase& operator=(CRcBase const&) = default;
};

// A counted object with a plain counter. A new object starts at count 0;
// the first holder calls AddRef. Release returns the count left and deletes
// the object when it reaches 0, so the object must have been made with new.
// Copying an object does not copy its count: the copy starts unshared.
class CRcSimple : public CRcBase {
 public:
  void AddRef() const { ++m_count; }
  unsigned long Release() const {
    unsigned long const left = --m_count;
    if (left == 0) delete this;
    return left;
  }
  unsigned long RefCount() const { return m_count; }

 protected:
  CRcSimple() = default;
  CRcSimple(CRcSimple const& o) : CRcBase(o) {}
  CRcSimple& operator=(CRcSimple const&) { return *this; }

 private:
  mutable unsigned long m_count = 0;
};

// As CRcSimple with an atomic counter. The decrement that reaches zero
// synchronises with every earlier decrement, so the deleting thread sees
// all writes made by the other holders before they let go.
class CRcMultiThrd : public CRcBase {
 public:
  void AddRef() const { m_count.fetch_add(1, std::memory_order_relaxed); }
  unsigned long Release() const {
    unsigned long const left = m_count.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return left;
  }
  unsigned long RefCount() const { return m_count.load(std::memory_order_relaxed); }

 protected:
  CRcMultiThrd() = default;
  CRcMultiThrd(CRcMultiThrd const& o) : CRcBase(o) {}
  CRcMultiThrd& operator=(CRcMultiThrd const&) { return *this; }

 private:
  mutable std::atomic<unsigned long> m_count{0};
};

// A counted reference to T (anything with AddRef and Release): takes a
// reference on construction and copy, gives it back on destruction, reset
// and assignment. Assignment takes the new reference before releasing the
// old one, so self-assignment and assigning a node's own child are safe.
template <class T>
class CRcPtr {
 public:
  CRcPtr() = default;
  CRcPtr(std::nullptr_t) {}
  explicit CRcPtr(T* p) : m_p(p) {
    if (m_p != nullptr) m_p->AddRef();
  }
  CRcPtr(CRcPtr const& o) : CRcPtr(o.m_p) {}
  CRcPtr(CRcPtr&& o) noexcept : m_p(std::exchange(o.m_p, nullptr)) {}
  template <class U>
  CRcPtr(CRcPtr<U> const& o) : CRcPtr(o.get()) {}
  ~CRcPtr() {
    if (m_p != nullptr) m_p->Release();
  }

  CRcPtr& operator=(CRcPtr const& o) {
    CRcPtr(o).swap(*this);
    return *this;
  }
  CRcPtr& operator=(CRcPtr&& o) noexcept {
    CRcPtr(std::move(o)).swap(*this);
    return *this;
  }

  void reset(T* p = nullptr) { CRcPtr(p).swap(*this); }
  void swap(CRcPtr& o) noexcept { std::swap(m_p, o.m_p); }

  T* get() const { return m_p; }
  T& operator*() const { return *m_p; }
  T* operator->() const { return m_p; }
  explicit operator bool() const { return m_p != nullptr; }

  friend bool operator==(CRcPtr const& a, CRcPtr const& b) { return a.m_p == b.m_p; }
  friend bool operator!=(CRcPtr const& a, CRcPtr const& b) { return a.m_p != b.m_p; }

 private:
  T* m_p = nullptr;
};

}  // namespace Kcls
