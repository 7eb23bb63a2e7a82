// The public handles of the pool manager: a document and its files, pools and
// directories.
//
// KVTSimRpm_Document owns its implementation. KVTSimRpm_File and
// KVTSimRpm_Pool are weak: they never keep a file or pool alive.
// KVTSimRpm_PoolDirectory is strong: it keeps its directory alive. The
// handles add no locking.
//
// REQUIRES: a file or pool handle is used only while its file is open in its
// document: not after the file or the whole document was closed, nor after
// the document was destroyed. Such a use raises KVTBasAssertException rather
// than reaching freed memory.
// REQUIRES: external synchronization; a document and everything reached
// through it are used by one thread at a time.

#ifndef KVTSIM_EXPORTED_KVTSIMRPM_DOCUMENT_H_
#define KVTSIM_EXPORTED_KVTSIMRPM_DOCUMENT_H_

#include <cstdint>
#include <string_view>
#include <vector>

#include "KVTSimExport.h"
#include "KVTSimRpm_File.h"
#include "KVTSimRpm_PoolDirectory.h"
#include "KVTString.h"

class KVTSimRpm_DocumentImpl;

class KVTSIM_EXPORT KVTSimRpm_Document {
 public:
  // How AddFile opens a file.
  enum AccessMode { AccessWrite = 0, AccessUpdate = 1, AccessRead = 2 };

  // What the file-type probe finds at the start of a file.
  enum FileType {
    FileTypeNotSim = 0,  // shorter than 9 bytes, no signature, or unknown version
    FileTypeSim = 1,     // signature with format version 3 to 6
    FileTypeOldSim = 2,  // signature with format version 1 or 2
  };

  // A document whose pools carry the first 4 bytes at sig as user signature.
  // Raises KVTSimExcValidationFailure when sig is null.
  // REQUIRES: sig points to at least 4 bytes (the bytes after the fourth are
  // ignored); the string_view form below checks the length instead.
  explicit KVTSimRpm_Document(char const* sig);

  // A document whose user signature is the 4 bytes of sig. Raises
  // KVTSimExcValidationFailure when sig does not hold exactly 4 bytes.
  explicit KVTSimRpm_Document(std::string_view sig);
  KVTSimRpm_Document(KVTSimRpm_Document const&) = delete;
  KVTSimRpm_Document& operator=(KVTSimRpm_Document const&) = delete;

  // Releases the document and its files without writing anything: call
  // Flush or Close first to keep what was written.
  ~KVTSimRpm_Document();

  // Adds a file: AccessRead opens an existing file read-only, AccessUpdate
  // for reading and writing, AccessWrite empties or creates it and writes one
  // new pool. A file already in the document is returned as it was opened
  // (AccessRead, AccessUpdate); AccessWrite on such a file raises
  // KVTSimExcCantCreateFile. Open and load errors (KVTSimUttOSError, the
  // KVTSimExc kinds of a damaged file) leave the document unchanged.
  KVTSimRpm_File AddFile(KVTString const& fileName, AccessMode mode);

  // As AddFile(fileName, mode); with AccessWrite the new file's first pool
  // lists only itself and the pools in references, as
  // KVTSimRpm_File::NewPool(uuid, references) does. A non-empty list with
  // another mode, or a pool that is not loaded in this document, raises
  // KVTSimExcValidationFailure before the file is opened or emptied.
  KVTSimRpm_File AddFile(KVTString const& fileName, AccessMode mode,
                         std::vector<KVTSimRpm_Pool> const& references);

  // Creates a new file in directory with a unique name made from stem ("stem",
  // then "stem-1", "stem-2", ...; an existing file is never overwritten),
  // with one new pool. Raises KVTSimUttOSError when no file can be created.
  KVTSimRpm_File CreateGenerated(KVTString const& directory, KVTString const& stem);

  // As above with a first pool that lists only itself and the pools in
  // references. A pool not loaded in this document raises
  // KVTSimExcValidationFailure before any file is created.
  KVTSimRpm_File CreateGenerated(KVTString const& directory, KVTString const& stem,
                                 std::vector<KVTSimRpm_Pool> const& references);

  // Creates a temporary file "kvtsim-XXXXXX" (mode 0600) in directory ("/tmp"
  // when empty), with one new pool; it is removed when the file is closed.
  // Raises KVTSimUttOSError when no file can be created.
  KVTSimRpm_File CreateTemporary(KVTString const& directory);

  // A free-standing directory with a fresh identifier, for serialising
  // references in the caller's memory. It is bound to the document's current
  // pool map: see KVTSimRpm_PoolDirectory::GetGUID.
  KVTSimRpm_PoolDirectory NewDirectory();

  // Each file keeps a cache of its blocks (4096 bytes each) for reads
  // shorter than a block, such as following stored locators: such a read
  // costs a memory copy once its block is held, not a system call. This is
  // the most bytes of blocks that each file added or created from now on may
  // hold (files already in the document keep theirs; see
  // KVTSimRpm_File::SetReadCacheLimit); memory is taken only as blocks are
  // first read. 0 turns the cache off: every read is a system call.
  // Writes through the document keep cached blocks equal to the file; a
  // change made to the file by anyone else is not seen in blocks already
  // held (see docs/reliability.md).
  static constexpr std::uint64_t kDefaultReadCacheLimit = 32ull << 20;
  void SetReadCacheLimit(std::uint64_t bytes);
  std::uint64_t ReadCacheLimit() const;

  // Writes the current pool header of every open file and makes the data
  // durable. Raises KVTSimUttOSError when a write or the sync fails.
  void Flush();

  // Closes every file; the document then holds no file, a fresh pool map and
  // an all-zero user signature. Handles, locators and directories of the
  // closed files stay the caller's, but may no longer be used (above).
  // Raises the errors of writing the current pool headers back.
  void Close();

  // Closes one file. Raises KVTSimExcCantGetFile when this document does not
  // hold it.
  void Close(KVTSimRpm_File const& file);

  // Probes the first 9 bytes of the file (format signature and version byte)
  // without loading anything. Writes nothing.
  // Raises KVTSimUttOSError when the file cannot be opened or read.
  static FileType GetFileType(KVTString const& fileName);

  // True when the file's format version byte is not the current version 6;
  // the signature is not examined.
  // Raises KVTSimExcNotSimFile when the file is shorter than 9 bytes, and
  // KVTSimUttOSError when it cannot be opened or read.
  static bool BinaryUpgradeRequired(KVTString const& fileName);

 private:
  KVTSimRpm_DocumentImpl& Impl() const;

  KVTSimRpm_DocumentImpl* mImpl;
};

#endif  // KVTSIM_EXPORTED_KVTSIMRPM_DOCUMENT_H_
