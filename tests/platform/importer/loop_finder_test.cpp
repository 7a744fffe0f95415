// Loops from control flow: each row is a function as its branches see it.

#include "platform/importer/loop_finder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using nimbex::importer::findLoops;
using nimbex::importer::FlowInstruction;
using nimbex::importer::MachineLoop;
using K = FlowInstruction::Kind;

// Instructions of 4 bytes from 0x100 on: {kind, target}.
struct Step {
  K kind;
  std::uint64_t target = 0;
};

std::vector<FlowInstruction> code(const std::vector<Step>& steps) {
  std::vector<FlowInstruction> out;
  std::uint64_t address = 0x100;
  for (const Step& step : steps) {
    FlowInstruction in;
    in.address = address;
    in.length = 4;
    in.kind = step.kind;
    in.hasTarget = step.kind == K::Branch || step.kind == K::Jump;
    in.target = step.target;
    out.push_back(in);
    address += 4;
  }
  return out;
}

struct Expected {
  std::uint64_t header, begin, end;
  int parent;
  std::vector<std::uint64_t> latches;
};

struct Case {
  const char* name;
  std::vector<Step> steps;
  std::vector<Expected> loops;
};

const K N = K::Next, B = K::Branch, J = K::Jump, S = K::Stop;

const Case kCases[] = {
    {"StraightLineHasNone", {{N}, {B, 0x10c}, {N}, {S}}, {}},
    // do { } while: the branch at the bottom goes back to the top.
    {"BottomTested", {{N}, {N}, {N}, {B, 0x104}, {S}}, {{0x104, 0x104, 0x110, -1, {0x10c}}}},
    // while: a test at the top, a jump back at the bottom.
    {"TopTestedWithJumpBack", {{N}, {B, 0x114}, {N}, {N}, {J, 0x104}, {S}}, {{0x104, 0x104, 0x114, -1, {0x110}}}},
    // Entered in the middle: the first block falls through into the header,
    // so that fall-through edge is the back edge.
    {"RotatedEnteredInTheMiddle",
     {{J, 0x10c}, {N}, {B, 0x118}, {N}, {B, 0x104}, {N}, {S}},
     {{0x10c, 0x104, 0x114, -1, {0x108}}}},
    {"NestedKeepsParent",
     {{N}, {N}, {N}, {B, 0x108}, {B, 0x104}, {S}},
     {{0x104, 0x104, 0x114, -1, {0x110}}, {0x108, 0x108, 0x110, 0, {0x10c}}}},
    // A continue and the bottom both go back to the one header: one loop.
    {"TwoBackEdgesOneLoop",
     {{N}, {B, 0x104}, {N}, {B, 0x104}, {S}},
     {{0x104, 0x104, 0x110, -1, {0x104, 0x10c}}}},
    // Two ways in and a cycle between them: no block dominates the cycle.
    {"IrreducibleSkipped", {{B, 0x10c}, {N}, {N}, {B, 0x104}, {J, 0x108}, {S}}, {}},
    {"BranchOutsideIsATailCall", {{N}, {B, 0x1000}, {J, 0x2000}}, {}},
    {"UnreachableCycleIgnored", {{S}, {N}, {B, 0x104}, {S}}, {}},
};

class LoopFinder : public testing::TestWithParam<Case> {};

TEST_P(LoopFinder, FindsNaturalLoops) {
  const Case& c = GetParam();
  std::vector<MachineLoop> loops = findLoops(code(c.steps));
  ASSERT_EQ(loops.size(), c.loops.size());
  for (std::size_t i = 0; i < loops.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(loops[i].header, c.loops[i].header);
    EXPECT_EQ(loops[i].begin(), c.loops[i].begin);
    EXPECT_EQ(loops[i].end(), c.loops[i].end);
    EXPECT_EQ(loops[i].parent, c.loops[i].parent);
    EXPECT_EQ(loops[i].latches, c.loops[i].latches);
    EXPECT_EQ(loops[i].innermost(), std::none_of(loops.begin(), loops.end(), [&](const MachineLoop& l) {
                return l.parent == static_cast<int>(i);
              }));
  }
}

INSTANTIATE_TEST_SUITE_P(Shapes, LoopFinder, testing::ValuesIn(kCases),
                         [](const testing::TestParamInfo<Case>& info) { return std::string(info.param.name); });

}  // namespace
