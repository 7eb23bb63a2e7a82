// Uses the shared library through its installed umbrella headers, as a caller
// does; the handle templates come with the internals header.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "KVTSimPoolManager.h"
#include "KVTSimPoolManagerInternals.h"

// Oversized requests must come back as errors, not sanitizer aborts.
extern "C" char const* __asan_default_options() {
  return "allocator_may_return_null=1";
}

namespace {

struct Object : public mem_AllocationOperators {
  int value = 7;
};

std::string TempName(char const* tag) {
  return std::string("/tmp/kvtsim-boundary-") + tag + "-" + std::to_string(getpid());
}

}  // namespace

TEST(BoundaryTest, ErrorKindsRaisedInsideTheLibraryAreCaughtByType) {
  std::string shortFile = TempName("short");
  std::FILE* f = std::fopen(shortFile.c_str(), "wb");
  ASSERT_NE(f, nullptr);
  // The first bytes of a pool header, fewer than the probe reads.
  std::fwrite(KVTSimRpm_PoolHeader::kFormatSignature, 1, 4, f);
  std::fclose(f);
  EXPECT_EQ(KVTSimRpm_Document::GetFileType(KVTString(shortFile.c_str())),
            KVTSimRpm_Document::FileTypeNotSim);
  EXPECT_THROW(KVTSimRpm_Document::BinaryUpgradeRequired(KVTString(shortFile.c_str())),
               KVTSimExcNotSimFile);
  std::remove(shortFile.c_str());

  try {
    KVTSimRpm_Document::GetFileType(KVTString(shortFile.c_str()));
    ADD_FAILURE() << "removed file probed";
  } catch (KVTSimUttOSError const& e) {
    EXPECT_EQ(e.FileName(), shortFile);
  }

  // The library's memory services raise their own kind.
  EXPECT_THROW(mem_Realloc(nullptr, static_cast<std::size_t>(-1) / 2), KVTBasMemoryExhausted);
}

TEST(BoundaryTest, ChecksInCallerInstantiatedTemplatesRaiseTheLibrarysException) {
  testing::internal::CaptureStderr();
  KVTSimRpm_WeakRef<Object> weak;
  {
    KVTSimRpm_StrongRef<Object> strong(new Object);
    weak = strong;
    EXPECT_EQ(weak->value, 7);
  }
  try {
    (void)weak.Get();
    ADD_FAILURE() << "dead object reached";
  } catch (KVTBasException const& e) {
    ASSERT_NE(dynamic_cast<KVTBasAssertException const*>(&e), nullptr);
    EXPECT_STREQ(static_cast<KVTBasAssertException const&>(e).Expression(),
                 "mCounter->mStrong != 0");
  }
  EXPECT_NE(testing::internal::GetCapturedStderr().find("assertion failed: mCounter->mStrong"),
            std::string::npos);
}

TEST(BoundaryTest, LoadingTheLibraryInitialisedItOnce) {
  EXPECT_EQ(ORVANTE_QFR2_INTERNAL_KVTSimPoolManager(), 1);
  EXPECT_NE(KVTSimUtt_get_invalid_parameter_handler(), nullptr);
  int tally = 0;
  KVTSimPoolManager_initialize(tally);  // the load already counted one
  EXPECT_EQ(tally, 0);
  KVTSimPoolManager_finalize(tally);
  EXPECT_EQ(tally, 0);
}
