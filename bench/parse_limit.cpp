// The limit a scan is measured against: parse a result file with simdjson
// on demand and read every value once, doing nothing else.
//   parse_limit RESULT_DIR_OR_FILE
// Prints the seconds and the number of values read.

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>

#include <simdjson.h>

namespace {

using simdjson::ondemand::json_type;
using simdjson::ondemand::value;

// The file nests a few levels only (rows are a flat list that refers to
// children by id), so the descent is shallow.
std::uint64_t visit(value v) {
  switch (v.type()) {
    case json_type::object: {
      std::uint64_t n = 1;
      for (auto field : v.get_object()) {
        std::string_view key = field.unescaped_key();
        (void)key;
        n += visit(field.value());
      }
      return n;
    }
    case json_type::array: {
      std::uint64_t n = 1;
      for (auto element : v.get_array()) n += visit(element.value());
      return n;
    }
    case json_type::number: {
      double d = v.get_double();
      (void)d;
      return 1;
    }
    case json_type::string: {
      std::string_view s = v.get_string();
      (void)s;
      return 1;
    }
    case json_type::boolean: {
      bool b = v.get_bool();
      (void)b;
      return 1;
    }
    default:
      return v.is_null() ? 1 : 0;
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: parse_limit RESULT_DIR_OR_FILE\n");
    return 2;
  }
  std::filesystem::path path = argv[1];
  if (std::filesystem::is_directory(path)) path /= "result.json";
  const auto start = std::chrono::steady_clock::now();
  simdjson::padded_string text;
  if (simdjson::padded_string::load(path.string()).get(text) != simdjson::SUCCESS) {
    std::fprintf(stderr, "parse_limit: %s: cannot read\n", path.c_str());
    return 1;
  }
  simdjson::ondemand::parser parser;
  std::uint64_t values = 0;
  try {
    simdjson::ondemand::document doc = parser.iterate(text);
    values = visit(doc.get_value());
  } catch (const simdjson::simdjson_error& e) {
    std::fprintf(stderr, "parse_limit: %s: %s\n", path.c_str(), e.what());
    return 1;
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  std::printf("%.3f s, %llu values\n", seconds, static_cast<unsigned long long>(values));
  return 0;
}
