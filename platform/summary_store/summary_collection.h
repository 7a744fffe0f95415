#pragma once
// `SummaryCollection`: the summaries kept in a result directory for the
// host's summary page.
//
// The recommendations summary lives in "summary.json" in the result
// directory (docs/summary-file.md):
//
//     {
//       "format": "nimbex-summary",
//       "version": 1,
//       "recommendations": {
//         "loops": [
//           {
//             "file": "/home/ana/heat/src/relax.cpp",
//             "line": 43,
//             "column": 0,
//             "function": "relax(Grid&, Grid const&)",
//             "kind": 1,
//             "selfTime": 3.07,
//             "totalTime": 0.0,
//             "note": "",
//             "funcInstIdx": 3,
//             "recommendations": [
//               {"id": "type_conversions_rec_smallest", "title": "Use the smallest data type", "confidence": 4, "priority": 2}
//             ]
//           }
//         ]
//       }
//     }

#include <string>

#include <boost/shared_ptr.hpp>

#include "platform/summary_store/survey_ex_summary_data.h"

namespace summary_store {

/// Writes and reads the summary file of a result directory. The file is
/// replaced in one step (a temporary file renamed over it), so a reader sees
/// the old summary or the new one, never part of one; writers in one or
/// several processes never share a temporary file, and the last rename wins.
class SummaryCollection {
 public:
  static constexpr const char* file_name = "summary.json";
  static constexpr const char* format_name = "nimbex-summary";
  static constexpr int format_version = 1;

  /// Stores `summary` as the recommendations summary of `directory`. False,
  /// and the file is left as it was, for a null summary, a directory that
  /// does not exist or a failed write.
  static bool captureRecommendations(const std::string& directory, boost::shared_ptr<SurveyExSummaryData> summary);

  /// The recommendations summary stored in `directory`; null when there is
  /// none or the file is not a summary of this format and version.
  static boost::shared_ptr<SurveyExSummaryData> loadRecommendations(const std::string& directory);

  /// The file's text for `summary`, as captureRecommendations writes it.
  static std::string toText(const SurveyExSummaryData& summary);
  /// The summary of a file's text; null, with `error` set, when it does not
  /// read as one.
  static boost::shared_ptr<SurveyExSummaryData> fromText(const std::string& text, std::string& error);

  static std::string pathIn(const std::string& directory);
};

}  // namespace summary_store
