#pragma once
// Placeholder of the assembler analysis service's types, so that the data
// access layer can name them before the service exists. Each class keeps
// only what callers need to compile; the service replaces this header with
// the real containers.

#include <cstddef>

#include <boost/shared_ptr.hpp>

namespace assembler_analysis {

/// The lines of machine code of one row.
class AssemblerLines {
 public:
  std::size_t size() const { return 0; }
  void clear() {}
  void reserve(unsigned) {}
};

/// Register statistics gathered while lines are generated.
class RegisterPressure {};

/// Turns a row's code into lines.
class AssemblerGenerator {};

/// No generator until the service exists: callers see an empty pointer and
/// treat every row as having no code.
inline boost::shared_ptr<AssemblerGenerator> createAssemblerGenerator() { return {}; }

}  // namespace assembler_analysis
