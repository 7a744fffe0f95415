#include "platform/model_support/report_xml_writer.h"

#include <unordered_map>
#include <vector>

#include <pugixml.hpp>

#include "platform/model_support/report_xml_format.h"

namespace data_models2 {

namespace {

using data_abstractions2::IIssueEx;
using data_abstractions2::IRecommendation;
using data_abstractions2::IRecommendationBase;
using data_abstractions2::ITrait;
using data_abstractions2::row_t;
using foundation::generic_iterator_t;
using foundation::sptr_t;
using foundation::variant_bag_t;
using namespace report_xml;

class StringWriter : public pugi::xml_writer {
 public:
  explicit StringWriter(std::string& out) : out_(out) {}
  void write(const void* data, size_t size) override { out_.append(static_cast<const char*>(data), size); }

 private:
  std::string& out_;
};

bool writeBag(pugi::xml_node node, const variant_bag_t& bag, unsigned depth) {
  if (depth > kMaxBagDepth) return false;
  for (const auto& [key, value] : bag.values()) {
    pugi::xml_node child = node.append_child(kValueElement);
    putString(child, kKeyAttribute, key);
    if (!putVariant(child, value)) return false;
  }
  for (const auto& [key, sub] : bag.bags()) {
    pugi::xml_node child = node.append_child(kBagElement);
    putString(child, kKeyAttribute, key);
    if (!writeBag(child, sub, depth + 1)) return false;
  }
  return true;
}

/// Fills the sections of one document. Records are numbered from 1 in the
/// order in which the rows (parents first) first reach them.
class SectionBuilder {
 public:
  explicit SectionBuilder(pugi::xml_node root)
      : recommendations_(root.append_child(kRecommendationsElement)),
        issues_(root.append_child(kIssuesElement)),
        traits_(root.append_child(kTraitsElement)),
        rows_(root.append_child(kRowsElement)) {}

  bool addRow(const row_t& row, std::uint64_t id) {
    std::vector<sptr_t<IIssueEx>> issues;
    std::vector<sptr_t<ITrait>> traits;
    {
      // The scan may still be lifting findings into this row from another
      // thread; the lock gives us one consistent list.
      data_abstractions2::row_lock_t lock = row->lockRow();
      for (auto it = row->rowIssues(); !it.at_end(); it.next()) {
        if (it.current()) issues.push_back(it.current());
      }
      for (auto it = row->rowTraits(); !it.at_end(); it.next()) {
        if (it.current()) traits.push_back(it.current());
      }
    }
    if (issues.empty() && traits.empty()) return true;

    pugi::xml_node rowNode = rows_.append_child(kRowElement);
    rowNode.append_attribute(kIdAttribute).set_value(std::to_string(id).c_str());
    for (const auto& issue : issues) {
      unsigned ref = 0;
      if (!issueRef(issue, ref)) return false;
      rowNode.append_child(kIssueElement).append_attribute(kRefAttribute).set_value(ref);
    }
    for (const auto& trait : traits) {
      rowNode.append_child(kTraitElement).append_attribute(kRefAttribute).set_value(traitRef(trait));
    }
    return true;
  }

 private:
  static void writeRecordBase(pugi::xml_node node, unsigned ref, const IRecommendationBase& record) {
    node.append_attribute(kRefAttribute).set_value(ref);
    putString(node, kIdAttribute, record.getStringId());
    node.append_attribute(kFlagsAttribute).set_value(record.getFlags());
    node.append_attribute(kPriorityAttribute).set_value(record.getPriority());
  }

  static bool writeRecordBody(pugi::xml_node node, const IRecommendationBase& record) {
    putString(node, kTitleAttribute, record.getTitle());
    putString(node, kTextAttribute, record.getText());
    for (const auto& [key, value] : record.getValues()) {
      pugi::xml_node child = node.append_child(kFloatElement);
      putString(child, kKeyAttribute, key);
      child.append_attribute(kValueAttribute).set_value(formatFloat(value).c_str());
    }
    const variant_bag_t& parameters = record.getParameters();
    if (parameters.empty()) return true;
    return writeBag(node.append_child(kParametersElement), parameters, 1);
  }

  bool issueRef(const sptr_t<IIssueEx>& issue, unsigned& ref) {
    auto found = issueRefs_.find(issue.get());
    if (found != issueRefs_.end()) {
      ref = found->second;
      return true;
    }
    ref = static_cast<unsigned>(issueRefs_.size() + 1);
    issueRefs_.emplace(issue.get(), ref);
    keepAlive_.push_back(issue);

    pugi::xml_node node = issues_.append_child(kIssueElement);
    writeRecordBase(node, ref, *issue);
    if (!writeRecordBody(node, *issue)) return false;
    for (auto it = issue->getRecommendations(); !it.at_end(); it.next()) {
      if (!it.current()) continue;
      unsigned recommendation = 0;
      if (!recommendationRef(it.current(), recommendation)) return false;
      node.append_child(kRecommendationElement).append_attribute(kRefAttribute).set_value(recommendation);
    }
    return true;
  }

  bool recommendationRef(const sptr_t<IRecommendation>& recommendation, unsigned& ref) {
    auto found = recommendationRefs_.find(recommendation.get());
    if (found != recommendationRefs_.end()) {
      ref = found->second;
      return true;
    }
    ref = static_cast<unsigned>(recommendationRefs_.size() + 1);
    recommendationRefs_.emplace(recommendation.get(), ref);
    keepAlive_.push_back(recommendation);

    pugi::xml_node node = recommendations_.append_child(kRecommendationElement);
    writeRecordBase(node, ref, *recommendation);
    node.append_attribute(kConfidenceAttribute).set_value(recommendation->getConfidence());
    return writeRecordBody(node, *recommendation);
  }

  unsigned traitRef(const sptr_t<ITrait>& trait) {
    auto found = traitRefs_.find(trait.get());
    if (found != traitRefs_.end()) return found->second;
    const unsigned ref = static_cast<unsigned>(traitRefs_.size() + 1);
    traitRefs_.emplace(trait.get(), ref);
    keepAlive_.push_back(trait);

    pugi::xml_node node = traits_.append_child(kTraitElement);
    node.append_attribute(kRefAttribute).set_value(ref);
    // An id without a name still comes back: the reader takes a number too.
    const char* name = ITrait::getTraitStringId(trait->getTraitId());
    if (name[0] != '\0') {
      node.append_attribute(kIdAttribute).set_value(name);
    } else {
      node.append_attribute(kIdAttribute).set_value(static_cast<int>(trait->getTraitId()));
    }
    node.append_attribute(kColumnAttribute).set_value(static_cast<int>(trait->getFieldId()));
    putString(node, kTextAttribute, trait->getText());
    return ref;
  }

  pugi::xml_node recommendations_;
  pugi::xml_node issues_;
  pugi::xml_node traits_;
  pugi::xml_node rows_;
  // Keyed by address; the records are kept alive until the document is done
  // so that a record dropped by its row meanwhile cannot hand its address to
  // a new one.
  std::unordered_map<const void*, unsigned> issueRefs_;
  std::unordered_map<const void*, unsigned> recommendationRefs_;
  std::unordered_map<const void*, unsigned> traitRefs_;
  std::vector<sptr_t<foundation::ref_countable_t>> keepAlive_;
};

}  // namespace

bool ReportXmlWriter::render(foundation::IProgress* progress, std::string& text) const {
  pugi::xml_document document;
  pugi::xml_node declaration = document.append_child(pugi::node_declaration);
  declaration.append_attribute("version").set_value("1.0");
  declaration.append_attribute("encoding").set_value("UTF-8");

  pugi::xml_node root = document.append_child(kRootElement);
  root.append_attribute(kVersionAttribute).set_value(kFormatVersion);
  root.append_attribute(kRowCountAttribute).set_value(std::to_string(tree_.size()).c_str());
  root.append_attribute(kFingerprintAttribute).set_value(tree_.fingerprint().c_str());

  SectionBuilder builder(root);
  for (const auto& entry : tree_.rows()) {
    if (progress && progress->isCanceled()) return false;
    if (!builder.addRow(entry.row, entry.id)) return false;
    if (progress) progress->progressed(1);
  }

  std::string out;
  StringWriter writer(out);
  document.save(writer, "  ", pugi::format_default, pugi::encoding_utf8);
  text = std::move(out);
  return true;
}

}  // namespace data_models2
