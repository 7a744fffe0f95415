#pragma once
// Synthetic result directories (docs/result-format.md) of a chosen size and
// shape, for load tests, benchmarks and end-to-end runs of the library.
//
// The output depends only on the options: the same seed gives the same file
// on every machine, because random numbers are drawn from std::mt19937_64,
// whose sequence the standard fixes, and mapped without library
// distributions, whose results it does not.

#include <cstdint>
#include <string>

namespace nimbex_gen {

enum class Shape {
  Wide,   ///< functions, each with a flat list of loops
  Deep,   ///< one chain: a function and loops nested one in the next
  Mixed,  ///< functions with loop nests of varied depth and width
};

struct Options {
  std::uint64_t rows = 1000;  ///< rows of the bottom-up tree
  Shape shape = Shape::Mixed;
  bool callTree = false;     ///< also write a call tree of the same shape
  bool machineCode = false;  ///< give loops machine code
  std::uint64_t seed = 1;
  std::string outputDir;
};

/// "wide", "deep" or "mixed"; false for anything else.
bool parseShape(const std::string& text, Shape& out);

/// Writes `options.outputDir`/result.json, creating the directory if needed.
/// The file is replaced atomically. False, with `error` set, on failure.
bool writeSyntheticResult(const Options& options, std::string& error);

}  // namespace nimbex_gen
