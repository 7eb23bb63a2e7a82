// Tests of the POSIX platform layer: the file object, file-name tests and the
// random source, with fakes standing in for single system calls.

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>
#include <string>

#include "KVTBasAssertException.h"
#include "KVTSimUttFileUtils.h"
#include "KVTSimUttOSError.h"
#include "KVTSimUttOSFile.h"
#include "KVTSimUttRandom.h"
#include "KVTSimUttSysCalls.h"
#include "gtest/gtest.h"
#include "kvtsim_test_util.h"

namespace {

int gCalls = 0;  // calls seen by the fakes

// Every other call is interrupted; the others move a single byte.
ssize_t DribblingPWrite(int fd, void const* buffer, std::size_t, off_t offset) {
  if (gCalls++ % 2 == 0)
    return errno = EINTR, -1;
  return KVTSimUttSysCalls::Real().PWrite(fd, buffer, 1, offset);
}
ssize_t DribblingPRead(int fd, void* buffer, std::size_t, off_t offset) {
  if (gCalls++ % 2 == 0)
    return errno = EINTR, -1;
  return KVTSimUttSysCalls::Real().PRead(fd, buffer, 1, offset);
}
int FailingClose(int fd) {
  KVTSimUttSysCalls::Real().Close(fd);
  return errno = EIO, -1;
}

// Runs action, which must raise KVTSimUttOSError with these details.
template <typename Action>
void ExpectOSError(Action action, std::string const& operation, std::string const& name,
                   int errorNumber) {
  try {
    action();
    ADD_FAILURE() << "no KVTSimUttOSError from " << operation;
  } catch (KVTSimUttOSError const& error) {
    EXPECT_EQ(error.ErrorNumber(), errorNumber);
    EXPECT_EQ(
        error.AsString(KVTBasStringModeShort).View(),
        "KVTSimUttOSError(" + operation + " '" + name + "': " + std::strerror(errorNumber) + ")");
  }
}

class PlatformFileTest : public ::testing::Test {
 protected:
  void TearDown() override { Calls() = KVTSimUttSysCalls::Real(); }

  static KVTSimUttSysCalls& Calls() { return KVTSimUttSysCalls::Current(); }
  void WriteFile(char const* leaf, std::string const& bytes) const {
    kvtsim_test::WriteBytes(dir_.File(leaf), bytes);
  }
  std::string ReadFile(char const* leaf) const { return kvtsim_test::ReadBytes(dir_.File(leaf)); }
  static std::string ReadAt(KVTSimUttOSFile& file, std::uint64_t position, std::uint64_t count) {
    std::string bytes(count, '?');
    file.Seek(position);
    bytes.resize(file.Read(&bytes[0], count));
    return bytes;
  }

  kvtsim_test::TempDir dir_;
};

TEST_F(PlatformFileTest, OpenModes) {
  KVTSimUttOSFile update, reader;
  ExpectOSError([&] { reader.OpenRead(dir_.Name("data")); }, "open", dir_.File("data"), ENOENT);
  ExpectOSError([&] { update.OpenUpdate(dir_.Name("data")); }, "open", dir_.File("data"), ENOENT);
  WriteFile("data", "old contents");
  update.OpenUpdate(dir_.Name("data"));
  update.WriteAll("OLD", 3);
  EXPECT_EQ(ReadFile("data"), "OLD contents");
  reader.OpenRead(dir_.Name("data"));
  ExpectOSError([&] { reader.WriteAll("x", 1); }, "write", dir_.File("data"), EBADF);
  EXPECT_EQ(ReadAt(reader, 0, 64), "OLD contents");
  update.Close();
  update.OpenWrite(dir_.Name("data"));  // truncates, and starts at 0 again
  EXPECT_EQ(update.Position(), 0u);
  EXPECT_EQ(ReadFile("data"), "");
  EXPECT_THROW(update.OpenRead(dir_.Name("data")), KVTBasAssertException);  // already open
  Calls().FDataSync = [](auto...) { return errno = EIO, -1; };
  reader.Flush();  // nothing to make durable in a read-only file
  ExpectOSError([&] { update.Flush(); }, "flush", dir_.File("data"), EIO);
}

TEST_F(PlatformFileTest, TransfersFollowThePositionAndTruncateKeepsIt) {
  KVTSimUttOSFile file;
  file.OpenWrite(dir_.Name("data"));
  file.WriteAll("hello world", 11);
  EXPECT_EQ(ReadAt(file, 6, 10), "world");  // short at the end
  EXPECT_EQ(file.Position(), 11u);
  file.Seek(13);
  file.WriteAll("!", 1);  // past the end: the gap reads as zeros
  file.Seek(2);
  file.Truncate(16);
  EXPECT_EQ(ReadFile("data"), std::string("hello world\0\0!\0\0", 16));
  file.Truncate(3);
  EXPECT_EQ(file.Position(), 2u);
  EXPECT_EQ(ReadAt(file, 2, 8), "l");
  // Offsets that off_t cannot hold are refused, not wrapped.
  file.Seek(std::numeric_limits<off_t>::max() - 1);
  ExpectOSError([&] { file.WriteAll("abc", 3); }, "write", dir_.File("data"), EOVERFLOW);
  ExpectOSError([&] { file.Truncate(std::uint64_t{1} << 63); }, "truncate", dir_.File("data"),
                EOVERFLOW);
  EXPECT_EQ(file.FileSize(), 3u);
}

TEST_F(PlatformFileTest, InterruptedShortAndFailedTransfers) {
  std::string bytes;
  for (int i = 0; i < 300; ++i)
    bytes += static_cast<char>(i * 7);
  KVTSimUttOSFile file;
  file.OpenWrite(dir_.Name("data"));
  gCalls = 0;
  Calls().PWrite = DribblingPWrite;
  Calls().PRead = DribblingPRead;
  file.WriteAll(bytes.data(), bytes.size());
  EXPECT_EQ(ReadAt(file, 0, 400), bytes);
  EXPECT_EQ(gCalls, 1202);  // twice 300 bytes, each after an interruption, then the end
  EXPECT_EQ(ReadFile("data"), bytes);
  Calls().PWrite = [](auto...) -> ssize_t { return errno = ENOSPC, -1; };
  ExpectOSError([&] { file.WriteAll("abc", 3); }, "write", dir_.File("data"), ENOSPC);
  Calls().PWrite = [](auto...) -> ssize_t { return 0; };  // accepts nothing
  ExpectOSError([&] { file.WriteAll("abc", 3); }, "write", dir_.File("data"), EIO);
  EXPECT_EQ(file.Position(), 300u);
}

TEST_F(PlatformFileTest, CreateGeneratedNeverOverwrites) {
  WriteFile("report", "keep");
  KVTSimUttOSFile first, second, fresh;
  first.CreateGenerated(KVTString(dir_.Path().c_str()), KVTString("report"), false);
  second.CreateGenerated(dir_.Name(""), KVTString("report"), false);
  fresh.CreateGenerated(dir_.Name(""), KVTString("other"), false);
  EXPECT_EQ(second.FileName().View(), dir_.File("report-2"));
  EXPECT_EQ(fresh.FileName().View(), dir_.File("other"));
  first.WriteAll("new", 3);
  EXPECT_EQ(ReadFile("report"), "keep");
  EXPECT_EQ(ReadFile("report-1"), "new");
}

// A temporary file is private and goes with Close, also when close fails, or
// with the object; a closed object refuses further operations.
TEST_F(PlatformFileTest, TemporaryFileAndClose) {
  KVTSimUttOSFile file;
  file.CreateTemporary(KVTString(dir_.Path().c_str()));
  std::string const name = file.FileName().CStr();
  EXPECT_EQ(name.rfind(dir_.Path() + "/kvtsim-", 0), 0u);
  struct stat info;
  ASSERT_EQ(stat(name.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
  Calls().Close = FailingClose;
  ExpectOSError([&] { file.Close(); }, "close", name, EIO);
  EXPECT_FALSE(KVTSimUttFileUtils::FileExists(file.FileName()));
  file.Close();  // closing a closed object does nothing
  char byte = 0;
  ExpectOSError([&] { file.Seek(0); }, "seek", name, EBADF);
  ExpectOSError([&] { file.Read(&byte, 1); }, "read", name, EBADF);
  ExpectOSError([&] { file.WriteAll(&byte, 1); }, "write", name, EBADF);
  ExpectOSError([&] { file.Truncate(0); }, "truncate", name, EBADF);
  ExpectOSError([&] { file.FileSize(); }, "stat", name, EBADF);
  std::optional<KVTSimUttOSFile> dropped(std::in_place);
  dropped->CreateTemporary(KVTString(dir_.Path().c_str()));
  KVTString const gone = dropped->FileName();
  EXPECT_TRUE(KVTSimUttFileUtils::FileExists(gone));
  dropped.reset();  // the destructor removes it too
  EXPECT_FALSE(KVTSimUttFileUtils::FileExists(gone));
}

TEST_F(PlatformFileTest, SameFileComparesIdentityNotSpelling) {
  WriteFile("a", "same");
  WriteFile("b", "same");
  ASSERT_EQ(link(dir_.File("a").c_str(), dir_.File("hard").c_str()), 0);
  EXPECT_TRUE(KVTSimUttFileUtils::SameFile(dir_.Name("a"), dir_.Name("hard")));
  EXPECT_TRUE(KVTSimUttFileUtils::SameFile(dir_.Name("./a"), dir_.Name("a")));
  EXPECT_FALSE(KVTSimUttFileUtils::SameFile(dir_.Name("a"), dir_.Name("b")));
  EXPECT_TRUE(KVTSimUttFileUtils::SameFile(dir_.Name("gone"), dir_.Name("gone")));
  EXPECT_FALSE(KVTSimUttFileUtils::SameFile(dir_.Name("gone"), dir_.Name("a")));
}

TEST_F(PlatformFileTest, RandSourceFillsValuesAndPassesErrorsThrough) {
  unsigned values[4] = {};
  for (unsigned& value : values)
    ASSERT_EQ(KVTSimUtt_rand_s(&value), 0);
  EXPECT_FALSE(values[0] == values[1] && values[1] == values[2] && values[2] == values[3]);
  Calls().GetRandom = [](auto...) -> ssize_t { return errno = ENOSYS, -1; };
  unsigned untouched = 42;
  EXPECT_EQ(KVTSimUtt_rand_s(&untouched), ENOSYS);
  EXPECT_EQ(untouched, 42u);
}

}  // namespace
