#include "document_object.h"

#include <string>

#include "KVTSimRpm_SalvageReport.h"
#include "file_object.h"
#include "pool_object.h"
#include "python_values.h"

namespace py = pybind11;

namespace kvtsim_python {

namespace {

constexpr std::size_t kSignatureLength = 4;

KVTSimRpm_Document::AccessMode ModeOf(std::string const& mode) {
  if (mode == "r")
    return KVTSimRpm_Document::AccessRead;
  if (mode == "r+")
    return KVTSimRpm_Document::AccessUpdate;
  if (mode == "w")
    return KVTSimRpm_Document::AccessWrite;
  throw py::value_error("mode must be \"r\", \"r+\" or \"w\", not \"" + mode + "\"");
}

// The kvtsim.SalvageReport of report.
py::object ReportObject(KVTSimRpm_SalvageReport const& report) {
  py::object reason = report.LeftOut() ? py::object(py::str(report.Reason())) : py::none();
  return py::module_::import("kvtsim._info")
      .attr("_salvage_report")(report.FileSize(), report.PoolsKept(), report.KeptBytes(),
                               report.PoolsClosedUp(), reason, py::bytes(report.ReasonText()));
}

}  // namespace

DocumentObject::DocumentObject(py::handle signature)
    : mState(std::make_shared<DocumentState>(
          FixedBytes(signature, kSignatureLength, "a user signature"))) {}

void DocumentObject::Declare(py::module_& m) {
  py::class_<DocumentObject>(m, "Document", R"doc(
Document(signature)

A set of container files open together, whose pools find each other by
identifier: a locator stored in one file can be followed into another file
of the same document. signature is the 4-byte user signature (str or bytes)
that every pool of the document carries; files of another signature do not
open (UserSigMismatchError).

Use it as a context manager; it closes its files on leaving the block, also
on an error:

    import kvtsim
    with kvtsim.Document("DEMO") as doc:
        mesh = doc.open("mesh.sim", "w")          # a new file with one pool
        with mesh.current.appender() as out:
            out.write_i32(3)
            out.write_array(numpy.array([0.0, 0.5, 1.0]))

    with kvtsim.Document("DEMO") as doc:
        mesh = doc.open("mesh.sim")               # read-only
        with mesh[0].reader() as r:
            count = r.read_i32()
            x = r.read_array("f8", count)

Closing writes every file's last pool header and makes the files durable.
Files, pools, locators and streams of a closed document raise ClosedError.
A document that is dropped without close() is closed when it is collected.
)doc");
}

void DocumentObject::Bind(py::module_& m) {
  py::reinterpret_borrow<py::class_<DocumentObject>>(m.attr("Document"))
      .def(py::init<py::handle>(), py::arg("signature"))
      .def(
          "open",
          [](DocumentObject& d, py::object path, std::string const& mode, py::object references) {
            KVTSimRpm_Document::AccessMode const access = ModeOf(mode);
            if (!references.is_none() && access != KVTSimRpm_Document::AccessWrite)
              throw py::value_error("references are given only with mode \"w\"");
            auto const listed = PoolObject::Handles(d.mState.get(), references);
            FileEntry& file = d.mState->Open(FileSystemPath(path), access, listed);
            return FileObject(d.mState, file);
          },
          py::arg("path"), py::arg("mode") = "r", py::kw_only(), py::arg("references") = py::none(),
          "Opens a file: \"r\" read-only, \"r+\" for update (new pools and data may be added\n"
          "at its end), \"w\" new (an existing file is emptied) with one empty pool.\n"
          "Opening a file the document holds already gives that file back as it was\n"
          "opened (\"r\", \"r+\"); \"w\" on it raises CantCreateFileError. Damaged or\n"
          "foreign files raise the error that says what is wrong (CorruptHeaderError,\n"
          "NotSimFileError, UserSigMismatchError, ...); OS errors raise kvtsim.OSError\n"
          "(an OSError, e.g. FileNotFoundError). With mode \"w\", references (pools of\n"
          "this document) gives the new file's first pool a narrow directory, as\n"
          "File.new_pool(references=...) does; other modes raise ValueError for it.")
      .def(
          "salvage",
          [](DocumentObject& d, py::object path) {
            KVTSimRpm_SalvageReport report;
            FileEntry& file = d.mState->Salvage(FileSystemPath(path), report);
            return py::make_tuple(FileObject(d.mState, file), ReportObject(report));
          },
          py::arg("path"),
          "Opens a damaged file read-only, keeping what can be kept: the longest run of\n"
          "whole pools from its start that pass every check open() makes, where open()\n"
          "would refuse the file. Returns (file, report): the File, and a\n"
          "kvtsim.SalvageReport that tells how many pools and bytes were kept, how many\n"
          "bytes were left out, the first pool left out (index and offset) and why\n"
          "(the error class open() raises for it), and how many pools were closed up.\n"
          "Never writes to the file. An undamaged file gives the pools open() gives and\n"
          "a report with nothing left out; a pool stored open ahead of other pools (its\n"
          "writer stopped while adding the next pool) is closed up where the next pool\n"
          "starts, and the pools after it are kept. A file with no whole pool gives a\n"
          "file without pools. A file the document holds already is given back as it\n"
          "was opened, with the report of its salvage, or one with nothing left out.\n"
          "OS errors raise kvtsim.OSError (e.g. FileNotFoundError); a file whose headers\n"
          "a writer changes during the read may raise the error open() raises.\n"
          "\n"
          "    with kvtsim.Document(\"DEMO\") as doc:\n"
          "        f, report = doc.salvage(\"results.sim\")\n"
          "        if report.left_out:\n"
          "            print(report.bytes_left_out, \"bytes lost:\", report.reason_text)")
      .def(
          "create_generated",
          [](DocumentObject& d, py::object directory, py::object stem, py::object references) {
            auto const listed = PoolObject::Handles(d.mState.get(), references);
            FileEntry& file =
                d.mState->CreateGenerated(FileSystemPath(directory), FileSystemPath(stem), listed);
            return FileObject(d.mState, file);
          },
          py::arg("directory"), py::arg("stem"), py::kw_only(), py::arg("references") = py::none(),
          "Creates a new file with a unique name in directory: stem, or stem-1, stem-2, ...\n"
          "(an existing file is never overwritten), with one empty pool. File.path tells\n"
          "the name chosen. references (pools of this document) gives that pool a narrow\n"
          "directory, as File.new_pool(references=...) does.")
      .def(
          "create_temporary",
          [](DocumentObject& d, py::object directory) {
            if (directory.is_none())
              directory = py::module_::import("tempfile").attr("gettempdir")();
            FileEntry& file = d.mState->CreateTemporary(FileSystemPath(directory));
            return FileObject(d.mState, file);
          },
          py::arg("directory") = py::none(),
          "Creates a temporary file (mode 0600) with one empty pool in directory (default:\n"
          "tempfile.gettempdir()). It is removed when it is closed.")
      .def_property_readonly(
          "files",
          [](DocumentObject& d) {
            d.mState->RequireOpen();
            py::list files;
            for (FileEntry* file : d.mState->OpenFiles())
              files.append(FileObject(d.mState, *file));
            return files;
          },
          "The open files, in the order they were opened.")
      .def_property_readonly(
          "signature", [](DocumentObject const& d) { return py::bytes(d.mState->Signature()); },
          "The 4-byte user signature.")
      .def_property_readonly(
          "closed", [](DocumentObject const& d) { return d.mState->Closed(); },
          "True after close().")
      .def(
          "flush", [](DocumentObject& d) { d.mState->Flush(); },
          "Flushes the writers, writes every file's current pool header back and makes\n"
          "the files durable.")
      .def(
          "close",
          [](DocumentObject& d) {
            if (!d.mState->Closed())
              d.mState->Close();
          },
          "Closes the writers, then every file (writing its last pool header back and\n"
          "making it durable). Every file is closed even when one fails; the first error\n"
          "is raised. Closing a closed document does nothing.")
      .def("__enter__", [](py::object self) { return self; })
      .def("__exit__",
           [](DocumentObject& d, py::args) {
             if (!d.mState->Closed())
               d.mState->Close();
           })
      .def("__repr__", [](DocumentObject const& d) {
        py::str const signature = py::repr(py::bytes(d.mState->Signature()));
        if (d.mState->Closed())
          return py::str("<kvtsim.Document {} (closed)>").format(signature);
        return py::str("<kvtsim.Document {}, {} open files>")
            .format(signature, d.mState->OpenFiles().size());
      });
}

}  // namespace kvtsim_python
