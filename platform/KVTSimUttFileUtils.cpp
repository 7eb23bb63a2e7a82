#include "KVTSimUttFileUtils.h"

#include <sys/stat.h>

#include <cerrno>

#include "KVTSimUttSysCalls.h"

bool KVTSimUttFileUtils::FileExists(KVTString const& name) {
  struct stat info;
  // A name that cannot be examined (no permission, bad path) counts as absent.
  return KVTSimUttSysCalls::Current().Stat(name.CStr(), &info) == 0;
}

bool KVTSimUttFileUtils::SameFile(KVTString const& a, KVTString const& b) {
  KVTSimUttSysCalls const& calls = KVTSimUttSysCalls::Current();
  struct stat infoA;
  struct stat infoB;
  if (calls.Stat(a.CStr(), &infoA) == 0 && calls.Stat(b.CStr(), &infoB) == 0) {
    return infoA.st_dev == infoB.st_dev && infoA.st_ino == infoB.st_ino;
  }
  // Without both files on disk only the spelling can tell.
  return a == b;
}

bool KVTSimUttFileUtils::Remove(KVTString const& name) noexcept {
  return KVTSimUttSysCalls::Current().Unlink(name.CStr()) == 0 || errno == ENOENT;
}
