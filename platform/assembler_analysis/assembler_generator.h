#pragma once
// Turns machine code into assembler lines.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include <boost/shared_ptr.hpp>

namespace assembler_analysis {

class AssemblerLines;
class RegisterPressure;

/// Names the symbol at an address: a function a branch goes to, or the
/// function whose address a pointer slot (an import table entry) holds.
/// Answers false when the address names nothing known.
using SymbolResolver = std::function<bool(std::uint64_t address, std::string& symbol)>;

/// Code to decode: the bytes of one row, the address of the first byte and
/// the decoding mode. The bytes are borrowed for the call only.
struct CodeRegion {
  const std::uint8_t* bytes = nullptr;
  std::size_t size = 0;
  std::uint64_t address = 0;
  int codeBits = 64;  ///< 64 or 32; any other mode decodes nothing
  SymbolResolver symbols;
};

/// Decodes x86 machine code into lines: Intel-syntax texts, class words,
/// operands with their kinds, and, when asked, register pressure.
///
/// One pass over the bytes, each step consuming at least one byte, so the
/// cost is linear in the code size. A byte that doesn't start a valid
/// instruction becomes a bad-data line and decoding resumes at the next byte.
/// The generator keeps no state between calls and may be shared by threads.
class AssemblerGenerator {
 public:
  AssemblerGenerator();
  ~AssemblerGenerator();
  AssemblerGenerator(const AssemblerGenerator&) = delete;
  AssemblerGenerator& operator=(const AssemblerGenerator&) = delete;

  /// Replaces `lines` with the lines of `code` (registered categories stay
  /// and count the new lines). When `pressure` is given and its analysis is
  /// enabled, its statistics are replaced by those of the new lines. False,
  /// with `lines` empty, when there are no bytes or the mode is unknown.
  bool generate(const CodeRegion& code, AssemblerLines& lines, RegisterPressure* pressure) const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

/// The generator the library uses; one per owner of a line buffer.
boost::shared_ptr<AssemblerGenerator> createAssemblerGenerator();

}  // namespace assembler_analysis
