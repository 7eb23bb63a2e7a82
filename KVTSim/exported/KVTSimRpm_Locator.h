// KVTSimRpm_Locator: the address of a byte inside a pool.
//
// A locator names its pool by map slot in the document's pool map and holds
// a data offset, counted from the first byte of the pool's data area. It may
// carry a memory-pool overlay (not owned) consulted by byte access. A
// locator is null when it has no pool map or a negative map slot. It never
// owns its pool, its map or its overlay: the caller keeps an overlay alive
// while any locator points to it.
//
// Offset arithmetic is modulo 2^64 and never touches the pool or the file.
// Ordering and difference require two locators of the same pool and fail
// the check "SamePool(that)" otherwise.
//
// REQUIRES: external synchronization for one locator object. Read and Write
// of different locator objects may run on several threads at once, also into
// one pool: they only read the pool map and the pool, and the file's mutex
// and its read cache's lock serialise each transfer. Nothing else may change
// the document meanwhile.

#ifndef KVTSIM_EXPORTED_KVTSIMRPM_LOCATOR_H_
#define KVTSIM_EXPORTED_KVTSIMRPM_LOCATOR_H_

#include "KVTSimExport.h"
#include "KVTSimRpm_StrongRef.h"
#include "KVTSimRpm_WeakRef.h"
#include "KVTString.h"

class KVTSimRpm_BStreamRead;
class KVTSimRpm_BStreamWrite;
class KVTSimRpm_MemoryPool;
class KVTSimRpm_PoolDirectoryImpl;
class KVTSimRpm_PoolImpl;
class KVTSimRpm_PoolMap;

class KVTSIM_EXPORT KVTSimRpm_Locator {
 public:
  // A null locator: no map, map slot -1, offset 0, no overlay.
  KVTSimRpm_Locator() noexcept;
  KVTSimRpm_Locator(KVTSimRpm_Locator const& that);
  KVTSimRpm_Locator& operator=(KVTSimRpm_Locator const& that);
  ~KVTSimRpm_Locator();

  // Same pool as that, offset that's + delta, without an overlay.
  KVTSimRpm_Locator(KVTSimRpm_Locator const& that, unsigned long long delta);

  // Same pool and offset as that, with memoryPool as overlay.
  KVTSimRpm_Locator(KVTSimRpm_Locator const& that, KVTSimRpm_MemoryPool& memoryPool);

  // Offset moved by delta; pool and overlay kept.
  KVTSimRpm_Locator operator+(unsigned long long delta) const;
  KVTSimRpm_Locator operator-(unsigned long long delta) const;
  KVTSimRpm_Locator& operator+=(unsigned long long delta);

  // this offset - that offset, modulo 2^64. REQUIRES: SamePool(that).
  unsigned long long operator-(KVTSimRpm_Locator const& that) const;

  // Offsets compared as unsigned numbers. REQUIRES: SamePool(that).
  bool operator<(KVTSimRpm_Locator const& that) const;
  bool operator<=(KVTSimRpm_Locator const& that) const;

  // Same pool map, map slot and offset; the overlay is not compared. Fails
  // "mPointer && mCounter" when a locator has no pool map, and
  // "mCounter->mStrong != 0" when its document's map is gone.
  bool operator==(KVTSimRpm_Locator const& that) const;
  bool operator!=(KVTSimRpm_Locator const& that) const { return !(*this == that); }

  // False when either locator is null; else true when both name the same
  // pool map and map slot.
  bool SamePool(KVTSimRpm_Locator const& that) const;

  bool Null() const noexcept { return mMap.Null() || mSlot < 0; }

  // The pool's 32-character identifier, also after its file was closed.
  KVTString GetGUID() const;

  // The overlay, or null.
  KVTSimRpm_MemoryPool* IMPool() const noexcept { return mMemoryPool; }

  // Drops the overlay; pool and offset stay.
  void DisconnectPool() noexcept { mMemoryPool = nullptr; }

  // Reads up to length bytes at the locator into buffer; returns the count
  // delivered. Served from the overlay when the locator lies in its range
  // (stopping at the range's end); otherwise from the pool, not bounded by
  // its data length: a read shorter than 4096 bytes through the file's read
  // cache (a memory copy once the block is held), a longer one with one
  // system call. Raises KVTSimExcCantDerefLocator when the pool is not
  // loaded in its document.
  unsigned long long Read(unsigned long long length, char* buffer) const;

  // Writes length bytes at the locator: into the overlay first (the range
  // must hold them all: "Within(location, length)"), then into the pool.
  // Raises KVTSimExcCantDerefLocator when the pool is not loaded,
  // KVTSimExcIOBounds past the pool's data, KVTSimExcWriteReadOnly.
  void Write(unsigned long long length, char const* data) const;

  // Whether the pool's file is read-only. REQUIRES: the pool is loaded.
  bool ReadOnly() const;

  // The pool's directory, valid while the pool lives. REQUIRES: the pool is
  // loaded.
  KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl> const& Directory() const;

  // Stores the locator as 12 bytes through s: offset low word, high word,
  // then the target pool's directory slot in s.SourceDir() (-1 for a null
  // locator). Raises KVTSimExcCantExternalizeLoc when that directory does not
  // list the pool.
  void ExternalizeImpl(KVTSimRpm_BStreamWrite& s) const;

  // Reads a stored locator from s, decoding the directory slot against
  // s.SourceDir(); the overlay becomes s.IMPool(). A stored -1 leaves map and
  // slot as they were, with offset 0.
  void InternalizeImpl(KVTSimRpm_BStreamRead& s);

  // The map slot (negative for none) and the data offset.
  int SlotInMap() const noexcept { return mSlot; }
  unsigned long long Offset() const noexcept { return mOffset; }
  KVTSimRpm_WeakRef<KVTSimRpm_PoolMap> const& Map() const noexcept { return mMap; }

 private:
  friend class KVTSimRpm_PoolImpl;

  // The loaded pool, or KVTSimExcCantDerefLocator. Found without copying a
  // handle: counts are plain integers, and byte access may run on several
  // threads.
  KVTSimRpm_PoolImpl& LoadedPool() const;

  KVTSimRpm_Locator(KVTSimRpm_WeakRef<KVTSimRpm_PoolMap> const& map, int slot,
                    unsigned long long offset, KVTSimRpm_MemoryPool* memoryPool);

  KVTSimRpm_WeakRef<KVTSimRpm_PoolMap> mMap;
  int mSlot;
  unsigned long long mOffset;
  KVTSimRpm_MemoryPool* mMemoryPool;
};

#endif  // KVTSIM_EXPORTED_KVTSIMRPM_LOCATOR_H_
