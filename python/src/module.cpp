// The extension module kvtsim._core: the library's documents, files, pools,
// locators and streams for Python. The package kvtsim (python/kvtsim) adds
// the error classes, NumPy arrays, inspection and Dask on top.

#include <pybind11/pybind11.h>

#include "KVTSimExc.h"
#include "KVTSimRpm_Document.h"
#include "KVTSimUttAssert.h"
#include "binding_errors.h"
#include "document_object.h"
#include "file_object.h"
#include "locator_object.h"
#include "pool_facts.h"
#include "pool_object.h"
#include "python_values.h"
#include "reader_object.h"
#include "stored_arrays.h"
#include "writer_object.h"

namespace py = pybind11;
using namespace kvtsim_python;

PYBIND11_MODULE(_core, m) {
  m.doc() = "The pool manager library's documents, files, pools, locators and streams.";
  m.attr("__version__") = KVTSIM_PYTHON_VERSION;
  // A failed check reaches Python as CheckFailedError carrying the expression,
  // file and line; the library's own line on stderr would only repeat it.
  KVTSimUttAssert::SetReportToStderr(false);

  BindingErrors::Bind(m);
  DocumentObject::Declare(m);
  FileObject::Declare(m);
  PoolObject::Declare(m);
  LocatorObject::Declare(m);
  ReaderObject::Declare(m);
  WriterObject::Declare(m);
  DocumentObject::Bind(m);
  FileObject::Bind(m);
  PoolObject::Bind(m);
  LocatorObject::Bind(m);
  ReaderObject::Bind(m);
  WriterObject::Bind(m);

  m.def(
      "_stored_width",
      [](py::object const& dtype) { return StoredWidth(py::dtype::from_args(dtype)); },
      py::arg("dtype"),
      "The bytes one stored value of dtype takes; TypeError for a type pools do not store.");
  m.def(
      "_file_type",
      [](py::object path) {
        std::string const name = FileSystemPath(path);
        return static_cast<int>(
            KVTSimRpm_Document::GetFileType(KVTString(name.data(), name.size())));
      },
      py::arg("path"), "The library's file type of path (0 not a container file, 1, 2).");
  m.def(
      "_upgrade_required",
      [](py::object path) {
        std::string const name = FileSystemPath(path);
        return KVTSimRpm_Document::BinaryUpgradeRequired(KVTString(name.data(), name.size()));
      },
      py::arg("path"), "True when the file's format version is not the current one.");
  m.def(
      "_stored_signature",
      [](py::object path) {
        std::optional<std::string> signature = PoolFacts::StoredSignature(FileSystemPath(path));
        if (!signature) {
          // Too short to hold a pool header: not a container file.
          KVTSimExcNotSimFile error;
          error.Throw(__FILE__, __LINE__);
        }
        return py::bytes(*signature);
      },
      py::arg("path"), "The user signature stored in the file's first pool header.");
}
