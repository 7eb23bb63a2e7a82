// Pool map slots and the reference matrix.

#include <gtest/gtest.h>

#include <string>

#include "KVTBasAssertException.h"
#include "KVTBasMemoryExhausted.h"
#include "KVTSimExc.h"
#include "KVTSimRpm_DocumentImpl.h"
#include "KVTSimRpm_PoolMap.h"
#include "kvtsim_test_util.h"

namespace {

// A 32-byte identifier made of one repeated character.
std::string Id(char c) {
  return std::string(32, c);
}

class PoolMapTest : public testing::Test {
 protected:
  template <typename Fn>
  void ExpectCheck(Fn fn, char const* expression) {
    EXPECT_EQ(kvtsim_test::FailedCheck(fn), expression);
  }

  KVTSimRpm_PoolMap map_;
};

}  // namespace

TEST_F(PoolMapTest, NewMapKnowsNothing) {
  EXPECT_EQ(map_.Length(), 0);
  EXPECT_EQ(map_.LookupByUUID(Id('a').c_str()), -1);
  EXPECT_FALSE(map_.IsDuplicate(Id('a').c_str()));
}

TEST_F(PoolMapTest, MatrixGrowsWithSlotsAndKeepsRememberedCells) {
  EXPECT_EQ(map_.NewSlot(Id('a').c_str()), 0);
  EXPECT_EQ(map_.NewSlot(Id('b').c_str()), 1);
  EXPECT_EQ(map_.GetDirectoryIndex(0, 1), -1);
  map_.AddReference(0, 1, 3);
  EXPECT_EQ(map_.GetDirectoryIndex(0, 1), 3);
  EXPECT_EQ(map_.NewSlot(Id('c').c_str()), 2);
  EXPECT_EQ(map_.GetDirectoryIndex(0, 1), 3);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(map_.GetDirectoryIndex(2, i), -1);
    EXPECT_EQ(map_.GetDirectoryIndex(i, 2), -1);
  }
  EXPECT_EQ(std::string(map_.UUID(1), 32), Id('b'));
}

TEST_F(PoolMapTest, IdentifiersWithoutPoolMayRepeatLookupAnswersTheFirst) {
  map_.NewSlot(Id('a').c_str());
  map_.NewSlot(Id('b').c_str());
  EXPECT_EQ(map_.NewSlot(Id('a').c_str()), 2);
  EXPECT_EQ(map_.LookupByUUID(Id('a').c_str()), 0);
  // Only the 32 bytes count: a longer text with the same start matches.
  EXPECT_EQ(map_.LookupByUUID((Id('b') + "tail").c_str()), 1);
}

TEST_F(PoolMapTest, LoadedPoolBlocksItsIdentifierUntilRemoved) {
  KVTSimRpm_DocumentImpl document("SIG1");
  KVTSimRpm_WeakRef<KVTSimRpm_FileImpl> file = document.CreateTemporary(KVTString());
  KVTSimRpm_StrongRef<KVTSimRpm_PoolMap> map = document.Map().lock();
  ASSERT_EQ(map->Length(), 1);
  std::string loaded(map->UUID(0), 32);
  EXPECT_TRUE(map->IsDuplicate(loaded.c_str()));
  EXPECT_THROW(map->NewSlot(loaded.c_str()), KVTSimExcPoolAlreadyInDoc);
  EXPECT_EQ(map->Length(), 1);

  map->Remove(0);
  EXPECT_FALSE(map->IsDuplicate(loaded.c_str()));
  EXPECT_EQ(std::string(map->UUID(0), 32), loaded);
  EXPECT_EQ(map->Length(), 1);
  map->SetPool(0, file->Pool());
  EXPECT_TRUE(map->IsDuplicate(loaded.c_str()));
}

TEST_F(PoolMapTest, SlotArgumentsOutOfRangeFailTheirChecksInOrder) {
  map_.NewSlot(Id('a').c_str());
  ExpectCheck([this] { map_.Pool(-1); }, "slotInMap >= 0");
  ExpectCheck([this] { map_.UUID(1); }, "slotInMap < mItemList.Length()");
  ExpectCheck([this] { map_.Remove(5); }, "slotInMap < mItemList.Length()");
  ExpectCheck([this] { map_.SetPool(1, KVTSimRpm_WeakRef<KVTSimRpm_PoolImpl>()); },
              "slot < mItemList.Length()");
  ExpectCheck([this] { map_.SetPool(-1, KVTSimRpm_WeakRef<KVTSimRpm_PoolImpl>()); }, "slot >= 0");
  ExpectCheck([this] { map_.AddReference(-1, -1, 0); }, "srcSlotInMap >= 0");
  ExpectCheck([this] { map_.AddReference(1, -1, 0); }, "srcSlotInMap < mItemList.Length()");
  ExpectCheck([this] { map_.GetDirectoryIndex(0, -1); }, "dstSlotInMap >= 0");
  ExpectCheck([this] { map_.GetDirectoryIndex(0, 1); }, "dstSlotInMap < mItemList.Length()");
}

TEST(MatrixTest, FillFromCopiesTheCommonBlockEitherWay) {
  KVTSimRpm_Matrix empty(0);
  EXPECT_EQ(empty.Dimension(), 0);
  KVTSimRpm_Matrix small(2);
  KVTSimRpm_Matrix large(3);
  for (int r = 0; r < 2; ++r) {
    for (int c = 0; c < 2; ++c)
      small.MutItem(r, c) = 10 * r + c;
  }
  large.FillFrom(small);
  EXPECT_EQ(large.Item(1, 0), 10);
  EXPECT_EQ(large.Item(1, 1), 11);
  EXPECT_EQ(large.Item(1, 2), -1);
  EXPECT_EQ(large.Item(2, 1), -1);
  large.MutItem(0, 1) = 99;
  large.MutItem(2, 2) = 77;
  small.FillFrom(large);
  EXPECT_EQ(small.Item(0, 1), 99);
  EXPECT_EQ(small.Item(1, 1), 11);
  small.Swap(large);
  EXPECT_EQ(small.Dimension(), 3);
  EXPECT_EQ(small.Item(2, 2), 77);
}

TEST(MatrixTest, DimensionPastTheIntCellLimitIsRefusedBeforeAllocating) {
  EXPECT_NO_THROW(KVTSimRpm_Matrix(1));
  try {
    KVTSimRpm_Matrix tooLarge(KVTSimRpm_Matrix::kMaxDimension + 1);
    ADD_FAILURE() << "allocated";
  } catch (KVTBasMemoryExhausted const& e) {
    EXPECT_EQ(e.Requested(), 4ull * 46341 * 46341);
  }
}

TEST(MatrixTest, GrowingOneRowAtATimeReallocatesRarelyAndKeepsCells) {
  KVTSimRpm_Matrix matrix(0);
  int reallocations = 0;
  for (int n = 1; n <= 2000; ++n) {
    int room = matrix.Capacity();
    matrix.Reserve(n);
    reallocations += matrix.Capacity() != room;
    matrix.Grow(n);
    EXPECT_EQ(matrix.Item(n - 1, 0), -1);
    EXPECT_EQ(matrix.Item(0, n - 1), -1);
    matrix.MutItem(n - 1, n - 1) = n;
  }
  // Room grows by a quarter at least: a few dozen copies, not one per row.
  EXPECT_LT(reallocations, 40);
  for (int n = 1; n <= 2000; ++n)
    EXPECT_EQ(matrix.Item(n - 1, n - 1), n);
  EXPECT_TRUE(kvtsim_test::FailsCheck([&] { matrix.Grow(matrix.Capacity() + 1); }));
}
