#include "file_entry.h"

#include <sys/stat.h>

#include <utility>

#include "binding_errors.h"

namespace kvtsim_python {

FileEntry::FileEntry(KVTSimRpm_File const& handle, std::string path)
    : mHandle(handle),
      mPath(std::move(path)),
      mClosed(false),
      mIdentified(false),
      mDevice(0),
      mInode(0) {
  struct stat info {};
  if (::stat(mPath.c_str(), &info) == 0) {
    mIdentified = true;
    mDevice = info.st_dev;
    mInode = info.st_ino;
  }
}

KVTSimRpm_File& FileEntry::Handle() {
  if (mClosed)
    throw ClosedError("the file '" + mPath + "' is closed");
  return mHandle;
}

bool FileEntry::SameFileAs(std::string const& path) const {
  struct stat info {};
  if (!mIdentified || ::stat(path.c_str(), &info) != 0)
    return false;
  return info.st_dev == mDevice && info.st_ino == mInode;
}

}  // namespace kvtsim_python
