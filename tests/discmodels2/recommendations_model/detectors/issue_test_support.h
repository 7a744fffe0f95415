#pragma once
// Test support for issue detectors: a provider with a record per row, rows
// built from type bits and a record, and a table runner that reads back
// everything a detector made as lines of text, one case a row.
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
using data_models2::issues::IssueDetector;

/// Records, bottom-up children and answers per row. Rows without a record
/// get the default record, as an unfilled row does.
class IssueProvider : public test_fakes::StubProvider {
 public:
  const CommonData& getData(const row_t& row) const override { return records[row.get()]; }
  generic_iterator_t<row_t> getBottomUpChildren(const row_t& row) const override {
    auto it = bottomUp.find(row.get());
    return generic_iterator_t<row_t>(it == bottomUp.end() ? std::vector<row_t>() : std::vector<row_t>(it->second));
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
    const auto& [bytes, address] = machine->second;
    const assembler_analysis::CodeRegion region{
        .bytes = bytes.data(), .size = bytes.size(), .address = address, .symbols = {}};
    if (buffer->size() == 0) assembler_analysis::createAssemblerGenerator()->generate(region, *buffer, pressure.get());
    return buffer->size() == 0 ? nullptr : buffer;
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
  std::map<const void*, int> shadowDiagnostic;
  std::map<const void*, sptr_t<data_models2::AssemblerRowVisitHandler>> assemblerVisits;
};

using Tweak = std::function<void(CommonData&)>;

/// `a`, then `b`; either may be empty.
inline Tweak both(Tweak a, Tweak b) {
  return [=](CommonData& d) {
    if (a) a(d);
    if (b) b(d);
  };
}

/// Builds the rows of one case: the first row added is the one examined,
/// unless `examined` is set. Type bits and record are set apart because the
/// detectors read both.
class Rows {
 public:
  explicit Rows(std::shared_ptr<IssueProvider> provider) : provider(std::move(provider)) {
    model->datasets[BottomUp] = dataset;
    model->loopManager = loops;
  }

  /// A row of `type` whose record, changed by `tweak`, starts as a filled
  /// one of an unmarked innermost loop.
  sptr_t<FakeRow> add(IMetadata::type_t type, const Tweak& tweak = {}) {
    sptr_t<FakeRow> row = makeRow(++lastId, type);
    CommonData data;
    data.typeFlag1024 = false;
    if (tweak) tweak(data);
    provider->records[row.get()] = data;
    if (!examined) examined = row;
    return row;
  }
  sptr_t<FakeRow> addWithoutMetadata() {
    sptr_t<FakeRow> row = makeRow(++lastId, 0, false);
    if (!examined) examined = row;
    return row;
  }
  /// What `parent` calls or holds, as the provider answers it.
  void bottomUpChild(const sptr_t<FakeRow>& parent, const row_t& child) {
    provider->bottomUp[parent.get()].push_back(child);
  }
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
  std::string out;
  for (const auto& [key, value] : bag.values()) out += (out.empty() ? "" : ",") + key + "=" + value.to_string();
  for (const auto& [key, sub] : bag.bags()) out += (out.empty() ? "" : ",") + key + renderBag(sub);
  return "{" + out + "}";
}

/// One line per issue, then one indented line per recommendation:
///   id [flags] title / text {bag} impact=0.43
///     id cN [flags] title / text {bag}
/// The bag is left out when empty, the impact when the issue has none; the
/// impact is printed to the last bit of its float.
inline std::vector<std::string> render(const std::vector<sptr_t<IIssueEx>>& issues) {
  std::vector<std::string> lines;
  auto shown = [](const IRecommendationBase& r) {
    std::string text = r.getStringId();
    if (dynamic_cast<const IRecommendation*>(&r)) text = "  " + text + " c" + std::to_string(r.getConfidence());
    text += " [" + std::to_string(r.getFlags()) + "] " + r.getTitle() + " / " + r.getText();
    if (!r.getParameters().empty()) text += " " + renderBag(r.getParameters());
    return text;
  };
  for (const auto& issue : issues) {
    lines.push_back(issue ? shown(*issue) : "null issue");
    if (!issue) continue;
    float impact = 0.0f;
    if (issue->getValue(IRecommendationBase::impactId(), impact)) {
      char printed[32];
      std::snprintf(printed, sizeof printed, "%.9g", static_cast<double>(impact));
      lines.back() += std::string(" impact=") + printed;
    }
    for (auto recs = issue->getRecommendations(); !recs.at_end(); recs.next()) {
      lines.push_back(recs.current() ? shown(*recs.current()) : "  null recommendation");
    }
  }
  return lines;
}

/// Expected lines as render() writes them: an issue, then a recommendation
/// (flags 8 unless said).
inline std::string line(const std::string& id, unsigned flags, const std::string& title, const std::string& text,
                        const std::string& extra = "") {
  return id + " [" + std::to_string(flags) + "] " + title + " / " + text + (extra.empty() ? "" : " " + extra);
}
inline std::string rec(const std::string& id, int confidence, const std::string& title, const std::string& text,
                       const std::string& bag = "", unsigned flags = 8) {
  return "  " + line(id + " c" + std::to_string(confidence), flags, title, text, bag);
}
/// An issue whose keys follow its id: id_title, and id_text unless `text`.
inline std::string issueLine(const std::string& id, unsigned flags = 65, const std::string& text = "") {
  return line(id, flags, id + "_title", text.empty() ? id + "_text" : text);
}
/// A recommendation whose keys follow its stem: stem_title, and stem_text
/// with `textForm` appended ("" for a text without language forms).
inline std::string stemRec(const std::string& stem, int confidence, const std::string& textForm, bool fortran = false,
                           const std::string& bag = "", unsigned flags = 8) {
  return rec(stem + (fortran ? "_fortran" : ""), confidence, stem + "_title", stem + "_text" + textForm, bag, flags);
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
    for (const std::string& key : shipped->keys()) {
      const std::string english = shipped->message(key).text();
      std::string args;
      for (const std::string p : {"%1", "%2", "%3", "%4", "%5", "%6", "%7", "%8", "%9"}) {
        if (english.find(p) != std::string::npos) args += (args.empty() ? "(" : "|") + p;
      }
      texts[key] = key + (args.empty() ? "" : args + ")");
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

struct Case {
  const char* name;
  std::function<void(Rows&)> build;
  std::vector<std::string> expected;  ///< empty: the detector makes nothing
};

/// Fixture of the detector tables: translations come from the echo
/// catalogue, and each case gets a fresh provider.
class IssueDetectorTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(echoCatalog()) << "the shipped catalogue must load (NIMBEX_SOURCE_DIR is set by ctest)";
    data_models2::issues::setCatalogForTesting(echoCatalog());
  }
  void TearDown() override { data_models2::issues::clearCatalogForTesting(); }

  /// Makes the detector of each case with `make(rows)` and checks what it
  /// makes on the examined row.
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

/// Bytes from hex text, spaced or not.
inline std::vector<std::uint8_t> hexBytes(std::string hex) {
  std::erase(hex, ' ');
  std::vector<std::uint8_t> bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) bytes.push_back(std::stoi(hex.substr(i, 2), nullptr, 16));
  return bytes;
}

template <class Detector>
auto make() {
  return [](Rows& r) { return std::make_shared<Detector>(r.provider); };
}

}  // namespace issue_tests
