// Strong and weak handles: counts, destruction, expiry and misuse.

#include <gtest/gtest.h>

#include <cstddef>

#include "KVTBasAssertException.h"
#include "KVTBasMem.h"
#include "KVTSimRpm_StrongRef.h"
#include "KVTSimRpm_WeakRef.h"
#include "kvtsim_test_util.h"

struct KVTSimRpm_RefTestPeer {
  template <class Handle>
  static KVTSimRpm_RefCounter* Counter(Handle const& h) {
    return h.mCounter;
  }
};

namespace {

struct Tracked : public mem_AllocationOperators {
  static int alive;
  static int destroyed;
  Tracked() { ++alive; }
  ~Tracked() {
    --alive;
    ++destroyed;
  }
};
int Tracked::alive = 0;
int Tracked::destroyed = 0;

struct SelfLocking : public mem_AllocationOperators {
  KVTSimRpm_WeakRef<SelfLocking> self;
  static bool lockedAlive;
  ~SelfLocking() {
    KVTSimRpm_StrongRef<SelfLocking> again = self.lock();
    lockedAlive = !again.Null();
  }  // releasing `again` must not destroy the object a second time
};
bool SelfLocking::lockedAlive = false;

// Always placed in the same storage, as an allocator may place a new object
// where a dead one was.
struct Recycled {
  static void* operator new(std::size_t) { return storage; }
  static void operator delete(void*) noexcept {}
  alignas(std::max_align_t) static char storage[16];
};
alignas(std::max_align_t) char Recycled::storage[16];

using Strong = KVTSimRpm_StrongRef<Tracked>;
using Weak = KVTSimRpm_WeakRef<Tracked>;
using Peer = KVTSimRpm_RefTestPeer;

class HandlesTest : public testing::Test {
 protected:
  void SetUp() override { Tracked::alive = Tracked::destroyed = 0; }
  void TearDown() override { EXPECT_EQ(Tracked::alive, 0) << "object leaked"; }
};

}  // namespace

TEST_F(HandlesTest, LastStrongHandleDestroysTheObjectOnce) {
  Strong first(new Tracked);
  {
    Strong second = first;
    EXPECT_EQ(Peer::Counter(first)->mStrong, 2u);
    first.Nullify();
    EXPECT_TRUE(first.Null());
    EXPECT_EQ(Tracked::alive, 1);
    first = second;
    first = first;  // self-assignment changes no count
    EXPECT_EQ(Peer::Counter(first)->mStrong, 2u);
  }
  EXPECT_EQ(Tracked::alive, 1);
  first.Nullify();
  EXPECT_EQ(Tracked::destroyed, 1);
  first.Nullify();  // on a null handle: nothing
  EXPECT_EQ(Tracked::destroyed, 1);
}

TEST_F(HandlesTest, WeakHandleObservesWithoutOwning) {
  Strong strong(new Tracked);
  Weak weak(strong);
  KVTSimRpm_RefCounter* block = Peer::Counter(strong);
  EXPECT_EQ(block->mStrong, 1u);
  EXPECT_EQ(block->mWeak, 1u);
  EXPECT_EQ(weak.Get(), strong.Get());
  {
    Strong locked = weak.lock();
    EXPECT_EQ(block->mStrong, 2u);
  }
  strong.Nullify();
  EXPECT_EQ(Tracked::destroyed, 1);
  EXPECT_FALSE(weak.Null());  // still connected to the dead object's block
  EXPECT_TRUE(weak.lock().Null());
  EXPECT_EQ(block->mStrong, 0u);
  Weak copy = weak;
  EXPECT_EQ(block->mWeak, 2u);
  copy.Nullify();  // the block stays for the last weak handle
  weak = weak;
  EXPECT_EQ(block->mWeak, 1u);
  // Releasing the weak handles releases the block (checked by LeakSanitizer).
}

TEST_F(HandlesTest, WeakHandleLockedDuringDestructionYieldsTheDyingObject) {
  KVTSimRpm_StrongRef<SelfLocking> strong(new SelfLocking);
  strong->self = strong;
  SelfLocking::lockedAlive = false;
  strong.Nullify();
  EXPECT_TRUE(SelfLocking::lockedAlive);
}

TEST_F(HandlesTest, ObjectIdentityOutlivesTheObjectsAddress) {
  KVTSimRpm_StrongRef<Recycled> first(new Recycled);
  KVTSimRpm_WeakRef<Recycled> observer(first);
  EXPECT_TRUE(observer.SameObject(KVTSimRpm_WeakRef<Recycled>(first)));
  first.Nullify();
  KVTSimRpm_StrongRef<Recycled> second(new Recycled);  // the same address
  KVTSimRpm_WeakRef<Recycled> other(second);
  ASSERT_EQ(other.Peek(), static_cast<void*>(Recycled::storage));
  EXPECT_FALSE(observer.SameObject(other));
  EXPECT_TRUE(KVTSimRpm_WeakRef<Recycled>().SameObject(KVTSimRpm_WeakRef<Recycled>()));
}

TEST_F(HandlesTest, MisuseFailsTheDocumentedChecks) {
  using kvtsim_test::FailedCheck;
  EXPECT_EQ(FailedCheck([] { Strong().Get(); }), "mPointer && mCounter");
  EXPECT_EQ(FailedCheck([] { (void)Weak().operator->(); }), "mPointer && mCounter");
  Weak dead;
  dead = Strong(new Tracked);
  EXPECT_TRUE(kvtsim_test::FailsCheck([&] { (void)*dead; }));
  EXPECT_EQ(FailedCheck([] { Strong(static_cast<Tracked*>(nullptr)); }),
            "(mPointer && mCounter) || (!mPointer && !mCounter)");
}
