#include "KVTSimUttSysCalls.h"

#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include <cstdlib>

namespace {

// open is variadic, so the table holds a fixed-signature wrapper around it.
int OpenWithMode(char const* path, int flags, mode_t mode) {
  return ::open(path, flags, mode);
}

// fcntl is variadic too.
int FcntlLockCall(int fd, int command, struct flock* lock) {
  return ::fcntl(fd, command, lock);
}

// A constant expression, so the table is ready before any static constructor
// of another translation unit can make a call through it.
constexpr KVTSimUttSysCalls kRealCalls = {
    OpenWithMode, ::mkostemp, ::pread,  ::pwrite,    ::ftruncate, ::fstat,       ::stat,
    ::fdatasync,  ::close,    ::unlink, ::getrandom, ::fsync,     FcntlLockCall,
};

// Constant-initialised from kRealCalls, hence free of initialisation order.
KVTSimUttSysCalls gCurrentCalls = kRealCalls;

}  // namespace

KVTSimUttSysCalls& KVTSimUttSysCalls::Current() noexcept {
  return gCurrentCalls;
}

KVTSimUttSysCalls const& KVTSimUttSysCalls::Real() noexcept {
  return kRealCalls;
}
