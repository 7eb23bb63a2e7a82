// KVTSimRpm_WeakRef<T>: an observing handle to a shared implementation object.
//
// A weak handle never keeps its object alive. It stays connected after the
// object is gone (Null() is still false); lock() then yields a null strong
// handle, and Get(), -> and * raise KVTBasAssertException
// ("mCounter->mStrong != 0") instead of reaching the dead object.
//
// REQUIRES: external synchronization; counts are plain integers.

#ifndef KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_WEAKREF_H_
#define KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_WEAKREF_H_

#include "KVTSimExport.h"
#include "KVTSimRpm_RefCounter.h"
#include "KVTSimRpm_StrongRef.h"
#include "KVTSimUttAssert.h"

struct KVTSimRpm_RefTestPeer;

template <class T>
class KVTSIM_EXPORT KVTSimRpm_WeakRef {
 public:
  // A null handle.
  KVTSimRpm_WeakRef() noexcept : mPointer(nullptr), mCounter(nullptr) {}

  // Observes the strong handle's object; a null source gives a null handle.
  KVTSimRpm_WeakRef(KVTSimRpm_StrongRef<T> const& strong)  // NOLINT: a weak view of it.
      : mPointer(nullptr), mCounter(nullptr) {
    Connect(strong.mPointer, strong.mCounter);
  }

  KVTSimRpm_WeakRef(KVTSimRpm_WeakRef const& other) : mPointer(nullptr), mCounter(nullptr) {
    Connect(other.mPointer, other.mCounter);
  }

  ~KVTSimRpm_WeakRef() { Disconnect(); }

  // Observes other's object; assigning a handle to itself changes nothing.
  KVTSimRpm_WeakRef& operator=(KVTSimRpm_WeakRef const& other) {
    if (this == &other)
      return *this;
    // Take other's fields first: disconnecting may release the control block
    // only when other does not share it, so they stay valid.
    T* pointer = other.mPointer;
    KVTSimRpm_RefCounter* counter = other.mCounter;
    Disconnect();
    Connect(pointer, counter);
    return *this;
  }

  KVTSimRpm_WeakRef& operator=(KVTSimRpm_StrongRef<T> const& strong) {
    T* pointer = strong.mPointer;
    KVTSimRpm_RefCounter* counter = strong.mCounter;
    Disconnect();
    Connect(pointer, counter);
    return *this;
  }

  // Stops observing and makes the handle null. Does nothing on a null handle.
  void Nullify() {
    Disconnect();
    mPointer = nullptr;
    mCounter = nullptr;
  }

  // A new strong handle to the object while it lives; otherwise a null one.
  KVTSimRpm_StrongRef<T> lock() const {
    if (mCounter == nullptr || mCounter->mStrong == 0)
      return KVTSimRpm_StrongRef<T>();
    return KVTSimRpm_StrongRef<T>(mPointer, mCounter);
  }

  // The object while it lives, otherwise null. Shares nothing (no count
  // changes), so handles of one object may be peeked at from several threads
  // while no thread changes them; the pointer stays valid while some strong
  // handle keeps the object alive.
  T* Peek() const noexcept {
    return mCounter != nullptr && mCounter->mStrong != 0 ? mPointer : nullptr;
  }

  // The object. Raises KVTBasAssertException on a null handle
  // ("mPointer && mCounter") and on one whose object is gone
  // ("mCounter->mStrong != 0"). The pointer stays valid while some strong
  // handle keeps the object alive.
  T* Get() const {
    KVTSIM_ASSERT(mPointer && mCounter);
    KVTSIM_ASSERT(mCounter->mStrong != 0);
    return mPointer;
  }
  T* operator->() const { return Get(); }
  T& operator*() const { return *Get(); }

  // True when the handle observes nothing; a handle whose object is gone is not null.
  bool Null() const noexcept { return mPointer == nullptr; }

  // True when both handles observe the same object (or both are null), also
  // after it is gone. Compared by control block, not by address: a block
  // stays allocated while a handle holds it, whereas a dead object's address
  // may already hold a new object.
  bool SameObject(KVTSimRpm_WeakRef const& other) const noexcept {
    return mCounter == other.mCounter;
  }

 private:
  friend struct KVTSimRpm_RefTestPeer;

  void Connect(T* object, KVTSimRpm_RefCounter* counter) {
    mPointer = object;
    mCounter = counter;
    KVTSIM_ASSERT((mPointer && mCounter) || (!mPointer && !mCounter));
    if (mCounter != nullptr)
      ++mCounter->mWeak;
  }

  void Disconnect() {
    if (!mPointer && !mCounter)
      return;
    KVTSIM_ASSERT((mPointer && mCounter) || (!mPointer && !mCounter));
    if (--mCounter->mWeak == 0 && mCounter->mStrong == 0) {
      delete mCounter;
      mCounter = nullptr;
    }
  }

  T* mPointer;
  KVTSimRpm_RefCounter* mCounter;
};

#endif  // KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_WEAKREF_H_
