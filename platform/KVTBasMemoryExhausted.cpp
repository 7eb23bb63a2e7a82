#include "KVTBasMemoryExhausted.h"

#include <cstdio>

KVTBasMemoryExhausted::~KVTBasMemoryExhausted() = default;

atr_String KVTBasMemoryExhausted::AsString(KVTBasStringMode) const {
  char text[64];
  std::snprintf(text, sizeof text, "KVTBasMemoryExhausted(requested=%zu)", mRequested);
  return atr_String(text);
}

void KVTBasMemoryExhausted::Propagate() const {
  throw *this;
}

int KVTBasMemoryExhausted::GetCode() const {
  return KVTBasCodeMemoryExhausted;
}
