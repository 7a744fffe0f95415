#pragma once
// The per-row record of loop facts that detectors read.

#include <compare>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "data_abstractions2/field_id.h"
#include "data_abstractions2/i_loop_manager.h"
#include "data_abstractions2/i_surveying_view_model.h"
#include "discmodels2/recommendations_model/data/field_retriever.h"
#include "platform/model_support/compiler_helpers.h"
#include "platform/system_info/system_info.h"

namespace data_models2 {

/// A C library version found among the files of the profiled program.
struct GlibcVer {
  int major = 0;
  int minor = 0;

  friend auto operator<=>(const GlibcVer&, const GlibcVer&) = default;
};

/// Everything nearly every detector needs about one row, read once per scan
/// by DataProvider::fillCommonData.
///
/// Defaults matter: a record that was never filled has isLoop,
/// isInnermostLoop and typeFlag1024 set, so it looks like a row that
/// detectors leave alone. A field that the row lacks leaves its member at the
/// default and `fieldPresence[id]` false; readers use operator[] on
/// `fieldPresence`, which is why the provider hands the record out from a
/// mutable cache.
struct CommonData {
  bool isFortran = false;
  std::string sourceFile;
  std::string functionName;
  std::string compilerName;         ///< lowered
  std::string compilerVersionText;  ///< lowered
  compiler_helpers::CompilerVersion compilerVersion;
  bool isVorexCompiler = true;
  std::string compilerFlags;
  std::string isaName;  ///< lowered
  system_info::SystemInfo::IsaExtensions isaType = system_info::SystemInfo::IsaNone;
  bool isAvx512 = false;
  int vectorizationDiagnosticId = -1;
  std::string instructionSets;
  double totalTime = 0.0;
  double selfTime = 0.0;
  std::uint64_t tripCountAverage = 0;
  std::uint64_t tripCountMin = 0;
  std::uint64_t tripCountMax = 0;
  std::uint64_t callCount = 0;
  std::uint64_t iterationCount = 0;
  std::uint64_t field92 = 0;
  bool tripCountsValid = false;
  int field53 = 0;
  double field83 = 0.0;
  bool isLoop = true;
  bool isVectorized = false;
  bool isInnermostLoop = true;
  bool isSplitLoop = false;
  bool isVectorBodyPart = false;
  bool isPeelPart = false;
  bool isRemainderPart = false;
  bool typeFlag1024 = true;
  bool typeFlag512 = false;
  bool typeFlag16384 = false;
  bool typeFlag2048 = false;
  bool field36 = false;
  std::string dataTypeName;
  std::string vectorLengthText;
  int vectorLength = 1;
  int unrollFactor = 1;
  std::int64_t field21 = 0;
  std::int64_t field22 = 0;
  std::uint64_t innerLoopCount = 0;
  int field64 = 0;
  int field65 = 0;
  int loopFlags55 = 0;
  int mainVectType = 0;
  int loopFlags59 = 0;
  bool hasMemop = false;
  std::uint64_t funcInstIdx = 0;
  bool hasGatherInfo = false;
  std::vector<data_abstractions2::Gather> gathers;
  std::vector<int> gatherIndices;
  data_abstractions2::Strides strides;
  /// A scalar math function was reached and no vector math one.
  bool callsMathLibrary = false;
  /// Bit 1 a threading runtime call, bit 2 a thread count call, bit 4 a lock call.
  unsigned threadingCallFlags = 0;
  bool callsSystemFunctions = false;
  bool callsSystemFunctionsDirectly = false;
  bool callsUserFunctions = false;
  bool callsLibmvec = false;
  bool callsVectorFunctions = false;
  bool hasCppNames = false;
  std::string mangledName;
  data_abstractions2::InstructionMix instructionMix;         ///< static mix
  data_abstractions2::InstructionMix instructionMixDynamic;  ///< dynamic mix
  std::set<std::string> userFunctionNames;
  mutable FieldPresence fieldPresence;
  std::vector<data_abstractions2::NTSCandidatesEvictionsInfo> ntsCandidates;
  int dependencyPresence = 0;
  std::set<GlibcVer> glibcVersions;
  std::int64_t field392 = 0;
  double vectorEfficiency = 0.0;
};

}  // namespace data_models2
