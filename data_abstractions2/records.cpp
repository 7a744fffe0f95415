// Record factories and the id strings of issues, recommendations and traits.

#include <cmath>
#include <mutex>
#include <string_view>
#include <unordered_map>

#include "data_abstractions2/i_records.h"
#include "data_abstractions2/issue_record.h"
#include "data_abstractions2/record_base.h"
#include "data_abstractions2/recommendation_record.h"
#include "data_abstractions2/trait_record.h"

namespace data_abstractions2 {

namespace {

// Texts shared by the records alive, by content. An entry whose text is gone
// is dropped by the text's last owner, or replaced by the next caller.
struct TextPool {
  std::mutex mutex;
  std::unordered_map<std::string_view, std::weak_ptr<const std::string>> texts;
};

// Never destroyed: records may outlive static objects, and they come back
// here when they go.
TextPool& textPool() {
  static TextPool* const pool = new TextPool;
  return *pool;
}

// Below this a copy costs less than the look-up, and ids and short titles
// are all that is there.
constexpr std::size_t kMinSharedText = 32;

// Recommendations made without an explicit priority get the one that every
// createRecommendation site passes, so the comparer sees no difference
// between the factories.
constexpr int kDefaultRecommendationPriority = -1;
// Every recommendation carries bit 8; the parameters factory has no flags
// argument, so it sets the bit itself.
constexpr unsigned kRecommendationFlag = 8;

constexpr std::string_view kFortranSuffix = "_fortran";

struct issue_entry_t {
  IIssueEx::IssueId id;
  const char* text;
};

constexpr issue_entry_t kIssues[] = {
#define NIMB_ISSUE(value, name, text) {IIssueEx::name, text},
#include "data_abstractions2/issue_ids.def"
#undef NIMB_ISSUE
};

struct recommendation_entry_t {
  IRecommendation::RecommendationId id;
  const char* text;
};

constexpr recommendation_entry_t kRecommendations[] = {
#define NIMB_RECOMMENDATION(value, name, stem) {IRecommendation::name, stem},
#include "data_abstractions2/recommendation_ids.def"
#undef NIMB_RECOMMENDATION
};

struct trait_entry_t {
  ITrait::Id id;
  const char* text;
};

constexpr trait_entry_t kTraits[] = {
    {ITrait::MaskedStores, "masked_stores"},
    {ITrait::Horizontal, "horizontal"},
    {ITrait::SmallVectorWidth, "small_vector_width"},
    {ITrait::LowTripCountsOuter, "low_trip_counts_outer"},
    {ITrait::LowTripCounts, "low_trip_counts"},
    {ITrait::LowGranularityFirst, "low_granularity_first"},
    {ITrait::LowGranularitySecond, "low_granularity_second"},
    {ITrait::PeelRemainderFirst, "peel_remainder_first"},
    {ITrait::PeelRemainderSecond, "peel_remainder_second"},
    {ITrait::Reciprocals, "reciprocals"},
    {ITrait::Unused11, "unused_11"},
    {ITrait::OverriddenVL, "overridden_vl"},
    {ITrait::SystemCalls, "system_calls"},
    {ITrait::IndirectCalls, "indirect_calls"},
};

// The reverse look-ups run once per finding of a scan; the maps are built on
// first use (guarded static initialisation) and never change afterwards.
template <class Entry, std::size_t N>
std::unordered_map<std::string_view, decltype(Entry::id)> makeReverseMap(const Entry (&entries)[N]) {
  std::unordered_map<std::string_view, decltype(Entry::id)> map;
  map.reserve(N);
  for (const auto& entry : entries) map.emplace(entry.text, entry.id);
  return map;
}

const recommendation_entry_t* findRecommendation(IRecommendation::RecommendationId id) {
  for (const auto& entry : kRecommendations) {
    if (entry.id == id) return &entry;
  }
  return nullptr;
}

// A missing value ranks as 0; so does NaN, which would otherwise break the
// ordering that std::stable_sort relies on.
float valueOrZero(const IRecommendationBase& record, const std::string& key) {
  float value = 0.0f;
  if (!record.getValue(key, value) || std::isnan(value)) return 0.0f;
  return value;
}

}  // namespace

std::shared_ptr<const std::string> shareText(const std::string& text) {
  if (text.size() < kMinSharedText) return std::make_shared<const std::string>(text);
  TextPool& pool = textPool();
  std::lock_guard<std::mutex> lock(pool.mutex);
  auto found = pool.texts.find(text);
  if (found != pool.texts.end()) {
    if (std::shared_ptr<const std::string> shared = found->second.lock()) return shared;
    pool.texts.erase(found);
  }
  const auto* copy = new std::string(text);
  std::shared_ptr<const std::string> shared(copy, [](const std::string* gone) {
    TextPool& pool = textPool();
    {
      std::lock_guard<std::mutex> lock(pool.mutex);
      // The entry may be a newer copy's by now; only a dead one goes.
      auto entry = pool.texts.find(*gone);
      if (entry != pool.texts.end() && entry->second.expired()) pool.texts.erase(entry);
    }
    delete gone;
  });
  pool.texts.emplace(*copy, shared);
  return shared;
}

const std::string& IRecommendationBase::impactId() {
  static const std::string id = "impact";
  return id;
}

const std::string& IRecommendationBase::rooflineImpactId() {
  static const std::string id = "roofline_impact";
  return id;
}

bool IRecommendationBase::comparer(const sptr_t<IRecommendationBase>& a, const sptr_t<IRecommendationBase>& b) {
  // Null entries sort last and are equivalent to each other.
  if (!a || !b) return a && !b;
  const float roofA = valueOrZero(*a, rooflineImpactId());
  const float roofB = valueOrZero(*b, rooflineImpactId());
  if (roofA != roofB) return roofA > roofB;
  const float impactA = valueOrZero(*a, impactId());
  const float impactB = valueOrZero(*b, impactId());
  if (impactA != impactB) return impactA > impactB;
  if (a->getPriority() != b->getPriority()) return a->getPriority() < b->getPriority();
  return a->getStringId() < b->getStringId();
}

std::string IIssueEx::getIssueStringId(IssueId id) {
  for (const auto& entry : kIssues) {
    if (entry.id == id) return entry.text;
  }
  return std::string();
}

IIssueEx::IssueId IIssueEx::getIssueIdByString(const std::string& text) {
  static const auto byText = makeReverseMap(kIssues);
  auto it = byText.find(text);
  return it == byText.end() ? IssueIdNone : it->second;
}

std::string IRecommendation::getRecommendationStringId(RecommendationId id, bool isFortran) {
  const recommendation_entry_t* entry = findRecommendation(id);
  if (!entry) return std::string();
  std::string text = entry->text;
  if (isFortran) text += kFortranSuffix;
  return text;
}

bool IRecommendation::getRecommendationIdByString(const std::string& text, RecommendationId& id, bool& isFortran) {
  static const auto byText = makeReverseMap(kRecommendations);
  std::string_view stem = text;
  bool fortran = false;
  if (stem.size() > kFortranSuffix.size() && stem.substr(stem.size() - kFortranSuffix.size()) == kFortranSuffix) {
    stem.remove_suffix(kFortranSuffix.size());
    fortran = true;
  }
  auto it = byText.find(stem);
  if (it == byText.end()) return false;
  id = it->second;
  isFortran = fortran;
  return true;
}

const char* IRecommendation::getRecommendationStem(RecommendationId id) {
  const recommendation_entry_t* entry = findRecommendation(id);
  return entry ? entry->text : "";
}

const char* ITrait::getTraitStringId(Id id) {
  for (const auto& entry : kTraits) {
    if (entry.id == id) return entry.text;
  }
  return "";
}

bool ITrait::getTraitIdByString(const std::string& text, Id& id) {
  for (const auto& entry : kTraits) {
    if (text == entry.text) {
      id = entry.id;
      return true;
    }
  }
  return false;
}

sptr_t<IIssueEx> createIssueEx(const std::string& id, const std::string& title, const std::string& text,
                               int priority, unsigned flags, const variant_bag_t& parameters) {
  return foundation::pool_allocate<IssueRecord, IIssueEx>(id, title, text, priority, flags, parameters);
}

sptr_t<IRecommendation> createRecommendation(const std::string& id, const std::string& title,
                                             const std::string& text, unsigned flags,
                                             const variant_bag_t& parameters, int confidence, int priority) {
  return foundation::pool_allocate<RecommendationRecord, IRecommendation>(id, title, text, flags, parameters,
                                                                          confidence, priority);
}

sptr_t<IRecommendation> createRecommendationWithConfidence(const std::string& id, const std::string& title,
                                                           const std::string& text, int confidence,
                                                           unsigned flags) {
  return foundation::pool_allocate<RecommendationRecord, IRecommendation>(
      id, title, text, flags, variant_bag_t(), confidence, kDefaultRecommendationPriority);
}

sptr_t<IRecommendation> createRecommendationWithParameters(const std::string& id, const std::string& title,
                                                           const std::string& text,
                                                           const variant_bag_t& parameters, int confidence) {
  return foundation::pool_allocate<RecommendationRecord, IRecommendation>(
      id, title, text, kRecommendationFlag, parameters, confidence, kDefaultRecommendationPriority);
}

sptr_t<ITrait> createTraitRecord(ITrait::Id id, const std::string& text, FieldId column) {
  return foundation::pool_allocate<TraitRecord, ITrait>(id, text, column);
}

}  // namespace data_abstractions2
