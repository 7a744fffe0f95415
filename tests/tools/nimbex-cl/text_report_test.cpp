// The pieces of nimbex-cl: its text and HTML writers, its command line and
// its progress bar.

#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tools/nimbex-cl/html_report.h"
#include "tools/nimbex-cl/loop_findings.h"
#include "tools/nimbex-cl/options.h"
#include "tools/nimbex-cl/progress_bar.h"
#include "tools/nimbex-cl/text_report.h"

namespace nimbex_cl {
namespace {

TEST(WrapText, WrapsAtWordsAndKeepsLineBreaks) {
  struct Case {
    std::string text;
    std::size_t indent;
    std::size_t width;
    std::string expected;
  };
  const Case cases[] = {
      {"one two three", 2, 30, "  one two three\n"},
      {std::string(10, 'a') + " " + std::string(10, 'b') + " " + std::string(10, 'c'), 0, 25,
       std::string(10, 'a') + " " + std::string(10, 'b') + "\n" + std::string(10, 'c') + "\n"},
      {"first\n\nsecond", 1, 40, " first\n\n second\n"},
      // A word longer than the line stands alone rather than being cut.
      {"x " + std::string(40, 'y') + " z", 0, 24, "x\n" + std::string(40, 'y') + "\nz\n"},
      // Code keeps its lines and its own indentation, however long.
      {"Do this:\n  for (int i = 0;  i < n; ++i)   // a long comment that runs past the width", 2, 30,
       "  Do this:\n    for (int i = 0;  i < n; ++i)   // a long comment that runs past the width\n"},
  };
  for (const Case& c : cases) EXPECT_EQ(wrapText(c.text, c.indent, c.width), c.expected) << c.text;
}

TEST(ConfidenceName, NamesTheThreeLevels) {
  EXPECT_EQ(confidenceName(1), "low");
  EXPECT_EQ(confidenceName(2), "medium");
  EXPECT_EQ(confidenceName(3), "high");
  EXPECT_EQ(confidenceName(7), "7");
}

// A trait stands in the host's table once per column, once with a header
// line: a reader sees it once, under a title that says something.
TEST(ReadableTraits, SaysEachTraitOnceUnderATitle) {
  struct Case {
    const char* name;
    std::vector<std::string> texts;
    std::vector<std::pair<std::string, std::string>> expected;  // title, body
  };
  const Case cases[] = {
      {"same text in two columns", {"Masked stores", "Masked stores"}, {{"Masked stores", ""}}},
      {"header column ends with the plain text",
       {"Low trip count", "Trip counts\nLow trip count"},
       {{"Trip counts", "Low trip count"}}},
      {"empty first line", {"\n  \nHorizontal operations\nthey cost"}, {{"Horizontal operations", "they cost"}}},
      {"only blank lines", {"\n \n"}, {}},
      {"different traits keep their order", {"B first", "A second"}, {{"B first", ""}, {"A second", ""}}},
  };
  for (const Case& c : cases) {
    const std::vector<TraitEntry> traits = readableTraits(c.texts);
    ASSERT_EQ(traits.size(), c.expected.size()) << c.name;
    for (std::size_t i = 0; i < traits.size(); ++i) {
      EXPECT_EQ(traits[i].title, c.expected[i].first) << c.name;
      EXPECT_EQ(traits[i].body, c.expected[i].second) << c.name;
    }
  }
}

TEST(HtmlTextBlocks, EscapesAndKeepsCodeLines) {
  struct Case {
    std::string text;
    std::string expected;
  };
  const Case cases[] = {
      {"a < b & \"c\"", "<p>a &lt; b &amp; &quot;c&quot;</p>"},
      {"one\ntwo\n\nthree", "<p>one two</p><p>three</p>"},
      {"Do this:\n  for (i = 0; i < n; ++i)\n    x[i] = 0;\nDone.",
       "<p>Do this:</p><pre><code>for (i = 0; i &lt; n; ++i)\n  x[i] = 0;</code></pre><p>Done.</p>"},
      {"<script>alert(1)</script>", "<p>&lt;script&gt;alert(1)&lt;/script&gt;</p>"},
  };
  for (const Case& c : cases) EXPECT_EQ(htmlTextBlocks(c.text), c.expected) << c.text;
}

std::size_t occurrences(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

// A page of a very large result keeps every table row but only the hottest
// findings and chart dots; what it leaves out is said, and nothing links to
// findings that are not on the page.
TEST(HtmlReport, LargeResultsKeepTheTableAndCutFindingsAndDots) {
  ReportData data;
  data.programTime = 10.0;
  data.roofs = {{"DRAM Bandwidth", 2.56e10, true}, {"Peak", 7.68e10, false}};
  for (std::uint64_t id = 1; id <= 4; ++id) {
    LoopFindings loop;
    loop.rowId = id;
    loop.function = "f" + std::to_string(id);
    loop.selfTime = 5.0 - static_cast<double>(id);
    loop.hasPosition = true;
    loop.intensity = 0.5;
    loop.performance = 1e9;
    loop.issues.push_back({"some_issue", "Some issue", "", {}});
    data.loops.push_back(loop);
  }
  struct Case {
    std::size_t maxFindings, maxDots;
    std::size_t findings, dots;
    bool cut;
  };
  const Case cases[] = {{10, 10, 4, 4, false}, {2, 3, 2, 3, true}, {0, 0, 0, 0, true}};
  for (const Case& c : cases) {
    HtmlReport::Settings settings;
    settings.maxFindings = c.maxFindings;
    settings.maxChartPoints = c.maxDots;
    const std::string page = HtmlReport(data, settings).render();
    SCOPED_TRACE(c.maxFindings);
    EXPECT_EQ(occurrences(page, "<tr id=\"row-"), 4u);
    EXPECT_EQ(occurrences(page, "<details class=\"loop\""), c.findings);
    EXPECT_EQ(occurrences(page, "<circle class=\"dot"), c.dots);
    EXPECT_EQ(page.find("id=\"findings-cut\"") != std::string::npos, c.cut);
    for (std::uint64_t id = 1; id <= 4; ++id) {
      const bool shown = id <= c.findings;
      const std::string anchor = "id=\"loop-" + std::to_string(id) + "\"";
      const std::string link = "href=\"#loop-" + std::to_string(id) + "\"";
      EXPECT_EQ(page.find(anchor) != std::string::npos, shown) << id;
      if (!shown) {
        EXPECT_EQ(page.find(link), std::string::npos) << id;
      }
    }
  }
}

TEST(Options, AcceptsTheHostsCommandLineAndDefaultsToTextOnStandardOutput) {
  Options o;
  std::string error;
  ASSERT_TRUE(parseOptions({"-report", "issues", "-project-dir", "/p", "--exp-dir", "e000", "-format=xml",
                            "--report-output", "/p/e000/issues.xml"},
                           o, error))
      << error;
  EXPECT_EQ(o.report, "issues");
  EXPECT_EQ(o.resultDir(), "/p/e000");
  EXPECT_EQ(o.format, ReportFormat::Xml);
  EXPECT_EQ(o.reportOutput, "/p/e000/issues.xml");

  Options plain;
  ASSERT_TRUE(parseOptions({"--report", "issues", "--project-dir", "/p", "--exp-dir", "r"}, plain, error)) << error;
  EXPECT_EQ(plain.format, ReportFormat::Text);
  EXPECT_TRUE(plain.reportOutput.empty());
  EXPECT_FALSE(plain.rescan);
}

TEST(Options, RejectsBadCommandLinesWithAHint) {
  struct Case {
    std::vector<std::string> args;
    const char* fragment;
  };
  const Case cases[] = {
      {{}, "missing -report"},
      {{"-report", "hotspots", "-project-dir", "/p"}, "only report is 'issues'"},
      {{"-report", "issues"}, "missing -project-dir"},
      {{"-report", "issues", "-project-dir", "/p", "-format=pdf"}, "use -format=text, xml, html or sarif"},
      {{"-report", "issues", "-project-dir", "/p", "--bogus"}, "--help"},
      {{"-report", "issues", "-project-dir", "/p", "--top", "-3"}, "--top"},
      {{"-report", "issues", "-project-dir", "/p", "--top", "many"}, "--help"},
  };
  for (const auto& c : cases) {
    Options o;
    std::string error;
    EXPECT_FALSE(parseOptions(c.args, o, error));
    EXPECT_NE(error.find(c.fragment), std::string::npos) << "error was: " << error;
    EXPECT_EQ(error.find('\n'), std::string::npos) << "errors are one line: " << error;
  }
}

std::string contents(std::FILE* file) {
  std::fflush(file);
  std::rewind(file);
  std::string text;
  char buffer[256];
  std::size_t n;
  while ((n = std::fread(buffer, 1, sizeof buffer, file)) > 0) text.append(buffer, n);
  return text;
}

TEST(ProgressBar, DrawsOnlyWhenEnabledAndOncePerPercent) {
  struct Case {
    bool enabled;
    bool expectDrawing;
  };
  for (const Case c : {Case{true, true}, Case{false, false}}) {
    std::FILE* file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    {
      ProgressBar bar(file, c.enabled);
      bar.start("Issues progress", 1000.0);
      for (int i = 0; i < 1000; ++i) bar.progressed(1);
      EXPECT_DOUBLE_EQ(bar.doneSteps(), 1000.0);
      bar.finish();
    }
    const std::string text = contents(file);
    std::fclose(file);
    if (!c.expectDrawing) {
      EXPECT_TRUE(text.empty()) << text;
      continue;
    }
    EXPECT_NE(text.find("Issues progress ["), std::string::npos);
    EXPECT_NE(text.find("100%"), std::string::npos);
    // A row a step: redrawing for each would flood the terminal.
    std::size_t draws = 0;
    for (std::size_t at = text.find("Issues progress"); at != std::string::npos;
         at = text.find("Issues progress", at + 1)) {
      ++draws;
    }
    EXPECT_LE(draws, 101u);
  }
}

TEST(ProgressBar, StepsFromSeveralThreadsAllCount) {
  ProgressBar bar(nullptr, false);
  bar.start("x", 4000.0);
  std::vector<std::thread> workers;
  for (int t = 0; t < 4; ++t) {
    workers.emplace_back([&] {
      for (int i = 0; i < 1000; ++i) bar.progressed(1);
    });
  }
  for (auto& w : workers) w.join();
  EXPECT_DOUBLE_EQ(bar.doneSteps(), 4000.0);
  EXPECT_DOUBLE_EQ(bar.getTotalSteps(), 4000.0);
}

}  // namespace
}  // namespace nimbex_cl
