#pragma once
// What every issue detector writes the same way: the bits of a record's
// flag word, its priority and confidence, and the id strings by language.
//
// The host's views give the flag bits their meaning; this library only sets
// them, so the names say where each bit is set, not what a view makes of it.
//
//   createIssueEx(issueId(IIssueEx::CDI), translate("cdi_issue_title"), text,
//                 kIssuePriority, issueFlags(data, kIssueClass), variant_bag_t());
//   createRecommendationWithConfidence(recommendationId(IRecommendation::AddIvdep, data),
//                                      title, text, kConfidenceLow, kRecommendationFlag);

#include <string>

#include "data_abstractions2/i_records.h"
#include "discmodels2/recommendations_model/data/common_data.h"
#include "discmodels2/recommendations_model/messages/translation.h"

namespace data_models2::issues {

// ---- Class bits of an issue, ored with the language bit.
/// Bit 0: the issues of nearly every detector.
inline constexpr unsigned kIssueClass = 1u;
/// Bit 1: advice about the compiler's own verdict (diagnostics, potential
/// vectorizability).
inline constexpr unsigned kCompilerVerdictClass = 2u;
/// Bit 2: issues about how the loop touches memory or depends on itself;
/// always together with bit 0 (class bits 5).
inline constexpr unsigned kMemoryClass = 4u;
/// Class bits 5: memory access and dependency issues.
inline constexpr unsigned kMemoryIssueClass = kIssueClass | kMemoryClass;
/// Bit 8: the roofline guidance; always together with bit 0 (257).
inline constexpr unsigned kRooflineClass = 256u;
/// Bit 9: a compiler diagnostic the catalogue has no text for (with bit 1).
inline constexpr unsigned kUndocumentedDiagnosticClass = 512u;

// ---- Flags of recommendations.
/// Bit 3: set by the detector on recommendations made with flags.
inline constexpr unsigned kRecommendationFlag = 8u;

// ---- Flags the scan driver adds.
/// Bit 5: every issue and recommendation of a row with type bit 1024.
inline constexpr unsigned kMarkedRowFlag = 32u;

// ---- The language bits, as getLangFlag gives them.
inline constexpr unsigned kLanguageCppFlag = 64u;
inline constexpr unsigned kLanguageFortranFlag = 128u;

/// The priority every detector gives its issues.
inline constexpr int kIssuePriority = 1;
/// The trailing priority of createRecommendation: none of its own.
inline constexpr int kNoPriority = -1;

/// How sure a detector is of a recommendation. The summary of the hottest
/// loops takes recommendations of kConfidenceHigh.
enum Confidence : int {
  kConfidenceLow = 1,
  kConfidenceMedium = 2,
  kConfidenceHigh = 3,
};

/// The flag word of an issue: the row's language bit and `classBits`.
inline unsigned issueFlags(const CommonData& data, unsigned classBits) {
  return getLangFlag(data.isFortran) | classBits;
}

/// The id string of an issue.
inline std::string issueId(data_abstractions2::IIssueEx::IssueId id) {
  return data_abstractions2::IIssueEx::getIssueStringId(id);
}

/// The id string of a recommendation in the row's language.
inline std::string recommendationId(data_abstractions2::IRecommendation::RecommendationId id,
                                    const CommonData& data) {
  return data_abstractions2::IRecommendation::getRecommendationStringId(id, data.isFortran);
}

}  // namespace data_models2::issues
