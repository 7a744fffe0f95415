#include "discmodels2/recommendations_model/data/data_provider.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>

#include <boost/make_shared.hpp>

#include "data_abstractions2/i_dataset_helper.h"
#include "discmodels2/recommendations_model/core/get_children.h"
#include "discmodels2/recommendations_model/data/assembler_row_visit_handler.h"
#include "discmodels2/recommendations_model/data/calls_below_row_visit_handler.h"
#include "discmodels2/recommendations_model/data/field_retriever.h"
#include "discmodels2/recommendations_model/data/func_inst_idx_row_visit_handler_remove_me.h"
#include "discmodels2/recommendations_model/data/presence_row_visit_handler.h"
#include "discmodels2/recommendations_model/data/self_time_loop_pair_row_visit_handler.h"
#include "platform/configuration/session_storage.h"
#include "platform/foundation/path.h"
#include "platform/model_support/dependency_helpers.h"
#include "platform/model_support/instruction_mix.h"
#include "platform/model_support/isa_helpers.h"
#include "platform/model_support/roofline_roofs.h"
#include "platform/portability/strings.h"

namespace data_models2 {

using namespace data_abstractions2;
using system_info::SystemInfo;

namespace {

void toLower(std::string& text) { text = portability::to_lower(text); }

bool contains(const std::string& text, const char* part) { return text.find(part) != std::string::npos; }

// The compiler prints this when it turned a loop into a memory operation
// (memset, memcpy); diagnostic 15306 says the same without the text.
constexpr const char* kMemopMessage = "MEMOP WAS GENERATED FOR THIS LOOP";
constexpr std::uint64_t kMemopDiagnostic = 15306;

// Matches a whole leaf name against [^0-9]*([0-9]+)[.]([0-9]+).* and takes
// the two groups: "libc-2.31.so" gives 2.31. The first group is the first
// run of digits, which must be followed by a dot and a digit.
bool parseLibraryVersion(const std::string& leaf, GlibcVer& version) {
  auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  const std::size_t majorStart = std::find_if(leaf.begin(), leaf.end(), isDigit) - leaf.begin();
  if (majorStart == leaf.size()) return false;
  std::size_t majorEnd = majorStart;
  while (majorEnd < leaf.size() && isDigit(leaf[majorEnd])) ++majorEnd;
  if (majorEnd + 1 >= leaf.size() || leaf[majorEnd] != '.' || !isDigit(leaf[majorEnd + 1])) return false;
  std::size_t minorEnd = majorEnd + 1;
  while (minorEnd < leaf.size() && isDigit(leaf[minorEnd])) ++minorEnd;
  // Out-of-range numbers read as 0, like any unreadable number.
  portability::str_to_int(std::string_view(leaf).substr(majorStart, majorEnd - majorStart), version.major);
  portability::str_to_int(std::string_view(leaf).substr(majorEnd + 1, minorEnd - majorEnd - 1), version.minor);
  return true;
}

}  // namespace

DataProvider::DataProvider(sptr_t<ISurveyingViewModel> viewModel, sptr_t<IResultController> resultController,
                           sptr_t<ISourceManager> sourceManager)
    : assemblerLines(boost::make_shared<assembler_analysis::AssemblerLines>()),
      viewModel(std::move(viewModel)),
      assemblerGenerator(assembler_analysis::createAssemblerGenerator()),
      resultController(std::move(resultController)),
      sourceManager(std::move(sourceManager)) {
  assemblerLines->reserve(255);
  if (!this->viewModel) return;

  sptr_t<IDataset> bottomUp = this->viewModel->getDataset(BottomUp);
  if (bottomUp) commonData.reserve(bottomUp->rowCount());
  if (sptr_t<IDatasetHelper> helper = IDatasetHelper::create(bottomUp)) {
    auto loops = foundation::pool_allocate<SelfTimeLoopPairRowVisitHandler>(bottomUp);
    helper->visitRows(nullptr, loops, IDatasetHelper::PreVisit, nullptr);
    loopsBySelfTime = loops->getLoops();
    std::sort(loopsBySelfTime.begin(), loopsBySelfTime.end());

    auto index = foundation::pool_allocate<FuncInstIdxRowVisitHandlerRemoveMe>(bottomUp, &rowsByFuncInst[BottomUp]);
    helper->visitRows(nullptr, index, IDatasetHelper::PreVisit, nullptr);
  }

  sptr_t<IDataset> callTree = this->viewModel->getDataset(CallTree);
  if (sptr_t<IDatasetHelper> helper = IDatasetHelper::create(callTree)) {
    auto index = foundation::pool_allocate<FuncInstIdxRowVisitHandlerRemoveMe>(callTree, &rowsByFuncInst[CallTree]);
    helper->visitRows(nullptr, index, IDatasetHelper::PreVisit, nullptr);
    // One pass now spares visitTargetRows the nests that call nothing:
    // otherwise every loop of a nest walks all loops inside it again.
    auto callsBelow = foundation::pool_allocate<CallsBelowRowVisitHandler>(callTree, &callTreeRowsWithCallsBelow);
    if (helper->visitRows(nullptr, callsBelow, IDatasetHelper::PostVisit, nullptr)) indexedCallTree = callTree;
  }
}

DataProvider::~DataProvider() = default;

const CommonData& DataProvider::getData(const row_t& row) const { return record(row); }

CommonData& DataProvider::record(const row_t& row) const {
  auto it = commonData.find(row);
  if (it != commonData.end()) return it->second;
  fillCommonData(row);
  // A fill that failed before it made the entry is remembered as the
  // default record, so the next call doesn't try again.
  return commonData[row];
}

bool DataProvider::fillCommonData(const row_t& row) const {
  if (!viewModel) return false;
  sptr_t<IDataset> dataset = viewModel->getDataset(BottomUp);
  if (!dataset || !row) return false;
  sptr_t<IMetadata> metadata = row->getMetadata();
  if (!metadata) return false;

  // The shared assembler buffer belongs to the row under fill from now on.
  if (assemblerLines) assemblerLines->clear();

  commonData.erase(row);
  CommonData& data = commonData[row];
  FieldRetriever read(row, dataset, &data.fieldPresence);

  read(SourceFile, data.sourceFile);
  read(FunctionName, data.functionName);
  read(CompilerName, data.compilerName);
  toLower(data.compilerName);
  data.isVorexCompiler = contains(data.compilerName, "vorex");

  read(CompilerVersion, data.compilerVersionText);
  toLower(data.compilerVersionText);
  data.compilerVersion = compiler_helpers::parseVersion(data.compilerVersionText);
  read(CompilerFlags, data.compilerFlags);
  read(VectorizationDiagnosticId, data.vectorizationDiagnosticId);

  read(Isa, data.isaName);
  toLower(data.isaName);
  data.isaType = SystemInfo::getIsaType(data.isaName.c_str());
  data.isAvx512 = contains(data.isaName, "avx512");

  read(InstructionSets, data.instructionSets);
  read(TotalTime, data.totalTime);
  read(SelfTime, data.selfTime);

  // Both trip count queries share one record on purpose: when the second
  // fails it leaves the first answer in place, so callCount then equals
  // tripCountAverage and only fieldPresence[CallCount] tells the cases apart.
  SourceTripCountsData tripCounts;
  sptr_t<ILoopManager> loopManager = viewModel->getLoopManager();
  data.fieldPresence[TripCountAverage] =
      loopManager && loopManager->getSourceTripCounts(row, dataset, TripCountAverage, tripCounts);
  data.tripCountAverage = tripCounts.value;

  read(TripCountMin, data.tripCountMin);
  read(TripCountMax, data.tripCountMax);

  data.fieldPresence[CallCount] = loopManager && loopManager->getSourceTripCounts(row, dataset, CallCount, tripCounts);
  data.callCount = tripCounts.value;

  read(IterationCount, data.iterationCount);
  read(TripCountsValid, data.tripCountsValid);
  read(Field53, data.field53);
  read(Field92, data.field92);
  read(Field83, data.field83);
  read(IsVectorized, data.isVectorized);

  data.isLoop = metadata->hasType(IMetadata::TypeLoop);
  data.isInnermostLoop = metadata->hasType(IMetadata::TypeInnermost);
  data.isSplitLoop = metadata->hasType(IMetadata::TypeSplitLoop);
  data.isVectorBodyPart = metadata->hasType(IMetadata::TypeVectorBodyPart);
  data.isPeelPart = metadata->hasType(IMetadata::TypePeelPart);
  data.isRemainderPart = metadata->hasType(IMetadata::TypeRemainderPart);
  data.typeFlag1024 = metadata->hasType(IMetadata::TypeMarked);
  data.typeFlag512 = metadata->hasType(512);
  data.typeFlag16384 = metadata->hasType(16384);
  data.typeFlag2048 = metadata->hasType(2048);

  read(DataTypeName, data.dataTypeName);
  read(Field36, data.field36);
  read(VectorLengths, data.vectorLengthText);
  data.vectorLength = isa_helpers::getVectorLength(data.vectorLengthText);
  read(UnrollFactor, data.unrollFactor);
  read(Field21, data.field21);
  read(Field22, data.field22);
  read(InnerLoopCount, data.innerLoopCount);
  read(LoopFlags59, data.loopFlags59);
  read(Field64, data.field64);
  read(Field65, data.field65);
  read(LoopFlags55, data.loopFlags55);
  read(MainVectType, data.mainVectType);
  read(VectorEfficiency, data.vectorEfficiency);

  // The diagnostic is read again, now unsigned; this second read decides
  // fieldPresence[VectorizationDiagnosticId].
  std::string message;
  std::uint64_t diagnostic = 0;
  read(VectorizationMessage, message);
  read(VectorizationDiagnosticId, diagnostic);
  data.hasMemop = contains(message, kMemopMessage) || diagnostic == kMemopDiagnostic;

  read(FuncInstIdx, data.funcInstIdx);

  sptr_t<IDataset> accessPatterns = loopManager ? loopManager->getTable(TableAccessPatterns) : nullptr;
  // The row's access-pattern records serve both the gathers and the strides.
  std::vector<int> indices;
  if (accessPatterns) {
    loopManager->getIndices(dataset, row, TableAccessPatterns, indices);
    Gathers gathers;
    gathers.indices = indices;
    if (!gathers.indices.empty()) gathers.valid = loopManager->getGathers(gathers);
    data.gathers = std::move(gathers.gathers);
    data.gatherIndices = std::move(gathers.indices);
    data.hasGatherInfo = gathers.valid;
  }

  if (accessPatterns) {
    // Only the first access pattern record that carries stride shares counts.
    for (int index : indices) {
      row_t record = accessPatterns->getRow(accessPatterns->getRowId(index));
      if (!record || !checkData<bool>(StrideRowMark, false, record, accessPatterns)) continue;
      data.strides.kinds[0] = checkData<double>(StrideKind0, 0.0, record, accessPatterns);
      data.strides.kinds[1] = checkData<double>(StrideKind1, 0.0, record, accessPatterns);
      data.strides.kinds[2] = checkData<double>(StrideKind2, 0.0, record, accessPatterns);
      data.strides.valid = true;
      break;
    }
  }

  getInstructionMixMap(row, viewModel, MixStatic, data.instructionMix);
  getInstructionMixMap(row, viewModel, MixDynamic, data.instructionMixDynamic);

  // What the loop calls. Without a call tree the record stays half filled:
  // the language, the mangled name and the call facts keep their defaults,
  // and the row reads as one without such data.
  sptr_t<PresenceRowVisitHandler> presence = visitTargetRows(row);
  if (!presence) return false;
  const PresenceRowVisitHandler::Facts& calls = presence->facts();
  // A loop that already reaches the vector math library gets no advice
  // about the scalar one, whatever else it calls.
  data.callsMathLibrary = calls.hasVectorMath ? false : calls.hasScalarMath;
  data.threadingCallFlags = calls.threadingFlags;
  data.callsSystemFunctions = calls.hasSystemFunction;
  data.callsSystemFunctionsDirectly = calls.hasDirectSystemFunction;
  data.callsUserFunctions = calls.hasUserFunction;
  data.callsLibmvec = calls.hasLibmvec;
  data.callsVectorFunctions = calls.hasVectorFunction;
  data.hasCppNames = calls.hasCppNames;
  data.userFunctionNames = calls.userNames;
  if (loopManager) data.ntsCandidates = loopManager->getNtsCandidates(row, dataset, TableAccessPatterns);

  if (data.fieldPresence[SourceFile]) {
    // A file name decides alone; only its extension's first letter matters
    // (".f", ".f90", ".F03", ".for"). at() and not []: a name that ends in
    // the dot is malformed, and that surfaces as std::out_of_range rather
    // than as a guess.
    const std::size_t dot = data.sourceFile.rfind('.');
    data.isFortran = dot != std::string::npos &&
                     std::tolower(static_cast<unsigned char>(data.sourceFile.at(dot + 1))) == 'f';
  } else {
    data.isFortran = data.fieldPresence[CompilerName] && contains(data.compilerName, "fortran");
  }
  read(MangledName, data.mangledName);
  data.dependencyPresence = checkDependencyPresence(row);
  data.glibcVersions = getGlibcVersions();

  read(Field392, data.field392);
  return true;
}

generic_iterator_t<row_t> DataProvider::getRowsFrom(DataType type, const row_t& row) const {
  auto rows = std::make_shared<std::vector<row_t>>();
  if (!row || !viewModel) return generic_iterator_t<row_t>(rows);

  // The row belongs to the other tree, so its index is read there.
  sptr_t<IDataset> other = viewModel->getDataset(type == BottomUp ? CallTree : BottomUp);
  const long long index = checkData<std::int64_t>(FuncInstIdx, -1, row, other);

  auto found = rowsByFuncInst.find(type);
  if (found != rowsByFuncInst.end()) {
    auto [first, last] = found->second.equal_range(index);
    for (auto it = first; it != last; ++it) rows->push_back(it->second);
  }
  return generic_iterator_t<row_t>(rows);
}

generic_iterator_t<row_t> DataProvider::getBottomUpChildren(const row_t& row) const {
  auto rows = std::make_shared<std::vector<row_t>>();
  for (auto callers = getRowsFrom(CallTree, row); !callers.at_end(); callers.next()) {
    for (auto callees = issues::getChildren(callers.current()); !callees.at_end(); callees.next()) {
      for (auto same = getRowsFrom(BottomUp, callees.current()); !same.at_end(); same.next()) {
        rows->push_back(same.current());
      }
    }
  }
  return generic_iterator_t<row_t>(rows);
}

boost::shared_ptr<assembler_analysis::AssemblerLines> DataProvider::getAssemblerLines(
    const row_t& row, const boost::shared_ptr<assembler_analysis::RegisterPressure>& pressure) const {
  if (parseAssembler(row, pressure)) return assemblerLines;
  return {};
}

bool DataProvider::parseAssembler(const row_t& row,
                                  const boost::shared_ptr<assembler_analysis::RegisterPressure>& pressure) const {
  // Lines already there belong to this row: fillCommonData clears the buffer
  // for every new row, so the detectors of one row share one generation.
  // A caller that wants pressure figures clears the lines first.
  if (assemblerLines && assemblerLines->size() != 0) return true;
  if (!row || !assemblerLines || !assemblerGenerator || !viewModel) return false;
  const CodeBlock block = viewModel->getCodeBlock(BottomUp, row);
  if (!sourceManager || !sourceManager->fillAssemblerLines(block, assemblerLines, assemblerGenerator, pressure)) {
    assemblerLines->clear();
    return false;
  }
  return assemblerLines->size() != 0;
}

sptr_t<AssemblerRowVisitHandler> DataProvider::visitRowsForAssembler(const row_t& row, int depth) const {
  if (!row || !viewModel) return nullptr;
  sptr_t<IDataset> callTree = viewModel->getDataset(CallTree);
  sptr_t<IDatasetHelper> helper = IDatasetHelper::create(callTree, getRowsFrom(CallTree, row));
  if (!helper) return nullptr;
  auto handler = foundation::pool_allocate<AssemblerRowVisitHandler>(callTree, viewModel, sourceManager,
                                                                     static_cast<std::uint64_t>(depth));
  helper->visitRows(nullptr, handler, IDatasetHelper::PreVisit, nullptr);
  return handler;
}

std::shared_ptr<Roofs> DataProvider::getRoofs() const {
  if (!viewModel) return {};
  // Classified once: the roofs of a result don't change during a scan.
  if (!roofs) roofs = std::make_shared<Roofs>(viewModel->getRoofItems());
  return roofs;
}

// One object holds the roofs of every strategy and kind of operation; its
// users pick theirs with memoryRoofs(strategy) and computeRoofs(strategy).
std::shared_ptr<Roofs> DataProvider::getRoofs(int, int, RoofsStrategyId, OperationsType) const { return getRoofs(); }

ProgramMetrics DataProvider::getProgramMetrics() const {
  return viewModel ? viewModel->getProgramMetrics() : ProgramMetrics{};
}

bool DataProvider::isLoopMatchThreshold(const row_t& row, double percent) const {
  CommonData& data = record(row);
  if (!data.fieldPresence[SelfTime] || !data.fieldPresence[TotalTime]) return false;
  if (!resultController) return false;

  // The program's elapsed time is kept with the result, not in the tree. A
  // scan doesn't change it: the storage is read once per provider.
  if (!elapsedTime) {
    elapsedTime.emplace();
    sptr_t<configuration::ISessionStorage> storage =
        configuration::ISessionStorage::create(resultController->getResultDir(0));
    variant_t elapsed;
    if (storage && storage->find("totalElapsedTime", elapsed) && (elapsed.is_integer() || elapsed.is_floating())) {
      *elapsedTime = elapsed.as_double();
    }
  }
  if (!*elapsedTime) return false;

  const double limit = percent / 100.0 * **elapsedTime;
  return data.selfTime > limit || data.totalTime > limit;
}

bool DataProvider::isLoopInsideRange(const row_t& row, double from, double to) const {
  CommonData& data = record(row);
  const std::size_t count = loopsBySelfTime.size();
  if (!data.fieldPresence[SelfTime] || count == 0) return false;

  double low = std::min(from, to);
  double high = std::max(from, to);
  const double step = 100.0 / static_cast<double>(count);
  // A range narrower than one loop would hold no loop at all; widen it to
  // whole loops.
  if (step > high - low) {
    high = std::max(1.0, std::floor(high / step + 0.5)) * step;
    low = std::max(0.0, std::floor(low / step + 0.5)) * step;
  }

  const double rank = static_cast<double>(SelfTimeLoopPairRowVisitHandler::getLowerBound(loopsBySelfTime, data.selfTime));
  const double scaled = 100.0 * rank;
  const double n = static_cast<double>(count);
  return high * n >= scaled && low * n <= scaled;
}

int DataProvider::getAVX512ShadowDiagnostic(const row_t& row) const {
  if (!viewModel) return 0;
  sptr_t<IAVX512FreqThrottlingModel> model = viewModel->getAVX512FreqThrottlingModel();
  if (!model) return 0;
  // 1 is a mild finding that a later row may still outrank; anything above
  // it is decisive and ends the search.
  int result = 0;
  for (auto rows = getRowsFrom(CallTree, row); !rows.at_end(); rows.next()) {
    const int diagnosis = model->diagnose(rows.current());
    if (diagnosis == 0) continue;
    if (diagnosis == 1) {
      result = 1;
      continue;
    }
    return diagnosis;
  }
  return result;
}

int DataProvider::checkDependencyPresence(const row_t& row) const {
  if (!viewModel) return 0;
  sptr_t<ILoopManager> loopManager = viewModel->getLoopManager();
  if (!loopManager) return 0;

  sptr_t<IDataset> dataset = viewModel->getDataset(BottomUp);
  std::vector<int> indices;
  if (!loopManager->getTable(TableDependencies)) return 0;
  loopManager->getIndices(dataset, row, TableDependencies, indices);
  if (indices.empty()) return 0;

  // From here on the loop was analysed: records that can't be read still
  // say that the analysis ran and reported nothing we recognise.
  sptr_t<ITableView> view = loopManager->getView(indices, TableDependencies);
  if (!view) return 1;
  const column_t column = view->getColumn(DependencyField);
  if (column == kNoColumn) return 1;

  int result = 1;
  for (std::size_t i = 0; i < view->rowCount(); ++i) {
    variant_t value;
    if (!view->getValue(i, column, value) || !value.is_text()) continue;
    const std::string& kind = value.text();
    // A real dependency settles it; a reduction alone can still be
    // vectorized, so keep looking for one.
    if (kind == getDependencyStr(DependencyReadAfterWrite) || kind == getDependencyStr(DependencyWriteAfterRead) ||
        kind == getDependencyStr(DependencyWriteAfterWrite)) {
      return 2;
    }
    if (kind == getDependencyStr(DependencyReduction)) result = 3;
  }
  return result;
}

sptr_t<PresenceRowVisitHandler> DataProvider::visitTargetRows(const row_t& row) const {
  if (!viewModel) return nullptr;
  sptr_t<IDataset> callTree = viewModel->getDataset(CallTree);
  if (!callTree) return nullptr;
  sptr_t<IDatasetHelper> helper = IDatasetHelper::create(callTree, getRowsFrom(CallTree, row));
  if (!helper) return nullptr;
  auto handler = foundation::pool_allocate<PresenceRowVisitHandler>(
      callTree, callTree == indexedCallTree ? &callTreeRowsWithCallsBelow : nullptr);
  helper->visitRows(nullptr, handler, IDatasetHelper::PreVisit, nullptr);
  return handler;
}

std::set<GlibcVer> DataProvider::getGlibcVersions() const {
  // The files of the program don't change during a scan.
  if (glibcVersions) return *glibcVersions;
  std::set<GlibcVer>& versions = glibcVersions.emplace();
  if (!viewModel) return versions;
  std::vector<FileLocator> locators;
  if (!viewModel->getFileLocators(LocatorCLibrary, locators)) return versions;

  for (const FileLocator& locator : locators) {
    if (!contains(locator.path, "libc")) continue;
    GlibcVer version;
    if (parseLibraryVersion(foundation::path_t(locator.path).leaf(), version)) versions.insert(version);
  }
  return versions;
}

}  // namespace data_models2
