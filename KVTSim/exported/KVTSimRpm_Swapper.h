// Byte-order conversion of the scalars stored in container files.
//
// The file byte order is little-endian: a 2-, 4- or 8-byte scalar is stored
// least significant byte first; an 8-byte scalar as its low 32-bit word at
// bytes 0-3 and its high word at bytes 4-7, which is the same bytes. The
// stored side is always the first argument, for both directions. Conversions
// touch exactly the scalar's width at the stored side (count times the width
// for arrays), work at any address and keep no state: any thread may call them.

#ifndef KVTSIM_EXPORTED_KVTSIMRPM_SWAPPER_H_
#define KVTSIM_EXPORTED_KVTSIMRPM_SWAPPER_H_

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "KVTSimExport.h"
#include "KVTSimUttCoding.h"

class KVTSimRpm_Swapper;
struct KVTSimRpm_SwapperTraitsTestPeer;

// Conversions of one scalar width N (2, 4 or 8), reserved to KVTSimRpm_Swapper.
template <int N>
class KVTSIM_EXPORT KVTSimRpm_SwapperTraits {
  static_assert(N == 2 || N == 4 || N == 8, "scalars are 2, 4 or 8 bytes wide");
  friend class KVTSimRpm_Swapper;
  friend struct KVTSimRpm_SwapperTraitsTestPeer;

  // Stores the N-byte scalar at host into stored.
  static void Externalize(char* stored, void const* host) {
    if constexpr (N == 8) {
      std::uint64_t value;
      std::memcpy(&value, host, 8);
      kvtsim_coding::EncodeFixed32(stored, static_cast<std::uint32_t>(value));
      kvtsim_coding::EncodeFixed32(stored + 4, static_cast<std::uint32_t>(value >> 32));
    } else {
      Copy(stored, host);
    }
  }

  // Loads the N-byte scalar at stored into host.
  static void Internalize(char const* stored, void* host) {
    if constexpr (N == 8) {
      std::uint64_t low = kvtsim_coding::DecodeFixed32(stored);
      std::uint64_t high = kvtsim_coding::DecodeFixed32(stored + 4);
      std::uint64_t value = (high << 32) | low;
      std::memcpy(host, &value, 8);
    } else {
      Copy(host, stored);
    }
  }

  // Stores count consecutive scalars. REQUIRES: count >= 0.
  static void ExternalizeArray(char* stored, void const* host, int count) {
    if constexpr (kvtsim_coding::kLittleEndianHost) {
      std::memcpy(stored, host, static_cast<std::size_t>(static_cast<std::int64_t>(count) * N));
    } else {
      for (int i = 0; i < count; ++i) {
        Externalize(stored + i * N, static_cast<char const*>(host) + i * N);
      }
    }
  }

  // Loads count consecutive scalars. REQUIRES: count >= 0.
  static void InternalizeArray(char const* stored, void* host, int count) {
    if constexpr (kvtsim_coding::kLittleEndianHost) {
      std::memcpy(host, stored, static_cast<std::size_t>(static_cast<std::int64_t>(count) * N));
    } else {
      for (int i = 0; i < count; ++i) {
        Internalize(stored + i * N, static_cast<char*>(host) + i * N);
      }
    }
  }

  // Asserts that p is aligned for the width: 2 bytes for N = 2, 4 bytes for
  // N = 4 and for N = 8. Raises KVTBasAssertException otherwise.
  static void CheckAlignment(void const* p);

  // Copies N bytes in the host's own order into little-endian order (or back:
  // the conversion is its own inverse).
  static void Copy(void* dst, void const* src) {
    if constexpr (kvtsim_coding::kLittleEndianHost) {
      std::memcpy(dst, src, N);
    } else {
      for (int i = 0; i < N; ++i) {
        static_cast<char*>(dst)[i] = static_cast<char const*>(src)[N - 1 - i];
      }
    }
  }
};

// The alignment checks differ per width; they are defined in the library.
template <>
void KVTSimRpm_SwapperTraits<2>::CheckAlignment(void const* p);
template <>
void KVTSimRpm_SwapperTraits<4>::CheckAlignment(void const* p);
template <>
void KVTSimRpm_SwapperTraits<8>::CheckAlignment(void const* p);

class KVTSIM_EXPORT KVTSimRpm_Swapper {
 public:
  // Writes value in file order at stored; returns the bytes written (the
  // width of T). T is int, unsigned int or unsigned long long.
  template <typename T>
  static unsigned int ExternalizeScalar(char* stored, T const& value) {
    static_assert(IsStoredScalar<T>(),
                  "stored scalars are int, unsigned int or unsigned long long");
    KVTSimRpm_SwapperTraits<sizeof(T)>::Externalize(stored, &value);
    return sizeof(T);
  }

  // Reads value from file order at stored; returns the bytes read.
  template <typename T>
  static unsigned int InternalizeScalar(char const* stored, T& value) {
    static_assert(IsStoredScalar<T>(),
                  "stored scalars are int, unsigned int or unsigned long long");
    KVTSimRpm_SwapperTraits<sizeof(T)>::Internalize(stored, &value);
    return sizeof(T);
  }

  // Writes one scalar of size bytes (2, 4 or 8) from host; returns size. Any
  // other size writes "Illegal swap size.\n" to standard error and aborts.
  static unsigned int ExternalizeScalarUnsafe(char* stored, void const* host, int size);

  // Reads one scalar of size bytes (2, 4 or 8) into host; returns size. Any
  // other size writes "Illegal swap size.\n" to standard error and aborts.
  static unsigned int InternalizeScalarUnsafe(char const* stored, void* host, int size);

 private:
  template <typename T>
  static constexpr bool IsStoredScalar() {
    return std::is_same_v<T, int> || std::is_same_v<T, unsigned int> ||
           std::is_same_v<T, unsigned long long>;
  }
};

#endif  // KVTSIM_EXPORTED_KVTSIMRPM_SWAPPER_H_
