// Time per row of a scan, on generated results with call trees and machine
// code at two sizes. A scan must cost the same per row whatever the size of
// the result: docs/benchmarks.md has the figures, and
// bench/check_scaling.py compares the sizes.
//
//   recommendations_bench --benchmark_counters_tabular=true
//   recommendations_bench --benchmark_filter=/deep/rows:200000
//
// Benchmarks are named BM_<what>/<shape>/rows:<n> and run one result at a
// time: the result is generated into a temporary directory, loaded, the
// directory removed, and the result kept until the next one is needed.
// Timings of a small result taken after a large one was freed suffer from
// the heap the large one left behind; compare sizes in separate processes
// (check_scaling.py does).

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

#include <benchmark/benchmark.h>

#include "data_abstractions2/i_dataset_helper.h"
#include "discmodels2/recommendations_model/core/scan_issues_row_visit_handler.h"
#include "discmodels2/recommendations_model/data/data_provider.h"
#include "platform/host_data/host_source_manager.h"
#include "platform/host_data/result_loader.h"
#include "tools/nimbex-gen/synthetic_result.h"

namespace {

namespace da = data_abstractions2;
namespace fs = std::filesystem;

/// A loaded generated result, with the source manager a host would give the
/// library for it and the bottom-up rows in load order.
struct Generated {
  host_data::ResultModels models;
  da::sptr_t<da::ISourceManager> sources;
  std::vector<da::row_t> rows;
};

const char* shapeName(nimbex_gen::Shape shape) {
  switch (shape) {
    case nimbex_gen::Shape::Wide:
      return "wide";
    case nimbex_gen::Shape::Deep:
      return "deep";
    case nimbex_gen::Shape::Mixed:
      break;
  }
  return "mixed";
}

/// Null, after SkipWithError, when the result can't be made. Only the
/// latest result is kept: three of 200,000 rows would take gigabytes.
const Generated* generated(benchmark::State& state, std::uint64_t rows, nimbex_gen::Shape shape) {
  static std::pair<std::uint64_t, nimbex_gen::Shape> key;
  static std::unique_ptr<Generated> cached;
  if (cached && key == std::make_pair(rows, shape)) return cached.get();
  cached.reset();

  nimbex_gen::Options options;
  options.rows = rows;
  options.shape = shape;
  options.callTree = true;
  options.machineCode = true;
  options.seed = 7;
  options.outputDir = (fs::temp_directory_path() / ("nimbex-bench-" + std::to_string(::getpid()) + "-" +
                                                    shapeName(shape) + "-" + std::to_string(rows)))
                          .string();
  std::string error;
  const bool written = nimbex_gen::writeSyntheticResult(options, error);
  host_data::LoadResult loaded = written ? host_data::loadResultDirectory(options.outputDir)
                                         : host_data::LoadResult::failure(error);
  std::error_code ignored;
  fs::remove_all(options.outputDir, ignored);
  if (!loaded) {
    state.SkipWithError(loaded.error().c_str());
    return nullptr;
  }

  auto result = std::make_unique<Generated>();
  result->models = std::move(loaded.models());
  result->sources = foundation::pool_allocate<host_data::HostSourceManager, da::ISourceManager>(
      result->models.resultController->getCodeBits());
  da::sptr_t<da::IDataset> bottomUp = result->models.surveyModel->getDataset(da::BottomUp);
  result->rows.reserve(bottomUp->rowCount());
  for (std::size_t i = 0; i < bottomUp->rowCount(); ++i) {
    result->rows.push_back(bottomUp->getRow(bottomUp->getRowId(static_cast<int>(i))));
  }
  key = {rows, shape};
  cached = std::move(result);
  return cached.get();
}

void reportPerRow(benchmark::State& state, std::size_t rows) {
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * rows));
  // Seconds per row: the figure that must not grow with the result.
  state.counters["per_row"] = benchmark::Counter(static_cast<double>(rows),
                                                 benchmark::Counter::kIsIterationInvariantRate |
                                                     benchmark::Counter::kInvert);
}

/// The record of every row, as the scan fills it before its detectors run.
void BM_FillCommonData(benchmark::State& state, nimbex_gen::Shape shape) {
  const Generated* result = generated(state, static_cast<std::uint64_t>(state.range(0)), shape);
  if (!result) return;
  data_models2::DataProvider provider(result->models.surveyModel, result->models.resultController, result->sources);
  for (auto _ : state) {
    for (const da::row_t& row : result->rows) benchmark::DoNotOptimize(provider.fillCommonData(row));
  }
  reportPerRow(state, result->rows.size());
}

/// The same, with the row's code decoded as the first detector that reads
/// instructions asks for it.
void BM_FillCommonDataAndDecode(benchmark::State& state, nimbex_gen::Shape shape) {
  const Generated* result = generated(state, static_cast<std::uint64_t>(state.range(0)), shape);
  if (!result) return;
  data_models2::DataProvider provider(result->models.surveyModel, result->models.resultController, result->sources);
  for (auto _ : state) {
    for (const da::row_t& row : result->rows) {
      provider.fillCommonData(row);
      benchmark::DoNotOptimize(provider.getAssemblerLines(row, {}));
    }
  }
  reportPerRow(state, result->rows.size());
}

/// A whole scan as the issues task runs it: the driver with its provider
/// and detectors is made, walks the bottom-up tree children first and is
/// dropped.
void BM_Scan(benchmark::State& state, nimbex_gen::Shape shape) {
  const Generated* result = generated(state, static_cast<std::uint64_t>(state.range(0)), shape);
  if (!result) return;
  da::sptr_t<da::IDataset> bottomUp = result->models.surveyModel->getDataset(da::BottomUp);
  for (auto _ : state) {
    auto handler =
        foundation::pool_allocate<data_models2::ScanIssuesRowVisitHandler, data_models2::ScanIssuesRowVisitHandler>(
            result->models.surveyModel, result->models.resultController, result->sources);
    const bool finished = da::IDatasetHelper::create(bottomUp)->visitRows(nullptr, handler, da::IDatasetHelper::PostVisit,
                                                                          nullptr);
    if (!finished) state.SkipWithError("the scan stopped early");
  }
  reportPerRow(state, result->rows.size());
}

}  // namespace

int main(int argc, char** argv) {
  // By result, so that each is generated once: mixed is what programs look
  // like; wide and deep are the extremes of breadth and nesting.
  for (auto shape : {nimbex_gen::Shape::Mixed, nimbex_gen::Shape::Wide, nimbex_gen::Shape::Deep}) {
    for (std::int64_t rows : {20000, 200000}) {
      const std::string suffix = std::string("/") + shapeName(shape);
      for (auto [name, function] : {std::pair{"BM_FillCommonData", &BM_FillCommonData},
                                    std::pair{"BM_FillCommonDataAndDecode", &BM_FillCommonDataAndDecode},
                                    std::pair{"BM_Scan", &BM_Scan}}) {
        benchmark::RegisterBenchmark((name + suffix).c_str(), function, shape)
            ->Arg(rows)
            ->ArgName("rows")
            ->Unit(benchmark::kMillisecond)
            // A second at least, so that the small results are timed over
            // several passes; the large ones take longer than that in one.
            ->MinTime(1.0);
      }
    }
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
