// Byte-order conversion of stored scalars.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "KVTBasAssertException.h"
#include "KVTSimRpm_Swapper.h"

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
};

namespace {

using Peer = KVTSimRpm_SwapperTraitsTestPeer;

std::string Bytes(char const* p, int n) {
  return std::string(p, static_cast<std::size_t>(n));
}

}  // namespace

TEST(SwapperTest, ScalarsAreStoredLeastSignificantByteFirst) {
  char buffer[16];
  std::memset(buffer, 0x55, sizeof buffer);
  unsigned long long wide = 0x0102030405060708ull;
  EXPECT_EQ(KVTSimRpm_Swapper::ExternalizeScalar(buffer + 1, wide), 8u);
  EXPECT_EQ(Bytes(buffer, 10), "\x55\x08\x07\x06\x05\x04\x03\x02\x01\x55");
  unsigned long long back = 0;
  EXPECT_EQ(KVTSimRpm_Swapper::InternalizeScalar(buffer + 1, back), 8u);
  EXPECT_EQ(back, wide);

  EXPECT_EQ(KVTSimRpm_Swapper::ExternalizeScalar(buffer, -2), 4u);
  EXPECT_EQ(Bytes(buffer, 5), "\xFE\xFF\xFF\xFF\x05");
  int negative = 0;
  KVTSimRpm_Swapper::InternalizeScalar(buffer, negative);
  EXPECT_EQ(negative, -2);

  unsigned int u = 0xA1B2C3D4u;
  KVTSimRpm_Swapper::ExternalizeScalar(buffer + 3, u);  // any address works
  EXPECT_EQ(Bytes(buffer + 3, 4), "\xD4\xC3\xB2\xA1");
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

TEST(SwapperTest, ArraysConvertCountTimesWidth) {
  std::uint32_t values[3] = {1, 0x01020304u, 0xFFFFFFFFu};
  char stored[13];
  std::memset(stored, 0x55, sizeof stored);
  Peer::ExternalizeArray<4>(stored, values, 3);
  EXPECT_EQ(Bytes(stored, 13),
            std::string("\x01\x00\x00\x00\x04\x03\x02\x01\xFF\xFF\xFF\xFF\x55", 13));
  std::uint32_t back[3] = {};
  Peer::InternalizeArray<4>(stored, back, 3);
  EXPECT_EQ(back[1], values[1]);
  EXPECT_EQ(back[2], values[2]);

  Peer::ExternalizeArray<8>(stored, values, 0);  // count 0 copies nothing
  EXPECT_EQ(stored[0], '\x01');
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
  try {
    Peer::CheckAlignment<2>(buffer + 1);
    ADD_FAILURE() << "misaligned pointer accepted";
  } catch (KVTBasAssertException const& e) {
    EXPECT_STREQ(e.Expression(), "!(reinterpret_cast<intptr_t>(p) & 1)");
  }
  EXPECT_THROW(Peer::CheckAlignment<4>(buffer + 2), KVTBasAssertException);
  testing::internal::GetCapturedStderr();
}

TEST(SwapperDeathTest, IllegalSizeAbortsWithMessage) {
  char buffer[8];
  int value = 0;
  EXPECT_DEATH(KVTSimRpm_Swapper::ExternalizeScalarUnsafe(buffer, &value, 3),
               "^Illegal swap size.\n$");
  EXPECT_DEATH(KVTSimRpm_Swapper::InternalizeScalarUnsafe(buffer, &value, 1), "Illegal swap size.");
}
