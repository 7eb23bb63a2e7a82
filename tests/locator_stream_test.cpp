// Locator read and write streams over real pools, and references stored in
// one file that point into another.

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

#include "KVTSimExc.h"
#include "KVTSimRpm_BStreamReadLocator.h"
#include "KVTSimRpm_BStreamWriteLocator.h"
#include "KVTSimRpm_Document.h"
#include "KVTSimRpm_MemoryPool.h"
#include "kvtsim_test_util.h"

namespace {

using Doc = KVTSimRpm_Document;
using kvtsim_test::Raises;

// a.sim holds 200 bytes of data at start_.
class LocatorStreamTest : public kvtsim_test::WritableFileTest {
 protected:
  LocatorStreamTest() : data_(kvtsim_test::RandomBytes(200, 1)), start_(file_.Allocate(200)) {
    start_.Write(data_.size(), data_.data());
  }

  KVTString Name() { return dir_.Name("a.sim"); }

  std::string data_;
  KVTSimRpm_Locator start_;
};

}  // namespace

TEST_F(LocatorStreamTest, LimitAndChunkBoundRequests) {
  KVTSimRpm_BStreamReadLocator limited(start_, 8, 0);  // chunk 0 becomes 16
  limited.PrepRead(4);
  limited.PrepRead(4);
  EXPECT_TRUE(Raises<KVTSimExcShortBuffer>([&] { limited.PrepRead(4); }, 12, 8));
  KVTSimRpm_BStreamReadLocator chunked(start_, 0, 10);
  EXPECT_TRUE(Raises<KVTSimExcRequestTooBig>([&] { chunked.PrepRead(20); }, 20, 16));
  char twenty[20];
  chunked.Read(twenty, 20);  // reads around the buffer
  EXPECT_EQ(std::string(twenty, 20), data_.substr(0, 20));
  EXPECT_THROW(KVTSimRpm_BStreamReadLocator(start_, 0, 1ull << 32), KVTSimExcRequestTooBig);
}

TEST_F(LocatorStreamTest, TruncatedStringsRaiseWithTheWholeStringsNumbersAndTakeNothing) {
  // At the end of the pool: a length field, then ten of the bytes it claims.
  auto storeTruncated = [this](std::uint32_t length) {
    std::string bytes = kvtsim_test::U32(length) + "0123456789";
    KVTSimRpm_Locator at = file_.Allocate(bytes.size());
    at.Write(bytes.size(), bytes.data());
    return at;
  };
  KVTString text("kept");
  KVTSimRpm_Locator within = storeTruncated(20);  // fits one chunk of 64
  KVTSimRpm_BStreamReadLocator in(within, 0, 64);
  EXPECT_TRUE(Raises<KVTSimExcRequestTooBig>([&] { in.Read(text); }, 24, 14));
  KVTSimRpm_Locator beyond = storeTruncated(INT_MAX);  // far more than a chunk
  KVTSimRpm_BStreamReadLocator far(beyond, 0, 16);
  EXPECT_TRUE(Raises<KVTSimExcRequestTooBig>([&] { far.Read(text); }, 4u + (1u << 31), 14));
  EXPECT_EQ(std::string(far.PrepRead(4), 4), kvtsim_test::U32(INT_MAX));

  // A limit is met first, with the end of the whole string and the limit.
  KVTSimRpm_BStreamReadLocator limited(within, 12, 64);
  EXPECT_TRUE(Raises<KVTSimExcShortBuffer>([&] { limited.Read(text); }, 24, 12));
  EXPECT_EQ(std::string(limited.PrepRead(4), 4), kvtsim_test::U32(20));
  EXPECT_STREQ(text.CStr(), "kept");
}

TEST_F(LocatorStreamTest, StringsLongerThanAChunkAreReadWholeOrNotAtAll) {
  std::string text(40, 's');
  KVTSimRpm_Locator at = file_.Allocate(4 + text.size());
  {
    KVTSimRpm_BStreamWriteLocator out(at, 0, 16);
    out.Write(KVTString(text.c_str()));
  }
  KVTString back;
  KVTSimRpm_BStreamReadLocator whole(at, 0, 16);
  whole.Read(back);
  EXPECT_EQ(std::string(back.CStr()), text);

  // Read through an overlay that ends inside the text, the stream's bulk
  // read would stop at the overlay's end: the string is refused instead.
  KVTSimRpm_MemoryPool overlay(at, 20);
  KVTSimRpm_BStreamReadLocator overlaid(KVTSimRpm_Locator(at, overlay), 0, 16);
  back = KVTString("kept");
  EXPECT_TRUE(Raises<KVTSimExcRequestTooBig>([&] { overlaid.Read(back); }, 44, 20));
  EXPECT_STREQ(back.CStr(), "kept");
}

TEST_F(LocatorStreamTest, InterleavedSmallAndLargeReadsKeepStreamOrder) {
  KVTSimRpm_BStreamReadLocator in(start_, 0, 16);
  std::string got(in.PrepRead(4), 4);
  char large[100];
  in.Read(large, 100);
  got.append(large, 100);
  got.append(in.PrepRead(4), 4);
  in.Read(large, 7);
  got.append(large, 7);
  in.Read(large, 50);
  got.append(large, 50);
  EXPECT_EQ(got, data_.substr(0, got.size()));
}

TEST_F(LocatorStreamTest, WritesReachThePoolAtFlush) {
  {
    KVTSimRpm_BStreamWriteLocator out(start_, 0, 16);
    std::memcpy(out.PrepWrite(4), "ABCD", 4);
    char peek[4];
    start_.Read(4, peek);
    EXPECT_EQ(std::string(peek, 4), data_.substr(0, 4)) << "still pending";
    out.Flush();
    start_.Read(4, peek);
    EXPECT_EQ(std::string(peek, 4), "ABCD");
    out.Write(std::string(40, 'w').data(), 40);  // larger than the room: written directly
    std::memcpy(out.PrepWrite(2), "zz", 2);
  }  // the destructor flushes the last two bytes
  char back[46];
  start_.Read(46, back);
  EXPECT_EQ(std::string(back, 46), "ABCD" + std::string(40, 'w') + "zz");
}

TEST_F(LocatorStreamTest, LimitRefusesAWriteWithoutWritingAnyOfIt) {
  KVTSimRpm_BStreamWriteLocator out(start_, 10, 16);
  out.Write("12345678", 8);
  EXPECT_TRUE(Raises<KVTSimExcShortBuffer>([&] { out.Write("abcd", 4); }, 12, 10));
  out.Flush();
  char back[12];
  start_.Read(12, back);
  EXPECT_EQ(std::string(back, 12), "12345678" + data_.substr(8, 4));
  // Past the pool's data the pool itself refuses, at the flush.
  KVTSimRpm_BStreamWriteLocator past(file_.End() - 2, 0, 16);
  std::memcpy(past.PrepWrite(4), "over", 4);
  EXPECT_THROW(past.Flush(), KVTSimExcIOBounds);
}

TEST_F(LocatorStreamTest, ReadOnlyFileRefusesOnlyWhenTheStreamFlushes) {
  document_.Close();
  std::string const before = kvtsim_test::ReadBytes(dir_.File("a.sim"));
  Doc reader("USR1");
  KVTSimRpm_Locator start = reader.AddFile(Name(), Doc::AccessRead).Pool().Start();
  KVTSimRpm_BStreamWriteLocator out(start, 0, 16);
  std::memcpy(out.PrepWrite(4), "ABCD", 4);  // accepted: gathered, not written
  EXPECT_THROW(out.Flush(), KVTSimExcWriteReadOnly);
  testing::internal::CaptureStderr();
  {
    KVTSimRpm_BStreamWriteLocator never(start, 0, 16);
    never.Write("EFGH", 4);
  }  // never flushed: the destructor's flush fails without a word
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(kvtsim_test::ReadBytes(dir_.File("a.sim")), before);
}

TEST_F(LocatorStreamTest, StreamsOverAFrozenPoolThatIsNotLastStopAtItsDataEnd) {
  KVTSimRpm_Pool first = file_.Pool();
  file_.NewPool(nullptr);  // freezes the first pool, with the next one behind it
  file_.Allocate(8).Write(8, "NEXTPOOL");
  document_.Flush();
  std::string const before = kvtsim_test::ReadBytes(dir_.File("a.sim"));
  {
    KVTSimRpm_BStreamWriteLocator out(first.End() - 4, 0, 16);
    out.Write("12345678", 8);
    EXPECT_THROW(out.Flush(), KVTSimExcIOBounds);
  }
  EXPECT_EQ(kvtsim_test::ReadBytes(dir_.File("a.sim")), before) << "the next pool is untouched";
  // A read stream limited to the pool's length ends with its data.
  KVTSimRpm_BStreamReadLocator in(first.Start(), first.Length(), 64);
  std::string all(data_.size(), '\0');
  in.Read(&all[0], static_cast<unsigned int>(all.size()));
  EXPECT_EQ(all, data_);
  EXPECT_TRUE(Raises<KVTSimExcShortBuffer>([&] { in.PrepRead(1); }, 201, 200));
}

// b's pool was made after a's, so its directory lists a's pool at slot 1: the
// stored reference is the data offset, then that slot. Reopened in another
// order, the slot still leads to a's pool.
TEST_F(LocatorStreamTest, ReferencesIntoAnotherFileSurviveReopening) {
  KVTSimRpm_File other = document_.AddFile(dir_.Name("b.sim"), Doc::AccessWrite);
  other.Allocate(16);
  KVTString text("in b");
  KVTSimRpm_Locator record = other.Allocate(12 + 8);
  {
    KVTSimRpm_BStreamWriteLocator out(record, 20, 64);
    Externalize(out, start_ + 5);
    out.Write(text);
    out.Flush();
  }
  document_.Close();

  Doc reader("USR1");
  KVTSimRpm_File b = reader.AddFile(dir_.Name("b.sim"), Doc::AccessRead);
  KVTSimRpm_File a = reader.AddFile(Name(), Doc::AccessRead);
  KVTSimRpm_BStreamReadLocator in(b.Pool().Start() + 16, 20, 64);
  char stored[12];
  (b.Pool().Start() + 16).Read(12, stored);
  EXPECT_EQ(std::string(stored, 12), std::string("\x05\0\0\0\0\0\0\0", 8) + kvtsim_test::U32(1));
  KVTSimRpm_Locator back;
  Internalize(in, back);
  KVTString backText;
  in.Read(backText);
  EXPECT_EQ(backText, text);
  EXPECT_TRUE(back == a.Pool().Start() + 5);
  char byte = 0;
  back.Read(1, &byte);
  EXPECT_EQ(byte, data_[5]);
}
