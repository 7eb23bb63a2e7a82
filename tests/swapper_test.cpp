// Byte-order conversion of stored scalars.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "KVTBasAssertException.h"
#include "KVTSimRpm_Swapper.h"
#include "kvtsim_test_util.h"

struct KVTSimRpm_SwapperTraitsTestPeer {
  template <int N>
  static void CheckAlignment(void const* p) {
    KVTSimRpm_SwapperTraits<N>::CheckAlignment(p);
  }
  template <int N>
  static void ExternalizeArray(char* stored, void const* host, int count) {
    KVTSimRpm_SwapperTraits<N>::ExternalizeArray(stored, host, count);
  }
  template <int N>
  static void InternalizeArray(char const* stored, void* host, int count) {
    KVTSimRpm_SwapperTraits<N>::InternalizeArray(stored, host, count);
  }
  template <int N>
  static void ExternalizeEach(char* stored, void const* host, std::size_t count) {
    KVTSimRpm_SwapperTraits<N>::ExternalizeEach(stored, host, count);
  }
  template <int N>
  static void InternalizeEach(char const* stored, void* host, std::size_t count) {
    KVTSimRpm_SwapperTraits<N>::InternalizeEach(stored, host, count);
  }
};

namespace {

using Peer = KVTSimRpm_SwapperTraitsTestPeer;

std::string Bytes(char const* p, int n) {
  return std::string(p, static_cast<std::size_t>(n));
}

template <typename T>
std::string StoredBytes(T value) {
  char buffer[sizeof(T) + 1];
  std::memset(buffer, 0x55, sizeof buffer);
  EXPECT_EQ(KVTSimRpm_Swapper::ExternalizeScalar(buffer, value), sizeof(T));
  EXPECT_EQ(buffer[sizeof(T)], '\x55') << "wrote past the value";
  return std::string(buffer, sizeof(T));
}

template <typename T>
T Loaded(std::string const& stored) {
  T value{};
  EXPECT_EQ(KVTSimRpm_Swapper::InternalizeScalar(stored.data(), value), sizeof(T));
  return value;
}

// The value's bits: NaNs compare unequal to themselves, and -0.0 equal to 0.0.
template <typename T>
std::string Bits(T value) {
  return std::string(reinterpret_cast<char const*>(&value), sizeof(T));
}

template <typename T>
void ExpectBitExactRoundTrip(T value) {
  EXPECT_EQ(Bits(Loaded<T>(StoredBytes(value))), Bits(value));
}

template <typename T, typename U>
T FromBits(U bits) {
  static_assert(sizeof(T) == sizeof(U));
  T value;
  std::memcpy(&value, &bits, sizeof(T));
  return value;
}

// bytes pseudo-random bytes.
std::vector<char> RandomValues(std::size_t bytes) {
  std::mt19937_64 random(bytes);
  std::vector<char> data(bytes);
  for (char& c : data)
    c = static_cast<char>(random());
  return data;
}

}  // namespace

TEST(SwapperTest, EveryStoredTypeHasItsLittleEndianPattern) {
  EXPECT_EQ(StoredBytes<std::int16_t>(-2), "\xFE\xFF");
  EXPECT_EQ(StoredBytes<std::uint16_t>(0xBEEF), "\xEF\xBE");
  EXPECT_EQ(StoredBytes<std::int32_t>(-2), "\xFE\xFF\xFF\xFF");
  EXPECT_EQ(StoredBytes<std::uint32_t>(0xA1B2C3D4u), "\xD4\xC3\xB2\xA1");
  EXPECT_EQ(StoredBytes<std::int64_t>(-2), "\xFE\xFF\xFF\xFF\xFF\xFF\xFF\xFF");
  // The 64-bit spellings: long and long long, and the library types on them.
  std::string const wide("\x00\xF2\x05\x2A\x01\x00\x00\x00", 8);  // 5,000,000,000
  EXPECT_EQ(StoredBytes<std::size_t>(5000000000u), wide);
  EXPECT_EQ(StoredBytes<std::uint64_t>(5000000000u), wide);
  EXPECT_EQ(StoredBytes<unsigned long long>(5000000000u), wide);
  EXPECT_EQ(StoredBytes<long long>(5000000000), wide);
  EXPECT_EQ(Loaded<unsigned long>(wide), 5000000000u);
  EXPECT_EQ(StoredBytes(1.5f), std::string("\x00\x00\xC0\x3F", 4));
  EXPECT_EQ(StoredBytes(1.5), std::string("\x00\x00\x00\x00\x00\x00\xF8\x3F", 8));
  EXPECT_EQ(Loaded<double>(std::string("\x00\x00\x00\x00\x00\x00\xF8\x3F", 8)), 1.5);
  EXPECT_EQ(StoredBytes(-0.0), std::string("\x00\x00\x00\x00\x00\x00\x00\x80", 8));
  // Any address works: stored one byte in, and read back from there.
  char buffer[10];
  std::memset(buffer, 0x55, sizeof buffer);
  EXPECT_EQ(KVTSimRpm_Swapper::ExternalizeScalar(buffer + 1, 0x0102030405060708ull), 8u);
  EXPECT_EQ(Bytes(buffer, 10), "\x55\x08\x07\x06\x05\x04\x03\x02\x01\x55");
  unsigned long long back = 0;
  EXPECT_EQ(KVTSimRpm_Swapper::InternalizeScalar(buffer + 1, back), 8u);
  EXPECT_EQ(back, 0x0102030405060708ull);
}

TEST(SwapperTest, EdgeValuesComeBackBitForBit) {
  using D = std::numeric_limits<double>;
  using F = std::numeric_limits<float>;
  for (double d : {0.0, -0.0, D::infinity(), -D::infinity(), D::denorm_min(), -D::denorm_min(),
                   D::min(), D::max(), D::lowest(), D::epsilon(), 1.7125, D::quiet_NaN(),
                   FromBits<double>(0x7FF0000000000001ull),     // signalling NaN, payload 1
                   FromBits<double>(0xFFF8DEADBEEF0123ull)}) {  // negative quiet NaN, payload
    ExpectBitExactRoundTrip(d);
  }
  for (float f : {0.0f, -0.0f, F::infinity(), -F::infinity(), F::denorm_min(), F::min(), F::max(),
                  FromBits<float>(0x7F800001u), FromBits<float>(0xFFC0BEEFu)}) {
    ExpectBitExactRoundTrip(f);
  }
  ExpectBitExactRoundTrip(std::numeric_limits<std::int16_t>::min());
  ExpectBitExactRoundTrip(std::numeric_limits<std::uint16_t>::max());
  ExpectBitExactRoundTrip(std::numeric_limits<std::int32_t>::min());
  ExpectBitExactRoundTrip(std::numeric_limits<std::int64_t>::min());
  ExpectBitExactRoundTrip(std::numeric_limits<std::int64_t>::max());
  ExpectBitExactRoundTrip(std::numeric_limits<std::uint64_t>::max());
  // The NaN's payload is in the stored bytes too, not only in the host value.
  EXPECT_EQ(StoredBytes(FromBits<double>(0x7FF0000000000001ull)),
            std::string("\x01\x00\x00\x00\x00\x00\xF0\x7F", 8));
}

TEST(SwapperTest, TypedArraysStoreEachValueAsItsScalar) {
  double const values[3] = {1.5, -0.0, 2.0};
  char stored[25];
  std::memset(stored, 0x55, sizeof stored);
  EXPECT_EQ(KVTSimRpm_Swapper::ExternalizeArray(stored + 1, values, 3), 24u);  // any address
  EXPECT_EQ(Bytes(stored, 25), std::string("\x55"
                                           "\x00\x00\x00\x00\x00\x00\xF8\x3F"
                                           "\x00\x00\x00\x00\x00\x00\x00\x80"
                                           "\x00\x00\x00\x00\x00\x00\x00\x40",
                                           25));
  double back[4] = {9, 9, 9, 9};
  EXPECT_EQ(KVTSimRpm_Swapper::InternalizeArray(stored + 1, back, 3), 24u);
  EXPECT_EQ(Bits(back[1]), Bits(-0.0));
  EXPECT_EQ(back[2], 2.0);
  EXPECT_EQ(back[3], 9.0) << "read past count";

  std::memset(stored, 0x55, sizeof stored);
  std::int16_t shorts[2] = {-2, 0x0102};
  EXPECT_EQ(KVTSimRpm_Swapper::ExternalizeArray(stored, shorts, 2), 4u);
  std::uint32_t words[2] = {0x01020304u, 0xFFFFFFFEu};
  EXPECT_EQ(KVTSimRpm_Swapper::ExternalizeArray(stored + 5, words, 2), 8u);
  EXPECT_EQ(Bytes(stored, 14), "\xFE\xFF\x02\x01\x55\x04\x03\x02\x01\xFE\xFF\xFF\xFF\x55");
  std::uint32_t wordsBack[3] = {9, 9, 9};
  EXPECT_EQ(KVTSimRpm_Swapper::InternalizeArray(stored + 5, wordsBack, 2), 8u);
  EXPECT_EQ(wordsBack[1], words[1]);
  EXPECT_EQ(wordsBack[2], 9u) << "read past count";
  EXPECT_EQ(KVTSimRpm_Swapper::ExternalizeArray<float>(stored, nullptr, 0), 0u);
  EXPECT_EQ(stored[0], '\xFE') << "count 0 wrote";
}

// The conversion of big-endian hosts, run here: its bytes must equal the
// little-endian copy this host makes (whose bytes the tests above check).
template <int N>
void ExpectPortablePathMatchesCopy() {
  std::size_t const count = 1000;
  std::vector<char> host = RandomValues(count * N);
  std::vector<char> copied(count * N + 1, '\x55');
  std::vector<char> portable(count * N + 1, '\x55');
  Peer::ExternalizeArray<N>(copied.data(), host.data(), static_cast<int>(count));
  Peer::ExternalizeEach<N>(portable.data(), host.data(), count);
  EXPECT_EQ(portable, copied) << "width " << N;
  std::vector<char> back(count * N);
  Peer::InternalizeEach<N>(portable.data(), back.data(), count);
  EXPECT_EQ(back, host) << "width " << N;
}

TEST(SwapperTest, PortableArrayPathAgreesWithTheLittleEndianCopy) {
  ExpectPortablePathMatchesCopy<2>();
  ExpectPortablePathMatchesCopy<4>();
  ExpectPortablePathMatchesCopy<8>();
}

TEST(SwapperTest, UntypedFormsWriteExactlyTheirSize) {
  char buffer[10];
  std::memset(buffer, 0x55, sizeof buffer);
  std::uint16_t small = 0xBEEF;
  EXPECT_EQ(KVTSimRpm_Swapper::ExternalizeScalarUnsafe(buffer, &small, 2), 2u);
  EXPECT_EQ(Bytes(buffer, 3), "\xEF\xBE\x55");

  std::uint64_t wide = 0x1122334455667788ull;
  EXPECT_EQ(KVTSimRpm_Swapper::ExternalizeScalarUnsafe(buffer + 1, &wide, 8), 8u);
  EXPECT_EQ(Bytes(buffer, 10), "\xEF\x88\x77\x66\x55\x44\x33\x22\x11\x55");
  std::uint64_t wideBack = 0;
  EXPECT_EQ(KVTSimRpm_Swapper::InternalizeScalarUnsafe(buffer + 1, &wideBack, 8), 8u);
  EXPECT_EQ(wideBack, wide);
  std::uint32_t word = 0;
  EXPECT_EQ(KVTSimRpm_Swapper::InternalizeScalarUnsafe(buffer + 1, &word, 4), 4u);
  EXPECT_EQ(word, 0x55667788u);
}

TEST(SwapperTest, AlignmentChecksDemandTwoFourAndFourBytes) {
  alignas(8) char buffer[16];
  EXPECT_NO_THROW(Peer::CheckAlignment<2>(buffer + 2));
  EXPECT_NO_THROW(Peer::CheckAlignment<8>(buffer + 4));  // 4- but not 8-byte aligned
  testing::internal::CaptureStderr();
  try {
    Peer::CheckAlignment<8>(buffer + 2);
    ADD_FAILURE() << "misaligned pointer accepted";
  } catch (KVTBasAssertException const& e) {
    EXPECT_STREQ(e.Expression(), "!(reinterpret_cast<intptr_t>(p) & 3)");
    EXPECT_NE(std::string(e.File()).find("KVTSimRpm_Swapper"), std::string::npos);
  }
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(kvtsim_test::FailedCheck([&] { Peer::CheckAlignment<2>(buffer + 1); }),
            "!(reinterpret_cast<intptr_t>(p) & 1)");
  EXPECT_TRUE(kvtsim_test::FailsCheck([&] { Peer::CheckAlignment<4>(buffer + 2); }));
}

TEST(SwapperDeathTest, IllegalSizeAbortsWithMessage) {
  char buffer[8];
  int value = 0;
  EXPECT_DEATH(KVTSimRpm_Swapper::ExternalizeScalarUnsafe(buffer, &value, 3),
               "^Illegal swap size.\n$");
  EXPECT_DEATH(KVTSimRpm_Swapper::InternalizeScalarUnsafe(buffer, &value, 1), "Illegal swap size.");
}
