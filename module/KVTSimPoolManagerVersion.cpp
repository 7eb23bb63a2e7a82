#include "KVTSimPoolManagerVersion.h"

// Compiled into the library, so that a caller sees the version of the library
// it runs with, not of the headers it was built against.
char const* KVTSimPoolManager_Version() noexcept {
  return KVTSIM_POOL_MANAGER_VERSION_STRING;
}
