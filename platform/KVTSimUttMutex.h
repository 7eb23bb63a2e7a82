// KVTSimUttMutex: the lock of one operating-system file object.

#ifndef KVTSIM_PLATFORM_KVTSIMUTTMUTEX_H_
#define KVTSIM_PLATFORM_KVTSIMUTTMUTEX_H_

#include <mutex>

class KVTSimUttMutex {
 public:
  KVTSimUttMutex() = default;
  KVTSimUttMutex(KVTSimUttMutex const&) = delete;
  KVTSimUttMutex& operator=(KVTSimUttMutex const&) = delete;

  // Blocks until this thread holds the mutex.
  // REQUIRES: the calling thread does not hold it already.
  void Lock() { mMutex.lock(); }

  // REQUIRES: the calling thread holds the mutex.
  void Unlock() { mMutex.unlock(); }

 private:
  std::mutex mMutex;
};

#endif  // KVTSIM_PLATFORM_KVTSIMUTTMUTEX_H_
