#pragma once
// `generic_iterator_t<T>`: a forward cursor over a sequence, with `at_end`,
// `current` and `next`.
//
// The iterator shares ownership of the vector it walks, so a function may
// build a vector and return an iterator over it: the vector lives as long as
// any copy of the iterator. `borrow` makes an iterator over a vector that the
// caller keeps alive; such an iterator must not outlive the vector.

#include <cstddef>
#include <memory>
#include <vector>

namespace foundation {

template <class T>
class generic_iterator_t {
 public:
  generic_iterator_t() = default;

  explicit generic_iterator_t(std::shared_ptr<const std::vector<T>> items) : items_(std::move(items)) {}
  explicit generic_iterator_t(std::shared_ptr<std::vector<T>> items)
      : items_(std::shared_ptr<const std::vector<T>>(std::move(items))) {}
  explicit generic_iterator_t(std::vector<T>&& items)
      : items_(std::make_shared<const std::vector<T>>(std::move(items))) {}

  /// Non-owning: `items` must outlive the iterator and all its copies.
  static generic_iterator_t borrow(const std::vector<T>& items) {
    return generic_iterator_t(std::shared_ptr<const std::vector<T>>(std::shared_ptr<void>(), &items));
  }

  bool at_end() const { return !items_ || pos_ >= items_->size(); }
  /// Precondition: !at_end().
  const T& current() const { return (*items_)[pos_]; }
  void next() { ++pos_; }

  /// Number of elements in the whole sequence, walked or not.
  std::size_t size() const { return items_ ? items_->size() : 0; }
  void rewind() { pos_ = 0; }

 private:
  std::shared_ptr<const std::vector<T>> items_;
  std::size_t pos_ = 0;
};

}  // namespace foundation
