#include "platform/assembler_analysis/register_pressure.h"

#include <bitset>
#include <cstdint>
#include <set>
#include <utility>
#include <vector>

#include "platform/assembler_analysis/assembler_lines.h"
#include "platform/portability/assert.h"

namespace assembler_analysis {

namespace {

using Type = PressureStatistic::Type;
using Slot = std::pair<std::uint8_t, std::int64_t>;  // base register number, displacement

constexpr std::uint8_t kStackPointer = 4;  // rsp/esp by encoding number

struct Traffic {
  Type type;
  Slot slot;
  bool isStore;
};

std::uint8_t saturate(std::size_t count) { return static_cast<std::uint8_t>(count > 255 ? 255 : count); }

// A register file's statistic types for the three kinds of stack traffic;
// only vector and general registers are followed to the stack.
bool spillType(RegisterFile file, Type& type) {
  if (file == RegisterFile::Vector) type = PressureStatistic::VectorSpills;
  else if (file == RegisterFile::General) type = PressureStatistic::GeneralSpills;
  else return false;
  return true;
}

bool fillType(RegisterFile file, Type& type) {
  if (file == RegisterFile::Vector) type = PressureStatistic::VectorFills;
  else if (file == RegisterFile::General) type = PressureStatistic::GeneralFills;
  else return false;
  return true;
}

}  // namespace

void RegisterPressure::reset() { statistics_ = {}; }

void RegisterPressure::analyze(const AssemblerLines& lines) {
  if (!enabled_) return;
  reset();

  static const class_mask_t moveClass = classMask({InstructionClass::Move});

  std::bitset<32> general;
  std::bitset<32> vector;
  std::bitset<8> mask;
  std::array<std::bitset<32>, PressureStatistic::TypeCount> trafficRegisters;
  std::vector<Traffic> traffic;
  std::set<Slot> slotsRead;
  std::set<Slot> slotsWritten;

  // Per line: which files the line names, so that each statistic can count
  // its instructions once.
  bool namesGeneral = false, namesVector = false, namesMask = false;
  auto note = [&](RegisterRef reg) {
    switch (reg.file) {
      case RegisterFile::General:
        if (reg.index == kStackPointer || reg.index >= general.size()) return;
        general.set(reg.index);
        ++statistics_[PressureStatistic::GeneralRegisters].accesses;
        namesGeneral = true;
        break;
      case RegisterFile::Vector:
        if (reg.index >= vector.size()) return;
        vector.set(reg.index);
        ++statistics_[PressureStatistic::VectorRegisters].accesses;
        namesVector = true;
        break;
      case RegisterFile::Mask:
        if (reg.index >= mask.size()) return;
        mask.set(reg.index);
        ++statistics_[PressureStatistic::MaskRegisters].accesses;
        namesMask = true;
        break;
      default:
        break;
    }
  };
  auto record = [&](Type type, RegisterRef reg, const Slot& slot, bool isStore) {
    if (reg.index < trafficRegisters[type].size()) trafficRegisters[type].set(reg.index);
    ++statistics_[type].instructions;
    traffic.push_back({type, slot, isStore});
  };

  for (const AssemblerLine& line : lines) {
    if (line.isBadData()) continue;
    namesGeneral = namesVector = namesMask = false;
    for (const Operand& op : line.operands()) {
      if (op.hasKind(KindRegister)) note(op.reg());
      if (op.hasKind(KindMemory | KindFixedMemory | KindAddressOnly)) {
        note(op.base());
        note(op.index());
      }
      if (op.hasKind(KindStackSlot)) {
        const Slot slot{op.base().index, op.displacement()};
        if (op.access() & AccessRead) slotsRead.insert(slot);
        if (op.access() & AccessWrite) slotsWritten.insert(slot);
      }
    }
    note(line.writeMask());
    if (namesGeneral) ++statistics_[PressureStatistic::GeneralRegisters].instructions;
    if (namesVector) ++statistics_[PressureStatistic::VectorRegisters].instructions;
    if (namesMask) ++statistics_[PressureStatistic::MaskRegisters].instructions;

    // Stack traffic: a move between a register and a slot is a spill or a
    // fill; any other instruction that reads a slot into vector work is a
    // reload folded into the computation.
    const auto& ops = line.operands();
    std::size_t stack = ops.size();
    for (std::size_t i = 0; i < ops.size(); ++i) {
      if (ops[i].hasKind(KindStackSlot)) {
        stack = i;
        break;
      }
    }
    if (stack == ops.size()) continue;
    const Slot slot{ops[stack].base().index, ops[stack].displacement()};
    Type type;
    if (line.hasType(moveClass) && ops.size() >= 2) {
      if (stack == 0 && ops[1].hasKind(KindRegister) && spillType(ops[1].reg().file, type)) {
        record(type, ops[1].reg(), slot, true);
      } else if (stack == 1 && ops[0].hasKind(KindRegister) && fillType(ops[0].reg().file, type)) {
        record(type, ops[0].reg(), slot, false);
      }
      continue;
    }
    if (!(ops[stack].access() & AccessRead)) continue;
    for (const Operand& op : ops) {
      if (op.hasKind(KindVectorRegister)) {
        record(PressureStatistic::VectorStackOperands, op.reg(), slot, false);
        break;
      }
    }
  }

  statistics_[PressureStatistic::GeneralRegisters].registers = saturate(general.count());
  statistics_[PressureStatistic::VectorRegisters].registers = saturate(vector.count());
  statistics_[PressureStatistic::MaskRegisters].registers = saturate(mask.count());
  for (const Traffic& t : traffic) {
    const bool roundTrip = t.isStore ? slotsRead.count(t.slot) != 0 : slotsWritten.count(t.slot) != 0;
    if (roundTrip) ++statistics_[t.type].accesses;
  }
  for (int type : {PressureStatistic::VectorSpills, PressureStatistic::VectorFills,
                   PressureStatistic::VectorStackOperands, PressureStatistic::GeneralSpills,
                   PressureStatistic::GeneralFills}) {
    statistics_[type].registers = saturate(trafficRegisters[type].count());
  }
}

PressureStatistic RegisterPressure::getStatistic(PressureStatistic::Type type) const {
  NIMB_ASSERT(type >= 0 && type < PressureStatistic::TypeCount);
  if (type < 0 || type >= PressureStatistic::TypeCount) return {};
  return statistics_[type];
}

}  // namespace assembler_analysis
