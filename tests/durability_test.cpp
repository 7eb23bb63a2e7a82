// What reaches the disk when: the system calls a writer makes, recorded at
// the system-call seam. A new file's directory entry is synced, and a stored
// length changes only between two syncs. That Flush and Close sync the data
// is checked by the power-loss test, which loses every unsynced write.

#include <fcntl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "KVTSimRpm_Document.h"
#include "KVTSimRpm_PoolHeader.h"
#include "KVTSimUttSysCalls.h"
#include "kvtsim_test_util.h"

namespace {

using Doc = KVTSimRpm_Document;
using Header = KVTSimRpm_PoolHeader;

// The calls that decide durability, in order: "write <offset> <bytes>",
// "sync" (the data of a file), "dirsync" (a directory).
std::vector<std::string> gEvents;
std::set<int> gDirectories;

int RecordOpen(char const* path, int flags, mode_t mode) {
  int fd = KVTSimUttSysCalls::Real().Open(path, flags, mode);
  if (fd >= 0 && (flags & O_DIRECTORY) != 0)
    gDirectories.insert(fd);
  return fd;
}
ssize_t RecordPWrite(int fd, void const* buffer, std::size_t count, off_t offset) {
  gEvents.push_back("write " + std::to_string(offset) + " " +
                    std::string(static_cast<char const*>(buffer), count));
  return KVTSimUttSysCalls::Real().PWrite(fd, buffer, count, offset);
}
int RecordFDataSync(int fd) {
  gEvents.push_back("sync");
  return KVTSimUttSysCalls::Real().FDataSync(fd);
}
int RecordFSync(int fd) {
  gEvents.push_back(gDirectories.count(fd) != 0 ? "dirsync" : "sync");
  return KVTSimUttSysCalls::Real().FSync(fd);
}
int RecordClose(int fd) {
  gDirectories.erase(fd);
  return KVTSimUttSysCalls::Real().Close(fd);
}

// A write event's offset, or -1 for another event.
long long WriteOffset(std::string const& event) {
  return event.rfind("write ", 0) == 0 ? std::stoll(event.substr(6)) : -1;
}

class DurabilityTest : public testing::Test {
 protected:
  void SetUp() override {
    KVTSimUttSysCalls& calls = KVTSimUttSysCalls::Current();
    calls.Open = RecordOpen;
    calls.PWrite = RecordPWrite;
    calls.FDataSync = RecordFDataSync;
    calls.FSync = RecordFSync;
    calls.Close = RecordClose;
    gEvents.clear();
  }
  void TearDown() override { KVTSimUttSysCalls::Current() = KVTSimUttSysCalls::Real(); }

  // The events recorded by action alone.
  template <typename Action>
  std::vector<std::string> During(Action action) {
    gEvents.clear();
    action();
    return gEvents;
  }

  kvtsim_test::TempDir dir_;
};

}  // namespace

TEST_F(DurabilityTest, NewFilesHaveTheirNameSynced) {
  Doc document("USR1");
  auto const created = During([&] { document.AddFile(dir_.Name("a.sim"), Doc::AccessWrite); });
  // The name is durable before the first pool header is written.
  ASSERT_FALSE(created.empty());
  EXPECT_EQ(created.front(), "dirsync");
  document.Close();

  // Emptying an existing file makes no new name.
  auto const reopened = During([&] { document.AddFile(dir_.Name("a.sim"), Doc::AccessWrite); });
  EXPECT_EQ(std::count(reopened.begin(), reopened.end(), "dirsync"), 0);
  auto const generated =
      During([&] { document.CreateGenerated(KVTString(dir_.Path().c_str()), "gen"); });
  EXPECT_EQ(std::count(generated.begin(), generated.end(), "dirsync"), 1);
  auto const temporary = During([&] { document.CreateTemporary(KVTString(dir_.Path().c_str())); });
  EXPECT_EQ(std::count(temporary.begin(), temporary.end(), "dirsync"), 0);
}

TEST_F(DurabilityTest, StoredLengthsChangeOnlyBetweenSyncs) {
  Doc document("USR1");
  KVTSimRpm_File file = document.AddFile(dir_.Name("a.sim"), Doc::AccessWrite);
  file.Allocate(100).Write(100, std::string(100, 'x').data());
  // A new pool: the data is synced, then the previous pool's length is
  // stored, synced, and only then the new header written.
  auto const events = During([&] { file.NewPool(nullptr); });
  ASSERT_EQ(events.size(), 4u);
  EXPECT_EQ(events[0], "sync");
  EXPECT_EQ(WriteOffset(events[1]), 0);
  EXPECT_NE(events[1].find("0000000000000180"), std::string::npos);
  EXPECT_EQ(events[2], "sync");
  EXPECT_EQ(WriteOffset(events[3]), 180);
  document.Close();

  // Opening for update rewrites a frozen last pool as open, and syncs that
  // before anything else is written; an open one costs no sync.
  Header frozen;
  frozen.SetStoredLength(144);
  kvtsim_test::Patch(dir_.File("a.sim"), 180 + Header::kLengthOffset,
                     std::string(frozen.LengthDigits(), Header::kLengthDigits));
  Doc update("USR1");
  auto const thawed = During([&] { update.AddFile(dir_.Name("a.sim"), Doc::AccessUpdate); });
  ASSERT_EQ(thawed.size(), 2u);
  EXPECT_EQ(WriteOffset(thawed[0]), 180);
  EXPECT_EQ(thawed[1], "sync");
  update.Close();
  Doc again("USR1");
  auto const open = During([&] { again.AddFile(dir_.Name("a.sim"), Doc::AccessUpdate); });
  EXPECT_EQ(std::count(open.begin(), open.end(), "sync"), 0);
}
