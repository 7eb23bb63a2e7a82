// Pool map slots and the reference matrix.

#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <utility>

#include "KVTBasAssertException.h"
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

TEST_F(PoolMapTest, IdentifiersWithoutPoolMayRepeatLookupAnswersTheFirst) {
  EXPECT_EQ(map_.LookupByUUID(Id('a').c_str()), -1);
  EXPECT_FALSE(map_.IsDuplicate(Id('a').c_str()));
  map_.NewSlot(Id('a').c_str());
  map_.NewSlot(Id('b').c_str());
  EXPECT_EQ(map_.NewSlot(Id('a').c_str()), 2);
  EXPECT_EQ(map_.LookupByUUID(Id('a').c_str()), 0);
  EXPECT_EQ(std::string(map_.UUID(1), 32), Id('b'));
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

// The memo against a plain std::map over thousands of slots, past the
// 46,340 that an N x N table of ints could address: every remembered pair
// reads back, every other pair reads -1, and memory follows the pairs.
TEST_F(PoolMapTest, MemoAnswersLikeAPlainMapAcrossThousandsOfSlots) {
  constexpr int kSlots = 50000;
  std::mt19937 random(7);
  std::map<std::pair<int, int>, int> model;
  char id[33];
  for (int n = 0; n < kSlots; ++n) {
    std::snprintf(id, sizeof id, "%032d", n);
    ASSERT_EQ(map_.NewSlot(id), n);
    // A few references from the new slot to older ones, some overwritten.
    for (int k = 0; k < 3 && n > 0; ++k) {
      int dst = static_cast<int>(random() % static_cast<unsigned>(n + 1));
      int slotInDir = static_cast<int>(random() % 8);
      map_.AddReference(n, dst, slotInDir);
      model[{n, dst}] = slotInDir;
    }
  }
  for (auto const& [pair, slotInDir] : model)
    ASSERT_EQ(map_.GetDirectoryIndex(pair.first, pair.second), slotInDir);
  for (int probe = 0; probe < 100000; ++probe) {
    int src = static_cast<int>(random() % kSlots);
    int dst = static_cast<int>(random() % kSlots);
    auto found = model.find({src, dst});
    ASSERT_EQ(map_.GetDirectoryIndex(src, dst), found == model.end() ? -1 : found->second);
  }
  EXPECT_EQ(map_.Matrix().SetCells(), model.size());
  EXPECT_LE(map_.Matrix().AllocatedBytes(), 64 * model.size());
}

TEST(MatrixTest, ForgottenCellsLeaveTheOthersReachable) {
  // Cells set and forgotten at random against a model: deleting from the
  // middle of a probe run must not hide the cells after it.
  KVTSimRpm_Matrix matrix(300);
  std::map<std::pair<int, int>, int> model;
  std::mt19937 random(11);
  for (int step = 0; step < 200000; ++step) {
    int row = static_cast<int>(random() % 300);
    int column = static_cast<int>(random() % 300);
    int value = random() % 3 == 0 ? -1 : static_cast<int>(random() % 1000);
    matrix.SetItem(row, column, value);
    if (value == -1)
      model.erase({row, column});
    else
      model[{row, column}] = value;
  }
  EXPECT_EQ(matrix.SetCells(), model.size());
  for (int row = 0; row < 300; ++row) {
    for (int column = 0; column < 300; ++column) {
      auto found = model.find({row, column});
      ASSERT_EQ(matrix.Item(row, column), found == model.end() ? -1 : found->second);
    }
  }
}

TEST(MatrixTest, FillFromCopiesTheCommonBlockEitherWay) {
  KVTSimRpm_Matrix empty(0);
  EXPECT_EQ(empty.Dimension(), 0);
  EXPECT_EQ(empty.AllocatedBytes(), 0u);
  KVTSimRpm_Matrix small(2);
  KVTSimRpm_Matrix large(3);
  for (int cell = 0; cell < 4; ++cell)
    small.SetItem(cell / 2, cell % 2, 10 * (cell / 2) + cell % 2);
  large.FillFrom(small);
  EXPECT_EQ(large.Item(1, 0), 10);
  EXPECT_EQ(large.Item(1, 1), 11);
  EXPECT_EQ(large.Item(1, 2), -1);
  EXPECT_EQ(large.Item(2, 1), -1);
  large.SetItem(0, 1, 99);
  large.SetItem(2, 2, 77);
  small.FillFrom(large);
  EXPECT_EQ(small.Item(0, 1), 99);
  EXPECT_EQ(small.Item(1, 1), 11);
  EXPECT_EQ(small.SetCells(), 4u) << "cell (2, 2) lies outside the smaller matrix";
  small.Swap(large);
  EXPECT_EQ(small.Dimension(), 3);
  EXPECT_EQ(small.Item(2, 2), 77);
  EXPECT_TRUE(kvtsim_test::FailsCheck([&] { small.Grow(2); }));
}
