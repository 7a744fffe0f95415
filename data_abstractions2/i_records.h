#pragma once
// Findings: issues, their recommendations, and traits.
//
// Records are made by the factories below, held through sptr_t and owned by
// the rows they are stored on. A record lifted to a parent row is the same
// object, not a copy, so a record must not be mutated once the scan that made
// it has stored it.

#include <map>
#include <string>

#include "data_abstractions2/common.h"
#include "data_abstractions2/field_id.h"

namespace data_abstractions2 {

class IRecommendation;

class IRecommendationBase : public ref_countable_t {
 public:
  virtual const std::string& getStringId() const = 0;
  virtual const std::string& getTitle() const = 0;
  virtual const std::string& getText() const = 0;
  virtual unsigned getFlags() const = 0;
  /// True when the flag word and `bits` have a bit in common.
  virtual bool hasFlags(unsigned bits) const = 0;
  virtual void addFlags(unsigned bits) = 0;
  virtual void setValue(const std::string& key, float value) = 0;
  virtual bool getValue(const std::string& key, float& value) const = 0;
  virtual std::map<std::string, float> getValues() const = 0;
  virtual int getPriority() const = 0;
  virtual int getConfidence() const = 0;
  virtual const variant_bag_t& getParameters() const = 0;

  /// Key of the impact that the peel and remainder detector writes.
  static const std::string& impactId();
  /// Key of the impact that the roofline guidance writes.
  static const std::string& rooflineImpactId();

  /// Strict weak order of the issues of a row: higher roofline impact first,
  /// then higher impact, then lower priority value, then id string.
  static bool comparer(const sptr_t<IRecommendationBase>& a, const sptr_t<IRecommendationBase>& b);
};

class IRecommendation : public IRecommendationBase {
 public:
  enum RecommendationId : int {
#define NIMB_RECOMMENDATION(value, name, stem) name = value,
#include "data_abstractions2/recommendation_ids.def"
#undef NIMB_RECOMMENDATION
  };

  /// Stable id string of a recommendation; Fortran forms end in "_fortran".
  static std::string getRecommendationStringId(RecommendationId id, bool isFortran);
  /// Inverse of getRecommendationStringId; false when unknown.
  static bool getRecommendationIdByString(const std::string& text, RecommendationId& id, bool& isFortran);
  /// The catalogue key stem of a recommendation ("type_conversions_rec_smallest");
  /// empty for an unknown id, as is the id string.
  static const char* getRecommendationStem(RecommendationId id);
};

class IIssueEx : public IRecommendationBase {
 public:
  enum IssueId : unsigned {
    IssueIdNone = 0,
#define NIMB_ISSUE(value, name, text) name = value,
#include "data_abstractions2/issue_ids.def"
#undef NIMB_ISSUE
  };

  virtual generic_iterator_t<sptr_t<IRecommendation>> getRecommendations() const = 0;
  virtual void addRecommendation(const sptr_t<IRecommendation>& recommendation) = 0;

  /// Stable id string from issue_ids.def; empty for an unknown id.
  static std::string getIssueStringId(IssueId id);
  /// IssueIdNone for a string that names no issue.
  static IssueId getIssueIdByString(const std::string& text);
};

class ITrait : public ref_countable_t {
 public:
  enum Id : int {
    IdNone = 0,
    MaskedStores = 1,
    Horizontal = 2,
    SmallVectorWidth = 3,
    LowTripCountsOuter = 4,
    LowTripCounts = 5,
    LowGranularityFirst = 6,
    LowGranularitySecond = 7,
    PeelRemainderFirst = 8,
    PeelRemainderSecond = 9,
    Reciprocals = 10,
    Unused11 = 11,
    OverriddenVL = 12,
    SystemCalls = 13,
    IndirectCalls = 14,
  };

  virtual Id getTraitId() const = 0;
  virtual const std::string& getText() const = 0;
  /// Column of the table that the trait belongs to; FieldNone for none.
  virtual FieldId getFieldId() const = 0;

  /// Stable snake_case name ("masked_stores"); empty for an unknown id.
  static const char* getTraitStringId(Id id);
  static bool getTraitIdByString(const std::string& text, Id& id);
};

sptr_t<IIssueEx> createIssueEx(const std::string& id, const std::string& title, const std::string& text,
                               int priority, unsigned flags, const variant_bag_t& parameters);
sptr_t<IRecommendation> createRecommendation(const std::string& id, const std::string& title,
                                             const std::string& text, unsigned flags,
                                             const variant_bag_t& parameters, int confidence, int priority);
sptr_t<IRecommendation> createRecommendationWithConfidence(const std::string& id, const std::string& title,
                                                           const std::string& text, int confidence,
                                                           unsigned flags);
sptr_t<IRecommendation> createRecommendationWithParameters(const std::string& id, const std::string& title,
                                                           const std::string& text,
                                                           const variant_bag_t& parameters, int confidence);
sptr_t<ITrait> createTraitRecord(ITrait::Id id, const std::string& text, FieldId column);

}  // namespace data_abstractions2
