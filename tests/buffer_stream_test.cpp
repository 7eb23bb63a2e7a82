// Buffer streams and the stored forms of strings, integers and locators.

#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "KVTSimExc.h"
#include "KVTSimRpm_BStreamReadBuffer.h"
#include "KVTSimRpm_BStreamWriteBuffer.h"
#include "KVTSimRpm_Document.h"
#include "KVTSimRpm_Swapper.h"
#include "kvtsim_test_util.h"

namespace {

using Doc = KVTSimRpm_Document;
using kvtsim_test::Raises;
using kvtsim_test::U32;

class BufferStreamTest : public kvtsim_test::WritableFileTest {
 protected:
  BufferStreamTest() : pool_(file_.Pool()) {}

  // The stored bytes of s.
  std::string Stored(KVTString const& s) {
    char buffer[64];
    KVTSimRpm_BStreamWriteBuffer out(buffer, sizeof buffer);
    out.Write(s);
    std::size_t n = (s.GetLengthInByte() + 3) / 4 * 4 + 4;
    return std::string(buffer, n);
  }

  std::string StoredLocator(KVTSimRpm_Locator const& at) {
    char buffer[12];
    KVTSimRpm_BStreamWriteBuffer out(buffer, sizeof buffer, pool_);
    Externalize(out, at);
    return std::string(buffer, sizeof buffer);
  }

  KVTSimRpm_Pool pool_;
};

}  // namespace

TEST_F(BufferStreamTest, StringsAreStoredWithLengthAndPaddingToFour) {
  EXPECT_EQ(Stored(KVTString("abcde")), std::string("\x05\0\0\0abcde\0\0\0", 12));
  EXPECT_EQ(Stored(KVTString("abcd")), std::string("\x04\0\0\0abcd", 8));
  EXPECT_EQ(Stored(KVTString()), std::string(4, '\0'));

  std::string bytes = Stored(KVTString("abcde")) + Stored(KVTString());
  KVTSimRpm_BStreamReadBuffer in(bytes.data(), bytes.size());
  KVTString text("unchanged");
  in.Read(text);
  EXPECT_STREQ(text.CStr(), "abcde");
  in.Read(text);
  EXPECT_TRUE(text.IsEmpty());
}

TEST_F(BufferStreamTest, DamagedStringsRaiseLeavingStringAndPositionAsTheyWere) {
  KVTString text("kept");
  std::string negative = U32(0xFFFFFFF0u) + "abcd";
  KVTSimRpm_BStreamReadBuffer in(negative.data(), negative.size());
  EXPECT_THROW(in.Read(text), KVTSimExcRequestTooBig);
  EXPECT_EQ(std::string(in.PrepRead(4), 4), negative.substr(0, 4));
  // A text of 20 bytes with 18 left fails as one request for the whole
  // stored string, before any of it is taken.
  std::string truncated = U32(20) + std::string(18, 'x');
  KVTSimRpm_BStreamReadBuffer in2(truncated.data(), truncated.size());
  EXPECT_TRUE(Raises<KVTSimExcShortBuffer>([&] { in2.Read(text); }, 24, 22));
  EXPECT_EQ(std::string(in2.PrepRead(22), 22), truncated);
  // A length far beyond the bytes present is met before any allocation.
  std::string huge = U32(INT_MAX) + "abcdefgh";
  KVTSimRpm_BStreamReadBuffer in3(huge.data(), huge.size());
  EXPECT_TRUE(Raises<KVTSimExcShortBuffer>([&] { in3.Read(text); }, 4u + (1u << 31), 12));
  EXPECT_STREQ(text.CStr(), "kept");
}

TEST_F(BufferStreamTest, StreamsThatCannotLookAheadReadStringsInPieces) {
  std::string bytes =
      Stored(KVTString("a text longer than one piece")) + U32(40) + std::string(30, 'y');
  KVTSimRpm_BStreamReadBuffer buffer(bytes.data(), bytes.size());
  kvtsim_test::ForwardingStream in(buffer);
  EXPECT_EQ(in.PeekRead(4), nullptr);
  KVTString text;
  in.Read(text);
  EXPECT_STREQ(text.CStr(), "a text longer than one piece");
  // The piece that found the end was of 16 bytes.
  EXPECT_TRUE(Raises<KVTSimExcShortBuffer>([&] { in.Read(text); }, 16, 14));
}

TEST_F(BufferStreamTest, ShortBufferReportsRequestAndRemainderAndKeepsPosition) {
  char six[6] = {1, 0, 0, 0, 2, 0};
  KVTSimRpm_BStreamReadBuffer in(six, sizeof six);
  int value = 0;
  Internalize(in, value);
  EXPECT_EQ(value, 1);
  EXPECT_TRUE(Raises<KVTSimExcShortBuffer>([&] { in.PrepRead(4); }, 4, 2));
  EXPECT_EQ(in.PrepRead(2)[0], 2);
  in.Read(nullptr, 0);
  EXPECT_EQ(kvtsim_test::FailedCheck([&] { in.PrepRead(0); }), "requestedLength > 0");

  char out[3];
  KVTSimRpm_BStreamWriteBuffer writer(out, sizeof out);
  EXPECT_THROW(Externalize(writer, value), KVTSimExcShortBuffer);
  writer.Write("xyz", 3);
  EXPECT_EQ(std::string(out, 3), "xyz");
}

TEST_F(BufferStreamTest, LocatorsAreStoredAsOffsetAndDirectorySlot) {
  EXPECT_EQ(StoredLocator(KVTSimRpm_Locator()),
            std::string("\0\0\0\0\0\0\0\0\xFF\xFF\xFF\xFF", 12));
  KVTSimRpm_Locator far = pool_.Start() + ((1ull << 32) + 5);
  std::string stored = StoredLocator(far);
  EXPECT_EQ(stored, std::string("\x05\0\0\0\x01\0\0\0\0\0\0\0", 12)) << "own pool: slot 0";

  KVTSimRpm_BStreamReadBuffer in(stored.data(), stored.size(), pool_.Directory());
  KVTSimRpm_Locator back;
  Internalize(in, back);
  EXPECT_TRUE(back == far);
  EXPECT_EQ(back.IMPool(), nullptr);

  std::string none = StoredLocator(KVTSimRpm_Locator());
  KVTSimRpm_BStreamReadBuffer in2(none.data(), none.size(), pool_);
  KVTSimRpm_Locator stillNull;
  Internalize(in2, stillNull);
  EXPECT_TRUE(stillNull.Null());
  EXPECT_EQ(stillNull.Offset(), 0u);

  // Read into a locator that names a pool, a stored null resets only the
  // offset: the locator keeps its pool and is not null.
  KVTSimRpm_BStreamReadBuffer in3(none.data(), none.size(), pool_);
  KVTSimRpm_Locator named = far;
  Internalize(in3, named);
  EXPECT_FALSE(named.Null());
  EXPECT_TRUE(named == pool_.Start());
}

TEST_F(BufferStreamTest, LocatorsNeedADirectoryThatListsTheirPool) {
  char buffer[12] = {};
  KVTSimRpm_BStreamWriteBuffer bare(buffer, sizeof buffer);
  EXPECT_EQ(kvtsim_test::FailedCheck([&] { Externalize(bare, pool_.Start()); }),
            "mPointer && mCounter");
  // A pool made after this one is not in its directory.
  KVTSimRpm_File later = document_.AddFile(dir_.Name("b.sim"), Doc::AccessWrite);
  KVTSimRpm_BStreamWriteBuffer out(buffer, sizeof buffer, pool_);
  EXPECT_THROW(Externalize(out, later.Pool().Start()), KVTSimExcCantExternalizeLoc);
  EXPECT_NO_THROW(Externalize(out, pool_.Start())) << "the failed request used no bytes";

  std::string badSlot = std::string(8, '\0') + U32(7);
  KVTSimRpm_BStreamReadBuffer in(badSlot.data(), badSlot.size(), pool_);
  KVTSimRpm_Locator target;
  EXPECT_EQ(kvtsim_test::FailedCheck([&] { Internalize(in, target); }),
            "slotInDirectory < mMapSlotList.Length()");
}
