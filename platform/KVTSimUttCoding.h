// Fixed-width little-endian encoding of unsigned integers.
//
// A 16-, 32- or 64-bit value is stored in 2, 4 or 8 bytes, least significant
// byte first, at any address (no alignment needed). On little-endian hosts
// encoding and decoding are plain copies.

#ifndef KVTSIM_PLATFORM_KVTSIMUTTCODING_H_
#define KVTSIM_PLATFORM_KVTSIMUTTCODING_H_

#include <cstdint>
#include <cstring>

namespace kvtsim_coding {

inline constexpr bool kLittleEndianHost = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

template <typename U>
inline void EncodeFixed(char* dst, U value) {
  if constexpr (!kLittleEndianHost) {
    for (unsigned i = 0; i < sizeof(U); ++i)
      dst[i] = static_cast<char>(value >> (8 * i));
    return;
  }
  std::memcpy(dst, &value, sizeof(U));
}

template <typename U>
inline U DecodeFixed(char const* src) {
  U value = 0;
  if constexpr (!kLittleEndianHost) {
    for (unsigned i = 0; i < sizeof(U); ++i) {
      value |= static_cast<U>(static_cast<unsigned char>(src[i])) << (8 * i);
    }
    return value;
  }
  std::memcpy(&value, src, sizeof(U));
  return value;
}

inline void EncodeFixed16(char* dst, std::uint16_t v) {
  EncodeFixed(dst, v);
}
inline void EncodeFixed32(char* dst, std::uint32_t v) {
  EncodeFixed(dst, v);
}
inline std::uint16_t DecodeFixed16(char const* src) {
  return DecodeFixed<std::uint16_t>(src);
}
inline std::uint32_t DecodeFixed32(char const* src) {
  return DecodeFixed<std::uint32_t>(src);
}

}  // namespace kvtsim_coding

#endif  // KVTSIM_PLATFORM_KVTSIMUTTCODING_H_
