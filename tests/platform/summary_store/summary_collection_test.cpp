#include "platform/summary_store/summary_collection.h"

#include <cmath>
#include <fstream>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include <boost/filesystem.hpp>
#include <gtest/gtest.h>

namespace {

using summary_store::locator_t;
using summary_store::RecommendationsData;
using summary_store::SummaryCollection;
using summary_store::SurveyExSummaryData;

class TempDir {
 public:
  TempDir() : path_(boost::filesystem::temp_directory_path() / boost::filesystem::unique_path("summary-%%%%-%%%%")) {
    boost::filesystem::create_directories(path_);
  }
  ~TempDir() {
    boost::system::error_code ignored;
    boost::filesystem::remove_all(path_, ignored);
  }
  std::string str() const { return path_.string(); }
  std::vector<std::string> entries() const {
    std::vector<std::string> names;
    for (const auto& e : boost::filesystem::directory_iterator(path_)) names.push_back(e.path().filename().string());
    return names;
  }

 private:
  boost::filesystem::path path_;
};

boost::shared_ptr<RecommendationsData> recs(std::vector<RecommendationsData::Entry> entries) {
  auto data = RecommendationsData::create();
  for (const auto& e : entries) data->add(e.id, e.title, e.confidence, e.priority);
  return data;
}

void expectSame(const SurveyExSummaryData& expected, const SurveyExSummaryData& actual) {
  ASSERT_EQ(expected.loops().size(), actual.loops().size());
  for (std::size_t i = 0; i < expected.loops().size(); ++i) {
    SCOPED_TRACE(i);
    const auto& e = expected.loops()[i];
    const auto& a = actual.loops()[i];
    EXPECT_EQ(e.location, a.location);
    EXPECT_EQ(e.functionName, a.functionName);
    EXPECT_EQ(e.kind, a.kind);
    EXPECT_EQ(e.selfTime, a.selfTime);
    EXPECT_EQ(e.totalTime, a.totalTime);
    EXPECT_EQ(e.note, a.note);
    EXPECT_EQ(e.funcInstIdx, a.funcInstIdx);
    ASSERT_TRUE(a.recommendations);
    EXPECT_EQ(e.recommendations->entries(), a.recommendations->entries());
  }
}

TEST(SummaryCollection, WrittenSummaryReadsBackUnchanged) {
  auto summary = SurveyExSummaryData::create();
  summary->addLoop(locator_t("/src/a \"quoted\".cpp", 43, 0), "relax(Grid&, Grid const&)", 1, 3.07, 0.0, "",
                   recs({{"vec_rec_align", "Align\tthe data\n", 4, 2}, {"r2", "ünïcode ✓", 3, -1}}), 3);
  summary->addLoop(locator_t("", 0, 7), "back\\slash \x01 control", 2, 1e-300, 12.5, "note",
                   recs({}), std::numeric_limits<std::int64_t>::min());
  // A loop added without a record still lists, with no recommendations.
  summary->addLoop(locator_t("c.f90", 2147483647, 0), "f", 0, 0.1 + 0.2, 2.0, "", nullptr,
                   std::numeric_limits<std::int64_t>::max());
  std::string error;
  auto back = SummaryCollection::fromText(SummaryCollection::toText(*summary), error);
  ASSERT_TRUE(back) << error;
  expectSame(*summary, *back);
}

TEST(SummaryCollection, EmptySummaryIsAValidFile) {
  TempDir dir;
  ASSERT_TRUE(SummaryCollection::captureRecommendations(dir.str(), SurveyExSummaryData::create()));
  auto back = SummaryCollection::loadRecommendations(dir.str());
  ASSERT_TRUE(back);
  EXPECT_TRUE(back->empty());
}

TEST(SummaryCollection, TextsThatJsonCannotCarryAreWrittenReadably) {
  auto summary = SurveyExSummaryData::create();
  summary->addLoop(locator_t("bad\xff\xfe.cpp", 1, 0), "ok", 0, std::nan(""),
                   std::numeric_limits<double>::infinity(), "", recs({{"id", "t\xc3", 3, 1}}), 1);
  std::string error;
  auto back = SummaryCollection::fromText(SummaryCollection::toText(*summary), error);
  ASSERT_TRUE(back) << error;
  const auto& loop = back->loops().at(0);
  EXPECT_EQ("bad??.cpp", loop.location.path);
  EXPECT_EQ(0.0, loop.selfTime);
  EXPECT_EQ(0.0, loop.totalTime);
  EXPECT_EQ("t?", loop.recommendations->entries().at(0).title);
}

TEST(SummaryCollection, CaptureReplacesTheFileAndLeavesNoTemporaries) {
  TempDir dir;
  auto first = SurveyExSummaryData::create();
  first->addLoop(locator_t("a.cpp", 1, 0), "a", 0, 1.0, 0.0, "", recs({{"x", "X", 3, 1}}), 1);
  auto second = SurveyExSummaryData::create();
  second->addLoop(locator_t("b.cpp", 2, 0), "b", 1, 2.0, 0.0, "", recs({{"y", "Y", 5, 2}}), 2);
  ASSERT_TRUE(SummaryCollection::captureRecommendations(dir.str(), first));
  ASSERT_TRUE(SummaryCollection::captureRecommendations(dir.str(), second));
  auto back = SummaryCollection::loadRecommendations(dir.str());
  ASSERT_TRUE(back);
  expectSame(*second, *back);
  EXPECT_EQ(std::vector<std::string>{SummaryCollection::file_name}, dir.entries());
}

TEST(SummaryCollection, NothingToWriteOrNowhereToWriteAnswersFalse) {
  TempDir dir;
  EXPECT_FALSE(SummaryCollection::captureRecommendations(dir.str(), nullptr));
  EXPECT_FALSE(SummaryCollection::captureRecommendations(dir.str() + "/missing", SurveyExSummaryData::create()));
  EXPECT_FALSE(SummaryCollection::captureRecommendations("", SurveyExSummaryData::create()));
  EXPECT_TRUE(dir.entries().empty());
  EXPECT_FALSE(SummaryCollection::loadRecommendations(dir.str()));
}

TEST(SummaryCollection, FilesThatAreNotThisSummaryAreRejectedWithTheirPlace) {
  const std::string loop =
      R"({"file": "a", "line": 1, "column": 0, "function": "f", "kind": 0, "selfTime": 1.0, "totalTime": 0.0,
          "note": "", "funcInstIdx": 1, "recommendations": []})";
  struct Case {
    std::string text;
    std::string error;
  };
  const std::vector<Case> cases = {
      {"", "summary.json: not valid JSON at line 1, column 1"},
      {"[]", "summary.json: /: expected an object, got an array"},
      {R"({"format": "other", "version": 1, "recommendations": {"loops": []}})", "/format"},
      {R"({"format": "nimbex-summary", "version": 2, "recommendations": {"loops": []}})", "/version"},
      {R"({"format": "nimbex-summary", "version": 1})", "summary.json: /recommendations: missing"},
      {R"({"format": "nimbex-summary", "version": 1, "recommendations": {"loops": [3]}})",
       "/recommendations/loops/0: expected an object"},
      {R"({"format": "nimbex-summary", "version": 1, "recommendations": {"loops": [)" + loop +
           R"(, {"file": 5}]}})",
       "/recommendations/loops/1/file: expected a string"},
      {R"({"format": "nimbex-summary", "version": 1, "recommendations": {"loops": [{"file": "a", "line": 4294967296}]}})",
       "/recommendations/loops/0/line: integer 4294967296 is out of range"},
      {R"({"format": "nimbex-summary", "version": 1, "recommendations": {"loops": [{"file": "a", "line": 1, "column": 0,
          "function": "f", "kind": 0, "selfTime": 1.0, "totalTime": 0.0, "note": "", "funcInstIdx": 1,
          "recommendations": [{"id": "x", "title": "t", "confidence": "high", "priority": 1}]}]}})",
       "/recommendations/loops/0/recommendations/0/confidence: expected an integer"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    std::string error;
    EXPECT_FALSE(SummaryCollection::fromText(c.text, error));
    EXPECT_NE(std::string::npos, error.find(c.error)) << error;
  }
}

TEST(SummaryCollection, DamagedFileLoadsAsNone) {
  TempDir dir;
  std::ofstream(SummaryCollection::pathIn(dir.str())) << R"({"format": "nimbex-summary", "vers)";
  EXPECT_FALSE(SummaryCollection::loadRecommendations(dir.str()));
}

// Writers racing on one directory: a reader afterwards finds one whole
// summary, never a blend, and no temporary is left behind.
TEST(SummaryCollection, ConcurrentCapturesLeaveOneWholeSummary) {
  TempDir dir;
  constexpr int writers = 4;
  std::vector<boost::shared_ptr<SurveyExSummaryData>> summaries;
  for (int w = 0; w < writers; ++w) {
    auto s = SurveyExSummaryData::create();
    for (int i = 0; i < 50; ++i) {
      s->addLoop(locator_t("w" + std::to_string(w) + ".cpp", i, 0), "f", 0, w + i * 0.5, 0.0, "",
                 recs({{"id" + std::to_string(w), "t", 3, 1}}), w);
    }
    summaries.push_back(s);
  }
  std::vector<std::thread> threads;
  for (int w = 0; w < writers; ++w) {
    threads.emplace_back([&, w] {
      for (int round = 0; round < 10; ++round) EXPECT_TRUE(SummaryCollection::captureRecommendations(dir.str(), summaries[w]));
    });
  }
  for (auto& t : threads) t.join();
  auto back = SummaryCollection::loadRecommendations(dir.str());
  ASSERT_TRUE(back);
  ASSERT_FALSE(back->empty());
  const auto writer = back->loops().front().funcInstIdx;
  ASSERT_GE(writer, 0);
  ASSERT_LT(writer, writers);
  expectSame(*summaries[writer], *back);
  EXPECT_EQ(std::vector<std::string>{SummaryCollection::file_name}, dir.entries());
}

}  // namespace
