#include "tools/nimbex-cl/options.h"

#include <gtest/gtest.h>

namespace nimbex_cl {
namespace {

TEST(Options, AcceptsTheHostsCommandLine) {
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
}

TEST(Options, DefaultsToTextOnStandardOutput) {
  Options o;
  std::string error;
  ASSERT_TRUE(parseOptions({"--report", "issues", "--project-dir", "/p", "--exp-dir", "r"}, o, error)) << error;
  EXPECT_EQ(o.format, ReportFormat::Text);
  EXPECT_TRUE(o.reportOutput.empty());
  EXPECT_FALSE(o.rescan);
}

TEST(Options, HelpAndVersionNeedNothingElse) {
  for (const char* flag : {"--help", "-h", "--version"}) {
    Options o;
    std::string error;
    EXPECT_TRUE(parseOptions({flag}, o, error)) << flag << ": " << error;
    EXPECT_TRUE(o.help || o.version) << flag;
  }
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

}  // namespace
}  // namespace nimbex_cl
