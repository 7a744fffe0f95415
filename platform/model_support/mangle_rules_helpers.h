#pragma once
// Names of compiled vector variants of functions, as the x86-64 vector
// function ABI mangles them:
//
//   _ZGV <isa> <mask> <vlen> <parameters> _ <name>
//
//   isa         b SSE, c AVX, d AVX2, e AVX-512
//   mask        N unmasked, M masked
//   vlen        lanes as a decimal number, or x for a scalable length
//   parameters  one letter each, in order: v vector, u uniform, l linear,
//               R linear reference (the address advances), U linear value
//               behind a uniform reference, L linear value behind a
//               reference. A linear kind may carry its step: a number,
//               n (or -) and a number for a negative step, or s and the
//               position (from 0) of the uniform parameter that holds the
//               step; the step is 1 without it. s and a position alone is
//               a linear parameter with that variable step. Any parameter
//               may end in a and a number, its alignment in bytes.
//   name        the scalar function's own (possibly mangled) name
//
// "_ZGVdN4vl8_foo" is the unmasked 4-lane AVX2 variant of foo, whose first
// parameter is a vector and second is linear with step 8.

#include <list>
#include <string>
#include <string_view>

namespace data_models2::mangle_rules_helpers {

/// Bits of a parameter's kind. Exactly one of the first six is set; the
/// others qualify it.
enum ParameterKind : unsigned {
  ParamVector = 1,
  ParamLinear = 2,
  ParamLinearRef = 4,
  ParamLinearUval = 8,
  ParamLinearVal = 16,
  ParamUniform = 32,
  ParamAligned = 64,       ///< an alignment was given
  ParamVariableStep = 128, ///< the step is held by another parameter
};

struct VectorParameter {
  unsigned kind = 0;           ///< ParameterKind bits
  long long step = 0;          ///< step of a linear kind; 0 for the others and for a variable step
  int stepArgument = -1;       ///< with ParamVariableStep: position of the parameter that holds the step
  unsigned long long alignment = 0;  ///< bytes; 0 when none was given
};

/// What a vector variant's name tells.
struct VectorFunctionDescriptor {
  /// isa_helpers::IsaType of the variant; 14 (unknown) until a name is read.
  int isa = 14;
  /// 1 for a masked variant.
  int masked = 0;
  /// Lanes; 0 for a scalable length.
  int vectorLength = 0;
  std::list<VectorParameter> parameters;
  /// The name after the parameters.
  std::string scalarName;
};

/// Reads a vector variant's name into `descriptor`. False, with the
/// descriptor left as it was, for a name outside the grammar above: another
/// prefix or instruction set letter, a vector length of 0, a step on a
/// vector or uniform parameter, a variable step that doesn't name a uniform
/// parameter of the same function, an alignment of 0, or no name after the '_'.
bool demangleVectorFunctionName(std::string_view name, VectorFunctionDescriptor& descriptor);

}  // namespace data_models2::mangle_rules_helpers
