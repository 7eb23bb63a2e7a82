#include "pool_facts.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "KVTSimRpm_FileImpl.h"
#include "KVTSimRpm_PoolDirectoryImpl.h"
#include "KVTSimRpm_PoolImpl.h"
#include "KVTSimRpm_PoolMap.h"
#include "KVTSimRpm_PoolMapItem.h"
#include "KVTSimUttOSError.h"

namespace kvtsim_python {

namespace {

// Where the pool header keeps the user signature and the record length
// (16 decimal digits, all "0" while the pool is open); see KVTSimRpm_PoolImpl.h.
constexpr std::uint64_t kSignatureOffset = 16;
constexpr std::size_t kSignatureSize = 4;
constexpr std::size_t kLengthOffset = 20;
constexpr std::size_t kLengthDigits = 16;

bool StoredOpen(KVTSimRpm_PoolImpl& pool) {
  char header[KVTSimRpm_PoolImpl::kHeaderSize];
  std::uint64_t const n = pool.File().Read(pool.Location(), sizeof header, header);
  return n == sizeof header &&
         std::string(header + kLengthOffset, kLengthDigits) == std::string(kLengthDigits, '0');
}

}  // namespace

PoolFacts PoolFacts::Of(KVTSimRpm_Pool const& pool) {
  KVTSimRpm_PoolImpl& record = *pool.Impl().Get();
  KVTString const id = pool.GetGUID();
  return PoolFacts{record.Location(),
                   record.Length(),
                   record.DataLength(),
                   StoredOpen(record),
                   record.Directory()->Length(),
                   std::string(id.View())};
}

std::vector<PoolFacts::Entry> PoolFacts::Directory(KVTSimRpm_Pool const& pool) {
  KVTSimRpm_PoolDirectoryImpl const& directory = *pool.Impl().Get()->Directory();
  KVTSimRpm_PoolMap const& map = *directory.Map().Get();
  std::vector<Entry> entries;
  for (int i = 0; i < directory.Length(); ++i) {
    int const slot = directory.InternalizeReference(i);
    entries.push_back(Entry{std::string(map.UUID(slot), KVTSimRpm_PoolMapItem::kUUIDLength), slot});
  }
  return entries;
}

std::optional<std::string> PoolFacts::StoredSignature(std::string const& path) {
  int const fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    KVTSimUttOSError error("open", KVTString(path.data(), path.size()), errno);
    error.Throw(__FILE__, __LINE__);
  }
  char bytes[kSignatureSize];
  ssize_t n;
  do {
    n = ::pread(fd, bytes, sizeof bytes, static_cast<off_t>(kSignatureOffset));
  } while (n < 0 && errno == EINTR);
  int const readError = errno;
  ::close(fd);
  if (n < 0) {
    KVTSimUttOSError error("read", KVTString(path.data(), path.size()), readError);
    error.Throw(__FILE__, __LINE__);
  }
  if (static_cast<std::size_t>(n) < sizeof bytes)
    return std::nullopt;
  return std::string(bytes, sizeof bytes);
}

}  // namespace kvtsim_python
