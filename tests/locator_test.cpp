// Locators as values: arithmetic, comparison and identity.

#include <gtest/gtest.h>

#include <string>

#include "KVTSimExc.h"
#include "KVTSimRpm_Document.h"
#include "KVTSimRpm_PoolDirectoryImpl.h"
#include "kvtsim_test_util.h"

namespace {

using Doc = KVTSimRpm_Document;

using LocatorTest = kvtsim_test::WritableFileTest;

}  // namespace

TEST_F(LocatorTest, DefaultLocatorIsNullAndNeverSamePool) {
  KVTSimRpm_Locator none;
  EXPECT_TRUE(none.Null());
  EXPECT_FALSE(none.SamePool(none));
  EXPECT_FALSE(file_.Start().SamePool(none));
  EXPECT_EQ(kvtsim_test::FailedCheck([&] { (void)(none == none); }), "mPointer && mCounter");
}

TEST_F(LocatorTest, ArithmeticIsModuloTwoToThe64) {
  KVTSimRpm_Locator start = file_.Allocate(100);
  KVTSimRpm_Locator ten = start + 10;
  EXPECT_EQ(ten.Offset(), 10u);
  EXPECT_EQ(KVTSimRpm_Locator(start, 10), ten);
  EXPECT_EQ(ten - start, 10u);
  EXPECT_EQ(start - ten, ~0ull - 9);
  EXPECT_EQ((start - 1).Offset(), ~0ull);
  ten += 5;
  EXPECT_EQ(ten.Offset(), 15u);
  EXPECT_TRUE(start < ten);
  EXPECT_TRUE(ten <= ten);
  EXPECT_FALSE(ten < start);
}

TEST_F(LocatorTest, OrderingAcrossPoolsFailsSamePool) {
  KVTSimRpm_Locator first = file_.Allocate(10);
  file_.NewPool(nullptr);
  KVTSimRpm_Locator second = file_.Pool().Start();
  EXPECT_FALSE(first.SamePool(second));
  EXPECT_FALSE(first == second);
  EXPECT_EQ(kvtsim_test::FailedCheck([&] { (void)(first < second); }), "SamePool(that)");
  EXPECT_EQ(kvtsim_test::FailedCheck([&] { (void)(first - second); }), "SamePool(that)");
}

TEST_F(LocatorTest, IdentifierOutlivesTheClosedFileButTheBytesDoNot) {
  KVTSimRpm_Locator at = file_.Allocate(4);
  KVTString id = file_.Pool().GetGUID();
  EXPECT_EQ(at.Directory()->GetGUID(), id);
  EXPECT_FALSE(at.ReadOnly());
  document_.Close(file_);
  EXPECT_EQ(at.GetGUID(), id);
  EXPECT_FALSE(at.Null());
  char byte;
  EXPECT_THROW(at.Read(1, &byte), KVTSimExcCantDerefLocator);
  EXPECT_THROW(at.Write(1, "x"), KVTSimExcCantDerefLocator);
  EXPECT_EQ(kvtsim_test::FailedCheck([&] { at.ReadOnly(); }), "mPointer && mCounter");
}

TEST_F(LocatorTest, LocatorOfAGoneMapNeverMatchesANewMapAtTheSameAddress) {
  KVTSimRpm_Locator old = file_.Allocate(10);
  KVTSimRpm_PoolMap const* oldMap = old.Map().Peek();
  // Close until the allocator places a fresh map where the first one was.
  KVTSimRpm_Locator fresh;
  for (int attempt = 0; attempt < 64 && fresh.Map().Peek() != oldMap; ++attempt) {
    document_.Close();
    fresh = document_.AddFile(dir_.Name("b.sim"), Doc::AccessWrite).Pool().Start();
  }
  if (fresh.Map().Peek() != oldMap)
    GTEST_SKIP() << "this allocator does not reuse the address (a sanitizer's quarantine)";
  EXPECT_EQ(fresh.SlotInMap(), old.SlotInMap());
  EXPECT_EQ(fresh.Offset(), old.Offset());
  EXPECT_FALSE(old.SamePool(fresh));
  EXPECT_EQ(kvtsim_test::FailedCheck([&] { (void)(old <= fresh); }), "SamePool(that)");
  EXPECT_EQ(kvtsim_test::FailedCheck([&] { (void)(fresh - old); }), "SamePool(that)");
  EXPECT_NE(kvtsim_test::FailedCheck([&] { (void)(old == fresh); }), "(none)");
}
