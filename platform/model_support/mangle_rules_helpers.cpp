#include "platform/model_support/mangle_rules_helpers.h"

#include <cctype>
#include <charconv>
#include <iterator>

#include "platform/model_support/isa_helpers.h"

namespace data_models2::mangle_rules_helpers {

namespace {

// Reads a run of decimal digits at `pos` into `value`; false when there is
// none or it doesn't fit.
template <class T>
bool readNumber(std::string_view text, std::size_t& pos, T& value) {
  const char* first = text.data() + pos;
  auto [ptr, ec] = std::from_chars(first, text.data() + text.size(), value);
  if (ec != std::errc() || ptr == first) return false;
  pos = static_cast<std::size_t>(ptr - text.data());
  return true;
}

bool isDigitAt(std::string_view text, std::size_t pos) {
  return pos < text.size() && std::isdigit(static_cast<unsigned char>(text[pos]));
}

bool isaOfLetter(char letter, int& isa) {
  switch (letter) {
    case 'b': isa = isa_helpers::IsaTypeSse2; return true;
    case 'c': isa = isa_helpers::IsaTypeAvx; return true;
    case 'd': isa = isa_helpers::IsaTypeAvx2; return true;
    case 'e': isa = isa_helpers::IsaTypeAvx512; return true;
    default: return false;
  }
}

unsigned kindOfLetter(char letter) {
  switch (letter) {
    case 'v': return ParamVector;
    case 'u': return ParamUniform;
    case 'l': return ParamLinear;
    case 'R': return ParamLinearRef;
    case 'U': return ParamLinearUval;
    case 'L': return ParamLinearVal;
    default: return 0;
  }
}

constexpr unsigned kLinearKinds = ParamLinear | ParamLinearRef | ParamLinearUval | ParamLinearVal;

// Reads the optional step of a linear parameter.
bool readStep(std::string_view text, std::size_t& pos, VectorParameter& parameter) {
  parameter.step = 1;
  if (pos >= text.size()) return true;
  // gcc writes a negative step as n4, clang 14 as -4.
  if (text[pos] == 'n' || text[pos] == '-') {
    ++pos;
    long long magnitude = 0;
    if (!readNumber(text, pos, magnitude)) return false;
    parameter.step = -magnitude;
  } else if (text[pos] == 's') {
    ++pos;
    if (!readNumber(text, pos, parameter.stepArgument)) return false;
    parameter.kind |= ParamVariableStep;
    parameter.step = 0;
  } else if (isDigitAt(text, pos)) {
    if (!readNumber(text, pos, parameter.step)) return false;
  }
  return true;
}

}  // namespace

bool demangleVectorFunctionName(std::string_view name, VectorFunctionDescriptor& descriptor) {
  constexpr std::string_view kPrefix = "_ZGV";
  if (name.substr(0, kPrefix.size()) != kPrefix) return false;
  std::size_t pos = kPrefix.size();

  VectorFunctionDescriptor result;
  if (pos >= name.size() || !isaOfLetter(name[pos], result.isa)) return false;
  ++pos;

  if (pos >= name.size() || (name[pos] != 'N' && name[pos] != 'M')) return false;
  result.masked = name[pos] == 'M' ? 1 : 0;
  ++pos;

  if (pos < name.size() && name[pos] == 'x') {
    result.vectorLength = 0;
    ++pos;
  } else if (!readNumber(name, pos, result.vectorLength) || result.vectorLength <= 0) {
    return false;
  }

  while (pos < name.size() && name[pos] != '_') {
    VectorParameter parameter;
    if (name[pos] == 's') {
      // clang 14 writes a linear parameter with a variable step as s and
      // the position alone, where gcc writes ls and the position.
      ++pos;
      parameter.kind = ParamLinear | ParamVariableStep;
      if (!readNumber(name, pos, parameter.stepArgument)) return false;
    } else {
      parameter.kind = kindOfLetter(name[pos]);
      if (parameter.kind == 0) return false;
      ++pos;
      if ((parameter.kind & kLinearKinds) != 0 && !readStep(name, pos, parameter)) return false;
    }
    if (pos < name.size() && name[pos] == 'a') {
      ++pos;
      if (!readNumber(name, pos, parameter.alignment) || parameter.alignment == 0) return false;
      parameter.kind |= ParamAligned;
    }
    result.parameters.push_back(parameter);
  }

  if (pos >= name.size()) return false;  // no '_' after the parameters
  result.scalarName = std::string(name.substr(pos + 1));
  if (result.scalarName.empty()) return false;

  // A variable step must be held by a uniform parameter of the same function.
  for (const VectorParameter& parameter : result.parameters) {
    if ((parameter.kind & ParamVariableStep) == 0) continue;
    if (parameter.stepArgument < 0 || static_cast<std::size_t>(parameter.stepArgument) >= result.parameters.size()) {
      return false;
    }
    if ((std::next(result.parameters.begin(), parameter.stepArgument)->kind & ParamUniform) == 0) return false;
  }

  descriptor = std::move(result);
  return true;
}

}  // namespace data_models2::mangle_rules_helpers
