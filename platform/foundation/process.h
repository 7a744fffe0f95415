#pragma once
// `IProcess`: a child process, started without a shell.
//
// Arguments go to the child as they are (no word splitting, no globbing), so a
// project path with spaces or quotes needs no escaping.

#include <string>

#include "platform/foundation/generic_iterator.h"
#include "platform/foundation/ref_counted.h"
#include "platform/foundation/sptr.h"

namespace foundation {

enum error_code_t : int {
  ec_ok = 0,
  ec_still_running = 1,   ///< wait timed out; the child runs on
  ec_not_started = 2,     ///< start failed, or no child to wait for
  ec_failed = 3,          ///< a system call failed
};

/// Environment of a child: null means "inherit the parent's".
class IEnvironment : public ref_countable_t {
 public:
  /// Entries "NAME=value".
  virtual generic_iterator_t<std::string> entries() const = 0;
};

class IProcess : public ref_countable_t {
 public:
  static sptr_t<IProcess> create();

  /// Starts `program` with `args` (not including the program itself).
  /// `stdinMode`, `stdoutMode`, `stderrMode`: 0 inherit, 1 /dev/null.
  /// `searchPath`: 0 takes `program` as a path, 1 also searches PATH when it
  /// has no slash.
  virtual error_code_t start(const char* program, generic_iterator_t<std::string> args,
                             sptr_t<IEnvironment> environment, int stdinMode, int stdoutMode, int stderrMode,
                             int searchPath) = 0;
  /// Waits up to `timeoutMs` milliseconds: ec_ok when the child ended,
  /// ec_still_running when it still runs.
  virtual error_code_t wait(int timeoutMs) = 0;
  /// Asks the child to end (SIGTERM), then kills it after a grace period, and
  /// reaps it.
  virtual error_code_t terminate() = 0;
  /// Exit status after a successful wait; -1 before, 128+signal for a signal.
  virtual int exitCode() const = 0;
};

}  // namespace foundation
