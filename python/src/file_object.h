// FileObject: kvtsim.File, a file open in a Python document, seen as a
// sequence of pools.

#ifndef KVTSIM_PYTHON_SRC_FILE_OBJECT_H_
#define KVTSIM_PYTHON_SRC_FILE_OBJECT_H_

#include <pybind11/pybind11.h>

#include <memory>

#include "document_state.h"
#include "file_entry.h"
#include "pool_object.h"

namespace kvtsim_python {

class FileObject {
 public:
  FileObject(std::shared_ptr<DocumentState> document, FileEntry& file);

  // Registers the Python class (Declare), then its members (Bind), so that
  // every signature can name the classes of the module.
  static void Declare(pybind11::module_& m);
  static void Bind(pybind11::module_& m);

 private:
  // The library's handle; ClosedError when the file or document is closed.
  KVTSimRpm_File& Handle();

  PoolObject At(long long index);
  PoolObject ByIdentifier(std::string const& identifier);
  PoolObject Current();

  // Makes a new current pool through add (NewPool or AppendPool) and
  // records it. The appenders of the pool that add freezes are closed first.
  template <typename Add>
  PoolObject AddPool(Add&& add);

  std::shared_ptr<DocumentState> mDocument;
  FileEntry* mFile;
};

}  // namespace kvtsim_python

#endif  // KVTSIM_PYTHON_SRC_FILE_OBJECT_H_
