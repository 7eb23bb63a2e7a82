#include "KVTSimUttOSFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
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

// Tries of OpenWrite while others create and remove the same name.
constexpr int kMaxOpenOrCreateTries = 100;

// Whether opens for writing take the writer lock (SetWriterLocking).
std::atomic<bool> gWriterLocking{true};

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

// Opens name for reading and writing, creating it when it does not exist;
// created tells which happened. Returns the descriptor, or -1 with errno.
int OpenOrCreate(char const* name, bool& created) noexcept {
  for (int i = 0; i < kMaxOpenOrCreateTries; ++i) {
    int fd = OpenRetrying(name, O_RDWR);
    if (fd >= 0 || errno != ENOENT) {
      created = false;
      return fd;
    }
    // Exclusive, so that a file someone else made meanwhile is opened, not
    // taken for new.
    fd = OpenRetrying(name, O_RDWR | O_CREAT | O_EXCL);
    if (fd >= 0 || errno != EEXIST) {
      created = fd >= 0;
      return fd;
    }
  }
  return -1;  // errno is EEXIST: the name keeps appearing and vanishing
}

// Makes the directory entry of name durable: a new file's name is part of
// its directory, which fsync of the file alone does not write.
void SyncDirectoryOf(KVTString const& name) {
  std::string_view const path = name.View();
  std::size_t const slash = path.rfind('/');
  std::string const directory = slash == std::string_view::npos ? std::string(".")
                                : slash == 0                    ? std::string("/")
                                             : std::string(path.substr(0, slash));
  int const fd = OpenRetrying(directory.c_str(), O_RDONLY | O_DIRECTORY);
  if (fd < 0)
    Raise("flush", ToKVTString(directory), errno, __LINE__);
  int errorNumber = 0;
  while (Calls().FSync(fd) != 0) {
    if (errno != EINTR) {
      errorNumber = errno;
      break;
    }
  }
  Calls().Close(fd);
  // A file system that cannot sync a directory says EINVAL: its entries are
  // as durable as it makes them.
  if (errorNumber != 0 && errorNumber != EINVAL)
    Raise("flush", ToKVTString(directory), errorNumber, __LINE__);
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
  LockForWriting();
}

void KVTSimUttOSFile::OpenWrite(KVTString const& name) {
  KVTSIM_ASSERT(mFd < 0);
  bool created = false;
  int const fd = OpenOrCreate(name.CStr(), created);
  if (fd < 0)
    Raise("open", name, errno, __LINE__);
  Adopt(fd, name, false, false);
  LockForWriting();
  // Emptied only under the lock: the file of another writer keeps its bytes.
  Truncate(0);
  if (created)
    SyncDirectoryOf(name);
}

void KVTSimUttOSFile::CreateNew(KVTString const& name) {
  KVTSIM_ASSERT(mFd < 0);
  int const fd = OpenRetrying(name.CStr(), O_RDWR | O_CREAT | O_EXCL);
  if (fd < 0)
    Raise("create", name, errno, __LINE__);
  Adopt(fd, name, false, false);
  LockForWriting();
  SyncDirectoryOf(name);
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
      LockForWriting();
      SyncDirectoryOf(name);
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
  LockForWriting();
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

void KVTSimUttOSFile::LockForWriting() {
  if (!WriterLocking())
    return;
  // The whole file, however far it grows; l_pid must be 0 for this kind of lock.
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = 0;
  lock.l_len = 0;
  int result;
  do {
    result = Calls().FcntlLock(mFd, F_OFD_SETLK, &lock);
  } while (result != 0 && errno == EINTR);
  if (result == 0)
    return;
  int const errorNumber = errno;
  int const fd = mFd;
  bool const remove = mRemoveOnClose;
  mFd = -1;
  mRemoveOnClose = false;
  CloseAndRemove(fd, mName, remove);
  if (errorNumber == EAGAIN || errorNumber == EACCES) {
    KVTSimUttOSError error("lock", mName, EAGAIN, "file is locked by another writer");
    error.Throw(__FILE__, __LINE__);
  }
  Raise("lock", mName, errorNumber, __LINE__);
}

void KVTSimUttOSFile::SetWriterLocking(bool enabled) noexcept {
  gWriterLocking.store(enabled);
}

bool KVTSimUttOSFile::WriterLocking() noexcept {
  return gWriterLocking.load();
}

void KVTSimUttOSFile::RequireOpen(char const* operation) const {
  if (mFd < 0)
    Raise(operation, mName, EBADF, __LINE__);
}
