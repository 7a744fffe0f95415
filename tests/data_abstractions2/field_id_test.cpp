#include "data_abstractions2/field_id.h"

#include <set>
#include <string>

#include <gtest/gtest.h>

namespace data_abstractions2 {
namespace {

TEST(FieldIdTest, EveryNamedNumberRoundTripsUniquely) {
  std::set<std::string> names;
  for (int id = -5; id < 1000; ++id) {
    const char* name = fieldName(id);
    if (!name) continue;
    EXPECT_TRUE(names.insert(name).second) << name;
    int back = -1;
    ASSERT_TRUE(fieldIdFromName(name, back)) << name;
    EXPECT_EQ(back, id);
  }
  EXPECT_TRUE(names.count("SelfTime") && names.count("FuncInstIdx")) << "the table was not walked";
}

TEST(FieldIdTest, UnknownNumbersAndNames) {
  EXPECT_EQ(fieldName(11), nullptr);
  EXPECT_EQ(fieldName(-1), nullptr);
  int id = 7;
  for (const char* name : {"", "selftime", "SelfTime ", "Field", "Field999"}) {
    EXPECT_FALSE(fieldIdFromName(name, id)) << name;
  }
  EXPECT_FALSE(fieldIdFromName(nullptr, id));
  EXPECT_EQ(id, 7);
}

}  // namespace
}  // namespace data_abstractions2
