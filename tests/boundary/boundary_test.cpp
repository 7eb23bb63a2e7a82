// Uses the shared library through its installed umbrella headers, as a caller
// does; the handle templates come with the internals header.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <string>
#include <type_traits>
#include <utility>

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
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr().rfind("assertion failed: ", 0), 0u);
}

TEST(BoundaryTest, HandlesAndErrorsBehaveAsPlainCpp) {
  std::string name = TempName("plain");
  {
    KVTSimRpm_Document document(std::string("THRM"));
    KVTSimRpm_File file =
        document.AddFile(KVTString(name.c_str()), KVTSimRpm_Document::AccessWrite);
    static_assert(std::is_same_v<decltype(file.Pool()), KVTSimRpm_Pool>);
    static_assert(std::is_same_v<decltype(file.Pool().End()), KVTSimRpm_Locator>);
    // Accessor results are plain values: they can be used at once or moved.
    file.Pool().Allocate(8).Write(8, "12345678");
    KVTSimRpm_Locator end = std::move(file.Pool().End());
    EXPECT_EQ(end.Offset(), 8u);
    // Every failure is a std::exception too, whose what() is the short report;
    // an embedder that shows it turns the library's own report line off.
    bool const wasOn = KVTSimUttAssert::SetReportToStderr(false);
    testing::internal::CaptureStderr();
    try {
      file.Pool(5);
      ADD_FAILURE() << "no check failed";
    } catch (std::exception const& e) {
      EXPECT_STREQ(e.what(), "KVTBasAssertException(index < mPoolContainer.Length())");
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    KVTSimUttAssert::SetReportToStderr(wasOn);
    document.Close();
  }
  std::remove(name.c_str());
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
