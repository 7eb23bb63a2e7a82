// DocumentObject: kvtsim.Document, the Python face of a library document.

#ifndef KVTSIM_PYTHON_SRC_DOCUMENT_OBJECT_H_
#define KVTSIM_PYTHON_SRC_DOCUMENT_OBJECT_H_

#include <pybind11/pybind11.h>

#include <memory>

#include "document_state.h"

namespace kvtsim_python {

class DocumentObject {
 public:
  // signature: exactly 4 bytes, as str (Latin-1) or bytes (ValueError otherwise).
  explicit DocumentObject(pybind11::handle signature);

  // Registers the Python class (Declare), then its members (Bind), so that
  // every signature can name the classes of the module.
  static void Declare(pybind11::module_& m);
  static void Bind(pybind11::module_& m);

 private:
  std::shared_ptr<DocumentState> mState;
};

}  // namespace kvtsim_python

#endif  // KVTSIM_PYTHON_SRC_DOCUMENT_OBJECT_H_
