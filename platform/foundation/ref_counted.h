#pragma once
// Intrusive reference counting shared by every model object and record.
//
// An interface that is held by `sptr_t` derives from `ref_countable_t`; the
// concrete object is made as `ref_counted_t<Impl, mt_ref_count_impl_t>`, which
// supplies the count. Keeping the count out of the interfaces lets the host and
// this library agree on the interfaces without agreeing on an allocator.

#include <atomic>
#include <utility>

namespace foundation {

/// Base of every interface held by `sptr_t`.
class ref_countable_t {
 public:
  virtual void add_ref() const = 0;
  virtual void release() const = 0;

 protected:
  virtual ~ref_countable_t() = default;
};

/// Thread-safe counter: objects are shared between the scan's worker and the
/// host's thread, so the count must be atomic.
class mt_ref_count_impl_t {
 public:
  long increment() const noexcept { return count_.fetch_add(1, std::memory_order_relaxed) + 1; }
  long decrement() const noexcept { return count_.fetch_sub(1, std::memory_order_acq_rel) - 1; }
  long value() const noexcept { return count_.load(std::memory_order_acquire); }

 private:
  mutable std::atomic<long> count_{0};
};

/// Counter for objects that never leave one thread.
class st_ref_count_impl_t {
 public:
  long increment() const noexcept { return ++count_; }
  long decrement() const noexcept { return --count_; }
  long value() const noexcept { return count_; }

 private:
  mutable long count_ = 0;
};

/// Completes `T` with a reference count; `T` must derive from ref_countable_t.
template <class T, class CountImpl = mt_ref_count_impl_t>
class ref_counted_t final : public T {
 public:
  template <class... Args>
  explicit ref_counted_t(Args&&... args) : T(std::forward<Args>(args)...) {}

  void add_ref() const override { count_.increment(); }
  void release() const override {
    if (count_.decrement() == 0) delete this;
  }
  long use_count() const { return count_.value(); }

 private:
  CountImpl count_;
};

}  // namespace foundation

// boost::intrusive_ptr finds these through argument-dependent lookup on the
// pointee's base class.
namespace foundation {
inline void intrusive_ptr_add_ref(const ref_countable_t* p) { p->add_ref(); }
inline void intrusive_ptr_release(const ref_countable_t* p) { p->release(); }
}  // namespace foundation
