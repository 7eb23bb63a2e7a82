#include "raw_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "KVTSimUttOSError.h"
#include "KVTString.h"

namespace kvtsim_pool {

namespace {

[[noreturn]] void RaiseOSError(char const* operation, std::string const& path, int number) {
  KVTSimUttOSError error(operation, KVTString(path.c_str()), number);
  error.Throw(__FILE__, __LINE__);
}

}  // namespace

RawFile::RawFile(std::string path) : mPath(std::move(path)), mFd(-1), mSize(0) {
  mFd = ::open(mPath.c_str(), O_RDONLY | O_CLOEXEC);
  if (mFd < 0)
    RaiseOSError("open", mPath, errno);
  struct stat info {};
  if (::fstat(mFd, &info) != 0) {
    int const number = errno;
    ::close(mFd);
    RaiseOSError("fstat", mPath, number);
  }
  mSize = static_cast<std::uint64_t>(info.st_size);
}

RawFile::~RawFile() {
  ::close(mFd);
}

std::string RawFile::ReadAt(std::uint64_t offset, std::size_t n) const {
  if (offset >= mSize)
    return std::string();
  if (n > mSize - offset)
    n = static_cast<std::size_t>(mSize - offset);
  std::string bytes(n, '\0');
  std::size_t done = 0;
  while (done < n) {
    ssize_t got = ::pread(mFd, &bytes[done], n - done, static_cast<off_t>(offset + done));
    if (got < 0 && errno == EINTR)
      continue;
    if (got < 0)
      RaiseOSError("read", mPath, errno);
    if (got == 0)
      break;  // the file shrank under us: deliver what there is
    done += static_cast<std::size_t>(got);
  }
  bytes.resize(done);
  return bytes;
}

}  // namespace kvtsim_pool
