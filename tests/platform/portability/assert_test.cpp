#include "platform/portability/assert.h"

#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace portability {
namespace {

struct Seen {
  std::string condition;
  std::string file;
  int line;
  std::string function;
};

/// Installs a recording handler for one test and puts the previous one back.
class AssertTest : public ::testing::Test {
 protected:
  void SetUp() override {
    previous_ = set_assertion_handler([this](const assertion_info_t& info) {
      seen_.push_back(Seen{info.condition, info.file, info.line, info.function});
    });
  }
  void TearDown() override { set_assertion_handler(previous_); }

  std::vector<Seen> seen_;
  assertion_handler_t previous_;
};

int assertLine = 0;

void functionThatAsserts(int value) {
  assertLine = __LINE__ + 1;
  NIMB_ASSERT(value > 10 && "value must be large");
}

TEST_F(AssertTest, HandlerSeesConditionPlaceAndFunction) {
  const unsigned long before = assertion_count();
  functionThatAsserts(3);
  ASSERT_EQ(seen_.size(), 1u);
  EXPECT_EQ(seen_[0].condition, "value > 10 && \"value must be large\"");
  EXPECT_NE(seen_[0].file.find("assert_test.cpp"), std::string::npos);
  EXPECT_EQ(seen_[0].line, assertLine);
  EXPECT_EQ(seen_[0].function, "functionThatAsserts");
  EXPECT_EQ(assertion_count(), before + 1);
}

TEST_F(AssertTest, HoldingConditionIsSilentAndEvaluatedOnce) {
  int evaluations = 0;
  auto check = [&evaluations] {
    ++evaluations;
    return true;
  };
  const unsigned long before = assertion_count();
  NIMB_ASSERT(check());
  EXPECT_EQ(evaluations, 1);
  EXPECT_TRUE(seen_.empty());
  EXPECT_EQ(assertion_count(), before);
}

TEST_F(AssertTest, TextFormReportsTheGivenText) {
  const void* row = nullptr;
  NIMB_ASSERT_TEXT(row != nullptr, "row");
  ASSERT_EQ(seen_.size(), 1u);
  EXPECT_EQ(seen_[0].condition, "row");
}

TEST_F(AssertTest, HandlersAreReplacedAndMayBeEmpty) {
  int other = 0;
  assertion_handler_t mine = set_assertion_handler([&other](const assertion_info_t&) { ++other; });
  NIMB_ASSERT(false);
  EXPECT_EQ(other, 1);
  EXPECT_TRUE(seen_.empty());

  // Back to the recording handler: what set_assertion_handler returned works.
  set_assertion_handler(mine);
  NIMB_ASSERT(1 == 2);
  EXPECT_EQ(seen_.size(), 1u);

  // With no handler the macro only logs and counts.
  set_assertion_handler(nullptr);
  const unsigned long before = assertion_count();
  NIMB_ASSERT(false);
  EXPECT_EQ(assertion_count(), before + 1);
}

}  // namespace
}  // namespace portability
