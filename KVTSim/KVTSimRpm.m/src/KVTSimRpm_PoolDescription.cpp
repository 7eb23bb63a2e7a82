#include "KVTSimRpm_PoolDescription.h"

#include <unordered_map>

#include "KVTSimRpm_FileImpl.h"
#include "KVTSimRpm_PoolDirectoryImpl.h"
#include "KVTSimRpm_PoolImpl.h"
#include "KVTSimRpm_PoolMap.h"
#include "KVTSimUttAssert.h"

namespace {

// Index of a pool in its file's chain. A file's pools are indexed once, on
// first need, so that describing a long directory costs one pass over each
// file involved rather than one per entry.
class PoolIndexes {
 public:
  unsigned Of(KVTSimRpm_PoolImpl const& pool) {
    KVTSimRpm_FileImpl const& file = pool.File();
    auto found = mFiles.find(&file);
    if (found == mFiles.end()) {
      std::unordered_map<KVTSimRpm_PoolImpl const*, unsigned>& indexes = mFiles[&file];
      for (unsigned i = 0; i < file.PoolCount(); ++i)
        indexes.emplace(file.Pool(i).Get(), i);
      found = mFiles.find(&file);
    }
    auto const index = found->second.find(&pool);
    // A loaded pool is always in its file's chain.
    KVTSIM_ASSERT(index != found->second.end());
    return index->second;
  }

 private:
  std::unordered_map<KVTSimRpm_FileImpl const*,
                     std::unordered_map<KVTSimRpm_PoolImpl const*, unsigned>>
      mFiles;
};

}  // namespace

KVTSimRpm_PoolDescription::KVTSimRpm_PoolDescription(KVTSimRpm_PoolImpl const& pool)
    : mFileName(pool.File().FileName()),
      mPoolIndex(0),
      mLocation(pool.Location()),
      mRecordLength(pool.Length()),
      mHeaderLength(pool.HeaderLength()),
      mStoredState(pool.StoredOpen() ? StateOpen : StateFrozen) {
  PoolIndexes indexes;
  mPoolIndex = indexes.Of(pool);
  KVTSimRpm_PoolDirectoryImpl const& directory = *pool.Directory();
  KVTSimRpm_PoolMap const& map = *directory.Map().Get();
  mEntries.resize(static_cast<std::size_t>(directory.Length()));
  for (int slot = 0; slot < directory.Length(); ++slot) {
    int const slotInMap = directory.InternalizeReference(slot);
    Entry& entry = mEntries[static_cast<std::size_t>(slot)];
    entry.mIdentifier.assign(map.UUID(slotInMap), KVTSimRpm_PoolMapItem::kUUIDLength);
    KVTSimRpm_PoolImpl const* loaded = map.LoadedPool(slotInMap);
    if (loaded == nullptr)
      continue;
    entry.mLoaded = true;
    entry.mFileName = loaded->File().FileName();
    entry.mPoolIndex = indexes.Of(*loaded);
  }
}
