#include "platform/model_support/report_xml_writer.h"

#include <charconv>
#include <cstdint>
#include <iterator>
#include <algorithm>
#include <utility>
#include <vector>

#include "platform/model_support/report_xml_format.h"

namespace data_models2 {

namespace {

using data_abstractions2::IIssueEx;
using data_abstractions2::IRecommendation;
using data_abstractions2::IRecommendationBase;
using data_abstractions2::ITrait;
using data_abstractions2::row_t;
using foundation::sptr_t;
using foundation::variant_bag_t;
using namespace report_xml;

// Pieces reach the sink in about this size: large enough that a file
// write per piece costs nothing, small enough not to matter in memory.
constexpr std::size_t kPieceBytes = 256 * 1024;

constexpr const char* kIndent[] = {"", "  ", "    ", "      "};

/// Builds the text of the document and hands it on in pieces. The layout
/// (two blanks of indent per level, " />" for an element without children)
/// is the one the file has always had, so that reports stay comparable byte
/// for byte across versions.
class Output {
 public:
  explicit Output(const ReportXmlWriter::sink_t& sink) : sink_(sink) { text_.reserve(kPieceBytes + 4096); }

  std::string& text() { return text_; }
  void indent(unsigned depth) {
    while (depth >= std::size(kIndent)) {
      text_ += kIndent[std::size(kIndent) - 1];
      depth -= static_cast<unsigned>(std::size(kIndent) - 1);
    }
    text_ += kIndent[depth];
  }
  void open(unsigned depth, const char* element) {
    indent(depth);
    text_ += '<';
    text_ += element;
  }
  void close(unsigned depth, const char* element) {
    indent(depth);
    text_ += "</";
    text_ += element;
    text_ += ">\n";
  }
  template <class Number>
  void number(const char* name, Number value) {
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    text_ += ' ';
    text_ += name;
    text_ += "=\"";
    text_.append(buffer, result.ptr);
    text_ += '"';
  }
  void plain(const char* name, std::string_view value) {
    text_ += ' ';
    text_ += name;
    text_ += "=\"";
    text_ += value;
    text_ += '"';
  }
  /// An element of one numeric attribute and no children.
  void reference(unsigned depth, const char* element, unsigned ref) {
    open(depth, element);
    number(kRefAttribute, ref);
    text_ += " />\n";
  }
  void flushIfFull() {
    if (text_.size() >= kPieceBytes) flush();
  }
  void flush() {
    if (!text_.empty()) sink_(text_);
    text_.clear();
  }

 private:
  const ReportXmlWriter::sink_t& sink_;
  std::string text_;
};

/// A section that is empty until its first record: "<name />" or
/// "<name>" ... "</name>".
class Section {
 public:
  Section(Output& out, const char* name) : out_(out), name_(name) {}
  void beginRecord() {
    if (started_) return;
    started_ = true;
    out_.open(1, name_);
    out_.text() += ">\n";
  }
  void end() {
    if (started_) {
      out_.close(1, name_);
    } else {
      out_.open(1, name_);
      out_.text() += " />\n";
    }
  }

 private:
  Output& out_;
  const char* name_;
  bool started_ = false;
};

bool writeBag(Output& out, const variant_bag_t& bag, unsigned depth) {
  if (depth > kMaxBagDepth) return false;
  for (const auto& [key, value] : bag.values()) {
    out.open(depth + 3, kValueElement);
    appendString(out.text(), kKeyAttribute, key);
    if (!appendVariant(out.text(), value)) return false;
    out.text() += " />\n";
  }
  for (const auto& [key, sub] : bag.bags()) {
    out.open(depth + 3, kBagElement);
    appendString(out.text(), kKeyAttribute, key);
    if (sub.empty()) {
      out.text() += " />\n";
      continue;
    }
    out.text() += ">\n";
    if (!writeBag(out, sub, depth + 1)) return false;
    out.close(depth + 3, kBagElement);
  }
  return true;
}

/// Numbers of records by address. A report of a large result numbers
/// millions of records; open addressing over one flat array costs no
/// allocation per record, unlike a node-based map.
class AddressNumbers {
 public:
  /// The number that `address` has, or, for an address met first, `fresh`,
  /// which it has from now on.
  unsigned findOrAdd(const void* address, unsigned fresh) {
    if (2 * (used_ + 1) > slots_.size()) grow();
    std::size_t at = slotOf(address);
    while (slots_[at].first) {
      if (slots_[at].first == address) return slots_[at].second;
      at = (at + 1) & (slots_.size() - 1);
    }
    slots_[at] = {address, fresh};
    ++used_;
    return fresh;
  }

 private:
  std::size_t slotOf(const void* address) const {
    // Records are aligned, so the low bits say nothing; the multiplication
    // spreads the rest over the table.
    const auto bits = reinterpret_cast<std::uintptr_t>(address) >> 4;
    return static_cast<std::size_t>((bits * 0x9e3779b97f4a7c15ull) >> 20) & (slots_.size() - 1);
  }
  void grow() {
    std::vector<std::pair<const void*, unsigned>> old(std::max<std::size_t>(64, slots_.size() * 2));
    old.swap(slots_);
    for (const auto& slot : old) {
      if (!slot.first) continue;
      std::size_t at = slotOf(slot.first);
      while (slots_[at].first) at = (at + 1) & (slots_.size() - 1);
      slots_[at] = slot;
    }
  }

  std::vector<std::pair<const void*, unsigned>> slots_;
  std::size_t used_ = 0;
};

/// Writes one document. The first walk over the rows numbers the records
/// from 1 in the order in which the rows (parents first) first reach them,
/// and writes each recommendation when it gets its number, since that
/// section comes first. The other sections are written from what the walk
/// kept: the records in the order of their numbers, and for each row and
/// each issue the numbers it refers to.
class DocumentWriter {
 public:
  DocumentWriter(const ReportTree& tree, Output& out) : tree_(tree), out_(out) {}

  bool write(foundation::IProgress* progress) {
    std::string& text = out_.text();
    text += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<";
    text += kRootElement;
    out_.plain(kVersionAttribute, kFormatVersion);
    out_.number(kRowCountAttribute, static_cast<std::uint64_t>(tree_.size()));
    out_.plain(kFingerprintAttribute, tree_.fingerprint());
    text += ">\n";

    Section recommendations(out_, kRecommendationsElement);
    for (const auto& entry : tree_.rows()) {
      if (progress && progress->isCanceled()) return false;
      if (!numberRow(entry, recommendations)) return false;
      out_.flushIfFull();
      if (progress) progress->progressed(1);
    }
    recommendations.end();
    if (!writeIssues()) return false;
    writeTraits();
    writeRows();
    text += "</";
    text += kRootElement;
    text += ">\n";
    out_.flush();
    return true;
  }

 private:
  /// A run of numbers in one of the flat lists: [begin, end).
  struct span_t {
    std::uint32_t begin = 0;
    std::uint32_t end = 0;
  };
  struct row_refs_t {
    std::uint64_t id = 0;
    span_t issues;
    span_t traits;
  };

  // Numbers are handed out by counting; the map only tells a record met
  // before from a new one.
  template <class Record>
  static std::pair<unsigned, bool> numberOf(AddressNumbers& numbers, std::vector<sptr_t<Record>>& records,
                                            const sptr_t<Record>& record) {
    const auto next = static_cast<unsigned>(records.size() + 1);
    const unsigned number = numbers.findOrAdd(record.get(), next);
    const bool fresh = number == next;
    if (fresh) records.push_back(record);
    return {number, fresh};
  }

  bool numberRow(const ReportTree::entry_t& entry, Section& recommendations) {
    // The scan may still be lifting findings into this row from another
    // thread; the lock gives us one consistent list, and the row is not read
    // again.
    const std::size_t issuesBefore = rowIssueRefs_.size();
    const std::size_t traitsBefore = rowTraitRefs_.size();
    {
      data_abstractions2::row_lock_t lock = entry.row->lockRow();
      for (auto it = entry.row->rowIssues(); !it.at_end(); it.next()) {
        if (!it.current()) continue;
        auto [ref, fresh] = numberOf(issueNumbers_, issues_, it.current());
        rowIssueRefs_.push_back(ref);
        if (fresh && !numberIssue(*it.current(), recommendations)) return false;
      }
      for (auto it = entry.row->rowTraits(); !it.at_end(); it.next()) {
        if (it.current()) rowTraitRefs_.push_back(numberOf(traitNumbers_, traits_, it.current()).first);
      }
    }
    if (rowIssueRefs_.size() == issuesBefore && rowTraitRefs_.size() == traitsBefore) return true;
    rows_.push_back(row_refs_t{entry.id, {static_cast<std::uint32_t>(issuesBefore), static_cast<std::uint32_t>(rowIssueRefs_.size())},
                               {static_cast<std::uint32_t>(traitsBefore), static_cast<std::uint32_t>(rowTraitRefs_.size())}});
    return true;
  }

  bool numberIssue(const IIssueEx& issue, Section& recommendations) {
    span_t refs{static_cast<std::uint32_t>(issueRecommendationRefs_.size()), 0};
    for (auto it = issue.getRecommendations(); !it.at_end(); it.next()) {
      if (!it.current()) continue;
      auto [ref, fresh] = numberOf(recommendationNumbers_, recommendations_, it.current());
      issueRecommendationRefs_.push_back(ref);
      if (!fresh) continue;
      recommendations.beginRecord();
      if (!writeRecommendation(ref, *it.current())) return false;
    }
    refs.end = static_cast<std::uint32_t>(issueRecommendationRefs_.size());
    issueRecommendations_.push_back(refs);
    return true;
  }

  void writeRecordBase(const char* element, unsigned ref, const IRecommendationBase& record) {
    out_.open(2, element);
    out_.number(kRefAttribute, ref);
    appendString(out_.text(), kIdAttribute, record.getStringId());
    out_.number(kFlagsAttribute, record.getFlags());
    out_.number(kPriorityAttribute, record.getPriority());
  }

  /// Title, text, floats and parameters; leaves the element open (true in
  /// `open`) when it wrote children.
  bool writeRecordBody(const IRecommendationBase& record, bool& open) {
    std::string& text = out_.text();
    appendString(text, kTitleAttribute, record.getTitle());
    appendString(text, kTextAttribute, record.getText());
    open = false;
    auto children = [&] {
      if (!open) text += ">\n";
      open = true;
    };
    for (const auto& [key, value] : record.getValues()) {
      children();
      out_.open(3, kFloatElement);
      appendString(text, kKeyAttribute, key);
      out_.plain(kValueAttribute, formatFloat(value));
      text += " />\n";
    }
    const variant_bag_t& parameters = record.getParameters();
    if (parameters.empty()) return true;
    children();
    out_.open(3, kParametersElement);
    text += ">\n";
    if (!writeBag(out_, parameters, 1)) return false;
    out_.close(3, kParametersElement);
    return true;
  }

  bool writeRecommendation(unsigned ref, const IRecommendation& recommendation) {
    writeRecordBase(kRecommendationElement, ref, recommendation);
    out_.number(kConfidenceAttribute, recommendation.getConfidence());
    bool open = false;
    if (!writeRecordBody(recommendation, open)) return false;
    if (open) {
      out_.close(2, kRecommendationElement);
    } else {
      out_.text() += " />\n";
    }
    return true;
  }

  bool writeIssues() {
    Section section(out_, kIssuesElement);
    for (std::size_t i = 0; i < issues_.size(); ++i) {
      section.beginRecord();
      writeRecordBase(kIssueElement, static_cast<unsigned>(i + 1), *issues_[i]);
      bool open = false;
      if (!writeRecordBody(*issues_[i], open)) return false;
      const span_t refs = issueRecommendations_[i];
      if (!open && refs.begin == refs.end) {
        out_.text() += " />\n";
      } else {
        if (!open) out_.text() += ">\n";
        for (std::uint32_t k = refs.begin; k < refs.end; ++k) {
          out_.reference(3, kRecommendationElement, issueRecommendationRefs_[k]);
        }
        out_.close(2, kIssueElement);
      }
      out_.flushIfFull();
    }
    section.end();
    return true;
  }

  void writeTraits() {
    Section section(out_, kTraitsElement);
    for (std::size_t i = 0; i < traits_.size(); ++i) {
      const ITrait& trait = *traits_[i];
      section.beginRecord();
      out_.open(2, kTraitElement);
      out_.number(kRefAttribute, static_cast<unsigned>(i + 1));
      // An id without a name still comes back: the reader takes a number too.
      const char* name = ITrait::getTraitStringId(trait.getTraitId());
      if (name[0] != '\0') {
        appendString(out_.text(), kIdAttribute, name);
      } else {
        out_.number(kIdAttribute, static_cast<int>(trait.getTraitId()));
      }
      out_.number(kColumnAttribute, static_cast<int>(trait.getFieldId()));
      appendString(out_.text(), kTextAttribute, trait.getText());
      out_.text() += " />\n";
      out_.flushIfFull();
    }
    section.end();
  }

  void writeRows() {
    Section section(out_, kRowsElement);
    for (const row_refs_t& row : rows_) {
      section.beginRecord();
      out_.open(2, kRowElement);
      out_.number(kIdAttribute, row.id);
      out_.text() += ">\n";
      for (std::uint32_t k = row.issues.begin; k < row.issues.end; ++k) {
        out_.reference(3, kIssueElement, rowIssueRefs_[k]);
      }
      for (std::uint32_t k = row.traits.begin; k < row.traits.end; ++k) {
        out_.reference(3, kTraitElement, rowTraitRefs_[k]);
      }
      out_.close(2, kRowElement);
      out_.flushIfFull();
    }
    section.end();
  }

  const ReportTree& tree_;
  Output& out_;
  // The records by number - 1. Holding them also keeps a record that its row
  // dropped meanwhile from handing its address to a new one.
  std::vector<sptr_t<IIssueEx>> issues_;
  std::vector<sptr_t<IRecommendation>> recommendations_;
  std::vector<sptr_t<ITrait>> traits_;
  AddressNumbers issueNumbers_;
  AddressNumbers recommendationNumbers_;
  AddressNumbers traitNumbers_;
  // For issue number i + 1 the numbers of its recommendations, and for each
  // row with findings the numbers of its issues and traits.
  std::vector<span_t> issueRecommendations_;
  std::vector<unsigned> issueRecommendationRefs_;
  std::vector<row_refs_t> rows_;
  std::vector<unsigned> rowIssueRefs_;
  std::vector<unsigned> rowTraitRefs_;
};

}  // namespace

bool ReportXmlWriter::write(foundation::IProgress* progress, const sink_t& sink) const {
  Output out(sink);
  return DocumentWriter(tree_, out).write(progress);
}

bool ReportXmlWriter::render(foundation::IProgress* progress, std::string& text) const {
  std::string document;
  if (!write(progress, [&document](std::string_view piece) { document += piece; })) return false;
  text = std::move(document);
  return true;
}

}  // namespace data_models2
