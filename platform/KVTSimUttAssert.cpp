#include "KVTSimUttAssert.h"

#include <cstdio>
#include <cstdlib>

#include "KVTBasAssertException.h"

namespace {

void Report(char const* what, char const* expression, char const* file, int line) noexcept {
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

void KVTSimUttAssert::Conclude(bool stillFails, char const* expression, char const* file,
                               int line) {
  if (stillFails) {
    KVTBasAssertException error(expression);
    error.Throw(file, line);
  }
  std::exit(1);
}
