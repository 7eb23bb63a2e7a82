// The operating-system calls that the platform layer makes, gathered in one
// process-wide table so that a test can replace a single call with a fake
// (a short write, an EINTR, a full disk) and restore it afterwards.
//
// Each entry behaves like the POSIX call of the same name: -1 and errno on
// failure. The table is read on every call; replacing entries while another
// thread makes calls is not supported.

#ifndef KVTSIM_PLATFORM_KVTSIMUTTSYSCALLS_H_
#define KVTSIM_PLATFORM_KVTSIMUTTSYSCALLS_H_

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>

struct KVTSimUttSysCalls {
  int (*Open)(char const* path, int flags, mode_t mode);
  int (*MkOsTemp)(char* pattern, int flags);
  ssize_t (*PRead)(int fd, void* buffer, std::size_t count, off_t offset);
  ssize_t (*PWrite)(int fd, void const* buffer, std::size_t count, off_t offset);
  int (*FTruncate)(int fd, off_t size);
  int (*FStat)(int fd, struct stat* info);
  int (*Stat)(char const* path, struct stat* info);
  int (*FDataSync)(int fd);
  int (*Close)(int fd);
  int (*Unlink)(char const* path);
  ssize_t (*GetRandom)(void* buffer, std::size_t count, unsigned flags);
  int (*FSync)(int fd);
  // fcntl with a lock command (F_OFD_SETLK, F_OFD_GETLK, ...).
  int (*FcntlLock)(int fd, int command, struct flock* lock);

  // The table in use; initially the real calls.
  static KVTSimUttSysCalls& Current() noexcept;

  // A table of the real calls.
  static KVTSimUttSysCalls const& Real() noexcept;
};

#endif  // KVTSIM_PLATFORM_KVTSIMUTTSYSCALLS_H_
