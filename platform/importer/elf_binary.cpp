#include "platform/importer/elf_binary.h"

#include <cxxabi.h>
#include <dwarf.h>
#include <elfutils/libdw.h>
#include <gelf.h>
#include <libelf.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <unordered_map>

#include "platform/assembler_analysis/assembler_lines.h"

namespace nimbex::importer {

namespace {

std::vector<std::string> words(const std::string& text) {
  std::istringstream in(text);
  return {std::istream_iterator<std::string>(in), std::istream_iterator<std::string>()};
}

std::string joined(const std::vector<std::string>& parts) {
  std::string out;
  for (const std::string& part : parts) out += (out.empty() ? "" : " ") + part;
  return out;
}

std::string absolute(const std::string& name, const std::string& dir) {
  if (name.empty() || name[0] == '/' || dir.empty()) return name;
  return dir + "/" + name;
}

const char* stringAttribute(Dwarf_Die* die, int name) {
  Dwarf_Attribute attribute;
  if (!dwarf_attr(die, name, &attribute)) return nullptr;
  return dwarf_formstring(&attribute);
}

}  // namespace

std::string demangle(const std::string& name) {
  if (name.rfind("_Z", 0) != 0) return name;
  int status = 0;
  char* text = abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status);
  std::string out = status == 0 && text ? text : name;
  std::free(text);
  return out;
}

CompilerFacts parseProducer(const std::string& producer) {
  CompilerFacts facts;
  std::vector<std::string> parts = words(producer);
  if (!parts.empty() && parts[0] == "GNU") {
    // "GNU C17 12.2.0 -mavx2 -O3": the language belongs to the name, and the
    // version text leads with the number so that version parsers find it.
    std::size_t i = 0;
    while (i < parts.size() && !std::isdigit(static_cast<unsigned char>(parts[i][0]))) ++i;
    facts.name = joined(std::vector<std::string>(parts.begin(), parts.begin() + i));
    std::vector<std::string> options;
    for (std::size_t j = i + 1; j < parts.size(); ++j) options.push_back(parts[j]);
    facts.flags = joined(options);
    facts.version = i < parts.size() ? parts[i] : "";
    if (!facts.flags.empty()) facts.version += " " + facts.flags;
    return facts;
  }
  auto clang = std::find(parts.begin(), parts.end(), "clang");
  if (clang != parts.end() && clang + 1 != parts.end() && clang[1] == "version") {
    facts.name = "clang";
    if (clang + 2 != parts.end()) facts.version = clang[2];
    // With -grecord-command-line the driver's command follows; keep its
    // options, not the output and input files.
    std::vector<std::string> options;
    for (auto it = clang + 3; it != parts.end(); ++it) {
      if (*it == "-o" || *it == "-MF" || *it == "-MT" || *it == "-MQ") {
        ++it;
        if (it == parts.end()) break;
        continue;
      }
      if (*it == "-c" || it->empty() || (*it)[0] != '-') continue;
      options.push_back(*it);
    }
    facts.flags = joined(options);
    return facts;
  }
  facts.name = producer;
  return facts;
}

ElfBinary::~ElfBinary() = default;

std::unique_ptr<ElfBinary> ElfBinary::open(const std::string& path, std::string& error) {
  std::unique_ptr<ElfBinary> binary(new ElfBinary);
  if (!binary->read(path, true, error)) return nullptr;
  return binary;
}

std::unique_ptr<ElfBinary> ElfBinary::openSymbolsOnly(const std::string& path) {
  std::unique_ptr<ElfBinary> binary(new ElfBinary);
  std::string error;
  if (!binary->read(path, false, error)) return nullptr;
  return binary;
}

bool ElfBinary::read(const std::string& path, bool withDebugInfo, std::string& error) {
  path_ = path;
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    error = path + ": cannot open the program: " + std::strerror(errno);
    return false;
  }
  image_.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  elf_version(EV_CURRENT);
  Elf* elf = elf_memory(reinterpret_cast<char*>(image_.data()), image_.size());
  struct ElfCloser {
    Elf* elf;
    ~ElfCloser() { elf_end(elf); }
  } closer{elf};
  GElf_Ehdr header;
  if (!elf || elf_kind(elf) != ELF_K_ELF || !gelf_getehdr(elf, &header)) {
    error = path + ": not an ELF file";
    return false;
  }
  codeBits_ = gelf_getclass(elf) == ELFCLASS32 ? 32 : 64;
  pie_ = header.e_type == ET_DYN;
  std::size_t namesIndex = 0;
  elf_getshdrstrndx(elf, &namesIndex);

  bool hasSymtab = false, hasDebugInfo = false;
  for (Elf_Scn* section = elf_nextscn(elf, nullptr); section; section = elf_nextscn(elf, section)) {
    GElf_Shdr sh;
    if (!gelf_getshdr(section, &sh)) continue;
    const char* name = elf_strptr(elf, namesIndex, sh.sh_name);
    if (name && std::strcmp(name, ".debug_info") == 0) hasDebugInfo = true;
    if ((sh.sh_flags & SHF_ALLOC) && sh.sh_type != SHT_NOBITS && sh.sh_addr)
      sections_.push_back({sh.sh_addr, sh.sh_size, sh.sh_offset});
    if (sh.sh_type != SHT_SYMTAB && sh.sh_type != SHT_DYNSYM) continue;
    hasSymtab |= sh.sh_type == SHT_SYMTAB;
    Elf_Data* data = elf_getdata(section, nullptr);
    std::size_t count = sh.sh_entsize ? sh.sh_size / sh.sh_entsize : 0;
    for (std::size_t i = 0; data && i < count; ++i) {
      GElf_Sym symbol;
      if (!gelf_getsym(data, static_cast<int>(i), &symbol)) continue;
      if (GELF_ST_TYPE(symbol.st_info) != STT_FUNC && GELF_ST_TYPE(symbol.st_info) != STT_GNU_IFUNC) continue;
      if (symbol.st_shndx == SHN_UNDEF || symbol.st_value == 0) continue;
      const char* symbolName = elf_strptr(elf, sh.sh_link, symbol.st_name);
      if (!symbolName || !*symbolName) continue;
      std::string plain = symbolName;
      // Versioned exports ("memcpy@@GLIBC_2.14") are called by the bare name.
      if (auto at = plain.find('@'); at != std::string::npos) plain.resize(at);
      if (sh.sh_type == SHT_DYNSYM && GELF_ST_BIND(symbol.st_info) != STB_LOCAL) exports_.push_back(plain);
      if (symbol.st_size == 0) continue;
      ElfFunction function{plain, demangle(plain), symbol.st_value, symbol.st_size};
      if (sh.sh_type == SHT_SYMTAB) functions_.push_back(std::move(function));
    }
  }
  std::sort(exports_.begin(), exports_.end());
  exports_.erase(std::unique(exports_.begin(), exports_.end()), exports_.end());
  if (!withDebugInfo) return true;

  if (!hasSymtab) {
    error = path + ": stripped binary (no symbol table); profile a build that keeps its symbols (no -s, no strip)";
    return false;
  }
  if (!hasDebugInfo) {
    error = path + ": no debug information (.debug_info); build the program with -g";
    return false;
  }
  // Aliases (a local and a global name for one function) keep the first.
  std::sort(functions_.begin(), functions_.end(), [](const ElfFunction& a, const ElfFunction& b) {
    return a.address != b.address ? a.address < b.address : a.name.size() < b.name.size();
  });
  functions_.erase(std::unique(functions_.begin(), functions_.end(),
                               [](const ElfFunction& a, const ElfFunction& b) { return a.address == b.address; }),
                   functions_.end());
  std::sort(sections_.begin(), sections_.end(), [](const Section& a, const Section& b) { return a.address < b.address; });

  Dwarf* dwarf = dwarf_begin_elf(elf, DWARF_C_READ, nullptr);
  if (!dwarf) {
    error = path + ": unreadable debug information: " + dwarf_errmsg(-1);
    return false;
  }
  std::unordered_map<std::string, std::uint32_t> fileIndex;
  Dwarf_Off offset = 0, next = 0;
  std::size_t headerSize = 0;
  while (dwarf_nextcu(dwarf, offset, &next, &headerSize, nullptr, nullptr, nullptr) == 0) {
    Dwarf_Die unitDie;
    Dwarf_Off dieOffset = offset + headerSize;
    offset = next;
    if (!dwarf_offdie(dwarf, dieOffset, &unitDie)) continue;
    CompileUnit unit;
    const char* compDir = stringAttribute(&unitDie, DW_AT_comp_dir);
    unit.compDir = compDir ? compDir : "";
    const char* unitName = stringAttribute(&unitDie, DW_AT_name);
    unit.name = absolute(unitName ? unitName : "", unit.compDir);
    const char* producer = stringAttribute(&unitDie, DW_AT_producer);
    unit.compiler = parseProducer(producer ? producer : "");
    const auto unitNumber = static_cast<std::uint32_t>(units_.size());
    units_.push_back(std::move(unit));

    Dwarf_Lines* table = nullptr;
    std::size_t count = 0;
    if (dwarf_getsrclines(&unitDie, &table, &count) != 0) continue;
    for (std::size_t i = 0; i < count; ++i) {
      Dwarf_Line* line = dwarf_onesrcline(table, i);
      LineRow row;
      Dwarf_Addr address = 0;
      int number = 0, column = 0;
      bool end = false;
      if (!line || dwarf_lineaddr(line, &address) != 0) continue;
      dwarf_lineno(line, &number);
      dwarf_linecol(line, &column);
      dwarf_lineendsequence(line, &end);
      // Code of discarded sections (unused inline functions) sits at 0.
      if (address == 0) continue;
      const char* file = dwarf_linesrc(line, nullptr, nullptr);
      std::string fileName = absolute(file ? file : "", units_.back().compDir);
      auto [it, added] = fileIndex.emplace(fileName, static_cast<std::uint32_t>(files_.size()));
      if (added) files_.push_back(fileName);
      row.address = address;
      row.position = {it->second, static_cast<std::uint32_t>(number), static_cast<std::uint32_t>(column), unitNumber};
      row.endSequence = end;
      lines_.push_back(row);
    }
  }
  dwarf_end(dwarf);
  // An end of sequence and the start of the next one may share an address;
  // the start must win, so ends sort first.
  std::stable_sort(lines_.begin(), lines_.end(), [](const LineRow& a, const LineRow& b) {
    return a.address != b.address ? a.address < b.address : a.endSequence > b.endSequence;
  });
  readImports();
  return true;
}

void ElfBinary::readImports() {
  Elf* elf = elf_memory(reinterpret_cast<char*>(image_.data()), image_.size());
  if (!elf) return;
  std::size_t namesIndex = 0;
  elf_getshdrstrndx(elf, &namesIndex);
  struct Stubs {
    std::uint64_t address = 0, size = 0;
  };
  std::vector<Stubs> stubSections;
  for (Elf_Scn* section = elf_nextscn(elf, nullptr); section; section = elf_nextscn(elf, section)) {
    GElf_Shdr sh;
    if (!gelf_getshdr(section, &sh)) continue;
    const char* name = elf_strptr(elf, namesIndex, sh.sh_name);
    if (name && std::strncmp(name, ".plt", 4) == 0 && sh.sh_type == SHT_PROGBITS) stubSections.push_back({sh.sh_addr, sh.sh_size});
    if (sh.sh_type != SHT_RELA && sh.sh_type != SHT_REL) continue;
    Elf_Scn* symbols = elf_getscn(elf, sh.sh_link);
    GElf_Shdr symbolsHeader;
    if (!symbols || !gelf_getshdr(symbols, &symbolsHeader) || symbolsHeader.sh_type != SHT_DYNSYM) continue;
    Elf_Data* data = elf_getdata(section, nullptr);
    Elf_Data* symbolData = elf_getdata(symbols, nullptr);
    std::size_t count = sh.sh_entsize ? sh.sh_size / sh.sh_entsize : 0;
    for (std::size_t i = 0; data && symbolData && i < count; ++i) {
      GElf_Rela rela;
      GElf_Rel rel;
      std::uint64_t slot = 0, info = 0;
      if (sh.sh_type == SHT_RELA) {
        if (!gelf_getrela(data, static_cast<int>(i), &rela)) continue;
        slot = rela.r_offset;
        info = rela.r_info;
      } else {
        if (!gelf_getrel(data, static_cast<int>(i), &rel)) continue;
        slot = rel.r_offset;
        info = rel.r_info;
      }
      GElf_Sym symbol;
      std::size_t index = codeBits_ == 64 ? GELF_R_SYM(info) : ELF32_R_SYM(info);
      if (index == 0 || !gelf_getsym(symbolData, static_cast<int>(index), &symbol)) continue;
      if (GELF_ST_TYPE(symbol.st_info) != STT_FUNC && GELF_ST_TYPE(symbol.st_info) != STT_NOTYPE &&
          GELF_ST_TYPE(symbol.st_info) != STT_GNU_IFUNC)
        continue;
      const char* name = elf_strptr(elf, symbolsHeader.sh_link, symbol.st_name);
      if (name && *name) imports_.emplace(slot, name);
    }
  }
  elf_end(elf);

  // A PLT stub jumps through its slot; decoding the stubs names them without
  // knowing the layout of each linker's PLT flavour.
  assembler_analysis::AssemblerGenerator generator;
  const std::map<std::uint64_t, std::string> slots = imports_;
  for (const Stubs& stubs : stubSections) {
    std::vector<std::uint8_t> bytes;
    if (!code(stubs.address, stubs.size, bytes)) continue;
    assembler_analysis::AssemblerLines lines;
    assembler_analysis::CodeRegion region{bytes.data(), bytes.size(), stubs.address, codeBits_, nullptr};
    if (!generator.generate(region, lines, nullptr)) continue;
    for (const assembler_analysis::AssemblerLine& line : lines) {
      if (!line.hasTarget() || line.mnemonic() != "jmp") continue;
      auto slot = slots.find(line.targetAddress());
      if (slot == slots.end()) continue;
      // Stubs are 16-byte entries; the jump may follow an endbr64.
      std::uint64_t stub = stubs.address + ((line.address() - stubs.address) & ~std::uint64_t(15));
      imports_.emplace(stub, slot->second);
    }
  }
}

const ElfFunction* ElfBinary::functionAt(std::uint64_t address) const {
  auto it = std::upper_bound(functions_.begin(), functions_.end(), address,
                             [](std::uint64_t a, const ElfFunction& f) { return a < f.address; });
  if (it == functions_.begin()) return nullptr;
  --it;
  return address < it->address + it->size ? &*it : nullptr;
}

bool ElfBinary::exports(const std::string& name) const {
  return std::binary_search(exports_.begin(), exports_.end(), name);
}

bool ElfBinary::code(std::uint64_t address, std::uint64_t size, std::vector<std::uint8_t>& out) const {
  for (const Section& section : sections_) {
    if (address < section.address || address + size > section.address + section.size) continue;
    std::uint64_t start = section.offset + (address - section.address);
    if (start + size > image_.size()) return false;
    out.assign(image_.begin() + static_cast<std::ptrdiff_t>(start),
               image_.begin() + static_cast<std::ptrdiff_t>(start + size));
    return true;
  }
  return false;
}

bool ElfBinary::position(std::uint64_t address, SourcePosition& out) const {
  auto it = std::upper_bound(lines_.begin(), lines_.end(), address,
                             [](std::uint64_t a, const LineRow& row) { return a < row.address; });
  if (it == lines_.begin()) return false;
  --it;
  if (it->endSequence) return false;
  out = it->position;
  return true;
}

}  // namespace nimbex::importer
