#pragma once
// Helpers that several detectors share: parameter bags they all attach, and
// tests they all make.

#include <memory>
#include <set>
#include <string>

#include "data_abstractions2/i_records.h"
#include "data_abstractions2/i_result_controller.h"
#include "data_abstractions2/i_surveying_view_model.h"
#include "discmodels2/recommendations_model/data/i_data_provider.h"

namespace data_models2::issues {

/// The bag that lists the user functions a loop calls: a list
/// "user_functions" with one item per name, in the set's order. An empty set
/// gives the list without items.
data_abstractions2::variant_bag_t createUserFunctionsBag(const std::set<std::string>& functions);

/// The bag that tells the host a recommendation rests on an analysis that
/// wasn't run: one sub-bag by the missing kind, holding `flag` as 0 or 1.
/// ResultTripCounts gives "no_tripcounts_disclaimer", ResultAccessPatterns
/// "no_map_disclaimer", ResultDependencies "no_dependency_disclaimer". Other
/// kinds have no disclaimer and give an empty bag.
data_abstractions2::variant_bag_t createNoAnalysisDisclaimerBag(
    data_abstractions2::IResultController::ResultType type, bool flag);

/// True when `issue` holds a recommendation of `id` in the given language,
/// compared by id string. False for a null issue.
bool isRecommendationPresent(data_abstractions2::sptr_t<data_abstractions2::IIssueEx> issue,
                             data_abstractions2::IRecommendation::RecommendationId id, bool isFortran);

/// True when a scalar innermost loop looks worth vectorizing: it is no
/// peeled or remainder part and has no nested loop, none of the fields 144
/// to 147 (the compiler's reasons against it) is set, and its summary
/// instruction mix does real work: some compute instructions, compute at
/// more than a third of the memory instructions (when there are any), and
/// memory and compute together more than half of the rest (when there is
/// a rest). The mix is read from columns 9 (all), 5 (memory), 1 and 45
/// (compute, and compute with a memory operand). A summary mix that lacks
/// one of these columns is malformed, and the map's std::out_of_range is
/// let through. False when any input is missing.
bool isPotentialVectorized(data_abstractions2::row_t row, std::shared_ptr<IDataProvider> provider,
                           data_abstractions2::sptr_t<data_abstractions2::ISurveyingViewModel> model);

}  // namespace data_models2::issues
