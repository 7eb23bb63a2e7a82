#include "KVTBasMem.h"

#include <sys/mman.h>

#include <cstdint>
#include <cstdlib>

#include "KVTBasMemoryExhausted.h"

namespace {

[[noreturn]] void RaiseExhausted(std::size_t n) {
  KVTBasMemoryExhausted error(n);
  error.Throw(__FILE__, __LINE__);
}

}  // namespace

void* mem_Malloc(std::size_t n) {
  // malloc(0) may answer null; callers rely on a non-null block for any request.
  void* p = std::malloc(n == 0 ? 1 : n);
  if (p == nullptr)
    RaiseExhausted(n);
  return p;
}

void* mem_Realloc(void* p, std::size_t n) {
  if (n == 0) {
    std::free(p);
    return nullptr;
  }
  void* q = std::realloc(p, n);
  // On failure realloc leaves p allocated and unchanged; the caller still owns it.
  if (q == nullptr)
    RaiseExhausted(n);
  return q;
}

void mem_Free(void* p) noexcept {
  std::free(p);
}

void mem_AdviseRandomAccess(void* p, std::size_t n) noexcept {
  constexpr std::uintptr_t kHugePage = std::uintptr_t{2} << 20;
  std::uintptr_t const begin = reinterpret_cast<std::uintptr_t>(p);
  std::uintptr_t const first = (begin + kHugePage - 1) & ~(kHugePage - 1);
  std::uintptr_t const end = (begin + n) & ~(kHugePage - 1);
  // Only whole huge pages inside the block: its neighbours are not ours.
  if (first < end) {
    // Advice only: a kernel without transparent huge pages refuses it, and
    // the memory is as usable as before.
    (void)::madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);
  }
}

void* mem_OperatorNewThrow(std::size_t n) {
  return mem_Malloc(n);
}

void* mem_OperatorNewTinyThrow(std::size_t n) {
  return mem_Malloc(n);
}

char* mem_OperatorNewThrowBuiltin(std::size_t n) {
  return static_cast<char*>(mem_Malloc(n));
}

void mem_deleteBuiltIn(void* p) noexcept {
  mem_Free(p);
}
