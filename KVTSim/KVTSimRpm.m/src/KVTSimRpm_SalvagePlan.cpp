#include "KVTSimRpm_SalvagePlan.h"

#include <algorithm>
#include <string_view>

#include "KVTSimExc.h"
#include "KVTSimUttAssert.h"

namespace {

using Header = KVTSimRpm_PoolHeader;

// The smallest unit a device writes whole; 4 KiB pages are made of them, so
// a write cut at a page boundary is cut at a sector boundary too.
constexpr std::uint64_t kSector = 512;

bool AllZeroDigits(std::string_view digits) {
  return std::all_of(digits.begin(), digits.end(), [](char c) { return c == '0'; });
}

}  // namespace

KVTSimRpm_SalvagePlan::KVTSimRpm_SalvagePlan(KVTString const& fileName, char const* sig,
                                             LoadedTest const& loaded) {
  KVTSimRpm_ChainWalker walker(fileName, sig);
  Walk(walker, loaded);
}

std::uint64_t KVTSimRpm_SalvagePlan::ChainEnd() const noexcept {
  return mPools.empty() ? 0 : mPools.back().location + mPools.back().length;
}

void KVTSimRpm_SalvagePlan::Walk(KVTSimRpm_ChainWalker& walker, LoadedTest const& loaded) {
  bool more = walker.Next();
  while (more) {
    std::optional<Pool> pool = Judge(walker);
    if (!pool) {
      if (MendTornLength(walker)) {
        more = walker.NextAt(ChainEnd());
        continue;
      }
      return Refuse(walker);
    }
    std::string const identifier = Identifier(walker);
    if ((loaded && loaded(identifier.data())) || !mIdentifiers.insert(identifier).second) {
      KVTSimExcPoolAlreadyInDoc refusal;
      return Finish(walker, &refusal);
    }
    more = Keep(walker, *pool);
  }
  Finish(walker, nullptr);
}

std::optional<KVTSimRpm_SalvagePlan::Pool> KVTSimRpm_SalvagePlan::Judge(
    KVTSimRpm_ChainWalker& walker) {
  Header const& header = walker.Header();
  Header::Fault const fault = walker.Fault();
  if (fault != Header::FaultNone && fault != Header::FaultRecordLength)
    return std::nullopt;
  Pool pool = {walker.Location(), 0, header.StoredLength().value_or(0), header.HeaderLength(),
               false};
  if (fault == Header::FaultNone) {
    pool.length = walker.Length();
    return pool;
  }
  // A length shorter than the header may be what a torn write left.
  if (pool.storedLength == 0)
    return std::nullopt;
  std::optional<std::uint64_t> end = TornLengthEnd(walker, pool);
  if (!end)
    return std::nullopt;
  pool.length = *end - pool.location;
  pool.closedUp = true;
  return pool;
}

std::string KVTSimRpm_SalvagePlan::Identifier(KVTSimRpm_ChainWalker& walker) {
  if (!walker.Identifier().empty())
    return walker.Identifier();
  // A record whose extent the walker does not know: the header checks
  // placed its directory inside the file.
  std::string identifier(Header::kEntrySize, '\0');
  walker.Read(walker.Location() + Header::kSize, identifier.size(), &identifier[0]);
  return identifier;
}

bool KVTSimRpm_SalvagePlan::Keep(KVTSimRpm_ChainWalker& walker, Pool pool) {
  if (pool.storedLength == 0) {
    // For the loader an open pool reaches to the end of the file; a pool
    // header inside it means the pools after it were hidden by a length
    // never stored.
    std::optional<std::uint64_t> next = walker.FindHeader(pool.location + pool.headerLength);
    if (next) {
      pool.length = *next - pool.location;
      pool.closedUp = true;
    }
  }
  mPools.push_back(pool);
  return walker.NextAt(pool.location + pool.length);
}

void KVTSimRpm_SalvagePlan::Refuse(KVTSimRpm_ChainWalker const& walker) {
  try {
    walker.Header().Raise(walker.Fault(), walker.FileName(), __FILE__, __LINE__);
  } catch (KVTBasException const& refusal) {
    // The loader's own error for this record is the reason it is left out.
    Finish(walker, &refusal);
  }
}

bool KVTSimRpm_SalvagePlan::MendTornLength(KVTSimRpm_ChainWalker& walker) {
  if (mPools.empty())
    return false;
  Pool& last = mPools.back();
  if (last.storedLength == 0 || last.closedUp)
    return false;
  std::optional<std::uint64_t> end = TornLengthEnd(walker, last);
  if (!end)
    return false;
  last.length = *end - last.location;
  last.closedUp = true;
  return true;
}

std::optional<std::uint64_t> KVTSimRpm_SalvagePlan::TornLengthEnd(KVTSimRpm_ChainWalker& walker,
                                                                  Pool const& pool) {
  std::uint64_t const digitsAt = pool.location + Header::kLengthOffset;
  // Digits within one sector are written whole: nothing to look for.
  if (digitsAt / kSector == (digitsAt + Header::kLengthDigits - 1) / kSector)
    return std::nullopt;
  // The record holds at least its header: a torn length may be shorter.
  std::uint64_t const from =
      std::max(pool.location + pool.storedLength + 1, pool.location + pool.headerLength);
  for (std::optional<std::uint64_t> at = walker.FindHeader(from); at;
       at = walker.FindHeader(*at + 1)) {
    if (TornFrom(pool, *at - pool.location))
      return at;
  }
  if (walker.FileSize() >= pool.location + pool.headerLength &&
      TornFrom(pool, walker.FileSize() - pool.location))
    return walker.FileSize();
  return std::nullopt;
}

bool KVTSimRpm_SalvagePlan::TornFrom(Pool const& pool, std::uint64_t length) {
  if (length <= pool.storedLength || length > Header::kMaxRecordLength)
    return false;
  Header whole;
  Header stored;
  whole.SetStoredLength(length);
  stored.SetStoredLength(pool.storedLength);
  std::string_view const wanted(whole.LengthDigits(), Header::kLengthDigits);
  std::string_view const found(stored.LengthDigits(), Header::kLengthDigits);
  // A write cut at a sector boundary inside the digits leaves the bytes on
  // one side of it new and on the other side old. Freezing writes the length
  // over sixteen "0"; opening for update writes sixteen "0" over it.
  std::uint64_t const digitsAt = pool.location + Header::kLengthOffset;
  for (std::uint64_t boundary = (digitsAt / kSector + 1) * kSector;
       boundary < digitsAt + Header::kLengthDigits; boundary += kSector) {
    std::size_t const split = static_cast<std::size_t>(boundary - digitsAt);
    bool const head =
        found.substr(0, split) == wanted.substr(0, split) || AllZeroDigits(found.substr(0, split));
    bool const tail =
        found.substr(split) == wanted.substr(split) || AllZeroDigits(found.substr(split));
    if (head && tail)
      return true;
  }
  return false;
}

void KVTSimRpm_SalvagePlan::Finish(KVTSimRpm_ChainWalker const& walker,
                                   KVTBasException const* reason) {
  std::uint64_t const fileSize = walker.FileSize();
  // The refused record begins where the kept chain ends.
  std::uint64_t const kept = reason != nullptr ? walker.Location() : fileSize;
  KVTSIM_ASSERT(reason == nullptr || kept == ChainEnd());
  auto const closedUp =
      std::count_if(mPools.begin(), mPools.end(), [](Pool const& pool) { return pool.closedUp; });
  mReport = KVTSimRpm_SalvageReport(fileSize, static_cast<unsigned>(mPools.size()), kept,
                                    static_cast<unsigned>(closedUp), reason);
}
