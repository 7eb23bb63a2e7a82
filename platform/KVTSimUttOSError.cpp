#include "KVTSimUttOSError.h"

#include <cstdio>
#include <cstring>

namespace {

// strerror_r exists in two shapes: the XSI one returns 0 and fills the buffer,
// the GNU one returns the text, which may or may not be the buffer. These
// overloads accept whichever the C library declares.
[[maybe_unused]] char const* ChosenText(int result, char const* buffer) {
  return result == 0 ? buffer : nullptr;
}
[[maybe_unused]] char const* ChosenText(char const* result, char const*) {
  return result;
}

KVTSimUttExceptionString<256> SystemTextOf(int errorNumber) noexcept {
  char buffer[256];
  buffer[0] = '\0';
  char const* text = ChosenText(strerror_r(errorNumber, buffer, sizeof buffer), buffer);
  if (text == nullptr || text[0] == '\0') {
    // An unknown number still deserves a readable report.
    std::snprintf(buffer, sizeof buffer, "error %d", errorNumber);
    text = buffer;
  }
  return KVTSimUttExceptionString<256>(text);
}

}  // namespace

KVTSimUttOSError::KVTSimUttOSError(char const* operation, KVTString const& fileName,
                                   int errorNumber) noexcept
    : mOperation(operation),
      mFileName(fileName),
      mErrorNumber(errorNumber),
      mSystemText(SystemTextOf(errorNumber)) {}

KVTSimUttOSError::KVTSimUttOSError(char const* operation, KVTString const& fileName,
                                   int errorNumber, char const* text) noexcept
    : mOperation(operation), mFileName(fileName), mErrorNumber(errorNumber), mSystemText(text) {}

KVTSimUttOSError::~KVTSimUttOSError() = default;

atr_String KVTSimUttOSError::AsString(KVTBasStringMode) const {
  // Room for the three bounded texts and the fixed part of the format.
  char text[32 + 1024 + 256 + 64];
  std::snprintf(text, sizeof text, "KVTSimUttOSError(%s '%s': %s)", mOperation.CStr(),
                mFileName.CStr(), mSystemText.CStr());
  return atr_String(text);
}

void KVTSimUttOSError::Propagate() const {
  throw *this;
}

int KVTSimUttOSError::GetCode() const {
  return KVTSimUttCodeOSError;
}
