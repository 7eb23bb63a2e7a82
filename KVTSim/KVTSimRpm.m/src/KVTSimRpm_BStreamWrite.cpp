#include "KVTSimRpm_BStreamWrite.h"

#include <climits>
#include <cstdint>
#include <cstring>

#include "KVTSimExc.h"
#include "KVTSimRpm_Buffer.h"
#include "KVTSimRpm_Locator.h"
#include "KVTSimRpm_Swapper.h"

KVTSimRpm_BStreamWrite::~KVTSimRpm_BStreamWrite() = default;

void KVTSimRpm_BStreamWrite::Write(KVTString const& s) {
  std::size_t const n = s.GetLengthInByte();
  if (n > static_cast<std::size_t>(INT_MAX)) {
    // The stored length is a signed 32-bit number.
    KVTSimExcRequestTooBig error(static_cast<unsigned>(n), INT_MAX);
    error.Throw(__FILE__, __LINE__);
  }
  std::size_t const padded = (n + 3) & ~std::size_t{3};
  Buffer block(padded);
  std::memset(block.Data(), 0, padded);
  if (n != 0)
    std::memcpy(block.Data(), s.CStr(), n);
  KVTSimRpm_Swapper::ExternalizeScalar(PrepWrite(4), static_cast<int>(n));
  Write(block.Data(), static_cast<unsigned int>(padded));
}

void Externalize(KVTSimRpm_BStreamWrite& s, int const& v) {
  KVTSimRpm_Swapper::ExternalizeScalar(s.PrepWrite(4), v);
}

void Externalize(KVTSimRpm_BStreamWrite& s, KVTSimRpm_Locator const& v) {
  v.ExternalizeImpl(s);
}
