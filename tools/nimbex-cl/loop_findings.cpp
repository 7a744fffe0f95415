#include "tools/nimbex-cl/loop_findings.h"

#include <algorithm>
#include <cstdio>

#include "platform/model_support/roofline_interpolator.h"
#include "platform/model_support/roofline_roofs.h"
#include "platform/model_support/roofline_row_info.h"
#include "platform/system_info/system_info.h"

namespace nimbex_cl {

using namespace data_abstractions2;

namespace {

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

// Loop rows often leave the module and the mangled name to their function.
std::string readTextUpwards(const IDataset& dataset, row_t row, FieldId id) {
  for (int depth = 0; row && depth < 64; ++depth) {
    std::string text = readText(dataset, row, id);
    if (!text.empty()) return text;
    row = row->getParent();
  }
  return std::string();
}

// Parts of a split loop show their findings on the loop itself (they are
// lifted there), so listing them again would only repeat them.
bool isListedLoop(const row_t& row) {
  sptr_t<IMetadata> metadata = row->getMetadata();
  if (!metadata || !metadata->hasType(IMetadata::TypeLoop)) return false;
  return !metadata->hasType(IMetadata::TypePeelPart | IMetadata::TypeRemainderPart | IMetadata::TypeVectorBodyPart);
}

Zone zoneOf(const IIssueEx& issue) {
  const variant_t* zone = issue.getParameters().get("zone");
  const std::string text = zone ? zone->text() : std::string();
  if (text == "mem") return Zone::Memory;
  if (text == "comp") return Zone::Compute;
  if (text != "mix") return Zone::Unknown;
  for (auto recs = issue.getRecommendations(); !recs.at_end(); recs.next()) {
    IRecommendation::RecommendationId id;
    bool fortran = false;
    if (recs.current() && IRecommendation::getRecommendationIdByString(recs.current()->getStringId(), id, fortran) &&
        id == IRecommendation::RooflineGuidanceMostlyComputeBound) {
      return Zone::MostlyCompute;
    }
  }
  return Zone::MostlyMemory;
}

void readFindings(const INode<IRowSpecification>& row, LoopFindings& loop) {
  row_lock_t lock = row.lockRow();
  const std::string roofline = IIssueEx::getIssueStringId(IIssueEx::RooflineGuidance);
  for (auto issues = row.rowIssues(); !issues.at_end(); issues.next()) {
    const auto& issue = issues.current();
    if (!issue) continue;
    if (issue->getStringId() == roofline && loop.zone == Zone::Unknown) loop.zone = zoneOf(*issue);
    IssueEntry entry{issue->getStringId(), issue->getTitle(), issue->getText(), {}};
    for (auto recs = issue->getRecommendations(); !recs.at_end(); recs.next()) {
      const auto& rec = recs.current();
      if (rec) entry.recommendations.push_back({rec->getStringId(), rec->getTitle(), rec->getText(), rec->getConfidence()});
    }
    loop.issues.push_back(std::move(entry));
  }
  std::vector<std::string> texts;
  for (auto traits = row.rowTraits(); !traits.at_end(); traits.next()) {
    if (traits.current() && !traits.current()->getText().empty()) texts.push_back(traits.current()->getText());
  }
  loop.traits = readableTraits(texts);
}

std::string describeMachine(const ReportSources& sources) {
  std::string text;
  if (sources.controller) {
    const auto level = static_cast<system_info::SystemInfo::IsaExtensions>(sources.controller->getIsaExtensions(0));
    text = system_info::SystemInfo::getIsaAbbreviationAsString(level);
    int width = sources.controller->getMaxVectorLength(0);
    if (width <= 0) width = system_info::SystemInfo::getVectorLengthOfLevel(level);
    if (width > 0) text += (text.empty() ? "" : ", ") + std::to_string(width) + "-bit vectors";
  }
  if (sources.survey) {
    const std::uint64_t threads = sources.survey->getProgramMetrics().threadCount;
    if (threads > 0) {
      text += (text.empty() ? "" : ", ") + std::to_string(threads) + (threads == 1 ? " thread" : " threads");
    }
  }
  return text;
}

std::string programOf(const ReportSources& sources) {
  std::vector<FileLocator> modules;
  if (sources.survey && sources.survey->getFileLocators(LocatorModules, modules)) {
    for (const FileLocator& module : modules) {
      if (!module.path.empty()) return module.path;
    }
  }
  return sources.resultName;
}

}  // namespace

std::string zoneText(Zone zone) {
  switch (zone) {
    case Zone::Memory: return "memory bound";
    case Zone::MostlyMemory: return "between the ridges, mostly memory bound";
    case Zone::MostlyCompute: return "between the ridges, mostly compute bound";
    case Zone::Compute: return "compute bound";
    case Zone::Unknown: break;
  }
  return std::string();
}

const char* zoneToken(Zone zone) {
  switch (zone) {
    case Zone::Memory: return "memory";
    case Zone::MostlyMemory: return "mostly-memory";
    case Zone::MostlyCompute: return "mostly-compute";
    case Zone::Compute: return "compute";
    case Zone::Unknown: break;
  }
  return "unknown";
}

int IssueEntry::confidence() const {
  int best = 0;
  for (const RecommendationEntry& rec : recommendations) best = std::max(best, rec.confidence);
  return best;
}

std::string LoopFindings::location() const {
  const std::string file = leafName(sourceFile);
  if (file.empty()) return file;
  return line > 0 ? file + ":" + std::to_string(line) : file;
}

std::string LoopFindings::name() const {
  std::string text = "[loop in " + (function.empty() ? std::string("an unknown function") : function);
  const std::string where = location();
  if (!where.empty()) text += " at " + where;
  return text + "]";
}

std::size_t ReportData::loopsWithFindings() const {
  return static_cast<std::size_t>(
      std::count_if(loops.begin(), loops.end(), [](const LoopFindings& loop) { return loop.hasFindings(); }));
}

double ReportData::share(const LoopFindings& loop) const {
  if (programTime <= 1e-12) return 0.0;
  return std::clamp(loop.selfTime / programTime, 0.0, 1.0);
}

std::vector<TraitEntry> readableTraits(const std::vector<std::string>& texts) {
  auto endsWith = [](const std::string& text, const std::string& tail) {
    return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
  };
  std::vector<TraitEntry> kept;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    bool covered = false;
    for (std::size_t j = 0; j < texts.size() && !covered; ++j) {
      if (i == j) continue;
      covered = (texts[j] != texts[i] && endsWith(texts[j], texts[i])) || (texts[j] == texts[i] && j < i);
    }
    if (covered) continue;
    // A header column may leave the first line empty; the title is the
    // first line that says something.
    const std::string& text = texts[i];
    std::size_t start = 0;
    while (start < text.size()) {
      const std::size_t end = text.find('\n', start);
      const std::string line = text.substr(start, end == std::string::npos ? std::string::npos : end - start);
      if (line.find_first_not_of(" \t\r") != std::string::npos) break;
      start = end == std::string::npos ? text.size() : end + 1;
    }
    if (start >= text.size()) continue;
    const std::size_t end = text.find('\n', start);
    TraitEntry entry;
    entry.title = text.substr(start, end == std::string::npos ? std::string::npos : end - start);
    if (end != std::string::npos) entry.body = text.substr(end + 1);
    kept.push_back(std::move(entry));
  }
  return kept;
}

ReportData collectReportData(const ReportSources& sources) {
  ReportData data;
  data.resultName = sources.resultName;
  data.program = programOf(sources);
  data.machine = describeMachine(sources);
  if (!sources.bottomUp) return data;
  const IDataset& dataset = *sources.bottomUp;

  data.programTime = sources.programTime;
  if (data.programTime <= 1e-12) {
    data.programTime = 0.0;
    for (auto roots = dataset.getRoots(); !roots.at_end(); roots.next()) {
      data.programTime += readDouble(dataset, roots.current(), TotalTime);
    }
  }

  std::shared_ptr<data_models2::IRoofInterpolator> interpolator;
  if (sources.survey) {
    interpolator = data_models2::createRoofInterpolator(sources.controller, sources.survey->getRoofItems());
    const data_models2::Roofs roofs(sources.survey->getRoofItems());
    for (const auto& roof : interpolator->getMemoryRoofs(IRooflineInfo::AllThreads)) {
      data.roofs.push_back({roof.name, static_cast<double>(roof.value), true});
    }
    auto computeRoofs = roofs.computeRoofs(IRooflineInfo::AllThreads);
    if (computeRoofs.empty()) computeRoofs = roofs.computeRoofs(IRooflineInfo::SingleThread);
    for (const auto& roof : computeRoofs) {
      data.roofs.push_back({roof.item.name, static_cast<double>(roof.item.value), false});
    }
  }

  std::vector<row_t> pending;
  for (auto roots = dataset.getRoots(); !roots.at_end(); roots.next()) pending.push_back(roots.current());
  // Children go on the stack in reverse so that the walk visits them in the
  // tree's order.
  std::reverse(pending.begin(), pending.end());
  std::size_t order = 0;
  while (!pending.empty()) {
    row_t row = std::move(pending.back());
    pending.pop_back();
    if (!row) continue;
    if (isListedLoop(row)) {
      LoopFindings loop;
      loop.rowId = row->getId();
      loop.treeOrder = order++;
      loop.function = readText(dataset, row, FunctionName);
      loop.linkName = readTextUpwards(dataset, row, MangledName);
      if (loop.linkName.empty()) loop.linkName = loop.function;
      loop.module = readTextUpwards(dataset, row, ModuleName);
      loop.sourceFile = readText(dataset, row, SourceFile);
      variant_t value;
      if (dataset.getValue(row, dataset.getColumn(SourceLine), 0, value) && value.is_integer()) {
        loop.line = static_cast<int>(std::max<std::int64_t>(0, value.as_i64()));
      }
      loop.selfTime = readDouble(dataset, row, SelfTime);
      loop.totalTime = readDouble(dataset, row, TotalTime);
      if (dataset.getValue(row, dataset.getColumn(IsVectorized), 0, value) && !value.empty()) {
        loop.vectorized = value.as_bool() ? 1 : 0;
      }
      if (dataset.getValue(row, dataset.getColumn(VectorLengths), 0, value) && !value.empty()) {
        loop.vectorLength = value.to_string();
      }
      readFindings(*row, loop);
      if (interpolator) {
        InstructionMix mix;
        if (!sources.survey->getInstructionMix(row, MixDynamic, mix)) sources.survey->getInstructionMix(row, MixStatic, mix);
        const auto info = data_models2::createRowRooflineInfo(row, sources.bottomUp, interpolator, mix);
        if (info && info->isValid()) {
          const RooflinePoint point = info->getPoint();
          loop.hasPosition = point.ai > 0.0 && point.performance > 0.0;
          loop.intensity = point.ai;
          loop.performance = point.performance;
        }
      }
      data.loops.push_back(std::move(loop));
    }
    generic_iterator_t<row_t> children;
    if (row->getChildren(0, 1, children) > 0) {
      const std::size_t mark = pending.size();
      for (; !children.at_end(); children.next()) pending.push_back(children.current());
      std::reverse(pending.begin() + static_cast<std::ptrdiff_t>(mark), pending.end());
    }
  }
  // Hottest first; ties keep a stable order by row id so that reports do
  // not change between runs.
  std::sort(data.loops.begin(), data.loops.end(), [](const LoopFindings& a, const LoopFindings& b) {
    if (a.selfTime != b.selfTime) return a.selfTime > b.selfTime;
    return a.rowId < b.rowId;
  });
  return data;
}

}  // namespace nimbex_cl
