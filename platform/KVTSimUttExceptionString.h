// KVTSimUttExceptionString<N>: a fixed text of N characters carried by an
// error kind, so that raising an error never depends on a string that may be
// released while the error travels.

#ifndef KVTSIM_PLATFORM_KVTSIMUTTEXCEPTIONSTRING_H_
#define KVTSIM_PLATFORM_KVTSIMUTTEXCEPTIONSTRING_H_

#include "KVTSimUttUtils.h"
#include "KVTString.h"

template <int N>
class KVTSimUttExceptionString {
 public:
  static_assert(N > 0, "an exception string holds at least its terminator");

  // The string's text ("" when it is empty), cut to fit N bytes.
  explicit KVTSimUttExceptionString(KVTString const& s) noexcept {
    KVTSimUttUtils::Copy(mText, s.CStr(), N);
  }
  // The terminated text (null counts as ""), cut to fit N bytes.
  explicit KVTSimUttExceptionString(char const* text) noexcept {
    KVTSimUttUtils::Copy(mText, text, N);
  }

  char const* CStr() const noexcept { return mText; }

 private:
  char mText[N];
};

#endif  // KVTSIM_PLATFORM_KVTSIMUTTEXCEPTIONSTRING_H_
