// The raw chain walk: records as stored, where and why the walk stops, and
// agreement with the loader on every crafted header.

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "KVTSimExc.h"
#include "KVTSimRpm_ChainWalker.h"
#include "KVTSimRpm_Document.h"
#include "KVTSimUttOSError.h"
#include "KVTSimUttSysCalls.h"
#include "kvtsim_test_util.h"

namespace {

using Header = KVTSimRpm_PoolHeader;
using Walker = KVTSimRpm_ChainWalker;
using kvtsim_test::Patch;
using kvtsim_test::ReadBytes;
using kvtsim_test::U32;

// Record lengths of the file WriteThreePools writes: two frozen pools with
// data and an empty open one that lists all three.
constexpr std::uint64_t kFirst = 80 + 100;
constexpr std::uint64_t kSecond = 112 + 50;
constexpr std::uint64_t kThird = 144;

class ChainWalkerTest : public testing::Test {
 protected:
  // Writes the file and returns the identifiers of its pools.
  std::vector<std::string> WriteThreePools(std::string const& name) {
    KVTSimRpm_Document document("USR1");
    KVTSimRpm_File file = document.AddFile(dir_.Name(name), KVTSimRpm_Document::AccessWrite);
    std::vector<std::string> ids;
    for (std::uint64_t data : {100, 50, 0}) {
      if (!ids.empty())
        file.NewPool(nullptr);
      file.Allocate(data);
      ids.push_back(file.Pool().GetGUID().CStr());
    }
    document.Close();
    return ids;
  }

  // The error kind the loader raises for the file, or "" when it loads.
  std::string LoadError(std::string const& name) {
    KVTSimRpm_Document document("USR1");
    try {
      document.AddFile(dir_.Name(name), KVTSimRpm_Document::AccessRead);
    } catch (KVTBasException const& e) {
      return KindOf(e);
    }
    return "";
  }

  // The error kind the walker's verdict stands for: that of the first record
  // it finds refused, or "" when there is none.
  std::string WalkError(std::string const& name) {
    Walker walker(dir_.Name(name), "USR1");
    while (walker.Next()) {
      if (walker.Fault() == Header::FaultNone)
        continue;
      try {
        walker.Header().Raise(walker.Fault(), walker.FileName(), __FILE__, __LINE__);
      } catch (KVTBasException const& e) {
        return KindOf(e);
      }
    }
    return "";
  }

  static std::string KindOf(KVTBasException const& e) {
    std::string text = e.AsString(KVTBasStringModeShort).CStr();
    return text.substr(0, text.find('('));
  }

  kvtsim_test::TempDir dir_;
};

}  // namespace

// Records the loader refuses are walked as stored, each with its fault.
TEST_F(ChainWalkerTest, WalksEachRecordAsStored) {
  std::vector<std::string> ids = WriteThreePools("a.sim");
  Patch(dir_.File("a.sim"), Header::kVersionOffset, "\x05");
  Patch(dir_.File("a.sim"), kFirst + Header::kUserSignatureOffset, "USR2");
  Header::Fault const faults[] = {Header::FaultVersion, Header::FaultUserSignature,
                                  Header::FaultNone};
  Walker walker(dir_.Name("a.sim"), "USR1");
  EXPECT_EQ(walker.FileSize(), kFirst + kSecond + kThird);
  std::uint64_t const lengths[] = {kFirst, kSecond, kThird};
  std::uint64_t location = 0;
  for (unsigned i = 0; i < 3; ++i) {
    ASSERT_TRUE(walker.Next()) << i;
    EXPECT_EQ(walker.Index(), i);
    EXPECT_EQ(walker.Location(), location);
    EXPECT_EQ(walker.HeaderBytes(), Header::kSize);
    EXPECT_EQ(walker.Fault(), faults[i]);
    EXPECT_TRUE(walker.Whole());
    EXPECT_EQ(walker.Length(), lengths[i]);
    EXPECT_EQ(walker.Identifier(), ids[i]);
    EXPECT_EQ(walker.Header().EntryCount(), static_cast<std::int32_t>(i + 1));
    EXPECT_EQ(walker.Header().StoredOpen(), i == 2);  // only the last pool is open
    EXPECT_EQ(walker.StopReason(), Walker::StopNone);
    location += lengths[i];
  }
  EXPECT_FALSE(walker.Next());
  EXPECT_FALSE(walker.Next());
  EXPECT_EQ(walker.StopReason(), Walker::StopChainEnd);
  EXPECT_EQ(walker.StopOffset(), location);
  EXPECT_EQ(walker.Index(), 2u);  // the last record stays current

  char data[4] = {};
  EXPECT_EQ(walker.Read(kFirst - 2, 4, data), 4u);
  EXPECT_EQ(walker.Read(location - 1, 4, data), 1u);
  EXPECT_EQ(walker.Read(location, 4, data), 0u);

  // Without a user signature only the version is refused.
  Walker anySignature(dir_.Name("a.sim"), nullptr);
  ASSERT_TRUE(anySignature.Next());
  ASSERT_TRUE(anySignature.Next());
  EXPECT_EQ(anySignature.Fault(), Header::FaultNone);

  kvtsim_test::WriteBytes(dir_.File("empty.sim"), "");
  Walker empty(dir_.Name("empty.sim"), nullptr);
  EXPECT_FALSE(empty.Next());
  EXPECT_EQ(empty.StopReason(), Walker::StopChainEnd);
  EXPECT_EQ(empty.StopOffset(), 0u);
  EXPECT_THROW(Walker(dir_.Name("missing.sim"), nullptr), KVTSimUttOSError);
}

TEST_F(ChainWalkerTest, StopsWhereTheNextRecordCannotBeFound) {
  WriteThreePools("good.sim");
  std::string const good = ReadBytes(dir_.File("good.sim"));
  struct Case {
    char const* what;
    std::size_t size;  // the file cut to this size
    std::size_t offset;
    std::string bytes;
    Header::Fault fault;  // of the second record
    Walker::Stop stop;
    std::uint64_t stopOffset;
  } const cases[] = {
      {"cut header", kFirst + 47, 0, "", Header::FaultCutShort, Walker::StopBroken, kFirst},
      {"no signature", good.size(), kFirst + 7, "?", Header::FaultSignature, Walker::StopBroken,
       kFirst},
      {"length digits", good.size(), kFirst + Header::kLengthOffset, "x", Header::FaultLengthDigits,
       Walker::StopBroken, kFirst},
      {"directory cut", kFirst + 48 + 63, 0, "", Header::FaultDirectoryPastEnd, Walker::StopBroken,
       kFirst},
      {"frozen past the end", kFirst + kSecond, kFirst + Header::kLengthOffset, "0000000000001000",
       Header::FaultNone, Walker::StopPastEnd, kFirst + 1000},
  };
  for (Case const& c : cases) {
    std::string bytes = good.substr(0, c.size);
    bytes.replace(c.offset, c.bytes.size(), c.bytes);
    kvtsim_test::WriteBytes(dir_.File("bad.sim"), bytes);
    Walker walker(dir_.Name("bad.sim"), "USR1");
    ASSERT_TRUE(walker.Next()) << c.what;
    ASSERT_TRUE(walker.Next()) << c.what;
    EXPECT_EQ(walker.Fault(), c.fault) << c.what;
    EXPECT_EQ(walker.HasExtent(), c.stop == Walker::StopPastEnd) << c.what;
    EXPECT_FALSE(walker.Whole()) << c.what;
    EXPECT_EQ(walker.HeaderBytes(), std::min<std::size_t>(c.size - kFirst, 48)) << c.what;
    EXPECT_FALSE(walker.Next()) << c.what;
    EXPECT_EQ(walker.StopReason(), c.stop) << c.what;
    EXPECT_EQ(walker.StopOffset(), c.stopOffset) << c.what;
  }
}

TEST_F(ChainWalkerTest, AFailedReadLeavesTheWalkerAsItWas) {
  WriteThreePools("a.sim");
  Walker walker(dir_.Name("a.sim"), "USR1");
  ASSERT_TRUE(walker.Next());
  KVTSimUttSysCalls const saved = KVTSimUttSysCalls::Current();
  KVTSimUttSysCalls::Current().PRead = [](int, void*, std::size_t, off_t) -> ssize_t {
    errno = EIO;
    return -1;
  };
  EXPECT_THROW(walker.Next(), KVTSimUttOSError);
  KVTSimUttSysCalls::Current() = saved;
  EXPECT_EQ(walker.Index(), 0u);
  ASSERT_TRUE(walker.Next());
  EXPECT_EQ(walker.Index(), 1u);
  EXPECT_EQ(walker.Location(), kFirst);
}

// The walker judges headers with the loader's own checks: on every crafted
// file, the first record it finds refused names the error kind the loader
// raises, and a file it finds no fault in loads. (Files cut at every offset:
// SalvageTest.FileCutAtEveryOffsetKeepsEveryWholePool, through the walker.)
TEST_F(ChainWalkerTest, WalkerAndLoaderAgreeOnEveryCraftedHeader) {
  struct Damage {
    char const* what;
    std::size_t offset;
    std::string bytes;
    char const* error;
  } const damages[] = {
      {"none", 0, "", ""},
      {"signature", 1, "sim", "KVTSimExcNotSimFile"},
      {"version", Header::kVersionOffset, "\x05", "KVTSimExcNeedUpgrade"},
      {"negative version", Header::kVersionOffset, "\x80", "KVTSimExcNeedUpgrade"},
      {"padding", Header::kPaddingOffset, "RESERVD", ""},
      {"user signature", Header::kUserSignatureOffset, "USR2", "KVTSimExcUserSigMismatch"},
      {"length digit", Header::kLengthOffset + 10, "x", "KVTSimExcCorruptHeader"},
      {"length below header", Header::kLengthOffset, "0000000000000079", "KVTSimExcCorruptHeader"},
      {"entry count 0", Header::kEntryCountOffset, U32(0), "KVTSimExcCorruptDirectory"},
      {"negative entry count", Header::kEntryCountOffset, U32(0xFFFFFFFF),
       "KVTSimExcCorruptDirectory"},
      {"huge entry count", Header::kEntryCountOffset, U32(0x7FFFFFFF), "KVTSimExcCorruptDirectory"},
      {"count past the end", kFirst + kSecond + Header::kEntryCountOffset, U32(5),
       "KVTSimExcCorruptDirectory"},
      {"second pool signature", kFirst, "X", "KVTSimExcNotSimFile"},
      {"second pool version", kFirst + Header::kVersionOffset, "\x07", "KVTSimExcNeedUpgrade"},
      {"second pool stored open", kFirst + Header::kLengthOffset, std::string(16, '0'), ""},
      {"last pool frozen past the end", kFirst + kSecond + Header::kLengthOffset,
       "0000000000009999", ""},
      {"header words", Header::kWordAOffset, U32(9) + U32(9), ""},
  };
  WriteThreePools("good.sim");
  std::string const good = ReadBytes(dir_.File("good.sim"));
  for (Damage const& d : damages) {
    std::string bytes = good;
    bytes.replace(d.offset, d.bytes.size(), d.bytes);
    kvtsim_test::WriteBytes(dir_.File("bad.sim"), bytes);
    EXPECT_EQ(LoadError("bad.sim"), d.error) << d.what;
    EXPECT_EQ(WalkError("bad.sim"), d.error) << d.what;
  }
}
