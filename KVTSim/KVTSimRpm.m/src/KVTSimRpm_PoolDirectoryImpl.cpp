#include "KVTSimRpm_PoolDirectoryImpl.h"

#include <cerrno>
#include <cstring>
#include <unordered_set>

#include "KVTSimExc.h"
#include "KVTSimRpm_Raise.h"
#include "KVTSimUttAssert.h"
#include "KVTSimUttOSError.h"
#include "KVTSimUttRandom.h"

namespace {

constexpr int kUUIDLength = KVTSimRpm_PoolMapItem::kUUIDLength;

// A transient failure of the random source is retried; a lasting one is an
// error, never a predictable identifier.
constexpr int kRandomAttempts = 5;

unsigned int DrawRandom() {
  int status = 0;
  for (int attempt = 0; attempt < kRandomAttempts; ++attempt) {
    unsigned int value = 0;
    status = KVTSimUtt_rand_s(&value);
    if (status == 0)
      return value;
  }
  KVTSimUttOSError error("getrandom", KVTString("random source"), status);
  error.Throw(__FILE__, __LINE__);
}

}  // namespace

char const* KVTSimRpm_PoolDirectoryImpl::mTestForceUUID = nullptr;

KVTSimRpm_PoolDirectoryImpl::KVTSimRpm_PoolDirectoryImpl(
    KVTSimRpm_WeakRef<KVTSimRpm_PoolMap> const& map)
    : mMap(map) {}

KVTSimRpm_PoolDirectoryImpl::~KVTSimRpm_PoolDirectoryImpl() = default;

int KVTSimRpm_PoolDirectoryImpl::SlotInMap() const {
  // Stored data can leave a directory empty (an entry count of 0).
  KVTSIM_ASSERT(mMapSlotList.Length() > 0);
  return mMapSlotList.UncheckedConstGet(0);
}

int KVTSimRpm_PoolDirectoryImpl::NewOwnSlot(char const* uuid) {
  KVTSimRpm_PoolMap* map = MapObject();
  char fresh[kUUIDLength];
  if (uuid != nullptr) {
    if (std::memchr(uuid, 0, kUUIDLength) != nullptr) {
      KVTSimRpm_Raise<KVTSimExcInvalidGUID>(__FILE__, __LINE__);
    }
  } else {
    do {
      CreateUUID(fresh);
    } while (map->IsDuplicate(fresh));
    uuid = fresh;
  }
  int mySlot = map->NewSlot(uuid);
  int len = map->Length() - 1;
  KVTSIM_ASSERT(mySlot == len);
  return mySlot;
}

void KVTSimRpm_PoolDirectoryImpl::Init(char const* uuid) {
  KVTSIM_ASSERT(mMapSlotList.Length() == 0);
  int mySlot = NewOwnSlot(uuid);
  // Build the list aside, so that an allocation failure leaves this directory empty.
  cow_List<int> slots(cow_ListConstruct(), mySlot + 1);
  slots.Append(mySlot);
  for (int slot = 0; slot < mySlot; ++slot)
    slots.Append(slot);
  mMapSlotList = slots;
}

void KVTSimRpm_PoolDirectoryImpl::Init(char const* uuid, std::vector<int> const& references) {
  KVTSIM_ASSERT(mMapSlotList.Length() == 0);
  KVTSimRpm_PoolMap* map = MapObject();
  for (int reference : references) {
    KVTSIM_ASSERT(reference >= 0);
    KVTSIM_ASSERT(reference < map->Length());
  }
  int mySlot = NewOwnSlot(uuid);
  cow_List<int> slots(cow_ListConstruct(), static_cast<int>(references.size()) + 1);
  slots.Append(mySlot);
  std::unordered_set<int> listed;
  for (int reference : references) {
    if (listed.insert(reference).second)
      slots.Append(reference);
  }
  mMapSlotList = slots;
}

void KVTSimRpm_PoolDirectoryImpl::Load(char const* record, int count) {
  KVTSIM_ASSERT(mMapSlotList.Length() == 0);
  KVTSimRpm_PoolMap* map = MapObject();
  cow_List<int> slots;
  for (int i = 0; i < count; ++i) {
    char const* uuid = record + static_cast<long>(kUUIDLength) * i;
    int slot = map->LookupByUUID(uuid);
    if (slot < 0) {
      slot = map->NewSlot(uuid);
    } else if (i == 0 && !map->Pool(slot).Null()) {
      // The pool being loaded is already loaded in this document.
      KVTSimRpm_Raise<KVTSimExcPoolAlreadyInDoc>(__FILE__, __LINE__);
    }
    slots.Append(slot);
  }
  mMapSlotList = slots;
}

void KVTSimRpm_PoolDirectoryImpl::Dump(char* record) const {
  int dirLength = Length();
  KVTSIM_ASSERT(dirLength > 0);
  KVTSimRpm_PoolMap* map = MapObject();
  for (int i = 0; i < dirLength; ++i) {
    int slotInMap = mMapSlotList.UncheckedConstGet(i);
    KVTSIM_ASSERT(slotInMap >= 0);
    KVTSIM_ASSERT(slotInMap < mMap->Length());
    std::memcpy(record + static_cast<long>(kUUIDLength) * i, map->UUID(slotInMap), kUUIDLength);
  }
}

int KVTSimRpm_PoolDirectoryImpl::ExternalizeReference(int dstSlotInMap) const {
  KVTSimRpm_PoolMap* map = MapObject();
  KVTSIM_ASSERT(dstSlotInMap >= 0);
  KVTSIM_ASSERT(dstSlotInMap < mMap->Length());
  int src = SlotInMap();
  int srcSlotInDir = map->GetDirectoryIndex(src, dstSlotInMap);
  int len = Length();
  KVTSIM_ASSERT(srcSlotInDir < len);
  if (srcSlotInDir >= 0)
    return srcSlotInDir;
  for (int i = 0; i < len; ++i) {
    if (mMapSlotList.UncheckedConstGet(i) == dstSlotInMap) {
      map->AddReference(src, dstSlotInMap, i);
      return i;
    }
  }
  KVTSimRpm_Raise<KVTSimExcCantExternalizeLoc>(__FILE__, __LINE__);
}

int KVTSimRpm_PoolDirectoryImpl::InternalizeReference(int slotInDirectory) const {
  KVTSIM_VALIDATE(slotInDirectory >= 0);
  KVTSIM_VALIDATE(slotInDirectory < mMapSlotList.Length());
  int slotInMap = mMapSlotList.UncheckedConstGet(slotInDirectory);
  KVTSIM_ASSERT(slotInMap >= 0);
  KVTSIM_ASSERT(slotInMap < mMap->Length());
  return slotInMap;
}

KVTString KVTSimRpm_PoolDirectoryImpl::GetGUID() const {
  int slot = SlotInMap();
  char text[kUUIDLength + 1];
  std::memcpy(text, MapObject()->UUID(slot), kUUIDLength);
  text[kUUIDLength] = '\0';
  return KVTString::BuildFromUTF8(text);
}

void KVTSimRpm_PoolDirectoryImpl::CreateUUID(char* const out) {
  if (mTestForceUUID != nullptr) {
    std::memcpy(out, mTestForceUUID, kUUIDLength);
    mTestForceUUID = nullptr;
    return;
  }
  static char const kDigits[] = "0123456789abcdef";
  for (int k = 0; k < 4; ++k) {
    unsigned int r = DrawRandom();
    // Least significant nibble first.
    for (int j = 0; j < 8; ++j)
      out[8 * k + j] = kDigits[(r >> (4 * j)) & 0xF];
  }
  out[12] = '4';
  char const* variant = std::strchr(kDigits, out[19]);
  out[16] = kDigits[((variant - kDigits) & 3) | 8];
}

void KVTSimRpm_PoolDirectoryImpl::TestForceUUID(char const* uuid) noexcept {
  mTestForceUUID = uuid;
}
