// Fuzz harness "directory": directory records of any length and content
// loaded against a pool map that already holds slots.
//
// Input: one byte choosing how many extra identifier slots the map holds
// (0 to 3, besides a loaded pool and a free-standing directory), then the
// record: as many 32-byte identifiers as fit. After a successful load the
// directory must dump the record back byte for byte, translate every slot
// both ways consistently, and a second directory loaded from the same record
// must name the same map slots. Error kinds of the library are normal
// outcomes.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <unordered_map>

#include "KVTBasException.h"
#include "KVTSimRpm_Document.h"
#include "KVTSimRpm_PoolDirectoryImpl.h"
#include "KVTSimRpm_PoolImpl.h"
#include "KVTSimRpm_PoolMap.h"
#include "kvtsim_fuzz_util.h"

namespace {

using Doc = KVTSimRpm_Document;
using DirectoryRef = KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl>;
using MapRef = KVTSimRpm_WeakRef<KVTSimRpm_PoolMap>;

constexpr int kEntry = KVTSimRpm_PoolMapItem::kUUIDLength;
constexpr char kExtraIds[3][kEntry + 1] = {"f0f0f0f0f0f0400080000000000000d4",
                                           "f0f0f0f0f0f0400080000000000000e5",
                                           "f0f0f0f0f0f0400080000000000000c3"};

// Every directory slot maps to a valid map slot, and storing a reference to
// that map slot gives the lowest directory slot that names it.
void CheckTranslations(KVTSimRpm_PoolDirectoryImpl const& directory, KVTSimRpm_PoolMap& map) {
  std::unordered_map<int, int> first;  // map slot -> lowest directory slot
  for (int i = 0; i < directory.Length(); ++i) {
    int slot = directory.InternalizeReference(i);
    KVTSIM_FUZZ_CHECK(slot >= 0 && slot < map.Length());
    first.emplace(slot, i);
    KVTSIM_FUZZ_CHECK(directory.ExternalizeReference(slot) == first[slot]);
  }
  for (int slot = 0; slot < map.Length(); ++slot) {
    try {
      int stored = directory.ExternalizeReference(slot);
      KVTSIM_FUZZ_CHECK(directory.InternalizeReference(stored) == slot);
    } catch (KVTBasException const&) {
      // Not listed: KVTSimExcCantExternalizeLoc.
    }
  }
}

// Slot numbers outside the directory are refused as stored data.
void CheckRefusals(KVTSimRpm_PoolDirectoryImpl const& directory) {
  for (int slot : {-1, directory.Length(), 1 << 30}) {
    try {
      directory.InternalizeReference(slot);
      KVTSIM_FUZZ_CHECK(!"a slot outside the directory was translated");
    } catch (KVTBasException const&) {
    }
  }
}

void CheckLoaded(DirectoryRef const& directory, MapRef const& map, std::string const& record,
                 int count) {
  KVTSIM_FUZZ_CHECK(directory->Length() == count);
  if (count == 0)
    return;
  std::string dumped(record.size(), '\0');
  directory->Dump(&dumped[0]);
  KVTSIM_FUZZ_CHECK(dumped == record);
  KVTSIM_FUZZ_CHECK(directory->GetGUID().GetLengthInByte() <= static_cast<std::size_t>(kEntry));
  KVTSIM_FUZZ_CHECK(directory->SlotInMap() == directory->InternalizeReference(0));
  CheckTranslations(*directory, *map.Get());
  CheckRefusals(*directory);
  // The same record names the same slots the second time.
  DirectoryRef again(new KVTSimRpm_PoolDirectoryImpl(map));
  again->Load(record.data(), count);
  for (int i = 0; i < count; ++i)
    KVTSIM_FUZZ_CHECK(again->InternalizeReference(i) == directory->InternalizeReference(i));
}

// A new directory initialised with the record's first identifier.
void InitWithFirstId(MapRef const& map, std::string const& record) {
  if (record.size() < static_cast<std::size_t>(kEntry))
    return;
  DirectoryRef directory(new KVTSimRpm_PoolDirectoryImpl(map));
  try {
    directory->Init(record.data());
  } catch (KVTBasException const&) {
    KVTSIM_FUZZ_CHECK(directory->Length() == 0);
    return;
  }
  KVTSIM_FUZZ_CHECK(directory->Length() == map->Length());
  KVTSIM_FUZZ_CHECK(directory->SlotInMap() == map->Length() - 1);
}

void LoadRecord(MapRef const& map, std::string const& record) {
  int count = static_cast<int>(record.size() / kEntry);
  DirectoryRef directory(new KVTSimRpm_PoolDirectoryImpl(map));
  try {
    directory->Load(record.data(), count);
  } catch (KVTBasException const&) {
    KVTSIM_FUZZ_CHECK(directory->Length() == 0);
    return;
  }
  try {
    CheckLoaded(directory, map, record, count);
  } catch (KVTBasException const& e) {
    std::fprintf(stderr, "error on a loaded directory: %s\n",
                 e.DeveloperReport(KVTBasStringModeFull).CStr());
    KVTSIM_FUZZ_CHECK(!"a loaded directory answers without errors");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* input, std::size_t size) {
  if (size < 1)
    return 0;
  std::size_t usable = (size - 1) / kEntry * kEntry;
  std::string record(reinterpret_cast<char const*>(input) + 1, usable);
  Doc document(kvtsim_fuzz::kSig);
  KVTSimRpm_PoolDirectoryImpl::TestForceUUID(kvtsim_fuzz::kFirstPoolId);
  KVTSimRpm_File file =
      document.AddFile(kvtsim_fuzz::ScratchDir::Get().Name("directory.sim"), Doc::AccessWrite);
  KVTSimRpm_PoolDirectoryImpl::TestForceUUID(kvtsim_fuzz::kFreeDirectoryId);
  KVTSimRpm_PoolDirectory free = document.NewDirectory();
  MapRef map = file.Pool().Impl()->Directory()->Map();
  // Identifiers the map knows without a pool, one of them a second slot for
  // the free-standing directory's identifier.
  for (int i = 0; i < input[0] % 4; ++i)
    map->NewSlot(kExtraIds[i % 3]);
  LoadRecord(map, record);
  InitWithFirstId(map, record);
  document.Close();
  return 0;
}
