// Assertion and validation checks.
//
// KVTSIM_ASSERT(cond) checks an internal invariant; KVTSIM_VALIDATE(cond)
// checks a value given by a caller against what an object holds. While cond
// holds they do nothing. When it is false:
//   1. the failure is reported (one line on standard error, see below);
//   2. cond is tested again and, if still false, KVTBasAssertException is
//      raised with the literal text of cond and the check's file and line;
//   3. should control come back (cond now holds), the process exits with 1.
// Report lines read
//   "assertion failed: <expression> (<file>:<line>)"   for KVTSIM_ASSERT
//   "validation failed: <expression> (<file>:<line>)"  for KVTSIM_VALIDATE
// A host that shows errors its own way (a GUI, a Python interpreter) turns the
// report line off with SetReportToStderr(false); the raised exception carries
// the expression, file and line either way.

#ifndef KVTSIM_PLATFORM_KVTSIMUTTASSERT_H_
#define KVTSIM_PLATFORM_KVTSIMUTTASSERT_H_

#include "KVTSimExport.h"

class KVTSIM_EXPORT KVTSimUttAssert {
 public:
  // Writes the assertion report line for a failed invariant.
  static void ReportAssertionFailure(char const* expression, char const* file, int line) noexcept;

  // Writes the validation report line for a rejected caller value.
  static void ReportValidationFailure(char const* expression, char const* file, int line) noexcept;

  // Process-wide: whether the two report operations above write their line to
  // standard error (on when the process starts). Returns the previous
  // setting. Any thread may call it at any time; a check failing meanwhile on
  // another thread uses either setting.
  static bool SetReportToStderr(bool on) noexcept;

  // The setting in force.
  static bool ReportsToStderr() noexcept;

  // Steps 2 and 3 of a failed check: raises KVTBasAssertException when
  // stillFails, otherwise ends the process with status 1. Never returns.
  [[noreturn]] static void Conclude(bool stillFails, char const* expression, char const* file,
                                    int line);
};

#define KVTSIM_CHECK_WITH_(report, cond)                               \
  do {                                                                 \
    if (!(cond)) {                                                     \
      ::KVTSimUttAssert::report(#cond, __FILE__, __LINE__);            \
      ::KVTSimUttAssert::Conclude(!(cond), #cond, __FILE__, __LINE__); \
    }                                                                  \
  } while (0)

#define KVTSIM_ASSERT(cond) KVTSIM_CHECK_WITH_(ReportAssertionFailure, cond)
#define KVTSIM_VALIDATE(cond) KVTSIM_CHECK_WITH_(ReportValidationFailure, cond)

#endif  // KVTSIM_PLATFORM_KVTSIMUTTASSERT_H_
