// The copy-on-write block list and its snapshot iterator.

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <memory>
#include <random>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "KVTBasMemoryExhausted.h"
#include "cow_List.h"
#include "cow_ListIter.h"

struct cow_ListTestPeer {
  // "<block shift> <slots> <origin>".
  static std::string Shape(cow_List<int> const& l) {
    return std::to_string(l.mBlockShift) + " " + std::to_string(l.mSlotCount) + " " +
           std::to_string(l.mOrigin);
  }
  // The index's share count, then the share count of each slot's block ('.': none).
  static std::string Shares(cow_List<int> const& l) {
    std::string out = std::to_string(l.mIndexCounter->Value()) + ":";
    for (int k = 0; k < l.mSlotCount; ++k)
      out += l.mIndex[k] ? static_cast<char>('0' + l.mIndex[k]->Count().Value()) : '.';
    return out;
  }
};

namespace {

using Peer = cow_ListTestPeer;

// An item that records which objects are alive, so that a double destruction,
// a copy from a dead object or a leaked item shows.
struct Counted {
  static inline std::unordered_set<Counted const*> live;
  static inline int misuse = 0;
  static void Expect(bool ok) { misuse += ok ? 0 : 1; }

  Counted(int v = 0) : value(v) { Expect(live.insert(this).second); }  // NOLINT: implicit
  Counted(Counted const& other) : Counted(other.value) { Expect(live.count(&other) == 1); }
  Counted& operator=(Counted const& other) {
    Expect(live.count(this) == 1 && live.count(&other) == 1);
    value = other.value;
    return *this;
  }
  ~Counted() { Expect(live.erase(this) == 1); }
  int value;
};

class CowListTest : public ::testing::Test {
 protected:
  void TearDown() override {
    EXPECT_EQ(Counted::live.size(), 0u) << "items leaked";
    EXPECT_EQ(Counted::misuse, 0) << "items used after destruction or destroyed twice";
    Counted::live.clear();  // a failure does not spill into the next test
    Counted::misuse = 0;
  }

  static std::vector<int> Values(cow_List<Counted> const& l) {
    std::vector<int> out;
    for (int i = 0; i < l.Length(); ++i)
      out.push_back(l.ConstGet(i).value);
    return out;
  }
  static cow_List<int> Range(int n) {
    cow_List<int> l;
    for (int i = 0; i < n; ++i)
      l.Append(i);
    return l;
  }
};

using CowListDeathTest = CowListTest;

// Blocks of n/16 to n/8 items from n = 256 on; slots = ceil(n / B) + 16.
TEST_F(CowListTest, SizingFollowsTheItemCount) {
  std::pair<int, char const*> const cases[] = {
      {0, "4 0 0"},     {-2, "4 16 0"},       {255, "4 16 0"},
      {256, "5 24 0"},  {300, "5 26 0"},      {511, "5 32 0"},
      {1000, "6 32 0"}, {1 << 20, "17 24 0"}, {0x7FFFFFFF, "28 24 0"}};
  for (auto const& [n, shape] : cases)
    EXPECT_EQ(Peer::Shape(cow_List<int>(cow_ListConstruct(), n)), shape) << n;
  cow_List<int> slice = Range(300).Slice(0, 300);
  EXPECT_EQ(Peer::Shape(slice), "5 26 0");
  slice.Clear();  // the sizing goes with the items
  EXPECT_EQ(Peer::Shape(slice), "4 0 0");
  // Blocks of 2^28: the room a prepend makes would pass position 2^31 - 1.
  cow_List<int> huge(cow_ListConstruct(), 0x7FFFFFFF);
  EXPECT_THROW(huge.Prepend(1), KVTBasMemoryExhausted);
  EXPECT_EQ(huge.Length(), 0);
}

TEST_F(CowListTest, WriteAfterCopyUnsharesOnlyIndexAndWrittenBlocks) {
  cow_List<int> a = Range(100);  // blocks in slots 0..6
  cow_List<int> b = a;
  a.Get(3) = -3;
  a.Get(50) = -50;
  EXPECT_EQ(Peer::Shares(a), "1:1221222.........");
  EXPECT_EQ(Peer::Shares(b), "1:1221222.........");
}

// The items on the longer side keep their places; a prepend moves all free
// index slots to the front at once.
TEST_F(CowListTest, InsertAndRemoveMoveTheShorterSide) {
  cow_List<int> l = Range(10);
  int const* zero = &l.ConstGet(0);
  int const* nine = &l.ConstGet(9);
  l.InsertIndex(8, 100);
  l.RemoveIndex(9);
  EXPECT_EQ(&l.ConstGet(0), zero);
  l.InsertIndex(1, 100);
  EXPECT_EQ(Peer::Shape(l), "4 16 239");
  l.RemoveIndex(2);
  EXPECT_EQ(&l.ConstGet(9), nine);
}

TEST_F(CowListTest, RemovalAndClearReleaseBlocks) {
  cow_List<int> l = Range(33);
  l.RemoveLast();  // item 32 was the first of block 2
  EXPECT_EQ(Peer::Shares(l), "1:11..............");
  for (int k = 0; k < 16; ++k)
    l.RemoveIndex(0);
  EXPECT_EQ(Peer::Shares(l), "1:.1..............");
  // Emptied in the middle of a block: the block stays until Clear, which
  // releases it and the index and resets the origin.
  cow_List<int> held(1, 2);
  held.RemoveIndex(1);
  held.RemoveIndex(0);
  EXPECT_EQ(Peer::Shares(held), "1:1" + std::string(15, '.'));
  held.Clear();
  EXPECT_EQ(Peer::Shape(held), "4 0 0");
}

// The iterator's share keeps its items alive after the list lets go of them;
// the last sharer destroys each item once.
TEST_F(CowListTest, IteratorWalksASnapshot) {
  cow_List<Counted> l;
  for (int v = 39; v >= 0; --v)
    l.Prepend(v);  // the first item lies inside a block
  auto it = std::make_unique<cow_ListIter<Counted>>(l);
  l.Append(40);
  l.Get(0) = -1;
  l.RemoveIndex(20);
  for (int i = 0; i < 40; ++i, it->Next()) {
    ASSERT_TRUE(it->NotDone());
    EXPECT_EQ(it->ArrayIndex(), i);
    EXPECT_EQ(it->CurrentItem().value, i);
  }
  EXPECT_FALSE(it->NotDone());
  l.Clear();
  EXPECT_EQ(Counted::live.size(), 40u);
  it.reset();
  EXPECT_EQ(Counted::live.size(), 0u);
}

TEST_F(CowListTest, ArraysInAndOutHoldCopies) {
  cow_List<Counted> c(0, 1, 2, 3, 4);
  c.SetFromArray(&c.UncheckedConstGet(1), 3);  // items of the list itself
  EXPECT_EQ(Values(c), (std::vector<int>{1, 2, 3}));
  int n = 0;
  Counted* raw = c.GetCArray(n);
  ASSERT_EQ(n, 3);
  EXPECT_EQ(raw[2].value, 3);
  cow_List<Counted>::DeleteCArray(raw);
  EXPECT_EQ(c.Pop().value, 3);
}

TEST_F(CowListDeathTest, BadIndexAbortsWithoutReport) {
  cow_List<int> l = Range(3);
  auto const aborted = ::testing::KilledBySignal(SIGABRT);
  EXPECT_EXIT(l.Get(3), aborted, "^$");
  EXPECT_EXIT(cow_List<int>().Pop(), aborted, "^$");
  EXPECT_EXIT(l.InsertIndex(4, 0), aborted, "^$");
}

// Random operations on three lists that are copied from each other, checked
// against vectors after every step.
TEST_F(CowListTest, RandomOperationsMatchVectors) {
  cow_List<Counted> lists[3];
  std::vector<int> models[3];
  std::mt19937 rng(20240611);
  auto pick = [&rng](int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); };
  for (int step = 0; step < 4000; ++step) {
    int const k = pick(3), j = pick(3), op = pick(9);
    cow_List<Counted>& l = lists[k];
    std::vector<int>& m = models[k];
    std::vector<int> const other = models[j];
    int const n = static_cast<int>(m.size());
    int const i = pick(4) == 0 ? n * pick(2) : pick(n + 1);  // ends often: Append, Prepend
    if (op == 0 && n > 0) {
      int const from = pick(n), v = m[from];  // insert an item of the list itself
      l.InsertIndex(i, l.ConstGet(from));
      m.insert(m.begin() + i, v);
    } else if (op <= 1) {
      l.InsertIndex(i, step);
      m.insert(m.begin() + i, step);
    } else if (op == 2 && i < n) {
      l.RemoveIndex(i);
      m.erase(m.begin() + i);
    } else if (op == 3 && i < n) {
      l.Get(i) = m[i] = -step;
    } else if (op == 4) {  // share, sometimes through a list sized for many items
      cow_List<Counted> sized(cow_ListConstruct(), 256 + pick(2000));
      sized.Concatenate(lists[j]);
      l = pick(2) ? lists[j] : sized;
      m = other;
    } else if (op == 5) {
      l.Resize(i);
      m.resize(i);
    } else if (op == 6 && n + other.size() < 1500) {
      l.Concatenate(lists[j]);
      m.insert(m.end(), other.begin(), other.end());
    } else if (op == 7) {
      int const a = pick(n + 4) - 2, b = pick(n + 4) - 2, s = std::clamp(a, 0, n);
      lists[j] = l.Slice(a, b);
      models[j] = std::vector<int>(m.begin() + s, m.begin() + std::clamp(b, s, n));
    } else if (op == 8) {
      int const to = n + pick(8);
      l.Fill(to, step);
      m.resize(static_cast<std::size_t>(to), step);
    }
    for (int q = 0; q < 3; ++q)
      ASSERT_EQ(Values(lists[q]), models[q]) << "step " << step;
  }
}

}  // namespace
