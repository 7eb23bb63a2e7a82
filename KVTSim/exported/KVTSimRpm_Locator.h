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
// A member whose REQUIRES does not hold raises KVTBasAssertException.
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
  // The bytes of a stored locator (ExternalizeImpl).
  static constexpr unsigned int kStoredSize = 12;

  // A null locator: no map, map slot -1, offset 0, no overlay.
  KVTSimRpm_Locator() noexcept;
  KVTSimRpm_Locator(KVTSimRpm_Locator const& that);
  KVTSimRpm_Locator& operator=(KVTSimRpm_Locator const& that);
  ~KVTSimRpm_Locator();

  // Same pool as that, offset that's + delta, without an overlay.
  KVTSimRpm_Locator(KVTSimRpm_Locator const& that, unsigned long long delta);

  // Same pool and offset as that, with memoryPool as overlay.
  KVTSimRpm_Locator(KVTSimRpm_Locator const& that, KVTSimRpm_MemoryPool& memoryPool);

  // Offset moved by delta; pool and overlay kept. Never raises.
  KVTSimRpm_Locator operator+(unsigned long long delta) const;
  KVTSimRpm_Locator operator-(unsigned long long delta) const;
  KVTSimRpm_Locator& operator+=(unsigned long long delta);

  // this offset - that offset, modulo 2^64. REQUIRES: SamePool(that).
  unsigned long long operator-(KVTSimRpm_Locator const& that) const;

  // Offsets compared as unsigned numbers. REQUIRES: SamePool(that).
  bool operator<(KVTSimRpm_Locator const& that) const;
  bool operator<=(KVTSimRpm_Locator const& that) const;

  // Same pool map, map slot and offset; the overlay is not compared.
  // REQUIRES: neither locator is a default one (without a pool map), and
  // the documents of both were neither closed as a whole nor destroyed.
  // SamePool and Offset compare any two locators.
  bool operator==(KVTSimRpm_Locator const& that) const;
  bool operator!=(KVTSimRpm_Locator const& that) const { return !(*this == that); }

  // False when either locator is null; else true when both name the same
  // pool map and map slot. A locator whose document was closed or destroyed
  // is in no pool of a later document, wherever that document's map lies.
  bool SamePool(KVTSimRpm_Locator const& that) const;

  bool Null() const noexcept { return mMap.Null() || mSlot < 0; }

  // The pool's 32-character identifier, also after its file was closed.
  // REQUIRES: !Null(), and the document was neither closed as a whole nor
  // destroyed.
  KVTString GetGUID() const;

  // The overlay, or null.
  KVTSimRpm_MemoryPool* IMPool() const noexcept { return mMemoryPool; }

  // Drops the overlay; pool and offset stay.
  void DisconnectPool() noexcept { mMemoryPool = nullptr; }

  // Reads up to length bytes at the locator into buffer; returns the count
  // delivered. Served from the overlay when the locator lies in its range
  // (stopping at the range's end); otherwise from the pool, not bounded by
  // its data length (it stops only at the end of the file): a read shorter
  // than 4096 bytes through the file's read cache (a memory copy once the
  // block is held), a longer one with one system call. Raises
  // KVTSimExcCantDerefLocator when the pool is not loaded in its document.
  // REQUIRES: an overlay, if any, is a copy of this locator's pool; the
  // document was neither closed as a whole nor destroyed.
  unsigned long long Read(unsigned long long length, char* buffer) const;

  // Writes length bytes at the locator: into the overlay first, then into
  // the pool. Raises KVTSimExcCantDerefLocator when the pool is not loaded,
  // KVTSimExcIOBounds past the pool's data and KVTSimExcWriteReadOnly; the
  // file is then unchanged, but an overlay has already taken the bytes.
  // REQUIRES: an overlay, if any, holds all length bytes from the locator
  // (its Within); the document was neither closed as a whole nor destroyed.
  void Write(unsigned long long length, char const* data) const;

  // Whether the pool's file is read-only. REQUIRES: the pool is loaded (its
  // file open in the locator's document).
  bool ReadOnly() const;

  // The pool's directory; the reference is valid while the pool stays
  // loaded. REQUIRES: the pool is loaded.
  KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl> const& Directory() const;

  // Stores the locator as kStoredSize (12) bytes through s: offset low
  // word, high word, then the target pool's directory slot in s.SourceDir()
  // (-1 for a null locator). Raises KVTSimExcCantExternalizeLoc when that
  // directory does not list the pool.
  void ExternalizeImpl(KVTSimRpm_BStreamWrite& s) const;

  // Reads a stored locator from s, decoding the directory slot against
  // s.SourceDir(); the overlay becomes s.IMPool(). A stored null (-1) leaves
  // map and slot as they were, with offset 0: a locator that named a pool
  // then names its start, and is not null. REQUIRES: the stored slot lies in
  // s.SourceDir() (a damaged slot raises KVTBasAssertException, after the
  // offset was set to 0).
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
