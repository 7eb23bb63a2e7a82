// The pool header codec: stored bytes, field round trips, and each check and
// the error kind it stands for, on crafted header bytes.

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "KVTSimExc.h"
#include "KVTSimRpm_PoolHeader.h"
#include "kvtsim_test_util.h"

namespace {

using Header = KVTSimRpm_PoolHeader;
using kvtsim_test::U32;

std::string Encoded(Header const& header) {
  std::string bytes(Header::kSize, '\0');
  header.EncodeTo(&bytes[0]);
  return bytes;
}

// A header the loader takes at location 0 in a file of 1000 bytes, as
// stored bytes: user signature USR1, frozen at 500 bytes, 2 entries.
std::string GoodBytes() {
  Header header;
  header.SetUserSignature("USR1");
  header.SetStoredLength(500);
  header.SetEntryCount(2);
  return Encoded(header);
}

Header WithBytes(std::size_t offset, std::string const& bytes) {
  std::string stored = GoodBytes();
  stored.replace(offset, bytes.size(), bytes);
  return Header::Decode(stored.data());
}

}  // namespace

TEST(PoolHeaderTest, EncodesTheStoredLayout) {
  Header header;
  EXPECT_EQ(Encoded(header), kvtsim_test::FormatSignature() + '\x06' + std::string(7, '\0') +
                                 std::string(4, '\0') + std::string(16, '0') + U32(2) + U32(0) +
                                 U32(0));
  header.SetUserSignature("USR1");
  header.SetStoredLength(180);
  header.SetHeaderWords(7, 0xDEADBEEF);
  header.SetEntryCount(-3);
  EXPECT_EQ(Encoded(header), kvtsim_test::FormatSignature() + '\x06' + std::string(7, '\0') +
                                 "USR1" + "0000000000000180" + U32(7) + U32(0xDEADBEEF) + U32(-3));
  // Lengths of 10^16 or more keep their low 16 digits.
  header.SetStoredLength(Header::kMaxRecordLength + 1 + 42);
  EXPECT_EQ(std::string(header.LengthDigits(), Header::kLengthDigits), "0000000000000042");
}

TEST(PoolHeaderTest, DecodeKeepsAnyBytesAndReadsTheFields) {
  std::mt19937 random(12);
  for (int round = 0; round < 100; ++round) {
    std::string bytes(Header::kSize, '\0');
    for (char& c : bytes)
      c = static_cast<char>(random());
    EXPECT_EQ(Encoded(Header::Decode(bytes.data())), bytes);
  }
  Header const header = WithBytes(Header::kVersionOffset, "\x85");
  EXPECT_EQ(header.Version(), 0x85u);
  EXPECT_EQ(std::string(header.UserSignature(), 4), "USR1");
  EXPECT_EQ(header.StoredLength(), 500u);
  EXPECT_FALSE(header.StoredOpen());
  EXPECT_EQ(header.WordA(), Header::kNewWordA);
  EXPECT_EQ(header.WordB(), Header::kNewWordB);
  EXPECT_EQ(header.EntryCount(), 2);
  EXPECT_EQ(header.HeaderLength(), 48u + 64u);
  EXPECT_EQ(header.RecordLength(100, 1000), 500u);

  Header const open = WithBytes(Header::kLengthOffset, std::string(16, '0'));
  EXPECT_TRUE(open.StoredOpen());
  EXPECT_EQ(open.RecordLength(100, 1000), 900u);
  EXPECT_EQ(WithBytes(Header::kLengthOffset + 15, " ").StoredLength(), std::nullopt);
  EXPECT_EQ(WithBytes(Header::kEntryCountOffset, U32(0xFFFFFFFF)).EntryCount(), -1);
}

// The limits of each check, and Check's first fault in the loader's order,
// for a header at location 0 in a file of 1000 bytes. One fault of each kind
// is checked end to end in ChainWalkerTest.WalkerAndLoaderAgreeOnEveryCraftedHeader.
TEST(PoolHeaderTest, EachCheckReportsWhatFailed) {
  struct Case {
    char const* what;
    std::size_t offset;
    std::string bytes;
    Header::Fault fault;
  } const cases[] = {
      {"version 0x86", Header::kVersionOffset, "\x86", Header::FaultVersion},
      {"entry count 0", Header::kEntryCountOffset, U32(0), Header::FaultEntryCount},
      {"negative count", Header::kEntryCountOffset, U32(0x80000000), Header::FaultEntryCount},
      {"count over the limit", Header::kEntryCountOffset, U32(Header::kMaxEntryCount + 1),
       Header::FaultEntryCount},
      {"directory past the end", Header::kEntryCountOffset, U32(31), Header::FaultDirectoryPastEnd},
      {"directory up to the end", Header::kEntryCountOffset, U32(29), Header::FaultRecordLength},
      {"length below the header", Header::kLengthOffset, "0000000000000111",
       Header::FaultRecordLength},
      {"length of the header", Header::kLengthOffset, "0000000000000112", Header::FaultNone},
      // Two faults: the one the loader meets first counts.
      {"signature before version", 0, std::string("x") + std::string(8, '\x05'),
       Header::FaultSignature},
      {"version before user signature", Header::kVersionOffset, "\x05" + std::string(11, 'z'),
       Header::FaultVersion},
  };
  for (Case const& c : cases) {
    Header const header = WithBytes(c.offset, c.bytes);
    EXPECT_EQ(header.Check(0, 1000, "USR1"), c.fault) << c.what;
  }
  Header const other = WithBytes(Header::kUserSignatureOffset, "USR2");
  EXPECT_EQ(other.CheckUserSignature("USR2"), Header::FaultNone);
  EXPECT_EQ(other.Check(0, 1000, nullptr), Header::FaultNone);  // not compared

  // The location counts: an open pool's directory must lie before the end.
  Header const open = WithBytes(Header::kLengthOffset, std::string(16, '0'));
  EXPECT_EQ(open.CheckLayout(888, 1000), Header::FaultNone);
  EXPECT_EQ(open.CheckLayout(889, 1000), Header::FaultDirectoryPastEnd);
  EXPECT_EQ(open.CheckLayout(2000, 1000), Header::FaultDirectoryPastEnd);
  EXPECT_EQ(Header().CheckSignature(), Header::FaultNone);
  EXPECT_EQ(Header().CheckVersion(), Header::FaultNone);
}

// Which error kind each fault raises is checked end to end against the
// loader in chain_walker_test and salvage_test; here, what the error carries.
TEST(PoolHeaderTest, RaiseCarriesTheCallersPlaceAndTheVersionFound) {
  Header const header = WithBytes(Header::kVersionOffset, "\x80");
  try {
    header.Raise(Header::FaultVersion, KVTString("f.sim"), "here.cpp", 7);
    ADD_FAILURE() << "nothing raised";
  } catch (KVTSimExcNeedUpgrade const& e) {
    EXPECT_STREQ(e.File(), "here.cpp");
    EXPECT_EQ(e.Line(), 7);
    EXPECT_EQ(e.CurrentVersion(), 6u);
    EXPECT_EQ(e.FoundVersion(), static_cast<unsigned>(-128));  // the byte counts as signed
    EXPECT_STREQ(e.FileName(), "f.sim");
  }
  EXPECT_EQ(kvtsim_test::FailedCheck(
                [&] { header.Raise(Header::FaultNone, KVTString(""), __FILE__, __LINE__); }),
            "fault != FaultNone");
}
