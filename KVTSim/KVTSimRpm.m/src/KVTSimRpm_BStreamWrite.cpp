#include "KVTSimRpm_BStreamWrite.h"

#include <climits>
#include <cstdint>
#include <cstring>

#include "KVTSimExc.h"
#include "KVTSimRpm_Buffer.h"
#include "KVTSimRpm_Locator.h"
#include "KVTSimRpm_Swapper.h"
#include "KVTSimUttAssert.h"

KVTSimRpm_BStreamWrite::~KVTSimRpm_BStreamWrite() = default;

void KVTSimRpm_BStreamWrite::Write(KVTString const& s) {
  std::size_t const n = s.GetLengthInByte();
  if (n > static_cast<std::size_t>(INT_MAX)) {
    // The stored length is a signed 32-bit number.
    KVTSimExcRequestTooBig error(static_cast<unsigned>(n), INT_MAX);
    error.Throw(__FILE__, __LINE__);
  }
  std::size_t const padded = static_cast<std::size_t>(StoredStringSize(n)) - 4;
  Buffer block(padded);
  std::memset(block.Data(), 0, padded);
  if (n != 0)
    std::memcpy(block.Data(), s.CStr(), n);
  KVTSimRpm_Swapper::ExternalizeScalar(PrepWrite(4), static_cast<int>(n));
  Write(block.Data(), static_cast<unsigned int>(padded));
}

char* KVTSimRpm_BStreamWrite::PrepWriteSpan(unsigned long long wanted, unsigned int unit,
                                            unsigned long long& granted) {
  KVTSIM_ASSERT(unit > 0 && wanted >= unit && wanted % unit == 0);
  return NextWriteSpan(wanted, unit, granted);
}

char* KVTSimRpm_BStreamWrite::NextWriteSpan(unsigned long long, unsigned int unit,
                                            unsigned long long& granted) {
  char* span = PrepWrite(unit);
  granted = unit;
  return span;
}

void Externalize(KVTSimRpm_BStreamWrite& s, int const& v) {
  KVTSimRpm_Swapper::ExternalizeScalar(s.PrepWrite(4), v);
}

void Externalize(KVTSimRpm_BStreamWrite& s, KVTSimRpm_Locator const& v) {
  v.ExternalizeImpl(s);
}
