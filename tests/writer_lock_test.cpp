// The writer lock: a second writer of a file, in this process or another, is
// refused at once, naming the file, and the file is left as it was; readers
// take no lock and see what the writer has written so far; the lock can be
// turned off.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "KVTSimRpm_Document.h"
#include "KVTSimUttOSError.h"
#include "KVTSimUttSysCalls.h"
#include "kvtsim_test_util.h"

namespace {

using Doc = KVTSimRpm_Document;
using kvtsim_test::ReadBytes;

// The first n data bytes of pool k: a prefix of any longer run.
std::string Expected(unsigned k, std::uint64_t n) {
  return kvtsim_test::RandomBytes(n, k);
}

void AppendPattern(KVTSimRpm_File& file, unsigned k, std::uint64_t n) {
  std::uint64_t const at = file.Pool().Length();
  file.Allocate(n).Write(n, Expected(k, at + n).data() + at);
}

// True when every pool of file holds the pattern of its index, up to its
// length or the end of the file: what a reader may see of a running writer.
bool ShowsPatternPrefix(KVTSimRpm_File const& file) {
  for (unsigned k = 0; k < file.PoolCount(); ++k) {
    KVTSimRpm_Pool pool = file.Pool(k);
    std::string back(pool.Length(), '\0');
    back.resize(pool.Start().Read(pool.Length(), &back[0]));
    if (back != Expected(k, back.size()))
      return false;
  }
  return true;
}

// Runs add, which must be refused for the writer lock on path.
template <typename Add>
void ExpectLocked(Add add, std::string const& path) {
  try {
    add();
    ADD_FAILURE() << "a second writer of " << path << " was let in";
  } catch (KVTSimUttOSError const& e) {
    EXPECT_STREQ(e.Operation(), "lock");
    EXPECT_EQ(e.ErrorNumber(), EAGAIN);
    EXPECT_EQ(std::string(e.FileName()), path);
    EXPECT_STREQ(e.SystemText(), "file is locked by another writer");
  }
}

class WriterLockTest : public testing::Test {
 protected:
  void TearDown() override {
    Doc::SetWriterLocking(true);
    KVTSimUttSysCalls::Current() = KVTSimUttSysCalls::Real();
  }

  kvtsim_test::TempDir dir_;
};

}  // namespace

TEST_F(WriterLockTest, SecondWriterInThisProcessIsRefusedAndTheFileKept) {
  std::string const path = dir_.File("a.sim");
  Doc writer("USR1");
  KVTSimRpm_File file = writer.AddFile(dir_.Name("a.sim"), Doc::AccessWrite);
  AppendPattern(file, 0, 100);
  writer.Flush();
  std::string const before = ReadBytes(path);

  Doc second("USR1");
  ExpectLocked([&] { second.AddFile(dir_.Name("a.sim"), Doc::AccessUpdate); }, path);
  // AccessWrite would empty the file: refused before it does.
  ExpectLocked([&] { second.AddFile(dir_.Name("a.sim"), Doc::AccessWrite); }, path);
  EXPECT_EQ(ReadBytes(path), before);
  // Readers are let in.
  Doc reader("USR1");
  EXPECT_EQ(reader.AddFile(dir_.Name("a.sim"), Doc::AccessRead).PoolCount(), 1u);

  // Generated and temporary files are locked too.
  KVTSimRpm_File generated = writer.CreateGenerated(KVTString(dir_.Path().c_str()), "gen");
  ExpectLocked([&] { second.AddFile(generated.FileName(), Doc::AccessUpdate); },
               generated.FileName().CStr());
  KVTSimRpm_File temporary = writer.CreateTemporary(KVTString(dir_.Path().c_str()));
  ExpectLocked([&] { second.AddFile(temporary.FileName(), Doc::AccessUpdate); },
               temporary.FileName().CStr());

  // Once the writer has closed the file, the next one gets in.
  writer.Close(file);
  EXPECT_EQ(second.AddFile(dir_.Name("a.sim"), Doc::AccessUpdate).PoolCount(), 1u);
}

TEST_F(WriterLockTest, WriterInAnotherProcessIsRefusedAtOnce) {
  std::string const path = dir_.File("a.sim");
  Doc writer("USR1");
  writer.AddFile(dir_.Name("a.sim"), Doc::AccessWrite);
  pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    // Exit status: 0 refused as expected, 1 let in, 2 refused otherwise.
    int status = 2;
    try {
      Doc child("USR1");
      child.AddFile(KVTString(path.c_str()), Doc::AccessUpdate);
      status = 1;
    } catch (KVTSimUttOSError const& e) {
      if (e.ErrorNumber() == EAGAIN && std::string(e.FileName()) == path)
        status = 0;
    } catch (...) {
    }
    _exit(status);
  }
  int status = -1;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(WriterLockTest, ReaderSeesEveryPoolWrittenSoFarAndTheOpenPoolToTheFilesEnd) {
  Doc writer("USR1");
  KVTSimRpm_File file = writer.AddFile(dir_.Name("a.sim"), Doc::AccessWrite);
  AppendPattern(file, 0, 300);
  file.NewPool(nullptr);
  AppendPattern(file, 1, 200);
  file.NewPool(nullptr);
  AppendPattern(file, 2, 50);
  // Space allocated but not written yet is not in the file.
  file.Allocate(1000);
  for (int pass = 0; pass < 2; ++pass) {
    Doc reader("USR1");
    KVTSimRpm_File seen = reader.AddFile(dir_.Name("a.sim"), Doc::AccessRead);
    ASSERT_EQ(seen.PoolCount(), 3u);
    EXPECT_EQ(seen.Pool(0).Length(), 300u);
    EXPECT_EQ(seen.Pool(1).Length(), 200u);
    EXPECT_EQ(seen.Pool(2).Length(), pass == 0 ? 50u : 1050u);
    EXPECT_TRUE(ShowsPatternPrefix(seen));
    KVTSimRpm_SalvageReport report;
    Doc salvager("USR1");
    KVTSimRpm_File salvaged = salvager.AddFileSalvaged(dir_.Name("a.sim"), report);
    EXPECT_EQ(salvaged.PoolCount(), 3u);
    EXPECT_FALSE(report.LeftOut());
    // The writer goes on: the allocated space is written.
    std::string tail = Expected(2, 1050).substr(50);
    (file.Pool().Start() + 50u).Write(tail.size(), tail.data());
  }
}

TEST_F(WriterLockTest, ReaderOfAWriterInAnotherProcessAlwaysFindsWholePools) {
  std::string const path = dir_.File("live.sim");
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    close(ready[0]);
    Doc writer("USR1");
    KVTSimRpm_File file = writer.AddFile(KVTString(path.c_str()), Doc::AccessWrite);
    AppendPattern(file, 0, 10);
    writer.Flush();
    if (write(ready[1], "r", 1) != 1)
      _exit(2);
    for (unsigned k = 0; k < 40; ++k) {
      if (k > 0)
        file.NewPool(nullptr);
      for (int i = 0; i < 30; ++i)
        AppendPattern(file, k, 37);
    }
    writer.Close();
    _exit(0);
  }
  close(ready[1]);
  char byte = 0;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  close(ready[0]);
  int reads = 0;
  int status = -1;
  while (waitpid(pid, &status, WNOHANG) == 0 || reads == 0) {
    Doc reader("USR1");
    KVTSimRpm_SalvageReport report;
    KVTSimRpm_File seen = reader.AddFileSalvaged(KVTString(path.c_str()), report);
    ASSERT_TRUE(ShowsPatternPrefix(seen)) << "read " << reads;
    // Every pool but the last was frozen whole before the next began.
    for (unsigned k = 0; k + 1 < seen.PoolCount(); ++k)
      EXPECT_EQ(seen.Pool(k).Length(), k == 0 ? 10u + 30 * 37 : 30u * 37) << "pool " << k;
    ++reads;
  }
  if (WIFEXITED(status) == 0)
    waitpid(pid, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  Doc done("USR1");
  KVTSimRpm_File file = done.AddFile(KVTString(path.c_str()), Doc::AccessRead);
  EXPECT_EQ(file.PoolCount(), 40u);
  EXPECT_TRUE(ShowsPatternPrefix(file));
  std::printf("%d reads while the writer wrote\n", reads);
}

TEST_F(WriterLockTest, LockingOffLetsWritersInAndFileSystemsWithoutLocksNeedIt) {
  Doc first("USR1");
  first.AddFile(dir_.Name("a.sim"), Doc::AccessWrite);
  Doc::SetWriterLocking(false);
  Doc second("USR1");
  EXPECT_EQ(second.AddFile(dir_.Name("a.sim"), Doc::AccessUpdate).PoolCount(), 1u);
  second.Close();
  Doc::SetWriterLocking(true);

  // A file system that has no such locks refuses the lock itself.
  KVTSimUttSysCalls::Current().FcntlLock = [](int, int, struct flock*) {
    errno = ENOLCK;
    return -1;
  };
  try {
    Doc third("USR1");
    third.AddFile(dir_.Name("b.sim"), Doc::AccessWrite);
    ADD_FAILURE() << "no lock error";
  } catch (KVTSimUttOSError const& e) {
    EXPECT_STREQ(e.Operation(), "lock");
    EXPECT_EQ(e.ErrorNumber(), ENOLCK);
  }
  Doc::SetWriterLocking(false);
  Doc fourth("USR1");
  EXPECT_EQ(fourth.AddFile(dir_.Name("b.sim"), Doc::AccessWrite).PoolCount(), 1u);
}
