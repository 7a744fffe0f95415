#include "discmodels2/recommendations_model/data/field_retriever.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/discmodels2/recommendations_model/test_fakes.h"

namespace {

using namespace test_fakes;
using data_models2::checkData;
using data_models2::FieldRetriever;

constexpr std::uint64_t kAllOnes = std::numeric_limits<std::uint64_t>::max();

template <class T>
struct ReadCase {
  const char* name;
  std::optional<variant_t> stored;  ///< nothing: the row lacks the field
  T expected;
  bool present;
};

// Every case starts from `initial` so that "left alone" is visible.
template <class T>
void expectReads(const std::vector<ReadCase<T>>& cases, const T& initial) {
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto dataset = foundation::pool_allocate<FakeDataset>(BottomUp);
    auto row = makeRow(1);
    if (c.stored) dataset->set(row, SelfTime, *c.stored);
    data_models2::FieldPresence presence;
    T out = initial;
    FieldRetriever(row, dataset, &presence)(SelfTime, out);
    EXPECT_EQ(out, c.expected);
    EXPECT_EQ(presence[SelfTime], c.present);
  }
}

TEST(FieldRetrieverTest, ReadsUnsigned64) {
  expectReads<std::uint64_t>({{"missing keeps value", std::nullopt, 7, false},
                              {"u32", variant_t(std::uint32_t{5}), 5, true},
                              {"negative i64 keeps its bit pattern", variant_t(std::int64_t{-1}), kAllOnes, true},
                              {"bool is a one-bit integer", variant_t(true), 1, true},
                              {"real is the wrong kind", variant_t(2.5), 0, true},
                              {"text is the wrong kind", variant_t("12"), 0, true}},
                             7);
}

TEST(FieldRetrieverTest, ReadsIntFromLow32Bits) {
  expectReads<int>({{"u64 above 32 bits", variant_t::make_integer(variant_t::t_u64, 0x100000005ull), 5, true},
                    {"negative i32", variant_t(-3), -3, true},
                    {"text", variant_t("3"), 0, true},
                    {"missing", std::nullopt, 7, false}},
                   7);
}

TEST(FieldRetrieverTest, ReadsDoubleBySignedness) {
  expectReads<double>({{"negative i64", variant_t(std::int64_t{-3}), -3.0, true},
                       {"u64 all ones is large, not -1", variant_t(kAllOnes), 18446744073709551615.0, true},
                       {"f32", variant_t(1.5f), 1.5, true},
                       {"bool", variant_t(true), 1.0, true},
                       {"text", variant_t("1.5"), 0.0, true},
                       {"missing", std::nullopt, 7.0, false}},
                      7.0);
}

TEST(FieldRetrieverTest, ReadsBoolFromWholePayload) {
  expectReads<bool>({{"integer 2", variant_t(2), true, true},
                     {"high bit only", variant_t::make_integer(variant_t::t_u64, 1ull << 40), true, true},
                     {"zero", variant_t(std::uint8_t{0}), false, true},
                     {"bool", variant_t(true), true, true},
                     {"real is the wrong kind", variant_t(1.0), false, true},
                     {"missing", std::nullopt, true, false}},
                    true);
}

TEST(FieldRetrieverTest, ReadsText) {
  expectReads<std::string>({{"text", variant_t("icx"), "icx", true},
                            {"integer is the wrong kind", variant_t(5), "", true},
                            {"missing", std::nullopt, "before", false}},
                           "before");
}

TEST(FieldRetrieverTest, NullDatasetIsAbsentAndLastReadWins) {
  auto dataset = foundation::pool_allocate<FakeDataset>(BottomUp);
  auto row = makeRow(1);
  dataset->set(row, SelfTime, variant_t(1.0));
  data_models2::FieldPresence presence;
  double out = 0.0;

  FieldRetriever(row, dataset, &presence)(SelfTime, out);
  ASSERT_TRUE(presence[SelfTime]);
  FieldRetriever(row, nullptr, &presence)(SelfTime, out);
  EXPECT_FALSE(presence[SelfTime]);
  EXPECT_EQ(out, 1.0);
}

TEST(CheckDataTest, FallsBackWhereTheRetrieverWouldStoreZero) {
  auto dataset = foundation::pool_allocate<FakeDataset>(BottomUp);
  auto row = makeRow(1);
  dataset->set(row, FuncInstIdx, variant_t(std::uint64_t{42}));
  dataset->set(row, SourceFile, variant_t("a.c"));
  dataset->set(row, StrideRowMark, variant_t(true));
  dataset->set(row, StrideKind0, variant_t(0.25));

  EXPECT_EQ(checkData<std::int64_t>(FuncInstIdx, -1, row, dataset), 42);
  EXPECT_EQ(checkData<std::int64_t>(SourceFile, -1, row, dataset), -1);
  EXPECT_EQ(checkData<std::int64_t>(FunctionName, -1, row, dataset), -1);
  EXPECT_EQ(checkData<std::int64_t>(FuncInstIdx, -1, row, nullptr), -1);
  EXPECT_TRUE(checkData<bool>(StrideRowMark, false, row, dataset));
  EXPECT_TRUE(checkData<bool>(SourceFile, true, row, dataset));
  EXPECT_EQ(checkData<double>(StrideKind0, 9.0, row, dataset), 0.25);
  EXPECT_EQ(checkData<double>(FuncInstIdx, 9.0, row, dataset), 42.0);
  EXPECT_EQ(checkData<std::string>(SourceFile, "x", row, dataset), "a.c");
  EXPECT_EQ(checkData<std::string>(FuncInstIdx, "x", row, dataset), "x");
}

}  // namespace
