#pragma once
// Decoding of literal instruction bytes for the service's tests.

#include <cstdint>
#include <initializer_list>
#include <vector>

#include "platform/assembler_analysis/assembler_lines.h"

namespace assembler_analysis::testing {

inline constexpr std::uint64_t kBase = 0x401000;

using Bytes = std::vector<std::uint8_t>;

/// Lines of `bytes` decoded as 64-bit code at kBase.
inline AssemblerLines decode(const Bytes& bytes, RegisterPressure* pressure = nullptr, SymbolResolver symbols = {}) {
  AssemblerGenerator generator;
  AssemblerLines lines;
  CodeRegion code;
  code.bytes = bytes.data();
  code.size = bytes.size();
  code.address = kBase;
  code.symbols = std::move(symbols);
  generator.generate(code, lines, pressure);
  return lines;
}

/// Bytes of several instructions laid end to end.
inline Bytes join(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

inline class_mask_t bits(std::initializer_list<unsigned> numbers) { return classMaskOfBits(numbers); }

}  // namespace assembler_analysis::testing
