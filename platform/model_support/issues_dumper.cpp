#include "platform/model_support/issues_dumper.h"

#include <cctype>
#include <string_view>
#include <utility>

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include "platform/model_support/report_file.h"
#include "platform/model_support/report_tree.h"
#include "platform/model_support/report_xml_reader.h"
#include "platform/model_support/report_xml_writer.h"

namespace data_models2 {

namespace {

// The root's start tag comes within the first few hundred bytes.
constexpr std::size_t kEndBytes = 4096;
constexpr std::string_view kEndTag = "</issues_report>";

log4cplus::Logger logger() { return log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("model_support.issues_dumper")); }

}  // namespace

bool DefaultDumpPolicy::dumpReport(const foundation::sptr_t<data_abstractions2::IDataset>& dataset,
                                   const std::string& fileName, foundation::IProgress* progress) {
  if (!dataset || fileName.empty()) return false;
  const ReportTree tree = ReportTree::collect(dataset);
  const ReportXmlWriter writer(tree);
  if (!ReportFile::replace(fileName, [&](const ReportFile::append_t& append) { return writer.write(progress, append); })) {
    LOG4CPLUS_DEBUG(logger(), "could not write " << fileName);
    return false;
  }
  return true;
}

bool DefaultDumpPolicy::assignReport(const foundation::sptr_t<data_abstractions2::IDataset>& dataset,
                                     const std::string& fileName, foundation::IProgress* progress) {
  if (!dataset || fileName.empty()) return false;
  const ReportTree tree = ReportTree::collect(dataset);
  ReportXmlReader reader(tree);
  ReportFindings findings;
  // The file is parsed as it is read; a refused one is left at its first
  // fault.
  const bool read = ReportFile::readPieces(fileName, [&reader](std::string_view piece) { return reader.feed(piece); });
  if (!read && reader.error().empty()) return false;
  if (!read || !reader.finish(findings)) {
    // A refused report is an ordinary outcome (the task scans instead), so
    // it is worth a trace, not a warning.
    LOG4CPLUS_DEBUG(logger(), "report " << fileName << " not taken: " << reader.error());
    return false;
  }
  // The last moment at which giving up still leaves every row as it was.
  if (progress && progress->isCanceled()) return false;

  // Rows the report does not name lose what they held: the report stands for
  // the findings of the whole result, not for additions to it.
  auto next = findings.rows.begin();
  for (std::size_t position = 0; position < tree.size(); ++position) {
    const data_abstractions2::row_t& row = tree.rows()[position].row;
    data_abstractions2::row_lock_t lock = row->lockRow();
    row->clearRowIssues();
    row->clearRowTraits();
    if (next != findings.rows.end() && next->position == position) {
      for (std::size_t i = next->issuesBegin; i < next->issuesEnd; ++i) row->addRowIssue(findings.issues[i]);
      for (std::size_t i = next->traitsBegin; i < next->traitsEnd; ++i) row->addRowTrait(findings.traits[i]);
      ++next;
    }
    if (progress) progress->progressed(1);
  }
  return true;
}

bool DefaultDumpPolicy::reportFits(const foundation::sptr_t<data_abstractions2::IDataset>& dataset,
                                   const std::string& fileName) {
  if (!dataset || fileName.empty()) return false;
  std::string head;
  std::string tail;
  if (!ReportFile::readEnds(fileName, kEndBytes, head, tail)) return false;
  while (!tail.empty() && std::isspace(static_cast<unsigned char>(tail.back()))) tail.pop_back();
  if (!tail.ends_with(kEndTag)) return false;
  const ReportTree tree = ReportTree::collect(dataset);
  return ReportXmlReader(tree).acceptsHead(head);
}

template <class Policy>
IssuesDumper<Policy>::IssuesDumper() = default;

template <class Policy>
IssuesDumper<Policy>::IssuesDumper(foundation::sptr_t<data_abstractions2::IDataset> dataset,
                                   foundation::IProgress* progress)
    : dataset_(std::move(dataset)), progress_(progress) {}

template <class Policy>
void IssuesDumper<Policy>::setFilename(const std::string& fileName) {
  fileName_ = fileName;
}

template <class Policy>
bool IssuesDumper<Policy>::dumpIssuesReport() const {
  return Policy::dumpReport(dataset_, fileName_, progress_);
}

template <class Policy>
bool IssuesDumper<Policy>::assignIssuesReport() const {
  return Policy::assignReport(dataset_, fileName_, progress_);
}

template <class Policy>
bool IssuesDumper<Policy>::reportFitsRows() const {
  return Policy::reportFits(dataset_, fileName_);
}

template class IssuesDumper<DefaultDumpPolicy>;

}  // namespace data_models2
