#include "platform/importer/callgrind.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <deque>
#include <fstream>
#include <map>
#include <string_view>
#include <tuple>

namespace nimbex::importer {
namespace {

// A callgrind output with --dump-instr=yes --collect-jumps=yes, trimmed:
//
//   events: Ir
//   ob=(1) /home/u/app
//   fn=(574) saxpy
//   0x1220 3 100            <- address, line, cost: absolute ...
//   +3 +1 100               <- ... or relative to the previous position
//   jcnd=12300/12400 -23 +1 <- taken/executed and the target, for the jump
//   * *                     <- whose position is on the next line ("*": same)
//   cfn=(606) opaque
//   calls=100 0x1140 9      <- a call's count and target; the next line is
//   +5 * 2300               <- the call site and the callee's inclusive cost
//
// The same address may be listed once per block it was executed in, so the
// counts of an address add up. Targets are relative to the position before
// them and do not move it.

struct Names {
  std::map<std::string, std::string, std::less<>> byId;

  // "(12) /usr/lib/libc.so.6" defines id 12; "(12)" uses it; a plain name is
  // what callgrind writes with --compress-strings=no.
  std::string resolve(std::string_view text) {
    if (text.empty() || text.front() != '(') return std::string(text);
    size_t close = text.find(')');
    if (close == std::string_view::npos) return std::string(text);
    std::string id(text.substr(1, close - 1));
    std::string_view name = text.substr(close + 1);
    while (!name.empty() && name.front() == ' ') name.remove_prefix(1);
    if (!name.empty()) return byId[id] = std::string(name);
    auto it = byId.find(id);
    return it == byId.end() ? std::string() : it->second;
  }
};

bool parseNumber(std::string_view text, uint64_t& value, int base = 10) {
  if (text.empty()) return false;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  return ec == std::errc() && end == text.data() + text.size();
}

// One subposition: "0x1220", "4660", "+3", "-23" or "*", against `last`.
bool parsePosition(std::string_view token, uint64_t last, uint64_t& value) {
  if (token == "*") {
    value = last;
    return true;
  }
  if (token.size() > 2 && token[0] == '0' && (token[1] == 'x' || token[1] == 'X'))
    return parseNumber(token.substr(2), value, 16);
  if (token[0] == '+' || token[0] == '-') {
    uint64_t delta = 0;
    if (!parseNumber(token.substr(1), delta)) return false;
    value = token[0] == '+' ? last + delta : last - delta;
    return true;
  }
  return parseNumber(token, value);
}

std::vector<std::string_view> words(std::string_view line) {
  std::vector<std::string_view> out;
  size_t i = 0;
  while (i < line.size()) {
    while (i < line.size() && (line[i] == ' ' || line[i] == '\t')) ++i;
    size_t start = i;
    while (i < line.size() && line[i] != ' ' && line[i] != '\t') ++i;
    if (i > start) out.push_back(line.substr(start, i - start));
  }
  return out;
}

struct ObjectState {
  CallgrindObject object;
  std::map<std::pair<uint64_t, uint64_t>, CallgrindJump> jumps;
  std::map<std::tuple<uint64_t, std::string, std::string>, CallgrindCall> calls;
};

class Reader {
 public:
  Reader(const std::string& path, CallgrindProfile& out) : path_(path), out_(out) {}

  bool line(std::string_view text, std::string& error) {
    ++number_;
    if (!text.empty() && text.back() == '\r') text.remove_suffix(1);
    if (text.empty()) return true;
    if (text.front() == '#') {
      sawHeader_ |= text.rfind("# callgrind format", 0) == 0;
      return true;
    }
    char c = text.front();
    if (c == '+' || c == '-' || c == '*' || (c >= '0' && c <= '9')) return costLine(text, error);
    size_t eq = text.find('=');
    size_t colon = text.find(':');
    if (eq != std::string_view::npos && (colon == std::string_view::npos || eq < colon))
      return assignment(text.substr(0, eq), text.substr(eq + 1), error);
    if (colon != std::string_view::npos) return header(text.substr(0, colon), text.substr(colon + 1), error);
    return fail("cannot read this line", error);
  }

  bool finish(std::string& error) {
    if (!sawEvents_) {
      error = path_ + ": not a callgrind output (no \"events:\" line)";
      return false;
    }
    for (auto& state : objects_) {
      for (auto& [key, jump] : state.jumps) state.object.jumps.push_back(jump);
      for (auto& [key, call] : state.calls) state.object.calls.push_back(std::move(call));
      out_.objects.push_back(std::move(state.object));
    }
    return true;
  }

 private:
  bool fail(const std::string& what, std::string& error) {
    // Before any of its header lines, the file is something else altogether.
    error = path_ + ":" + std::to_string(number_) + ": " + (sawHeader_ ? what : "not a callgrind output");
    return false;
  }

  bool header(std::string_view key, std::string_view value, std::string& error) {
    while (!value.empty() && value.front() == ' ') value.remove_prefix(1);
    sawHeader_ |= key == "version" || key == "creator" || key == "events" || key == "positions";
    if (!sawHeader_) return fail("", error);
    if (key == "cmd") {
      out_.command = value;
    } else if (key == "positions") {
      auto names = words(value);
      positions_ = names.size();
      instr_ = std::find(names.begin(), names.end(), "instr") != names.end();
      if (!instr_ || names.front() != "instr")
        return fail("no instruction addresses: record with --dump-instr=yes", error);
    } else if (key == "events") {
      auto names = words(value);
      auto it = std::find(names.begin(), names.end(), "Ir");
      if (it == names.end()) return fail("no \"Ir\" event: executions were not counted", error);
      irColumn_ = static_cast<size_t>(it - names.begin());
      sawEvents_ = true;
    }
    return true;
  }

  bool assignment(std::string_view key, std::string_view value, std::string& error) {
    if (key == "ob") {
      current_ = &objectNamed(objectNames_.resolve(value));
    } else if (key == "cob") {
      calleeObject_ = objectNames_.resolve(value);
    } else if (key == "fn") {
      functionNames_.resolve(value);
    } else if (key == "cfn" || key == "cfnc") {
      calleeFunction_ = functionNames_.resolve(value);
    } else if (key == "fl" || key == "fi" || key == "fe" || key == "cfi" || key == "cfl" || key == "jfi") {
      fileNames_.resolve(value);
    } else if (key == "jfn") {
      functionNames_.resolve(value);
    } else if (key == "calls" || key == "jump" || key == "jcnd") {
      if (!sawEvents_) return fail("not a callgrind output", error);
      auto parts = words(value);
      if (parts.size() < 2) return fail("cannot read this " + std::string(key) + " line", error);
      uint64_t first = 0, second = 0, target = 0;
      std::string_view counts = parts[0];
      size_t slash = counts.find('/');
      bool ok = slash == std::string_view::npos
                    ? parseNumber(counts, first)
                    : parseNumber(counts.substr(0, slash), first) && parseNumber(counts.substr(slash + 1), second);
      if (!ok || !parsePosition(parts[1], last_, target))
        return fail("cannot read this " + std::string(key) + " line", error);
      pending_ = key == "calls" ? Pending::Call : Pending::Jump;
      pendingCount_ = first;
      pendingExecuted_ = key == "jcnd" ? second : first;
      pendingTarget_ = target;
    }
    return true;
  }

  ObjectState& objectNamed(const std::string& path) {
    for (auto& state : objects_)
      if (state.object.path == path) return state;
    objects_.emplace_back().object.path = path;
    return objects_.back();
  }

  bool costLine(std::string_view text, std::string& error) {
    if (!sawEvents_ || !instr_) return fail("not a callgrind output with instruction addresses", error);
    auto parts = words(text);
    if (parts.size() < positions_) return fail("a cost line without its positions", error);
    uint64_t address = 0;
    if (!parsePosition(parts[0], last_, address)) return fail("cannot read the address \"" + std::string(parts[0]) + "\"", error);
    uint64_t cost = 0;
    size_t column = positions_ + irColumn_;
    if (column < parts.size() && !parseNumber(parts[column], cost))
      return fail("cannot read the cost \"" + std::string(parts[column]) + "\"", error);
    last_ = address;
    if (!current_) current_ = &objectNamed("???");
    ObjectState& state = *current_;
    switch (pending_) {
      case Pending::Call: {
        // The callee's inclusive cost, not this instruction's own.
        std::string object = calleeObject_.empty() ? state.object.path : calleeObject_;
        auto key = std::make_tuple(address, object, calleeFunction_);
        CallgrindCall& call = state.calls[key];
        call.from = address;
        call.calleeObject = object;
        call.calleeFunction = calleeFunction_;
        call.calls += pendingCount_;
        call.inclusiveIr += cost;
        calleeObject_.clear();
        pending_ = Pending::None;
        return true;
      }
      case Pending::Jump: {
        CallgrindJump& jump = state.jumps[{address, pendingTarget_}];
        jump.from = address;
        jump.to = pendingTarget_;
        jump.taken += pendingCount_;
        jump.executed += pendingExecuted_;
        pending_ = Pending::None;
        break;
      }
      case Pending::None:
        break;
    }
    if (cost) state.object.executions[address] += cost;
    return true;
  }

  enum class Pending { None, Call, Jump };

  const std::string& path_;
  CallgrindProfile& out_;
  size_t number_ = 0;
  bool sawHeader_ = false, sawEvents_ = false, instr_ = true;
  size_t positions_ = 1, irColumn_ = 0;
  uint64_t last_ = 0;
  Names objectNames_, functionNames_, fileNames_;
  std::deque<ObjectState> objects_;  // a deque: current_ points into it while objects are added
  ObjectState* current_ = nullptr;
  std::string calleeObject_, calleeFunction_;
  Pending pending_ = Pending::None;
  uint64_t pendingCount_ = 0, pendingExecuted_ = 0, pendingTarget_ = 0;
};

}  // namespace

bool readCallgrind(const std::string& path, CallgrindProfile& out, std::string& error) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    error = path + ": cannot open: " + std::strerror(errno);
    return false;
  }
  Reader reader(path, out);
  std::string line;
  while (std::getline(in, line))
    if (!reader.line(line, error)) return false;
  if (in.bad()) {
    error = path + ": cannot read: " + std::strerror(errno);
    return false;
  }
  return reader.finish(error);
}

}  // namespace nimbex::importer
