#include "platform/model_support/issues_dumper.h"

#include <utility>

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include "platform/model_support/report_file.h"
#include "platform/model_support/report_tree.h"
#include "platform/model_support/report_xml_reader.h"
#include "platform/model_support/report_xml_writer.h"

namespace data_models2 {

namespace {

log4cplus::Logger logger() { return log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("model_support.issues_dumper")); }

}  // namespace

bool DefaultDumpPolicy::dumpReport(const foundation::sptr_t<data_abstractions2::IDataset>& dataset,
                                   const std::string& fileName, foundation::IProgress* progress) {
  if (!dataset || fileName.empty()) return false;
  const ReportTree tree = ReportTree::collect(dataset);
  std::string text;
  if (!ReportXmlWriter(tree).render(progress, text)) return false;
  if (!ReportFile::replace(fileName, text)) {
    LOG4CPLUS_DEBUG(logger(), "could not write " << fileName);
    return false;
  }
  return true;
}

bool DefaultDumpPolicy::assignReport(const foundation::sptr_t<data_abstractions2::IDataset>& dataset,
                                     const std::string& fileName, foundation::IProgress* progress) {
  if (!dataset || fileName.empty()) return false;
  std::string text;
  if (!ReportFile::read(fileName, text)) return false;

  const ReportTree tree = ReportTree::collect(dataset);
  ReportXmlReader reader(tree);
  ReportXmlReader::findings_t findings;
  if (!reader.read(text, findings)) {
    // A refused report is an ordinary outcome (the task scans instead), so
    // it is worth a trace, not a warning.
    LOG4CPLUS_DEBUG(logger(), "report " << fileName << " not taken: " << reader.error());
    return false;
  }
  // The last moment at which giving up still leaves every row as it was.
  if (progress && progress->isCanceled()) return false;

  // Rows the report does not name lose what they held: the report stands for
  // the findings of the whole result, not for additions to it.
  for (const auto& entry : tree.rows()) {
    auto found = findings.find(entry.id);
    data_abstractions2::row_lock_t lock = entry.row->lockRow();
    entry.row->clearRowIssues();
    entry.row->clearRowTraits();
    if (found != findings.end()) {
      for (const auto& issue : found->second.issues) entry.row->addRowIssue(issue);
      for (const auto& trait : found->second.traits) entry.row->addRowTrait(trait);
    }
    if (progress) progress->progressed(1);
  }
  return true;
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

template class IssuesDumper<DefaultDumpPolicy>;

}  // namespace data_models2
