#pragma once
// `locator_t`: a place in the profiled program's sources.

#include <string>
#include <utility>

namespace summary_store {

struct locator_t {
  locator_t() = default;
  locator_t(std::string path, int line, int column) : path(std::move(path)), line(line), column(column) {}

  std::string path;  ///< source file; empty when unknown
  int line = 0;      ///< 1-based; 0 when unknown
  int column = 0;    ///< 1-based; 0 when unknown

  friend bool operator==(const locator_t&, const locator_t&) = default;
};

}  // namespace summary_store
