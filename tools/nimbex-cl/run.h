#pragma once
// What nimbex-cl does once its command line is read.

#include <atomic>
#include <memory>
#include <ostream>

#include "tools/nimbex-cl/options.h"

namespace nimbex_cl {

/// Loads the result, produces its findings and writes the report. Errors go
/// to `err` as one line each, starting with "nimbex-cl: ". Returns the exit
/// code. When `interrupted` becomes true the run is cancelled cleanly and
/// ends with ExitCancelled.
///
/// With `keep`, the loaded result and the engine are handed to it on return
/// instead of being freed: a caller about to exit may then skip freeing
/// millions of rows one by one.
int runTool(const Options& options, std::ostream& out, std::ostream& err,
            const std::atomic<bool>* interrupted = nullptr, std::shared_ptr<void>* keep = nullptr);

}  // namespace nimbex_cl
