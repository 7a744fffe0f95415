#pragma once
// Instruction classes of a loop (the InstructionSets field) as the trait
// detectors test them.

#include <string>
#include <string_view>
#include <vector>

namespace data_models2::traits_helpers {

/// One condition on a loop's instruction classes: every name must stand in
/// the loop's list.
struct InstClass {
  std::vector<std::string> names;
};

using InstClassList = std::vector<InstClass>;

/// The conditions of a trait, tried in order; the first that holds makes
/// the trait. By ITrait::Id:
///
///   1  masked stores             {"Masked Stores"}
///   2  horizontal operations     {"Horizontal Operations"}
///  10  reciprocal candidates     {"Divisions"}, {"Square Roots"}
///  11  vector function argument
///      accessed through gathers  {"Gathers"}, {"Scatters"}
///
/// (11 is no trait of its own: the vector function attributes issue asks it
/// of the functions a loop calls.) Any other id gives an empty list.
const InstClassList& getInstClasses(int id);

/// True when every name of `record` is one of the entries of
/// `instructionSets`, a list separated by ';' ("AVX; AVX2; Gathers").
/// Entries are compared whole, without surrounding blanks and without
/// regard to case. A record without names never holds.
bool checkInstClasses(std::string_view instructionSets, const InstClass& record);

}  // namespace data_models2::traits_helpers
