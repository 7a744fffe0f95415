#pragma once
// Test support for issue detectors: a provider with a record per row, rows
// built from type bits and a record, and a table runner that reads back
// everything a detector made as lines of text.
//
// One table row is one case:
//
//   {"15533 with two inner loops",
//    [](Rows& r) { r.loop(vectorLoop, [](CommonData& d) { d.innerLoopCount = 2; }); },
//    {"need_for_simd_issue [65] need_for_simd_issue_title / need_for_simd_issue_text",
//     "  complex_loop_vectorization_rec c1 [0] ... {disclaimer=0}"}},
//
// Texts come from an echo of the shipped catalogue: every key it has reads
// as the key itself, followed by the arguments its English text takes, so
// "x_text_cpp(%1)" shows both which form of a key was chosen and what was
// passed. A key the catalogue lacks reads as itself, as in production.

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <ostream>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include "discmodels2/recommendations_model/core/detector.h"
#include "discmodels2/recommendations_model/messages/translation.h"
#include "platform/assembler_analysis/assembler_lines.h"
#include "platform/portability/message_catalog.h"
#include "tests/discmodels2/recommendations_model/test_fakes.h"

namespace issue_tests {

using namespace test_fakes;
using data_models2::CommonData;
using data_models2::IDataProvider;
using data_models2::issues::IssueDetector;

/// Records, bottom-up children and answers per row. Rows without a record
/// get the default record, as an unfilled row does.
class IssueProvider : public test_fakes::StubProvider {
 public:
  const CommonData& getData(const row_t& row) const override { return records[row.get()]; }
  generic_iterator_t<row_t> getBottomUpChildren(const row_t& row) const override {
    auto it = bottomUp.find(row.get());
    return it == bottomUp.end() ? generic_iterator_t<row_t>() : generic_iterator_t<row_t>(std::vector<row_t>(it->second));
  }
  boost::shared_ptr<assembler_analysis::AssemblerLines> getAssemblerLines(
      const row_t& row, const boost::shared_ptr<assembler_analysis::RegisterPressure>& pressure) const override {
    auto it = lines.find(row.get());
    if (it != lines.end()) return it->second;
    auto machine = code.find(row.get());
    if (machine == code.end()) return nullptr;
    // As the production provider: lines already made are handed out again;
    // an emptied buffer is decoded anew, with the pressure record if any.
    auto& buffer = decoded[row.get()];
    if (!buffer) buffer = boost::make_shared<assembler_analysis::AssemblerLines>();
    if (buffer->size() == 0) {
      assembler_analysis::CodeRegion region;
      region.bytes = machine->second.bytes.data();
      region.size = machine->second.bytes.size();
      region.address = machine->second.address;
      assembler_analysis::createAssemblerGenerator()->generate(region, *buffer, pressure.get());
    }
    return buffer->size() == 0 ? nullptr : buffer;
  }
  bool isLoopMatchThreshold(const row_t& row, double percent) const override {
    auto it = share.find(row.get());
    return it != share.end() && it->second > percent;
  }
  int getAVX512ShadowDiagnostic(const row_t& row) const override {
    auto it = shadowDiagnostic.find(row.get());
    return it == shadowDiagnostic.end() ? 0 : it->second;
  }
  sptr_t<data_models2::AssemblerRowVisitHandler> visitRowsForAssembler(const row_t& row, int) const override {
    auto it = assemblerVisits.find(row.get());
    return it == assemblerVisits.end() ? nullptr : it->second;
  }

  mutable std::map<const void*, CommonData> records;
  std::map<const void*, std::vector<row_t>> bottomUp;
  std::map<const void*, boost::shared_ptr<assembler_analysis::AssemblerLines>> lines;
  /// Machine code of a row and its address, decoded by the real generator
  /// when a row has no prepared `lines`.
  struct MachineCode {
    std::vector<std::uint8_t> bytes;
    std::uint64_t address = 0;
  };
  std::map<const void*, MachineCode> code;
  mutable std::map<const void*, boost::shared_ptr<assembler_analysis::AssemblerLines>> decoded;
  /// Share of the program's time, for isLoopMatchThreshold.
  std::map<const void*, double> share;
  std::map<const void*, int> shadowDiagnostic;
  std::map<const void*, sptr_t<data_models2::AssemblerRowVisitHandler>> assemblerVisits;
};

/// A filled record of a loop that detectors look at: a loop, innermost,
/// unmarked and scalar, in C, with the diagnostic number field read.
inline CommonData loopRecord() {
  CommonData data;
  data.isLoop = true;
  data.isInnermostLoop = true;
  data.typeFlag1024 = false;
  return data;
}

using Tweak = std::function<void(CommonData&)>;

/// Builds the rows of one case: the first row added is the one examined,
/// unless `examine` says otherwise. Type bits and record are set apart
/// because the detectors read both.
class Rows {
 public:
  explicit Rows(std::shared_ptr<IssueProvider> provider) : provider(std::move(provider)) {
    model->datasets[BottomUp] = dataset;
    model->loopManager = loops;
  }

  /// A row of `type` whose record is loopRecord() changed by `tweak`.
  sptr_t<FakeRow> add(IMetadata::type_t type, const Tweak& tweak = {}) {
    sptr_t<FakeRow> row = makeRow(++lastId, type);
    CommonData data = loopRecord();
    if (tweak) tweak(data);
    provider->records[row.get()] = data;
    if (!examined) examined = row;
    return row;
  }
  /// A row with no metadata at all.
  sptr_t<FakeRow> addWithoutMetadata() {
    sptr_t<FakeRow> row = makeRow(++lastId, 0, false);
    if (!examined) examined = row;
    return row;
  }
  /// Makes `child` a bottom-up child of `parent` (what the parent calls or
  /// holds, as the provider answers it).
  void bottomUpChild(const sptr_t<FakeRow>& parent, const row_t& child) {
    provider->bottomUp[parent.get()].push_back(child);
  }
  /// Makes `child` a tree child of `parent`.
  void treeChild(const sptr_t<FakeRow>& parent, const sptr_t<FakeRow>& child) { parent->addChild(child); }
  CommonData& data(const row_t& row) { return provider->records[row.get()]; }

  std::shared_ptr<IssueProvider> provider;
  /// The survey model of the detectors that take one: its bottom-up
  /// dataset holds the fields read directly, its loop manager the trip
  /// counts, and its instruction mixes answer for every row.
  sptr_t<FakeViewModel> model = foundation::pool_allocate<FakeViewModel>();
  sptr_t<FakeDataset> dataset = foundation::pool_allocate<FakeDataset>(BottomUp);
  sptr_t<FakeLoopManager> loops = foundation::pool_allocate<FakeLoopManager>();
  row_t examined;

 private:
  std::uint64_t lastId = 0;
};

inline std::string renderBag(const variant_bag_t& bag) {
  std::string out = "{";
  bool first = true;
  for (const auto& [key, value] : bag.values()) {
    out += (first ? "" : ",") + key + "=" + value.to_string();
    first = false;
  }
  for (const auto& [key, sub] : bag.bags()) {
    out += (first ? "" : ",") + key + renderBag(sub);
    first = false;
  }
  return out + "}";
}

/// One line per issue, then one indented line per recommendation:
///   id [flags] title / text {bag} impact=0.43
///     id cN [flags] title / text {bag}
/// The bag is left out when empty, the impact when the issue has none; the
/// impact is printed to the last bit of its float.
inline std::vector<std::string> render(const std::vector<sptr_t<IIssueEx>>& issues) {
  std::vector<std::string> lines;
  auto line = [](const IRecommendationBase& r) {
    std::string text = r.getStringId();
    if (dynamic_cast<const IRecommendation*>(&r)) text = "  " + text + " c" + std::to_string(r.getConfidence());
    text += " [" + std::to_string(r.getFlags()) + "] " + r.getTitle() + " / " + r.getText();
    if (!r.getParameters().empty()) text += " " + renderBag(r.getParameters());
    return text;
  };
  for (const auto& issue : issues) {
    if (!issue) {
      lines.push_back("null issue");
      continue;
    }
    lines.push_back(line(*issue));
    float impact = 0.0f;
    if (issue->getValue(IRecommendationBase::impactId(), impact)) {
      char printed[32];
      std::snprintf(printed, sizeof printed, "%.9g", static_cast<double>(impact));
      lines.back() += std::string(" impact=") + printed;
    }
    for (auto recs = issue->getRecommendations(); !recs.at_end(); recs.next()) {
      lines.push_back(recs.current() ? line(*recs.current()) : "  null recommendation");
    }
  }
  return lines;
}

/// The shipped catalogue with every text replaced by its key and the
/// placeholders the English text uses: "key(%1|%2)". Loaded once.
inline std::shared_ptr<const portability::catalog_t> echoCatalog() {
  static const std::shared_ptr<const portability::catalog_t> echo = [] {
    const char* root = std::getenv("NIMBEX_SOURCE_DIR");
    std::map<std::string, std::string> texts;
    if (!root) return std::shared_ptr<const portability::catalog_t>();
    portability::catalog_error_t error;
    auto shipped = portability::load_catalog(
        data_models2::issues::recommendationsCatalogName,
        std::string(root) + "/resources/messages/data_models.recommendations.po", error);
    if (!shipped) return std::shared_ptr<const portability::catalog_t>();
    static const std::regex placeholder(R"(%([1-9]))");
    for (const std::string& key : shipped->keys()) {
      const std::string english = shipped->message(key).text();
      std::set<std::string> used;
      for (std::sregex_iterator it(english.begin(), english.end(), placeholder), end; it != end; ++it) {
        used.insert((*it)[0]);
      }
      std::string echoText = key;
      if (!used.empty()) {
        echoText += "(";
        bool first = true;
        for (const std::string& p : used) {
          echoText += (first ? "" : "|") + p;
          first = false;
        }
        echoText += ")";
      }
      texts[key] = echoText;
    }
    return std::make_shared<const portability::catalog_t>("echo", std::move(texts));
  }();
  return echo;
}

/// Runs `detector` on `row` and renders what it made. `agreed` tells
/// whether the returned bool matches "made something".
inline std::vector<std::string> run(const IssueDetector& detector, const row_t& row, bool* agreed = nullptr) {
  auto out = std::make_shared<std::vector<sptr_t<IIssueEx>>>();
  const bool any = detector.detect(row, out);
  if (agreed) *agreed = any == !out->empty();
  return render(*out);
}

/// One case of a detector table.
struct Case {
  const char* name;
  std::function<void(Rows&)> build;
  std::vector<std::string> expected;  ///< empty: the detector makes nothing
};

inline std::ostream& operator<<(std::ostream& out, const Case& c) { return out << c.name; }

/// Fixture of the detector tables: translations come from the echo
/// catalogue, and each case gets a fresh provider.
class IssueDetectorTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(echoCatalog()) << "the shipped catalogue must load (NIMBEX_SOURCE_DIR is set by ctest)";
    data_models2::issues::setCatalogForTesting(echoCatalog());
  }
  void TearDown() override { data_models2::issues::clearCatalogForTesting(); }

  /// Builds each case's rows afresh, makes the detector with `make(rows)`
  /// and checks what it makes on the examined row.
  template <class MakeDetector>
  void runTable(const std::vector<Case>& cases, MakeDetector make) {
    for (const Case& c : cases) {
      SCOPED_TRACE(c.name);
      auto provider = std::make_shared<IssueProvider>();
      Rows rows(provider);
      c.build(rows);
      std::shared_ptr<IssueDetector> detector = make(rows);
      bool agreed = false;
      EXPECT_EQ(run(*detector, rows.examined, &agreed), c.expected);
      EXPECT_TRUE(agreed) << "detect's answer disagrees with what it made";
    }
  }
};

}  // namespace issue_tests
