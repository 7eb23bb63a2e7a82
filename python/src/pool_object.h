// PoolObject: kvtsim.Pool, one pool of a file opened in a Python document.
//
// It names the pool by file and index and holds the library's weak handle.
// Every use first checks that the document and the file are open and the
// pool still exists (File.new_pool replaces an empty current pool), and
// raises ClosedError otherwise.

#ifndef KVTSIM_PYTHON_SRC_POOL_OBJECT_H_
#define KVTSIM_PYTHON_SRC_POOL_OBJECT_H_

#include <pybind11/pybind11.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "KVTSimRpm_Pool.h"
#include "document_state.h"
#include "file_entry.h"

namespace kvtsim_python {

class PoolObject {
 public:
  // REQUIRES: index < file's pool count.
  PoolObject(std::shared_ptr<DocumentState> document, FileEntry& file, unsigned int index);

  // The library's handle. Raises ClosedError as described above.
  KVTSimRpm_Pool& Handle();

  DocumentState const* Document() const noexcept { return mDocument.get(); }

  // The handles of the pools in references, a Python iterable of Pool, for
  // a new pool's narrow directory; nullopt when references is None (the
  // directory then lists every pool of the document). Raises TypeError for an
  // item that is not a Pool, ValueError for a pool of another document, and
  // ClosedError as Handle() does.
  static std::optional<std::vector<KVTSimRpm_Pool>> Handles(DocumentState const* document,
                                                            pybind11::handle references);
  int Slot() const noexcept { return mSlot; }

  // Registers the Python class (Declare), then its members (Bind), so that
  // every signature can name the classes of the module.
  static void Declare(pybind11::module_& m);
  static void Bind(pybind11::module_& m);

 private:
  pybind11::object Info();
  pybind11::list Directory();

  std::shared_ptr<DocumentState> mDocument;
  FileEntry* mFile;
  unsigned int mIndex;
  KVTSimRpm_Pool mHandle;
  int mSlot;
};

}  // namespace kvtsim_python

#endif  // KVTSIM_PYTHON_SRC_POOL_OBJECT_H_
