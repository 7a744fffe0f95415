#include "platform/model_support/report_xml_reader.h"

#include <cstring>
#include <map>
#include <unordered_set>
#include <utility>

#include <pugixml.hpp>

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

bool named(const pugi::xml_node& node, const char* name) { return std::strcmp(node.name(), name) == 0; }

/// The fields that issues and recommendations share.
struct record_fields_t {
  std::string id;
  std::string title;
  std::string text;
  unsigned flags = 0;
  int priority = 0;
  std::map<std::string, float> values;
  variant_bag_t parameters;
};

/// One pass over a parsed document. Each check that fails records the first
/// error and answers false, which every caller passes straight up.
class DocumentParser {
 public:
  explicit DocumentParser(const ReportTree& tree) : tree_(tree) {}

  bool parse(const pugi::xml_document& document, ReportXmlReader::findings_t& findings) {
    pugi::xml_node root;
    for (pugi::xml_node child : document.children()) {
      if (child.type() != pugi::node_element) continue;
      if (root) return fail(child, "more than one top-level element");
      root = child;
    }
    if (!root) return fail(document, "no root element");
    if (!named(root, kRootElement)) return fail(root, std::string("root element is <") + root.name() + ">");
    if (std::strcmp(root.attribute(kVersionAttribute).value(), kFormatVersion) != 0) {
      return fail(root, std::string("unsupported format version '") + root.attribute(kVersionAttribute).value() + "'");
    }
    std::uint64_t rowCount = 0;
    if (!parseU64(root.attribute(kRowCountAttribute).value(), rowCount) || rowCount != tree_.size() ||
        tree_.fingerprint() != root.attribute(kFingerprintAttribute).value()) {
      return fail(root, "the report was written for another result");
    }

    pugi::xml_node sections[4];
    const char* names[4] = {kRecommendationsElement, kIssuesElement, kTraitsElement, kRowsElement};
    for (pugi::xml_node child : root.children()) {
      if (!isElement(child)) return false;
      int which = -1;
      for (int i = 0; i < 4; ++i) {
        if (named(child, names[i])) which = i;
      }
      if (which < 0) return unknown(child);
      if (sections[which]) return fail(child, std::string("second <") + names[which] + ">");
      sections[which] = child;
    }
    for (int i = 0; i < 4; ++i) {
      if (!sections[i]) return fail(root, std::string("no <") + names[i] + ">");
    }
    return readRecommendations(sections[0]) && readIssues(sections[1]) && readTraits(sections[2]) &&
           readRows(sections[3], findings);
  }

  const std::string& error() const { return error_; }

 private:
  bool fail(const pugi::xml_node& node, const std::string& what) {
    if (error_.empty()) {
      error_ = what;
      const std::ptrdiff_t offset = node.offset_debug();
      if (offset >= 0) error_ += " at offset " + std::to_string(offset);
    }
    return false;
  }

  bool unknown(const pugi::xml_node& node) { return fail(node, std::string("unexpected <") + node.name() + ">"); }

  // Text or other non-element content has no place anywhere in the format.
  bool isElement(const pugi::xml_node& node) {
    return node.type() == pugi::node_element || fail(node, "unexpected text");
  }

  bool readRef(const pugi::xml_node& node, std::uint64_t& ref) {
    return parseU64(node.attribute(kRefAttribute).value(), ref) || fail(node, "bad ref");
  }

  bool readBag(const pugi::xml_node& node, variant_bag_t& bag, unsigned depth) {
    if (depth > kMaxBagDepth) return fail(node, "parameters nested too deep");
    // variant_bag_t::put would let a repeated key replace the first value
    // and change the order; the writer never repeats one.
    std::unordered_set<std::string> keys;
    for (pugi::xml_node child : node.children()) {
      if (!isElement(child)) return false;
      std::string key;
      if (!getString(child, kKeyAttribute, key)) return fail(child, "bad key");
      if (named(child, kValueElement)) {
        variant_t value;
        if (!getVariant(child, value)) return fail(child, "bad typed value");
        if (!keys.insert(key).second) return fail(child, "repeated key '" + key + "'");
        bag.put(key, value);
      } else if (named(child, kBagElement)) {
        if (!readBag(child, bag.add_variant_bag(key), depth + 1)) return false;
      } else {
        return unknown(child);
      }
    }
    return true;
  }

  // Attributes and the float and parameter children; `extra` handles the
  // children that only one kind of record has.
  template <class Extra>
  bool readRecord(const pugi::xml_node& node, record_fields_t& fields, Extra&& extra) {
    if (!getString(node, kIdAttribute, fields.id)) return fail(node, "bad id");
    if (!getString(node, kTitleAttribute, fields.title)) return fail(node, "bad title");
    if (!getString(node, kTextAttribute, fields.text)) return fail(node, "bad text");
    if (!parseUnsigned(node.attribute(kFlagsAttribute).value(), fields.flags)) return fail(node, "bad flags");
    if (!parseInt(node.attribute(kPriorityAttribute).value(), fields.priority)) return fail(node, "bad priority");
    bool haveParameters = false;
    for (pugi::xml_node child : node.children()) {
      if (!isElement(child)) return false;
      if (named(child, kFloatElement)) {
        std::string key;
        float value = 0.0f;
        if (!getString(child, kKeyAttribute, key)) return fail(child, "bad key");
        if (!parseFloat(child.attribute(kValueAttribute).value(), value)) return fail(child, "bad float");
        if (!fields.values.emplace(key, value).second) return fail(child, "repeated key '" + key + "'");
      } else if (named(child, kParametersElement)) {
        if (haveParameters) return fail(child, "second <parameters>");
        haveParameters = true;
        if (!readBag(child, fields.parameters, 1)) return false;
      } else if (!extra(child)) {
        return false;
      }
    }
    return true;
  }

  template <class Record>
  static void applyValues(const Record& record, const record_fields_t& fields) {
    for (const auto& [key, value] : fields.values) record->setValue(key, value);
  }

  bool readRecommendations(const pugi::xml_node& section) {
    for (pugi::xml_node node : section.children()) {
      if (!isElement(node)) return false;
      if (!named(node, kRecommendationElement)) return unknown(node);
      std::uint64_t ref = 0;
      if (!readRef(node, ref)) return false;
      if (recommendations_.count(ref)) return fail(node, "repeated ref");
      record_fields_t fields;
      int confidence = 0;
      if (!parseInt(node.attribute(kConfidenceAttribute).value(), confidence)) return fail(node, "bad confidence");
      if (!readRecord(node, fields, [this](const pugi::xml_node& child) { return unknown(child); })) return false;
      auto record = data_abstractions2::createRecommendation(fields.id, fields.title, fields.text, fields.flags,
                                                             fields.parameters, confidence, fields.priority);
      applyValues(record, fields);
      recommendations_.emplace(ref, std::move(record));
    }
    return true;
  }

  bool readIssues(const pugi::xml_node& section) {
    for (pugi::xml_node node : section.children()) {
      if (!isElement(node)) return false;
      if (!named(node, kIssueElement)) return unknown(node);
      std::uint64_t ref = 0;
      if (!readRef(node, ref)) return false;
      if (issues_.count(ref)) return fail(node, "repeated ref");
      record_fields_t fields;
      std::vector<sptr_t<IRecommendation>> recommendations;
      auto extra = [&](const pugi::xml_node& child) {
        if (!named(child, kRecommendationElement)) return unknown(child);
        std::uint64_t target = 0;
        if (!readRef(child, target)) return false;
        auto found = recommendations_.find(target);
        if (found == recommendations_.end()) return fail(child, "no recommendation " + std::to_string(target));
        recommendations.push_back(found->second);
        return true;
      };
      if (!readRecord(node, fields, extra)) return false;
      auto record = data_abstractions2::createIssueEx(fields.id, fields.title, fields.text, fields.priority,
                                                      fields.flags, fields.parameters);
      applyValues(record, fields);
      for (const auto& recommendation : recommendations) record->addRecommendation(recommendation);
      issues_.emplace(ref, std::move(record));
    }
    return true;
  }

  bool readTraits(const pugi::xml_node& section) {
    for (pugi::xml_node node : section.children()) {
      if (!isElement(node)) return false;
      if (!named(node, kTraitElement)) return unknown(node);
      if (pugi::xml_node child = node.first_child()) return isElement(child) && unknown(child);
      std::uint64_t ref = 0;
      if (!readRef(node, ref)) return false;
      if (traits_.count(ref)) return fail(node, "repeated ref");
      const char* idText = node.attribute(kIdAttribute).value();
      ITrait::Id id = ITrait::IdNone;
      if (!ITrait::getTraitIdByString(idText, id)) {
        // Ids without a name are written as their number.
        int number = 0;
        if (!parseInt(idText, number)) return fail(node, std::string("unknown trait '") + idText + "'");
        id = static_cast<ITrait::Id>(number);
      }
      int column = 0;
      if (!parseInt(node.attribute(kColumnAttribute).value(), column)) return fail(node, "bad column");
      std::string text;
      if (!getString(node, kTextAttribute, text)) return fail(node, "bad text");
      traits_.emplace(ref, data_abstractions2::createTraitRecord(id, text, static_cast<FieldId>(column)));
    }
    return true;
  }

  bool readRows(const pugi::xml_node& section, ReportXmlReader::findings_t& findings) {
    ReportXmlReader::findings_t result;
    for (pugi::xml_node node : section.children()) {
      if (!isElement(node)) return false;
      if (!named(node, kRowElement)) return unknown(node);
      std::uint64_t id = 0;
      if (!parseU64(node.attribute(kIdAttribute).value(), id)) return fail(node, "bad row id");
      if (!tree_.find(id)) return fail(node, "no row " + std::to_string(id) + " in the result");
      auto [slot, fresh] = result.try_emplace(id);
      if (!fresh) return fail(node, "row " + std::to_string(id) + " given twice");
      ReportRowFindings& row = slot->second;
      for (pugi::xml_node child : node.children()) {
        if (!isElement(child)) return false;
        std::uint64_t ref = 0;
        if (named(child, kIssueElement)) {
          if (!readRef(child, ref)) return false;
          auto found = issues_.find(ref);
          if (found == issues_.end()) return fail(child, "no issue " + std::to_string(ref));
          row.issues.push_back(found->second);
        } else if (named(child, kTraitElement)) {
          if (!readRef(child, ref)) return false;
          auto found = traits_.find(ref);
          if (found == traits_.end()) return fail(child, "no trait " + std::to_string(ref));
          row.traits.push_back(found->second);
        } else {
          return unknown(child);
        }
      }
    }
    findings = std::move(result);
    return true;
  }

  const ReportTree& tree_;
  std::string error_;
  std::unordered_map<std::uint64_t, sptr_t<IRecommendation>> recommendations_;
  std::unordered_map<std::uint64_t, sptr_t<IIssueEx>> issues_;
  std::unordered_map<std::uint64_t, sptr_t<ITrait>> traits_;
};

}  // namespace

bool ReportXmlReader::read(std::string_view text, findings_t& findings) {
  error_.clear();
  pugi::xml_document document;
  const pugi::xml_parse_result parsed =
      document.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_utf8);
  if (!parsed) {
    error_ =
        std::string("not well-formed XML (") + parsed.description() + ") at offset " + std::to_string(parsed.offset);
    return false;
  }
  DocumentParser parser(tree_);
  if (parser.parse(document, findings)) return true;
  error_ = parser.error();
  return false;
}

}  // namespace data_models2
