#include "KVTSimExc.h"

#include <cinttypes>
#include <cstdio>

#define KVTSIM_DEFINE_PLAIN_ERROR_KIND(Kind, code)    \
  Kind::Kind() noexcept = default;                    \
  Kind::~Kind() = default;                            \
  atr_String Kind::AsString(KVTBasStringMode) const { \
    return atr_String(#Kind);                         \
  }                                                   \
  void Kind::Propagate() const {                      \
    throw *this;                                      \
  }                                                   \
  int Kind::GetCode() const {                         \
    return code;                                      \
  }

KVTSIM_DEFINE_PLAIN_ERROR_KIND(KVTSimExcAllocReadOnly, KVTSimCodeAllocReadOnly)
KVTSIM_DEFINE_PLAIN_ERROR_KIND(KVTSimExcBrokenStream, KVTSimCodeBrokenStream)
KVTSIM_DEFINE_PLAIN_ERROR_KIND(KVTSimExcCantDerefLocator, KVTSimCodeCantDerefLocator)
KVTSIM_DEFINE_PLAIN_ERROR_KIND(KVTSimExcCantExternalizeLoc, KVTSimCodeCantExternalizeLoc)
KVTSIM_DEFINE_PLAIN_ERROR_KIND(KVTSimExcCantGetFile, KVTSimCodeCantGetFile)
KVTSIM_DEFINE_PLAIN_ERROR_KIND(KVTSimExcCorruptDirectory, KVTSimCodeCorruptDirectory)
KVTSIM_DEFINE_PLAIN_ERROR_KIND(KVTSimExcCorruptHeader, KVTSimCodeCorruptHeader)
KVTSIM_DEFINE_PLAIN_ERROR_KIND(KVTSimExcImmutablePool, KVTSimCodeImmutablePool)
KVTSIM_DEFINE_PLAIN_ERROR_KIND(KVTSimExcInvalidGUID, KVTSimCodeInvalidGUID)
KVTSIM_DEFINE_PLAIN_ERROR_KIND(KVTSimExcNewPoolReadOnly, KVTSimCodeNewPoolReadOnly)
KVTSIM_DEFINE_PLAIN_ERROR_KIND(KVTSimExcNotSimFile, KVTSimCodeNotSimFile)
KVTSIM_DEFINE_PLAIN_ERROR_KIND(KVTSimExcPoolAlreadyInDoc, KVTSimCodePoolAlreadyInDoc)
KVTSIM_DEFINE_PLAIN_ERROR_KIND(KVTSimExcShortPool, KVTSimCodeShortPool)
KVTSIM_DEFINE_PLAIN_ERROR_KIND(KVTSimExcUserSigMismatch, KVTSimCodeUserSigMismatch)
KVTSIM_DEFINE_PLAIN_ERROR_KIND(KVTSimExcValidationFailure, KVTSimCodeValidationFailure)
KVTSIM_DEFINE_PLAIN_ERROR_KIND(KVTSimExcWriteReadOnly, KVTSimCodeWriteReadOnly)

#undef KVTSIM_DEFINE_PLAIN_ERROR_KIND

namespace {

// Formats a report line; the texts are bounded, so a fixed buffer suffices.
template <typename... Args>
atr_String Format(char const* format, Args... args) {
  char text[1200];
  std::snprintf(text, sizeof text, format, args...);
  return atr_String(text);
}

}  // namespace

KVTSimExcCantCreateFile::KVTSimExcCantCreateFile(
    KVTSimUttExceptionString<1024> const& fileName) noexcept
    : mFileName(fileName) {}
KVTSimExcCantCreateFile::~KVTSimExcCantCreateFile() = default;
atr_String KVTSimExcCantCreateFile::AsString(KVTBasStringMode) const {
  return Format("KVTSimExcCantCreateFile('%s')", mFileName.CStr());
}
void KVTSimExcCantCreateFile::Propagate() const {
  throw *this;
}
int KVTSimExcCantCreateFile::GetCode() const {
  return KVTSimCodeCantCreateFile;
}

KVTSimExcIOBounds::KVTSimExcIOBounds(std::uint64_t start, std::uint64_t end,
                                     std::uint64_t limit) noexcept
    : mStart(start), mEnd(end), mLimit(limit) {}
KVTSimExcIOBounds::~KVTSimExcIOBounds() = default;
atr_String KVTSimExcIOBounds::AsString(KVTBasStringMode) const {
  return Format("KVTSimExcIOBounds(start=%" PRIu64 ", end=%" PRIu64 ", limit=%" PRIu64 ")", mStart,
                mEnd, mLimit);
}
void KVTSimExcIOBounds::Propagate() const {
  throw *this;
}
int KVTSimExcIOBounds::GetCode() const {
  return KVTSimCodeIOBounds;
}

KVTSimExcNeedUpgrade::KVTSimExcNeedUpgrade(unsigned currentVersion, unsigned foundVersion,
                                           KVTSimUttExceptionString<1024> const& fileName) noexcept
    : mCurrentVersion(currentVersion), mFoundVersion(foundVersion), mFileName(fileName) {}
KVTSimExcNeedUpgrade::~KVTSimExcNeedUpgrade() = default;
atr_String KVTSimExcNeedUpgrade::AsString(KVTBasStringMode) const {
  return Format("KVTSimExcNeedUpgrade(current=%u, found=%u, file='%s')", mCurrentVersion,
                mFoundVersion, mFileName.CStr());
}
void KVTSimExcNeedUpgrade::Propagate() const {
  throw *this;
}
int KVTSimExcNeedUpgrade::GetCode() const {
  return KVTSimCodeNeedUpgrade;
}

KVTSimExcRequestTooBig::KVTSimExcRequestTooBig(unsigned requested, unsigned capacity) noexcept
    : mRequested(requested), mCapacity(capacity) {}
KVTSimExcRequestTooBig::~KVTSimExcRequestTooBig() = default;
atr_String KVTSimExcRequestTooBig::AsString(KVTBasStringMode) const {
  return Format("KVTSimExcRequestTooBig(requested=%u, capacity=%u)", mRequested, mCapacity);
}
void KVTSimExcRequestTooBig::Propagate() const {
  throw *this;
}
int KVTSimExcRequestTooBig::GetCode() const {
  return KVTSimCodeRequestTooBig;
}

KVTSimExcShortBuffer::KVTSimExcShortBuffer(unsigned needed, unsigned available) noexcept
    : mNeeded(needed), mAvailable(available) {}
KVTSimExcShortBuffer::~KVTSimExcShortBuffer() = default;
atr_String KVTSimExcShortBuffer::AsString(KVTBasStringMode) const {
  return Format("KVTSimExcShortBuffer(needed=%u, available=%u)", mNeeded, mAvailable);
}
void KVTSimExcShortBuffer::Propagate() const {
  throw *this;
}
int KVTSimExcShortBuffer::GetCode() const {
  return KVTSimCodeShortBuffer;
}
