// KVTSimRpm_File: a weak handle to one container file of a document, valid
// while the file is open (see KVTSimRpm_Document.h).

#ifndef KVTSIM_EXPORTED_KVTSIMRPM_FILE_H_
#define KVTSIM_EXPORTED_KVTSIMRPM_FILE_H_

#include <cstdint>
#include <vector>

#include "KVTSimExport.h"
#include "KVTSimRpm_Locator.h"
#include "KVTSimRpm_Pool.h"
#include "KVTSimRpm_WeakRef.h"
#include "KVTString.h"

class KVTSimRpm_FileImpl;

class KVTSIM_EXPORT KVTSimRpm_File {
 public:
  KVTSimRpm_File(KVTSimRpm_File const& other);
  KVTSimRpm_File& operator=(KVTSimRpm_File const& other);
  ~KVTSimRpm_File();

  // The name the file was opened or created with.
  KVTString const FileName() const;

  // Locators at the start and end of the current pool's data.
  KVTSimRpm_Locator const Start() const;
  KVTSimRpm_Locator const End() const;

  // n new bytes at the end of the current pool (see KVTSimRpm_Pool::Allocate).
  KVTSimRpm_Locator Allocate(std::uint64_t n);

  // Adds a new empty pool and makes it current; its directory takes the 32
  // bytes at uuid (none zero) or, when uuid is null, a fresh identifier. An
  // empty current pool is replaced rather than kept. Raises
  // KVTSimExcNewPoolReadOnly, KVTSimExcInvalidGUID, KVTSimExcPoolAlreadyInDoc.
  void NewPool(char const* uuid);

  // As NewPool(uuid), but the new pool's directory lists only the new pool
  // itself followed by the pools in references (in that order, each once):
  // data stored in it can refer to those pools and no others (storing a
  // locator into another pool raises KVTSimExcCantExternalizeLoc). Its
  // header then takes 32 bytes per listed pool instead of 32 per pool the
  // document knows. An empty list makes a pool that refers to nothing.
  // Raises KVTSimExcValidationFailure, before anything changes, when a pool
  // named is not loaded in this document (a pool of another document, of a
  // file closed since); a handle whose pool is gone fails as every handle
  // does. Otherwise raises what NewPool(uuid) raises.
  void NewPool(char const* uuid, std::vector<KVTSimRpm_Pool> const& references);

  // Copies a pool of another document's file onto the end of this file, byte
  // for byte, and makes the copy current. Raises KVTSimExcNewPoolReadOnly,
  // KVTSimExcPoolAlreadyInDoc, KVTSimExcShortPool (the file is then restored),
  // and the load errors of the copied header.
  void AppendPool(KVTSimRpm_Pool const& source);

  bool ReadOnly() const;
  unsigned int PoolCount() const;

  // The current pool; a file without pools fails "mCurrentPoolIndex >= 0".
  KVTSimRpm_Pool const Pool() const;

  // The pool at index, 0 being the first; an index not below PoolCount()
  // fails the validation check "index < mPoolContainer.Length()".
  KVTSimRpm_Pool const Pool(unsigned int index) const;

  // Writes the current pool header back and makes the file's data durable.
  void Flush();

  // The most bytes of this file's blocks its read cache may hold (see
  // KVTSimRpm_Document::SetReadCacheLimit); 0 turns it off. Lowering the
  // limit below what is held releases the cached blocks.
  void SetReadCacheLimit(std::uint64_t bytes);
  std::uint64_t ReadCacheLimit() const;

 private:
  friend class KVTSimRpm_Document;
  explicit KVTSimRpm_File(KVTSimRpm_WeakRef<KVTSimRpm_FileImpl> const& impl);

  KVTSimRpm_WeakRef<KVTSimRpm_FileImpl> mImpl;
};

#endif  // KVTSIM_EXPORTED_KVTSIMRPM_FILE_H_
