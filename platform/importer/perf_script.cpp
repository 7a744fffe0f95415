#include "platform/importer/perf_script.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string_view>

namespace nimbex::importer {

namespace {

std::string_view trim(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r')) text.remove_suffix(1);
  return text;
}

std::vector<std::string_view> tokens(std::string_view text) {
  std::vector<std::string_view> out;
  std::size_t i = 0;
  while (i < text.size()) {
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t')) ++i;
    std::size_t j = i;
    while (j < text.size() && text[j] != ' ' && text[j] != '\t') ++j;
    if (j > i) out.push_back(text.substr(i, j - i));
    i = j;
  }
  return out;
}

bool hex(std::string_view text, std::uint64_t& value) {
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) text.remove_prefix(2);
  if (text.empty() || text.size() > 16) return false;
  value = 0;
  for (char c : text) {
    int digit = c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
    if (digit < 0) return false;
    value = value * 16 + static_cast<unsigned>(digit);
  }
  return true;
}

bool decimal(std::string_view text, std::uint64_t& value) {
  if (text.empty() || text.size() > 19) return false;
  value = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    value = value * 10 + static_cast<unsigned>(c - '0');
  }
  return true;
}

// "403.171460:" -> seconds.
bool timestamp(std::string_view text, double& seconds) {
  if (text.size() < 3 || text.back() != ':' || text.find('.') == std::string_view::npos) return false;
  std::string copy(text.substr(0, text.size() - 1));
  char* end = nullptr;
  seconds = std::strtod(copy.c_str(), &end);
  return end && *end == '\0';
}

// "11a2 saxpy.constprop.0+0x12 (/tmp/app)"
bool frame(std::string_view text, PerfFrame& out) {
  text = trim(text);
  std::size_t space = text.find_first_of(" \t");
  if (!hex(text.substr(0, space), out.address)) return false;
  std::string_view rest = space == std::string_view::npos ? std::string_view() : trim(text.substr(space));
  if (!rest.empty() && rest.back() == ')') {
    std::size_t open = rest.rfind(" (");
    if (open == std::string_view::npos && rest.front() == '(') open = 0;
    else if (open != std::string_view::npos) ++open;
    if (open != std::string_view::npos) {
      out.module = std::string(rest.substr(open + 1, rest.size() - open - 2));
      rest = trim(rest.substr(0, open));
    }
  }
  if (std::size_t offset = rest.rfind("+0x"); offset != std::string_view::npos) rest = rest.substr(0, offset);
  out.symbol = rest == "[unknown]" ? "" : std::string(rest);
  return true;
}

// "...: [0x5562a2836000(0x1000) @ 0x1000 fe:00 10953771 721766402]: r-xp /tmp/app"
void mapping(std::string_view line, PerfScript& out) {
  std::size_t open = line.find('[');
  std::size_t close = line.find("]: ");
  if (open == std::string_view::npos || close == std::string_view::npos) return;
  std::vector<std::string_view> inside = tokens(line.substr(open + 1, close - open - 1));
  std::string_view tail = trim(line.substr(close + 3));
  std::size_t space = tail.find(' ');
  if (inside.size() < 3 || space == std::string_view::npos) return;
  std::string_view permissions = tail.substr(0, space);
  if (permissions.find('x') == std::string_view::npos) return;
  PerfMapping map;
  map.path = std::string(trim(tail.substr(space + 1)));
  std::string_view range = inside[0];
  std::size_t paren = range.find('(');
  if (paren == std::string_view::npos || !hex(range.substr(0, paren), map.start) ||
      !hex(range.substr(paren + 1, range.size() - paren - 2), map.size) || !hex(inside[2], map.offset))
    return;
  out.mappings.push_back(std::move(map));
}

// Moves a sampled address as the process saw it into its module's own.
void relocate(const PerfScript& script, PerfFrame& f) {
  for (auto it = script.mappings.rbegin(); it != script.mappings.rend(); ++it) {
    if (it->path != f.module || f.address < it->start || f.address >= it->start + it->size) continue;
    f.address = f.address - it->start + it->offset;
    return;
  }
}

}  // namespace

bool parsePerfScript(const std::string& text, const std::string& name, PerfScript& out, std::string& error) {
  std::size_t lineNumber = 0, position = 0;
  PerfSample* current = nullptr;
  while (position < text.size()) {
    std::size_t end = text.find('\n', position);
    if (end == std::string::npos) end = text.size();
    std::string_view line(text.data() + position, end - position);
    position = end + 1;
    ++lineNumber;
    if (trim(line).empty()) {
      current = nullptr;
      continue;
    }
    auto fail = [&](const char* what) {
      error = name + ":" + std::to_string(lineNumber) + ": " + what;
      return false;
    };
    if (line.front() == ' ' || line.front() == '\t') {
      PerfFrame f;
      if (!current) return fail("a call-chain frame outside a sample");
      if (!frame(line, f)) return fail("expected a frame: an address, a symbol and the module in parentheses");
      current->frames.push_back(std::move(f));
      continue;
    }
    if (line.find("PERF_RECORD_") != std::string_view::npos) {
      if (line.find("PERF_RECORD_MMAP") != std::string_view::npos) mapping(line, out);
      current = nullptr;
      continue;
    }
    std::vector<std::string_view> parts = tokens(line);
    std::size_t at = 0;
    PerfSample sample;
    while (at < parts.size() && !timestamp(parts[at], sample.time)) ++at;
    std::size_t next = 0;
    if (at < parts.size() && at > 0) {
      std::string_view tid = parts[at - 1];
      if (std::size_t slash = tid.find('/'); slash != std::string_view::npos) tid = tid.substr(slash + 1);
      std::uint64_t value = 0;
      if (decimal(tid, value)) sample.tid = static_cast<std::uint32_t>(value);
      next = at + 1;
    } else {
      // Without the time field: "comm tid period".
      sample.time = 0.0;
      std::uint64_t value = 0;
      std::size_t i = 0;
      while (i < parts.size() && !decimal(parts[i], value)) ++i;
      if (i >= parts.size()) return fail("expected a sample: command, thread, time and period");
      sample.tid = static_cast<std::uint32_t>(value);
      next = i + 1;
    }
    std::uint64_t period = 0;
    if (next < parts.size() && decimal(parts[next], period)) {
      sample.period = period;
      ++next;
    }
    // An event name ("cpu-clock:") may follow.
    if (next < parts.size() && parts[next].back() == ':' && !std::isdigit(static_cast<unsigned char>(parts[next][0]))) ++next;
    out.samples.push_back(std::move(sample));
    current = &out.samples.back();
    if (next < parts.size()) {
      // No call chain: the sampled address is on this line.
      std::string_view rest(parts[next].data(), static_cast<std::size_t>(line.data() + line.size() - parts[next].data()));
      PerfFrame f;
      if (!frame(rest, f)) return fail("expected the sampled address after the period");
      relocate(out, f);
      current->frames.push_back(std::move(f));
    }
  }
  return true;
}

bool readPerfScript(const std::string& path, PerfScript& out, std::string& error) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    error = path + ": cannot open: " + std::strerror(errno);
    return false;
  }
  std::ostringstream text;
  text << in.rdbuf();
  return parsePerfScript(text.str(), path, out, error);
}

}  // namespace nimbex::importer
