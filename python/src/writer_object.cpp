#include "writer_object.h"

#include <cstring>
#include <limits>
#include <utility>

#include "KVTString.h"
#include "binding_errors.h"
#include "bulk_transfer.h"
#include "held_buffer.h"
#include "locator_object.h"
#include "stored_arrays.h"
#include "stored_sizes.h"

namespace py = pybind11;

namespace kvtsim_python {

std::unique_ptr<WriterObject> WriterObject::Appender(std::shared_ptr<DocumentState> document,
                                                     KVTSimRpm_Pool pool, std::uint64_t chunk) {
  if (document->HasAppender(pool.Start().SlotInMap()))
    throw UsageError("an appender is open on this pool already; close it first");
  // Allocating nothing changes nothing, and raises KVTSimExcImmutablePool
  // for a pool that cannot grow, before a stream is made that would fail later.
  pool.Allocate(0);
  std::unique_ptr<WriterObject> writer(
      new WriterObject(document, pool.End(), std::numeric_limits<std::uint64_t>::max(), true));
  writer->mAppend = std::make_unique<KVTSimRpm_BStreamAppendToPool>(pool, chunk);
  document->AddWriter(*writer);
  return writer;
}

std::unique_ptr<WriterObject> WriterObject::AtLocator(std::shared_ptr<DocumentState> document,
                                                      KVTSimRpm_Locator const& start,
                                                      std::optional<std::uint64_t> limit,
                                                      std::uint64_t chunk) {
  std::uint64_t const room = StreamPlace::LimitFrom(*document, start, limit);
  std::unique_ptr<WriterObject> writer(new WriterObject(document, start, room, false));
  // A limit of 0 means "none" to the stream; the place keeps an empty
  // writer empty.
  writer->mAtLocator = std::make_unique<KVTSimRpm_BStreamWriteLocator>(start, room, chunk);
  document->AddWriter(*writer);
  return writer;
}

WriterObject::WriterObject(std::shared_ptr<DocumentState> document, KVTSimRpm_Locator const& start,
                           std::uint64_t limit, bool appender)
    : mPlace(std::move(document), start, limit), mAppender(appender) {}

WriterObject::~WriterObject() {
  if (mAppend || mAtLocator)
    mPlace.Document().RemoveWriter(*this);
}

KVTSimRpm_BStreamWrite& WriterObject::Stream() {
  mPlace.Document().RequireOpen();
  if (mAppend)
    return *mAppend;
  if (mAtLocator)
    return *mAtLocator;
  throw ClosedError("the writer is closed");
}

void WriterObject::Flush() {
  Stream();
  if (mAppend)
    mAppend->Flush();
  else
    mAtLocator->Flush();
}

void WriterObject::Close() {
  if (!mAppend && !mAtLocator)
    return;
  std::exception_ptr failure;
  try {
    if (!mPlace.Document().Closed())
      Flush();
  } catch (...) {
    failure = std::current_exception();
  }
  mPlace.Document().RemoveWriter(*this);
  mAppend.reset();
  mAtLocator.reset();
  if (failure)
    std::rethrow_exception(failure);
}

template <typename T>
void WriterObject::WriteScalar(T value) {
  KVTSimRpm_BStreamWrite& out = Stream();
  mPlace.RequireRoom(sizeof(T));
  Externalize(out, value);
  mPlace.Advance(sizeof(T));
}

void WriterObject::WriteString(py::str const& text) {
  KVTSimRpm_BStreamWrite& out = Stream();
  Py_ssize_t length = 0;
  char const* bytes = PyUnicode_AsUTF8AndSize(text.ptr(), &length);
  if (bytes == nullptr)
    throw py::error_already_set();
  std::size_t const n = static_cast<std::size_t>(length);
  if (std::memchr(bytes, '\0', n) != nullptr)
    throw py::value_error("a stored string cannot hold the character U+0000");
  mPlace.RequireRoom(StoredStringSize(n));
  out.Write(KVTString(bytes, n));
  mPlace.Advance(StoredStringSize(n));
}

void WriterObject::WriteLocator(py::object const& locator) {
  KVTSimRpm_BStreamWrite& out = Stream();
  KVTSimRpm_Locator stored;  // null unless a locator is given
  if (!locator.is_none()) {
    LocatorObject const& given = locator.cast<LocatorObject const&>();
    // Map slots mean something only in their own document.
    if (given.Document() != &mPlace.Document())
      throw UsageError("the locator belongs to another document");
    stored = given.Handle();
  }
  mPlace.RequireRoom(kStoredLocatorSize);
  // The reference is encoded against the writing pool's directory, which
  // exists only while that pool is loaded.
  mPlace.RequireStartLoaded();
  Externalize(out, stored);
  mPlace.Advance(kStoredLocatorSize);
}

void WriterObject::WriteBytes(py::handle buffer) {
  KVTSimRpm_BStreamWrite& out = Stream();
  HeldBuffer source(buffer, false);
  mPlace.RequireRoom(source.Size());
  WriteBulk(out, source.Data(), source.Size());
  mPlace.Advance(source.Size());
}

void WriterObject::WriteArray(py::array const& array) {
  KVTSimRpm_BStreamWrite& out = Stream();
  std::uint64_t const n = StoredWidth(array.dtype()) * static_cast<std::uint64_t>(array.size());
  mPlace.RequireRoom(n);
  WriteStoredArray(out, array);
  mPlace.Advance(n);
}

void WriterObject::Declare(py::module_& m) {
  py::class_<WriterObject>(m, "Writer", R"doc(
Writes stored values one after another into a pool.

Pool.appender() gives a writer that appends to the end of the pool's data
(the pool must be its file's open pool); Pool.writer() and Locator.writer()
give one that overwrites bytes allocated before (Pool.allocate), never past
its limit (by default the end of the pool's data).

    with pool.appender() as out:
        record = out.locator          # where the next value goes
        out.write_i32(len(values))
        out.write_array(values)       # a NumPy array of a stored type

Writes gather in a buffer and reach the pool at flush() or close(), when the
buffer is full, and before the pool's file or document closes. Closing the
writer (or leaving the "with" block) flushes it and shows any write error.
)doc");
}

void WriterObject::Bind(py::module_& m) {
  py::reinterpret_borrow<py::class_<WriterObject>>(m.attr("Writer"))
      .def("write_i16", &WriterObject::WriteScalar<std::int16_t>, py::arg("value"),
           "Writes a stored int16.")
      .def("write_u16", &WriterObject::WriteScalar<std::uint16_t>, py::arg("value"),
           "Writes a stored uint16.")
      .def("write_i32", &WriterObject::WriteScalar<std::int32_t>, py::arg("value"),
           "Writes a stored int32.")
      .def("write_u32", &WriterObject::WriteScalar<std::uint32_t>, py::arg("value"),
           "Writes a stored uint32.")
      .def("write_i64", &WriterObject::WriteScalar<std::int64_t>, py::arg("value"),
           "Writes a stored int64.")
      .def("write_u64", &WriterObject::WriteScalar<std::uint64_t>, py::arg("value"),
           "Writes a stored uint64.")
      .def("write_f32", &WriterObject::WriteScalar<float>, py::arg("value"),
           "Writes a stored float32.")
      .def("write_f64", &WriterObject::WriteScalar<double>, py::arg("value"),
           "Writes a stored float64.")
      .def("write_string", &WriterObject::WriteString, py::arg("text"),
           "Writes text as a stored string: its UTF-8 byte length, the bytes, zero padding\n"
           "to a multiple of 4. The text may not hold U+0000.")
      .def("write_locator", &WriterObject::WriteLocator, py::arg("locator"),
           "Writes a stored locator (a Locator of this document), or a null reference for\n"
           "None. The pool it names must be listed in the writing pool's directory\n"
           "(CantExternalizeLocError otherwise).")
      .def("write_bytes", &WriterObject::WriteBytes, py::arg("data"),
           "Writes the bytes of a contiguous buffer (bytes, bytearray, memoryview, array)\n"
           "as they are.")
      .def("write_array", &WriterObject::WriteArray, py::arg("array"),
           "Writes the values of an array (any shape, in C order; anything numpy.asarray\n"
           "takes) in their stored form, little-endian whatever the array's byte order,\n"
           "converted in one call. Pools store int16, uint16, int32, uint32, int64,\n"
           "uint64, float32 and float64; other types raise TypeError.")
      .def("flush", &WriterObject::Flush, "Writes the pending bytes to the pool.")
      .def("close", &WriterObject::Close,
           "Flushes and releases the writer; a failed flush is raised after the release.")
      .def_property_readonly(
          "position", [](WriterObject const& w) { return w.mPlace.Position(); },
          "Bytes written so far.")
      .def_property_readonly(
          "locator", [](WriterObject const& w) { return w.mPlace.HereObject(); },
          "The Locator where the next value goes.")
      .def_property_readonly("is_appender", &WriterObject::IsAppender,
                             "True for a writer that appends to the end of its pool.")
      .def_property_readonly(
          "closed", [](WriterObject const& w) { return !w.mAppend && !w.mAtLocator; },
          "True after close().")
      .def("__enter__", [](py::object self) { return self; })
      .def("__exit__", [](WriterObject& w, py::args) { w.Close(); });
}

}  // namespace kvtsim_python
