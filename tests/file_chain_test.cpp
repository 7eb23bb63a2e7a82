// Files as chains of pools: opening in each mode, new and appended pools,
// files reopened for update whose last pool is not what a clean close leaves,
// read-only refusals, and failed writes that must leave the file as it was.

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "KVTSimExc.h"
#include "KVTSimRpm_Document.h"
#include "KVTSimRpm_DocumentImpl.h"
#include "KVTSimRpm_PoolImpl.h"
#include "KVTSimRpm_PoolMap.h"
#include "KVTSimUttOSError.h"
#include "KVTSimUttSysCalls.h"
#include "kvtsim_test_util.h"

namespace {

int gWritesBeforeFailure = 0;  // writes that succeed before the failing one

// Fails one write, the disk full after ten of its bytes.
ssize_t PWriteFailingOnce(int fd, void const* buffer, std::size_t count, off_t offset) {
  if (gWritesBeforeFailure-- != 0)
    return KVTSimUttSysCalls::Real().PWrite(fd, buffer, count, offset);
  KVTSimUttSysCalls::Real().PWrite(fd, buffer, count < 10 ? count : 10, offset);
  return errno = ENOSPC, -1;
}

using Doc = KVTSimRpm_Document;
using kvtsim_test::ReadBytes;

// Runs action with its first write failing, then its second, and so on until
// it runs through; unchanged() checks what each failure left. Returns the
// number of failures.
template <typename Action, typename Check>
int FailEachWriteInTurn(Action action, Check unchanged) {
  for (int failures = 0;; ++failures) {
    gWritesBeforeFailure = failures;
    KVTSimUttSysCalls::Current().PWrite = PWriteFailingOnce;
    bool failed = false;
    try {
      action();
    } catch (KVTSimUttOSError const& e) {
      failed = e.ErrorNumber() == ENOSPC;
    }
    KVTSimUttSysCalls::Current() = KVTSimUttSysCalls::Real();
    if (!failed)
      return failures;
    unchanged();
  }
}

class FileChainTest : public testing::Test {
 protected:
  static KVTSimRpm_PoolImpl& Impl(KVTSimRpm_Pool const& pool) { return *pool.Impl().Get(); }

  // Allocates n bytes at the end of the file's current pool and fills them.
  static void Append(KVTSimRpm_File& file, std::string const& bytes) {
    KVTSimRpm_Locator at = file.Allocate(bytes.size());
    Impl(file.Pool()).Write(at.Offset(), bytes.size(), bytes.data());
  }

  // Writes a file of three pools holding "one", "two" and "three".
  void WriteThreePools(std::string const& name) {
    Doc document("USR1");
    KVTSimRpm_File file = document.AddFile(dir_.Name(name), Doc::AccessWrite);
    Append(file, "one");
    file.NewPool(nullptr);
    Append(file, "two");
    file.NewPool(nullptr);
    Append(file, "three");
    document.Close();
  }

  // The pool's data, as many bytes as its length; past the end of its file
  // they read as zeros.
  static std::string Data(KVTSimRpm_Pool const& pool) {
    std::string bytes(pool.Length(), '\0');
    pool.Start().Read(bytes.size(), &bytes[0]);
    return bytes;
  }

  // Reopens the file for update and adds a pool holding "new pool".
  void AddPoolOnReopen(std::string const& name) {
    Doc document("USR1");
    KVTSimRpm_File file = document.AddFile(dir_.Name(name), Doc::AccessUpdate);
    file.NewPool(nullptr);
    file.Allocate(8).Write(8, "new pool");
    document.Close();
  }

  kvtsim_test::TempDir dir_;
};

}  // namespace

TEST_F(FileChainTest, ReadOnlyFileHandsOutItsPoolsAndRefusesChanges) {
  WriteThreePools("a.sim");
  Doc document("USR1");
  KVTSimRpm_File file = document.AddFile(dir_.Name("a.sim"), Doc::AccessRead);
  EXPECT_TRUE(file.ReadOnly());
  ASSERT_EQ(file.PoolCount(), 3u);
  EXPECT_EQ(Data(file.Pool()), "three");
  EXPECT_EQ(Data(file.Pool(0)), "one");
  EXPECT_EQ(kvtsim_test::FailedCheck([&] { file.Pool(3); }), "index < mPoolContainer.Length()");

  EXPECT_THROW(file.Allocate(1), KVTSimExcImmutablePool);
  EXPECT_THROW(file.NewPool(nullptr), KVTSimExcNewPoolReadOnly);
  EXPECT_THROW(Impl(file.Pool()).Write(0, 1, "x"), KVTSimExcWriteReadOnly);
  EXPECT_THROW(Impl(file.Pool()).Dump(), KVTSimExcWriteReadOnly);
  document.Close();
  EXPECT_EQ(ReadBytes(dir_.File("a.sim")).find('x'), std::string::npos);

  // Opened for writing, the file starts over with one empty pool.
  Doc writer("USR1");
  writer.AddFile(dir_.Name("a.sim"), Doc::AccessWrite);
  writer.Close();
  EXPECT_EQ(ReadBytes(dir_.File("a.sim")).size(), 80u);
}

// The last pool stored frozen at its exact length, as a writer that froze it
// for a new pool leaves it: opening for update rewrites it as open.
TEST_F(FileChainTest, UpdateReopensTheLastPoolAndKeepsExtending) {
  WriteThreePools("a.sim");
  std::string const stored = ReadBytes(dir_.File("a.sim"));
  std::size_t const last = stored.rfind(kvtsim_test::FormatSignature());
  std::size_t const length = last + KVTSimRpm_PoolHeader::kLengthOffset;
  kvtsim_test::Patch(dir_.File("a.sim"), length,
                     "00000000000" + std::to_string(100000 + stored.size() - last).substr(1));
  Doc document("USR1");
  KVTSimRpm_File file = document.AddFile(dir_.Name("a.sim"), Doc::AccessUpdate);
  EXPECT_EQ(ReadBytes(dir_.File("a.sim")).substr(length, 16), std::string(16, '0'));
  Append(file, "+more");
  document.Close();

  Doc reader("USR1");
  KVTSimRpm_File again = reader.AddFile(dir_.Name("a.sim"), Doc::AccessRead);
  EXPECT_EQ(again.PoolCount(), 3u);
  EXPECT_EQ(Data(again.Pool()), "three+more");
  EXPECT_EQ(ReadBytes(dir_.File("a.sim")).substr(0, stored.size()), stored);
}

TEST_F(FileChainTest, NewPoolReplacesAnEmptyCurrentPool) {
  Doc document("USR1");
  KVTSimRpm_File file = document.AddFile(dir_.Name("a.sim"), Doc::AccessWrite);
  std::string dropped = file.Pool().GetGUID().CStr();
  file.NewPool(nullptr);
  EXPECT_EQ(file.PoolCount(), 1u);
  EXPECT_EQ(file.Pool().Length(), 0u);
  EXPECT_NE(std::string(file.Pool().GetGUID().CStr()), dropped);
  // The dropped identifier is free again: a pool may take it.
  file.NewPool(dropped.c_str());
  EXPECT_EQ(std::string(file.Pool().GetGUID().CStr()), dropped);
  document.Close();
  EXPECT_EQ(ReadBytes(dir_.File("a.sim")).size(), 48u + 3 * 32u) << "one pool, three slots";
}

// A writer killed right after NewPool froze its pool, with space allocated
// but not written, leaves a last pool whose stored length passes the file's
// end. The next pool must start where that length ends.
TEST_F(FileChainTest, PoolAfterAFrozenLengthPastTheEndStartsWhereItEnds) {
  {
    Doc document("USR1");
    KVTSimRpm_File file = document.AddFile(dir_.Name("a.sim"), Doc::AccessWrite);
    file.Allocate(100).Write(100, std::string(100, 'd').data());
    document.Close();
  }
  std::string const path = dir_.File("a.sim");
  std::size_t size = ReadBytes(path).size();  // 80-byte header and the data
  kvtsim_test::Patch(path, 20, "0000000000000" + std::to_string(size + 50));
  AddPoolOnReopen("a.sim");

  Doc reader("USR1");
  KVTSimRpm_File file = reader.AddFile(dir_.Name("a.sim"), Doc::AccessRead);
  ASSERT_EQ(file.PoolCount(), 2u);
  EXPECT_EQ(Data(file.Pool(0)), std::string(100, 'd') + std::string(50, '\0'));
  EXPECT_EQ(Data(file.Pool(1)), "new pool");
}

// An empty pool whose directory names its own identifier four times has a
// longer header than the pool that replaces it; none of its bytes may stay
// behind as data of the new, open pool.
TEST_F(FileChainTest, ReplacedEmptyPoolLeavesNoBytesBehind) {
  {
    Doc document("USR1");
    document.AddFile(dir_.Name("a.sim"), Doc::AccessWrite);
    document.Close();
  }
  std::string const path = dir_.File("a.sim");
  std::string bytes = ReadBytes(path);
  ASSERT_EQ(bytes.size(), 80u);
  std::string id = bytes.substr(48, 32);
  kvtsim_test::WriteBytes(path, bytes.substr(0, 44) + kvtsim_test::U32(4) + id + id + id + id);
  AddPoolOnReopen("a.sim");

  Doc reader("USR1");
  KVTSimRpm_File file = reader.AddFile(dir_.Name("a.sim"), Doc::AccessRead);
  ASSERT_EQ(file.PoolCount(), 1u);
  EXPECT_EQ(Data(file.Pool()), "new pool");
}

TEST_F(FileChainTest, EmptyFilesHoldNoPool) {
  kvtsim_test::WriteBytes(dir_.File("empty.sim"), "");
  Doc document("USR1");
  KVTSimRpm_File reader = document.AddFile(dir_.Name("empty.sim"), Doc::AccessRead);
  EXPECT_EQ(reader.PoolCount(), 0u);
  EXPECT_EQ(kvtsim_test::FailedCheck([&] { reader.Pool(); }), "mCurrentPoolIndex >= 0");

  kvtsim_test::WriteBytes(dir_.File("empty2.sim"), "");
  KVTSimRpm_File writer = document.AddFile(dir_.Name("empty2.sim"), Doc::AccessUpdate);
  writer.NewPool(nullptr);
  document.Close();
  EXPECT_EQ(ReadBytes(dir_.File("empty2.sim")).substr(0, 8), kvtsim_test::FormatSignature());
}

TEST_F(FileChainTest, AppendPoolCopiesLargePoolsByteForByte) {
  std::string payload(262144 * 2 + 1000, '\0');
  for (std::size_t i = 0; i < payload.size(); ++i)
    payload[i] = static_cast<char>(i * 7 + i / 251);
  Doc source("USR1");
  KVTSimRpm_File from = source.AddFile(dir_.Name("src.sim"), Doc::AccessWrite);
  Append(from, payload);
  std::string sourceBytes = ReadBytes(dir_.File("src.sim"));

  Doc target("USR1");
  KVTSimRpm_File to = target.AddFile(dir_.Name("dst.sim"), Doc::AccessWrite);
  to.AppendPool(from.Pool());
  EXPECT_EQ(to.PoolCount(), 1u) << "the empty first pool was replaced";
  EXPECT_EQ(to.Pool().GetGUID(), from.Pool().GetGUID());
  EXPECT_EQ(Data(to.Pool()), payload);
  target.Close();
  EXPECT_EQ(ReadBytes(dir_.File("dst.sim")), sourceBytes);
  EXPECT_THROW(source.AddFile(dir_.Name("again.sim"), Doc::AccessWrite).AppendPool(from.Pool()),
               KVTSimExcPoolAlreadyInDoc);
}

TEST_F(FileChainTest, FailedAppendRestoresTheFile) {
  Doc source("USR1");
  KVTSimRpm_File from = source.AddFile(dir_.Name("src.sim"), Doc::AccessWrite);
  Append(from, std::string(1000, 's'));
  source.Flush();
  kvtsim_test::Shrink(dir_.File("src.sim"), 500);  // the source ends early

  Doc target("USR1");
  KVTSimRpm_File to = target.AddFile(dir_.Name("dst.sim"), Doc::AccessWrite);
  std::string const id = to.Pool().GetGUID().CStr();
  std::string const before = ReadBytes(dir_.File("dst.sim"));
  auto const unchanged = [&] {
    EXPECT_EQ(to.PoolCount(), 1u);
    EXPECT_EQ(std::string(to.Pool().GetGUID().CStr()), id);
    EXPECT_EQ(ReadBytes(dir_.File("dst.sim")), before);
  };
  EXPECT_THROW(to.AppendPool(from.Pool()), KVTSimExcShortPool);
  unchanged();
  Doc foreign("USR2");  // another user signature: the copy's header is refused
  KVTSimRpm_File other = foreign.AddFile(dir_.Name("other.sim"), Doc::AccessWrite);
  EXPECT_THROW(to.AppendPool(other.Pool()), KVTSimExcUserSigMismatch);
  unchanged();

  // A write refused at any step: the copied bytes, then the copy's header.
  Doc third("USR1");
  KVTSimRpm_File small = third.AddFile(dir_.Name("small.sim"), Doc::AccessWrite);
  Append(small, "copied");
  EXPECT_EQ(FailEachWriteInTurn([&] { to.AppendPool(small.Pool()); }, unchanged), 2);
  EXPECT_EQ(to.Pool().Length(), 6u);
}

TEST_F(FileChainTest, FailedNewPoolLeavesMemoryAndDiskAsTheyWere) {
  for (bool emptyCurrent : {false, true}) {
    SCOPED_TRACE(emptyCurrent ? "empty current pool" : "current pool with data");
    std::string const name = emptyCurrent ? "empty.sim" : "data.sim";
    Doc document("USR1");
    KVTSimRpm_File file = document.AddFile(dir_.Name(name), Doc::AccessWrite);
    Append(file, "one");
    if (emptyCurrent)
      file.NewPool(nullptr);  // to be replaced by the next NewPool
    unsigned const count = file.PoolCount();
    std::string const id = file.Pool().GetGUID().CStr();
    std::string const before = ReadBytes(dir_.File(name));
    // Every attempt asks for the same identifier.
    std::string const newId(32, emptyCurrent ? 'e' : 'd');
    int const failures =
        FailEachWriteInTurn([&] { file.NewPool(newId.c_str()); },
                            [&] {
                              EXPECT_EQ(file.PoolCount(), count);
                              EXPECT_EQ(std::string(file.Pool().GetGUID().CStr()), id);
                              EXPECT_EQ(ReadBytes(dir_.File(name)), before);
                            });
    EXPECT_EQ(failures, 2) << "the previous pool's header, then the new pool's";
    EXPECT_EQ(file.PoolCount(), count + (emptyCurrent ? 0u : 1u));
    EXPECT_EQ(std::string(file.Pool().GetGUID().CStr()), newId);
    Append(file, "two");
    document.Close();

    Doc reader("USR1");
    KVTSimRpm_File back = reader.AddFile(dir_.Name(name), Doc::AccessRead);
    ASSERT_EQ(back.PoolCount(), 2u);
    EXPECT_EQ(back.Pool(0).Length(), 3u);
    EXPECT_EQ(back.Pool(1).Length(), 3u);
  }
}

TEST_F(FileChainTest, HandlesOfAClosedFileRaiseInsteadOfReachingFreedMemory) {
  Doc document("USR1");
  KVTSimRpm_File file = document.AddFile(dir_.Name("a.sim"), Doc::AccessWrite);
  KVTSimRpm_Pool pool = file.Pool();
  KVTSimRpm_Locator start = pool.Start();
  document.Close(file);
  EXPECT_TRUE(kvtsim_test::FailsCheck([&] { file.PoolCount(); }));
  EXPECT_TRUE(kvtsim_test::FailsCheck([&] { pool.Length(); }));
  EXPECT_EQ(start.GetGUID().GetLengthInByte(), 32u) << "map slots outlive their pools";
  EXPECT_THROW(document.Close(file), KVTSimExcCantGetFile);
}

// One pool naming more pools than an N x N table of ints could address
// (46,340): the loader gives each a map slot, and the reference memo, empty
// until something is stored, takes nothing.
TEST_F(FileChainTest, ADirectoryNamingFiftyThousandPoolsLoads) {
  constexpr std::uint32_t kEntries = 50000;
  std::string bytes = std::string("\x89SIM\r\n\x1a\n\x06", 9) + std::string(7, '\0') + "USR1" +
                      std::string(16, '0') + kvtsim_test::U32(2) + kvtsim_test::U32(0) +
                      kvtsim_test::U32(kEntries);
  char id[33];
  for (std::uint32_t i = 0; i < kEntries; ++i) {
    std::snprintf(id, sizeof id, "%032u", i + 1);
    bytes.append(id, 32);
  }
  kvtsim_test::WriteBytes(dir_.File("wide.sim"), bytes);
  Doc document("USR1");
  KVTSimRpm_File file = document.AddFile(dir_.Name("wide.sim"), Doc::AccessRead);
  KVTSimRpm_PoolDirectoryImpl const& directory = *Impl(file.Pool()).Directory();
  ASSERT_EQ(directory.Length(), static_cast<int>(kEntries));
  KVTSimRpm_PoolMap const& map = *directory.Map().Get();
  EXPECT_EQ(map.Length(), static_cast<int>(kEntries));
  EXPECT_EQ(std::string(map.UUID(directory.InternalizeReference(49999)), 32), std::string(id, 32));
  EXPECT_EQ(map.Matrix().AllocatedBytes(), 0u);
  EXPECT_EQ(directory.ExternalizeReference(directory.InternalizeReference(49999)), 49999);
}
