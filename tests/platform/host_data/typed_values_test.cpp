// The kind of a stored value is what readers convert by, so every JSON
// spelling must arrive as exactly the kind the file means.

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

#include "platform/host_data/result_loader.h"

namespace {

using foundation::variant_t;

struct TypedCase {
  const char* name;
  const char* field;  // key in "fields"
  const char* json;   // its value
  variant_t expected;
};

class TypedValues : public testing::TestWithParam<TypedCase> {};

TEST_P(TypedValues, ReadBackWithKindAndValue) {
  const TypedCase& c = GetParam();
  const std::string json = std::string(R"({"format": "nimbex-result", "version": 1, "bottomUp": {"rows": [)") +
                           R"({"id": 7, "fields": {")" + c.field + "\": " + c.json + "}}]}}";
  host_data::LoadResult loaded = host_data::loadResultText(json, "/r");
  ASSERT_TRUE(loaded.ok()) << loaded.error();
  auto dataset = loaded.models().surveyModel->getDataset(data_abstractions2::BottomUp);
  auto row = dataset->getRow(7);
  ASSERT_TRUE(row);

  int id = 0;
  if (!data_abstractions2::fieldIdFromName(c.field, id)) id = std::stoi(c.field);
  const auto column = dataset->getColumn(static_cast<data_abstractions2::FieldId>(id));
  ASSERT_NE(column, data_abstractions2::kNoColumn);
  variant_t value;
  ASSERT_TRUE(dataset->getValue(row, column, 0, value));
  EXPECT_EQ(value.type(), c.expected.type()) << variant_t::type_name(value.type());
  EXPECT_EQ(value, c.expected) << value.to_string();
}

variant_t integer(variant_t::type_t type, std::uint64_t raw) { return variant_t::make_integer(type, raw); }

const TypedCase kCases[] = {
    {"PlainInteger", "999", "42", variant_t(std::int64_t(42))},
    {"NegativeInteger", "999", "-7", variant_t(std::int64_t(-7))},
    {"Fraction", "999", "0.25", variant_t(0.25)},
    {"ExponentIsReal", "999", "1e3", variant_t(1000.0)},
    {"IntegralRealStaysReal", "999", "2.0", variant_t(2.0)},
    {"True", "999", "true", variant_t(true)},
    {"Text", "999", "\"AVX2\"", variant_t("AVX2")},
    {"EmptyText", "999", "\"\"", variant_t("")},
    {"Unsigned64Max", "999", R"({"u64": 18446744073709551615})",
     integer(variant_t::t_u64, std::numeric_limits<std::uint64_t>::max())},
    {"Signed8Min", "999", R"({"i8": -128})", integer(variant_t::t_i8, static_cast<std::uint64_t>(-128))},
    {"Unsigned16Max", "999", R"({"u16": 65535})", integer(variant_t::t_u16, 65535)},
    {"Signed32", "VectorizationDiagnosticId", R"({"i32": 15344})", integer(variant_t::t_i32, 15344)},
    {"Unsigned32", "999", R"({"u32": 4294967295})", integer(variant_t::t_u32, 4294967295u)},
    {"Signed64Explicit", "999", R"({"i64": -1})", variant_t(std::int64_t(-1))},
    {"Real32", "999", R"({"f32": 0.5})", variant_t(0.5f)},
    {"Real64FromInteger", "999", R"({"f64": 3})", variant_t(3.0)},
    {"ExplicitBool", "999", R"({"bool": false})", variant_t(false)},
    {"ExplicitText", "999", R"({"text": "x"})", variant_t("x")},
    // Fields the library reads: a plain value of the right class, or any
    // explicit kind on purpose.
    {"IntegerForRealField", "SelfTime", "3", variant_t(std::int64_t(3))},
    {"NameAndNumberAlike", "10", "0.5", variant_t(0.5)},
    {"ExplicitTextInRealField", "SelfTime", R"({"text": "n/a"})", variant_t("n/a")},
    {"ExplicitIntegerInBoolField", "IsVectorized", R"({"i32": 1})", integer(variant_t::t_i32, 1)},
    {"EscapedText", "FunctionName", R"("operator\"\"_km\n")", variant_t("operator\"\"_km\n")},
};

INSTANTIATE_TEST_SUITE_P(Fields, TypedValues, testing::ValuesIn(kCases),
                         [](const testing::TestParamInfo<TypedCase>& info) { return info.param.name; });

}  // namespace
