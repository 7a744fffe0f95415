#include "platform/model_support/traits_helpers.h"

#include <algorithm>
#include <map>

#include "platform/portability/strings.h"

namespace data_models2::traits_helpers {

namespace {

std::string trimmedLower(std::string_view text) {
  const auto first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  const auto last = text.find_last_not_of(" \t");
  return portability::to_lower(text.substr(first, last - first + 1));
}

std::vector<std::string> entries(std::string_view instructionSets) {
  std::vector<std::string> out;
  std::size_t pos = 0;
  while (pos <= instructionSets.size()) {
    const std::size_t end = std::min(instructionSets.find(';', pos), instructionSets.size());
    std::string entry = trimmedLower(instructionSets.substr(pos, end - pos));
    if (!entry.empty()) out.push_back(std::move(entry));
    pos = end + 1;
  }
  return out;
}

}  // namespace

const InstClassList& getInstClasses(int id) {
  static const std::map<int, InstClassList> kLists = {
      {1, {{{"Masked Stores"}}}},
      {2, {{{"Horizontal Operations"}}}},
      {10, {{{"Divisions"}}, {{"Square Roots"}}}},
      {11, {{{"Gathers"}}, {{"Scatters"}}}},
  };
  static const InstClassList kNone;
  auto found = kLists.find(id);
  return found == kLists.end() ? kNone : found->second;
}

bool checkInstClasses(std::string_view instructionSets, const InstClass& record) {
  if (record.names.empty()) return false;
  const std::vector<std::string> present = entries(instructionSets);
  return std::all_of(record.names.begin(), record.names.end(), [&](const std::string& name) {
    return std::find(present.begin(), present.end(), trimmedLower(name)) != present.end();
  });
}

}  // namespace data_models2::traits_helpers
