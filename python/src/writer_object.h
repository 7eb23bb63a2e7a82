// WriterObject: kvtsim.Writer, writing stored values one after another,
// either appended to the end of a pool (an appender, over the library's
// append-to-pool stream) or over bytes already allocated in a pool from a
// locator (over the library's locator write stream, never past its limit).
//
// Writes gather in the stream's buffer and reach the pool at flush(),
// close(), when the buffer is full, and before the writer's file or
// document closes or its pool is frozen by File.new_pool or File.copy_pool:
// the document closes its writers first. One appender per pool may be open
// at a time, and no other allocation may happen in that pool meanwhile (it
// would break the appender): the binding refuses both with UsageError.

#ifndef KVTSIM_PYTHON_SRC_WRITER_OBJECT_H_
#define KVTSIM_PYTHON_SRC_WRITER_OBJECT_H_

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstdint>
#include <memory>
#include <optional>

#include "KVTSimRpm_BStreamAppendToPool.h"
#include "KVTSimRpm_BStreamWriteLocator.h"
#include "KVTSimRpm_Locator.h"
#include "KVTSimRpm_Pool.h"
#include "document_state.h"
#include "stream_place.h"

namespace kvtsim_python {

class WriterObject {
 public:
  static constexpr std::uint64_t kAppendChunk = 65536;
  static constexpr std::uint64_t kLocatorChunk = 4096;

  // An appender at the end of pool. Raises KVTSimExcImmutablePool when the
  // pool cannot grow (frozen, or in a read-only file), UsageError when an
  // appender is open on it already.
  static std::unique_ptr<WriterObject> Appender(std::shared_ptr<DocumentState> document,
                                                KVTSimRpm_Pool pool, std::uint64_t chunk);

  // A writer over allocated bytes from start; limit defaults to the rest of
  // the pool's data and may not pass it (ValueError). Raises
  // KVTSimExcCantDerefLocator when the pool is not loaded.
  static std::unique_ptr<WriterObject> AtLocator(std::shared_ptr<DocumentState> document,
                                                 KVTSimRpm_Locator const& start,
                                                 std::optional<std::uint64_t> limit,
                                                 std::uint64_t chunk);

  WriterObject(WriterObject const&) = delete;
  WriterObject& operator=(WriterObject const&) = delete;

  // Releases the stream, which writes what is pending and drops any error
  // then: call Close() to see errors.
  ~WriterObject();

  // Writes the pending bytes to the pool.
  void Flush();

  // Flushes, then releases the stream even when the flush failed (raising
  // its error). Closing a closed writer does nothing.
  void Close();

  bool IsAppender() const noexcept { return mAppender; }
  int PoolSlot() const noexcept { return mPlace.Start().SlotInMap(); }

  // Registers the Python class (Declare), then its members (Bind), so that
  // every signature can name the classes of the module.
  static void Declare(pybind11::module_& m);
  static void Bind(pybind11::module_& m);

 private:
  WriterObject(std::shared_ptr<DocumentState> document, KVTSimRpm_Locator const& start,
               std::uint64_t limit, bool appender);

  KVTSimRpm_BStreamWrite& Stream();

  template <typename T>
  void WriteScalar(T value);
  void WriteString(pybind11::str const& text);
  void WriteLocator(pybind11::object const& locator);
  void WriteBytes(pybind11::handle buffer);
  void WriteArray(pybind11::array const& array);

  StreamPlace mPlace;
  bool mAppender;
  std::unique_ptr<KVTSimRpm_BStreamAppendToPool> mAppend;
  std::unique_ptr<KVTSimRpm_BStreamWriteLocator> mAtLocator;
};

}  // namespace kvtsim_python

#endif  // KVTSIM_PYTHON_SRC_WRITER_OBJECT_H_
