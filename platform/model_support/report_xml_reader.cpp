#include "platform/model_support/report_xml_reader.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include <expat.h>

#include "platform/model_support/report_xml_format.h"

namespace data_models2 {

namespace {

using data_abstractions2::FieldId;
using data_abstractions2::IIssueEx;
using data_abstractions2::IRecommendation;
using data_abstractions2::ITrait;
using foundation::sptr_t;
using foundation::variant_bag_t;
using foundation::variant_t;
using namespace report_xml;

/// The fields that issues and recommendations share.
struct record_fields_t {
  std::uint64_t ref = 0;
  std::string id;
  std::string title;
  std::string text;
  unsigned flags = 0;
  int priority = 0;
  int confidence = 0;
  std::map<std::string, float> values;
  bool haveParameters = false;
  variant_bag_t parameters;
};

/// Records by their number. The writer counts from 1, so numbers normally
/// index a vector; any other numbering still works through the map.
template <class Record>
class RecordTable {
 public:
  bool contains(std::uint64_t ref) const {
    return (ref >= 1 && ref <= dense_.size()) || sparse_.count(ref) != 0;
  }
  void add(std::uint64_t ref, sptr_t<Record> record) {
    if (sparse_.empty() && ref == dense_.size() + 1) {
      dense_.push_back(std::move(record));
    } else {
      sparse_.emplace(ref, std::move(record));
    }
  }
  /// Null when there is no such record.
  const sptr_t<Record>* find(std::uint64_t ref) const {
    if (ref >= 1 && ref <= dense_.size()) return &dense_[ref - 1];
    auto found = sparse_.find(ref);
    return found == sparse_.end() ? nullptr : &found->second;
  }

 private:
  std::vector<sptr_t<Record>> dense_;
  std::unordered_map<std::uint64_t, sptr_t<Record>> sparse_;
};

/// A reference met before the section it points into: resolved at the end.
struct pending_ref_t {
  std::uint64_t ref = 0;
  std::uint64_t offset = 0;
  /// The slot to fill in ReportFindings::issues or ::traits.
  std::size_t slot = 0;
  /// For a recommendation of an issue: the issue that takes it.
  sptr_t<IIssueEx> issue;
};

// Where the parser stands: which element is open.
enum class Context {
  Document,
  Root,
  Recommendations,
  Issues,
  Traits,
  Rows,
  Recommendation,
  Issue,
  Trait,
  Row,
  Bag,   // <parameters> or <bag>
  Leaf,  // an element that may hold nothing: a value, a float, a reference
};

enum Section { kRecommendationsSection, kIssuesSection, kTraitsSection, kRowsSection, kSectionCount };
constexpr const char* kSectionNames[kSectionCount] = {kRecommendationsElement, kIssuesElement, kTraitsElement,
                                                      kRowsElement};
constexpr Context kSectionContexts[kSectionCount] = {Context::Recommendations, Context::Issues, Context::Traits,
                                                     Context::Rows};

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

}  // namespace

/// The callbacks of the XML parser and what they build. Each check that
/// fails records the first error and stops the parser.
class ReportXmlReader::Parser {
 public:
  explicit Parser(const ReportTree& tree) : tree_(tree), parser_(XML_ParserCreate("UTF-8")) {
    XML_SetUserData(parser_, this);
    XML_SetElementHandler(parser_, &Parser::onStart, &Parser::onEnd);
    XML_SetCharacterDataHandler(parser_, &Parser::onText);
    XML_SetStartCdataSectionHandler(parser_, &Parser::onCdata);
    XML_SetStartDoctypeDeclHandler(parser_, &Parser::onDoctype);
    seen_.assign(tree_.size(), false);
  }
  ~Parser() { XML_ParserFree(parser_); }

  bool feed(std::string_view piece, bool last) {
    if (!error_.empty()) return false;
    // Expat takes an int length.
    constexpr std::size_t kMaxPiece = 1 << 30;
    do {
      const std::size_t size = std::min(piece.size(), kMaxPiece);
      const bool final = last && size == piece.size();
      if (XML_Parse(parser_, piece.data(), static_cast<int>(size), final) != XML_STATUS_OK) {
        if (error_.empty()) {
          error_ = std::string("not well-formed XML (") + XML_ErrorString(XML_GetErrorCode(parser_)) +
                   ") at offset " + std::to_string(XML_GetCurrentByteIndex(parser_));
        }
        return false;
      }
      piece.remove_prefix(size);
    } while (!piece.empty());
    return true;
  }

  bool finish(ReportFindings& findings) {
    if (!feed(std::string_view(), true)) return false;
    if (!resolvePending()) return false;
    std::sort(result_.rows.begin(), result_.rows.end(),
              [](const auto& a, const auto& b) { return a.position < b.position; });
    findings = std::move(result_);
    result_ = ReportFindings();
    return true;
  }

  const std::string& error() const { return error_; }

  bool acceptsHead(std::string_view head) {
    stopAtRoot_ = true;
    feed(head, false);
    return rootAccepted_;
  }

 private:
  static void XMLCALL onStart(void* self, const XML_Char* name, const XML_Char** attributes) {
    auto* parser = static_cast<Parser*>(self);
    if (!parser->start(name, Attributes(attributes))) parser->stop();
  }
  static void XMLCALL onEnd(void* self, const XML_Char* /*name*/) {
    auto* parser = static_cast<Parser*>(self);
    if (!parser->end()) parser->stop();
  }
  static void XMLCALL onText(void* self, const XML_Char* text, int length) {
    auto* parser = static_cast<Parser*>(self);
    // Blanks between elements are layout; anything else has no place.
    for (int i = 0; i < length; ++i) {
      if (!isBlank(text[i])) {
        parser->fail("unexpected text");
        parser->stop();
        return;
      }
    }
  }
  static void XMLCALL onCdata(void* self) {
    auto* parser = static_cast<Parser*>(self);
    parser->fail("unexpected text");
    parser->stop();
  }
  // A report has no document type; one could declare entities that expand
  // without bound.
  static void XMLCALL onDoctype(void* self, const XML_Char*, const XML_Char*, const XML_Char*, int) {
    auto* parser = static_cast<Parser*>(self);
    parser->fail("unexpected document type declaration");
    parser->stop();
  }

  void stop() { XML_StopParser(parser_, XML_FALSE); }

  std::uint64_t offset() const {
    // The offset of the element's name, after its '<'.
    const XML_Index index = XML_GetCurrentByteIndex(parser_);
    return index < 0 ? 0 : static_cast<std::uint64_t>(index) + 1;
  }

  bool fail(const std::string& what) { return failAt(what, offset()); }
  bool failAt(const std::string& what, std::uint64_t at) {
    if (error_.empty()) error_ = what + " at offset " + std::to_string(at);
    return false;
  }
  bool unknown(const char* name) { return fail(std::string("unexpected <") + name + ">"); }

  bool readRef(const Attributes& attributes, std::uint64_t& ref) {
    return parseU64(attributes.value(kRefAttribute), ref) || fail("bad ref");
  }

  bool start(const char* name, const Attributes& attributes) {
    const Context context = stack_.empty() ? Context::Document : stack_.back();
    Context next = Context::Leaf;
    switch (context) {
      case Context::Document:
        if (!startRoot(name, attributes)) return false;
        rootAccepted_ = true;
        // Checking the head only: the rest does not matter.
        if (stopAtRoot_) return false;
        next = Context::Root;
        break;
      case Context::Root: {
        int which = -1;
        for (int i = 0; i < kSectionCount; ++i) {
          if (std::strcmp(name, kSectionNames[i]) == 0) which = i;
        }
        if (which < 0) return unknown(name);
        if (sectionSeen_[which]) return fail(std::string("second <") + name + ">");
        sectionSeen_[which] = true;
        next = kSectionContexts[which];
        break;
      }
      case Context::Recommendations:
        if (std::strcmp(name, kRecommendationElement) != 0) return unknown(name);
        if (!startRecord(attributes, true)) return false;
        next = Context::Recommendation;
        break;
      case Context::Issues:
        if (std::strcmp(name, kIssueElement) != 0) return unknown(name);
        if (!startRecord(attributes, false)) return false;
        next = Context::Issue;
        break;
      case Context::Traits:
        if (std::strcmp(name, kTraitElement) != 0) return unknown(name);
        if (!readTrait(attributes)) return false;
        next = Context::Trait;
        break;
      case Context::Rows:
        if (std::strcmp(name, kRowElement) != 0) return unknown(name);
        if (!startRow(attributes)) return false;
        next = Context::Row;
        break;
      case Context::Recommendation:
      case Context::Issue:
        if (!recordChild(context, name, attributes, next)) return false;
        break;
      case Context::Row:
        if (!rowChild(name, attributes)) return false;
        break;
      case Context::Bag:
        if (!bagChild(name, attributes, next)) return false;
        break;
      case Context::Trait:
      case Context::Leaf:
        return unknown(name);
    }
    stack_.push_back(next);
    return true;
  }

  bool end() {
    // expat may still report the end of an empty element whose start we
    // refused and stopped at: there is nothing of ours to close, at any
    // depth.
    if (!error_.empty() || stack_.empty()) return false;
    const Context context = stack_.back();
    stack_.pop_back();
    switch (context) {
      case Context::Root:
        for (int i = 0; i < kSectionCount; ++i) {
          if (!sectionSeen_[i]) return fail(std::string("no <") + kSectionNames[i] + ">");
        }
        return true;
      case Context::Recommendations: sectionDone_[kRecommendationsSection] = true; return true;
      case Context::Issues: sectionDone_[kIssuesSection] = true; return true;
      case Context::Traits: sectionDone_[kTraitsSection] = true; return true;
      case Context::Rows: sectionDone_[kRowsSection] = true; return true;
      case Context::Recommendation: endRecommendation(); return true;
      case Context::Issue: endIssue(); return true;
      case Context::Row:
        result_.rows.back().issuesEnd = result_.issues.size();
        result_.rows.back().traitsEnd = result_.traits.size();
        return true;
      case Context::Bag:
        bags_.pop_back();
        bagKeys_.pop_back();
        return true;
      default: return true;
    }
  }

  bool startRoot(const char* name, const Attributes& attributes) {
    if (std::strcmp(name, kRootElement) != 0) return fail(std::string("root element is <") + name + ">");
    if (std::strcmp(attributes.value(kVersionAttribute), kFormatVersion) != 0) {
      return fail(std::string("unsupported format version '") + attributes.value(kVersionAttribute) + "'");
    }
    std::uint64_t rowCount = 0;
    if (!parseU64(attributes.value(kRowCountAttribute), rowCount) || rowCount != tree_.size() ||
        tree_.fingerprint() != attributes.value(kFingerprintAttribute)) {
      return fail("the report was written for another result");
    }
    return true;
  }

  bool startRecord(const Attributes& attributes, bool recommendation) {
    record_fields_t& fields = record_;
    fields = record_fields_t();
    if (!readRef(attributes, fields.ref)) return false;
    if (recommendation ? recommendations_.contains(fields.ref) : issues_.contains(fields.ref)) {
      return fail("repeated ref");
    }
    if (recommendation && !parseInt(attributes.value(kConfidenceAttribute), fields.confidence)) {
      return fail("bad confidence");
    }
    if (!getString(attributes, kIdAttribute, fields.id)) return fail("bad id");
    if (!getString(attributes, kTitleAttribute, fields.title)) return fail("bad title");
    if (!getString(attributes, kTextAttribute, fields.text)) return fail("bad text");
    if (!parseUnsigned(attributes.value(kFlagsAttribute), fields.flags)) return fail("bad flags");
    if (!parseInt(attributes.value(kPriorityAttribute), fields.priority)) return fail("bad priority");
    recordRecommendations_.clear();
    return true;
  }

  bool recordChild(Context record, const char* name, const Attributes& attributes, Context& next) {
    if (std::strcmp(name, kFloatElement) == 0) {
      std::string key;
      float value = 0.0f;
      if (!getString(attributes, kKeyAttribute, key)) return fail("bad key");
      if (!parseFloat(attributes.value(kValueAttribute), value)) return fail("bad float");
      if (!record_.values.emplace(key, value).second) return fail("repeated key '" + key + "'");
      next = Context::Leaf;
      return true;
    }
    if (std::strcmp(name, kParametersElement) == 0) {
      if (record_.haveParameters) return fail("second <parameters>");
      record_.haveParameters = true;
      bags_.push_back(&record_.parameters);
      bagKeys_.emplace_back();
      next = Context::Bag;
      return true;
    }
    if (record == Context::Issue && std::strcmp(name, kRecommendationElement) == 0) {
      std::uint64_t ref = 0;
      if (!readRef(attributes, ref)) return false;
      if (sectionDone_[kRecommendationsSection] && !recommendations_.find(ref)) {
        return fail("no recommendation " + std::to_string(ref));
      }
      recordRecommendations_.emplace_back(ref, offset());
      next = Context::Leaf;
      return true;
    }
    return unknown(name);
  }

  bool bagChild(const char* name, const Attributes& attributes, Context& next) {
    std::string key;
    if (!getString(attributes, kKeyAttribute, key)) return fail("bad key");
    variant_bag_t& bag = *bags_.back();
    if (std::strcmp(name, kValueElement) == 0) {
      variant_t value;
      if (!getVariant(attributes, value)) return fail("bad typed value");
      // variant_bag_t::put would let a repeated key replace the first value
      // and change the order; the writer never repeats one.
      if (!bagKeys_.back().insert(key).second) return fail("repeated key '" + key + "'");
      bag.put(key, value);
      next = Context::Leaf;
      return true;
    }
    if (std::strcmp(name, kBagElement) == 0) {
      if (bags_.size() + 1 > kMaxBagDepth) return fail("parameters nested too deep");
      bags_.push_back(&bag.add_variant_bag(key));
      bagKeys_.emplace_back();
      next = Context::Bag;
      return true;
    }
    return unknown(name);
  }

  template <class Record>
  static void applyValues(const Record& record, const record_fields_t& fields) {
    for (const auto& [key, value] : fields.values) record->setValue(key, value);
  }

  void endRecommendation() {
    const record_fields_t& fields = record_;
    auto record = data_abstractions2::createRecommendation(fields.id, fields.title, fields.text, fields.flags,
                                                           fields.parameters, fields.confidence, fields.priority);
    applyValues(record, fields);
    recommendations_.add(fields.ref, std::move(record));
  }

  void endIssue() {
    const record_fields_t& fields = record_;
    auto record = data_abstractions2::createIssueEx(fields.id, fields.title, fields.text, fields.priority,
                                                    fields.flags, fields.parameters);
    applyValues(record, fields);
    for (const auto& [ref, at] : recordRecommendations_) {
      if (sectionDone_[kRecommendationsSection]) {
        record->addRecommendation(*recommendations_.find(ref));
      } else {
        pendingRecommendations_.push_back(pending_ref_t{ref, at, 0, record});
      }
    }
    issues_.add(fields.ref, std::move(record));
  }

  bool readTrait(const Attributes& attributes) {
    std::uint64_t ref = 0;
    if (!readRef(attributes, ref)) return false;
    if (traits_.contains(ref)) return fail("repeated ref");
    const char* idText = attributes.value(kIdAttribute);
    ITrait::Id id = ITrait::IdNone;
    if (!ITrait::getTraitIdByString(idText, id)) {
      // Ids without a name are written as their number.
      int number = 0;
      if (!parseInt(idText, number)) return fail(std::string("unknown trait '") + idText + "'");
      id = static_cast<ITrait::Id>(number);
    }
    int column = 0;
    if (!parseInt(attributes.value(kColumnAttribute), column)) return fail("bad column");
    std::string text;
    if (!getString(attributes, kTextAttribute, text)) return fail("bad text");
    traits_.add(ref, data_abstractions2::createTraitRecord(id, text, static_cast<FieldId>(column)));
    return true;
  }

  bool startRow(const Attributes& attributes) {
    std::uint64_t id = 0;
    if (!parseU64(attributes.value(kIdAttribute), id)) return fail("bad row id");
    const std::size_t position = tree_.position(id);
    if (position == ReportTree::npos) return fail("no row " + std::to_string(id) + " in the result");
    if (seen_[position]) return fail("row " + std::to_string(id) + " given twice");
    seen_[position] = true;
    ReportFindings::row_entry_t entry;
    entry.position = position;
    entry.issuesBegin = entry.issuesEnd = result_.issues.size();
    entry.traitsBegin = entry.traitsEnd = result_.traits.size();
    result_.rows.push_back(entry);
    return true;
  }

  bool rowChild(const char* name, const Attributes& attributes) {
    std::uint64_t ref = 0;
    if (std::strcmp(name, kIssueElement) == 0) {
      if (!readRef(attributes, ref)) return false;
      return take(issues_, sectionDone_[kIssuesSection], "no issue ", ref, result_.issues, pendingIssues_);
    }
    if (std::strcmp(name, kTraitElement) == 0) {
      if (!readRef(attributes, ref)) return false;
      return take(traits_, sectionDone_[kTraitsSection], "no trait ", ref, result_.traits, pendingTraits_);
    }
    return unknown(name);
  }

  // A row's reference: resolved now when its section was read, else later.
  template <class Record>
  bool take(const RecordTable<Record>& table, bool sectionDone, const char* missing, std::uint64_t ref,
            std::vector<sptr_t<Record>>& slots, std::vector<pending_ref_t>& pending) {
    if (sectionDone) {
      const sptr_t<Record>* found = table.find(ref);
      if (!found) return fail(missing + std::to_string(ref));
      slots.push_back(*found);
      return true;
    }
    pending.push_back(pending_ref_t{ref, offset(), slots.size(), nullptr});
    slots.emplace_back();
    return true;
  }

  // References to sections that came later in the file, in file order.
  bool resolvePending() {
    for (const pending_ref_t& entry : pendingRecommendations_) {
      const sptr_t<IRecommendation>* found = recommendations_.find(entry.ref);
      if (!found) return failAt("no recommendation " + std::to_string(entry.ref), entry.offset);
      entry.issue->addRecommendation(*found);
    }
    for (const pending_ref_t& entry : pendingIssues_) {
      const sptr_t<IIssueEx>* found = issues_.find(entry.ref);
      if (!found) return failAt("no issue " + std::to_string(entry.ref), entry.offset);
      result_.issues[entry.slot] = *found;
    }
    for (const pending_ref_t& entry : pendingTraits_) {
      const sptr_t<ITrait>* found = traits_.find(entry.ref);
      if (!found) return failAt("no trait " + std::to_string(entry.ref), entry.offset);
      result_.traits[entry.slot] = *found;
    }
    return true;
  }

  const ReportTree& tree_;
  XML_Parser parser_;
  std::string error_;
  std::vector<Context> stack_;
  bool stopAtRoot_ = false;
  bool rootAccepted_ = false;
  bool sectionSeen_[kSectionCount] = {};
  bool sectionDone_[kSectionCount] = {};

  // The record being read, and the numbers of the recommendations it names
  // with where each was named.
  record_fields_t record_;
  std::vector<std::pair<std::uint64_t, std::uint64_t>> recordRecommendations_;
  // The bags of <parameters> being read, innermost last, with their keys.
  std::vector<variant_bag_t*> bags_;
  std::vector<std::unordered_set<std::string>> bagKeys_;

  RecordTable<IRecommendation> recommendations_;
  RecordTable<IIssueEx> issues_;
  RecordTable<ITrait> traits_;
  std::vector<pending_ref_t> pendingRecommendations_;
  std::vector<pending_ref_t> pendingIssues_;
  std::vector<pending_ref_t> pendingTraits_;
  /// Rows given so far, by their place in the tree.
  std::vector<bool> seen_;
  ReportFindings result_;
};

ReportXmlReader::ReportXmlReader(const ReportTree& tree) : parser_(std::make_unique<Parser>(tree)) {}
ReportXmlReader::~ReportXmlReader() = default;

bool ReportXmlReader::feed(std::string_view piece) { return parser_->feed(piece, false); }
bool ReportXmlReader::finish(ReportFindings& findings) { return parser_->finish(findings); }

bool ReportXmlReader::read(std::string_view text, ReportFindings& findings) {
  return feed(text) && finish(findings);
}

bool ReportXmlReader::acceptsHead(std::string_view head) { return parser_->acceptsHead(head); }

const std::string& ReportXmlReader::error() const { return parser_->error(); }

}  // namespace data_models2
