// KVTSimRpm_StrongRef<T>: an owning handle to a shared implementation object.
//
// A handle is two pointers: the object and its control block
// (KVTSimRpm_RefCounter). It is null (both null) or connected (both set); any
// other state fails the check "(mPointer && mCounter) || (!mPointer && !mCounter)".
// The last strong handle to go destroys the object (its destructor runs while
// the strong count still reads 1, so a weak handle locked inside it yields a
// strong handle whose release does not destroy the object twice); the
// control block lives until the last handle of either kind is gone.
//
// T must be allocated with new through mem_AllocationOperators.
// REQUIRES: external synchronization; counts are plain integers.

#ifndef KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_STRONGREF_H_
#define KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_STRONGREF_H_

#include "KVTSimExport.h"
#include "KVTSimRpm_RefCounter.h"
#include "KVTSimUttAssert.h"

template <class T>
class KVTSimRpm_WeakRef;
struct KVTSimRpm_RefTestPeer;

template <class T>
class KVTSIM_EXPORT KVTSimRpm_StrongRef {
 public:
  // A null handle.
  KVTSimRpm_StrongRef() noexcept : mPointer(nullptr), mCounter(nullptr) {}

  // Takes ownership of object (strong count 1). A null object fails the
  // invariant check. When the control block cannot be allocated the object
  // is destroyed and KVTBasMemoryExhausted raised, so nothing leaks.
  // REQUIRES: no other control block holds object.
  explicit KVTSimRpm_StrongRef(T* object) : mPointer(nullptr), mCounter(nullptr) {
    KVTSimRpm_RefCounter* counter;
    try {
      counter = new KVTSimRpm_RefCounter;
    } catch (...) {
      delete object;
      throw;
    }
    // The block must not leak when the check below rejects a null object.
    BlockGuard guard{counter};
    Connect(object, counter);
    guard.block = nullptr;
  }

  KVTSimRpm_StrongRef(KVTSimRpm_StrongRef const& other) : mPointer(nullptr), mCounter(nullptr) {
    Connect(other.mPointer, other.mCounter);
  }

  // Releases this handle's share; the last strong handle destroys the object.
  ~KVTSimRpm_StrongRef() { Disconnect(); }

  // Shares other's object; assigning a handle to itself changes nothing.
  KVTSimRpm_StrongRef& operator=(KVTSimRpm_StrongRef const& other) {
    if (this == &other)
      return *this;
    // Hold other's object while releasing ours: ours may own the last
    // reference to it.
    KVTSimRpm_StrongRef keep(other);
    Disconnect();
    Connect(keep.mPointer, keep.mCounter);
    return *this;
  }

  // Releases this handle's share and makes it null. Does nothing on a null handle.
  void Nullify() {
    Disconnect();
    mPointer = nullptr;
    mCounter = nullptr;
  }

  // The object. Raises KVTBasAssertException ("mPointer && mCounter") on a
  // null handle. The pointer stays valid while this handle holds it.
  T* Get() const {
    KVTSIM_ASSERT(mPointer && mCounter);
    return mPointer;
  }
  T* operator->() const { return Get(); }
  T& operator*() const { return *Get(); }

  bool Null() const noexcept { return mPointer == nullptr; }

  // True when both handles refer to the same object (or both are null).
  bool SameObject(KVTSimRpm_StrongRef const& other) const noexcept {
    return mPointer == other.mPointer;
  }

 private:
  friend class KVTSimRpm_WeakRef<T>;
  friend struct KVTSimRpm_RefTestPeer;

  struct BlockGuard {
    KVTSimRpm_RefCounter* block;
    ~BlockGuard() { delete block; }
  };

  // Used by KVTSimRpm_WeakRef::lock on a live object.
  KVTSimRpm_StrongRef(T* object, KVTSimRpm_RefCounter* counter)
      : mPointer(nullptr), mCounter(nullptr) {
    Connect(object, counter);
  }

  void Connect(T* object, KVTSimRpm_RefCounter* counter) {
    mPointer = object;
    mCounter = counter;
    KVTSIM_ASSERT((mPointer && mCounter) || (!mPointer && !mCounter));
    if (mCounter != nullptr)
      ++mCounter->mStrong;
  }

  void Disconnect() {
    if (!mPointer && !mCounter)
      return;
    KVTSIM_ASSERT((mPointer && mCounter) || (!mPointer && !mCounter));
    if (mCounter->mStrong > 1) {
      --mCounter->mStrong;
      return;
    }
    // The count still reads 1 while the object's destructor runs.
    delete mPointer;
    mPointer = nullptr;
    mCounter->mStrong = 0;
    if (mCounter->mWeak == 0) {
      delete mCounter;
      mCounter = nullptr;
    }
  }

  T* mPointer;
  KVTSimRpm_RefCounter* mCounter;
};

#endif  // KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_STRONGREF_H_
