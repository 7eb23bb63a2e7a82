// The error kinds of the pool manager.
//
// Every failure the library reports is one of these kinds (or a failed check,
// KVTBasAssertException, or a platform error, KVTSimUttOSError), all derived
// from KVTBasException and raised with Throw(file, line). Callers tell kinds
// apart by type.
//
// Kinds without arguments, and when they are raised:
//   KVTSimExcAllocReadOnly       extending a file opened read-only
//   KVTSimExcBrokenStream        an append stream finds the pool end moved
//   KVTSimExcCantDerefLocator    reading or writing at a locator whose pool is not loaded
//   KVTSimExcCantExternalizeLoc  storing a reference to a pool the directory does not list
//   KVTSimExcCantGetFile         closing a file the document does not hold
//   KVTSimExcCorruptDirectory    a pool's directory entries cannot all be read
//   KVTSimExcCorruptHeader       a pool's header cannot be read whole
//   KVTSimExcImmutablePool       allocating in a frozen pool
//   KVTSimExcInvalidGUID         a pool identifier with a zero byte in its 32
//   KVTSimExcNewPoolReadOnly     creating or appending a pool in a read-only file
//   KVTSimExcNotSimFile          a file that does not begin with the format signature
//   KVTSimExcPoolAlreadyInDoc    a pool whose identifier is already loaded in the document
//   KVTSimExcShortPool           appending a pool whose source yields too few bytes
//   KVTSimExcUserSigMismatch     a pool carrying another document's user signature
//   KVTSimExcValidationFailure   a document handle without an implementation; a reference
//                                list naming a pool the document has not loaded
//   KVTSimExcWriteReadOnly       writing to a file opened read-only
// Kinds with arguments are declared below with their accessors.

#ifndef KVTSIM_EXPORTED_KVTSIMEXC_H_
#define KVTSIM_EXPORTED_KVTSIMEXC_H_

#include <cstdint>

#include "KVTBasException.h"
#include "KVTSimUttExceptionString.h"

// Codes returned by GetCode, one per kind declared here.
enum KVTSimErrorCode {
  KVTSimCodeAllocReadOnly = 100,
  KVTSimCodeBrokenStream,
  KVTSimCodeCantCreateFile,
  KVTSimCodeCantDerefLocator,
  KVTSimCodeCantExternalizeLoc,
  KVTSimCodeCantGetFile,
  KVTSimCodeCorruptDirectory,
  KVTSimCodeCorruptHeader,
  KVTSimCodeIOBounds,
  KVTSimCodeImmutablePool,
  KVTSimCodeInvalidGUID,
  KVTSimCodeNeedUpgrade,
  KVTSimCodeNewPoolReadOnly,
  KVTSimCodeNotSimFile,
  KVTSimCodePoolAlreadyInDoc,
  KVTSimCodeRequestTooBig,
  KVTSimCodeShortBuffer,
  KVTSimCodeShortPool,
  KVTSimCodeUserSigMismatch,
  KVTSimCodeValidationFailure,
  KVTSimCodeWriteReadOnly,
};

// Declares an error kind without arguments.
#define KVTSIM_DECLARE_PLAIN_ERROR_KIND(Kind)             \
  class KVTSIM_EXPORT Kind : public KVTBasException {     \
   public:                                                \
    Kind() noexcept;                                      \
    ~Kind() override;                                     \
    atr_String AsString(KVTBasStringMode) const override; \
    [[noreturn]] void Propagate() const override;         \
    int GetCode() const override;                         \
  }

KVTSIM_DECLARE_PLAIN_ERROR_KIND(KVTSimExcAllocReadOnly);
KVTSIM_DECLARE_PLAIN_ERROR_KIND(KVTSimExcBrokenStream);
KVTSIM_DECLARE_PLAIN_ERROR_KIND(KVTSimExcCantDerefLocator);
KVTSIM_DECLARE_PLAIN_ERROR_KIND(KVTSimExcCantExternalizeLoc);
KVTSIM_DECLARE_PLAIN_ERROR_KIND(KVTSimExcCantGetFile);
KVTSIM_DECLARE_PLAIN_ERROR_KIND(KVTSimExcCorruptDirectory);
KVTSIM_DECLARE_PLAIN_ERROR_KIND(KVTSimExcCorruptHeader);
KVTSIM_DECLARE_PLAIN_ERROR_KIND(KVTSimExcImmutablePool);
KVTSIM_DECLARE_PLAIN_ERROR_KIND(KVTSimExcInvalidGUID);
KVTSIM_DECLARE_PLAIN_ERROR_KIND(KVTSimExcNewPoolReadOnly);
KVTSIM_DECLARE_PLAIN_ERROR_KIND(KVTSimExcNotSimFile);
KVTSIM_DECLARE_PLAIN_ERROR_KIND(KVTSimExcPoolAlreadyInDoc);
KVTSIM_DECLARE_PLAIN_ERROR_KIND(KVTSimExcShortPool);
KVTSIM_DECLARE_PLAIN_ERROR_KIND(KVTSimExcUserSigMismatch);
KVTSIM_DECLARE_PLAIN_ERROR_KIND(KVTSimExcValidationFailure);
KVTSIM_DECLARE_PLAIN_ERROR_KIND(KVTSimExcWriteReadOnly);

#undef KVTSIM_DECLARE_PLAIN_ERROR_KIND

// Adding a file for writing when that file exists and the document holds it.
class KVTSIM_EXPORT KVTSimExcCantCreateFile : public KVTBasException {
 public:
  // The name is copied and cut to 1023 bytes.
  explicit KVTSimExcCantCreateFile(KVTSimUttExceptionString<1024> const& fileName) noexcept;
  ~KVTSimExcCantCreateFile() override;
  char const* FileName() const noexcept { return mFileName.CStr(); }
  atr_String AsString(KVTBasStringMode) const override;
  [[noreturn]] void Propagate() const override;
  int GetCode() const override;

 private:
  KVTSimUttExceptionString<1024> mFileName;
};

// Writing the byte range [start, end) of a pool whose bound is limit.
class KVTSIM_EXPORT KVTSimExcIOBounds : public KVTBasException {
 public:
  KVTSimExcIOBounds(std::uint64_t start, std::uint64_t end, std::uint64_t limit) noexcept;
  ~KVTSimExcIOBounds() override;
  std::uint64_t Start() const noexcept { return mStart; }
  std::uint64_t End() const noexcept { return mEnd; }
  std::uint64_t Limit() const noexcept { return mLimit; }
  atr_String AsString(KVTBasStringMode) const override;
  [[noreturn]] void Propagate() const override;
  int GetCode() const override;

 private:
  std::uint64_t mStart;
  std::uint64_t mEnd;
  std::uint64_t mLimit;
};

// Loading a pool whose format version (found) is not the current one.
class KVTSIM_EXPORT KVTSimExcNeedUpgrade : public KVTBasException {
 public:
  KVTSimExcNeedUpgrade(unsigned currentVersion, unsigned foundVersion,
                       KVTSimUttExceptionString<1024> const& fileName) noexcept;
  ~KVTSimExcNeedUpgrade() override;
  unsigned CurrentVersion() const noexcept { return mCurrentVersion; }
  unsigned FoundVersion() const noexcept { return mFoundVersion; }
  char const* FileName() const noexcept { return mFileName.CStr(); }
  atr_String AsString(KVTBasStringMode) const override;
  [[noreturn]] void Propagate() const override;
  int GetCode() const override;

 private:
  unsigned mCurrentVersion;
  unsigned mFoundVersion;
  KVTSimUttExceptionString<1024> mFileName;
};

// A stream request (requested bytes) larger than what can serve it (capacity).
class KVTSIM_EXPORT KVTSimExcRequestTooBig : public KVTBasException {
 public:
  KVTSimExcRequestTooBig(unsigned requested, unsigned capacity) noexcept;
  ~KVTSimExcRequestTooBig() override;
  unsigned Requested() const noexcept { return mRequested; }
  unsigned Capacity() const noexcept { return mCapacity; }
  atr_String AsString(KVTBasStringMode) const override;
  [[noreturn]] void Propagate() const override;
  int GetCode() const override;

 private:
  unsigned mRequested;
  unsigned mCapacity;
};

// A stream request that would pass the end of its buffer or its length limit.
class KVTSIM_EXPORT KVTSimExcShortBuffer : public KVTBasException {
 public:
  KVTSimExcShortBuffer(unsigned needed, unsigned available) noexcept;
  ~KVTSimExcShortBuffer() override;
  unsigned Needed() const noexcept { return mNeeded; }
  unsigned Available() const noexcept { return mAvailable; }
  atr_String AsString(KVTBasStringMode) const override;
  [[noreturn]] void Propagate() const override;
  int GetCode() const override;

 private:
  unsigned mNeeded;
  unsigned mAvailable;
};

#endif  // KVTSIM_EXPORTED_KVTSIMEXC_H_
