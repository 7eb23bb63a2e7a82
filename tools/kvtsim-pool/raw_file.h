// RawFile: a file read by offset, for looking at stored bytes without
// loading them through a document.
//
// Reads never go past the end of the file: they deliver fewer bytes there.
// Nothing is ever written.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_RAW_FILE_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_RAW_FILE_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace kvtsim_pool {

class RawFile {
 public:
  // Opens path read-only. Raises KVTSimUttOSError when it cannot be opened
  // or its size cannot be taken.
  explicit RawFile(std::string path);
  RawFile(RawFile const&) = delete;
  RawFile& operator=(RawFile const&) = delete;
  ~RawFile();

  std::string const& Path() const noexcept { return mPath; }
  std::uint64_t Size() const noexcept { return mSize; }

  // Up to n bytes at offset: fewer when the file ends first, none at or past
  // its end. Raises KVTSimUttOSError when the system refuses the read.
  std::string ReadAt(std::uint64_t offset, std::size_t n) const;

 private:
  std::string mPath;
  int mFd;
  std::uint64_t mSize;
};

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_RAW_FILE_H_
