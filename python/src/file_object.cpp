#include "file_object.h"

#include <optional>
#include <utility>
#include <vector>

#include "KVTString.h"
#include "binding_errors.h"
#include "locator_object.h"
#include "python_values.h"
#include "writer_object.h"

namespace py = pybind11;

namespace kvtsim_python {

namespace {

constexpr std::size_t kIdentifierLength = 32;

}  // namespace

FileObject::FileObject(std::shared_ptr<DocumentState> document, FileEntry& file)
    : mDocument(std::move(document)), mFile(&file) {}

KVTSimRpm_File& FileObject::Handle() {
  mDocument->RequireOpen();
  return mFile->Handle();
}

PoolObject FileObject::At(long long index) {
  long long const count = Handle().PoolCount();
  if (index < 0)
    index += count;
  if (index < 0 || index >= count)
    throw py::index_error("pool index out of range (the file has " + std::to_string(count) +
                          " pools)");
  return PoolObject(mDocument, *mFile, static_cast<unsigned int>(index));
}

PoolObject FileObject::ByIdentifier(std::string const& identifier) {
  KVTSimRpm_File& file = Handle();
  for (unsigned int i = 0; i < file.PoolCount(); ++i) {
    if (file.Pool(i).GetGUID().View() == identifier)
      return PoolObject(mDocument, *mFile, i);
  }
  throw py::key_error(identifier);
}

PoolObject FileObject::Current() {
  KVTSimRpm_File& file = Handle();
  if (file.PoolCount() == 0)
    throw py::index_error("the file has no pools");
  return At(static_cast<long long>(file.PoolCount()) - 1);
}

template <typename Add>
PoolObject FileObject::AddPool(Add&& add) {
  KVTSimRpm_File& file = Handle();
  unsigned int const before = file.PoolCount();
  int current = -1;
  if (before > 0) {
    // The current pool is frozen (or dropped when empty): its appender goes first.
    current = file.Pool().Start().SlotInMap();
    mDocument->CloseWriters(
        [&](WriterObject const& w) { return w.IsAppender() && w.PoolSlot() == current; });
  }
  add(file);
  unsigned int const after = file.PoolCount();
  // An empty current pool is replaced rather than kept.
  mDocument->RecordPool(*mFile, after - 1, after == before ? current : -1);
  return PoolObject(mDocument, *mFile, after - 1);
}

void FileObject::Declare(py::module_& m) {
  py::class_<FileObject>(m, "File", R"doc(
A file open in a Document: a sequence of pools, the last of which (the
current pool) grows while the file is writable.

    f = doc.open("results.sim", "r")
    len(f)                  # number of pools
    f[0], f[-1]             # pools by index
    f["<32-char id>"]       # a pool by identifier
    for pool in f: ...

new_pool() starts a new current pool (freezing the previous one);
copy_pool() copies a pool of another document's file onto the end.
)doc");
}

void FileObject::Bind(py::module_& m) {
  py::reinterpret_borrow<py::class_<FileObject>>(m.attr("File"))
      .def_property_readonly(
          "path", [](FileObject const& f) { return FileSystemText(f.mFile->Path()); },
          "The file's name as it was opened (or made, for generated and temporary files).")
      .def_property_readonly(
          "read_only", [](FileObject& f) { return f.Handle().ReadOnly(); },
          "True when the file is open read-only (mode \"r\").")
      .def_property_readonly(
          "closed", [](FileObject const& f) { return f.mDocument->Closed() || f.mFile->Closed(); },
          "True once the file or its document is closed.")
      .def("__len__", [](FileObject& f) { return f.Handle().PoolCount(); })
      .def("__getitem__", &FileObject::At, py::arg("index"))
      .def(
          "__getitem__",
          [](FileObject& f, py::str const& identifier) {
            return f.ByIdentifier(FixedBytes(identifier, kIdentifierLength, "an identifier"));
          },
          py::arg("identifier"))
      .def(
          "__contains__",
          [](FileObject& f, py::str const& identifier) {
            try {
              f.ByIdentifier(FixedBytes(identifier, kIdentifierLength, "an identifier"));
              return true;
            } catch (py::key_error const&) {
              return false;
            } catch (py::value_error const&) {
              return false;
            }
          },
          py::arg("identifier"))
      .def("__iter__",
           [](FileObject& f) {
             py::list pools;
             for (unsigned int i = 0; i < f.Handle().PoolCount(); ++i)
               pools.append(PoolObject(f.mDocument, *f.mFile, i));
             return py::iter(pools);
           })
      .def_property_readonly("current", &FileObject::Current,
                             "The current pool: the last one, which grows in a writable file.")
      .def(
          "new_pool",
          [](FileObject& f, py::object identifier, py::object references) {
            std::string id;
            if (!identifier.is_none())
              id = FixedBytes(identifier, kIdentifierLength, "an identifier");
            std::optional<std::vector<KVTSimRpm_Pool>> const listed =
                PoolObject::Handles(f.mDocument.get(), references);
            return f.AddPool([&](KVTSimRpm_File& file) {
              char const* uuid = identifier.is_none() ? nullptr : id.c_str();
              if (listed)
                file.NewPool(uuid, *listed);
              else
                file.NewPool(uuid);
            });
          },
          py::arg("identifier") = py::none(), py::kw_only(), py::arg("references") = py::none(),
          "Adds a new empty pool and makes it current; returns it. Its identifier is\n"
          "the 32 characters given, or a fresh one. The previous current pool is frozen\n"
          "(an empty one is replaced instead); its appender is closed first.\n"
          "Without references the new pool's directory lists every pool the document\n"
          "knows, so its data may refer to any of them. With references, a sequence of\n"
          "pools of this document, it lists only itself and those pools: its header\n"
          "stays small however many pools the document holds, and storing a locator\n"
          "into any other pool raises CantExternalizeLocError.")
      .def(
          "copy_pool",
          [](FileObject& f, PoolObject& source) {
            KVTSimRpm_Pool& from = source.Handle();
            return f.AddPool([&](KVTSimRpm_File& file) { file.AppendPool(from); });
          },
          py::arg("source"),
          "Copies a pool of another document's file, byte for byte, onto the end of this\n"
          "file and makes the copy current; returns it. The pool keeps its identifier, so\n"
          "its identifier must not be loaded in this document (PoolAlreadyInDocError).")
      .def(
          "allocate",
          [](FileObject& f, std::uint64_t size) -> py::object {
            return py::cast(f.Current()).attr("allocate")(size);
          },
          py::arg("size"), "Allocates size bytes in the current pool (see Pool.allocate).")
      .def(
          "flush",
          [](FileObject& f) {
            KVTSimRpm_File& file = f.Handle();
            f.mDocument->FlushWriters(
                [&](WriterObject const& w) { return f.mDocument->WritesInto(w, *f.mFile); });
            file.Flush();
          },
          "Writes the current pool's header back and makes the file's data durable.")
      .def(
          "close", [](FileObject& f) { f.mDocument->CloseFile(*f.mFile); },
          "Closes the writers into the file's pools, then the file. Its pools and the\n"
          "locators into them can no longer be read.")
      .def("__enter__", [](py::object self) { return self; })
      .def("__exit__",
           [](FileObject& f, py::args) {
             if (!f.mDocument->Closed() && !f.mFile->Closed())
               f.mDocument->CloseFile(*f.mFile);
           })
      .def(
          "__eq__",
          [](FileObject const& f, FileObject const& other) { return f.mFile == other.mFile; },
          py::is_operator())
      .def("__hash__",
           [](FileObject const& f) {
             return py::hash(py::int_(reinterpret_cast<std::uintptr_t>(f.mFile)));
           })
      .def("__repr__", [](FileObject const& f) {
        char const* state = f.mDocument->Closed() || f.mFile->Closed() ? " (closed)" : "";
        return py::str("<kvtsim.File {}{}>").format(FileSystemText(f.mFile->Path()), state);
      });
}

}  // namespace kvtsim_python
