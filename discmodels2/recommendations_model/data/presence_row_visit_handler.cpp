#include "discmodels2/recommendations_model/data/presence_row_visit_handler.h"

#include <cstdint>

#include "discmodels2/recommendations_model/data/field_retriever.h"
#include "discmodels2/recommendations_model/data/math_function_names.h"
#include "platform/model_support/issue_helpers.h"
#include "platform/portability/assert.h"
#include "platform/portability/strings.h"

namespace data_models2 {

using namespace data_abstractions2;

namespace {

constexpr std::string_view kThreadCountNames[] = {
    "_get_num_threads", "_set_num_threads", "_get_max_threads",
    "_get_thread_num",  "_get_num_procs",   "_get_thread_limit",
};

constexpr std::string_view kLockNames[] = {"_set_lock", "_unset_lock"};

bool contains(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }

bool endsWith(std::string_view text, std::string_view tail) {
  return text.size() >= tail.size() && text.substr(text.size() - tail.size()) == tail;
}

// Field24 of a function row.
constexpr std::int64_t kPlainFunction = 0;
constexpr std::int64_t kVectorFunction = 1;

const variant_bag_t& visitedMark() {
  static const variant_bag_t mark = [] {
    variant_bag_t bag;
    bag.put("", variant_t(1));
    return bag;
  }();
  return mark;
}

}  // namespace

PresenceRowVisitHandler::PresenceRowVisitHandler(sptr_t<IDataset> dataset, const RowSet* rowsWithCallsBelow)
    : dataset(std::move(dataset)), rowsWithCallsBelow(rowsWithCallsBelow) {}

bool PresenceRowVisitHandler::classifies(const row_t& row, const sptr_t<IDataset>& dataset) {
  if (!row || !dataset) return false;
  const std::int64_t kind = checkData<std::int64_t>(Field24, -1, row, dataset);
  if (kind == kPlainFunction || kind == kVectorFunction) return true;
  if (contains(checkData<std::string>(FunctionName, std::string(), row, dataset), "::")) return true;
  return issue_helpers::isVectorFunctionByMangledName(
      checkData<std::string>(MangledName, std::string(), row, dataset));
}

std::span<const std::string_view> PresenceRowVisitHandler::threadCountNames() { return kThreadCountNames; }

std::span<const std::string_view> PresenceRowVisitHandler::lockNames() { return kLockNames; }

bool PresenceRowVisitHandler::findName(std::span<const std::string_view> names, std::string_view name) {
  for (std::string_view entry : names) {
    if (contains(name, entry)) return true;
  }
  return false;
}

bool PresenceRowVisitHandler::isCompilerMemoryHelper(std::string_view name) {
  const std::size_t vorex = name.find("vorex");
  if (vorex == std::string_view::npos) return false;
  if (!endsWith(name, "memset") && !endsWith(name, "memcpy")) return false;
  return name.size() - 6 >= vorex + 5 + 1;
}

variant_bag_t PresenceRowVisitHandler::handlePreVisit(row_t row, const variant_bag_t& fromParent, bool& descend) {
  if (!row || !dataset) return visitedMark();
  // Nothing beneath this row would be classified: the children can be
  // skipped whatever the row itself turns out to be.
  if (rowsWithCallsBelow && rowsWithCallsBelow->count(row.get()) == 0) descend = false;

  std::string name = checkData<std::string>(FunctionName, std::string(), row, dataset);
  const std::string mangled = checkData<std::string>(MangledName, std::string(), row, dataset);
  const std::string module = checkData<std::string>(ModuleName, std::string(), row, dataset);
  const std::int64_t isSystem = checkData<std::int64_t>(IsSystemFunction, -1, row, dataset);
  const std::int64_t kind = checkData<std::int64_t>(Field24, -1, row, dataset);

  if (!found.hasCppNames && contains(name, "::")) found.hasCppNames = true;
  name = portability::to_lower(name);

  // A compiled vector variant is vector math when it is a math function's;
  // any other vector variant is left to the compiler's own mark below it.
  if (issue_helpers::isVectorFunctionByMangledName(mangled)) {
    if (isMathFunctionName(name)) {
      found.hasVectorMath = true;
      descend = false;
    }
    return visitedMark();
  }

  if (kind == kVectorFunction) {
    found.hasVectorFunction = true;
    return visitedMark();
  }
  // Rows that are no plain function (loops, rows without the field) pass
  // the walk on unclassified.
  if (kind != kPlainFunction) return visitedMark();

  if (contains(name, "libm_") || contains(module, "libm.") || contains(module, "libtqd.")) {
    found.hasScalarMath = true;
    descend = false;
    return visitedMark();
  }
  if (contains(name, "tqml_") || contains(module, "tqml_dispmd") || contains(module, "libtqml.")) {
    found.hasVectorMath = true;
    descend = false;
    return visitedMark();
  }
  if (contains(module, "libmvec.")) {
    found.hasLibmvec = true;
    descend = false;
    return visitedMark();
  }
  if (contains(name, "omp_") || contains(name, "_qpr") || contains(module, "libqnmp")) {
    found.threadingFlags |= ThreadingRuntime;
    if (findName(kThreadCountNames, name)) {
      found.threadingFlags |= ThreadCountCall;
    } else if (findName(kLockNames, name)) {
      found.threadingFlags |= LockCall;
    }
    descend = false;
    return visitedMark();
  }
  // A math function outside the math library's module (a static copy, an
  // inlined wrapper) is still math; what it calls may be classified too.
  if (isMathFunctionName(name)) {
    found.hasScalarMath = true;
    return visitedMark();
  }
  if (isSystem != 0) {
    found.hasSystemFunction = true;
    if (fromParent.empty()) found.hasDirectSystemFunction = true;
    descend = false;
    return visitedMark();
  }
  // The compiler's own memory helpers don't count as user code.
  if (isCompilerMemoryHelper(name)) {
    descend = false;
    return visitedMark();
  }

  found.hasUserFunction = true;
  found.userNames.insert(name);
  return visitedMark();
}

variant_bag_t PresenceRowVisitHandler::handlePostVisit(row_t, const std::vector<variant_bag_t>&) {
  NIMB_ASSERT_TEXT(false, "PresenceRowVisitHandler::handlePostVisit is not implemented");
  return {};
}

}  // namespace data_models2
