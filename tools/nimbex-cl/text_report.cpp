#include "tools/nimbex-cl/text_report.h"

#include <algorithm>
#include <set>
#include <cstdio>
#include <sstream>
#include <vector>

namespace nimbex_cl {

using namespace data_abstractions2;

namespace {

struct LoopEntry {
  row_t row;
  double selfTime = 0.0;
  double totalTime = 0.0;
  std::uint64_t id = 0;
};

std::string readText(const IDataset& dataset, const row_t& row, FieldId id) {
  variant_t value;
  if (dataset.getValue(row, dataset.getColumn(id), 0, value) && value.is_text()) return value.text();
  return std::string();
}

double readDouble(const IDataset& dataset, const row_t& row, FieldId id) {
  variant_t value;
  return dataset.getValue(row, dataset.getColumn(id), 0, value) ? value.as_double() : 0.0;
}

std::string leafName(const std::string& path) {
  const auto slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string loopName(const IDataset& dataset, const row_t& row) {
  std::string name = "[loop in ";
  const std::string function = readText(dataset, row, FunctionName);
  name += function.empty() ? "an unknown function" : function;
  const std::string file = leafName(readText(dataset, row, SourceFile));
  if (!file.empty()) {
    name += " at " + file;
    variant_t line;
    if (dataset.getValue(row, dataset.getColumn(SourceLine), 0, line) && line.is_integer()) {
      name += ":" + line.to_string();
    }
  }
  return name + "]";
}

// Parts of a split loop show their findings on the loop itself (they are
// lifted there), so listing them again would only repeat them.
bool isListedLoop(const row_t& row) {
  sptr_t<IMetadata> metadata = row->getMetadata();
  if (!metadata || !metadata->hasType(IMetadata::TypeLoop)) return false;
  return !metadata->hasType(IMetadata::TypePeelPart | IMetadata::TypeRemainderPart | IMetadata::TypeVectorBodyPart);
}

std::vector<LoopEntry> collectLoops(const IDataset& dataset) {
  std::vector<LoopEntry> loops;
  std::vector<row_t> pending;
  for (auto roots = dataset.getRoots(); !roots.at_end(); roots.next()) pending.push_back(roots.current());
  while (!pending.empty()) {
    row_t row = std::move(pending.back());
    pending.pop_back();
    if (!row) continue;
    if (isListedLoop(row)) {
      loops.push_back({row, readDouble(dataset, row, SelfTime), readDouble(dataset, row, TotalTime), row->getId()});
    }
    generic_iterator_t<row_t> children;
    if (row->getChildren(0, 1, children) > 0) {
      for (; !children.at_end(); children.next()) pending.push_back(children.current());
    }
  }
  // Hottest first; ties keep a stable order by row id so the report does not
  // change between runs.
  std::sort(loops.begin(), loops.end(), [](const LoopEntry& a, const LoopEntry& b) {
    if (a.selfTime != b.selfTime) return a.selfTime > b.selfTime;
    return a.id < b.id;
  });
  return loops;
}

// Where the roofline guidance put the loop; empty when it said nothing. The
// zone is the issue's "zone" attribute; between the ridges the chosen
// recommendation tells which side is nearer.
std::string zoneOf(const INode<IRowSpecification>& row) {
  const std::string roofline = IIssueEx::getIssueStringId(IIssueEx::RooflineGuidance);
  for (auto issues = row.rowIssues(); !issues.at_end(); issues.next()) {
    const auto& issue = issues.current();
    if (!issue || issue->getStringId() != roofline) continue;
    const variant_t* zone = issue->getParameters().get("zone");
    const std::string text = zone ? zone->text() : std::string();
    if (text == "mem") return "memory bound";
    if (text == "comp") return "compute bound";
    if (text != "mix") return {};
    for (auto recs = issue->getRecommendations(); !recs.at_end(); recs.next()) {
      IRecommendation::RecommendationId id;
      bool fortran = false;
      if (recs.current() && IRecommendation::getRecommendationIdByString(recs.current()->getStringId(), id, fortran) &&
          id == IRecommendation::RooflineGuidanceMostlyComputeBound) {
        return "between the ridges, mostly compute bound";
      }
    }
    return "between the ridges, mostly memory bound";
  }
  return {};
}

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
  const std::string pad(indent, ' ');
  const std::size_t room = width > indent + 20 ? width - indent : 20;
  std::string out;
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    // Catalogue texts mark code with two leading blanks: it keeps its lines.
    if (line.rfind("  ", 0) == 0) {
      out += pad + line + "\n";
      continue;
    }
    std::istringstream words(line);
    std::string word;
    std::string current;
    while (words >> word) {
      if (!current.empty() && current.size() + 1 + word.size() > room) {
        out += pad + current + "\n";
        current.clear();
      }
      current += current.empty() ? word : " " + word;
    }
    out += current.empty() ? "\n" : pad + current + "\n";
  }
  return out;
}

TextReport::TextReport(foundation::sptr_t<IDataset> bottomUp, Settings settings)
    : bottomUp_(std::move(bottomUp)), settings_(std::move(settings)) {}

void TextReport::print(std::ostream& out) const {
  if (!bottomUp_) {
    out << "nimbex-cl: the result has no loops to report\n";
    return;
  }
  const std::vector<LoopEntry> loops = collectLoops(*bottomUp_);
  double programTime = settings_.programTime;
  if (programTime <= 1e-12) {
    for (auto roots = bottomUp_->getRoots(); !roots.at_end(); roots.next()) {
      programTime += readDouble(*bottomUp_, roots.current(), TotalTime);
    }
  }

  std::size_t withFindings = 0;
  for (const LoopEntry& loop : loops) {
    if (!loop.row->rowIssues().at_end() || !loop.row->rowTraits().at_end()) ++withFindings;
  }
  out << "nimbex-cl: " << withFindings << " loop" << (withFindings == 1 ? "" : "s") << " with findings out of "
      << loops.size();
  if (!settings_.resultName.empty()) out << " (result " << settings_.resultName;
  if (!settings_.origin.empty()) out << (settings_.resultName.empty() ? " (" : ", ") << settings_.origin;
  if (!settings_.resultName.empty() || !settings_.origin.empty()) out << ")";
  out << "\n";

  std::size_t shown = 0;
  for (const LoopEntry& loop : loops) {
    if (settings_.topLoops != 0 && shown >= settings_.topLoops) break;
    ++shown;
    out << "\n" << shown << ". " << loopName(*bottomUp_, loop.row) << "\n";
    out << "   self " << seconds(loop.selfTime);
    if (programTime > 1e-12) {
      char share[32];
      std::snprintf(share, sizeof share, " (%.1f%%)", 100.0 * loop.selfTime / programTime);
      out << share;
    }
    out << "  total " << seconds(loop.totalTime) << "\n";

    row_lock_t lock = loop.row->lockRow();
    const std::string zone = zoneOf(*loop.row);
    if (!zone.empty()) out << "   Zone: " << zone << "\n";
    // A trait may stand in two columns of the host's table, once with a
    // header before its text; a text report has no columns, so it says each
    // text once, the fullest form.
    std::vector<std::string> traitTexts;
    for (auto traits = loop.row->rowTraits(); !traits.at_end(); traits.next()) {
      if (traits.current() && !traits.current()->getText().empty()) traitTexts.push_back(traits.current()->getText());
    }
    auto endsWith = [](const std::string& text, const std::string& tail) {
      return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
    };
    for (std::size_t i = 0; i < traitTexts.size(); ++i) {
      bool covered = false;
      for (std::size_t j = 0; j < traitTexts.size() && !covered; ++j) {
        if (i == j) continue;
        covered = (traitTexts[j] != traitTexts[i] && endsWith(traitTexts[j], traitTexts[i])) ||
                  (traitTexts[j] == traitTexts[i] && j < i);
      }
      if (covered) continue;
      const std::string& text = traitTexts[i];
      const std::size_t firstBreak = text.find('\n');
      out << "   Trait: " << text.substr(0, firstBreak) << "\n";
      if (firstBreak != std::string::npos) out << wrapText(text.substr(firstBreak + 1), 5, settings_.width);
    }
    auto issues = loop.row->rowIssues();
    if (issues.at_end()) out << "   No issues found.\n";
    for (; !issues.at_end(); issues.next()) {
      const auto& issue = issues.current();
      if (!issue) continue;
      out << "   Issue: " << issue->getTitle() << "\n";
      // Some findings use one catalogue text as title and text: say it once.
      if (!issue->getText().empty() && issue->getText() != issue->getTitle()) {
        out << wrapText(issue->getText(), 5, settings_.width);
      }
      for (auto recs = issue->getRecommendations(); !recs.at_end(); recs.next()) {
        const auto& rec = recs.current();
        if (!rec) continue;
        out << "     Recommendation [confidence: " << confidenceName(rec->getConfidence()) << "]: " << rec->getTitle()
            << "\n";
        if (!rec->getText().empty() && rec->getText() != rec->getTitle()) {
          out << wrapText(rec->getText(), 7, settings_.width);
        }
      }
    }
  }
  if (settings_.topLoops != 0 && loops.size() > shown) {
    out << "\n(" << loops.size() - shown << " more loops; --top 0 shows all)\n";
  }
}

}  // namespace nimbex_cl
