#pragma once
// What nimbex-cl's reports show, read once from a scanned result: the loops,
// hottest first, each with its place, times, zone, issues with their
// recommendations, traits, and roofline position; the roofs of the machine.
//
// The text, HTML and SARIF writers all read this and never the rows
// themselves, so that they agree on which loops there are, in which order,
// and what a trait or a zone is.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "data_abstractions2/i_dataset.h"
#include "data_abstractions2/i_result_controller.h"
#include "data_abstractions2/i_surveying_view_model.h"

namespace nimbex_cl {

/// Where the roofline guidance put a loop. Between the ridges the side comes
/// from the recommendation the guidance chose.
enum class Zone { Unknown, Memory, MostlyMemory, MostlyCompute, Compute };

/// "memory bound", "between the ridges, mostly memory bound", ...; empty for
/// Unknown.
std::string zoneText(Zone zone);
/// A short token for styles and machine readers: "memory", "mostly-memory",
/// "mostly-compute", "compute", "unknown".
const char* zoneToken(Zone zone);

struct RecommendationEntry {
  std::string id;
  std::string title;
  std::string text;
  int confidence = 0;
};

struct IssueEntry {
  std::string id;
  std::string title;
  std::string text;
  std::vector<RecommendationEntry> recommendations;  ///< in the order the scan ranked them

  /// The highest confidence of the recommendations; 0 without any.
  int confidence() const;
};

/// A trait as a reader sees it: a title line and what follows it.
struct TraitEntry {
  std::string title;
  std::string body;  ///< may be empty
};

struct LoopFindings {
  std::uint64_t rowId = 0;
  std::size_t treeOrder = 0;  ///< position in a walk of the tree; stable while the tree's shape is
  std::string function;       ///< as shown; empty when unknown
  std::string linkName;       ///< the mangled name when known, else the function
  std::string module;         ///< of the loop or the nearest row above that names one
  std::string sourceFile;     ///< as the result names it
  int line = 0;               ///< 0: unknown
  double selfTime = 0.0;
  double totalTime = 0.0;
  Zone zone = Zone::Unknown;
  int vectorized = -1;        ///< 1 yes, 0 no, -1 unknown
  std::string vectorLength;   ///< as the compiler reported it ("4", "2;4"); empty when unknown
  std::vector<IssueEntry> issues;
  std::vector<TraitEntry> traits;

  bool hasPosition = false;   ///< the roofline figures place the loop on the chart
  double intensity = 0.0;     ///< operations per byte
  double performance = 0.0;   ///< operations per second

  /// "[loop in relax(Grid&) at relax.cpp:43]"
  std::string name() const;
  /// "relax.cpp:43", "relax.cpp", or empty.
  std::string location() const;
  bool hasFindings() const { return !issues.empty() || !traits.empty(); }
};

struct RoofEntry {
  std::string name;
  double value = 0.0;  ///< bytes per second (memory) or operations per second (compute)
  bool memory = false;
};

struct ReportData {
  std::string program;      ///< the profiled program's file, else the result's name
  std::string machine;      ///< a short description; empty when the result says nothing of it
  std::string resultName;
  double programTime = 0.0; ///< seconds; what a loop's share is taken of
  std::vector<LoopFindings> loops;  ///< hottest first, ties by row id
  std::vector<RoofEntry> roofs;     ///< memory roofs slowest first, then compute roofs

  std::size_t loopsWithFindings() const;
  /// The loop's self time as a share of the program time, 0 to 1; 0 when the
  /// program time is unknown.
  double share(const LoopFindings& loop) const;
};

struct ReportSources {
  foundation::sptr_t<data_abstractions2::IDataset> bottomUp;
  /// Roofs, roofline figures, instruction mixes, modules; may be null.
  foundation::sptr_t<data_abstractions2::ISurveyingViewModel> survey;
  /// The machine; may be null.
  foundation::sptr_t<data_abstractions2::IResultController> controller;
  std::string resultName;
  /// Seconds; 0 takes the sum of the top rows' total times.
  double programTime = 0.0;
};

/// Reads the findings of every listed loop. Parts of a split loop are not
/// listed: their findings are lifted onto the loop. Missing data stays empty.
ReportData collectReportData(const ReportSources& sources);

/// The traits as a reader should see them. A trait may stand in two columns
/// of the host's table, once with a header before its text: a text that ends
/// another one, or repeats an earlier one, is dropped. Each kept text's first
/// non-empty line is its title.
std::vector<TraitEntry> readableTraits(const std::vector<std::string>& texts);

/// Calls f with each line of a catalogue text, without its line break; a
/// final line break adds no empty line. Every writer lays texts out line by
/// line, and reports of large results hold millions of them.
template <class F>
void forEachLine(std::string_view text, F&& f) {
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    f(text.substr(start, end - start));
    start = end + 1;
  }
}

/// Catalogue texts mark code with two leading blanks: it keeps its lines.
inline bool isCodeLine(std::string_view line) { return line.substr(0, 2) == "  "; }

}  // namespace nimbex_cl
