#pragma once
// Loops of one function, found in its machine code: basic blocks, the
// control-flow graph, dominators, back edges and natural loops.

#include <cstdint>
#include <vector>

namespace nimbex::importer {

/// What an instruction does to the flow of control; all the loop finder
/// needs to know of it.
struct FlowInstruction {
  enum Kind : std::uint8_t {
    Next,    ///< falls through (calls included: they return)
    Branch,  ///< conditional: to `target` or the next instruction
    Jump,    ///< unconditional to `target`
    Stop,    ///< no known successor: return, indirect jump, trap
  };
  std::uint64_t address = 0;
  std::uint32_t length = 0;
  Kind kind = Next;
  bool hasTarget = false;  ///< `target` is known (a direct branch)
  std::uint64_t target = 0;
};

/// A half-open address range of one basic block.
struct BlockRange {
  std::uint64_t begin = 0, end = 0;
};

/// A natural loop: its header and every block that reaches one of its back
/// edges without passing the header. Back edges to one header make one loop.
struct MachineLoop {
  std::uint64_t header = 0;
  std::vector<BlockRange> blocks;  ///< sorted by address
  std::vector<std::uint64_t> latches;  ///< the branches of its back edges
  int parent = -1;                 ///< index of the innermost enclosing loop
  std::vector<int> children;       ///< loops directly nested, by address
  std::uint64_t begin() const { return blocks.front().begin; }
  std::uint64_t end() const { return blocks.back().end; }
  bool contains(std::uint64_t address) const;
  bool innermost() const { return children.empty(); }
};

/// Loops of the function whose instructions are given in address order.
/// Branches that leave the function (tail calls) end their block. Cycles
/// that enter at more than one block (irreducible) have no back edge by the
/// dominator test and are skipped. Loops come sorted by first address, an
/// enclosing loop before the ones it holds.
std::vector<MachineLoop> findLoops(const std::vector<FlowInstruction>& code);

}  // namespace nimbex::importer
