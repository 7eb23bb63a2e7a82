#include "KVTSimUttAssert.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "KVTBasAssertException.h"

namespace {

std::atomic<bool> gReportToStderr{true};

void Report(char const* what, char const* expression, char const* file, int line) noexcept {
  if (!gReportToStderr.load(std::memory_order_relaxed))
    return;
  // One fprintf call, so that the line is not interleaved with other output.
  std::fprintf(stderr, "%s failed: %s (%s:%d)\n", what, expression ? expression : "",
               file ? file : "", line);
  std::fflush(stderr);
}

}  // namespace

void KVTSimUttAssert::ReportAssertionFailure(char const* expression, char const* file,
                                             int line) noexcept {
  Report("assertion", expression, file, line);
}

void KVTSimUttAssert::ReportValidationFailure(char const* expression, char const* file,
                                              int line) noexcept {
  Report("validation", expression, file, line);
}

bool KVTSimUttAssert::SetReportToStderr(bool on) noexcept {
  return gReportToStderr.exchange(on, std::memory_order_relaxed);
}

bool KVTSimUttAssert::ReportsToStderr() noexcept {
  return gReportToStderr.load(std::memory_order_relaxed);
}

void KVTSimUttAssert::Conclude(bool stillFails, char const* expression, char const* file,
                               int line) {
  if (stillFails) {
    KVTBasAssertException error(expression);
    error.Throw(file, line);
  }
  std::exit(1);
}
