#include "pool_object.h"

#include <utility>

#include "KVTString.h"
#include "binding_errors.h"
#include "file_object.h"
#include "locator_object.h"
#include "pool_facts.h"
#include "python_values.h"
#include "reader_object.h"
#include "writer_object.h"

namespace py = pybind11;

namespace kvtsim_python {

PoolObject::PoolObject(std::shared_ptr<DocumentState> document, FileEntry& file, unsigned int index)
    : mDocument(std::move(document)),
      mFile(&file),
      mIndex(index),
      mHandle(file.Handle().Pool(index)),
      mSlot(mHandle.Start().SlotInMap()) {}

KVTSimRpm_Pool& PoolObject::Handle() {
  mDocument->RequireOpen();
  mFile->Handle();
  if (mHandle.Impl().Peek() == nullptr) {
    throw ClosedError("pool " + std::to_string(mIndex) + " of '" + mFile->Path() +
                      "' no longer exists: it was empty, and File.new_pool() or "
                      "File.copy_pool() replaced it");
  }
  return mHandle;
}

std::optional<std::vector<KVTSimRpm_Pool>> PoolObject::Handles(DocumentState const* document,
                                                               py::handle references) {
  if (references.is_none())
    return std::nullopt;
  std::vector<KVTSimRpm_Pool> handles;
  for (py::handle item : py::iter(references)) {
    if (!py::isinstance<PoolObject>(item))
      throw py::type_error("references must be Pool objects");
    PoolObject& pool = item.cast<PoolObject&>();
    if (pool.Document() != document)
      throw py::value_error("a referenced pool belongs to another document");
    handles.push_back(pool.Handle());
  }
  return handles;
}

py::object PoolObject::Info() {
  PoolFacts const facts = PoolFacts::Of(Handle());
  return py::module_::import("kvtsim._info")
      .attr("PoolInfo")(mIndex, facts.location, facts.length, facts.dataLength,
                        facts.bytesInFile < facts.length, facts.bytesInFile,
                        facts.storedOpen ? "open" : "frozen", facts.entries.size(),
                        Latin1Text(facts.identifier.data(), facts.identifier.size()));
}

py::list PoolObject::Directory() {
  py::object entryType = py::module_::import("kvtsim._info").attr("DirectoryEntry");
  py::list entries;
  for (PoolFacts::Entry const& entry : PoolFacts::Of(Handle()).entries) {
    py::object pool = py::none();
    if (entry.fileName) {
      for (FileEntry* file : mDocument->OpenFiles()) {
        if (std::string(file->Handle().FileName().View()) == *entry.fileName)
          pool = py::cast(PoolObject(mDocument, *file, entry.poolIndex));
      }
    }
    entries.append(entryType(Latin1Text(entry.identifier.data(), entry.identifier.size()), pool));
  }
  return entries;
}

void PoolObject::Declare(py::module_& m) {
  py::class_<PoolObject>(m, "Pool", R"doc(
One pool of a file: a directory of the pools it may refer to, and a data
area that grows at its end while the pool is its file's open pool.

Get pools by indexing a File (file[0], file[-1], file[identifier]) or by
iterating over it. Read with reader(), append with appender(), write
allocated bytes with writer() or through locators:

    with pool.appender() as out:
        out.write_string("step 1")
        out.write_array(temperatures)
    with pool.reader() as r:
        label = r.read_string()
)doc");
}

void PoolObject::Bind(py::module_& m) {
  py::reinterpret_borrow<py::class_<PoolObject>>(m.attr("Pool"))
      .def_property_readonly(
          "identifier",
          [](PoolObject& p) {
            KVTString const id = p.Handle().GetGUID();
            return Latin1Text(id.CStr(), id.GetLengthInByte());
          },
          "The pool's 32-character identifier.")
      .def_property_readonly(
          "data_length", [](PoolObject& p) { return p.Handle().Length(); },
          "Bytes in the pool's data area.")
      .def_property_readonly(
          "index", [](PoolObject const& p) { return p.mIndex; },
          "The pool's place in its file, 0 being the first.")
      .def_property_readonly(
          "file", [](PoolObject& p) { return FileObject(p.mDocument, *p.mFile); },
          "The File that holds the pool.")
      .def_property_readonly(
          "read_only", [](PoolObject& p) { return p.Handle().ReadOnly(); },
          "True when the pool's file is open read-only.")
      .def_property_readonly(
          "start", [](PoolObject& p) { return LocatorObject(p.mDocument, p.Handle().Start()); },
          "The Locator of the first data byte.")
      .def_property_readonly(
          "end", [](PoolObject& p) { return LocatorObject(p.mDocument, p.Handle().End()); },
          "The Locator just past the last data byte.")
      .def_property_readonly(
          "info", &PoolObject::Info,
          "A kvtsim.PoolInfo: the pool's place and length in its file, its state "
          "as stored, its directory size, as `kvtsim-pool ls` shows them.")
      .def_property_readonly(
          "directory", &PoolObject::Directory,
          "The pool's directory: a list of kvtsim.DirectoryEntry (identifier, pool), entry 0\n"
          "naming the pool itself; pool is the loaded Pool, or None when that pool is not\n"
          "loaded in this document. Stored locators can name only these pools.")
      .def(
          "allocate",
          [](PoolObject& p, std::uint64_t size) {
            KVTSimRpm_Pool& pool = p.Handle();
            if (p.mDocument->HasAppender(p.mSlot))
              throw UsageError("an appender is open on this pool; close it before allocating");
            return LocatorObject(p.mDocument, pool.Allocate(size));
          },
          py::arg("size"),
          "Grows the pool's data by size bytes (written later, through a Locator or\n"
          "writer()) and returns the Locator of the first. Only the open pool of a\n"
          "writable file grows (ImmutablePoolError otherwise).")
      .def(
          "reader",
          [](PoolObject& p, std::uint64_t offset, py::object limit, std::uint64_t chunk) {
            return ReaderObject::Open(p.mDocument, p.Handle().Start() + offset, OptionalSize(limit),
                                      chunk);
          },
          py::arg("offset") = 0, py::arg("limit") = py::none(),
          py::arg("chunk") = ReaderObject::kPoolChunk,
          "A Reader from data offset offset, reading at most limit bytes (default: to the\n"
          "end of the data), chunk bytes at a time from the file.")
      .def(
          "writer",
          [](PoolObject& p, std::uint64_t offset, py::object limit, std::uint64_t chunk) {
            return WriterObject::AtLocator(p.mDocument, p.Handle().Start() + offset,
                                           OptionalSize(limit), chunk);
          },
          py::arg("offset") = 0, py::arg("limit") = py::none(),
          py::arg("chunk") = WriterObject::kLocatorChunk,
          "A Writer over allocated bytes from data offset offset, writing at most limit\n"
          "bytes (default: to the end of the data).")
      .def(
          "appender",
          [](PoolObject& p, std::uint64_t chunk) {
            return WriterObject::Appender(p.mDocument, p.Handle(), chunk);
          },
          py::arg("chunk") = WriterObject::kAppendChunk,
          "A Writer that appends to the end of the pool's data, gathering chunk bytes\n"
          "before each append. One appender per pool at a time.")
      .def(
          "read",
          [](PoolObject& p, py::object size, std::uint64_t offset) {
            LocatorObject at(p.mDocument, p.Handle().Start() + offset);
            std::optional<std::uint64_t> n = OptionalSize(size);
            return at.Read(n ? *n : p.Handle().Length());
          },
          py::arg("size") = py::none(), py::arg("offset") = 0,
          "Reads up to size bytes of data (default: all) from data offset offset,\n"
          "stopping at the end of the data.")
      .def(
          "__eq__",
          [](PoolObject const& p, PoolObject const& other) {
            return p.mDocument == other.mDocument && p.mSlot == other.mSlot;
          },
          py::is_operator())
      .def("__hash__",
           [](PoolObject const& p) {
             return py::hash(
                 py::make_tuple(reinterpret_cast<std::uintptr_t>(p.mDocument.get()), p.mSlot));
           })
      .def("__repr__", [](PoolObject& p) {
        py::str const path = FileSystemText(p.mFile->Path());
        if (p.mDocument->Closed() || p.mFile->Closed() || p.mHandle.Impl().Peek() == nullptr)
          return py::str("<kvtsim.Pool {} of {} (closed)>").format(p.mIndex, path);
        KVTString const id = p.mHandle.GetGUID();
        return py::str("<kvtsim.Pool {} of {}: {}, {} data bytes>")
            .format(p.mIndex, path, Latin1Text(id.CStr(), id.GetLengthInByte()),
                    p.mHandle.Length());
      });
}

}  // namespace kvtsim_python
