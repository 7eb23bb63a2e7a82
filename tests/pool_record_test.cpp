// Pool records: the stored header bytes, growth and bounds, and every error
// path of the loader, on real files.

#include <gtest/gtest.h>

#include <string>

#include "KVTSimExc.h"
#include "KVTSimRpm_Document.h"
#include "KVTSimRpm_DocumentImpl.h"
#include "KVTSimRpm_PoolHeader.h"
#include "KVTSimRpm_PoolImpl.h"
#include "kvtsim_test_util.h"

namespace {

using kvtsim_test::Patch;
using kvtsim_test::ReadBytes;
using kvtsim_test::U32;

using Header = KVTSimRpm_PoolHeader;

class PoolRecordTest : public testing::Test {
 protected:
  // The implementation behind a public pool handle.
  static KVTSimRpm_PoolImpl& Impl(KVTSimRpm_Pool const& pool) { return *pool.Impl().Get(); }

  // Writes a file of two pools: the first frozen with 100 data bytes 'a',
  // the second open and empty. Returns the first pool's identifier.
  std::string WriteTwoPools(std::string const& name) {
    KVTSimRpm_Document document("USR1");
    KVTSimRpm_File file = document.AddFile(dir_.Name(name), KVTSimRpm_Document::AccessWrite);
    KVTSimRpm_Locator at = file.Allocate(100);
    Impl(file.Pool()).Write(at.Offset(), 100, std::string(100, 'a').data());
    std::string id = file.Pool().GetGUID().CStr();
    file.NewPool(nullptr);
    document.Close();
    return id;
  }

  kvtsim_test::TempDir dir_;
};

}  // namespace

TEST_F(PoolRecordTest, NewPoolHeaderIsStoredByteForByte) {
  KVTSimRpm_Document document("USR1extra");  // only 4 bytes are the signature
  KVTSimRpm_File file = document.AddFile(dir_.Name("a.sim"), KVTSimRpm_Document::AccessWrite);
  std::string id = file.Pool().GetGUID().CStr();
  EXPECT_EQ(file.Pool().Length(), 0u);
  document.Close();
  std::string expected = kvtsim_test::FormatSignature() + '\x06' + std::string(7, '\0') + "USR1" +
                         std::string(16, '0') + U32(2) + U32(0) + U32(1) + id;
  EXPECT_EQ(ReadBytes(dir_.File("a.sim")), expected);
}

TEST_F(PoolRecordTest, FrozenPoolStoresItsExactLength) {
  std::string first = WriteTwoPools("a.sim");
  std::string bytes = ReadBytes(dir_.File("a.sim"));
  ASSERT_EQ(bytes.size(), 180u + 112u);
  EXPECT_EQ(bytes.substr(Header::kLengthOffset, 16), "0000000000000180");
  EXPECT_EQ(bytes.substr(80, 100), std::string(100, 'a'));
  // The second pool lists itself and the first one; it is stored open.
  EXPECT_EQ(bytes.substr(180 + Header::kLengthOffset, 16), std::string(16, '0'));
  EXPECT_EQ(bytes.substr(180 + Header::kEntryCountOffset, 4), U32(2));
  EXPECT_EQ(bytes.substr(180 + 80, 32), first);
}

TEST_F(PoolRecordTest, AllocateMovesTheEndAndWriteStaysInBounds) {
  KVTSimRpm_Document document("USR1");
  KVTSimRpm_File file = document.AddFile(dir_.Name("a.sim"), KVTSimRpm_Document::AccessWrite);
  KVTSimRpm_Pool pool = file.Pool();
  EXPECT_EQ(pool.Allocate(100).Offset(), 0u);
  EXPECT_EQ(pool.End().Offset(), 100u);
  EXPECT_EQ(Impl(pool).Length(), 180u);
  EXPECT_EQ(pool.Allocate(8).Offset(), 100u);
  EXPECT_TRUE(pool.Allocate(0) == pool.End());

  try {
    Impl(pool).Write(100, 9, "123456789");
    ADD_FAILURE() << "write past the data area";
  } catch (KVTSimExcIOBounds const& e) {
    EXPECT_EQ(e.Start(), 100u);
    EXPECT_EQ(e.End(), 109u);
    EXPECT_EQ(e.Limit(), 108u);
  }
  EXPECT_THROW(Impl(pool).Write(~0ull, 2, "xy"), KVTSimExcIOBounds);  // no wrap-around
  Impl(pool).Write(100, 8, "12345678");
  char back[16] = {};
  // Reads are not bounded by the data length: the file delivers what it has.
  EXPECT_EQ(Impl(pool).Read(104, 16, back), 4u);
  EXPECT_EQ(std::string(back, 4), "5678");
}

TEST_F(PoolRecordTest, FrozenPoolRefusesGrowthButTakesWritesInPlace) {
  WriteTwoPools("a.sim");
  KVTSimRpm_Document document("USR1");
  KVTSimRpm_File file = document.AddFile(dir_.Name("a.sim"), KVTSimRpm_Document::AccessUpdate);
  KVTSimRpm_Pool first = file.Pool(0);
  EXPECT_THROW(first.Allocate(1), KVTSimExcImmutablePool);
  // Only the last pool may be thawed.
  EXPECT_TRUE(kvtsim_test::FailsCheck([&] { Impl(first).Thaw(); }));
  EXPECT_NO_THROW(Impl(file.Pool(1)).Thaw());
  Impl(first).Write(10, 3, "xyz");
  document.Close();
  EXPECT_EQ(ReadBytes(dir_.File("a.sim")).substr(90, 3), "xyz");
}

TEST_F(PoolRecordTest, DumpAfterLoadCarriesHeaderWordsAndClearsReservedBytes) {
  WriteTwoPools("a.sim");
  Patch(dir_.File("a.sim"), Header::kPaddingOffset, "RESERVD");
  Patch(dir_.File("a.sim"), Header::kWordAOffset, U32(7) + U32(0xDEADBEEF));
  std::string before = ReadBytes(dir_.File("a.sim"));
  KVTSimRpm_Document document("USR1");
  KVTSimRpm_File file = document.AddFile(dir_.Name("a.sim"), KVTSimRpm_Document::AccessUpdate);
  Impl(file.Pool(0)).Dump();
  document.Close();
  std::string after = ReadBytes(dir_.File("a.sim"));
  EXPECT_EQ(after.substr(Header::kPaddingOffset, Header::kPaddingSize), std::string(7, '\0'));
  std::size_t const rest = Header::kUserSignatureOffset;
  EXPECT_EQ(after.substr(rest, 180 - rest), before.substr(rest, 180 - rest));
}

TEST_F(PoolRecordTest, NeedUpgradeNamesVersionsAndFile) {
  WriteTwoPools("old.sim");
  Patch(dir_.File("old.sim"), Header::kVersionOffset, "\x05");
  KVTSimRpm_Document document("USR1");
  try {
    document.AddFile(dir_.Name("old.sim"), KVTSimRpm_Document::AccessRead);
    ADD_FAILURE() << "loaded";
  } catch (KVTSimExcNeedUpgrade const& e) {
    EXPECT_EQ(e.CurrentVersion(), 6u);
    EXPECT_EQ(e.FoundVersion(), 5u);
    EXPECT_EQ(std::string(e.FileName()), dir_.File("old.sim"));
  }
}

TEST_F(PoolRecordTest, FailedLoadKeepsNoPoolOfTheFileBound) {
  WriteTwoPools("a.sim");
  std::string good = ReadBytes(dir_.File("a.sim"));
  Patch(dir_.File("a.sim"), 180 + Header::kUserSignatureOffset,
        "USR2");  // first pool loads, second fails
  KVTSimRpm_Document document("USR1");
  EXPECT_THROW(document.AddFile(dir_.Name("a.sim"), KVTSimRpm_Document::AccessRead),
               KVTSimExcUserSigMismatch);
  kvtsim_test::WriteBytes(dir_.File("a.sim"), good);
  // Had the first pool stayed bound, it would now count as already loaded.
  KVTSimRpm_File file = document.AddFile(dir_.Name("a.sim"), KVTSimRpm_Document::AccessRead);
  EXPECT_EQ(file.PoolCount(), 2u);
}

TEST_F(PoolRecordTest, FrozenLastPoolReachingPastTheEndStillOpens) {
  WriteTwoPools("a.sim");
  // A writer killed after allocating but before writing leaves such a file.
  Patch(dir_.File("a.sim"), 180 + Header::kLengthOffset, "0000000000001000");
  KVTSimRpm_Document document("USR1");
  KVTSimRpm_File file = document.AddFile(dir_.Name("a.sim"), KVTSimRpm_Document::AccessRead);
  ASSERT_EQ(file.PoolCount(), 2u);
  EXPECT_EQ(file.Pool().Length(), 1000u - 112u);
  char buffer[64];
  EXPECT_EQ(Impl(file.Pool()).Read(0, sizeof buffer, buffer), 0u);
}
