#include "platform/summary_store/summary_collection.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <limits>
#include <string_view>

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>
#include <simdjson.h>

#include "platform/foundation/atomic_file.h"
#include "platform/foundation/json_reader.h"
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

using foundation::JsonPath;
using foundation::JsonReader;
using simdjson::dom::element;

// Reads the members of one object by name; a missing member is an error
// that names it.
class members_t {
 public:
  members_t(JsonReader& reader, const element& value, const JsonPath& at) : reader_(reader), at_(at) {
    ok_ = reader_.readObject(value, at_, object_);
  }
  bool ok() const { return ok_; }

  bool text(const char* key, std::string& out) {
    std::string_view view;
    const JsonPath at(at_, key);
    if (!find(key, at) || !reader_.readString(found_, at, view)) return false;
    out = std::string(view);
    return true;
  }
  bool integer(const char* key, std::int64_t& out) {
    const JsonPath at(at_, key);
    return find(key, at) && reader_.readInteger(found_, at, std::numeric_limits<std::int64_t>::min(),
                                                std::numeric_limits<std::int64_t>::max(), out);
  }
  bool smallInteger(const char* key, int& out) {
    const JsonPath at(at_, key);
    return find(key, at) && reader_.readInt(found_, at, out);
  }
  // A time the writer could not express (NaN, infinity) is written as null
  // and read as 0, a time too small to count.
  bool real(const char* key, double& out) {
    const JsonPath at(at_, key);
    if (!find(key, at)) return false;
    if (found_.is_null()) {
      out = 0.0;
      return true;
    }
    return reader_.readNumber(found_, at, out);
  }
  bool array(const char* key, simdjson::dom::array& out) {
    const JsonPath at(at_, key);
    return find(key, at) && reader_.readArray(found_, at, out);
  }

 private:
  bool find(const char* key, const JsonPath& at) {
    if (object_[key].get(found_) == simdjson::SUCCESS) return true;
    return reader_.fail(at, "missing");
  }

  JsonReader& reader_;
  const JsonPath& at_;
  simdjson::dom::object object_;
  element found_;
  bool ok_ = false;
};

bool readRecommendation(JsonReader& reader, const element& value, const JsonPath& at, RecommendationsData& data) {
  members_t read(reader, value, at);
  std::string id, title;
  int confidence = 0, priority = 0;
  if (!read.ok() || !read.text("id", id) || !read.text("title", title) ||
      !read.smallInteger("confidence", confidence) || !read.smallInteger("priority", priority)) {
    return false;
  }
  data.add(id, title, confidence, priority);
  return true;
}

bool readLoop(JsonReader& reader, const element& value, const JsonPath& at, SurveyExSummaryData& summary) {
  members_t read(reader, value, at);
  locator_t location;
  std::string function, note;
  int kind = 0;
  double selfTime = 0.0, totalTime = 0.0;
  std::int64_t funcInstIdx = 0;
  simdjson::dom::array recommendations;
  if (!read.ok() || !read.text("file", location.path) || !read.smallInteger("line", location.line) ||
      !read.smallInteger("column", location.column) || !read.text("function", function) ||
      !read.smallInteger("kind", kind) || !read.real("selfTime", selfTime) || !read.real("totalTime", totalTime) ||
      !read.text("note", note) || !read.integer("funcInstIdx", funcInstIdx) ||
      !read.array("recommendations", recommendations)) {
    return false;
  }
  auto data = RecommendationsData::create();
  const JsonPath listAt(at, "recommendations");
  std::size_t index = 0;
  for (element entry : recommendations) {
    if (!readRecommendation(reader, entry, JsonPath(listAt, index++), *data)) return false;
  }
  summary.addLoop(location, function, kind, selfTime, totalTime, note, data, funcInstIdx);
  return true;
}

boost::shared_ptr<SurveyExSummaryData> readSummary(JsonReader& reader, const simdjson::padded_string& text) {
  simdjson::dom::parser parser;
  element root;
  const JsonPath top;
  if (!reader.parse(parser, text, root)) return nullptr;
  members_t read(reader, root, top);
  std::string format;
  std::int64_t version = 0;
  if (!read.ok() || !read.text("format", format)) return nullptr;
  if (format != SummaryCollection::format_name) {
    reader.fail(JsonPath(top, "format"), "not a summary file: format is \"" + format + "\"");
    return nullptr;
  }
  if (!read.integer("version", version)) return nullptr;
  if (version != SummaryCollection::format_version) {
    reader.fail(JsonPath(top, "version"), "unsupported version " + std::to_string(version));
    return nullptr;
  }
  element recommendations;
  simdjson::dom::object holder;
  const JsonPath recommendationsAt(top, "recommendations");
  simdjson::dom::array loops;
  if (!reader.readObject(root, top, holder)) return nullptr;
  if (holder["recommendations"].get(recommendations) != simdjson::SUCCESS) {
    reader.fail(recommendationsAt, "missing");
    return nullptr;
  }
  members_t inner(reader, recommendations, recommendationsAt);
  if (!inner.ok() || !inner.array("loops", loops)) return nullptr;
  auto summary = SurveyExSummaryData::create();
  const JsonPath loopsAt(recommendationsAt, "loops");
  std::size_t index = 0;
  for (element loop : loops) {
    if (!readLoop(reader, loop, JsonPath(loopsAt, index++), *summary)) return nullptr;
  }
  return summary;
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
  JsonReader reader(file_name);
  auto summary = readSummary(reader, simdjson::padded_string(text));
  error = reader.error();
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
  // A result that never had a summary is the common case, not worth a word.
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0 && errno == ENOENT) return nullptr;
  JsonReader reader(path);
  simdjson::padded_string text;
  auto summary = reader.loadFile(path, text) ? readSummary(reader, text) : nullptr;
  if (!summary) LOG4CPLUS_WARN(summaryLogger(), reader.error());
  return summary;
}

}  // namespace summary_store
