#include "pool_facts.h"

#include <algorithm>

#include "KVTSimPoolManager.h"

namespace kvtsim_python {

PoolFacts PoolFacts::Of(KVTSimRpm_Pool const& pool) {
  KVTSimRpm_PoolDescription const description = pool.Describe();
  // The size on disk now: a record may run past it (a writer killed before it
  // wrote the space it had allocated), as ls marks.
  std::uint64_t const size = KVTSimRpm_ChainWalker(description.FileName(), nullptr).FileSize();
  std::uint64_t const location = description.Location();
  std::uint64_t const length = description.RecordLength();
  PoolFacts facts{location,
                  length,
                  description.DataLength(),
                  std::min(length, size - std::min(size, location)),
                  description.StoredState() == KVTSimRpm_PoolDescription::StateOpen,
                  description.Identifier(),
                  {}};
  for (KVTSimRpm_PoolDescription::Entry const& entry : description.Entries()) {
    std::optional<std::string> fileName;
    if (entry.Loaded())
      fileName = std::string(entry.FileName().View());
    facts.entries.push_back(Entry{entry.Identifier(), fileName, entry.PoolIndex()});
  }
  return facts;
}

std::optional<std::string> PoolFacts::StoredSignature(std::string const& path) {
  // The first record as stored, whether or not the loader would take it.
  KVTSimRpm_ChainWalker walker(KVTString(path.data(), path.size()), nullptr);
  std::size_t const end =
      KVTSimRpm_PoolHeader::kUserSignatureOffset + KVTSimRpm_PoolHeader::kUserSignatureSize;
  if (!walker.Next() || walker.HeaderBytes() < end)
    return std::nullopt;
  return std::string(walker.Header().UserSignature(), KVTSimRpm_PoolHeader::kUserSignatureSize);
}

}  // namespace kvtsim_python
