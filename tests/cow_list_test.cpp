// The copy-on-write block list and its snapshot iterator.

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <optional>
#include <random>
#include <unordered_set>
#include <vector>

#include "KVTBasMemoryExhausted.h"
#include "cow_List.h"
#include "cow_ListIter.h"

struct cow_ListTestPeer {
  using List = cow_List<int>;
  static int Slots(List const& l) { return l.mSlotCount; }
  static int Shift(List const& l) { return l.mBlockShift; }
  static int Origin(List const& l) { return l.mOrigin; }
  static unsigned IndexShares(List const& l) { return l.mIndexCounter->Value(); }
  // Share count of the block in slot k; 0 when the slot holds none.
  static unsigned BlockShares(List const& l, int k) {
    return k < l.mSlotCount && l.mIndex[k] ? l.mIndex[k]->Count().Value() : 0;
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
  void SetUp() override {
    Counted::live.clear();
    Counted::misuse = 0;
  }
  void TearDown() override {
    EXPECT_EQ(Counted::live.size(), 0u) << "items leaked";
    EXPECT_EQ(Counted::misuse, 0) << "items used after destruction or destroyed twice";
  }

  static int ValueOf(int v) { return v; }
  static int ValueOf(Counted const& c) { return c.value; }
  template <class T>
  static std::vector<int> Values(cow_List<T> const& l) {
    std::vector<int> out;
    for (int i = 0; i < l.Length(); ++i)
      out.push_back(ValueOf(l.ConstGet(i)));
    return out;
  }
  static std::vector<int> Iota(int from, int to) {
    std::vector<int> out;
    for (int v = from; v < to; ++v)
      out.push_back(v);
    return out;
  }
  // The items an iterator visits from where it stands; checks ArrayIndex.
  static std::vector<int> Walk(cow_ListIter<int>& it) {
    std::vector<int> seen;
    for (; it.NotDone(); it.Next()) {
      EXPECT_EQ(it.ArrayIndex(), static_cast<int>(seen.size()));
      seen.push_back(it.CurrentItem());
    }
    return seen;
  }
  static cow_List<int> Range(int n) {
    cow_List<int> l;
    for (int i = 0; i < n; ++i)
      l.Append(i);
    return l;
  }
};

using CowListDeathTest = CowListTest;

TEST_F(CowListTest, InitialSizingFollowsTheFloatExponent) {
  EXPECT_EQ(getFloatMask(1), 0x3F800000);
  EXPECT_EQ(getFloatMask(256), 0x43800000);
  EXPECT_EQ(getFloatMask(-2), -0x40000000);  // 0xC0000000
  EXPECT_EQ(getPower(0x43800000), 8);
  EXPECT_EQ(getPower(getFloatMask(1000)), 9);
  // n: blocks of n/16..n/8 items from 256 on; slots = ceil(n / B) + 16.
  struct Case {
    int n, shift, slots;
  } const cases[] = {{0, 4, 0},    {1, 4, 16},   {255, 4, 16},  {256, 5, 24},
                     {300, 5, 26}, {511, 5, 32}, {1000, 6, 32}, {1 << 20, 17, 24}};
  for (Case const& c : cases) {
    cow_List<int> l(cow_ListConstruct(), c.n);
    EXPECT_EQ(Peer::Shift(l), c.shift) << c.n;
    EXPECT_EQ(Peer::Slots(l), c.slots) << c.n;
  }
  cow_List<int> first;
  first.Append(7);
  EXPECT_EQ(Peer::Slots(first), 16);
  EXPECT_EQ(Peer::BlockShares(first, 0), 1u);

  // Blocks of 2^28: the room a prepend makes would pass position 2^31 - 1.
  cow_List<int> huge(cow_ListConstruct(), 0x7FFFFFFF);
  EXPECT_EQ(Peer::Shift(huge), 28);
  EXPECT_THROW(huge.Prepend(1), KVTBasMemoryExhausted);
  EXPECT_EQ(huge.Length(), 0);
}

TEST_F(CowListTest, ResizeToZeroResetsASizedList) {
  cow_List<int> held(cow_ListConstruct(), 1000);
  for (int i = 0; i < 1000; ++i)
    held.Append(i);
  held.Prepend(-1);  // moves the origin off 0
  EXPECT_NE(Peer::Origin(held), 0);
  held.Resize(0);
  EXPECT_EQ(Peer::Shift(held), 4);
  EXPECT_EQ(Peer::Origin(held), 0);
  EXPECT_EQ(Peer::Slots(held), 0);

  cow_List<int> empty(cow_ListConstruct(), 1000);
  empty.Resize(0);
  EXPECT_EQ(Peer::Shift(empty), 6);
  EXPECT_EQ(Peer::Slots(empty), 0);
}

TEST_F(CowListTest, WriteAfterCopyUnsharesOnlyIndexAndWrittenBlock) {
  cow_List<int> a = Range(100);  // blocks in slots 0..6
  cow_List<int> b = a;
  EXPECT_EQ(Peer::IndexShares(a), 2u);
  a.Get(3) = -3;
  EXPECT_EQ(a.ConstGet(3), -3);
  EXPECT_EQ(b.ConstGet(3), 3);
  EXPECT_EQ(Peer::IndexShares(a), 1u);
  EXPECT_NE(&a.ConstGet(4), &b.ConstGet(4));
  EXPECT_EQ(Peer::BlockShares(b, 0), 1u);
  for (int k = 1; k <= 6; ++k)
    EXPECT_EQ(Peer::BlockShares(a, k), 2u) << k;
  EXPECT_EQ(&a.ConstGet(50), &b.ConstGet(50));

  a.Get(50) = -50;
  EXPECT_EQ(Peer::BlockShares(a, 3), 1u);
  EXPECT_EQ(Peer::BlockShares(a, 4), 2u);
  EXPECT_EQ(b.ConstGet(50), 50);
}

TEST_F(CowListTest, InsertAndRemoveMoveTheShorterSide) {
  cow_List<int> front = Range(10);
  int const* nine = &front.ConstGet(9);
  front.InsertIndex(1, 100);  // item 0 moves towards the front
  EXPECT_EQ(&front.ConstGet(10), nine);
  EXPECT_EQ(Values(front), (std::vector<int>{0, 100, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
  front.RemoveIndex(1);
  EXPECT_EQ(&front.ConstGet(9), nine);
  EXPECT_EQ(Values(front), Iota(0, 10));

  cow_List<int> back = Range(10);
  int const* zero = &back.ConstGet(0);
  back.InsertIndex(8, 100);  // items 8 and 9 move towards the back
  EXPECT_EQ(&back.ConstGet(0), zero);
  EXPECT_EQ(Peer::Origin(back), 0);
  back.RemoveIndex(9);
  EXPECT_EQ(&back.ConstGet(0), zero);
  EXPECT_EQ(Values(back), (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 100, 9}));

  back.InsertIndex(0, -1);
  EXPECT_EQ(Peer::Origin(back), 15 * 16 - 1);  // all 15 free slots moved to the front

  cow_List<int> fresh;
  fresh.Prepend(1);
  EXPECT_EQ(Peer::Origin(fresh), 16 * 16 - 1);  // the last place of a 16-slot index
}

TEST_F(CowListTest, RemovalReleasesEmptiedBlocks) {
  cow_List<int> tail = Range(17);
  tail.RemoveLast();  // item 16 was the first of block 1
  EXPECT_EQ(Peer::BlockShares(tail, 1), 0u);

  cow_List<int> head = Range(40);
  for (int k = 0; k < 16; ++k)
    head.RemoveIndex(0);
  EXPECT_EQ(Peer::Origin(head), 16);
  EXPECT_EQ(Peer::BlockShares(head, 0), 0u);
  EXPECT_EQ(Values(head), Iota(16, 40));

  // Emptied in the middle of a block: the block stays until the list is
  // cleared; clearing releases it and the list is usable again.
  cow_List<int> middle(1, 2, 3);
  middle.RemoveIndex(0);
  middle.RemoveIndex(1);
  middle.RemoveIndex(0);
  EXPECT_EQ(middle.Length(), 0);
  EXPECT_EQ(Peer::BlockShares(middle, 0), 1u);
  middle.Clear();
  EXPECT_EQ(Peer::Slots(middle), 0);
  middle.Prepend(7);
  EXPECT_EQ(Values(middle), std::vector<int>{7});
  cow_List<int> dropped(4, 5);
  dropped.RemoveIndex(1);
  dropped.RemoveIndex(0);  // destroyed while holding a block: no leak
}

TEST_F(CowListTest, SliceClampsItsArguments) {
  cow_List<int> l = Range(10);
  EXPECT_EQ(Values(l.Slice(-5, 3)), Iota(0, 3));
  EXPECT_EQ(Values(l.Slice(8, 100)), Iota(8, 10));
  EXPECT_EQ(l.Slice(7, 2).Length(), 0);
  EXPECT_EQ(l.Slice(12, 15).Length(), 0);
  cow_List<int> big = Range(300);
  cow_List<int> part = big.Slice(0, 300);
  EXPECT_EQ(Peer::Shift(part), 5);
  EXPECT_EQ(Values(part), Iota(0, 300));
}

TEST_F(CowListTest, IteratorWalksASnapshot) {
  cow_List<int> l = Range(40);
  cow_ListIter<int> it(l);
  l.Append(40);
  l.Get(0) = -1;
  l.RemoveIndex(20);
  EXPECT_EQ(Walk(it), Iota(0, 40));
  it.First();
  EXPECT_EQ(it.CurrentItem(), 0);

  cow_List<int> prepended;
  for (int v = 19; v >= 0; --v)
    prepended.Prepend(v);
  cow_ListIter<int> p(prepended);
  EXPECT_EQ(Walk(p), Iota(0, 20));
  cow_ListIter<int> none((cow_List<int>()));
  EXPECT_FALSE(none.NotDone());
}

TEST_F(CowListTest, ItemsAreDestroyedOnceByTheLastSharer) {
  std::optional<cow_List<Counted>> a(std::in_place, 1, 2, 3);
  cow_List<Counted> b = *a;
  a.reset();
  EXPECT_EQ(Counted::live.size(), 3u);
  {
    cow_ListIter<Counted> it(b);
    b.Clear();
    EXPECT_EQ(Counted::live.size(), 3u);
  }
  EXPECT_EQ(Counted::live.size(), 0u);

  // Items copied from the list they are inserted into.
  cow_List<Counted> c(0, 1, 2, 3, 4);
  c.Append(c.Last());
  c.Prepend(c.ConstGet(2));
  c.InsertIndex(2, c.ConstGet(0));  // the shift overwrites item 0's place
  c.InsertIndex(4, c.ConstGet(6));  // and here item 6's place
  c.Concatenate(c);
  EXPECT_EQ(Values(c), (std::vector<int>{2, 0, 2, 1, 4, 2, 3, 4, 4, 2, 0, 2, 1, 4, 2, 3, 4, 4}));
  c.SetFromArray(&c.UncheckedConstGet(3), 3);
  EXPECT_EQ(Values(c), (std::vector<int>{1, 4, 2}));
  int n = 0;
  Counted* raw = c.GetCArray(n);
  ASSERT_EQ(n, 3);
  EXPECT_EQ(raw[2].value, 2);
  cow_List<Counted>::DeleteCArray(raw);
  EXPECT_EQ(c.Pop().value, 2);
  EXPECT_EQ(Counted::live.size(), 2u);
}

TEST_F(CowListDeathTest, BadIndexAbortsWithoutReport) {
  cow_List<int> l = Range(3);
  cow_List<int> empty;
  auto const aborted = ::testing::KilledBySignal(SIGABRT);
  EXPECT_EXIT(l.CheckIndex(3), aborted, "^$");
  EXPECT_EXIT(l.ConstGet(-1), aborted, "^$");
  EXPECT_EXIT(l.Get(3), aborted, "^$");
  EXPECT_EXIT(empty.Last(), aborted, "^$");
  EXPECT_EXIT(empty.Pop(), aborted, "^$");
  EXPECT_EXIT(empty.RemoveLast(), aborted, "^$");
  EXPECT_EXIT(l.InsertIndex(4, 0), aborted, "^$");
  EXPECT_EXIT(l.InsertIndex(-1, 0), aborted, "^$");
  EXPECT_EXIT(l.RemoveIndex(3), aborted, "^$");
  EXPECT_EQ(l.CheckIndex(2), 2);
}

// Random operations on three lists that are copied from each other, checked
// against vectors after every step.
TEST_F(CowListTest, RandomOperationsMatchVectors) {
  constexpr int kLists = 3;
  cow_List<Counted> lists[kLists];
  std::vector<int> models[kLists];
  std::mt19937 rng(20240611);
  auto pick = [&rng](int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); };
  for (int step = 0; step < 4000; ++step) {
    int const k = pick(kLists);
    int const j = pick(kLists);
    cow_List<Counted>& l = lists[k];
    std::vector<int>& m = models[k];
    int const n = static_cast<int>(m.size());
    int const i = pick(4) == 0 ? n * pick(2) : pick(n + 1);  // ends often: Append, Prepend
    std::vector<int> const other = models[j];
    switch (pick(9)) {
      case 0:
        l.InsertIndex(i, step);
        m.insert(m.begin() + i, step);
        break;
      case 1:  // an item of the list itself
        if (n > 0) {
          int const from = pick(n), v = m[from];
          l.InsertIndex(i, l.ConstGet(from));
          m.insert(m.begin() + i, v);
        }
        break;
      case 2:
        if (i < n) {
          l.RemoveIndex(i);
          m.erase(m.begin() + i);
        }
        break;
      case 3:
        if (i < n)
          l.Get(i) = m[i] = -step;
        break;
      case 4: {  // share, sometimes through a list sized for many items
        cow_List<Counted> sized(cow_ListConstruct(), 256 + pick(2000));
        sized.Concatenate(lists[j]);
        l = pick(2) ? lists[j] : sized;
        m = other;
        break;
      }
      case 5:
        l.Resize(i);
        m.resize(i);
        break;
      case 6:
        if (n + other.size() < 1500) {
          l.Concatenate(lists[j]);
          m.insert(m.end(), other.begin(), other.end());
        }
        break;
      case 7: {
        int const a = pick(n + 4) - 2, b = pick(n + 4) - 2, s = std::clamp(a, 0, n);
        lists[j] = l.Slice(a, b);
        models[j].assign(m.begin() + s, m.begin() + std::clamp(b, s, n));
        break;
      }
      case 8: {
        int const to = n + pick(8);
        l.Fill(to, step);
        m.resize(static_cast<std::size_t>(to), step);
        break;
      }
    }
    for (int q = 0; q < kLists; ++q)
      ASSERT_EQ(Values(lists[q]), models[q]) << "step " << step;
  }
}

}  // namespace
