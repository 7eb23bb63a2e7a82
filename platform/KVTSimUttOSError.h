// KVTSimUttOSError: a failed operating-system call on a file, carrying the
// operation, the file name and the system's error number and text.

#ifndef KVTSIM_PLATFORM_KVTSIMUTTOSERROR_H_
#define KVTSIM_PLATFORM_KVTSIMUTTOSERROR_H_

#include "KVTBasException.h"
#include "KVTSimUttExceptionString.h"

class KVTSIM_EXPORT KVTSimUttOSError : public KVTBasException {
 public:
  // operation: what failed, e.g. "open" or "write"; fileName: the file it
  // failed on; errorNumber: the errno value, whose text is taken here.
  KVTSimUttOSError(char const* operation, KVTString const& fileName, int errorNumber) noexcept;

  // As above with text in place of the system's text for errorNumber, for a
  // refusal that the number alone does not explain (a lock held by another
  // writer: EAGAIN, "file is locked by another writer").
  KVTSimUttOSError(char const* operation, KVTString const& fileName, int errorNumber,
                   char const* text) noexcept;
  ~KVTSimUttOSError() override;

  char const* Operation() const noexcept { return mOperation.CStr(); }
  char const* FileName() const noexcept { return mFileName.CStr(); }
  int ErrorNumber() const noexcept { return mErrorNumber; }
  char const* SystemText() const noexcept { return mSystemText.CStr(); }

  // "KVTSimUttOSError(open '/no/such': No such file or directory)"
  atr_String AsString(KVTBasStringMode mode) const override;
  [[noreturn]] void Propagate() const override;
  int GetCode() const override;

 private:
  KVTSimUttExceptionString<32> mOperation;
  KVTSimUttExceptionString<1024> mFileName;
  int mErrorNumber;
  KVTSimUttExceptionString<256> mSystemText;
};

#endif  // KVTSIM_PLATFORM_KVTSIMUTTOSERROR_H_
