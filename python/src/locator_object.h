// LocatorObject: kvtsim.Locator, a position in a pool of a Python document.
//
// A value: the pool's map slot and a data offset, compared, hashed and moved
// without touching the document, also after it closed. Reaching the pool
// (identifier, bytes, streams) requires the document to be open; a locator
// whose pool is not loaded raises kvtsim.CantDerefLocatorError there.

#ifndef KVTSIM_PYTHON_SRC_LOCATOR_OBJECT_H_
#define KVTSIM_PYTHON_SRC_LOCATOR_OBJECT_H_

#include <pybind11/pybind11.h>

#include <cstdint>
#include <memory>
#include <optional>

#include "KVTSimRpm_Locator.h"
#include "document_state.h"

namespace kvtsim_python {

class LocatorObject {
 public:
  // REQUIRES: locator is not null and belongs to document.
  LocatorObject(std::shared_ptr<DocumentState> document, KVTSimRpm_Locator const& locator);

  KVTSimRpm_Locator const& Handle() const noexcept { return mHandle; }
  DocumentState const* Document() const noexcept { return mDocument.get(); }

  // True when both name the same pool of the same document.
  bool SamePool(LocatorObject const& other) const noexcept;

  // Up to size bytes here, stopping at the end of the pool's data.
  pybind11::bytes Read(std::uint64_t size) const;

  // Registers the Python class (Declare), then its members (Bind), so that
  // every signature can name the classes of the module.
  static void Declare(pybind11::module_& m);
  static void Bind(pybind11::module_& m);

 private:
  LocatorObject Moved(pybind11::int_ const& delta) const;
  void Write(pybind11::buffer const& data) const;

  std::shared_ptr<DocumentState> mDocument;
  KVTSimRpm_Locator mHandle;
};

}  // namespace kvtsim_python

#endif  // KVTSIM_PYTHON_SRC_LOCATOR_OBJECT_H_
