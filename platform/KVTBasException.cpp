#include "KVTBasException.h"

#include <cstdio>
#include <cstdlib>

KVTBasException::KVTBasException() noexcept : mFile(nullptr), mLine(0) {}

KVTBasException::~KVTBasException() = default;

atr_String KVTBasException::DeveloperReport(KVTBasStringMode mode) const {
  atr_String kind = AsString(mode);
  if (mFile == nullptr)
    return kind;
  // The report is for a log line: cut an absurdly long location rather than fail.
  char text[2048];
  std::snprintf(text, sizeof text, "%s at %s:%d", kind.CStr(), mFile, mLine);
  return atr_String(text);
}

atr_String KVTBasException::UserReport(KVTBasStringMode mode) const {
  return AsString(mode);
}

void KVTBasException::Throw(char const* file, int line) {
  mFile = file;
  mLine = line;
  Propagate();
  // A kind whose Propagate returned has broken its contract; never continue.
  std::abort();
}
