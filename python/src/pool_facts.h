// PoolFacts: what `kvtsim-pool ls` tells of a pool and where the pools of its
// directory are loaded, taken from the library's public pool description, and
// the user signature stored at the start of a file.

#ifndef KVTSIM_PYTHON_SRC_POOL_FACTS_H_
#define KVTSIM_PYTHON_SRC_POOL_FACTS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "KVTSimRpm_Pool.h"

namespace kvtsim_python {

class PoolFacts {
 public:
  // One directory entry: the identifier, and the file name and index of the
  // pool it names when that pool is loaded in the same document.
  struct Entry {
    std::string identifier;
    std::optional<std::string> fileName;
    unsigned int poolIndex;
  };

  // The facts of a loaded pool. REQUIRES: the pool is alive.
  static PoolFacts Of(KVTSimRpm_Pool const& pool);

  // The user signature stored in the first pool header of the file at path,
  // or nothing when the file is too short to hold one. Raises
  // KVTSimUttOSError when the file cannot be read.
  static std::optional<std::string> StoredSignature(std::string const& path);

  std::uint64_t location;      // byte offset of the pool record in its file
  std::uint64_t length;        // record length: header, directory and data
  std::uint64_t dataLength;    // bytes of data
  std::uint64_t bytesInFile;   // bytes of the record the file holds (less
                               // than length when it runs past the end)
  bool storedOpen;             // the header stores no length (an open pool)
  std::string identifier;      // 32 bytes
  std::vector<Entry> entries;  // the directory, entry 0 being the pool itself
};

}  // namespace kvtsim_python

#endif  // KVTSIM_PYTHON_SRC_POOL_FACTS_H_
