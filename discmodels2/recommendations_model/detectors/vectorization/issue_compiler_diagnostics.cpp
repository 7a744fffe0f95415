#include "discmodels2/recommendations_model/detectors/vectorization/issue_compiler_diagnostics.h"

#include <mutex>
#include <set>
#include <sstream>

#include "discmodels2/recommendations_model/core/detector_kit.h"
#include "platform/model_support/compiler_helpers.h"

namespace data_models2::issues {

using namespace data_abstractions2;

namespace {

constexpr int kDocumented[] = {15313, 15315, 15316, 15335, 15336, 15341, 15344, 15346,
                               15382, 15520, 15523, 15529, 15532, 15536, 15541, 15542};
// Documented for C-family code only, until the first such row is seen.
constexpr int kCFamilyOnly = 15333;
constexpr int kLoopControlNumber = 15523;
constexpr int kCallNumber = 15382;
constexpr int kMultipleExits = 15520;
constexpr int kCallNotCandidate = 15543;
constexpr int kInnerVectorized = 15542;

// Numbers that say the same as a documented one.
int fold(int number) {
  switch (number) {
    case 15521: return kLoopControlNumber;
    case 15383:
    case 15527:
    case kCallNotCandidate: return kCallNumber;
    default: return number;
  }
}

// Whose texts differ by language in both the issue and the recommendation.
bool hasLanguageTexts(int number) { return number == 15341 || number == kCallNumber || number == kLoopControlNumber; }

constexpr const char* kIssuePrefix = "compiler_diag_issue_";
constexpr const char* kRecPrefix = "compiler_diag_rec_";
constexpr const char* kExamplePrefix = "compiler_diag_example_";
constexpr const char* kReadMorePrefix = "compiler_diag_read_more_";
constexpr const char* kRecTitleKey = "compiler_diag_rec_title";
constexpr const char* kPre16_1 = "_pre16.1";

std::string makeKey(const char* prefix, int number, const char* suffix = "") {
  std::ostringstream key;
  key << prefix << number << suffix;
  return key.str();
}

// The process-wide set of documented numbers; 15333 joins it for good.
struct DocumentedDiagnostics {
  std::mutex mutex;
  std::set<int> numbers{std::begin(kDocumented), std::end(kDocumented)};
};

DocumentedDiagnostics& documentedDiagnostics() {
  static DocumentedDiagnostics documented;
  return documented;
}

}  // namespace

bool IssueCompilerDiagnostics::hasVectorizedChild(const row_t& row) const {
  if (!dataProvider) return false;
  for (auto children = dataProvider->getBottomUpChildren(row); !children.at_end(); children.next()) {
    const CommonData& child = dataProvider->getData(children.current());
    if (child.isLoop && child.isVectorized) return true;
  }
  return false;
}

bool IssueCompilerDiagnostics::detect(row_t row, IssueList issues) const {
  if (!row || !dataProvider || !issues) return false;
  const CommonData& data = dataProvider->getData(row);
  if (!data.isVorexCompiler) return false;
  if (!data.fieldPresence[VectorizationDiagnosticId]) return false;

  // An unknown version (all -1) counts as old.
  const bool compilerBefore16_1 = data.compilerVersion <= compiler_helpers::CompilerVersion{16, 0, 0};

  const int ownNumber = data.vectorizationDiagnosticId;
  const int diagnostic = fold(ownNumber);
  bool documented = false;
  {
    DocumentedDiagnostics& set = documentedDiagnostics();
    std::lock_guard<std::mutex> lock(set.mutex);
    if (!data.isFortran) set.numbers.insert(kCFamilyOnly);
    documented = set.numbers.count(diagnostic) != 0;
  }

  if (!documented) {
    std::string message;
    compiler_helpers::getCompilerNonVectorizationMessage(diagnostic, message);
    issues->push_back(createIssueEx(makeKey(kIssuePrefix, diagnostic), translate(message), std::string(),
                                    kIssuePriority,
                                    issueFlags(data, kCompilerVerdictClass | kUndocumentedDiagnosticClass),
                                    variant_bag_t()));
    return true;
  }

  std::string issueIdText = makeKey(kIssuePrefix, diagnostic);
  std::string titleKey = makeKey(kIssuePrefix, diagnostic, "_title");
  std::string textKey = makeKey(kIssuePrefix, diagnostic, "_text");
  std::string recIdText = makeKey(kRecPrefix, diagnostic);
  std::string recTextKey = makeKey(kRecPrefix, diagnostic, "_text");
  std::string exampleKeyC = makeKey(kExamplePrefix, diagnostic, "_c");
  const std::string exampleKeyF = makeKey(kExamplePrefix, diagnostic, "_f");
  const std::string readMoreKeyC = makeKey(kReadMorePrefix, diagnostic, "_c");
  const std::string readMoreKeyF = makeKey(kReadMorePrefix, diagnostic, "_f");

  const char* language = data.isFortran ? "_f" : "_c";
  if (hasLanguageTexts(diagnostic)) {
    textKey += language;
    recTextKey += language;
  } else if (diagnostic == kMultipleExits) {
    recTextKey += language;
    if (!data.isFortran && compilerBefore16_1) {
      textKey += kPre16_1;
      recTextKey += kPre16_1;
      exampleKeyC += kPre16_1;
    }
  }

  const std::string exampleText = translate(data.isFortran ? exampleKeyF : exampleKeyC);
  const std::string readMoreText = translate(data.isFortran ? readMoreKeyF : readMoreKeyC);

  // A call that kept the loop out while its inner loop was vectorized says
  // what 15542 says; the example and reading stay those of the call.
  if (ownNumber == kCallNotCandidate && hasVectorizedChild(row)) {
    issueIdText = makeKey(kIssuePrefix, kInnerVectorized);
    titleKey = makeKey(kIssuePrefix, kInnerVectorized, "_title");
    textKey = makeKey(kIssuePrefix, kInnerVectorized, "_text");
    recIdText = makeKey(kRecPrefix, kInnerVectorized);
    recTextKey = makeKey(kRecPrefix, kInnerVectorized, "_text");
  }

  sptr_t<IIssueEx> issue = createIssueEx(issueIdText, translate(titleKey), translate(textKey, exampleText),
                                         kIssuePriority, issueFlags(data, kCompilerVerdictClass), variant_bag_t());
  issue->addRecommendation(createRecommendation(recIdText, translate(kRecTitleKey), translate(recTextKey, readMoreText),
                                                kRecommendationFlag, variant_bag_t(), kConfidenceLow, kNoPriority));
  issues->push_back(issue);
  return true;
}

std::vector<std::string> IssueCompilerDiagnostics::messageKeys() {
  std::vector<std::string> keys = {kRecTitleKey};
  std::set<int> numbers(std::begin(kDocumented), std::end(kDocumented));
  numbers.insert(kCFamilyOnly);
  for (int n : numbers) {
    keys.push_back(makeKey(kIssuePrefix, n, "_title"));
    for (const char* language : {"_c", "_f"}) {
      keys.push_back(makeKey(kExamplePrefix, n, language));
      keys.push_back(makeKey(kReadMorePrefix, n, language));
    }
    if (hasLanguageTexts(n)) {
      for (const char* language : {"_c", "_f"}) {
        keys.push_back(makeKey(kIssuePrefix, n, "_text") + language);
        keys.push_back(makeKey(kRecPrefix, n, "_text") + language);
      }
    } else if (n == kMultipleExits) {
      keys.push_back(makeKey(kIssuePrefix, n, "_text"));
      keys.push_back(makeKey(kIssuePrefix, n, "_text") + kPre16_1);
      keys.push_back(makeKey(kRecPrefix, n, "_text_c"));
      keys.push_back(makeKey(kRecPrefix, n, "_text_f"));
      keys.push_back(makeKey(kRecPrefix, n, "_text_c") + kPre16_1);
      keys.push_back(makeKey(kExamplePrefix, n, "_c") + kPre16_1);
    } else {
      keys.push_back(makeKey(kIssuePrefix, n, "_text"));
      keys.push_back(makeKey(kRecPrefix, n, "_text"));
    }
  }
  return keys;
}

}  // namespace data_models2::issues
