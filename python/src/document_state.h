// DocumentState: one library document and everything the binding keeps about
// it, shared by every Python object reached through it.
//
// Python objects (files, pools, locators, streams) hold a shared pointer to
// the state, so that it outlives them all; the state owns the library's
// document and one FileEntry per file opened. Before any call reaches the
// library, the binding asks the state whether the document (and the file) is
// still open: objects used after Close raise ClosedError instead of reaching
// objects that are gone.
//
// The state also keeps
//  - where each loaded pool sits (file and index), by map slot, so that a
//    locator can name its pool;
//  - the open writers, which are flushed and released before their file or
//    the document closes (a write stream must not outlive its pool).
//
// Every call is made with the Python interpreter lock held, which serialises
// all use of one document.

#ifndef KVTSIM_PYTHON_SRC_DOCUMENT_STATE_H_
#define KVTSIM_PYTHON_SRC_DOCUMENT_STATE_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "KVTSimRpm_Document.h"
#include "KVTSimRpm_Locator.h"
#include "KVTSimRpm_Pool.h"
#include "KVTSimRpm_SalvageReport.h"
#include "file_entry.h"

namespace kvtsim_python {

class WriterObject;

class DocumentState {
 public:
  // Where a loaded pool sits.
  struct PoolPlace {
    FileEntry* file;
    unsigned int index;
  };

  // REQUIRES: signature holds exactly 4 bytes.
  explicit DocumentState(std::string signature);
  DocumentState(DocumentState const&) = delete;
  DocumentState& operator=(DocumentState const&) = delete;

  // Closes the document if it is still open; errors are dropped (there is
  // no caller left to receive them).
  ~DocumentState();

  // The library's document. Raises ClosedError after Close.
  KVTSimRpm_Document& Handle();
  void RequireOpen() const;
  bool Closed() const noexcept { return mClosed; }
  std::string const& Signature() const noexcept { return mSignature; }

  // Adds a file as the library does (an open file of the same name is given
  // back for "r" and "r+"), and records its pools. A new file's first pool
  // lists only itself and the pools in references when they are given, and
  // every pool of the document otherwise.
  FileEntry& Open(std::string const& path, KVTSimRpm_Document::AccessMode mode,
                  std::optional<std::vector<KVTSimRpm_Pool>> const& references = std::nullopt);
  FileEntry& CreateGenerated(
      std::string const& directory, std::string const& stem,
      std::optional<std::vector<KVTSimRpm_Pool>> const& references = std::nullopt);
  FileEntry& CreateTemporary(std::string const& directory);

  // Adds a file read-only as the library's salvage read does, filling report
  // with what it kept and left out; a file the document holds already is
  // given back with the report the library keeps for it.
  FileEntry& Salvage(std::string const& path, KVTSimRpm_SalvageReport& report);

  // The files not closed, in the order they were opened.
  std::vector<FileEntry*> OpenFiles() const;

  void Flush();

  // Closes the writers, then every file, then the document. Every file is
  // closed even when one fails; the first error is raised at the end.
  void Close();

  // Closes the writers into file's pools, then the file.
  void CloseFile(FileEntry& file);

  // Records the pool at index of file after it was added; replacedSlot is
  // the map slot of an empty current pool it replaced, or -1.
  void RecordPool(FileEntry& file, unsigned int index, int replacedSlot);

  // The file and index of the pool loaded at slotInMap, if any.
  std::optional<PoolPlace> FindPool(int slotInMap) const;

  // The bytes of pool data from at to the end of its pool's data (0 past
  // it). Raises KVTSimExcCantDerefLocator, as the library does, when the
  // pool is not loaded in this document.
  std::uint64_t BytesLeft(KVTSimRpm_Locator const& at) const;

  // Writers announce themselves while they hold a library stream.
  void AddWriter(WriterObject& writer);
  void RemoveWriter(WriterObject& writer);

  // True when an appender is open on the pool at slotInMap.
  bool HasAppender(int slotInMap) const;

  // Flushes the writers that which selects; the first error is raised.
  void FlushWriters(std::function<bool(WriterObject const&)> const& which);

  // Flushes and releases the writers that which selects; all of them are
  // released, and the first error is raised.
  void CloseWriters(std::function<bool(WriterObject const&)> const& which);

  // True when writer writes into a pool of file.
  bool WritesInto(WriterObject const& writer, FileEntry const& file) const;

 private:
  FileEntry& Adopt(KVTSimRpm_File const& handle, std::string const& path);
  // The entry of a file the library gave back because the document held it
  // already, or a new one.
  FileEntry& Reopened(KVTSimRpm_File const& handle, std::string const& path);
  void ForgetPools(FileEntry& file);

  std::string mSignature;
  KVTSimRpm_Document mDocument;
  bool mClosed;
  std::vector<std::unique_ptr<FileEntry>> mFiles;
  std::unordered_map<int, PoolPlace> mPools;
  std::vector<WriterObject*> mWriters;
};

}  // namespace kvtsim_python

#endif  // KVTSIM_PYTHON_SRC_DOCUMENT_STATE_H_
