#pragma once
// A provider that hands detectors prepared records (the trait and roofline
// tests share it), and a way to read back what a trait detector made.

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "discmodels2/recommendations_model/core/detector.h"
#include "tests/discmodels2/recommendations_model/test_fakes.h"

namespace trait_tests {

using namespace test_fakes;
using data_models2::CommonData;
using data_models2::IDataProvider;

/// Records per row; rows without one get the default record, as an unfilled
/// row does. A row is as hot as its `share` of the program's time, and
/// `topTenth` answers the rank question for the range 0..10 only.
class RecordProvider : public test_fakes::StubProvider {
 public:
  const CommonData& getData(const row_t& row) const override { return records[row.get()]; }
  bool isLoopMatchThreshold(const row_t& row, double percent) const override {
    auto it = share.find(row.get());
    return it != share.end() && it->second > percent;
  }
  bool isLoopInsideRange(const row_t& row, double from, double to) const override {
    return from == 0.0 && to == 10.0 && topTenth.count(row.get()) != 0;
  }

  mutable std::map<const void*, CommonData> records;
  std::map<const void*, double> share;
  std::map<const void*, bool> topTenth;
};

/// A filled record of a loop that detectors look at: a loop, innermost and
/// not marked, scalar unless the test says otherwise.
inline CommonData loopRecord() {
  CommonData data;
  data.isLoop = true;
  data.isInnermostLoop = true;
  data.typeFlag1024 = false;
  return data;
}

/// What a trait says, in a form that compares and prints well.
struct Made {
  int id, column;
  std::string text;
  bool operator==(const Made&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Made& m) {
  return out << "{" << m.id << ", " << m.column << ", \"" << m.text << "\"}";
}

/// Runs `detector` on `row`; the returned bool must agree with whether it
/// made anything.
inline std::vector<Made> run(const data_models2::issues::TraitDetector& detector, const row_t& row,
                             bool* agreed = nullptr) {
  auto out = std::make_shared<std::vector<sptr_t<ITrait>>>();
  const bool any = detector.detect(row, out);
  std::vector<Made> made;
  for (const auto& trait : *out) made.push_back({trait->getTraitId(), trait->getFieldId(), trait->getText()});
  if (agreed) *agreed = any == !made.empty();
  return made;
}

}  // namespace trait_tests
