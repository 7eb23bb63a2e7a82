#include "reader_object.h"

#include <cstdint>
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

std::unique_ptr<ReaderObject> ReaderObject::Open(std::shared_ptr<DocumentState> document,
                                                 KVTSimRpm_Locator const& start,
                                                 std::optional<std::uint64_t> limit,
                                                 std::uint64_t chunk) {
  std::uint64_t const room = StreamPlace::LimitFrom(*document, start, limit);
  return std::unique_ptr<ReaderObject>(new ReaderObject(std::move(document), start, room, chunk));
}

ReaderObject::ReaderObject(std::shared_ptr<DocumentState> document, KVTSimRpm_Locator const& start,
                           std::uint64_t limit, std::uint64_t chunk)
    : mPlace(std::move(document), start, limit),
      mChunk(chunk),
      // A limit of 0 means "none" to the stream; the place keeps an empty
      // reader empty.
      mStream(std::make_unique<KVTSimRpm_BStreamReadLocator>(start, limit, chunk)) {}

KVTSimRpm_BStreamReadLocator& ReaderObject::Stream() {
  mPlace.Document().RequireOpen();
  if (!mStream)
    throw ClosedError("the reader is closed");
  return *mStream;
}

template <typename T>
T ReaderObject::ReadScalar() {
  KVTSimRpm_BStreamReadLocator& in = Stream();
  mPlace.RequireRoom(sizeof(T));
  T value;
  Internalize(in, value);
  mPlace.Advance(sizeof(T));
  return value;
}

py::str ReaderObject::ReadString() {
  KVTSimRpm_BStreamReadLocator& in = Stream();
  mPlace.RequireRoom(kStoredLengthSize);
  KVTString text;
  in.Read(text);
  mPlace.Advance(StoredStringSize(text.GetLengthInByte()));
  PyObject* decoded =
      PyUnicode_DecodeUTF8(text.CStr(), static_cast<Py_ssize_t>(text.GetLengthInByte()), "strict");
  if (decoded == nullptr)
    throw py::error_already_set();
  return py::reinterpret_steal<py::str>(decoded);
}

py::object ReaderObject::ReadLocator() {
  KVTSimRpm_BStreamReadLocator& in = Stream();
  mPlace.RequireRoom(kStoredLocatorSize);
  // A stored locator is decoded against the start pool's directory, which
  // exists only while that pool is loaded.
  mPlace.RequireStartLoaded();
  KVTSimRpm_Locator locator;
  Internalize(in, locator);
  mPlace.Advance(kStoredLocatorSize);
  if (locator.Null())
    return py::none();
  return py::cast(mPlace.LocatorOf(locator));
}

py::bytes ReaderObject::ReadBytes(std::uint64_t n) {
  KVTSimRpm_BStreamReadLocator& in = Stream();
  mPlace.RequireRoom(n);
  PyObject* bytes = PyBytes_FromStringAndSize(nullptr, static_cast<Py_ssize_t>(n));
  if (bytes == nullptr)
    throw py::error_already_set();
  py::bytes result = py::reinterpret_steal<py::bytes>(bytes);
  ReadBulk(in, mPlace.Here(), mChunk, PyBytes_AS_STRING(bytes), n);
  mPlace.Advance(n);
  return result;
}

std::uint64_t ReaderObject::ReadInto(py::handle buffer) {
  KVTSimRpm_BStreamReadLocator& in = Stream();
  HeldBuffer target(buffer, true);
  mPlace.RequireRoom(target.Size());
  ReadBulk(in, mPlace.Here(), mChunk, target.Data(), target.Size());
  mPlace.Advance(target.Size());
  return target.Size();
}

py::object ReaderObject::ReadArray(py::object const& dtype, std::uint64_t count) {
  KVTSimRpm_BStreamReadLocator& in = Stream();
  py::dtype const wanted = py::dtype::from_args(dtype);
  std::uint64_t const width = StoredWidth(wanted);
  // Saturates rather than wraps: no pool holds that much.
  std::uint64_t const n = count > UINT64_MAX / width ? UINT64_MAX : count * width;
  mPlace.RequireRoom(n);
  // As for bytes, a pool cut short must fail before anything is read, so
  // that the position stays where it was.
  if (n > mChunk)
    RequirePresent(mPlace.Here(), n);
  py::array values = ReadStoredArray(
      in, wanted, static_cast<std::size_t>(count),
      [&](char* dst, std::uint64_t size) { ReadBulk(in, mPlace.Here(), mChunk, dst, size); });
  mPlace.Advance(n);
  return std::move(values);
}

void ReaderObject::Declare(py::module_& m) {
  py::class_<ReaderObject>(m, "Reader", R"doc(
Reads stored values one after another from a position in a pool.

Get one from Pool.reader() or Locator.reader(). Values are read in the
order they were written; each read_* call advances the position. A reader
stops at its limit (by default the end of its pool's data): a read past it
raises ShortBufferError and leaves the position unchanged.

    with pool.reader() as r:
        count = r.read_i32()
        temperatures = r.read_array("f8", count)

Use it with "with", or call close(), to release its buffer at once.
)doc");
}

void ReaderObject::Bind(py::module_& m) {
  py::reinterpret_borrow<py::class_<ReaderObject>>(m.attr("Reader"))
      .def("read_i16", &ReaderObject::ReadScalar<std::int16_t>, "Reads a stored int16.")
      .def("read_u16", &ReaderObject::ReadScalar<std::uint16_t>, "Reads a stored uint16.")
      .def("read_i32", &ReaderObject::ReadScalar<std::int32_t>, "Reads a stored int32.")
      .def("read_u32", &ReaderObject::ReadScalar<std::uint32_t>, "Reads a stored uint32.")
      .def("read_i64", &ReaderObject::ReadScalar<std::int64_t>, "Reads a stored int64.")
      .def("read_u64", &ReaderObject::ReadScalar<std::uint64_t>, "Reads a stored uint64.")
      .def("read_f32", &ReaderObject::ReadScalar<float>, "Reads a stored float32.")
      .def("read_f64", &ReaderObject::ReadScalar<double>, "Reads a stored float64.")
      .def("read_string", &ReaderObject::ReadString,
           "Reads a stored string (its byte length, the UTF-8 bytes, zero padding to a "
           "multiple of 4).")
      .def("read_locator", &ReaderObject::ReadLocator,
           "Reads a stored locator: a Locator, or None for a stored null reference.")
      .def("read_bytes", &ReaderObject::ReadBytes, py::arg("size"),
           "Reads the next size bytes as they are stored.")
      .def("readinto", &ReaderObject::ReadInto, py::arg("buffer"),
           "Fills a writable, contiguous buffer (bytearray, memoryview, NumPy array) with\n"
           "the next len(buffer) bytes as they are stored; returns that count.")
      .def("read_array", &ReaderObject::ReadArray, py::arg("dtype"), py::arg("count"),
           "Reads count stored values of dtype (\"f8\", numpy.int32, or \">f8\" for a\n"
           "big-endian result) into a new one-dimensional NumPy array, converted in one\n"
           "call. Pools store int16, uint16, int32, uint32, int64, uint64, float32 and\n"
           "float64; other types raise TypeError.")
      .def_property_readonly(
          "position", [](ReaderObject const& r) { return r.mPlace.Position(); },
          "Bytes read so far.")
      .def_property_readonly(
          "limit", [](ReaderObject const& r) { return r.mPlace.Limit(); },
          "The most bytes this reader delivers.")
      .def_property_readonly(
          "remaining", [](ReaderObject const& r) { return r.mPlace.Remaining(); },
          "Bytes left before the limit.")
      .def_property_readonly(
          "locator", [](ReaderObject const& r) { return r.mPlace.HereObject(); },
          "The Locator of the next byte to read.")
      .def_property_readonly(
          "closed",
          [](ReaderObject const& r) { return !r.mStream || r.mPlace.Document().Closed(); },
          "True after close() or once the document is closed.")
      .def("close", &ReaderObject::Close, "Releases the reader's buffer; later reads raise.")
      .def("__enter__", [](py::object self) { return self; })
      .def("__exit__", [](ReaderObject& r, py::args) { r.Close(); });
}

}  // namespace kvtsim_python
