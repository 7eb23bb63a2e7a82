#include "KVTBasAssertException.h"

#include <string>

KVTBasAssertException::KVTBasAssertException(char const* expression) : mExpression(expression) {}

KVTBasAssertException::~KVTBasAssertException() = default;

atr_String KVTBasAssertException::AsString(KVTBasStringMode) const {
  std::string text = "KVTBasAssertException(" + std::string(mExpression.View()) + ")";
  return atr_String(text.c_str(), text.size());
}

void KVTBasAssertException::Propagate() const {
  throw *this;
}

int KVTBasAssertException::GetCode() const {
  return KVTBasCodeAssert;
}
