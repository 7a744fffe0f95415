#include "platform/foundation/generic_iterator.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace foundation {
namespace {

std::vector<std::string> drain(generic_iterator_t<std::string> it) {
  std::vector<std::string> out;
  for (; !it.at_end(); it.next()) out.push_back(it.current());
  return out;
}

generic_iterator_t<std::string> madeInAFunction() {
  std::vector<std::string> local{"a", "b", "c"};
  return generic_iterator_t<std::string>(std::move(local));
}

TEST(GenericIteratorTest, OwnsAVectorThatWentOutOfScope) {
  EXPECT_EQ(drain(madeInAFunction()), (std::vector<std::string>{"a", "b", "c"}));
}

TEST(GenericIteratorTest, SharedVectorLivesAsLongAsAnyCopy) {
  auto items = std::make_shared<std::vector<std::string>>(std::vector<std::string>{"x", "y"});
  std::weak_ptr<std::vector<std::string>> watch = items;
  generic_iterator_t<std::string> copy;
  {
    generic_iterator_t<std::string> it(std::move(items));
    copy = it;
  }
  EXPECT_FALSE(watch.expired());
  EXPECT_EQ(drain(copy), (std::vector<std::string>{"x", "y"}));
  copy = generic_iterator_t<std::string>();
  EXPECT_TRUE(watch.expired());
}

TEST(GenericIteratorTest, CopiesAdvanceIndependently) {
  generic_iterator_t<std::string> a = madeInAFunction();
  a.next();
  generic_iterator_t<std::string> b = a;
  b.next();
  EXPECT_EQ(a.current(), "b");
  EXPECT_EQ(b.current(), "c");
  b.next();
  EXPECT_TRUE(b.at_end());
  b.rewind();
  EXPECT_EQ(b.current(), "a");
  EXPECT_TRUE(generic_iterator_t<int>().at_end());
  EXPECT_TRUE(generic_iterator_t<int>{std::shared_ptr<const std::vector<int>>()}.at_end());
}

TEST(GenericIteratorTest, BorrowSeesTheCallersVector) {
  std::vector<int> kept{1, 2};
  auto it = generic_iterator_t<int>::borrow(kept);
  kept[1] = 5;
  it.next();
  EXPECT_EQ(it.current(), 5);
  EXPECT_EQ(it.size(), 2u);
}

}  // namespace
}  // namespace foundation
