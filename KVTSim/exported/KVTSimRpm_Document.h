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
#include "KVTSimRpm_SalvageReport.h"
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
  //
  // AccessWrite and AccessUpdate take the writer lock (see SetWriterLocking):
  // when another writer, in this process or another, has the file open for
  // writing, they raise KVTSimUttOSError with Operation() "lock",
  // ErrorNumber() EAGAIN and the file's name, at once and without touching
  // the file. AccessRead takes no lock: a reader may open a file while its
  // writer appends, and sees every pool written so far and the last pool's
  // bytes up to the file's end at that moment (a header being written at
  // that very moment can make the open fail; AddFileSalvaged does not).
  KVTSimRpm_File AddFile(KVTString const& fileName, AccessMode mode);

  // As AddFile(fileName, mode); with AccessWrite the new file's first pool
  // lists only itself and the pools in references, as
  // KVTSimRpm_File::NewPool(uuid, references) does. A non-empty list with
  // another mode, or a pool that is not loaded in this document, raises
  // KVTSimExcValidationFailure before the file is opened or emptied.
  KVTSimRpm_File AddFile(KVTString const& fileName, AccessMode mode,
                         std::vector<KVTSimRpm_Pool> const& references);

  // Adds a file read-only as AddFile(fileName, AccessRead) does, but loads
  // the longest prefix of its chain that holds whole pools instead of
  // refusing a damaged file, and describes in report what it kept and left
  // out. Never writes to the file. Every pool it keeps passes the checks the
  // loader applies; a file that AddFile opens gives the same pools (and a
  // report with nothing left out), except that a pool stored open ahead of
  // other pools, which AddFile takes to reach the end of the file, is closed
  // up where the next pool header lies, and the pools after it are kept.
  // See KVTSimRpm_SalvageReport for the cases it handles. A file with no
  // whole pool gives a file without pools (PoolCount() 0).
  // A file already in the document is returned as it is, with the report it
  // had when it was salvaged, or one with nothing left out when it was added
  // otherwise. Raises KVTSimUttOSError when the file cannot be opened or
  // read, and the loader's error kinds only when a writer changes a header
  // between the walk and the load; the document is then unchanged. Reads
  // every byte of a pool stored open (for headers hidden inside it): the
  // whole last pool of a file.
  KVTSimRpm_File AddFileSalvaged(KVTString const& fileName, KVTSimRpm_SalvageReport& report);

  // Creates a new file in directory with a unique name made from stem ("stem",
  // then "stem-1", "stem-2", ...; an existing file is never overwritten),
  // with one new pool. The file's directory entry is synced, and the file
  // takes the writer lock (see AddFile). Raises KVTSimUttOSError when no file
  // can be created.
  KVTSimRpm_File CreateGenerated(KVTString const& directory, KVTString const& stem);

  // As above with a first pool that lists only itself and the pools in
  // references. A pool not loaded in this document raises
  // KVTSimExcValidationFailure before any file is created.
  KVTSimRpm_File CreateGenerated(KVTString const& directory, KVTString const& stem,
                                 std::vector<KVTSimRpm_Pool> const& references);

  // Creates a temporary file "kvtsim-XXXXXX" (mode 0600) in directory ("/tmp"
  // when empty), with one new pool; it is removed when the file is closed.
  // It takes the writer lock (see AddFile). Raises KVTSimUttOSError when no
  // file can be created.
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
  // durable: when it returns, every pool and byte written before the call is
  // on disk (fdatasync of each file; the name of a new file was synced when
  // it was created).
  void Flush();

  // Closes every file, each made durable as by Flush and its writer lock
  // released; the document then holds no file, a fresh pool map and an
  // all-zero user signature.
  // Handles, locators and directories of the closed files stay the caller's,
  // but may no longer be used (above). Raises the errors of writing the
  // current pool headers back.
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

  // Turns the writer lock taken by AccessWrite, AccessUpdate,
  // CreateGenerated and CreateTemporary on or off for the whole process (on
  // by default), for file systems that have no open-file-description locks
  // (their opens for writing then fail with a "lock" KVTSimUttOSError such
  // as ENOLCK). With the lock off nothing keeps two writers from one file,
  // and two writers damage it. Takes effect at the next open; files already
  // open keep their locks. Safe to call from any thread.
  static void SetWriterLocking(bool enabled);

  // Whether opens for writing take the writer lock.
  static bool WriterLocking();

 private:
  KVTSimRpm_DocumentImpl& Impl() const;

  KVTSimRpm_DocumentImpl* mImpl;
};

#endif  // KVTSIM_EXPORTED_KVTSIMRPM_DOCUMENT_H_
