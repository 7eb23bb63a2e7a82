#include "KVTSimUttOSFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <string>
#include <string_view>

#include "KVTSimUttAssert.h"
#include "KVTSimUttOSError.h"
#include "KVTSimUttSysCalls.h"

namespace {

constexpr std::uint64_t kMaxOffset = static_cast<std::uint64_t>(std::numeric_limits<off_t>::max());
constexpr std::uint64_t kMaxChunk = static_cast<std::uint64_t>(std::numeric_limits<ssize_t>::max());

// Suffixes tried by CreateGenerated before it gives up on a crowded directory.
constexpr int kMaxGeneratedSuffix = 9999;

KVTSimUttSysCalls const& Calls() noexcept {
  return KVTSimUttSysCalls::Current();
}

[[noreturn]] void Raise(char const* operation, KVTString const& name, int errorNumber, int line) {
  KVTSimUttOSError error(operation, name, errorNumber);
  error.Throw(__FILE__, line);
}

// A transfer of count bytes at position must end at an offset that off_t can
// hold; beyond that the kernel would see a wrapped, negative offset.
void RequireOffsets(char const* operation, KVTString const& name, std::uint64_t position,
                    std::uint64_t count) {
  if (position > kMaxOffset || count > kMaxOffset - position) {
    Raise(operation, name, EOVERFLOW, __LINE__);
  }
}

// One system call moves at most SSIZE_MAX bytes, so larger counts go in pieces.
std::size_t ChunkOf(std::uint64_t remaining) noexcept {
  return static_cast<std::size_t>(std::min(remaining, kMaxChunk));
}

std::string JoinPath(std::string_view directory, std::string_view leaf) {
  std::string path(directory);
  if (!path.empty() && path.back() != '/')
    path += '/';
  path += leaf;
  return path;
}

KVTString ToKVTString(std::string const& text) {
  return KVTString(text.c_str(), text.size());
}

int OpenRetrying(char const* path, int flags) noexcept {
  int fd;
  do {
    fd = Calls().Open(path, flags | O_CLOEXEC, 0666);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

// Closes fd and, when remove is set, unlinks name. Returns 0, or the errno of
// the first failure. close is never retried: the descriptor is released even
// when close reports an error, and a retry could close a descriptor that
// another thread has just been given.
int CloseAndRemove(int fd, KVTString const& name, bool remove) noexcept {
  int result = 0;
  if (Calls().Close(fd) != 0)
    result = errno;
  // A temporary file that someone else already removed is no failure.
  if (remove && Calls().Unlink(name.CStr()) != 0 && errno != ENOENT && result == 0) {
    result = errno;
  }
  return result;
}

}  // namespace

KVTSimUttOSFile::KVTSimUttOSFile() noexcept
    : mFd(-1), mReadOnly(false), mRemoveOnClose(false), mPosition(0) {}

KVTSimUttOSFile::~KVTSimUttOSFile() {
  if (mFd >= 0)
    CloseAndRemove(mFd, mName, mRemoveOnClose);
}

void KVTSimUttOSFile::OpenRead(KVTString const& name) {
  Open(name, O_RDONLY, true);
}

void KVTSimUttOSFile::OpenUpdate(KVTString const& name) {
  Open(name, O_RDWR, false);
}

void KVTSimUttOSFile::OpenWrite(KVTString const& name) {
  Open(name, O_RDWR | O_CREAT | O_TRUNC, false);
}

void KVTSimUttOSFile::CreateGenerated(KVTString const& directory, KVTString const& stem, bool) {
  KVTSIM_ASSERT(mFd < 0);
  KVTSIM_VALIDATE(!stem.IsEmpty());
  std::string const base = JoinPath(directory.View(), stem.View());
  for (int n = 0; n <= kMaxGeneratedSuffix; ++n) {
    KVTString name = ToKVTString(n == 0 ? base : base + "-" + std::to_string(n));
    // O_EXCL makes the test for a free name and the creation one step.
    int fd = OpenRetrying(name.CStr(), O_RDWR | O_CREAT | O_EXCL);
    if (fd >= 0) {
      Adopt(fd, name, false, false);
      return;
    }
    if (errno != EEXIST)
      Raise("create", name, errno, __LINE__);
  }
  Raise("create", ToKVTString(base), EEXIST, __LINE__);
}

void KVTSimUttOSFile::CreateTemporary(KVTString const& directory) {
  KVTSIM_ASSERT(mFd < 0);
  std::string const pattern =
      JoinPath(directory.IsEmpty() ? std::string_view("/tmp") : directory.View(), "kvtsim-XXXXXX");
  std::string path;
  int fd;
  do {
    // A failed mkostemp may have changed the pattern, so each try starts afresh.
    path = pattern;
    fd = Calls().MkOsTemp(&path[0], O_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0)
    Raise("create", ToKVTString(pattern), errno, __LINE__);
  try {
    Adopt(fd, ToKVTString(path), false, true);
  } catch (...) {
    // Without a name held there is no way to remove the file later.
    Calls().Close(fd);
    Calls().Unlink(path.c_str());
    throw;
  }
}

std::uint64_t KVTSimUttOSFile::Read(char* buffer, std::uint64_t count) {
  RequireOpen("read");
  RequireOffsets("read", mName, mPosition, count);
  std::uint64_t done = 0;
  while (done < count) {
    std::size_t const chunk = ChunkOf(count - done);
    ssize_t const n =
        Calls().PRead(mFd, buffer + done, chunk, static_cast<off_t>(mPosition + done));
    if (n < 0 && errno == EINTR)
      continue;
    if (n < 0)
      Raise("read", mName, errno, __LINE__);
    if (n == 0)
      break;  // end of file
    KVTSIM_ASSERT(static_cast<std::size_t>(n) <= chunk);
    done += static_cast<std::uint64_t>(n);
  }
  mPosition += done;
  return done;
}

void KVTSimUttOSFile::WriteAll(char const* buffer, std::uint64_t count) {
  RequireOpen("write");
  RequireOffsets("write", mName, mPosition, count);
  std::uint64_t done = 0;
  while (done < count) {
    std::size_t const chunk = ChunkOf(count - done);
    ssize_t const n =
        Calls().PWrite(mFd, buffer + done, chunk, static_cast<off_t>(mPosition + done));
    if (n < 0 && errno == EINTR)
      continue;
    if (n < 0)
      Raise("write", mName, errno, __LINE__);
    // A device that accepts nothing will not accept more on the next try.
    if (n == 0)
      Raise("write", mName, EIO, __LINE__);
    KVTSIM_ASSERT(static_cast<std::size_t>(n) <= chunk);
    done += static_cast<std::uint64_t>(n);
  }
  mPosition += count;
}

void KVTSimUttOSFile::Seek(std::uint64_t const& position) {
  RequireOpen("seek");
  mPosition = position;
}

void KVTSimUttOSFile::Truncate(std::uint64_t const& size) {
  RequireOpen("truncate");
  RequireOffsets("truncate", mName, size, 0);
  while (Calls().FTruncate(mFd, static_cast<off_t>(size)) != 0) {
    if (errno != EINTR)
      Raise("truncate", mName, errno, __LINE__);
  }
}

std::uint64_t KVTSimUttOSFile::FileSize() const {
  RequireOpen("stat");
  struct stat info;
  if (Calls().FStat(mFd, &info) != 0)
    Raise("stat", mName, errno, __LINE__);
  return static_cast<std::uint64_t>(info.st_size);
}

void KVTSimUttOSFile::Flush() {
  RequireOpen("flush");
  if (mReadOnly)
    return;
  while (Calls().FDataSync(mFd) != 0) {
    if (errno != EINTR)
      Raise("flush", mName, errno, __LINE__);
  }
}

void KVTSimUttOSFile::Close() {
  if (mFd < 0)
    return;
  int const fd = mFd;
  bool const remove = mRemoveOnClose;
  // The object is closed whatever the system reports: the descriptor is gone.
  mFd = -1;
  mRemoveOnClose = false;
  int const errorNumber = CloseAndRemove(fd, mName, remove);
  if (errorNumber != 0)
    Raise("close", mName, errorNumber, __LINE__);
}

void KVTSimUttOSFile::Open(KVTString const& name, int flags, bool readOnly) {
  KVTSIM_ASSERT(mFd < 0);
  int const fd = OpenRetrying(name.CStr(), flags);
  if (fd < 0)
    Raise("open", name, errno, __LINE__);
  Adopt(fd, name, readOnly, false);
}

void KVTSimUttOSFile::Adopt(int fd, KVTString const& name, bool readOnly, bool removeOnClose) {
  mFd = fd;
  mName = name;
  mReadOnly = readOnly;
  mRemoveOnClose = removeOnClose;
  mPosition = 0;
}

void KVTSimUttOSFile::RequireOpen(char const* operation) const {
  if (mFd < 0)
    Raise(operation, mName, EBADF, __LINE__);
}
