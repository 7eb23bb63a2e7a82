// File-name tests.

#ifndef KVTSIM_PLATFORM_KVTSIMUTTFILEUTILS_H_
#define KVTSIM_PLATFORM_KVTSIMUTTFILEUTILS_H_

#include "KVTString.h"

class KVTSimUttFileUtils {
 public:
  // True when name denotes an existing file system object.
  static bool FileExists(KVTString const& name);

  // True when both names denote one file: same device and inode when both
  // exist, otherwise the same name text.
  static bool SameFile(KVTString const& a, KVTString const& b);

  // Removes the file name; true when it is gone (also when it did not exist).
  static bool Remove(KVTString const& name) noexcept;
};

#endif  // KVTSIM_PLATFORM_KVTSIMUTTFILEUTILS_H_
