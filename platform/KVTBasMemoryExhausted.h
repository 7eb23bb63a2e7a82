// KVTBasMemoryExhausted: raised by the memory services when the system cannot
// supply a requested block.

#ifndef KVTSIM_PLATFORM_KVTBASMEMORYEXHAUSTED_H_
#define KVTSIM_PLATFORM_KVTBASMEMORYEXHAUSTED_H_

#include <cstddef>

#include "KVTBasException.h"

class KVTSIM_EXPORT KVTBasMemoryExhausted : public KVTBasException {
 public:
  explicit KVTBasMemoryExhausted(std::size_t requested) noexcept : mRequested(requested) {}
  ~KVTBasMemoryExhausted() override;

  // Bytes asked for by the failing call.
  std::size_t Requested() const noexcept { return mRequested; }

  atr_String AsString(KVTBasStringMode mode) const override;
  [[noreturn]] void Propagate() const override;
  int GetCode() const override;

 private:
  std::size_t mRequested;
};

#endif  // KVTSIM_PLATFORM_KVTBASMEMORYEXHAUSTED_H_
