#pragma once
// The assertion macro. It guards conditions that the program's own logic
// excludes; it logs the condition, the place and the function through
// log4cplus and carries on, because the library runs inside a host that must
// not go down for one bad row. Tests install a handler to see that it fired.

#include <functional>
#include <string>

namespace portability {

struct assertion_info_t {
  const char* condition;
  const char* file;
  int line;
  const char* function;
};

using assertion_handler_t = std::function<void(const assertion_info_t&)>;

/// Installs a handler called after logging; returns the previous one.
assertion_handler_t set_assertion_handler(assertion_handler_t handler);

/// Number of assertions that fired in this process.
unsigned long assertion_count();

void report_assertion(const char* condition, const char* file, int line, const char* function);

}  // namespace portability

#define NIMB_ASSERT(cond)                                                                    \
  do {                                                                                       \
    if (!(cond)) ::portability::report_assertion(#cond, __FILE__, __LINE__, __func__);      \
  } while (0)

// For places that the logic never reaches; `text` is the condition's text.
#define NIMB_ASSERT_TEXT(cond, text)                                                         \
  do {                                                                                       \
    if (!(cond)) ::portability::report_assertion(text, __FILE__, __LINE__, __func__);       \
  } while (0)
