#include "discmodels2/recommendations_model/data/field_retriever.h"

#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>

namespace data_models2 {

using data_abstractions2::FieldId;
using data_abstractions2::IDataset;
using data_abstractions2::row_t;
using data_abstractions2::sptr_t;
using data_abstractions2::variant_t;

namespace {

// False when the stored kind doesn't fit T; `out` is then untouched.
template <class T>
bool convert(const variant_t& value, T& out) {
  const bool integral = value.is_integer() || value.is_bool();
  if constexpr (std::is_same_v<T, std::string>) {
    if (!value.is_text()) return false;
    out = value.text();
  } else if constexpr (std::is_same_v<T, bool>) {
    if (!integral) return false;
    out = value.raw_bits() != 0;
  } else if constexpr (std::is_same_v<T, double>) {
    if (value.is_floating()) {
      out = value.as_double();
    } else if (integral) {
      const std::uint64_t bits = value.raw_bits();
      out = value.is_signed_integer() ? static_cast<double>(static_cast<std::int64_t>(bits))
                                      : static_cast<double>(bits);
    } else {
      return false;
    }
  } else if constexpr (std::is_same_v<T, int>) {
    if (!integral) return false;
    out = static_cast<int>(static_cast<std::uint32_t>(value.raw_bits()));
  } else {
    static_assert(std::is_integral_v<T> && sizeof(T) == 8, "unsupported field type");
    if (!integral) return false;
    out = static_cast<T>(value.raw_bits());
  }
  return true;
}

bool readValue(const sptr_t<IDataset>& dataset, const row_t& row, FieldId id, variant_t& value) {
  if (!dataset) return false;
  return dataset->getValue(row, dataset->getColumn(id), 0, value);
}

}  // namespace

FieldRetriever::FieldRetriever(row_t row, sptr_t<IDataset> dataset, FieldPresence* fieldPresence)
    : row(std::move(row)), dataset(std::move(dataset)), fieldPresence(fieldPresence) {}

template <class T>
void FieldRetriever::operator()(FieldId id, T& out) const {
  variant_t value;
  const bool present = readValue(dataset, row, id, value);
  if (present && !convert(value, out)) out = T();
  if (fieldPresence) (*fieldPresence)[id] = present;
}

template <class T>
T checkData(FieldId id, const T& fallback, const row_t& row, const sptr_t<IDataset>& dataset) {
  variant_t value;
  T out = fallback;
  if (!readValue(dataset, row, id, value) || !convert(value, out)) return fallback;
  return out;
}

#define NIMB_FIELD_TYPE(T)                                                                          \
  template void FieldRetriever::operator()<T>(FieldId, T&) const;                                  \
  template T checkData<T>(FieldId, const T&, const row_t&, const sptr_t<IDataset>&);

NIMB_FIELD_TYPE(std::uint64_t)
NIMB_FIELD_TYPE(std::int64_t)
NIMB_FIELD_TYPE(int)
NIMB_FIELD_TYPE(double)
NIMB_FIELD_TYPE(bool)
NIMB_FIELD_TYPE(std::string)

#undef NIMB_FIELD_TYPE

}  // namespace data_models2
