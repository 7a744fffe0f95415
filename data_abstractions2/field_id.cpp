#include "data_abstractions2/field_id.h"

#include <cstring>

namespace data_abstractions2 {

namespace {

struct field_entry_t {
  int id;
  const char* name;
};

// Names are the enumerator names so that a field written by name in a test
// fixture or a dump reads the same as in the code.
constexpr field_entry_t kFields[] = {
    {FieldNone, "FieldNone"},
    {SourceLine, "SourceLine"},
    {SourceFile, "SourceFile"},
    {SelfTime, "SelfTime"},
    {FunctionName, "FunctionName"},
    {MangledName, "MangledName"},
    {ModuleName, "ModuleName"},
    {Field21, "Field21"},
    {Field22, "Field22"},
    {IsSystemFunction, "IsSystemFunction"},
    {Field24, "Field24"},
    {FuncInstIdx, "FuncInstIdx"},
    {TotalTime, "TotalTime"},
    {VectorLengths, "VectorLengths"},
    {Field36, "Field36"},
    {VectorEfficiency, "VectorEfficiency"},
    {IsVectorized, "IsVectorized"},
    {Isa, "Isa"},
    {InstructionSets, "InstructionSets"},
    {VectorWidth, "VectorWidth"},
    {DataTypeName, "DataTypeName"},
    {VectorizationDiagnosticId, "VectorizationDiagnosticId"},
    {Field53, "Field53"},
    {LoopFlags55, "LoopFlags55"},
    {MainVectType, "MainVectType"},
    {LoopFlags59, "LoopFlags59"},
    {UnrollFactor, "UnrollFactor"},
    {VectorizationMessage, "VectorizationMessage"},
    {Field64, "Field64"},
    {Field65, "Field65"},
    {InnerLoopCount, "InnerLoopCount"},
    {CompilerFlags, "CompilerFlags"},
    {CompilerName, "CompilerName"},
    {CompilerVersion, "CompilerVersion"},
    {Field83, "Field83"},
    {Field92, "Field92"},
    {TripCountMin, "TripCountMin"},
    {TripCountAverage, "TripCountAverage"},
    {TripCountMax, "TripCountMax"},
    {IterationCount, "IterationCount"},
    {TripCountsValid, "TripCountsValid"},
    {CallCount, "CallCount"},
    {TraitColumn140, "TraitColumn140"},
    {TraitColumn142, "TraitColumn142"},
    {Field144, "Field144"},
    {Field145, "Field145"},
    {Field146, "Field146"},
    {Field147, "Field147"},
    {DependencyField, "DependencyField"},
    {StrideKind0, "StrideKind0"},
    {StrideKind1, "StrideKind1"},
    {StrideKind2, "StrideKind2"},
    {StrideRowMark, "StrideRowMark"},
    {Field231, "Field231"},
    {Field232, "Field232"},
    {Field392, "Field392"},
};

}  // namespace

const char* fieldName(int id) {
  for (const auto& entry : kFields) {
    if (entry.id == id) return entry.name;
  }
  return nullptr;
}

bool fieldIdFromName(const char* name, int& id) {
  if (!name) return false;
  for (const auto& entry : kFields) {
    if (std::strcmp(entry.name, name) == 0) {
      id = entry.id;
      return true;
    }
  }
  return false;
}

}  // namespace data_abstractions2
