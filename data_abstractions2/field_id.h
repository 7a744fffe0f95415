#pragma once
// Identifiers of row fields. Only the numbers are part of the interface with
// stored results; the names are ours.

namespace data_abstractions2 {

enum FieldId : int {
  FieldNone = 0,
  SourceLine = 3,
  SourceFile = 5,
  SelfTime = 10,
  FunctionName = 13,
  MangledName = 14,
  ModuleName = 15,
  Field21 = 21,
  Field22 = 22,
  IsSystemFunction = 23,
  Field24 = 24,
  FuncInstIdx = 25,
  TotalTime = 30,
  VectorLengths = 35,
  Field36 = 36,
  VectorEfficiency = 38,
  IsVectorized = 41,
  Isa = 43,
  InstructionSets = 44,
  VectorWidth = 45,
  DataTypeName = 46,
  VectorizationDiagnosticId = 50,
  Field53 = 53,
  LoopFlags55 = 55,
  MainVectType = 56,
  LoopFlags59 = 59,
  UnrollFactor = 61,
  VectorizationMessage = 63,
  Field64 = 64,
  Field65 = 65,
  InnerLoopCount = 68,
  CompilerFlags = 74,
  CompilerName = 75,
  CompilerVersion = 76,
  Field83 = 83,
  Field92 = 92,
  TripCountMin = 134,
  TripCountAverage = 135,
  TripCountMax = 136,
  IterationCount = 137,
  TripCountsValid = 138,
  CallCount = 139,
  TraitColumn140 = 140,
  TraitColumn142 = 142,
  Field144 = 144,
  Field145 = 145,
  Field146 = 146,
  Field147 = 147,
  DependencyField = 163,
  StrideKind0 = 173,
  StrideKind1 = 174,
  StrideKind2 = 175,
  StrideRowMark = 182,
  Field231 = 231,
  Field232 = 232,
  Field392 = 392,
};

/// Symbolic name of a field ("SelfTime"), or null for a number without one.
const char* fieldName(int id);
/// Inverse of fieldName; false when the name is unknown.
bool fieldIdFromName(const char* name, int& id);

}  // namespace data_abstractions2
