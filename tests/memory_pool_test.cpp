// The memory-pool overlay and byte access through locators.

#include <gtest/gtest.h>

#include <string>

#include "KVTSimExc.h"
#include "KVTSimRpm_BStreamReadLocator.h"
#include "KVTSimRpm_BStreamWriteLocator.h"
#include "KVTSimRpm_Document.h"
#include "KVTSimRpm_MemoryPool.h"
#include "kvtsim_test_util.h"

namespace {

using Doc = KVTSimRpm_Document;
using kvtsim_test::FailedCheck;

class MemoryPoolTest : public kvtsim_test::WritableFileTest {
 protected:
  MemoryPoolTest() : data_(kvtsim_test::RandomBytes(1200, 1)), start_(file_.Allocate(1200)) {
    start_.Write(data_.size(), data_.data());
  }

  std::string data_;
  KVTSimRpm_Locator start_;
};

}  // namespace

TEST_F(MemoryPoolTest, RangeTestsAndShortReadsAtTheEnd) {
  KVTSimRpm_MemoryPool overlay(start_ + 1000, 100);
  EXPECT_TRUE(overlay.Startin(start_ + 1000));
  EXPECT_TRUE(overlay.Startin(start_ + 1099));
  EXPECT_FALSE(overlay.Startin(start_ + 999));
  EXPECT_FALSE(overlay.Startin(start_ + 1100));
  EXPECT_TRUE(overlay.Within(start_ + 1090, 10));
  EXPECT_FALSE(overlay.Within(start_ + 1090, 11));
  EXPECT_FALSE(overlay.Within(start_ + 1090, ~0ull));  // no wrap-around
  char buffer[20];
  EXPECT_EQ(overlay.Read(start_ + 1090, 20, buffer), 10u);
  EXPECT_EQ(std::string(buffer, 10), data_.substr(1090, 10));

  KVTSimRpm_File other = document_.AddFile(dir_.Name("b.sim"), Doc::AccessWrite);
  KVTSimRpm_Locator elsewhere = other.Allocate(4);
  EXPECT_FALSE(overlay.Within(elsewhere, 1));
  EXPECT_EQ(FailedCheck([&] { overlay.Startin(elsewhere); }), "SamePool(that)");
  EXPECT_EQ(FailedCheck([&] { overlay.Read(elsewhere, 1, buffer); }),
            "mLocator.SamePool(location)");
  EXPECT_EQ(FailedCheck([&] { overlay.Read(start_ + 999, 1, buffer); }), "mLocator <= location");
  EXPECT_EQ(FailedCheck([&] { overlay.Read(start_ + 1100, 1, buffer); }),
            "location < mLocator + mSize");
  EXPECT_EQ(FailedCheck([&] { overlay.Write(start_ + 1095, 10, buffer); }),
            "Within(location, length)");
  EXPECT_EQ(FailedCheck([&] { KVTSimRpm_MemoryPool(start_ + 1100, 1 << 20); }), "r == mSize");
}

TEST_F(MemoryPoolTest, OverlayServesReadsAndTakesWritesThrough) {
  KVTSimRpm_MemoryPool overlay(start_ + 100, 50);
  KVTSimRpm_Locator inside(start_ + 110, overlay);
  // Change the pool behind the overlay's back: reads inside still see the copy.
  (start_ + 110).Write(3, "new");
  char buffer[60];
  EXPECT_EQ(inside.Read(60, buffer), 40u) << "stops at the overlay's end";
  EXPECT_EQ(std::string(buffer, 3), data_.substr(110, 3));
  KVTSimRpm_Locator before(start_ + 50, overlay);
  EXPECT_EQ(before.Read(60, buffer), 60u) << "outside the range: from the pool";

  inside.Write(3, "xyz");
  inside.Read(3, buffer);
  EXPECT_EQ(std::string(buffer, 3), "xyz");
  (start_ + 110).Read(3, buffer);
  EXPECT_EQ(std::string(buffer, 3), "xyz");
}

TEST_F(MemoryPoolTest, LocatorsReadFromAnOverlaidStreamInheritTheOverlay) {
  KVTSimRpm_Locator record = file_.Allocate(12);
  {
    KVTSimRpm_BStreamWriteLocator out(record, 12, 16);
    Externalize(out, start_ + 7);
  }
  KVTSimRpm_MemoryPool overlay(record, 12);
  KVTSimRpm_BStreamReadLocator in(KVTSimRpm_Locator(record, overlay), 12, 16);
  KVTSimRpm_Locator back;
  Internalize(in, back);
  EXPECT_EQ(back.IMPool(), &overlay);
  // It points outside the overlay's range: reads are served by the pool.
  char byte = 0;
  EXPECT_EQ(back.Read(1, &byte), 1u);
  EXPECT_EQ(byte, data_[7]);
}

TEST_F(MemoryPoolTest, OverlayWriteOnAReadOnlyFileIsRefusedByThePoolAfterTheCopy) {
  document_.Close();
  std::string const before = kvtsim_test::ReadBytes(dir_.File("a.sim"));
  Doc reader("USR1");
  KVTSimRpm_Locator start =
      reader.AddFile(dir_.Name("a.sim"), Doc::AccessRead).Pool().Start() + 1000;
  KVTSimRpm_MemoryPool overlay(start, 100);
  KVTSimRpm_Locator at(start, overlay);
  EXPECT_TRUE(at.ReadOnly());
  EXPECT_THROW(at.Write(4, "WXYZ"), KVTSimExcWriteReadOnly);
  EXPECT_EQ(kvtsim_test::ReadBytes(dir_.File("a.sim")), before);
  // The copy is written first, so it now differs from the file: readers
  // through the overlay see bytes that the file never received.
  char bytes[4];
  ASSERT_EQ(at.Read(4, bytes), 4u);
  EXPECT_EQ(std::string(bytes, 4), "WXYZ");
  ASSERT_EQ(KVTSimRpm_Locator(at, 0).Read(4, bytes), 4u);
  EXPECT_EQ(std::string(bytes, 4), data_.substr(1000, 4));
}
