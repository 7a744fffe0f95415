#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/model_support/isa_helpers.h"
#include "platform/model_support/issue_helpers.h"
#include "platform/model_support/mangle_rules_helpers.h"

namespace {

using namespace data_models2::mangle_rules_helpers;
using data_models2::issue_helpers::isVectorFunctionByMangledName;
namespace isa = data_models2::isa_helpers;

struct Param {
  unsigned kind;
  long long step;
  int stepArgument;
  unsigned long long alignment;

  bool operator==(const VectorParameter& p) const {
    return kind == p.kind && step == p.step && stepArgument == p.stepArgument && alignment == p.alignment;
  }
};

TEST(VectorFunctionNameTest, ValidNamesAndTheirParts) {
  struct Case {
    const char* name;
    int isa;
    int masked;
    int vectorLength;
    std::vector<Param> parameters;
    const char* scalarName;
  };
  const Case cases[] = {
      {"_ZGVbN2v_sin", isa::IsaTypeSse2, 0, 2, {{ParamVector, 0, -1, 0}}, "sin"},
      {"_ZGVcM8vv_powf", isa::IsaTypeAvx, 1, 8, {{ParamVector, 0, -1, 0}, {ParamVector, 0, -1, 0}}, "powf"},
      {"_ZGVdN4vl8_foo", isa::IsaTypeAvx2, 0, 4, {{ParamVector, 0, -1, 0}, {ParamLinear, 8, -1, 0}}, "foo"},
      {"_ZGVeN16ul_bar", isa::IsaTypeAvx512, 0, 16, {{ParamUniform, 0, -1, 0}, {ParamLinear, 1, -1, 0}}, "bar"},
      {"_ZGVbN4Ln4_f", isa::IsaTypeSse2, 0, 4, {{ParamLinearVal, -4, -1, 0}}, "f"},
      {"_ZGVbN4Rs1u_f", isa::IsaTypeSse2, 0, 4,
       {{ParamLinearRef | ParamVariableStep, 0, 1, 0}, {ParamUniform, 0, -1, 0}}, "f"},
      {"_ZGVdN4Ua32va16_g", isa::IsaTypeAvx2, 0, 4,
       {{ParamLinearUval | ParamAligned, 1, -1, 32}, {ParamVector | ParamAligned, 0, -1, 16}}, "g"},
      {"_ZGVeMxv_h", isa::IsaTypeAvx512, 1, 0, {{ParamVector, 0, -1, 0}}, "h"},
      // The scalar name may be a mangled name of its own, with underscores.
      {"_ZGVbN4v__Z3fooi", isa::IsaTypeSse2, 0, 4, {{ParamVector, 0, -1, 0}}, "_Z3fooi"},
      {"_ZGVbN4_rand", isa::IsaTypeSse2, 0, 4, {}, "rand"},
      // What gcc 12 and clang 14 emit for linear(i:-3), linear(p:s)
      // uniform(s), aligned(p:64) uniform(p), and C++ linear(ref(r)).
      {"_ZGVdN4ln3_fneg", isa::IsaTypeAvx2, 0, 4, {{ParamLinear, -3, -1, 0}}, "fneg"},
      {"_ZGVdN4l-3_fneg", isa::IsaTypeAvx2, 0, 4, {{ParamLinear, -3, -1, 0}}, "fneg"},
      {"_ZGVdN4ls1u_fvar", isa::IsaTypeAvx2, 0, 4,
       {{ParamLinear | ParamVariableStep, 0, 1, 0}, {ParamUniform, 0, -1, 0}}, "fvar"},
      {"_ZGVdN4s1u_fvar", isa::IsaTypeAvx2, 0, 4,
       {{ParamLinear | ParamVariableStep, 0, 1, 0}, {ParamUniform, 0, -1, 0}}, "fvar"},
      {"_ZGVdN4ua64v_fal", isa::IsaTypeAvx2, 0, 4,
       {{ParamUniform | ParamAligned, 0, -1, 64}, {ParamVector, 0, -1, 0}}, "fal"},
      {"_ZGVeN8R8__Z4frefRd", isa::IsaTypeAvx512, 0, 8, {{ParamLinearRef, 8, -1, 0}}, "_Z4frefRd"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    VectorFunctionDescriptor descriptor;
    ASSERT_TRUE(demangleVectorFunctionName(c.name, descriptor));
    EXPECT_TRUE(isVectorFunctionByMangledName(c.name));
    EXPECT_EQ(descriptor.isa, c.isa);
    EXPECT_EQ(descriptor.masked, c.masked);
    EXPECT_EQ(descriptor.vectorLength, c.vectorLength);
    ASSERT_EQ(descriptor.parameters.size(), c.parameters.size());
    auto it = descriptor.parameters.begin();
    for (const Param& expected : c.parameters) EXPECT_TRUE(expected == *it++);
    EXPECT_EQ(descriptor.scalarName, c.scalarName);
  }
}

TEST(VectorFunctionNameTest, InvalidNamesLeaveTheDescriptorAlone) {
  const char* names[] = {
      "",
      "sin",
      "_Z3sind",
      "_ZGV",
      "_ZGVaN4v_f",     // no such instruction set letter
      "_ZGVbX4v_f",     // mask must be N or M
      "_ZGVbN0v_f",     // no lanes
      "_ZGVbNv_f",      // no length
      "_ZGVbN4v",       // no '_' and name
      "_ZGVbN4v_",      // empty name
      "_ZGVbN4q_f",     // unknown parameter kind
      "_ZGVbN4v2_f",    // a vector parameter has no step
      "_ZGVbN4u4_f",    // nor has a uniform one
      "_ZGVbN4ln_f",    // negative step without its number
      "_ZGVbN4va0_f",   // alignment 0
      "_ZGVbN4va_f",    // alignment without its number
      "_ZGVbN4ls5u_f",  // variable step held by a parameter that isn't there
      "_ZGVbN4ls1v_f",  // variable step held by a vector parameter
      "_ZGVbN4s1v_f",   // the same in clang's form
      "_ZGVbN4s_f",     // clang's variable step without its position
      "_ZGVbN4l-_f",    // clang's negative step without its number
      "_ZGVbN99999999999v_f",
  };
  for (const char* name : names) {
    SCOPED_TRACE(name);
    VectorFunctionDescriptor descriptor;
    descriptor.isa = 3;
    EXPECT_FALSE(demangleVectorFunctionName(name, descriptor));
    EXPECT_FALSE(isVectorFunctionByMangledName(name));
    EXPECT_EQ(descriptor.isa, 3);
    EXPECT_TRUE(descriptor.parameters.empty());
  }
}

// The variants gcc 12 and clang 14 emit for two `declare simd` functions
// (nm of the objects, or clang's IR attributes, of
//   #pragma omp declare simd notinbranch       double weight(double);
//   #pragma omp declare simd linear(p) uniform(s) float scale(float* p, float s);
// built with -fopenmp-simd, as C and as C++): every one reads, with the set
// its letter names. Both compilers give these the same names.
TEST(VectorFunctionNameTest, NamesGccAndClangEmitForDeclareSimd) {
  const char* names[] = {"_ZGVbM4l4u_scale",      "_ZGVbN2v_weight",     "_ZGVbN4l4u_scale", "_ZGVcM8l4u_scale",
                         "_ZGVcN4v_weight",       "_ZGVcN8l4u_scale",    "_ZGVdM8l4u_scale", "_ZGVdN4v_weight",
                         "_ZGVdN8l4u_scale",      "_ZGVeM16l4u_scale",   "_ZGVeN16l4u_scale", "_ZGVeN8v_weight",
                         "_ZGVbN2v__Z6weightd",   "_ZGVdN4v__Z6weightd", "_ZGVeN8v__Z6weightd",
                         "_ZGVcM8l4u__Z5scalePff", "_ZGVeN16l4u__Z5scalePff"};
  for (const char* name : names) {
    SCOPED_TRACE(name);
    VectorFunctionDescriptor descriptor;
    ASSERT_TRUE(demangleVectorFunctionName(name, descriptor));
    const std::string scalar = descriptor.scalarName;
    EXPECT_TRUE(scalar == "weight" || scalar == "scale" || scalar == "_Z6weightd" || scalar == "_Z5scalePff");
    // A pointer advanced by 4 bytes per lane: linear with step 4, then uniform.
    if (scalar.find("scale") != std::string::npos) {
      ASSERT_EQ(descriptor.parameters.size(), 2u);
      EXPECT_EQ(descriptor.parameters.front().kind, static_cast<unsigned>(ParamLinear));
      EXPECT_EQ(descriptor.parameters.front().step, 4);
      EXPECT_EQ(descriptor.parameters.back().kind, static_cast<unsigned>(ParamUniform));
    }
  }
}

}  // namespace
