// FileEntry: one file a Python document opened, with what the binding needs
// to know about it beside the library's handle.
//
// Entries belong to their DocumentState and live as long as it does; a file
// closed on its own keeps its entry, marked closed, so that Python objects
// pointing to it get a clear error instead of reaching a file that is gone.

#ifndef KVTSIM_PYTHON_SRC_FILE_ENTRY_H_
#define KVTSIM_PYTHON_SRC_FILE_ENTRY_H_

#include <sys/types.h>

#include <string>

#include "KVTSimRpm_File.h"

namespace kvtsim_python {

class FileEntry {
 public:
  // handle: the library's file; path: its name as given (file-system bytes).
  FileEntry(KVTSimRpm_File const& handle, std::string path);
  FileEntry(FileEntry const&) = delete;
  FileEntry& operator=(FileEntry const&) = delete;

  // The library's handle. Raises ClosedError once the file is closed.
  KVTSimRpm_File& Handle();

  std::string const& Path() const noexcept { return mPath; }
  bool Closed() const noexcept { return mClosed; }
  void MarkClosed() noexcept { mClosed = true; }

  // True when path names this same file (same device and inode). The library
  // gives back an open file instead of opening it twice; so does the binding.
  bool SameFileAs(std::string const& path) const;

 private:
  KVTSimRpm_File mHandle;
  std::string mPath;
  bool mClosed;
  bool mIdentified;
  dev_t mDevice;
  ino_t mInode;
};

}  // namespace kvtsim_python

#endif  // KVTSIM_PYTHON_SRC_FILE_ENTRY_H_
