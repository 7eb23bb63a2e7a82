// Memory services: the allocation functions and the two allocation-operator
// bases through which the library's heap objects are created.
//
// Every allocating call raises KVTBasMemoryExhausted when the system cannot
// supply the memory; no call returns null for a request it accepted.
// mem_Free is the one release for all of them and accepts null.

#ifndef KVTSIM_PLATFORM_KVTBASMEM_H_
#define KVTSIM_PLATFORM_KVTBASMEM_H_

#include <cstddef>
#include <new>

#include "KVTSimExport.h"

// Raw storage of n bytes (a request of 0 bytes still yields a unique block).
KVTSIM_EXPORT void* mem_Malloc(std::size_t n);

// Resizes p (which may be null) to n bytes, keeping its leading contents.
// n == 0 releases p and returns null.
KVTSIM_EXPORT void* mem_Realloc(void* p, std::size_t n);

// Releases storage from any allocating call of this header. Null is ignored.
KVTSIM_EXPORT void mem_Free(void* p) noexcept;

// A hint that the n bytes at p, from mem_Malloc, will be touched at random
// over a long time: the system may back the whole 2 MiB pages inside the
// range with huge pages, so that random reads miss the address translation
// caches less often. A page is then taken whole at its first touch. The
// range keeps its contents and stays valid as allocated; a system that does
// not take the hint ignores it (it is not an error).
KVTSIM_EXPORT void mem_AdviseRandomAccess(void* p, std::size_t n) noexcept;

// The operator-new of mem_AllocationOperators.
KVTSIM_EXPORT void* mem_OperatorNewThrow(std::size_t n);

// The operator-new of mem_AllocationOperatorsTiny (share counters, handle
// control blocks, list blocks, arrays of list items).
KVTSIM_EXPORT void* mem_OperatorNewTinyThrow(std::size_t n);

// Byte buffers: a block from mem_Malloc, raising KVTBasMemoryExhausted when
// none can be had.
KVTSIM_EXPORT char* mem_OperatorNewThrowBuiltin(std::size_t n);

// Releases a buffer from mem_OperatorNewThrowBuiltin.
KVTSIM_EXPORT void mem_deleteBuiltIn(void* p) noexcept;

// Base of heap objects of ordinary size (pools, directories, the pool map,
// streams, error kinds): new and delete go through the memory services.
class KVTSIM_EXPORT mem_AllocationOperators {
 public:
  static void* operator new(std::size_t n) { return mem_OperatorNewThrow(n); }
  static void* operator new[](std::size_t n) { return mem_OperatorNewThrow(n); }
  static void* operator new(std::size_t, void* p) noexcept { return p; }
  static void operator delete(void* p) noexcept { mem_Free(p); }
  static void operator delete[](void* p) noexcept { mem_Free(p); }
  static void operator delete(void*, void*) noexcept {}
};

// Base of small, numerous heap objects. Placement new returns its pointer and
// placement delete does nothing.
class KVTSIM_EXPORT mem_AllocationOperatorsTiny {
 public:
  static void* operator new(std::size_t n) { return mem_OperatorNewTinyThrow(n); }
  static void* operator new[](std::size_t n) { return mem_OperatorNewTinyThrow(n); }
  static void* operator new(std::size_t, void* p) noexcept { return p; }
  static void operator delete(void* p) noexcept { mem_Free(p); }
  static void operator delete[](void* p) noexcept { mem_Free(p); }
  static void operator delete(void*, void*) noexcept {}
};

#endif  // KVTSIM_PLATFORM_KVTBASMEM_H_
