// Tests of the POSIX platform layer: the file object, file-name tests and the
// random source, with fakes standing in for single system calls.

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <string>

#include "KVTBasAssertException.h"
#include "KVTSimUttFileUtils.h"
#include "KVTSimUttOSError.h"
#include "KVTSimUttOSFile.h"
#include "KVTSimUttRandom.h"
#include "KVTSimUttSysCalls.h"
#include "gtest/gtest.h"

namespace {

int gCalls = 0;  // calls seen by the fake in use

ssize_t OneByteOrInterruptedPWrite(int fd, void const* buffer, std::size_t, off_t offset) {
  if (gCalls++ % 2 == 0)
    return errno = EINTR, -1;
  return KVTSimUttSysCalls::Real().PWrite(fd, buffer, 1, offset);
}
ssize_t NoSpacePWrite(int, void const*, std::size_t, off_t) {
  return errno = ENOSPC, -1;
}
ssize_t NothingWrittenPWrite(int, void const*, std::size_t, off_t) {
  return 0;
}
ssize_t InterruptedOncePRead(int fd, void* buffer, std::size_t count, off_t offset) {
  if (gCalls++ == 0)
    return errno = EINTR, -1;
  return KVTSimUttSysCalls::Real().PRead(fd, buffer, count, offset);
}
int FailingClose(int fd) {
  KVTSimUttSysCalls::Real().Close(fd);
  return errno = EIO, -1;
}
int FailingFDataSync(int) {
  return errno = EIO, -1;
}
ssize_t FailingGetRandom(void*, std::size_t, unsigned) {
  return errno = EIO, -1;
}
ssize_t DribblingGetRandom(void* buffer, std::size_t, unsigned) {
  if (gCalls++ % 2 == 0)
    return errno = EINTR, -1;
  *static_cast<unsigned char*>(buffer) = static_cast<unsigned char>(0xA0 + gCalls / 2);
  return 1;
}

// Replaces one entry of the system-call table for the guard's lifetime.
template <typename Fn>
class ScopedFake {
 public:
  ScopedFake(Fn KVTSimUttSysCalls::*entry, Fn fake)
      : mEntry(entry), mSaved(KVTSimUttSysCalls::Current().*entry) {
    KVTSimUttSysCalls::Current().*entry = fake;
    gCalls = 0;
  }
  ScopedFake(ScopedFake const&) = delete;
  ScopedFake& operator=(ScopedFake const&) = delete;
  ~ScopedFake() { KVTSimUttSysCalls::Current().*mEntry = mSaved; }

 private:
  Fn KVTSimUttSysCalls::*mEntry;
  Fn mSaved;
};

// Runs action, which must raise KVTSimUttOSError with these details; returns it.
KVTSimUttOSError ExpectOSError(std::function<void()> const& action, char const* operation,
                               std::string const& name, int errorNumber) {
  try {
    action();
  } catch (KVTSimUttOSError const& error) {
    EXPECT_STREQ(error.Operation(), operation);
    EXPECT_EQ(error.FileName(), name);
    EXPECT_EQ(error.ErrorNumber(), errorNumber);
    EXPECT_STREQ(error.SystemText(), std::strerror(errorNumber));
    return error;
  }
  ADD_FAILURE() << "no KVTSimUttOSError from " << operation;
  return KVTSimUttOSError("", KVTString(), 0);
}

KVTString Name(std::string const& text) {
  return KVTString(text.c_str());
}

class PlatformFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = ::testing::TempDir() + "kvtsim-platform-XXXXXX";
    ASSERT_NE(mkdtemp(&pattern[0]), nullptr) << std::strerror(errno);
    mDir = pattern;
  }
  void TearDown() override { std::filesystem::remove_all(mDir); }

  std::string Path(char const* leaf) const { return mDir + "/" + leaf; }
  static void WriteFile(std::string const& path, std::string const& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
  }
  static std::string ReadFile(std::string const& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }
  static std::string ReadAt(KVTSimUttOSFile& file, std::uint64_t position, std::uint64_t count) {
    std::string bytes(count, '?');
    file.Seek(position);
    bytes.resize(file.Read(&bytes[0], count));
    return bytes;
  }

  std::string mDir;
};

TEST_F(PlatformFileTest, OpenModes) {
  std::string const path = Path("data");
  WriteFile(path, "old contents");
  KVTSimUttOSFile update;
  update.OpenUpdate(Name(path));
  EXPECT_FALSE(update.ReadOnly());
  update.WriteAll("OLD", 3);
  update.Close();
  EXPECT_EQ(ReadFile(path), "OLD contents");

  KVTSimUttOSFile reader;
  reader.OpenRead(Name(path));
  EXPECT_TRUE(reader.ReadOnly());
  ExpectOSError([&] { reader.WriteAll("x", 1); }, "write", path, EBADF);
  EXPECT_EQ(reader.Position(), 0u);
  {
    ScopedFake fake(&KVTSimUttSysCalls::FDataSync, FailingFDataSync);
    reader.Flush();  // nothing to push out of a read-only file
    update.OpenUpdate(Name(path));
    ExpectOSError([&] { update.Flush(); }, "flush", path, EIO);
  }
  EXPECT_EQ(ReadAt(reader, 0, 64), "OLD contents");

  KVTSimUttOSFile writer;
  writer.OpenWrite(Name(path));
  EXPECT_FALSE(writer.ReadOnly());
  EXPECT_EQ(writer.FileSize(), 0u);
}

TEST_F(PlatformFileTest, ReadWriteAndSeekFollowThePosition) {
  KVTSimUttOSFile file;
  file.OpenWrite(Name(Path("data")));
  file.WriteAll("hello world", 11);
  EXPECT_EQ(file.Position(), 11u);
  EXPECT_EQ(ReadAt(file, 6, 5), "world");
  EXPECT_EQ(file.Position(), 11u);
  EXPECT_EQ(ReadAt(file, 8, 10), "rld");  // short count at the end
  EXPECT_EQ(file.Position(), 11u);
  EXPECT_EQ(ReadAt(file, 100, 4), "");
  EXPECT_EQ(file.Position(), 100u);
  file.Seek(13);
  file.WriteAll("!", 1);  // past the end: the gap reads as zeros
  file.Flush();
  EXPECT_EQ(ReadFile(Path("data")), std::string("hello world\0\0!", 14));
}

TEST_F(PlatformFileTest, TruncateGrowsWithZerosAndCutsKeepingThePosition) {
  KVTSimUttOSFile file;
  file.OpenWrite(Name(Path("data")));
  file.WriteAll("abcdef", 6);
  file.Seek(2);
  file.Truncate(9);
  EXPECT_EQ(file.FileSize(), 9u);
  EXPECT_EQ(file.Position(), 2u);
  EXPECT_EQ(ReadFile(Path("data")), std::string("abcdef\0\0\0", 9));
  file.Truncate(3);
  EXPECT_EQ(file.FileSize(), 3u);
  EXPECT_EQ(file.Position(), 2u);
  EXPECT_EQ(ReadAt(file, 2, 8), "c");
}

TEST_F(PlatformFileTest, MissingFileRaisesWithNameAndErrno) {
  std::string const path = Path("absent");
  KVTSimUttOSFile file;
  KVTSimUttOSError const error =
      ExpectOSError([&] { file.OpenRead(Name(path)); }, "open", path, ENOENT);
  std::string const expected =
      "KVTSimUttOSError(open '" + path + "': " + std::strerror(ENOENT) + ")";
  EXPECT_EQ(error.AsString(KVTBasStringModeShort).View(), expected);
  ExpectOSError([&] { file.OpenUpdate(Name(path)); }, "open", path, ENOENT);
  EXPECT_FALSE(file.IsOpen());
  EXPECT_FALSE(KVTSimUttFileUtils::FileExists(Name(path)));
}

TEST_F(PlatformFileTest, InterruptedOneByteWritesStillWriteEverything) {
  std::string bytes;
  for (int i = 0; i < 300; ++i)
    bytes += static_cast<char>(i * 7);
  KVTSimUttOSFile file;
  file.OpenWrite(Name(Path("data")));
  {
    ScopedFake fake(&KVTSimUttSysCalls::PWrite, OneByteOrInterruptedPWrite);
    file.WriteAll(bytes.data(), bytes.size());
    EXPECT_EQ(gCalls, 600);
  }
  EXPECT_EQ(file.Position(), 300u);
  EXPECT_EQ(ReadFile(Path("data")), bytes);
}

TEST_F(PlatformFileTest, FailedWritesRaiseAndKeepThePosition) {
  std::string const path = Path("data");
  KVTSimUttOSFile file;
  file.OpenWrite(Name(path));
  file.Seek(4);
  {
    ScopedFake fake(&KVTSimUttSysCalls::PWrite, NoSpacePWrite);
    ExpectOSError([&] { file.WriteAll("abc", 3); }, "write", path, ENOSPC);
  }
  {
    ScopedFake fake(&KVTSimUttSysCalls::PWrite, NothingWrittenPWrite);
    ExpectOSError([&] { file.WriteAll("abc", 3); }, "write", path, EIO);
  }
  EXPECT_EQ(file.Position(), 4u);
  // Offsets that off_t cannot hold are refused, not wrapped.
  file.Seek(std::numeric_limits<off_t>::max() - 1);
  ExpectOSError([&] { file.WriteAll("abc", 3); }, "write", path, EOVERFLOW);
  ExpectOSError([&] { file.Truncate(std::uint64_t{1} << 63); }, "truncate", path, EOVERFLOW);
  EXPECT_EQ(file.FileSize(), 0u);
}

TEST_F(PlatformFileTest, InterruptedReadIsRepeated) {
  WriteFile(Path("data"), "payload");
  KVTSimUttOSFile file;
  file.OpenRead(Name(Path("data")));
  ScopedFake fake(&KVTSimUttSysCalls::PRead, InterruptedOncePRead);
  EXPECT_EQ(ReadAt(file, 0, 7), "payload");
  EXPECT_EQ(gCalls, 2);
}

TEST_F(PlatformFileTest, CreateGeneratedNeverOverwrites) {
  WriteFile(Path("report"), "keep");
  KVTSimUttOSFile first, second, fresh;
  first.CreateGenerated(Name(mDir), Name("report"), false);
  EXPECT_EQ(first.FileName().View(), Path("report-1"));
  second.CreateGenerated(Name(mDir + "/"), Name("report"), false);
  EXPECT_EQ(second.FileName().View(), Path("report-2"));
  fresh.CreateGenerated(Name(mDir), Name("other"), false);
  EXPECT_EQ(fresh.FileName().View(), Path("other"));
  first.WriteAll("new", 3);
  first.Close();
  EXPECT_EQ(ReadFile(Path("report")), "keep");
  EXPECT_EQ(ReadFile(Path("report-1")), "new");
}

TEST_F(PlatformFileTest, CreateTemporaryIsPrivateAndRemovedOnClose) {
  std::string other;
  {
    KVTSimUttOSFile dropped;
    dropped.CreateTemporary(Name(mDir));
    other = dropped.FileName().CStr();
    EXPECT_TRUE(KVTSimUttFileUtils::FileExists(Name(other)));
  }
  EXPECT_FALSE(KVTSimUttFileUtils::FileExists(Name(other)));  // removed by the destructor
  KVTSimUttOSFile file;
  file.CreateTemporary(Name(mDir));
  std::string const name = file.FileName().CStr();
  EXPECT_EQ(name.rfind(mDir + "/kvtsim-", 0), 0u);
  EXPECT_NE(name, other);
  struct stat info;
  ASSERT_EQ(stat(name.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
  file.WriteAll("temp", 4);
  EXPECT_EQ(ReadAt(file, 0, 9), "temp");
  file.Close();
  EXPECT_FALSE(KVTSimUttFileUtils::FileExists(Name(name)));
}

TEST_F(PlatformFileTest, SameFileComparesIdentityNotSpelling) {
  WriteFile(Path("a"), "same");
  WriteFile(Path("b"), "same");
  ASSERT_EQ(link(Path("a").c_str(), Path("hard").c_str()), 0);
  EXPECT_TRUE(KVTSimUttFileUtils::SameFile(Name(Path("a")), Name(Path("hard"))));
  EXPECT_TRUE(KVTSimUttFileUtils::SameFile(Name(mDir + "/./a"), Name(Path("a"))));
  EXPECT_FALSE(KVTSimUttFileUtils::SameFile(Name(Path("a")), Name(Path("b"))));
  EXPECT_TRUE(KVTSimUttFileUtils::SameFile(Name(Path("gone")), Name(Path("gone"))));
  EXPECT_FALSE(KVTSimUttFileUtils::SameFile(Name(Path("gone")), Name(Path("a"))));
  EXPECT_TRUE(KVTSimUttFileUtils::FileExists(Name(Path("a"))));
}

TEST_F(PlatformFileTest, RandSourceAssemblesValuesAndPassesErrorsThrough) {
  unsigned values[4] = {};
  for (unsigned& value : values)
    ASSERT_EQ(KVTSimUtt_rand_s(&value), 0);
  EXPECT_FALSE(values[0] == values[1] && values[1] == values[2] && values[2] == values[3]);
  {
    ScopedFake fake(&KVTSimUttSysCalls::GetRandom, DribblingGetRandom);
    unsigned value = 0, expected = 0;
    std::memcpy(&expected, "\xA1\xA2\xA3\xA4", 4);
    EXPECT_EQ(KVTSimUtt_rand_s(&value), 0);
    EXPECT_EQ(value, expected);
  }
  ScopedFake fake(&KVTSimUttSysCalls::GetRandom, FailingGetRandom);
  unsigned untouched = 42;
  EXPECT_EQ(KVTSimUtt_rand_s(&untouched), EIO);
  EXPECT_EQ(untouched, 42u);
}

TEST_F(PlatformFileTest, ClosedObjectRefusesOperations) {
  std::string const path = Path("data");
  KVTSimUttOSFile file;
  ExpectOSError([&] { file.FileSize(); }, "stat", "", EBADF);
  file.OpenWrite(Name(path));
  file.Seek(5);
  file.Close();
  file.Close();  // closing twice does nothing
  char byte = 0;
  ExpectOSError([&] { file.Read(&byte, 1); }, "read", path, EBADF);
  ExpectOSError([&] { file.WriteAll(&byte, 1); }, "write", path, EBADF);
  ExpectOSError([&] { file.Seek(0); }, "seek", path, EBADF);
  ExpectOSError([&] { file.Truncate(0); }, "truncate", path, EBADF);
  ExpectOSError([&] { file.Flush(); }, "flush", path, EBADF);
  file.OpenRead(Name(path));  // a closed object opens again, at position 0
  EXPECT_EQ(file.Position(), 0u);
  EXPECT_TRUE(file.ReadOnly());
}

TEST_F(PlatformFileTest, CloseErrorIsRaisedAfterTheFileIsClosed) {
  KVTSimUttOSFile file;
  file.CreateTemporary(Name(mDir));
  std::string const name = file.FileName().CStr();
  {
    ScopedFake fake(&KVTSimUttSysCalls::Close, FailingClose);
    ExpectOSError([&] { file.Close(); }, "close", name, EIO);
  }
  EXPECT_FALSE(file.IsOpen());
  EXPECT_FALSE(KVTSimUttFileUtils::FileExists(Name(name)));
}

TEST_F(PlatformFileTest, OpeningAnOpenObjectIsAnAssertion) {
  KVTSimUttOSFile file;
  file.OpenWrite(Name(Path("data")));
  std::string expression;
  try {
    file.OpenRead(Name(Path("data")));
  } catch (KVTBasAssertException const& error) {
    expression = error.Expression();
  }
  EXPECT_EQ(expression, "mFd < 0");
  EXPECT_THROW(file.CreateTemporary(Name(mDir)), KVTBasAssertException);
  EXPECT_THROW(file.CreateGenerated(Name(mDir), Name("x"), false), KVTBasAssertException);
  file.WriteAll("still open", 10);
  EXPECT_EQ(file.FileSize(), 10u);
}

}  // namespace
