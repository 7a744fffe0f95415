#include "tools/nimbex-cl/text_report.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <map>
#include <set>
#include <string_view>
#include <vector>

namespace nimbex_cl {

namespace {

std::string seconds(double value) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.3f s", value);
  return buf;
}

}  // namespace

std::string confidenceName(int confidence) {
  switch (confidence) {
    case 3: return "high";
    case 2: return "medium";
    case 1: return "low";
    default: return std::to_string(confidence);
  }
}

std::string wrapText(const std::string& text, std::size_t indent, std::size_t width) {
  const std::size_t room = width > indent + 20 ? width - indent : 20;
  std::string out;
  out.reserve(text.size() + text.size() / 8 * (indent + 1) + indent + 1);
  // Scanned by hand rather than through streams: reports of large results
  // wrap millions of lines.
  auto isSpace = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f'; };
  forEachLine(text, [&](std::string_view line) {
    if (isCodeLine(line)) {
      out.append(indent, ' ').append(line).push_back('\n');
      return;
    }
    std::size_t used = 0;  // characters on the current output line, pad excluded
    std::size_t at = 0;
    while (at < line.size()) {
      while (at < line.size() && isSpace(line[at])) ++at;
      if (at == line.size()) break;
      std::size_t wordEnd = at;
      while (wordEnd < line.size() && !isSpace(line[wordEnd])) ++wordEnd;
      const std::string_view word = line.substr(at, wordEnd - at);
      at = wordEnd;
      if (used != 0 && used + 1 + word.size() > room) {
        out.push_back('\n');
        used = 0;
      }
      if (used == 0) {
        out.append(indent, ' ');
      } else {
        out.push_back(' ');
        ++used;
      }
      out.append(word);
      used += word.size();
    }
    out.push_back('\n');
  });
  return out;
}

TextReport::TextReport(const ReportData& data, Settings settings) : data_(data), settings_(std::move(settings)) {}

void TextReport::print(std::ostream& out) const {
  const std::size_t withFindings = data_.loopsWithFindings();
  out << "nimbex-cl: " << withFindings << " loop" << (withFindings == 1 ? "" : "s") << " with findings out of "
      << data_.loops.size();
  if (!data_.resultName.empty()) out << " (result " << data_.resultName;
  if (!settings_.origin.empty()) out << (data_.resultName.empty() ? " (" : ", ") << settings_.origin;
  if (!data_.resultName.empty() || !settings_.origin.empty()) out << ")";
  out << "\n";

  std::size_t shown = 0;
  for (const LoopFindings& loop : data_.loops) {
    if (settings_.topLoops != 0 && shown >= settings_.topLoops) break;
    printLoop(out, ++shown, loop);
  }
  if (settings_.topLoops != 0 && data_.loops.size() > shown) {
    out << "\n(" << data_.loops.size() - shown << " more loops; --top 0 shows all)\n";
  }
  if (!data_.loops.empty()) printSummary(out);
}

void TextReport::printLoop(std::ostream& out, std::size_t number, const LoopFindings& loop) const {
  out << "\n" << number << ". " << loop.name() << "\n";
  out << "   self " << seconds(loop.selfTime);
  if (data_.programTime > 1e-12) {
    char share[32];
    std::snprintf(share, sizeof share, " (%.1f%%)", 100.0 * loop.selfTime / data_.programTime);
    out << share;
  }
  out << "  total " << seconds(loop.totalTime) << "\n";
  if (loop.zone != Zone::Unknown) out << "   Zone: " << zoneText(loop.zone) << "\n";
  for (const TraitEntry& trait : loop.traits) {
    out << "   Trait: " << trait.title << "\n";
    if (!trait.body.empty()) out << wrapText(trait.body, 5, settings_.width);
  }
  if (loop.issues.empty()) out << "   No issues found.\n";
  for (const IssueEntry& issue : loop.issues) {
    out << "   Issue: " << issue.title << "\n";
    // Some findings use one catalogue text as title and text: say it once.
    if (!issue.text.empty() && issue.text != issue.title) out << wrapText(issue.text, 5, settings_.width);
    for (const RecommendationEntry& rec : issue.recommendations) {
      out << "     Recommendation [confidence: " << confidenceName(rec.confidence) << "]: " << rec.title << "\n";
      if (!rec.text.empty() && rec.text != rec.title) out << wrapText(rec.text, 7, settings_.width);
    }
  }
}

void TextReport::printSummary(std::ostream& out) const {
  // Zones in the order of the chart, left to right; loops without a
  // position last.
  const Zone zones[] = {Zone::Memory, Zone::MostlyMemory, Zone::MostlyCompute, Zone::Compute, Zone::Unknown};
  std::size_t perZone[std::size(zones)] = {};
  struct Kind {
    std::string title;
    std::size_t loops = 0;
    double time = 0.0;
  };
  std::vector<Kind> kinds;
  std::map<std::string, std::size_t> kindIndex;
  for (const LoopFindings& loop : data_.loops) {
    for (std::size_t z = 0; z < std::size(zones); ++z) perZone[z] += loop.zone == zones[z] ? 1 : 0;
    std::set<std::string> seen;
    for (const IssueEntry& issue : loop.issues) {
      if (!seen.insert(issue.id).second) continue;
      auto [at, added] = kindIndex.emplace(issue.id, kinds.size());
      if (added) kinds.push_back({issue.title.empty() ? issue.id : issue.title});
      kinds[at->second].loops += 1;
      kinds[at->second].time += loop.selfTime;
    }
  }
  std::stable_sort(kinds.begin(), kinds.end(), [](const Kind& a, const Kind& b) { return a.time > b.time; });

  const std::size_t width = std::max<std::size_t>(settings_.width, 60);
  out << "\nSummary of " << data_.loops.size() << " loop" << (data_.loops.size() == 1 ? "" : "s") << "\n";
  out << "  By zone:\n";
  for (std::size_t z = 0; z < std::size(zones); ++z) {
    if (perZone[z] == 0) continue;
    const std::string name = zones[z] == Zone::Unknown ? "no roofline position" : zoneText(zones[z]);
    const std::string count = std::to_string(perZone[z]);
    const std::size_t used = 4 + name.size() + count.size();
    out << "    " << name << std::string(used < width - 20 ? width - 20 - used : 1, ' ') << count << "\n";
  }
  if (kinds.empty()) return;
  out << "  Issues by kind, with the self time of their loops:\n";
  for (const Kind& kind : kinds) {
    char figures[64];
    std::snprintf(figures, sizeof figures, "%6zu loop%s %11s", kind.loops, kind.loops == 1 ? " " : "s",
                  seconds(kind.time).c_str());
    // The figures keep their column; a long title takes a line of its own.
    const std::size_t room = width - 4 - std::strlen(figures);
    if (kind.title.size() < room) {
      out << "    " << kind.title << std::string(room - kind.title.size(), ' ') << figures << "\n";
    } else {
      out << "    " << kind.title << "\n    " << std::string(room, ' ') << figures << "\n";
    }
  }
}

}  // namespace nimbex_cl
