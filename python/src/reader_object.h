// ReaderObject: kvtsim.Reader, reading stored values in order from a
// position in a pool, through the library's locator read stream.
//
// A reader never reads past its limit, which is at most the end of its
// pool's data: a request past it raises kvtsim.ShortBufferError (end of the
// request, limit), as the stream itself does. A failed request leaves the
// position where it was. The reader holds the stream (and its buffer) until
// it is closed or collected.

#ifndef KVTSIM_PYTHON_SRC_READER_OBJECT_H_
#define KVTSIM_PYTHON_SRC_READER_OBJECT_H_

#include <pybind11/pybind11.h>

#include <cstdint>
#include <memory>
#include <optional>

#include "KVTSimRpm_BStreamReadLocator.h"
#include "KVTSimRpm_Locator.h"
#include "document_state.h"
#include "stream_place.h"

namespace kvtsim_python {

class ReaderObject {
 public:
  // Default read-ahead sizes: a whole pool is read in large pieces; a record
  // reached through a locator is usually small.
  static constexpr std::uint64_t kPoolChunk = 65536;
  static constexpr std::uint64_t kLocatorChunk = 4096;

  // A reader from start. limit defaults to the rest of the pool's data and
  // may not pass it (ValueError). Raises KVTSimExcCantDerefLocator when the
  // pool is not loaded.
  static std::unique_ptr<ReaderObject> Open(std::shared_ptr<DocumentState> document,
                                            KVTSimRpm_Locator const& start,
                                            std::optional<std::uint64_t> limit,
                                            std::uint64_t chunk);

  ReaderObject(ReaderObject const&) = delete;
  ReaderObject& operator=(ReaderObject const&) = delete;

  // Registers the Python class (Declare), then its members (Bind), so that
  // every signature can name the classes of the module.
  static void Declare(pybind11::module_& m);
  static void Bind(pybind11::module_& m);

 private:
  ReaderObject(std::shared_ptr<DocumentState> document, KVTSimRpm_Locator const& start,
               std::uint64_t limit, std::uint64_t chunk);

  // The stream; ClosedError when the reader or its document is closed.
  KVTSimRpm_BStreamReadLocator& Stream();

  template <typename T>
  T ReadScalar();
  pybind11::str ReadString();
  pybind11::object ReadLocator();
  pybind11::bytes ReadBytes(std::uint64_t n);
  std::uint64_t ReadInto(pybind11::handle buffer);
  pybind11::object ReadArray(pybind11::object const& dtype, std::uint64_t count);
  void Close() noexcept { mStream.reset(); }

  StreamPlace mPlace;
  std::uint64_t mChunk;
  std::unique_ptr<KVTSimRpm_BStreamReadLocator> mStream;
};

}  // namespace kvtsim_python

#endif  // KVTSIM_PYTHON_SRC_READER_OBJECT_H_
