#include "KVTSimRpm_ChainWalker.h"

#include <algorithm>
#include <cstring>

#include "KVTSimUttOSFile.h"

namespace {

// FindHeader reads the file in pieces of this size.
constexpr std::size_t kScanPiece = std::size_t{1} << 20;

}  // namespace

KVTSimRpm_ChainWalker::KVTSimRpm_ChainWalker(KVTString const& fileName, char const* userSignature)
    : mFile(new KVTSimUttOSFile),
      mUserSignature(),
      mCheckUserSignature(userSignature != nullptr),
      mFileSize(0),
      mHasRecord(false),
      mIndex(0),
      mLocation(0),
      mHeaderBytes(0),
      mFault(KVTSimRpm_PoolHeader::FaultNone),
      mHasExtent(false),
      mLength(0),
      mStop(StopNone),
      mStopOffset(0) {
  if (mCheckUserSignature)
    std::memcpy(mUserSignature, userSignature, sizeof mUserSignature);
  mFile->OpenRead(fileName);
  mFileSize = mFile->FileSize();
}

KVTSimRpm_ChainWalker::~KVTSimRpm_ChainWalker() = default;

KVTString const& KVTSimRpm_ChainWalker::FileName() const noexcept {
  return mFile->FileName();
}

bool KVTSimRpm_ChainWalker::Next() {
  if (mStop != StopNone)
    return false;
  std::uint64_t offset = 0;
  if (mHasRecord) {
    if (!mHasExtent)
      return Finish(StopBroken, mLocation);
    offset = End();
  }
  // Record lengths are bounded by 16 digits, so End() never wraps.
  return NextAt(offset);
}

bool KVTSimRpm_ChainWalker::NextAt(std::uint64_t location) {
  if (mStop != StopNone)
    return false;
  if (location == mFileSize)
    return Finish(StopChainEnd, location);
  if (location > mFileSize)
    return Finish(StopPastEnd, location);
  ReadRecord(location);
  return true;
}

std::optional<std::uint64_t> KVTSimRpm_ChainWalker::FindHeader(std::uint64_t from) {
  using Header = KVTSimRpm_PoolHeader;
  char const* sig = mCheckUserSignature ? mUserSignature : nullptr;
  char const first = static_cast<char>(Header::kFormatSignature[0]);
  std::string bytes;
  for (std::uint64_t base = from; base < mFileSize; base += kScanPiece) {
    // A header's worth past the piece, so that one across its end is seen;
    // no more than the file holds.
    bytes.resize(static_cast<std::size_t>(
        std::min<std::uint64_t>(kScanPiece + Header::kSize - 1, mFileSize - base)));
    bytes.resize(Read(base, bytes.size(), &bytes[0]));
    char const* const begin = bytes.data();
    std::size_t const limit = std::min<std::size_t>(kScanPiece, bytes.size());
    for (char const* at = static_cast<char const*>(std::memchr(begin, first, limit)); at != nullptr;
         at = static_cast<char const*>(std::memchr(at + 1, first, limit - (at + 1 - begin)))) {
      std::size_t const offset = static_cast<std::size_t>(at - begin);
      if (bytes.size() - offset < Header::kSize)
        break;  // the file ends inside this header
      if (Header::Decode(at).Check(base + offset, mFileSize, sig) == Header::FaultNone)
        return base + offset;
    }
  }
  return std::nullopt;
}

void KVTSimRpm_ChainWalker::ReadRecord(std::uint64_t location) {
  using Header = KVTSimRpm_PoolHeader;
  // The header and the first directory entry in one read; what the file does
  // not hold stays zero.
  char bytes[Header::kSize + Header::kEntrySize] = {};
  std::uint64_t const n = Read(location, sizeof bytes, bytes);
  Header const header = Header::Decode(bytes);
  bool const whole = n >= Header::kSize;
  char const* sig = mCheckUserSignature ? mUserSignature : nullptr;
  bool const extent = whole && header.CheckSignature() == Header::FaultNone &&
                      header.CheckLayout(location, mFileSize) == Header::FaultNone;
  // CheckLayout made sure the directory, and so its first entry, lies inside
  // the file.
  std::string identifier = extent ? std::string(bytes + Header::kSize, Header::kEntrySize) : "";

  // Nothing above changed the walker: a failed read leaves it as it was.
  mIndex = mHasRecord ? mIndex + 1 : 0;
  mHasRecord = true;
  mLocation = location;
  mHeaderBytes = static_cast<std::size_t>(std::min<std::uint64_t>(n, Header::kSize));
  mHeader = header;
  mFault = whole ? header.Check(location, mFileSize, sig) : Header::FaultCutShort;
  mHasExtent = extent;
  mLength = extent ? header.RecordLength(location, mFileSize) : 0;
  mIdentifier.swap(identifier);
}

bool KVTSimRpm_ChainWalker::Finish(Stop reason, std::uint64_t offset) {
  mStop = reason;
  mStopOffset = offset;
  return false;
}

std::uint64_t KVTSimRpm_ChainWalker::Read(std::uint64_t offset, std::uint64_t length,
                                          char* buffer) {
  // The file is looked at as it was when the walker opened it.
  if (offset >= mFileSize)
    return 0;
  mFile->Seek(offset);
  return mFile->Read(buffer, std::min(length, mFileSize - offset));
}
