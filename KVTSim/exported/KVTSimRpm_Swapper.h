// Byte-order conversion of the scalars stored in container files.
//
// The file byte order is little-endian: a 2-, 4- or 8-byte scalar is stored
// least significant byte first; an 8-byte scalar as its low 32-bit word at
// bytes 0-3 and its high word at bytes 4-7, which is the same bytes. The
// stored side is always the first argument, for both directions. Conversions
// touch exactly the scalar's width at the stored side (count times the width
// for arrays), work at any address and keep no state: any thread may call them.
//
// Stored scalar types, each stored as its own width:
//   std::int16_t, std::uint16_t                 2 bytes, two's complement
//   std::int32_t, std::uint32_t                 4 bytes, two's complement
//   std::int64_t, std::uint64_t                 8 bytes, two's complement
//   float                                       4 bytes, IEEE-754 binary32
//   double                                      8 bytes, IEEE-754 binary64
// The 64-bit types are accepted in both spellings (long and long long), so
// std::size_t and unsigned long long work as well. Floating-point values are
// copied as bit patterns: NaN payloads, signed zeros, infinities and
// denormals come back exactly. Any other type (bool, the char types, long
// double, enums, pointers, classes) fails to compile; convert it explicitly.

#ifndef KVTSIM_EXPORTED_KVTSIMRPM_SWAPPER_H_
#define KVTSIM_EXPORTED_KVTSIMRPM_SWAPPER_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#include "KVTSimExport.h"
#include "KVTSimUttCoding.h"

class KVTSimRpm_Swapper;
struct KVTSimRpm_SwapperTraitsTestPeer;

// The compile-time message for a type that is not stored.
#define KVTSIM_STORED_SCALARS_MESSAGE                                                    \
  "not a stored scalar type: the stored scalars are std::int16_t, std::uint16_t, "       \
  "std::int32_t, std::uint32_t, std::int64_t, std::uint64_t (long or long long), float " \
  "and double; convert bool, char types, long double, enums and pointers explicitly, "   \
  "and give a class overloads of its own"

static_assert(std::numeric_limits<float>::is_iec559 && sizeof(float) == 4,
              "float is IEEE-754 binary32");
static_assert(std::numeric_limits<double>::is_iec559 && sizeof(double) == 8,
              "double is IEEE-754 binary64");
static_assert(sizeof(short) == 2 && sizeof(int) == 4 && sizeof(long long) == 8,
              "16-, 32- and 64-bit integers are short, int and long long");

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

  // Stores count consecutive scalars one at a time, each taken apart with
  // shifts of its N-byte value: correct whatever the host's byte order. The
  // array forms of KVTSimRpm_Swapper use it on hosts that are not
  // little-endian (which copy instead), and tests run it on any host.
  static void ExternalizeEach(char* stored, void const* host, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      Bits value;
      std::memcpy(&value, static_cast<char const*>(host) + i * N, N);
      for (int b = 0; b < N; ++b)
        stored[i * N + b] = static_cast<char>(value >> (8 * b));
    }
  }

  // Loads count consecutive scalars one at a time, each put together with
  // shifts from its bytes: the inverse of ExternalizeEach.
  static void InternalizeEach(char const* stored, void* host, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      Bits value = 0;
      for (int b = 0; b < N; ++b)
        value |= static_cast<Bits>(static_cast<unsigned char>(stored[i * N + b])) << (8 * b);
      std::memcpy(static_cast<char*>(host) + i * N, &value, N);
    }
  }

  // Asserts that p is aligned for the width: 2 bytes for N = 2, 4 bytes for
  // N = 4 and for N = 8. Raises KVTBasAssertException otherwise.
  static void CheckAlignment(void const* p);

  // The unsigned integer of N bytes.
  using Bits = std::conditional_t<N == 2, std::uint16_t,
                                  std::conditional_t<N == 4, std::uint32_t, std::uint64_t>>;

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
  // Whether T is one of the stored scalar types listed at the top.
  template <typename T>
  static constexpr bool IsStoredScalar() {
    return std::is_same_v<T, short> || std::is_same_v<T, unsigned short> ||
           std::is_same_v<T, int> || std::is_same_v<T, unsigned int> || std::is_same_v<T, long> ||
           std::is_same_v<T, unsigned long> || std::is_same_v<T, long long> ||
           std::is_same_v<T, unsigned long long> || std::is_same_v<T, float> ||
           std::is_same_v<T, double>;
  }

  // The bytes a stored T takes in a file: 2, 4 or 8. For record layouts:
  //   constexpr auto kHeader = KVTSimRpm_Swapper::StoredSize<std::int32_t>() +
  //                            4 * KVTSimRpm_Swapper::StoredSize<double>();
  template <typename T>
  static constexpr unsigned int StoredSize() {
    static_assert(IsStoredScalar<T>(), KVTSIM_STORED_SCALARS_MESSAGE);
    return sizeof(T);
  }

  // Writes value in file order at stored; returns the bytes written (the
  // width of T). T is a stored scalar type.
  template <typename T>
  static unsigned int ExternalizeScalar(char* stored, T const& value) {
    static_assert(IsStoredScalar<T>(), KVTSIM_STORED_SCALARS_MESSAGE);
    KVTSimRpm_SwapperTraits<sizeof(T)>::Externalize(stored, &value);
    return sizeof(T);
  }

  // Reads value from file order at stored; returns the bytes read.
  template <typename T>
  static unsigned int InternalizeScalar(char const* stored, T& value) {
    static_assert(IsStoredScalar<T>(), KVTSIM_STORED_SCALARS_MESSAGE);
    KVTSimRpm_SwapperTraits<sizeof(T)>::Internalize(stored, &value);
    return sizeof(T);
  }

  // Writes count values one after another in file order at stored (count
  // times the width of T bytes); returns that byte count. A little-endian
  // host copies them as one block. count 0 touches nothing, and values may
  // then be null. REQUIRES: stored and values do not overlap.
  template <typename T>
  static std::size_t ExternalizeArray(char* stored, T const* values, std::size_t count) {
    static_assert(IsStoredScalar<T>(), KVTSIM_STORED_SCALARS_MESSAGE);
    if (count == 0)
      return 0;
    if constexpr (kvtsim_coding::kLittleEndianHost)
      std::memcpy(stored, values, count * sizeof(T));
    else
      KVTSimRpm_SwapperTraits<sizeof(T)>::ExternalizeEach(stored, values, count);
    return count * sizeof(T);
  }

  // Reads count values stored one after another at stored into values;
  // returns the bytes read. As ExternalizeArray otherwise.
  template <typename T>
  static std::size_t InternalizeArray(char const* stored, T* values, std::size_t count) {
    static_assert(IsStoredScalar<T>(), KVTSIM_STORED_SCALARS_MESSAGE);
    if (count == 0)
      return 0;
    if constexpr (kvtsim_coding::kLittleEndianHost)
      std::memcpy(values, stored, count * sizeof(T));
    else
      KVTSimRpm_SwapperTraits<sizeof(T)>::InternalizeEach(stored, values, count);
    return count * sizeof(T);
  }

  // Writes one scalar of size bytes (2, 4 or 8) from host; returns size. Any
  // other size writes "Illegal swap size.\n" to standard error and aborts.
  static unsigned int ExternalizeScalarUnsafe(char* stored, void const* host, int size);

  // Reads one scalar of size bytes (2, 4 or 8) into host; returns size. Any
  // other size writes "Illegal swap size.\n" to standard error and aborts.
  static unsigned int InternalizeScalarUnsafe(char const* stored, void* host, int size);
};

namespace kvtsim_stored {

template <typename T>
inline constexpr bool kNever = false;

// Whether the scalar overloads of Externalize and Internalize take T whole,
// stored or refused: every type that is not a class, and the classes that
// convert to a number, which would otherwise reach a stored overload
// through that conversion.
template <typename T>
inline constexpr bool kScalarCandidate =
    !std::is_class_v<T> || std::is_convertible_v<T, long double> || std::is_convertible_v<T, bool>;

// The parameter of the fallback overloads for classes without an overload
// of their own. Reaching it takes a user-defined conversion, so a caller's
// overload for a base class still wins; the conversion fails to compile.
struct NotStored {
  template <typename T>
  NotStored(T const&) {  // NOLINT: implicit on purpose
    static_assert(kNever<T>, KVTSIM_STORED_SCALARS_MESSAGE);
  }
};

}  // namespace kvtsim_stored

#endif  // KVTSIM_EXPORTED_KVTSIMRPM_SWAPPER_H_
