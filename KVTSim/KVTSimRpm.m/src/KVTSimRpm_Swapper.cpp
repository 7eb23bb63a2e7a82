#include "KVTSimRpm_Swapper.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "KVTSimUttAssert.h"

template <>
void KVTSimRpm_SwapperTraits<2>::CheckAlignment(void const* p) {
  KVTSIM_ASSERT(!(reinterpret_cast<intptr_t>(p) & 1));
}

template <>
void KVTSimRpm_SwapperTraits<4>::CheckAlignment(void const* p) {
  KVTSIM_ASSERT(!(reinterpret_cast<intptr_t>(p) & 3));
}

// 8-byte scalars are handled as two 4-byte words, so 4-byte alignment suffices.
template <>
void KVTSimRpm_SwapperTraits<8>::CheckAlignment(void const* p) {
  KVTSIM_ASSERT(!(reinterpret_cast<intptr_t>(p) & 3));
}

template class KVTSimRpm_SwapperTraits<2>;
template class KVTSimRpm_SwapperTraits<4>;
template class KVTSimRpm_SwapperTraits<8>;

namespace {

[[noreturn]] void IllegalSwapSize() {
  std::fprintf(stderr, "Illegal swap size.\n");
  std::abort();
}

}  // namespace

unsigned int KVTSimRpm_Swapper::ExternalizeScalarUnsafe(char* stored, void const* host, int size) {
  switch (size) {
    case 2:
      KVTSimRpm_SwapperTraits<2>::Externalize(stored, host);
      break;
    case 4:
      KVTSimRpm_SwapperTraits<4>::Externalize(stored, host);
      break;
    case 8:
      KVTSimRpm_SwapperTraits<8>::Externalize(stored, host);
      break;
    default:
      IllegalSwapSize();
  }
  return static_cast<unsigned int>(size);
}

unsigned int KVTSimRpm_Swapper::InternalizeScalarUnsafe(char const* stored, void* host, int size) {
  switch (size) {
    case 2:
      KVTSimRpm_SwapperTraits<2>::Internalize(stored, host);
      break;
    case 4:
      KVTSimRpm_SwapperTraits<4>::Internalize(stored, host);
      break;
    case 8:
      KVTSimRpm_SwapperTraits<8>::Internalize(stored, host);
      break;
    default:
      IllegalSwapSize();
  }
  return static_cast<unsigned int>(size);
}
