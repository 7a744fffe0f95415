#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/model_support/compiler_helpers.h"
#include "platform/model_support/isa_helpers.h"
#include "platform/portability/assert.h"
#include "tests/support/expected_assertions.h"

namespace {

using namespace data_models2::compiler_helpers;

TEST(CompilerHelpersTest, ParseVersion) {
  struct Case {
    const char* text;
    CompilerVersion expected;
  };
  const Case cases[] = {
      {"2021.10.0", {2021, 10, 0}},
      {"12.2", {12, 2, 0}},
      {"16", {16, 0, 0}},
      {"gcc version 12.2.0 (debian)", {12, 2, 0}},
      {"19.1.2.254", {19, 1, 2}},
      {"12.", {12, 0, 0}},
      {"17.0-beta", {17, 0, 0}},
      {"", {-1, -1, -1}},
      {"unknown", {-1, -1, -1}},
      {"99999999999.1", {-1, -1, -1}},
      {"1.99999999999", {-1, -1, -1}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(parseVersion(c.text), c.expected);
  }
}

TEST(CompilerHelpersTest, VersionsCompareFieldByField) {
  EXPECT_LE(parseVersion("16"), parseVersion("16.0.0"));
  EXPECT_GT(parseVersion("16.0.1"), parseVersion("16.0.0"));
  EXPECT_LT(parseVersion("9.5"), parseVersion("10"));
  // An unknown compiler counts as older than any known one.
  EXPECT_LT(CompilerVersion{}, parseVersion("0.0.0"));
}

TEST(CompilerOptionsTest, OptionsKeepTheirArguments) {
  struct Case {
    const char* flags;
    std::vector<std::string> expected;
  };
  const Case cases[] = {
      {"-O3 -xHost", {"-O3", "-xHost"}},
      {"  -fp-model   precise  -g ", {"-fp-model precise", "-g"}},
      {"/O2 /fp:strict /Qxhost", {"/O2", "/fp:strict", "/Qxhost"}},
      {"icx -O2 -o out", {"icx", "-O2", "-o out"}},
      {"-DNAME=\"a -b\" -O1", {"-DNAME=\"a -b\"", "-O1"}},
      {"", {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.flags);
    EXPECT_EQ(splitCompilerOptions(c.flags), c.expected);
  }
}

// The patterns are the detectors' own, against option spellings of real
// compiler drivers.
TEST(CompilerOptionsTest, DetectorPatternsAgainstRealFlags) {
  struct Case {
    const char* flags;
    std::vector<std::string> patterns;
    bool expected;
  };
  const Case cases[] = {
      {"-O3 -g", {"O3"}, true},
      {"-O2 -g", {"O3"}, false},
      {"/O2 /Zi", {"O2"}, true},
      {"-O2 -Ob0", {"Ob0", "inline-level=0"}, true},
      {"-O2 -inline-level=0", {"Ob0", "inline-level=0"}, true},
      {"-O2 -inline-level=2", {"Ob0", "inline-level=0"}, false},
      {"-O3 -xCORE-AVX512", {"(Q)?(a)?x([A-Z])+-AVX512"}, true},
      {"/QxCORE-AVX512", {"(Q)?(a)?x([A-Z])+-AVX512"}, true},
      {"-axCORE-AVX512", {"(Q)?(a)?x([A-Z])+-AVX512"}, true},
      {"-xCORE-AVX2", {"(Q)?(a)?x([A-Z])+-AVX512"}, false},
      // The general AVX-512 pattern also finds the many-core option.
      {"-xZQR-AVX512", {"(Q)?(a)?x([A-Z])+-AVX512"}, true},
      {"-xCORE-AVX512", {"(Q)?(a)?xZQR-AVX512"}, false},
      {"-fp-model precise", {"fp:precise", "fp-model\\s+precise"}, true},
      {"-fp-model fast", {"fp:precise", "fp-model\\s+precise"}, false},
      {"/fp:precise", {"fp:precise", "fp-model\\s+precise"}, true},
      // The leading minus is part of what the option must show.
      {"-fp-model strict", {"fp:strict", "-fp-model\\s+strict"}, true},
      {"/fp-model strict", {"fp:strict", "-fp-model\\s+strict"}, false},
      // An argument belongs to its own option only.
      {"-fp-model -O2 strict", {"-fp-model\\s+strict"}, false},
      {"-xHost", {"(Q)?xHOST"}, true},
      {"/QxHost", {"(Q)?xHOST"}, true},
      {"-march=core-avx2", {"(arch|m|march)(:|=)?CORE-AVX2"}, true},
      {"/arch:CORE-AVX2", {"(arch|m|march)(:|=)?CORE-AVX2"}, true},
      {"-xCORE-AVX2", {"(Q)?(a)?x([A-Z\\-])+AVX\\d"}, true},
      {"-no-fma", {"Qfma(-)?", "(no)?-fma"}, true},
      {"/Qfma-", {"Qfma(-)?", "(no)?-fma"}, true},
      {"-no-prec-div", {"Qprec-div(-)?", "(no)?-prec-div"}, true},
      {"-prec-sqrt", {"Qprec-div(-)?", "(no)?-prec-div"}, false},
      {"-fimf-precision=high", {"(Q|f)imf-precision"}, true},
      {"", {"O3"}, false},
      {"-O3", {}, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.flags) + " ~ " + (c.patterns.empty() ? "(none)" : c.patterns.front()));
    EXPECT_EQ(hasAnyOfCompilerFlags(c.flags, c.patterns, true), c.expected);
  }
}

TEST(CompilerOptionsTest, CaseMattersOnlyWhenAsked) {
  EXPECT_TRUE(hasAnyOfCompilerFlags("-xHost", {"(Q)?xHOST"}, true));
  EXPECT_FALSE(hasAnyOfCompilerFlags("-xHost", {"(Q)?xHOST"}, false));
  EXPECT_TRUE(hasAnyOfCompilerFlags("-xHOST", {"(Q)?xHOST"}, false));
  // The two answers come from separately compiled lists: asking one way
  // first must not decide the other.
  EXPECT_FALSE(hasAnyOfCompilerFlags("-xHost", {"(Q)?xHOST"}, false));
}

TEST(CompilerOptionsTest, InvalidPatternMatchesNothingAndIsReported) {
  test_support::ExpectedAssertions assertions;
  EXPECT_FALSE(hasAnyOfCompilerFlags("-O3 (", {"("}, true));
  EXPECT_GT(assertions.fired(), 0u);
  // The valid patterns of the same list still work.
  EXPECT_TRUE(hasAnyOfCompilerFlags("-O3", {"(", "O3"}, true));
}

TEST(CompilerOptionsTest, SharedCacheAnswersFromManyThreads) {
  std::vector<std::thread> threads;
  std::vector<int> hits(4, 0);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &hits] {
      for (int i = 0; i < 200; ++i) {
        const std::vector<std::string> patterns = {"O" + std::to_string(i % 4), "fp:strict"};
        if (hasAnyOfCompilerFlags("-O3 -g", patterns, true)) ++hits[t];
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int count : hits) EXPECT_EQ(count, 50);
}

TEST(MainVectTypeTest, TypesOfEachKindAndTheirWidths) {
  struct Case {
    int kind;
    const char* firstName;
    const char* firstShown;
    int bits;
  };
  const Case cases[] = {
      {MainVectInt8, "int8", "Int8", 8},          {MainVectInt16, "int16", "Int16", 16},
      {MainVectInt32, "int32", "Int32", 32},      {MainVectInt64, "int64", "Int64", 64},
      {MainVectFloat32, "float32", "Float32", 32}, {MainVectFloat64, "float64", "Float64", 64},
      {MainVectComplex64, "complex64", "Complex64", 64},
      {MainVectComplex128, "complex128", "Complex128", 128},
      {MainVectFloat16, "float16", "Float16", 16},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.kind);
    const auto types = getDataTypesEqualTo(c.kind);
    ASSERT_FALSE(types.empty());
    EXPECT_EQ(types.front().first, c.firstName);
    EXPECT_EQ(types.front().second, c.firstShown);
    // Every name handed out must be one the width helper reads.
    for (const auto& [name, shown] : types) {
      EXPECT_EQ(data_models2::isa_helpers::getTypeMaxWidth(name), c.bits) << name;
      // Integer kinds are told apart by "Int" in the shown name.
      EXPECT_EQ(shown.find("Int") != std::string::npos, c.kind <= MainVectInt64) << shown;
    }
  }
  EXPECT_TRUE(getDataTypesEqualTo(MainVectUnknown).empty());
  EXPECT_TRUE(getDataTypesEqualTo(10).empty());
  EXPECT_TRUE(getDataTypesEqualTo(-1).empty());
}

TEST(CompilerNonVectorizationMessage, KnownNumbersHaveTextsOthersNameTheNumber) {
  struct Case {
    int number;
    bool known;
    const char* fragment;
  };
  const Case cases[] = {
      {15300, true, "was vectorized"},
      {15344, true, "assumed a dependency"},
      {15382, true, "call to a function"},
      {15326, true, "exception model"},
      {15543, true, "function call"},
      {15521, true, "control variable"},
      {15523, true, "trip count"},
      {15999, false, "diagnostic 15999"},
      {-1, false, "diagnostic -1"},
  };
  for (const Case& c : cases) {
    std::string message;
    EXPECT_EQ(getCompilerNonVectorizationMessage(c.number, message), c.known) << c.number;
    EXPECT_NE(message.find(c.fragment), std::string::npos) << message;
  }
}

}  // namespace
