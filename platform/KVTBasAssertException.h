// KVTBasAssertException: raised by every failed assertion or validation check.

#ifndef KVTSIM_PLATFORM_KVTBASASSERTEXCEPTION_H_
#define KVTSIM_PLATFORM_KVTBASASSERTEXCEPTION_H_

#include "KVTBasException.h"

class KVTSIM_EXPORT KVTBasAssertException : public KVTBasException {
 public:
  // Holds a copy of the failed condition's source text.
  explicit KVTBasAssertException(char const* expression);
  ~KVTBasAssertException() override;

  // The failed condition's source text, e.g. "mPointer && mCounter".
  char const* Expression() const noexcept { return mExpression.CStr(); }

  atr_String AsString(KVTBasStringMode mode) const override;
  [[noreturn]] void Propagate() const override;
  int GetCode() const override;

 private:
  atr_String mExpression;
};

#endif  // KVTSIM_PLATFORM_KVTBASASSERTEXCEPTION_H_
