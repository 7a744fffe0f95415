#include "platform/model_support/issues_dumper.h"

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "data_abstractions2/i_dataset.h"
#include "data_abstractions2/i_records.h"
#include "tests/data_abstractions2/test_tree.h"

namespace data_models2 {
namespace {

namespace fs = std::filesystem;

using namespace data_abstractions2;

using Dumper = IssuesDumper<DefaultDumpPolicy>;

using FakeDataset = fakes::TreeDataset;
using FakeRow = fakes::TreeRow;

using RecordingProgress = fakes::TestProgress;

const std::vector<std::pair<std::uint64_t, std::uint64_t>> kTree = {{1, 0}, {2, 1}, {3, 2}, {4, 2}, {10, 0}};

sptr_t<FakeDataset> makeDataset(const std::vector<std::pair<std::uint64_t, std::uint64_t>>& links = kTree) {
  return foundation::pool_allocate<FakeDataset>(links);
}

variant_bag_t everyKindBag() {
  variant_bag_t bag;
  bag.put("i8", std::int8_t{-128});
  bag.put("u8", std::uint8_t{255});
  bag.put("i16", std::int16_t{-32768});
  bag.put("u16", std::uint16_t{65535});
  bag.put("i32", std::numeric_limits<std::int32_t>::min());
  bag.put("u32", std::numeric_limits<std::uint32_t>::max());
  bag.put("i64", std::numeric_limits<std::int64_t>::min());
  bag.put("u64", std::numeric_limits<std::uint64_t>::max());
  bag.put("f32", 1.1f);
  bag.put("f64", 0.1);
  bag.put("tiny", std::numeric_limits<double>::denorm_min());
  bag.put("yes", true);
  bag.put("no", false);
  bag.put("text", "a < b && c > \"d\"");
  bag.put("blank", "");
  bag.put("nothing", variant_t());
  // Several sub-bags under one key make a list; another key in between must
  // keep its place.
  for (int i = 0; i < 3; ++i) {
    variant_bag_t& item = bag.add_variant_bag("item");
    item.put("index", i);
    if (i == 1) bag.add_variant_bag("other").put("name", "between");
    variant_bag_t& nested = item.add_variant_bag("sub");
    nested.add_variant_bag("deeper").put("leaf", static_cast<std::uint64_t>(i) * 1000);
  }
  bag.add_variant_bag("empty");
  return bag;
}

/// Findings spread the way a scan leaves them: issues lifted to parents are
/// the same objects, one recommendation serves two issues.
void populate(FakeDataset& dataset) {
  auto first =
      createRecommendation("peel_remainder_rec_loop_count", "Loop count", "Set the count", 9, everyKindBag(), 2, -1);
  first->setValue(IRecommendationBase::impactId(), 0.25f);
  auto shared = createRecommendationWithConfidence("align_loop", "Align", "Align the loop", 3, 8);
  auto withParameters = createRecommendationWithParameters("add_div", "Div", "Use div", everyKindBag(), 1);

  auto lifted = createIssueEx("peel_remainder_issue", "Peel", "Peel text", 1, 65, everyKindBag());
  lifted->addRecommendation(first);
  lifted->addRecommendation(shared);
  lifted->addRecommendation(withParameters);
  lifted->setValue(IRecommendationBase::impactId(), 0.5f);
  lifted->setValue(IRecommendationBase::rooflineImpactId(), std::numeric_limits<float>::denorm_min());
  lifted->addFlags(32);

  auto sibling = createIssueEx("loop_misalignment_issue", "Misaligned", "Align", 1, 129, variant_bag_t());
  sibling->addRecommendation(shared);
  auto bare = createIssueEx("compiler_diag_issue_15523", "", "", 1, 514, variant_bag_t());

  // Strings that XML cannot carry as they are: NUL, a control character,
  // bytes that are not UTF-8.
  variant_bag_t oddBag;
  oddBag.put(std::string("k\x01y", 3), std::string("v\0w\xff", 4));
  oddBag.put("unicode", "\xc3\xbc\xe2\x82\xac\xf0\x9f\x98\x80");
  oddBag.add_variant_bag(std::string("\xff", 1)).put("x", -1);
  auto odd =
      createIssueEx(std::string("odd\0id", 6), "tab\there \x01 bell", "<&>\"'\t\n\r \xff\xfe", -7, 0xffffffffu, oddBag);
  odd->setValue("custom", -std::numeric_limits<float>::infinity());

  auto trait = createTraitRecord(ITrait::MaskedStores, "Masked stores\nUse masks", data_abstractions2::InstructionSets);
  auto unnamed = createTraitRecord(static_cast<ITrait::Id>(99), "", data_abstractions2::FieldNone);

  dataset.row(3).addRowIssue(lifted);
  dataset.row(3).addRowTrait(trait);
  dataset.row(4).addRowIssue(sibling);
  dataset.row(2).addRowIssue(lifted);
  dataset.row(2).addRowIssue(sibling);
  dataset.row(2).addRowIssue(bare);
  dataset.row(2).addRowTrait(trait);
  dataset.row(1).addRowIssue(lifted);
  dataset.row(10).addRowIssue(odd);
  dataset.row(10).addRowTrait(unnamed);
  dataset.row(10).addRowTrait(trait);
}

struct RowState {
  std::vector<sptr_t<IIssueEx>> issues;
  std::vector<sptr_t<ITrait>> traits;
  bool operator==(const RowState&) const = default;
};

std::map<std::uint64_t, RowState> snapshot(const FakeDataset& dataset) {
  std::map<std::uint64_t, RowState> state;
  for (const auto& [id, row] : dataset.rows()) state[id] = RowState{row->issues(), row->traits()};
  return state;
}

void expectSameRecord(const IRecommendationBase& expected, const IRecommendationBase& actual) {
  EXPECT_EQ(expected.getStringId(), actual.getStringId());
  EXPECT_EQ(expected.getTitle(), actual.getTitle());
  EXPECT_EQ(expected.getText(), actual.getText());
  EXPECT_EQ(expected.getFlags(), actual.getFlags());
  EXPECT_EQ(expected.getPriority(), actual.getPriority());
  EXPECT_EQ(expected.getConfidence(), actual.getConfidence());
  const auto expectedValues = expected.getValues();
  const auto actualValues = actual.getValues();
  ASSERT_EQ(expectedValues.size(), actualValues.size());
  for (const auto& [key, value] : expectedValues) {
    ASSERT_TRUE(actualValues.count(key)) << key;
    EXPECT_EQ(std::memcmp(&value, &actualValues.at(key), sizeof value), 0) << key;
  }
  EXPECT_TRUE(expected.getParameters() == actual.getParameters()) << expected.getStringId();
}

std::vector<sptr_t<IRecommendation>> recommendationsOf(const sptr_t<IIssueEx>& issue) {
  std::vector<sptr_t<IRecommendation>> out;
  for (auto it = issue->getRecommendations(); !it.at_end(); it.next()) out.push_back(it.current());
  return out;
}

/// Pairs each original object with its loaded counterpart and fails when
/// the pairing is not one to one: a record shared before must be shared
/// after, and records apart before must stay apart.
class SharingMap {
 public:
  void pair(const void* original, const void* loaded) {
    auto [forward, freshForward] = forward_.emplace(original, loaded);
    auto [backward, freshBackward] = backward_.emplace(loaded, original);
    EXPECT_EQ(forward->second, loaded);
    EXPECT_EQ(backward->second, original);
    EXPECT_EQ(freshForward, freshBackward);
  }

 private:
  std::map<const void*, const void*> forward_;
  std::map<const void*, const void*> backward_;
};

void expectSameFindings(const std::map<std::uint64_t, RowState>& expected, const FakeDataset& dataset) {
  SharingMap issues;
  SharingMap recommendations;
  SharingMap traits;
  for (const auto& [id, state] : expected) {
    SCOPED_TRACE("row " + std::to_string(id));
    const FakeRow& row = dataset.row(id);
    ASSERT_EQ(state.issues.size(), row.issues().size());
    for (std::size_t i = 0; i < state.issues.size(); ++i) {
      const auto& original = state.issues[i];
      const auto& loaded = row.issues()[i];
      issues.pair(original.get(), loaded.get());
      expectSameRecord(*original, *loaded);
      const auto originalRecommendations = recommendationsOf(original);
      const auto loadedRecommendations = recommendationsOf(loaded);
      ASSERT_EQ(originalRecommendations.size(), loadedRecommendations.size());
      for (std::size_t k = 0; k < originalRecommendations.size(); ++k) {
        recommendations.pair(originalRecommendations[k].get(), loadedRecommendations[k].get());
        expectSameRecord(*originalRecommendations[k], *loadedRecommendations[k]);
      }
    }
    ASSERT_EQ(state.traits.size(), row.traits().size());
    for (std::size_t i = 0; i < state.traits.size(); ++i) {
      const auto& original = state.traits[i];
      const auto& loaded = row.traits()[i];
      traits.pair(original.get(), loaded.get());
      EXPECT_EQ(original->getTraitId(), loaded->getTraitId());
      EXPECT_EQ(original->getText(), loaded->getText());
      EXPECT_EQ(original->getFieldId(), loaded->getFieldId());
    }
  }
}

void clearAll(FakeDataset& dataset) {
  for (const auto& [id, row] : dataset.rows()) {
    row->clearRowIssues();
    row->clearRowTraits();
  }
}

std::string readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

void writeFile(const fs::path& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
}

void replaceFirst(std::string& text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  ASSERT_NE(at, std::string::npos) << from;
  text.replace(at, from.size(), to);
}

class IssuesDumperTest : public ::testing::Test {
 protected:
  void SetUp() override {
    static int counter = 0;
    dir_ = fs::temp_directory_path() /
           ("issues_dumper_test_" + std::to_string(::getpid()) + "_" + std::to_string(counter++));
    fs::create_directories(dir_);
  }
  void TearDown() override {
    std::error_code ignored;
    fs::remove_all(dir_, ignored);
  }

  fs::path report() const { return dir_ / "issues.xml"; }

  Dumper dumper(const sptr_t<FakeDataset>& dataset, foundation::IProgress* progress = nullptr,
                const std::string& fileName = std::string()) const {
    Dumper d(dataset, progress);
    d.setFilename(fileName.empty() ? report().string() : fileName);
    return d;
  }

  std::vector<std::string> listing() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir_)) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }

  /// A populated tree and its report on disk, passed through `edit`.
  sptr_t<FakeDataset> dumpedTree(const std::function<void(std::string&)>& edit = {}) {
    auto dataset = makeDataset();
    populate(*dataset);
    EXPECT_TRUE(dumper(dataset).dumpIssuesReport());
    if (edit) {
      std::string text = readFile(report());
      edit(text);
      writeFile(report(), text);
    }
    return dataset;
  }

  fs::path dir_;
};

// Over a stale report of ours, which the dump replaces with nothing left beside.
TEST_F(IssuesDumperTest, RoundTripRestoresFieldsOrderAndSharing) {
  writeFile(report(), "<?xml version=\"1.0\"?>\n<issues_report version=\"1\" rows=\"9\" fingerprint=\"0\">");
  auto dataset = makeDataset();
  populate(*dataset);
  RecordingProgress dumping, assigning;
  ASSERT_TRUE(dumper(dataset, &dumping).dumpIssuesReport());
  EXPECT_EQ(dumping.steps_, 5);
  EXPECT_EQ(listing(), std::vector<std::string>{"issues.xml"});
  const auto before = snapshot(*dataset);
  clearAll(*dataset);

  ASSERT_TRUE(dumper(dataset, &assigning).assignIssuesReport());
  expectSameFindings(before, *dataset);
  EXPECT_EQ(assigning.steps_, 5);
  // Fresh objects, not the ones still held by `before`.
  EXPECT_NE(dataset->row(3).issues()[0], before.at(3).issues[0]);
}

TEST_F(IssuesDumperTest, AssignWritesUnderEachRowsLock) {
  auto dataset = dumpedTree();
  // populate wrote without the lock; only assign's writes count here.
  std::map<std::uint64_t, unsigned> unlocked;
  for (const auto& [id, row] : dataset->rows()) unlocked[id] = row->unlockedWrites_;
  ASSERT_TRUE(dumper(dataset).assignIssuesReport());
  for (const auto& [id, row] : dataset->rows()) EXPECT_EQ(row->unlockedWrites_, unlocked[id]) << "row " << id;
}

TEST_F(IssuesDumperTest, ReportReplacesWhatRowsHeld) {
  auto dataset = makeDataset();
  auto kept = createIssueEx("fma_issue", "FMA", "text", 1, 1, variant_bag_t());
  dataset->row(3).addRowIssue(kept);
  ASSERT_TRUE(dumper(dataset).dumpIssuesReport());

  // Findings that came after the report, on a named row and on rows the
  // report does not name, all give way to the report.
  dataset->row(3).addRowIssue(createIssueEx("div_issue", "Div", "text", 1, 1, variant_bag_t()));
  dataset->row(10).addRowIssue(kept);
  dataset->row(4).addRowTrait(createTraitRecord(ITrait::Horizontal, "h", data_abstractions2::InstructionSets));
  ASSERT_TRUE(dumper(dataset).assignIssuesReport());

  ASSERT_EQ(dataset->row(3).issues().size(), 1u);
  EXPECT_EQ(dataset->row(3).issues()[0]->getStringId(), "fma_issue");
  EXPECT_TRUE(dataset->row(10).issues().empty());
  EXPECT_TRUE(dataset->row(4).traits().empty());
}

TEST_F(IssuesDumperTest, TreeWithoutFindingsRoundTrips) {
  auto dataset = makeDataset();
  ASSERT_TRUE(dumper(dataset).dumpIssuesReport());
  ASSERT_TRUE(dumper(dataset).assignIssuesReport());
  for (const auto& [id, row] : dataset->rows()) EXPECT_EQ(snapshot(*dataset).at(id), RowState{}) << id;
}

TEST_F(IssuesDumperTest, NullEntriesAreLeftOut) {
  auto dataset = makeDataset();
  dataset->row(3).addRowIssue(sptr_t<IIssueEx>());
  dataset->row(3).addRowIssue(createIssueEx("fma_issue", "FMA", "text", 1, 1, variant_bag_t()));
  dataset->row(3).addRowTrait(sptr_t<ITrait>());
  ASSERT_TRUE(dumper(dataset).dumpIssuesReport());
  ASSERT_TRUE(dumper(dataset).assignIssuesReport());
  ASSERT_EQ(dataset->row(3).issues().size(), 1u);
  EXPECT_EQ(dataset->row(3).issues()[0]->getStringId(), "fma_issue");
  EXPECT_TRUE(dataset->row(3).traits().empty());
}

/// A change to the written report; `fits` is what reportFitsRows answers after it.
struct Edit {
  const char* name;
  std::function<void(std::string&)> apply;
  bool fits = true;
  friend void PrintTo(const Edit& c, std::ostream* out) { *out << c.name; }
};

std::string editName(const ::testing::TestParamInfo<Edit>& info) { return info.param.name; }

class EditedReportTest : public IssuesDumperTest, public ::testing::WithParamInterface<Edit> {};
using RefusedReportTest = EditedReportTest;
using AcceptedReportTest = EditedReportTest;
using ReportFitsTest = EditedReportTest;

TEST_P(RefusedReportTest, LeavesRowsUntouched) {
  auto dataset = dumpedTree(GetParam().apply);
  const auto before = snapshot(*dataset);
  EXPECT_FALSE(dumper(dataset).assignIssuesReport());
  EXPECT_TRUE(snapshot(*dataset) == before);
}

std::string nested(int depth) {
  std::string open;
  std::string close;
  for (int i = 0; i < depth; ++i) {
    open += "<bag key=\"d\">";
    close += "</bag>";
  }
  return open + close;
}

/// A corruption that replaces the first occurrence of `from`.
std::function<void(std::string&)> swap(std::string from, std::string to) {
  return [from, to](std::string& text) { replaceFirst(text, from, to); };
}
std::function<void(std::string&)> both(std::function<void(std::string&)> a, std::function<void(std::string&)> b) {
  return [a, b](std::string& text) { a(text), b(text); };
}

INSTANTIATE_TEST_SUITE_P(
    Corruptions, RefusedReportTest,
    ::testing::Values(
        Edit{"Empty", [](std::string& t) { t.clear(); }},
        Edit{"TruncatedHalfway", [](std::string& t) { t.resize(t.size() / 2); }},
        Edit{"TruncatedBeforeClosingTag", [](std::string& t) { t.resize(t.rfind("</issues_report>")); }},
        Edit{"NotXml", [](std::string& t) { t = "Issues: 3\nRecommendations: 4\n"; }},
        Edit{"SecondTopElement", [](std::string& t) { t += "<issues_report/>"; }},
        Edit{"WrongRoot", both(swap("<issues_report ", "<survey "), swap("</issues_report>", "</survey>"))},
        Edit{"WrongVersion", swap(R"(report version="1")", R"(report version="2")")},
        Edit{"OtherFingerprint",
                   [](std::string& t) {
                     const std::size_t at = t.find("fingerprint=\"") + 13;
                     t[at] = t[at] == '0' ? '1' : '0';
                   }},
        Edit{"OtherRowCount", swap(R"(rows="5")", R"(rows="6")")},
        Edit{"UnknownRowId", swap(R"(<row id="10")", R"(<row id="11")")},
        Edit{"RowGivenTwice", swap(R"(<row id="10")", R"(<row id="3")")},
        Edit{"DanglingIssueRef", swap(R"(<issue ref="1" />)", R"(<issue ref="77" />)")},
        Edit{"DanglingRecommendationRef", swap(R"(<recommendation ref="2" />)", R"(<recommendation ref="7" />)")},
        Edit{"DanglingTraitRef", swap(R"(<trait ref="1" />)", R"(<trait ref="0" />)")},
        Edit{"IntegerOutOfKind", swap(R"(type="i8" value="-128")", R"(type="i8" value="-129")")},
        Edit{"BadBool", swap(R"(type="bool" value="true")", R"(type="bool" value="yes")")},
        Edit{"BadReal", swap(R"(type="f64" value="0.1")", R"(type="f64" value="0.1x")")},
        Edit{"UnknownKind", swap(R"(type="u16")", R"(type="u128")")},
        Edit{"BadHex", swap(R"(id-hex="6f6464)", R"(id-hex="6f646)")},
        Edit{"BothPlainAndHex", swap("id-hex=", R"(id="x" id-hex=)")},
        Edit{"BadFlags", swap(R"(flags="97")", R"(flags="-97")")},
        Edit{"BadFloatValue", swap(R"(value="0.25")", R"(value="quarter")")},
        Edit{"UnknownTrait", swap(R"(id="masked_stores")", R"(id="masked")")},
        Edit{"UnknownElement", swap("<rows>", R"(<rows><column id="1" />)")},
        Edit{"StrayText", swap("<rows>", "<rows>loose text")},
        Edit{"SectionRemoved",
                   [](std::string& t) {
                     const std::size_t begin = t.find("<traits>");
                     t.erase(begin, t.find("</traits>") + 9 - begin);
                   }},
        Edit{"ParametersTooDeep", swap("</parameters>", nested(80) + "</parameters>")},
        Edit{"DocumentType", swap("<issues_report ", "<!DOCTYPE r [<!ENTITY e \"x\">]><issues_report ")},
        Edit{"DanglingRefBeforeItsSection",
                   [](std::string& t) {
                     // Rows first: their references are resolved only at the end.
                     const std::size_t begin = t.find("  <rows>");
                     const std::size_t end = t.find("</rows>\n") + 8;
                     std::string rows = t.substr(begin, end - begin);
                     t.erase(begin, end - begin);
                     replaceFirst(rows, R"(<trait ref="1" />)", R"(<trait ref="9" />)");
                     t.insert(t.find("  <recommendations>"), rows);
                   }}),
    editName);

/// Move the section that starts with `<name>` to the end of the root.
std::function<void(std::string&)> sectionToEnd(std::string name) {
  return [name](std::string& text) {
    const std::size_t begin = text.find("  <" + name + ">");
    const std::string close = "  </" + name + ">\n";
    const std::size_t end = text.find(close) + close.size();
    const std::string section = text.substr(begin, end - begin);
    text.erase(begin, end - begin);
    text.insert(text.rfind("</issues_report>"), section);
  };
}

// Files the writer would not write but the format allows give the rows the
// same findings.
TEST_P(AcceptedReportTest, GivesTheSameFindings) {
  auto dataset = dumpedTree(GetParam().apply);
  const auto before = snapshot(*dataset);
  clearAll(*dataset);
  ASSERT_TRUE(dumper(dataset).assignIssuesReport());
  expectSameFindings(before, *dataset);
}

INSTANTIATE_TEST_SUITE_P(
    Rewrites, AcceptedReportTest,
    ::testing::Values(Edit{"RecommendationsLast", sectionToEnd("recommendations")},
                      Edit{"IssuesAndTraitsAfterRows", both(sectionToEnd("issues"), sectionToEnd("traits"))},
                      Edit{"CommentsAndNoLayout",
                           both(swap("<rows>\n", "<rows><!-- rows -->"), swap("\n  <traits>", "<traits>"))}),
    editName);

TEST_P(ReportFitsTest, LooksAtTheRootAndTheEndOnly) {
  EXPECT_EQ(dumper(dumpedTree(GetParam().apply)).reportFitsRows(), GetParam().fits);
}

INSTANTIATE_TEST_SUITE_P(
    Heads, ReportFitsTest,
    ::testing::Values(Edit{"AsWritten", [](std::string&) {}, true},
                      // What lies between is not read: that is what makes it cheap.
                      Edit{"DamagedInside", swap("<rows>", "<rows>loose text"), true},
                      Edit{"CutShort", [](std::string& t) { t.resize(t.size() - 20); }, false},
                      Edit{"OtherRowCount", swap(R"(rows="5")", R"(rows="6")"), false},
                      Edit{"OtherVersion", swap(R"(report version="1")", R"(report version="2")"), false},
                      Edit{"Empty", [](std::string& t) { t.clear(); }, false}),
    editName);

TEST_F(IssuesDumperTest, RefusesReportOfAnotherResult) {
  // Same ids, but row 4 hangs under row 3: the findings would land on rows
  // that mean something else.
  auto written = dumpedTree();
  auto other = makeDataset({{1, 0}, {2, 1}, {3, 2}, {4, 3}, {10, 0}});
  auto stale = createIssueEx("fma_issue", "FMA", "text", 1, 1, variant_bag_t());
  other->row(4).addRowIssue(stale);
  const auto before = snapshot(*other);
  EXPECT_FALSE(dumper(other).assignIssuesReport());
  EXPECT_TRUE(snapshot(*other) == before);
}

TEST_F(IssuesDumperTest, EveryTruncationIsRefused) {
  auto dataset = dumpedTree();
  const std::string text = readFile(report());
  const std::size_t complete = text.rfind("</issues_report>") + std::string("</issues_report>").size();
  const auto before = snapshot(*dataset);
  // A few hundred cuts spread over the file, and every cut in its last
  // lines, where a shortened file comes closest to a whole one.
  const std::size_t stride = std::max<std::size_t>(1, complete / 300);
  const std::size_t tail = complete > 80 ? complete - 80 : 0;
  for (std::size_t cut = 0; cut < complete; cut += cut < tail ? stride : 1) {
    writeFile(report(), text.substr(0, cut));
    EXPECT_FALSE(dumper(dataset).assignIssuesReport()) << "cut at " << cut;
  }
  EXPECT_TRUE(snapshot(*dataset) == before);
}

TEST_F(IssuesDumperTest, DamagedBytesNeverCrash) {
  auto dataset = dumpedTree();
  const std::string text = readFile(report());
  std::mt19937 random(20240611);
  std::uniform_int_distribution<std::size_t> position(0, text.size() - 1);
  std::uniform_int_distribution<int> byte(0, 255);
  for (int round = 0; round < 300; ++round) {
    std::string damaged = text;
    for (int k = 0; k < 1 + round % 3; ++k) damaged[position(random)] = static_cast<char>(byte(random));
    writeFile(report(), damaged);
    // Either answer is fine; what must hold is that the call returns.
    (void)dumper(dataset).assignIssuesReport();
  }
}

TEST_F(IssuesDumperTest, MissingFileIsRefused) {
  auto dataset = makeDataset();
  populate(*dataset);
  const auto before = snapshot(*dataset);
  EXPECT_FALSE(dumper(dataset).assignIssuesReport());
  EXPECT_FALSE(dumper(dataset, nullptr, dir_.string()).assignIssuesReport());
  EXPECT_FALSE(Dumper().assignIssuesReport());
  EXPECT_TRUE(snapshot(*dataset) == before);
}

TEST_F(IssuesDumperTest, CancelledProgressWritesAndAssignsNothing) {
  auto dataset = dumpedTree();
  const std::string written = readFile(report());
  RecordingProgress canceled;
  canceled.cancel();

  populate(*dataset);  // rows now differ from the report
  EXPECT_FALSE(dumper(dataset, &canceled).dumpIssuesReport());
  EXPECT_EQ(readFile(report()), written);
  EXPECT_EQ(listing(), std::vector<std::string>{"issues.xml"});

  const auto before = snapshot(*dataset);
  EXPECT_FALSE(dumper(dataset, &canceled).assignIssuesReport());
  EXPECT_TRUE(snapshot(*dataset) == before);
}

struct DumpFailure {
  const char* name;
  bool withDataset;
  const char* fileName;  ///< relative to the test directory; "" for none
  friend void PrintTo(const DumpFailure& c, std::ostream* out) { *out << c.name; }
};

class DumpFailureTest : public IssuesDumperTest, public ::testing::WithParamInterface<DumpFailure> {};

TEST_P(DumpFailureTest, AnswersFalseAndLeavesNoTemporaryFile) {
  fs::create_directories(dir_ / "taken");
  const DumpFailure& c = GetParam();
  auto dataset = c.withDataset ? makeDataset() : sptr_t<FakeDataset>();
  if (dataset) populate(*dataset);
  Dumper d(dataset, nullptr);
  if (c.fileName[0] != '\0') d.setFilename((dir_ / c.fileName).string());
  EXPECT_FALSE(d.dumpIssuesReport());
  EXPECT_EQ(listing(), std::vector<std::string>{"taken"});
  EXPECT_TRUE(fs::is_empty(dir_ / "taken"));
}

INSTANTIATE_TEST_SUITE_P(Failures, DumpFailureTest,
                         ::testing::Values(DumpFailure{"NoDataset", false, "issues.xml"},
                                           DumpFailure{"NoFileName", true, ""},
                                           DumpFailure{"MissingDirectory", true, "gone/issues.xml"},
                                           DumpFailure{"TargetIsDirectory", true, "taken"}),
                         [](const auto& info) { return std::string(info.param.name); });

// The sample in docs/issues-xml.md is the report of this tree, byte for byte,
// so the document cannot drift from the code. After a deliberate change of
// the format, run this test once with NIMBEX_UPDATE_GOLDEN=1 to rewrite the
// sample, and review the difference.
TEST_F(IssuesDumperTest, DocumentedSampleIsWhatTheWriterWrites) {
  const char* root = std::getenv("NIMBEX_SOURCE_DIR");
  const fs::path source =
      root ? fs::path(root) : fs::path(__FILE__).parent_path().parent_path().parent_path().parent_path();
  const fs::path docPath = source / "docs" / "issues-xml.md";
  const std::string doc = readFile(docPath);
  const std::string open = "<!-- sample:begin -->\n```xml\n";
  const std::size_t begin = doc.find(open);
  const std::size_t end = doc.find("```\n<!-- sample:end -->");
  ASSERT_NE(begin, std::string::npos);
  ASSERT_NE(end, std::string::npos);
  const std::string sample = doc.substr(begin + open.size(), end - begin - open.size());

  auto dataset = makeDataset({{1, 0}, {2, 1}, {3, 1}});
  auto recommendation =
      createRecommendationWithConfidence("align_loop", "Align the loop", "Use -falign-loops=64.", 2, 8);
  variant_bag_t parameters;
  parameters.put("trip_count", std::uint32_t{7});
  parameters.put("function", "compute");
  parameters.add_variant_bag("call").put("name", "exp");
  parameters.add_variant_bag("call").put("name", "sin");
  auto issue = createIssueEx("loop_misalignment_issue", "Misaligned loop", "The loop body crosses a 64-byte line.", 1,
                             65, parameters);
  issue->addRecommendation(recommendation);
  issue->setValue(IRecommendationBase::rooflineImpactId(), 0.75f);
  auto trait =
      createTraitRecord(ITrait::SystemCalls, "System calls\nMove them out of the loop", data_abstractions2::FieldNone);
  dataset->row(2).addRowIssue(issue);
  dataset->row(2).addRowTrait(trait);
  dataset->row(1).addRowIssue(issue);

  ASSERT_TRUE(dumper(dataset).dumpIssuesReport());
  const std::string written = readFile(report());
  if (std::getenv("NIMBEX_UPDATE_GOLDEN") && written != sample) {
    writeFile(docPath, doc.substr(0, begin + open.size()) + written + doc.substr(end));
  }
  EXPECT_EQ(written, sample);
}

}  // namespace
}  // namespace data_models2
