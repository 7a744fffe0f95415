#include "platform/model_support/roofline_roofs.h"

#include <algorithm>
#include <cctype>
#include <string>

namespace data_models2 {

using namespace data_abstractions2;

namespace {

// Lower-case words of a name: "DP Vector FMA Peak" gives dp, vector, fma, peak.
std::vector<std::string> wordsOf(std::string_view name) {
  std::vector<std::string> words(1);
  for (char c : name) {
    if (std::isalnum(static_cast<unsigned char>(c))) {
      words.back().push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
    } else if (!words.back().empty()) {
      words.emplace_back();
    }
  }
  if (words.back().empty()) words.pop_back();
  return words;
}

bool hasWord(const std::vector<std::string>& words, std::initializer_list<std::string_view> wanted) {
  return std::any_of(words.begin(), words.end(), [&](const std::string& w) {
    return std::find(wanted.begin(), wanted.end(), w) != wanted.end();
  });
}

}  // namespace

std::uint64_t RoofClass::bits() const {
  std::uint64_t out = 0;
  if (kind == Memory) out = RoofMemory;
  if (kind == Compute) out = RoofCompute;
  if (integer) out |= RoofInteger;
  if (singleThread) out |= RoofSingleThread;
  if (vector) out |= RoofVector;
  if (fma) out |= RoofFma;
  return out;
}

MemoryLevel memoryLevelOfName(std::string_view name) {
  const std::vector<std::string> words = wordsOf(name);
  if (words.empty()) return MemoryLevel::Unknown;
  if (words.front() == "l1") return MemoryLevel::L1;
  if (words.front() == "l2") return MemoryLevel::L2;
  if (words.front() == "l3") return MemoryLevel::L3;
  if (hasWord(words, {"dram", "memory"})) return MemoryLevel::Dram;
  return MemoryLevel::Unknown;
}

RoofClass classifyRoof(const RoofItem& roof) {
  RoofClass cls;
  const std::uint64_t word = roof.secondWord;
  if (word & (RoofMemory | RoofCompute)) {
    // Bit 1 wins over bit 2: a roof is drawn either as a slope or as a flat line.
    cls.kind = (word & RoofMemory) ? RoofClass::Memory : RoofClass::Compute;
    cls.integer = cls.kind == RoofClass::Compute && (word & RoofInteger);
    cls.singleThread = word & RoofSingleThread;
    cls.vector = cls.kind == RoofClass::Compute && (word & RoofVector);
    cls.fma = cls.kind == RoofClass::Compute && (word & RoofFma);
  } else {
    const std::vector<std::string> words = wordsOf(roof.name);
    if (hasWord(words, {"bandwidth"}) || memoryLevelOfName(roof.name) != MemoryLevel::Unknown) {
      cls.kind = RoofClass::Memory;
    } else if (hasWord(words, {"peak"})) {
      cls.kind = RoofClass::Compute;
      cls.integer = hasWord(words, {"int", "integer", "int32", "int64"});
      cls.vector = hasWord(words, {"vector"});
      cls.fma = hasWord(words, {"fma"});
    }
    cls.singleThread = cls.kind != RoofClass::None && hasWord(words, {"single"});
  }
  if (cls.kind == RoofClass::Memory) cls.level = memoryLevelOfName(roof.name);
  return cls;
}

Roofs::Roofs(generic_iterator_t<RoofItem> items) {
  for (; !items.at_end(); items.next()) {
    const RoofItem& item = items.current();
    RoofClass cls = classifyRoof(item);
    if (cls.kind == RoofClass::None || item.value == 0) continue;
    entries_.push_back({item, cls});
  }
}

std::vector<Roofs::Entry> Roofs::ofKind(RoofClass::Kind kind, IRooflineInfo::RoofsStrategyId strategy) const {
  const bool wantSingle = strategy == IRooflineInfo::SingleThread;
  std::vector<Entry> wanted;
  std::vector<Entry> others;
  for (const Entry& e : entries_) {
    if (e.cls.kind != kind) continue;
    (e.cls.singleThread == wantSingle ? wanted : others).push_back(e);
  }
  return wanted.empty() ? others : wanted;
}

std::vector<Roofs::Entry> Roofs::memoryRoofs(IRooflineInfo::RoofsStrategyId strategy) const {
  std::vector<Entry> roofs = ofKind(RoofClass::Memory, strategy);
  // The chart and the zones read memory roofs from the bottom up, whatever
  // order the host listed them in.
  std::stable_sort(roofs.begin(), roofs.end(),
                   [](const Entry& a, const Entry& b) { return a.item.value < b.item.value; });
  return roofs;
}

std::vector<Roofs::Entry> Roofs::computeRoofs(IRooflineInfo::RoofsStrategyId strategy) const {
  return ofKind(RoofClass::Compute, strategy);
}

}  // namespace data_models2
