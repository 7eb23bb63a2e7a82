// Buffer: a heap block of a given size, released when the holder goes.
// BufferHolder is the same class under a second name. Used by the library's
// own sources only; the header is not installed.

#ifndef KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_BUFFER_H_
#define KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_BUFFER_H_

#include <cstddef>

#include "KVTBasMem.h"

class Buffer {
 public:
  // Raises KVTBasMemoryExhausted when the block cannot be allocated.
  explicit Buffer(std::size_t size)
      : mData(mem_OperatorNewThrowBuiltin(size)), mSize(size) {}
  Buffer(Buffer const&) = delete;
  Buffer& operator=(Buffer const&) = delete;
  ~Buffer() { mem_deleteBuiltIn(mData); }

  // Valid while the holder lives.
  char* Data() noexcept { return mData; }
  std::size_t Size() const noexcept { return mSize; }

 private:
  char* mData;
  std::size_t mSize;
};

using BufferHolder = Buffer;

#endif  // KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_BUFFER_H_
