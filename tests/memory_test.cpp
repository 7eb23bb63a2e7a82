// The memory services: exhaustion raised as an error, zero-size requests.

#include <gtest/gtest.h>

#include <cstdint>

#include "KVTBasMem.h"
#include "KVTBasMemoryExhausted.h"

// Oversized requests must come back as errors, not sanitizer aborts.
extern "C" char const* __asan_default_options() {
  return "allocator_may_return_null=1";
}

TEST(MemoryTest, ExhaustionRaisesAndRealloc0Releases) {
  EXPECT_THROW(mem_Malloc(SIZE_MAX - 64), KVTBasMemoryExhausted);
  void* p = mem_Malloc(16);
  try {
    mem_Realloc(p, SIZE_MAX - 64);
    ADD_FAILURE() << "not raised";
  } catch (KVTBasMemoryExhausted const& e) {
    EXPECT_EQ(e.Requested(), SIZE_MAX - 64);
  }
  // The failed resize left the block with its owner.
  EXPECT_EQ(mem_Realloc(p, 0), nullptr);
  void* zero = mem_Malloc(0);
  EXPECT_NE(zero, nullptr);
  mem_Free(zero);
  mem_Free(nullptr);
}
