#include "platform/summary_store/summary_collection.h"

#include <sys/stat.h>

#include <cstdint>
#include <limits>
#include <string_view>

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>
#include <simdjson.h>

#include "platform/foundation/atomic_file.h"
#include "platform/foundation/json_writer.h"

namespace summary_store {

namespace {

log4cplus::Logger summaryLogger() { return log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("nimbex.summary")); }

// Texts come from the result and the message catalogue and are UTF-8 as a
// rule; one that is not would make the whole file unreadable, so its
// non-ASCII bytes are written as '?' instead.
void appendJsonString(std::string& out, const std::string& text) {
  if (simdjson::validate_utf8(text)) {
    foundation::append_json_string(out, text);
    return;
  }
  std::string ascii = text;
  for (char& c : ascii) {
    if (static_cast<unsigned char>(c) >= 0x80) c = '?';
  }
  foundation::append_json_string(out, ascii);
}

// JSON has no NaN or infinity; such a time is as good as unknown.
void appendReal(std::string& out, double value) {
  foundation::append_json_real(out, value, foundation::json_non_finite_t::as_null);
}

template <class Int>
void appendInteger(std::string& out, Int value) {
  out += std::to_string(value);
}

bool isDirectory(const std::string& path) {
  struct stat info {};
  return !path.empty() && ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// Readers of one entry: each answers false when the member is missing or of
// another kind, and names the member in `error`.
class entry_reader_t {
 public:
  entry_reader_t(simdjson::dom::object object, std::string where, std::string& error)
      : object_(object), where_(std::move(where)), error_(error) {}

  bool text(const char* key, std::string& out) {
    std::string_view view;
    if (object_[key].get_string().get(view) != simdjson::SUCCESS) return fail(key, "a string");
    out.assign(view);
    return true;
  }
  bool integer(const char* key, std::int64_t& out) {
    if (object_[key].get_int64().get(out) != simdjson::SUCCESS) return fail(key, "an integer");
    return true;
  }
  bool smallInteger(const char* key, int& out) {
    std::int64_t wide = 0;
    if (!integer(key, wide)) return false;
    if (wide < std::numeric_limits<int>::min() || wide > std::numeric_limits<int>::max()) {
      return fail(key, "a 32-bit integer");
    }
    out = static_cast<int>(wide);
    return true;
  }
  /// `null` stands for a time that was not a finite number.
  bool real(const char* key, double& out) {
    simdjson::dom::element element;
    if (object_[key].get(element) != simdjson::SUCCESS) return fail(key, "a number");
    if (element.is_null()) {
      out = 0.0;
      return true;
    }
    if (element.get_double().get(out) != simdjson::SUCCESS) return fail(key, "a number");
    return true;
  }
  bool array(const char* key, simdjson::dom::array& out) {
    if (object_[key].get_array().get(out) != simdjson::SUCCESS) return fail(key, "an array");
    return true;
  }

 private:
  bool fail(const char* key, const char* expected) {
    error_ = where_ + "/" + key + ": expected " + expected;
    return false;
  }

  simdjson::dom::object object_;
  std::string where_;
  std::string& error_;
};

bool readRecommendation(simdjson::dom::element element, const std::string& where, RecommendationsData& data,
                        std::string& error) {
  simdjson::dom::object object;
  if (element.get_object().get(object) != simdjson::SUCCESS) {
    error = where + ": expected an object";
    return false;
  }
  entry_reader_t read(object, where, error);
  std::string id, title;
  int confidence = 0, priority = 0;
  if (!read.text("id", id) || !read.text("title", title) || !read.smallInteger("confidence", confidence) ||
      !read.smallInteger("priority", priority)) {
    return false;
  }
  data.add(id, title, confidence, priority);
  return true;
}

bool readLoop(simdjson::dom::element element, const std::string& where, SurveyExSummaryData& summary,
              std::string& error) {
  simdjson::dom::object object;
  if (element.get_object().get(object) != simdjson::SUCCESS) {
    error = where + ": expected an object";
    return false;
  }
  entry_reader_t read(object, where, error);
  locator_t location;
  std::string function, note;
  int kind = 0;
  double selfTime = 0.0, totalTime = 0.0;
  std::int64_t funcInstIdx = 0;
  simdjson::dom::array recommendations;
  if (!read.text("file", location.path) || !read.smallInteger("line", location.line) ||
      !read.smallInteger("column", location.column) || !read.text("function", function) ||
      !read.smallInteger("kind", kind) || !read.real("selfTime", selfTime) || !read.real("totalTime", totalTime) ||
      !read.text("note", note) || !read.integer("funcInstIdx", funcInstIdx) ||
      !read.array("recommendations", recommendations)) {
    return false;
  }
  auto data = RecommendationsData::create();
  std::size_t index = 0;
  for (simdjson::dom::element entry : recommendations) {
    if (!readRecommendation(entry, where + "/recommendations/" + std::to_string(index++), *data, error)) return false;
  }
  summary.addLoop(location, function, kind, selfTime, totalTime, note, data, funcInstIdx);
  return true;
}

}  // namespace

std::string SummaryCollection::pathIn(const std::string& directory) { return directory + "/" + file_name; }

std::string SummaryCollection::toText(const SurveyExSummaryData& summary) {
  std::string out;
  out += "{\n  \"format\": ";
  appendJsonString(out, format_name);
  out += ",\n  \"version\": ";
  appendInteger(out, format_version);
  out += ",\n  \"recommendations\": {\n    \"loops\": [";
  bool firstLoop = true;
  for (const SurveyExSummaryData::Loop& loop : summary.loops()) {
    out += firstLoop ? "\n" : ",\n";
    firstLoop = false;
    out += "      {\n        \"file\": ";
    appendJsonString(out, loop.location.path);
    out += ",\n        \"line\": ";
    appendInteger(out, loop.location.line);
    out += ",\n        \"column\": ";
    appendInteger(out, loop.location.column);
    out += ",\n        \"function\": ";
    appendJsonString(out, loop.functionName);
    out += ",\n        \"kind\": ";
    appendInteger(out, loop.kind);
    out += ",\n        \"selfTime\": ";
    appendReal(out, loop.selfTime);
    out += ",\n        \"totalTime\": ";
    appendReal(out, loop.totalTime);
    out += ",\n        \"note\": ";
    appendJsonString(out, loop.note);
    out += ",\n        \"funcInstIdx\": ";
    appendInteger(out, loop.funcInstIdx);
    out += ",\n        \"recommendations\": [";
    bool firstEntry = true;
    if (loop.recommendations) {
      for (const RecommendationsData::Entry& entry : loop.recommendations->entries()) {
        out += firstEntry ? "\n" : ",\n";
        firstEntry = false;
        out += "          {\"id\": ";
        appendJsonString(out, entry.id);
        out += ", \"title\": ";
        appendJsonString(out, entry.title);
        out += ", \"confidence\": ";
        appendInteger(out, entry.confidence);
        out += ", \"priority\": ";
        appendInteger(out, entry.priority);
        out += "}";
      }
    }
    out += firstEntry ? "]\n      }" : "\n        ]\n      }";
  }
  out += firstLoop ? "]\n  }\n}\n" : "\n    ]\n  }\n}\n";
  return out;
}

boost::shared_ptr<SurveyExSummaryData> SummaryCollection::fromText(const std::string& text, std::string& error) {
  simdjson::dom::parser parser;
  simdjson::dom::object top;
  if (auto e = parser.parse(text).get_object().get(top); e != simdjson::SUCCESS) {
    error = std::string("not a JSON object: ") + simdjson::error_message(e);
    return nullptr;
  }
  std::string_view format;
  std::int64_t version = 0;
  if (top["format"].get_string().get(format) != simdjson::SUCCESS || format != format_name) {
    error = "/format: expected \"" + std::string(format_name) + "\"";
    return nullptr;
  }
  if (top["version"].get_int64().get(version) != simdjson::SUCCESS || version != format_version) {
    error = "/version: expected " + std::to_string(format_version);
    return nullptr;
  }
  simdjson::dom::array loops;
  if (top["recommendations"]["loops"].get_array().get(loops) != simdjson::SUCCESS) {
    error = "/recommendations/loops: expected an array";
    return nullptr;
  }
  auto summary = SurveyExSummaryData::create();
  std::size_t index = 0;
  for (simdjson::dom::element loop : loops) {
    if (!readLoop(loop, "/recommendations/loops/" + std::to_string(index++), *summary, error)) return nullptr;
  }
  return summary;
}

bool SummaryCollection::captureRecommendations(const std::string& directory,
                                               boost::shared_ptr<SurveyExSummaryData> summary) {
  if (!summary || !isDirectory(directory)) return false;
  std::string error;
  if (foundation::write_file_atomically(pathIn(directory), toText(*summary), error)) return true;
  LOG4CPLUS_WARN(summaryLogger(), error);
  return false;
}

boost::shared_ptr<SurveyExSummaryData> SummaryCollection::loadRecommendations(const std::string& directory) {
  const std::string path = pathIn(directory);
  simdjson::padded_string text;
  // A result that never had a summary is the common case, not worth a word.
  if (simdjson::padded_string::load(path).get(text) != simdjson::SUCCESS) return nullptr;
  std::string error;
  auto summary = fromText(std::string(text.data(), text.size()), error);
  if (!summary) LOG4CPLUS_WARN(summaryLogger(), path << ": " << error);
  return summary;
}

}  // namespace summary_store
