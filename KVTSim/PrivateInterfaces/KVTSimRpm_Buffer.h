// KVTSimRpm_Buffer: a heap block of a given size, released when the holder
// goes. KVTSimRpm_BufferHolder is the same class under a second name.

#ifndef KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_BUFFER_H_
#define KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_BUFFER_H_

#include <cstddef>

#include "KVTBasMem.h"

class KVTSimRpm_Buffer {
 public:
  // Raises KVTBasMemoryExhausted when the block cannot be allocated.
  explicit KVTSimRpm_Buffer(std::size_t size)
      : mData(mem_OperatorNewThrowBuiltin(size)), mSize(size) {}
  KVTSimRpm_Buffer(KVTSimRpm_Buffer const&) = delete;
  KVTSimRpm_Buffer& operator=(KVTSimRpm_Buffer const&) = delete;
  ~KVTSimRpm_Buffer() { mem_deleteBuiltIn(mData); }

  // Valid while the holder lives.
  char* Data() noexcept { return mData; }
  std::size_t Size() const noexcept { return mSize; }

 private:
  char* mData;
  std::size_t mSize;
};

using KVTSimRpm_BufferHolder = KVTSimRpm_Buffer;

#endif  // KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_BUFFER_H_
