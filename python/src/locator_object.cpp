#include "locator_object.h"

#include <utility>

#include "KVTString.h"
#include "held_buffer.h"
#include "pool_object.h"
#include "python_values.h"
#include "reader_object.h"
#include "writer_object.h"

namespace py = pybind11;

namespace kvtsim_python {

namespace {

[[noreturn]] void RaiseOffsetRange() {
  throw py::value_error("a locator's offset lies in 0 .. 2**64 - 1");
}

}  // namespace

LocatorObject::LocatorObject(std::shared_ptr<DocumentState> document,
                             KVTSimRpm_Locator const& locator)
    : mDocument(std::move(document)), mHandle(locator) {}

bool LocatorObject::SamePool(LocatorObject const& other) const noexcept {
  return mDocument == other.mDocument && mHandle.SlotInMap() == other.mHandle.SlotInMap();
}

LocatorObject LocatorObject::Moved(py::int_ const& delta) const {
  int overflow = 0;
  long long const step = PyLong_AsLongLongAndOverflow(delta.ptr(), &overflow);
  if (step == -1 && PyErr_Occurred())
    throw py::error_already_set();
  bool const negative = overflow < 0 || (overflow == 0 && step < 0);
  std::uint64_t magnitude = 0;
  if (overflow == 0) {
    magnitude = negative ? 0 - static_cast<std::uint64_t>(step) : static_cast<std::uint64_t>(step);
  } else {
    // Beyond a long long: still within reach when it fits 64 bits unsigned.
    py::object size = negative ? py::reinterpret_steal<py::object>(PyNumber_Negative(delta.ptr()))
                               : py::reinterpret_borrow<py::object>(delta);
    magnitude = PyLong_AsUnsignedLongLong(size.ptr());
    if (PyErr_Occurred()) {
      PyErr_Clear();
      RaiseOffsetRange();
    }
  }
  std::uint64_t const offset = mHandle.Offset();
  if (negative ? magnitude > offset : magnitude > UINT64_MAX - offset)
    RaiseOffsetRange();
  // Locator arithmetic is modulo 2^64: adding the two's complement subtracts.
  return LocatorObject(mDocument, mHandle + (negative ? 0 - magnitude : magnitude));
}

py::bytes LocatorObject::Read(std::uint64_t size) const {
  mDocument->RequireOpen();
  std::uint64_t const n = std::min(size, mDocument->BytesLeft(mHandle));
  std::string bytes(n, '\0');
  std::uint64_t const got = mHandle.Read(n, bytes.data());
  return py::bytes(bytes.data(), got);
}

void LocatorObject::Write(py::buffer const& data) const {
  mDocument->RequireOpen();
  HeldBuffer source(data, false);
  mHandle.Write(source.Size(), source.Data());
}

void LocatorObject::Declare(py::module_& m) {
  py::class_<LocatorObject>(m, "Locator", R"doc(
A position in a pool: the pool and a data offset (bytes from the start of
the pool's data).

Locators come from Pool.start, Pool.end, Pool.allocate(), a writer's or
reader's .locator, and Reader.read_locator(), which follows a reference
stored in a pool, also into another file of the same document. They are
values: hashable, equal when they name the same pool and offset, ordered
within one pool, and moved with + and -:

    loc = pool.allocate(16)
    loc.write(b"0123456789abcdef")
    (loc + 8).read(8)             # b"89abcdef"
    (loc + 8) - loc               # 8

Reading and writing at a locator needs its pool to be loaded in the
document (CantDerefLocatorError otherwise).
)doc");
}

void LocatorObject::Bind(py::module_& m) {
  py::reinterpret_borrow<py::class_<LocatorObject>>(m.attr("Locator"))
      .def_property_readonly(
          "offset", [](LocatorObject const& l) { return l.mHandle.Offset(); },
          "The data offset in the pool.")
      .def_property_readonly(
          "identifier",
          [](LocatorObject const& l) {
            l.mDocument->RequireOpen();
            KVTString const id = l.mHandle.GetGUID();
            return Latin1Text(id.CStr(), id.GetLengthInByte());
          },
          "The 32-character identifier of the locator's pool (also when it is not loaded).")
      .def_property_readonly(
          "pool",
          [](LocatorObject const& l) -> py::object {
            l.mDocument->RequireOpen();
            std::optional<DocumentState::PoolPlace> place =
                l.mDocument->FindPool(l.mHandle.SlotInMap());
            if (!place)
              return py::none();
            return py::cast(PoolObject(l.mDocument, *place->file, place->index));
          },
          "The Pool the locator points into, or None when that pool is not loaded in the\n"
          "document (open its file to follow the locator).")
      .def("read", &LocatorObject::Read, py::arg("size"),
           "Reads up to size bytes here, stopping at the end of the pool's data.")
      .def("write", &LocatorObject::Write, py::arg("data"),
           "Writes the bytes of data here; they must lie in the pool's data (allocated\n"
           "before), IOBoundsError otherwise.")
      .def(
          "reader",
          [](LocatorObject const& l, py::object limit, std::uint64_t chunk) {
            return ReaderObject::Open(l.mDocument, l.mHandle, OptionalSize(limit), chunk);
          },
          py::arg("limit") = py::none(), py::arg("chunk") = ReaderObject::kLocatorChunk,
          "A Reader from here, reading at most limit bytes (default: to the end of the\n"
          "pool's data), chunk bytes at a time from the file.")
      .def(
          "writer",
          [](LocatorObject const& l, py::object limit, std::uint64_t chunk) {
            l.mDocument->RequireOpen();
            return WriterObject::AtLocator(l.mDocument, l.mHandle, OptionalSize(limit), chunk);
          },
          py::arg("limit") = py::none(), py::arg("chunk") = WriterObject::kLocatorChunk,
          "A Writer over the allocated bytes from here, writing at most limit bytes\n"
          "(default: to the end of the pool's data).")
      .def("__add__", &LocatorObject::Moved, py::is_operator())
      .def("__radd__", &LocatorObject::Moved, py::is_operator())
      .def(
          "__sub__",
          [](LocatorObject const& l, py::int_ const& delta) {
            return l.Moved(py::reinterpret_steal<py::int_>(PyNumber_Negative(delta.ptr())));
          },
          py::is_operator())
      .def(
          "__sub__",
          [](LocatorObject const& l, LocatorObject const& other) {
            if (!l.SamePool(other))
              throw py::value_error("locators in different pools have no distance");
            return py::int_(l.mHandle.Offset()) - py::int_(other.mHandle.Offset());
          },
          py::is_operator())
      .def(
          "__eq__",
          [](LocatorObject const& l, LocatorObject const& other) {
            return l.SamePool(other) && l.mHandle.Offset() == other.mHandle.Offset();
          },
          py::is_operator())
      .def(
          "__ne__",
          [](LocatorObject const& l, LocatorObject const& other) {
            return !(l.SamePool(other) && l.mHandle.Offset() == other.mHandle.Offset());
          },
          py::is_operator())
      .def(
          "__lt__",
          [](LocatorObject const& l, LocatorObject const& o) {
            if (!l.SamePool(o))
              throw py::type_error("locators in different pools are not ordered");
            return l.mHandle.Offset() < o.mHandle.Offset();
          },
          py::is_operator())
      .def(
          "__le__",
          [](LocatorObject const& l, LocatorObject const& o) {
            if (!l.SamePool(o))
              throw py::type_error("locators in different pools are not ordered");
            return l.mHandle.Offset() <= o.mHandle.Offset();
          },
          py::is_operator())
      .def(
          "__gt__",
          [](LocatorObject const& l, LocatorObject const& o) {
            if (!l.SamePool(o))
              throw py::type_error("locators in different pools are not ordered");
            return l.mHandle.Offset() > o.mHandle.Offset();
          },
          py::is_operator())
      .def(
          "__ge__",
          [](LocatorObject const& l, LocatorObject const& o) {
            if (!l.SamePool(o))
              throw py::type_error("locators in different pools are not ordered");
            return l.mHandle.Offset() >= o.mHandle.Offset();
          },
          py::is_operator())
      .def("__hash__",
           [](LocatorObject const& l) {
             return py::hash(py::make_tuple(reinterpret_cast<std::uintptr_t>(l.mDocument.get()),
                                            l.mHandle.SlotInMap(), l.mHandle.Offset()));
           })
      .def("__repr__", [](LocatorObject const& l) {
        if (l.mDocument->Closed())
          return py::str("<kvtsim.Locator offset={} (closed)>").format(l.mHandle.Offset());
        KVTString const id = l.mHandle.GetGUID();
        return py::str("<kvtsim.Locator {} offset={}>")
            .format(Latin1Text(id.CStr(), id.GetLengthInByte()), l.mHandle.Offset());
      });
}

}  // namespace kvtsim_python
