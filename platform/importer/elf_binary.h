#pragma once
// What a profiled program's file says about itself: its functions, code,
// call-target names, and from its DWARF the source line of each address and
// the compiler that built each unit.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace nimbex::importer {

struct ElfFunction {
  std::string name;         ///< as the symbol table spells it (mangled)
  std::string demangled;    ///< readable name; equal to name for C
  std::uint64_t address = 0;
  std::uint64_t size = 0;
};

/// The compiler of one unit, read from DW_AT_producer.
struct CompilerFacts {
  std::string name;     ///< "GNU C17", "clang"
  std::string version;  ///< GNU: "12.2.0 -mavx2 -O3 ..." (the version first); clang: "14.0.6"
  std::string flags;    ///< the recorded options, "" when the compiler recorded none
  bool gnu() const { return name.rfind("GNU", 0) == 0; }
  bool clang() const { return name == "clang"; }
};

/// Splits a producer string. gcc writes "GNU C17 12.2.0 -mavx2 -O3 -g"; clang
/// writes "Debian clang version 14.0.6" and, with -grecord-command-line, the
/// command in DW_AT_... of its own, so its options come from elsewhere.
CompilerFacts parseProducer(const std::string& producer);

/// The readable form of a C++ symbol; other names as they are.
std::string demangle(const std::string& name);

/// One row of a line table: the source position that code from `address`
/// on belongs to.
struct SourcePosition {
  std::uint32_t file = 0;  ///< index into ElfBinary::files()
  std::uint32_t line = 0;
  std::uint32_t column = 0;
  std::uint32_t unit = 0;  ///< index into ElfBinary::units()
};

struct CompileUnit {
  std::string name;  ///< source file as compiled, made absolute against compDir
  std::string compDir;
  CompilerFacts compiler;
};

/// A linked ELF program or shared object with its DWARF, read once and then
/// queried. Addresses are the file's own virtual addresses (what nm prints).
///
/// Lines are taken from every unit's line table into one sorted index of
/// our own rather than from the library's address lookup: clang emits no
/// .debug_aranges, and in a binary mixing gcc and clang objects the
/// library's lookup then trusts gcc's partial table and names the wrong unit.
class ElfBinary {
 public:
  ~ElfBinary();

  /// Reads `path`. False with a one-line error naming the file when it is
  /// missing, no ELF file, stripped of its symbol table, or without DWARF.
  static std::unique_ptr<ElfBinary> open(const std::string& path, std::string& error);
  /// Reads only the exported symbols of a shared object (a library the
  /// program loaded); null when it can't be read.
  static std::unique_ptr<ElfBinary> openSymbolsOnly(const std::string& path);

  const std::string& path() const { return path_; }
  int codeBits() const { return codeBits_; }
  bool position_independent() const { return pie_; }

  /// Functions with code, sorted by address.
  const std::vector<ElfFunction>& functions() const { return functions_; }
  /// The function whose code holds `address`, or null.
  const ElfFunction* functionAt(std::uint64_t address) const;
  /// Names of defined, exported functions (for finding which library
  /// provides a callee).
  bool exports(const std::string& name) const;

  /// Bytes of the file at [address, address + size); false when the range
  /// is not all in one section with contents.
  bool code(std::uint64_t address, std::uint64_t size, std::vector<std::uint8_t>& out) const;

  /// Names of call targets that the symbol table doesn't give directly:
  /// PLT stubs and the pointer slots (GOT entries) that calls read their
  /// target from, by address.
  const std::map<std::uint64_t, std::string>& importedTargets() const { return imports_; }

  /// Source position of the code at `address`; false outside the line
  /// tables.
  bool position(std::uint64_t address, SourcePosition& out) const;
  const std::vector<std::string>& files() const { return files_; }
  const std::vector<CompileUnit>& units() const { return units_; }

 private:
  ElfBinary() = default;
  bool read(const std::string& path, bool withDebugInfo, std::string& error);
  void readImports();

  struct Section {
    std::uint64_t address = 0, size = 0, offset = 0;
  };
  struct LineRow {
    std::uint64_t address = 0;
    SourcePosition position;
    bool endSequence = false;
  };

  std::string path_;
  int codeBits_ = 64;
  bool pie_ = false;
  std::vector<ElfFunction> functions_;
  std::vector<std::string> exports_;  // sorted
  std::map<std::uint64_t, std::string> imports_;
  std::vector<Section> sections_;     // allocated, with contents
  std::vector<std::uint8_t> image_;   // the whole file
  std::vector<LineRow> lines_;        // sorted by address
  std::vector<std::string> files_;
  std::vector<CompileUnit> units_;
};

}  // namespace nimbex::importer
