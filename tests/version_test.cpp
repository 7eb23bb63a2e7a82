// The library's version: the run-time string agrees with the header's macros.

#include <gtest/gtest.h>

#include <string>

#include "KVTSimPoolManagerVersion.h"

TEST(VersionTest, LibraryReportsTheVersionItsHeadersName) {
  std::string const expected = std::to_string(KVTSIM_POOL_MANAGER_VERSION_MAJOR) + "." +
                               std::to_string(KVTSIM_POOL_MANAGER_VERSION_MINOR) + "." +
                               std::to_string(KVTSIM_POOL_MANAGER_VERSION_PATCH);
  EXPECT_EQ(expected, KVTSIM_POOL_MANAGER_VERSION_STRING);
  EXPECT_EQ(expected, KVTSimPoolManager_Version());
}
