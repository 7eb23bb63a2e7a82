// Typed values and arrays through every stream: stored bytes, arrays split
// across chunk boundaries, length limits, and where a stream stands after an
// array failed part-way.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "KVTSimExc.h"
#include "KVTSimRpm_BStreamAppendToPool.h"
#include "KVTSimRpm_BStreamReadBuffer.h"
#include "KVTSimRpm_BStreamReadLocator.h"
#include "KVTSimRpm_BStreamWriteBuffer.h"
#include "KVTSimRpm_BStreamWriteLocator.h"
#include "KVTSimRpm_Document.h"
#include "kvtsim_test_util.h"

namespace {

using kvtsim_test::Raises;

template <typename T>
std::uint64_t BitsOf(T value) {
  std::uint64_t bits = 0;
  std::memcpy(&bits, &value, sizeof(T));
  return bits;
}

// The stored form of value, taken apart arithmetically from its bits.
template <typename T>
std::string LittleEndian(T value) {
  std::uint64_t const bits = BitsOf(value);
  std::string bytes;
  for (std::size_t i = 0; i < sizeof(T); ++i)
    bytes += static_cast<char>(bits >> (8 * i));
  return bytes;
}

template <typename T>
std::string LittleEndian(std::vector<T> const& values) {
  std::string bytes;
  for (T v : values)
    bytes += LittleEndian(v);
  return bytes;
}

// count doubles, among them values whose bits a conversion could disturb.
std::vector<double> Doubles(std::size_t count) {
  double const special[] = {-0.0, std::numeric_limits<double>::infinity(),
                            std::numeric_limits<double>::denorm_min(),
                            std::numeric_limits<double>::quiet_NaN()};
  std::vector<double> values;
  for (std::size_t i = 0; i < count; ++i)
    values.push_back(i % 7 == 3 ? special[i / 7 % 4] : 0.1 * static_cast<double>(i) - 2.5);
  return values;
}

template <typename T>
void ExpectSameBits(std::vector<T> const& got, std::vector<T> const& want) {
  ASSERT_EQ(got.size(), want.size());
  for (std::size_t i = 0; i < got.size(); ++i)
    EXPECT_EQ(BitsOf(got[i]), BitsOf(want[i])) << "value " << i;
}

class StoredValuesTest : public kvtsim_test::WritableFileTest {
 protected:
  // Allocates bytes.size() bytes in the current pool and writes them there.
  KVTSimRpm_Locator Store(std::string const& bytes) {
    KVTSimRpm_Locator at = file_.Allocate(bytes.size());
    at.Write(bytes.size(), bytes.data());
    return at;
  }
};

// Writes value through a buffer stream, expects its stored bytes, reads it
// back and expects the same bits; a further read finds the end.
template <typename T>
void ExpectStoredRoundTrip(T value) {
  char buffer[8];
  KVTSimRpm_BStreamWriteBuffer out(buffer, sizeof(T));
  Externalize(out, value);
  EXPECT_EQ(std::string(buffer, sizeof(T)), LittleEndian(value));
  KVTSimRpm_BStreamReadBuffer in(buffer, sizeof(T));
  T back{};
  Internalize(in, back);
  EXPECT_EQ(BitsOf(back), BitsOf(value));
  EXPECT_THROW(Internalize(in, back), KVTSimExcShortBuffer);
  EXPECT_EQ(BitsOf(back), BitsOf(value)) << "a failed read changed the value";
}

}  // namespace

TEST_F(StoredValuesTest, EveryScalarTypeIsStoredAtItsWidth) {
  ExpectStoredRoundTrip(std::int16_t{-2});
  ExpectStoredRoundTrip(std::uint16_t{0xBEEF});
  ExpectStoredRoundTrip(7);  // the exported int form
  ExpectStoredRoundTrip(0xA1B2C3D4u);
  ExpectStoredRoundTrip(std::int64_t{-3});
  ExpectStoredRoundTrip(-3ll);
  ExpectStoredRoundTrip(std::size_t{5000000000u});  // the int form cut it to 705,032,704
  ExpectStoredRoundTrip(5000000000ull);
  ExpectStoredRoundTrip(1.5f);
  ExpectStoredRoundTrip(1.7125);  // the int form stored 1
  ExpectStoredRoundTrip(std::numeric_limits<double>::quiet_NaN());
  EXPECT_EQ(LittleEndian(1.5), std::string("\x00\x00\x00\x00\x00\x00\xF8\x3F", 8));
}

TEST_F(StoredValuesTest, BufferStreamsCheckTheWholeArrayFirst) {
  std::vector<double> const values = Doubles(5);
  char buffer[36];
  KVTSimRpm_BStreamWriteBuffer out(buffer, sizeof buffer);
  Externalize(out, 5);
  EXPECT_TRUE(Raises<KVTSimExcShortBuffer>([&] { ExternalizeArray(out, values); }, 40, 32));
  ExternalizeArray(out, values.data(), 4);  // the position did not move: exactly fills
  EXPECT_EQ(std::string(buffer + 4, 32),
            LittleEndian(std::vector<double>(values.begin(), values.begin() + 4)));

  KVTSimRpm_BStreamReadBuffer in(buffer, sizeof buffer);
  int count = 0;
  Internalize(in, count);
  std::vector<double> back(5, 9.0);
  EXPECT_THROW(InternalizeArray(in, back.data(), 5), KVTSimExcShortBuffer);
  std::vector<double> kept{9.0};
  EXPECT_THROW(InternalizeArray(in, kept, 5), KVTSimExcShortBuffer);
  ExpectSameBits(back, std::vector<double>(5, 9.0));
  ExpectSameBits(kept, {9.0});
  InternalizeArray(in, back.data(), 4);
  back.pop_back();
  ExpectSameBits(back, std::vector<double>(values.begin(), values.begin() + 4));

  // count 0 asks the stream for nothing, where PrepRead(0) would fail a check.
  KVTSimRpm_BStreamReadBuffer empty(buffer, 0);
  KVTSimRpm_BStreamWriteBuffer full(buffer, 0);
  EXPECT_NO_THROW(InternalizeArray(empty, back.data(), 0));
  EXPECT_NO_THROW(InternalizeArray(empty, kept, 0));
  EXPECT_TRUE(kept.empty());
  EXPECT_NO_THROW(ExternalizeArray(full, values.data(), 0));
}

TEST_F(StoredValuesTest, LocatorStreamsConvertArraysAcrossChunkBoundaries) {
  // A 2-byte value first, so that no piece starts at a chunk's beginning.
  std::vector<double> const values = Doubles(50);
  std::string const expected =
      LittleEndian(std::int16_t{7}) + LittleEndian(values) + LittleEndian(std::uint16_t{0xFFFF});
  KVTSimRpm_Locator const start = file_.Allocate(expected.size());
  {
    KVTSimRpm_BStreamWriteLocator out(start, expected.size(), 16);
    Externalize(out, std::int16_t{7});
    ExternalizeArray(out, values);
    Externalize(out, std::uint16_t{0xFFFF});
    out.Flush();
  }
  EXPECT_EQ(PoolData(), expected);

  for (unsigned long long chunk : {16, 20, 4096}) {
    KVTSimRpm_BStreamReadLocator in(start, 0, chunk);
    std::int16_t first = 0;
    Internalize(in, first);
    std::vector<double> back;
    InternalizeArray(in, back, values.size());
    std::uint16_t last = 0;
    Internalize(in, last);
    EXPECT_EQ(first, 7);
    ExpectSameBits(back, values);
    EXPECT_EQ(last, 0xFFFF) << "chunk " << chunk;
  }
}

TEST_F(StoredValuesTest, LengthLimitsAreCheckedForTheWholeArray) {
  std::vector<float> const values{1.5f, -0.0f, 3.25f, 4.0f, 5.5f};
  KVTSimRpm_Locator const start = Store(std::string(2 + 4 * 5, '\0'));
  {
    KVTSimRpm_BStreamWriteLocator out(start, 2 + 4 * 4, 16);
    Externalize(out, std::int16_t{4});
    EXPECT_TRUE(Raises<KVTSimExcShortBuffer>([&] { ExternalizeArray(out, values); }, 22, 18));
    ExternalizeArray(out, values.data(), 4);
    out.Flush();
  }
  EXPECT_EQ(PoolData(), LittleEndian(std::int16_t{4}) +
                            LittleEndian(std::vector<float>(values.begin(), values.end() - 1)) +
                            std::string(4, '\0'));

  KVTSimRpm_BStreamReadLocator in(start, 2 + 4 * 4, 16);
  std::int16_t count = 0;
  Internalize(in, count);
  std::vector<float> back(5, 9.0f);
  EXPECT_THROW(InternalizeArray(in, back.data(), 5), KVTSimExcShortBuffer);
  EXPECT_EQ(back, std::vector<float>(5, 9.0f)) << "nothing is read when the array passes the limit";
  InternalizeArray(in, back.data(), 4);
  ExpectSameBits(back, {1.5f, -0.0f, 3.25f, 4.0f, 9.0f});
}

TEST_F(StoredValuesTest, APoolEndingPartWayLeavesTheStreamAfterTheLastWholeValue) {
  // Ten values and three stray bytes end the file: no limit tells the
  // stream where the data ends.
  std::vector<double> const values = Doubles(10);
  KVTSimRpm_Locator const start = Store(LittleEndian(values) + "xyz");
  KVTSimRpm_BStreamReadLocator in(start, 0, 32);
  std::vector<double> back(12, 9.0);
  // The request is for one value; three bytes are left.
  EXPECT_TRUE(Raises<KVTSimExcRequestTooBig>(
      [&] { InternalizeArray(in, back.data(), back.size()); }, 8, 3));
  std::vector<double> expected = values;
  expected.push_back(9.0);
  expected.push_back(9.0);
  ExpectSameBits(back, expected);
  EXPECT_EQ(std::string(in.PrepRead(3), 3), "xyz");

  // A damaged count of 2^62 values, or one whose bytes pass 2^64, meets the
  // stream's error, not an allocation of that size.
  std::vector<double> kept{1.0};
  KVTSimRpm_BStreamReadLocator again(start, 0, 32);
  EXPECT_THROW(InternalizeArray(again, kept, std::size_t{1} << 62), KVTSimExcRequestTooBig);
  KVTSimRpm_BStreamReadBuffer memory("abcdefgh", 8);
  EXPECT_THROW(InternalizeArray(memory, kept, std::numeric_limits<std::size_t>::max()),
               KVTSimExcShortBuffer);
  ExpectSameBits(kept, {1.0});
}

TEST_F(StoredValuesTest, AppendStreamAppendsArraysThroughItsBuffer) {
  std::vector<double> const values = Doubles(100);
  std::vector<std::int64_t> const counts{-1, 0, std::numeric_limits<std::int64_t>::max()};
  {
    KVTSimRpm_BStreamAppendToPool out(file_.Pool(), 16);
    Externalize(out, 100);
    ExternalizeArray(out, values);
    ExternalizeArray(out, counts);
    Externalize(out, 2.5f);
    EXPECT_EQ(out.Length(), 4u + 800 + 24 + 4);
    out.Flush();
  }
  EXPECT_EQ(PoolData(),
            LittleEndian(100) + LittleEndian(values) + LittleEndian(counts) + LittleEndian(2.5f));
}

TEST_F(StoredValuesTest, AStreamOfTheCallersOwnIsServedOneValueAtATime) {
  std::string const bytes = LittleEndian(std::vector<double>{1.5, 2.5, 3.5});
  KVTSimRpm_BStreamReadBuffer memory(bytes.data(), bytes.size());
  kvtsim_test::ForwardingStream in(memory);
  std::vector<double> back;
  InternalizeArray(in, back, 3);
  EXPECT_EQ(back, (std::vector<double>{1.5, 2.5, 3.5}));
  EXPECT_EQ(in.requests, (std::vector<unsigned long long>{8, 8, 8}));

  unsigned long long granted = 0;
  EXPECT_EQ(kvtsim_test::FailedCheck([&] { memory.PrepReadSpan(10, 4, granted); }),
            "unit > 0 && wanted >= unit && wanted % unit == 0");
}

TEST_F(StoredValuesTest, StoredSizesLayOutARecordExactly) {
  KVTString const name("probe-7");
  std::vector<double> const values = Doubles(3);
  constexpr unsigned long long kFixed = KVTSimRpm_Swapper::StoredSize<std::int32_t>() +
                                        KVTSimRpm_Locator::kStoredSize +
                                        3 * KVTSimRpm_Swapper::StoredSize<double>();
  unsigned long long const size = kFixed + KVTSimRpm_BStreamWrite::StoredStringSize(name);
  KVTSimRpm_Locator const record = file_.Allocate(size);
  KVTSimRpm_BStreamWriteLocator out(record, size, 64);
  Externalize(out, 3);
  out.Write(name);
  Externalize(out, record);
  ExternalizeArray(out, values);
  EXPECT_THROW(Externalize(out, std::int16_t{0}), KVTSimExcShortBuffer) << "room was left over";
  out.Flush();

  for (std::size_t length = 0; length < 9; ++length) {
    std::string text(length, 'a');
    std::string room(KVTSimRpm_BStreamWrite::StoredStringSize(length), '\0');
    KVTSimRpm_BStreamWriteBuffer exact(&room[0], room.size());
    exact.Write(KVTString(text.c_str()));
    EXPECT_THROW(Externalize(exact, std::int16_t{0}), KVTSimExcShortBuffer) << length;
  }
}
