#include "platform/importer/loop_finder.h"

#include <algorithm>
#include <map>
#include <set>

namespace nimbex::importer {

bool MachineLoop::contains(std::uint64_t address) const {
  auto it = std::upper_bound(blocks.begin(), blocks.end(), address,
                             [](std::uint64_t a, const BlockRange& b) { return a < b.begin; });
  return it != blocks.begin() && address < std::prev(it)->end;
}

namespace {

struct Block {
  std::size_t first = 0, last = 0;  // instruction indices, inclusive
  std::vector<int> successors, predecessors;
};

}  // namespace

std::vector<MachineLoop> findLoops(const std::vector<FlowInstruction>& code) {
  std::vector<MachineLoop> loops;
  if (code.empty()) return loops;
  const std::uint64_t start = code.front().address;
  const std::uint64_t limit = code.back().address + code.back().length;
  auto inside = [&](std::uint64_t address) { return address >= start && address < limit; };

  // Leaders: the entry, every target inside, and whatever follows a change
  // of flow.
  std::map<std::uint64_t, std::size_t> indexOf;
  for (std::size_t i = 0; i < code.size(); ++i) indexOf.emplace(code[i].address, i);
  std::vector<bool> leader(code.size(), false);
  leader[0] = true;
  for (std::size_t i = 0; i < code.size(); ++i) {
    const FlowInstruction& in = code[i];
    if (in.kind == FlowInstruction::Next) continue;
    if (i + 1 < code.size()) leader[i + 1] = true;
    if (in.hasTarget && inside(in.target)) {
      auto target = indexOf.find(in.target);
      // A target in the middle of an instruction is overlapping code we
      // don't follow.
      if (target != indexOf.end()) leader[target->second] = true;
    }
  }
  std::vector<Block> blocks;
  std::vector<int> blockOf(code.size(), -1);
  for (std::size_t i = 0; i < code.size(); ++i) {
    if (leader[i]) blocks.push_back({i, i, {}, {}});
    blocks.back().last = i;
    blockOf[i] = static_cast<int>(blocks.size() - 1);
  }
  auto link = [&](int from, int to) {
    blocks[from].successors.push_back(to);
    blocks[to].predecessors.push_back(from);
  };
  for (std::size_t b = 0; b < blocks.size(); ++b) {
    const FlowInstruction& in = code[blocks[b].last];
    const int self = static_cast<int>(b);
    if ((in.kind == FlowInstruction::Next || in.kind == FlowInstruction::Branch) && b + 1 < blocks.size())
      link(self, self + 1);
    if ((in.kind == FlowInstruction::Branch || in.kind == FlowInstruction::Jump) && in.hasTarget) {
      auto target = indexOf.find(in.target);
      if (inside(in.target) && target != indexOf.end()) link(self, blockOf[target->second]);
    }
  }

  // Reverse postorder from the entry, iteratively: functions can be large.
  const int n = static_cast<int>(blocks.size());
  std::vector<int> order, rank(n, -1);
  {
    std::vector<char> seen(n, 0);
    std::vector<std::pair<int, std::size_t>> stack{{0, 0}};
    seen[0] = 1;
    while (!stack.empty()) {
      auto& [block, next] = stack.back();
      if (next < blocks[block].successors.size()) {
        int successor = blocks[block].successors[next++];
        if (!seen[successor]) {
          seen[successor] = 1;
          stack.push_back({successor, 0});
        }
        continue;
      }
      order.push_back(block);
      stack.pop_back();
    }
    std::reverse(order.begin(), order.end());
    for (std::size_t i = 0; i < order.size(); ++i) rank[order[i]] = static_cast<int>(i);
  }

  // Dominators (Cooper, Harvey and Kennedy): idom by reverse-postorder rank.
  std::vector<int> idom(n, -1);
  idom[0] = 0;
  auto intersect = [&](int a, int b) {
    while (a != b) {
      while (rank[a] > rank[b]) a = idom[a];
      while (rank[b] > rank[a]) b = idom[b];
    }
    return a;
  };
  for (bool changed = true; changed;) {
    changed = false;
    for (std::size_t i = 1; i < order.size(); ++i) {
      int block = order[i], chosen = -1;
      for (int predecessor : blocks[block].predecessors) {
        if (idom[predecessor] < 0) continue;
        chosen = chosen < 0 ? predecessor : intersect(predecessor, chosen);
      }
      if (chosen >= 0 && idom[block] != chosen) {
        idom[block] = chosen;
        changed = true;
      }
    }
  }
  auto dominates = [&](int a, int b) {
    while (true) {
      if (a == b) return true;
      if (b == 0) return false;
      b = idom[b];
    }
  };

  // Natural loops, one per header.
  std::map<int, std::set<int>> bodies;
  std::map<int, std::vector<std::uint64_t>> latches;
  for (int block : order) {
    for (int successor : blocks[block].successors) {
      if (rank[successor] < 0 || !dominates(successor, block)) continue;
      std::set<int>& body = bodies[successor];
      latches[successor].push_back(code[blocks[block].last].address);
      body.insert(successor);
      std::vector<int> work{block};
      while (!work.empty()) {
        int b = work.back();
        work.pop_back();
        if (!body.insert(b).second) continue;
        for (int p : blocks[b].predecessors)
          if (rank[p] >= 0) work.push_back(p);
      }
    }
  }
  for (auto& [header, body] : bodies) {
    MachineLoop loop;
    loop.header = code[blocks[header].first].address;
    loop.latches = latches[header];
    std::sort(loop.latches.begin(), loop.latches.end());
    for (int b : body) {
      const FlowInstruction& last = code[blocks[b].last];
      loop.blocks.push_back({code[blocks[b].first].address, last.address + last.length});
    }
    std::sort(loop.blocks.begin(), loop.blocks.end(),
              [](const BlockRange& a, const BlockRange& b) { return a.begin < b.begin; });
    loops.push_back(std::move(loop));
  }
  // Enclosing loops first: by first address, then the larger body.
  std::sort(loops.begin(), loops.end(), [](const MachineLoop& a, const MachineLoop& b) {
    return a.begin() != b.begin() ? a.begin() < b.begin() : a.blocks.size() > b.blocks.size();
  });
  for (std::size_t i = 0; i < loops.size(); ++i) {
    // The innermost enclosing loop is the smallest one that holds the header.
    std::size_t best = loops.size();
    for (std::size_t j = 0; j < loops.size(); ++j) {
      if (j == i || !loops[j].contains(loops[i].header) || loops[j].blocks.size() <= loops[i].blocks.size()) continue;
      if (best == loops.size() || loops[j].blocks.size() < loops[best].blocks.size()) best = j;
    }
    if (best == loops.size()) continue;
    loops[i].parent = static_cast<int>(best);
    loops[best].children.push_back(static_cast<int>(i));
  }
  return loops;
}

}  // namespace nimbex::importer
