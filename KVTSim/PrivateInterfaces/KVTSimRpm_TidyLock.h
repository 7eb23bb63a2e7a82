// KVTSimRpm_TidyLock: holds a file's mutex for the scope of one seek and
// transfer, and releases it on every exit, including an error.

#ifndef KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_TIDYLOCK_H_
#define KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_TIDYLOCK_H_

#include "KVTSimUttMutex.h"

class KVTSimRpm_TidyLock {
 public:
  // Locks mutex. REQUIRES: the calling thread does not hold it.
  explicit KVTSimRpm_TidyLock(KVTSimUttMutex& mutex) : mMutex(&mutex) { mMutex->Lock(); }
  KVTSimRpm_TidyLock(KVTSimRpm_TidyLock const&) = delete;
  KVTSimRpm_TidyLock& operator=(KVTSimRpm_TidyLock const&) = delete;
  ~KVTSimRpm_TidyLock() { Unlock(); }

  // Releases the mutex if still held; later calls do nothing.
  void Unlock() {
    if (mMutex == nullptr)
      return;
    mMutex->Unlock();
    mMutex = nullptr;
  }

 private:
  KVTSimUttMutex* mMutex;
};

#endif  // KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_TIDYLOCK_H_
