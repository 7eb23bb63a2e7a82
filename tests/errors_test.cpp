// Error kinds, the raise pattern and checks.

#include <gtest/gtest.h>

#include <exception>
#include <set>
#include <string>
#include <thread>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "KVTBasAssertException.h"
#include "KVTBasMemoryExhausted.h"
#include "KVTSimExc.h"
#include "KVTSimUttAssert.h"
#include "KVTSimUttExceptionString.h"
#include "KVTSimUttOSError.h"

namespace {

void FailAssertion() {
  KVTSIM_ASSERT(1 + 1 == 3);
}
void FailValidation(int slotInDirectory) {
  KVTSIM_VALIDATE(slotInDirectory >= 0);
}
void BadMode() {
  KVTSIM_ASSERT(!"Bad mode.");
}

// Runs fn, which must fail a check; returns the report line and the raised
// exception's expression, file and line as one text.
template <typename Fn>
std::string CheckFailure(Fn fn) {
  testing::internal::CaptureStderr();
  std::string raised = "(nothing raised)";
  try {
    fn();
  } catch (KVTBasAssertException const& e) {
    raised = std::string(e.Expression()) + " @ " + e.File() + ":" + std::to_string(e.Line());
  }
  return testing::internal::GetCapturedStderr() + raised;
}

// Raises error through Throw and checks that the caller receives exactly its
// kind with the location and that what() is the short report; returns that
// text and the code.
template <typename Kind>
std::pair<std::string, int> RaiseAndCatch(Kind error) {
  int const line = __LINE__ + 2;
  try {
    error.Throw("origin.cpp", line);
  } catch (KVTBasException const& caught) {
    EXPECT_EQ(typeid(caught), typeid(Kind));
    EXPECT_STREQ(caught.File(), "origin.cpp");
    EXPECT_EQ(caught.Line(), line);
    EXPECT_STREQ(caught.what(), caught.AsString(KVTBasStringModeShort).CStr());
    return {caught.what(), caught.GetCode()};
  }
  ADD_FAILURE() << "Throw returned";
  return {};
}

}  // namespace

TEST(ChecksTest, FailedCheckReportsOneLineThenRaisesWithItsText) {
  std::string assertion = CheckFailure(FailAssertion);
  std::string line = assertion.substr(assertion.rfind(':') + 1);
  EXPECT_EQ(assertion, "assertion failed: 1 + 1 == 3 (tests/errors_test.cpp:" + line +
                           ")\n1 + 1 == 3 @ tests/errors_test.cpp:" + line);
  std::string validation = CheckFailure([] { FailValidation(-1); });
  EXPECT_EQ(validation.rfind("validation failed: slotInDirectory >= 0 (tests/errors_test.cpp:", 0),
            0u)
      << validation;
  EXPECT_NE(validation.find("\nslotInDirectory >= 0 @ "), std::string::npos);
  EXPECT_NE(CheckFailure(BadMode).find("\n!\"Bad mode.\" @ "), std::string::npos);
  EXPECT_EQ(CheckFailure([] { FailValidation(0); }), "(nothing raised)");
}

TEST(ChecksTest, TheReportLineCanBeSilencedButTheRaisedErrorKeepsItsText) {
  EXPECT_TRUE(KVTSimUttAssert::ReportsToStderr());
  EXPECT_TRUE(KVTSimUttAssert::SetReportToStderr(false));
  std::string silent = CheckFailure(FailAssertion);
  std::string report = CheckFailure([] {  // the report operations obey it as well
    KVTSimUttAssert::ReportValidationFailure("x", "y.cpp", 1);
  });
  EXPECT_FALSE(KVTSimUttAssert::SetReportToStderr(true));
  EXPECT_EQ(silent.rfind("1 + 1 == 3 @ tests/errors_test.cpp:", 0), 0u) << silent;
  EXPECT_EQ(report, "(nothing raised)");
  EXPECT_EQ(CheckFailure(FailAssertion).rfind("assertion failed: 1 + 1 == 3 (", 0), 0u);
}

TEST(ChecksDeathTest, ConditionThatHoldsOnRetestEndsTheProcessWithStatusOne) {
  auto flips = [] {
    int evaluations = 0;
    KVTSIM_ASSERT(evaluations++ != 0);
  };
  EXPECT_EXIT(flips(), testing::ExitedWithCode(1), "assertion failed: evaluations\\+\\+ != 0");
}

TEST(ErrorKindsTest, EveryKindArrivesAsItselfWithItsOwnCodeAndName) {
  std::set<int> codes;
  auto check = [&codes](auto error, char const* name) {
    std::pair<std::string, int> const result = RaiseAndCatch(error);
    EXPECT_EQ(result.first.rfind(name, 0), 0u) << result.first;
    EXPECT_TRUE(codes.insert(result.second).second) << name << " shares code " << result.second;
  };
  check(KVTSimExcAllocReadOnly(), "KVTSimExcAllocReadOnly");
  check(KVTSimExcBrokenStream(), "KVTSimExcBrokenStream");
  check(KVTSimExcCantDerefLocator(), "KVTSimExcCantDerefLocator");
  check(KVTSimExcCantExternalizeLoc(), "KVTSimExcCantExternalizeLoc");
  check(KVTSimExcCantGetFile(), "KVTSimExcCantGetFile");
  check(KVTSimExcCorruptDirectory(), "KVTSimExcCorruptDirectory");
  check(KVTSimExcCorruptHeader(), "KVTSimExcCorruptHeader");
  check(KVTSimExcImmutablePool(), "KVTSimExcImmutablePool");
  check(KVTSimExcInvalidGUID(), "KVTSimExcInvalidGUID");
  check(KVTSimExcNewPoolReadOnly(), "KVTSimExcNewPoolReadOnly");
  check(KVTSimExcNotSimFile(), "KVTSimExcNotSimFile");
  check(KVTSimExcPoolAlreadyInDoc(), "KVTSimExcPoolAlreadyInDoc");
  check(KVTSimExcShortPool(), "KVTSimExcShortPool");
  check(KVTSimExcUserSigMismatch(), "KVTSimExcUserSigMismatch");
  check(KVTSimExcValidationFailure(), "KVTSimExcValidationFailure");
  check(KVTSimExcWriteReadOnly(), "KVTSimExcWriteReadOnly");
  check(KVTSimExcCantCreateFile(KVTSimUttExceptionString<1024>("a.sim")),
        "KVTSimExcCantCreateFile('a.sim')");
  check(KVTSimExcIOBounds(1, 1ull << 40, 7),
        "KVTSimExcIOBounds(start=1, end=1099511627776, limit=7)");
  check(KVTSimExcNeedUpgrade(6, 5, KVTSimUttExceptionString<1024>("b.sim")),
        "KVTSimExcNeedUpgrade(current=6, found=5, file='b.sim')");
  check(KVTSimExcRequestTooBig(4096, 16), "KVTSimExcRequestTooBig(requested=4096, capacity=16)");
  check(KVTSimExcShortBuffer(12, 8), "KVTSimExcShortBuffer(needed=12, available=8)");
  check(KVTBasAssertException("a < b"), "KVTBasAssertException(a < b)");
  check(KVTBasMemoryExhausted(99), "KVTBasMemoryExhausted(requested=99)");
  check(KVTSimUttOSError("open", KVTString("/x"), ENOENT), "KVTSimUttOSError(open '/x': ");
  EXPECT_EQ(codes.size(), 24u);
}

TEST(ErrorKindsTest, ReportTextIsMadeOnceAndSharedByCopies) {
  static_assert(std::is_nothrow_copy_constructible_v<KVTSimExcCantCreateFile>);
  static_assert(std::is_nothrow_copy_assignable_v<KVTSimExcIOBounds>);
  static_assert(std::is_nothrow_copy_constructible_v<KVTBasAssertException>);
  // Later copies share the text and outlive the original.
  KVTSimExcNeedUpgrade* original =
      new KVTSimExcNeedUpgrade(6, 5, KVTSimUttExceptionString<1024>("c.sim"));
  char const* text = original->what();
  KVTSimExcNeedUpgrade copy(*original);
  KVTSimExcNeedUpgrade assigned(1, 1, KVTSimUttExceptionString<1024>(""));
  assigned = copy;
  assigned = assigned;
  delete original;
  EXPECT_EQ(copy.what(), text);
  EXPECT_STREQ(assigned.what(), "KVTSimExcNeedUpgrade(current=6, found=5, file='c.sim')");
}

TEST(ErrorKindsTest, WhatMayBeAskedFromSeveralThreadsAtOnce) {
  // One thrown error reached through an exception_ptr, as a host hands it on.
  std::exception_ptr raised;
  try {
    KVTSimExcRequestTooBig(4096, 16).Throw("origin.cpp", 1);
  } catch (...) {
    raised = std::current_exception();
  }
  std::string seen[2];
  auto ask = [&raised, &seen](int i) {
    try {
      std::rethrow_exception(raised);
    } catch (std::exception const& e) {
      seen[i] = e.what();
    }
  };
  std::thread first(ask, 0);
  std::thread second(ask, 1);
  first.join();
  second.join();
  EXPECT_EQ(seen[0], "KVTSimExcRequestTooBig(requested=4096, capacity=16)");
  EXPECT_EQ(seen[1], seen[0]);
}

TEST(ErrorKindsTest, FullReportAddsTheLocation) {
  try {
    KVTSimExcIOBounds(10, 20, 15).Throw("pool.cpp", 42);
  } catch (KVTSimExcIOBounds const& e) {
    EXPECT_EQ(std::string(e.DeveloperReport(KVTBasStringModeFull).CStr()),
              "KVTSimExcIOBounds(start=10, end=20, limit=15) at pool.cpp:42");
  }
}

TEST(ErrorKindsTest, LongFileNamesAreCutWithoutSplittingACharacter) {
  // 1022 ASCII bytes then a two-byte character: only the ASCII part fits.
  std::string name(1022, 'n');
  name += "\xC3\xA9";
  KVTSimExcCantCreateFile error((KVTSimUttExceptionString<1024>(KVTString(name.c_str()))));
  EXPECT_EQ(std::string(error.FileName()), std::string(1022, 'n'));
  KVTSimExcNeedUpgrade empty(6, 7, KVTSimUttExceptionString<1024>(KVTString()));
  EXPECT_STREQ(empty.FileName(), "");
}
