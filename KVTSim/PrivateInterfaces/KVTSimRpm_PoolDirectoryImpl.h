// KVTSimRpm_PoolDirectoryImpl: a pool's identity and the list of pools that
// data stored in the pool may refer to.
//
// Directory slot i stands for one map slot of the document's pool map; slot 0
// is the directory's own pool. Stored references hold directory slots, so a
// reference means the same pool whichever document reads it. The list is
// filled once, by Init (a new pool or free-standing directory) or by Load (a
// pool read from a file), and never changes afterwards.
//
// Directory record (the stored form): Length() entries of 32 bytes, entry i
// the identifier of directory slot i; no count, terminator or padding.
//
// REQUIRES: external synchronization (one thread at a time, like its map).

#ifndef KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_POOLDIRECTORYIMPL_H_
#define KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_POOLDIRECTORYIMPL_H_

#include <vector>

#include "KVTBasMem.h"
#include "KVTSimExport.h"
#include "KVTSimRpm_PoolMap.h"
#include "KVTSimRpm_WeakRef.h"
#include "KVTString.h"
#include "cow_List.h"

class KVTSIM_EXPORT KVTSimRpm_PoolDirectoryImpl : public mem_AllocationOperators {
 public:
  // An empty directory bound to map (not owned).
  explicit KVTSimRpm_PoolDirectoryImpl(KVTSimRpm_WeakRef<KVTSimRpm_PoolMap> const& map);
  KVTSimRpm_PoolDirectoryImpl(KVTSimRpm_PoolDirectoryImpl const&) = delete;
  KVTSimRpm_PoolDirectoryImpl& operator=(KVTSimRpm_PoolDirectoryImpl const&) = delete;
  ~KVTSimRpm_PoolDirectoryImpl();

  KVTSimRpm_WeakRef<KVTSimRpm_PoolMap> const& Map() const noexcept { return mMap; }

  // Number of directory slots (0 while empty).
  int Length() const noexcept { return mMapSlotList.Length(); }

  // The directory's own map slot (entry 0).
  // REQUIRES: filled; an empty directory fails "mMapSlotList.Length() > 0".
  int SlotInMap() const;

  // Gives an empty directory its identity: the 32 bytes at uuid (none of them
  // zero), or a fresh identifier not loaded in the document when uuid is
  // null. The list becomes the new map slot followed by every earlier map slot
  // in map order.
  // Raises KVTSimExcInvalidGUID for a zero byte among the 32,
  // KVTSimExcPoolAlreadyInDoc when that identifier's pool is loaded, and
  // KVTSimUttOSError when the random source fails; the list stays empty.
  // A filled directory fails "mMapSlotList.Length() == 0".
  void Init(char const* uuid);

  // As Init(uuid), but the list becomes the new map slot followed by the map
  // slots in references, in their order, each once: a narrow directory whose
  // pool can refer only to those pools.
  // REQUIRES: every reference is a slot of the map ("reference >= 0",
  // "reference < map->Length()", checked before anything changes).
  void Init(char const* uuid, std::vector<int> const& references);

  // Fills an empty directory from a directory record of count entries; an
  // identifier the document does not know gets a new map slot without pool.
  // Raises KVTSimExcPoolAlreadyInDoc when entry 0 names a loaded pool (the
  // list stays empty). count <= 0 leaves the directory empty.
  // A filled directory fails "mMapSlotList.Length() == 0".
  void Load(char const* record, int count);

  // Writes the directory record, Length() x 32 bytes, into record.
  // An empty directory fails "dirLength > 0".
  void Dump(char* record) const;

  // The directory slot that names map slot dstSlotInMap, for storing a
  // reference. The first answer for a (source, target) pair is searched and
  // remembered in the map's matrix; later ones come from it.
  // Raises KVTSimExcCantExternalizeLoc when the directory does not list it.
  int ExternalizeReference(int dstSlotInMap) const;

  // The map slot that directory slot slotInDirectory stands for. The value
  // comes from stored data: one outside the list fails the validation check
  // "slotInDirectory >= 0" or "slotInDirectory < mMapSlotList.Length()".
  int InternalizeReference(int slotInDirectory) const;

  // The directory's own identifier, exactly 32 characters.
  // REQUIRES: filled; an empty directory fails "mMapSlotList.Length() > 0".
  KVTString GetGUID() const;

  // Writes a fresh identifier into out: 32 lowercase hexadecimal characters
  // in the form of a version-4 UUID without hyphens, no terminator. Serves a
  // forced identifier instead when one is pending (see TestForceUUID).
  // Raises KVTSimUttOSError when the random source keeps failing.
  static void CreateUUID(char* const out);

  // Test hook: the next CreateUUID copies the 32 bytes at uuid (one call only).
  // REQUIRES: the bytes stay alive until then; not thread-safe.
  static void TestForceUUID(char const* uuid) noexcept;

 private:
  KVTSimRpm_PoolMap* MapObject() const { return mMap.Get(); }
  // Checks the identifier (or makes a fresh one) and takes the new map slot.
  int NewOwnSlot(char const* uuid);

  KVTSimRpm_WeakRef<KVTSimRpm_PoolMap> mMap;
  cow_List<int> mMapSlotList;
  static char const* mTestForceUUID;
};

#endif  // KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_POOLDIRECTORYIMPL_H_
