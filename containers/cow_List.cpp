#include "cow_List.h"

#include <cstdint>
#include <cstring>

int getFloatMask(int n) {
  float const value = static_cast<float>(n);
  std::int32_t bits;
  static_assert(sizeof bits == sizeof value, "float must be 32 bits");
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

int getPower(int bits) {
  return (bits >> 23) - 127;
}

template class cow_List<int>;
