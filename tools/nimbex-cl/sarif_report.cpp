#include "tools/nimbex-cl/sarif_report.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <map>
#include <set>
#include <sstream>
#include <vector>

#include "platform/foundation/json_writer.h"
#include "tools/nimbex-cl/text_report.h"

#ifndef NIMBEX_VERSION
#define NIMBEX_VERSION "0.0.0"
#endif

namespace nimbex_cl {

namespace {

using foundation::append_json_string;

void appendReal(std::string& out, double value) {
  foundation::append_json_real(out, value, foundation::json_non_finite_t::as_null);
}

// Keys and strings are appended as `"key": `.
void appendKey(std::string& out, const char* key) {
  append_json_string(out, key);
  out += ": ";
}

const char* levelOf(int confidence) {
  if (confidence >= 3) return "warning";
  if (confidence >= 1) return "note";
  return "none";
}

// "type_conversions_issue" -> "TypeConversionsIssue".
std::string pascalName(const std::string& id) {
  std::string name;
  bool upper = true;
  for (char c : id) {
    if (c == '_' || c == '-' || c == ' ') {
      upper = true;
      continue;
    }
    name += upper && c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    upper = false;
  }
  return name;
}

// A file name as a URI: an absolute path becomes a file URI; bytes outside
// the unreserved set and '/' are percent-encoded.
std::string fileUri(const std::string& path) {
  std::string uri = path.rfind('/', 0) == 0 ? "file://" : "";
  for (unsigned char c : path) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
                       c == '.' || c == '_' || c == '~' || c == '/';
    if (plain) {
      uri += static_cast<char>(c);
    } else {
      char buf[4];
      std::snprintf(buf, sizeof buf, "%%%02X", c);
      uri += buf;
    }
  }
  return uri;
}

std::string leafName(const std::string& path) {
  const auto slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// FNV-1a: the same digits on every platform and compiler, unlike std::hash.
std::uint64_t fnv1a(const std::string& text) {
  std::uint64_t hash = 14695981039346656037ull;
  for (unsigned char c : text) {
    hash ^= c;
    hash *= 1099511628211ull;
  }
  return hash;
}

// Names the loop by what survives a rebuild: no addresses, no row ids, no
// directories (a CI checkout lands elsewhere each time).
std::string fingerprintKey(const LoopFindings& loop, const std::string& issueId) {
  const char separator = '\x1f';
  return loop.module + separator + loop.linkName + separator + leafName(loop.sourceFile) + separator +
         std::to_string(loop.line) + separator + issueId;
}

std::string hex(std::uint64_t value) {
  char buf[20];
  std::snprintf(buf, sizeof buf, "%016llx", static_cast<unsigned long long>(value));
  return buf;
}

// Catalogue texts mark code with two leading blanks; Markdown wants four and
// a blank line before.
std::string markdownOf(const std::string& text) {
  std::string out;
  std::istringstream lines(text);
  bool inCode = false;
  for (std::string line; std::getline(lines, line);) {
    const bool code = line.rfind("  ", 0) == 0;
    if (code && !inCode && !out.empty() && out.compare(out.size() - 2, 2, "\n\n") != 0) out += "\n";
    if (!code && inCode && !line.empty()) out += "\n";
    out += code ? "  " + line : line;
    out += "\n";
    inCode = code;
  }
  return out;
}

struct Rule {
  std::string id;
  std::string title;
  std::string text;
  std::vector<const RecommendationEntry*> recommendations;  ///< distinct, in order of first appearance
  std::set<std::string> recommendationIds;
};

void appendRule(std::string& out, const Rule& rule) {
  out += "{";
  appendKey(out, "id");
  append_json_string(out, rule.id);
  out += ", ";
  appendKey(out, "name");
  append_json_string(out, pascalName(rule.id));
  out += ", ";
  appendKey(out, "shortDescription");
  out += "{";
  appendKey(out, "text");
  append_json_string(out, rule.title.empty() ? rule.id : rule.title);
  out += "}, ";
  appendKey(out, "fullDescription");
  out += "{";
  appendKey(out, "text");
  append_json_string(out, rule.text.empty() ? (rule.title.empty() ? rule.id : rule.title) : rule.text);
  out += "}, ";
  std::string helpText;
  std::string helpMarkdown;
  for (const RecommendationEntry* rec : rule.recommendations) {
    helpText += (helpText.empty() ? "" : "\n\n") + rec->title;
    if (!rec->text.empty() && rec->text != rec->title) helpText += "\n" + rec->text;
    helpMarkdown += (helpMarkdown.empty() ? "" : "\n") + std::string("### ") + rec->title + "\n\n";
    if (!rec->text.empty() && rec->text != rec->title) helpMarkdown += markdownOf(rec->text);
  }
  if (helpText.empty()) helpText = helpMarkdown = "No recommendation goes with this finding.";
  appendKey(out, "help");
  out += "{";
  appendKey(out, "text");
  append_json_string(out, helpText);
  out += ", ";
  appendKey(out, "markdown");
  append_json_string(out, helpMarkdown);
  out += "}, ";
  appendKey(out, "defaultConfiguration");
  out += "{";
  appendKey(out, "level");
  append_json_string(out, "note");
  out += "}, ";
  appendKey(out, "properties");
  out += "{";
  appendKey(out, "tags");
  out += "[\"performance\"]}}";
}

}  // namespace

std::string SarifReport::render() const {
  // Rules in the order their kinds first appear, hottest loop first.
  std::vector<Rule> rules;
  std::map<std::string, std::size_t> ruleIndex;
  for (const LoopFindings& loop : data_.loops) {
    for (const IssueEntry& issue : loop.issues) {
      auto [at, added] = ruleIndex.emplace(issue.id, rules.size());
      if (added) rules.push_back({issue.id, issue.title, issue.text, {}, {}});
      Rule& rule = rules[at->second];
      for (const RecommendationEntry& rec : issue.recommendations) {
        if (rule.recommendationIds.insert(rec.id).second) rule.recommendations.push_back(&rec);
      }
    }
  }

  // Two loops named alike (the versions of one source loop) are told apart
  // by their order in the tree, which does not depend on their times.
  std::vector<const LoopFindings*> byTree;
  for (const LoopFindings& loop : data_.loops) byTree.push_back(&loop);
  std::sort(byTree.begin(), byTree.end(),
            [](const LoopFindings* a, const LoopFindings* b) { return a->treeOrder < b->treeOrder; });
  std::map<std::pair<const LoopFindings*, std::size_t>, std::string> fingerprints;
  std::map<std::string, unsigned> seen;
  for (const LoopFindings* loop : byTree) {
    for (std::size_t i = 0; i < loop->issues.size(); ++i) {
      std::string key = fingerprintKey(*loop, loop->issues[i].id);
      const unsigned occurrence = seen[key]++;
      if (occurrence > 0) key += '\x1f' + std::to_string(occurrence);
      fingerprints[{loop, i}] = hex(fnv1a(key));
    }
  }

  std::string out;
  out.reserve(1024 + data_.loops.size() * 2048);
  out += "{\n  \"$schema\": \"https://json.schemastore.org/sarif-2.1.0.json\",\n  \"version\": \"2.1.0\",\n";
  out += "  \"runs\": [\n    {\n      \"tool\": {\"driver\": {\"name\": \"nimbex-cl\", \"version\": ";
  append_json_string(out, NIMBEX_VERSION);
  out += ", \"semanticVersion\": ";
  append_json_string(out, NIMBEX_VERSION);
  out += ", \"rules\": [";
  for (std::size_t i = 0; i < rules.size(); ++i) {
    out += i == 0 ? "\n        " : ",\n        ";
    appendRule(out, rules[i]);
  }
  out += "\n      ]}},\n      \"invocations\": [{\"executionSuccessful\": true}],\n";
  out += "      \"properties\": {";
  appendKey(out, "program");
  append_json_string(out, data_.program);
  out += ", ";
  appendKey(out, "machine");
  append_json_string(out, data_.machine);
  out += ", ";
  appendKey(out, "programTime");
  appendReal(out, data_.programTime);
  out += "},\n      \"results\": [";

  bool first = true;
  for (const LoopFindings& loop : data_.loops) {
    const double share = data_.share(loop);
    char shareText[32];
    std::snprintf(shareText, sizeof shareText, "%.1f%%", 100.0 * share);
    for (std::size_t i = 0; i < loop.issues.size(); ++i) {
      const IssueEntry& issue = loop.issues[i];
      out += first ? "\n        {" : ",\n        {";
      first = false;
      appendKey(out, "ruleId");
      append_json_string(out, issue.id);
      out += ", \"ruleIndex\": " + std::to_string(ruleIndex[issue.id]) + ", ";
      appendKey(out, "level");
      append_json_string(out, levelOf(issue.confidence()));
      out += ", ";
      char selfText[32];
      std::snprintf(selfText, sizeof selfText, "%.3f s", loop.selfTime);
      appendKey(out, "message");
      out += "{";
      appendKey(out, "text");
      append_json_string(out, (issue.title.empty() ? issue.id : issue.title) + ": " + loop.name() + ", self time " +
                                  selfText + " (" + shareText + " of the program).");
      out += "}, ";
      appendKey(out, "locations");
      out += "[{";
      if (!loop.sourceFile.empty()) {
        appendKey(out, "physicalLocation");
        out += "{";
        appendKey(out, "artifactLocation");
        out += "{";
        appendKey(out, "uri");
        append_json_string(out, fileUri(loop.sourceFile));
        out += "}";
        if (loop.line > 0) out += ", \"region\": {\"startLine\": " + std::to_string(loop.line) + "}";
        out += "}, ";
      }
      appendKey(out, "logicalLocations");
      out += "[{";
      appendKey(out, "fullyQualifiedName");
      append_json_string(out, loop.function.empty() ? loop.name() : loop.function);
      out += ", ";
      appendKey(out, "kind");
      append_json_string(out, loop.function.empty() ? "block" : "function");
      out += "}]}], ";
      appendKey(out, "rank");
      appendReal(out, std::round(1000.0 * share) / 10.0);
      out += ", ";
      appendKey(out, "partialFingerprints");
      out += "{";
      appendKey(out, "nimbexLoopIssue/v1");
      append_json_string(out, fingerprints[{&loop, i}]);
      out += "}, ";
      appendKey(out, "properties");
      out += "{";
      appendKey(out, "loop");
      append_json_string(out, loop.name());
      out += ", ";
      appendKey(out, "selfTime");
      appendReal(out, loop.selfTime);
      out += ", ";
      appendKey(out, "totalTime");
      appendReal(out, loop.totalTime);
      out += ", ";
      appendKey(out, "selfTimeShare");
      appendReal(out, share);
      out += ", ";
      appendKey(out, "zone");
      append_json_string(out, zoneToken(loop.zone));
      out += ", ";
      appendKey(out, "confidence");
      append_json_string(out, issue.confidence() > 0 ? confidenceName(issue.confidence()) : "none");
      out += ", ";
      appendKey(out, "recommendations");
      out += "[";
      for (std::size_t r = 0; r < issue.recommendations.size(); ++r) {
        out += r == 0 ? "{" : ", {";
        appendKey(out, "title");
        append_json_string(out, issue.recommendations[r].title);
        out += ", ";
        appendKey(out, "confidence");
        append_json_string(out, confidenceName(issue.recommendations[r].confidence));
        out += "}";
      }
      out += "]}}";
    }
  }
  out += first ? "]\n    }\n  ]\n}\n" : "\n      ]\n    }\n  ]\n}\n";
  return out;
}

}  // namespace nimbex_cl
