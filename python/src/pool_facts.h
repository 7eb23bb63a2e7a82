// PoolFacts: what `kvtsim-pool ls` tells of a pool, read through the library
// the way the tool reads it, and the identifiers of a pool's directory.
//
// This is the one part of the binding that reaches the library's
// implementation classes (the pool record behind a handle): the public
// handles do not tell a pool's place in its file, its record length, its
// state as stored or its directory.

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
  // One directory entry: the identifier and the map slot it stands for.
  struct Entry {
    std::string identifier;
    int slotInMap;
  };

  // The facts of a loaded pool. REQUIRES: the pool is alive.
  static PoolFacts Of(KVTSimRpm_Pool const& pool);

  // The pool's directory, entry 0 being the pool itself.
  static std::vector<Entry> Directory(KVTSimRpm_Pool const& pool);

  // The user signature stored in the first pool header of the file at path,
  // or nothing when the file is too short to hold one. Raises
  // KVTSimUttOSError when the file cannot be read.
  static std::optional<std::string> StoredSignature(std::string const& path);

  std::uint64_t location;    // byte offset of the pool record in its file
  std::uint64_t length;      // record length: header, directory and data
  std::uint64_t dataLength;  // bytes of data
  bool storedOpen;           // the header stores no length (an open pool)
  int entries;               // directory entries
  std::string identifier;    // 32 bytes
};

}  // namespace kvtsim_python

#endif  // KVTSIM_PYTHON_SRC_POOL_FACTS_H_
