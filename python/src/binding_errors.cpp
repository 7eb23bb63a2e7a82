#include "binding_errors.h"

#include <exception>

#include "KVTBasAssertException.h"
#include "KVTBasException.h"
#include "KVTBasMemoryExhausted.h"
#include "KVTSimExc.h"
#include "KVTSimUttOSError.h"

namespace py = pybind11;

namespace kvtsim_python {

namespace {

// The library's name of each error kind, by its code.
char const* KindName(int code) {
  switch (code) {
    case KVTBasCodeAssert:
      return "KVTBasAssertException";
    case KVTBasCodeMemoryExhausted:
      return "KVTBasMemoryExhausted";
    case KVTSimUttCodeOSError:
      return "KVTSimUttOSError";
    case KVTSimCodeAllocReadOnly:
      return "KVTSimExcAllocReadOnly";
    case KVTSimCodeBrokenStream:
      return "KVTSimExcBrokenStream";
    case KVTSimCodeCantCreateFile:
      return "KVTSimExcCantCreateFile";
    case KVTSimCodeCantDerefLocator:
      return "KVTSimExcCantDerefLocator";
    case KVTSimCodeCantExternalizeLoc:
      return "KVTSimExcCantExternalizeLoc";
    case KVTSimCodeCantGetFile:
      return "KVTSimExcCantGetFile";
    case KVTSimCodeCorruptDirectory:
      return "KVTSimExcCorruptDirectory";
    case KVTSimCodeCorruptHeader:
      return "KVTSimExcCorruptHeader";
    case KVTSimCodeIOBounds:
      return "KVTSimExcIOBounds";
    case KVTSimCodeImmutablePool:
      return "KVTSimExcImmutablePool";
    case KVTSimCodeInvalidGUID:
      return "KVTSimExcInvalidGUID";
    case KVTSimCodeNeedUpgrade:
      return "KVTSimExcNeedUpgrade";
    case KVTSimCodeNewPoolReadOnly:
      return "KVTSimExcNewPoolReadOnly";
    case KVTSimCodeNotSimFile:
      return "KVTSimExcNotSimFile";
    case KVTSimCodePoolAlreadyInDoc:
      return "KVTSimExcPoolAlreadyInDoc";
    case KVTSimCodeRequestTooBig:
      return "KVTSimExcRequestTooBig";
    case KVTSimCodeShortBuffer:
      return "KVTSimExcShortBuffer";
    case KVTSimCodeShortPool:
      return "KVTSimExcShortPool";
    case KVTSimCodeUserSigMismatch:
      return "KVTSimExcUserSigMismatch";
    case KVTSimCodeValidationFailure:
      return "KVTSimExcValidationFailure";
    case KVTSimCodeWriteReadOnly:
      return "KVTSimExcWriteReadOnly";
    default:
      return "KVTBasException";
  }
}

// The arguments a kind carries, under the names the Python classes use.
py::dict ArgumentsOf(KVTBasException const& e) {
  py::dict arguments;
  if (auto const* os = dynamic_cast<KVTSimUttOSError const*>(&e)) {
    arguments["operation"] = py::str(os->Operation());
    arguments["filename"] = py::bytes(os->FileName());
    arguments["errno"] = os->ErrorNumber();
    arguments["strerror"] = py::bytes(os->SystemText());
  } else if (auto const* check = dynamic_cast<KVTBasAssertException const*>(&e)) {
    arguments["expression"] = py::bytes(check->Expression());
  } else if (auto const* memory = dynamic_cast<KVTBasMemoryExhausted const*>(&e)) {
    arguments["requested"] = memory->Requested();
  } else if (auto const* bounds = dynamic_cast<KVTSimExcIOBounds const*>(&e)) {
    arguments["start"] = bounds->Start();
    arguments["end"] = bounds->End();
    arguments["limit"] = bounds->Limit();
  } else if (auto const* upgrade = dynamic_cast<KVTSimExcNeedUpgrade const*>(&e)) {
    arguments["current_version"] = upgrade->CurrentVersion();
    arguments["found_version"] = upgrade->FoundVersion();
    arguments["filename"] = py::bytes(upgrade->FileName());
  } else if (auto const* create = dynamic_cast<KVTSimExcCantCreateFile const*>(&e)) {
    arguments["filename"] = py::bytes(create->FileName());
  } else if (auto const* tooBig = dynamic_cast<KVTSimExcRequestTooBig const*>(&e)) {
    arguments["requested"] = tooBig->Requested();
    arguments["capacity"] = tooBig->Capacity();
  } else if (auto const* shortBuffer = dynamic_cast<KVTSimExcShortBuffer const*>(&e)) {
    arguments["needed"] = shortBuffer->Needed();
    arguments["available"] = shortBuffer->Available();
  }
  return arguments;
}

// Sets the Python error that the package's factory builds for kind.
void SetPythonError(char const* kind, py::bytes const& message, py::dict const& arguments,
                    py::object const& file, int line) {
  try {
    py::object factory = py::module_::import("kvtsim._core").attr("_error_factory");
    if (factory.is_none()) {
      // Only when the extension is used without its package.
      PyErr_SetObject(PyExc_RuntimeError, message.ptr());
      return;
    }
    py::object error = factory(kind, message, arguments, file, line);
    PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(error.ptr())), error.ptr());
  } catch (py::error_already_set& failure) {
    failure.restore();
  }
}

void Translate(std::exception_ptr thrown) {
  try {
    std::rethrow_exception(thrown);
  } catch (KVTBasException const& e) {
    py::object file = e.File() != nullptr ? py::object(py::str(e.File())) : py::object(py::none());
    SetPythonError(KindName(e.GetCode()), py::bytes(e.AsString(KVTBasStringModeShort).CStr()),
                   ArgumentsOf(e), file, e.Line());
  } catch (ClosedError const& e) {
    SetPythonError("Closed", py::bytes(e.what()), py::dict(), py::none(), 0);
  } catch (UsageError const& e) {
    SetPythonError("Usage", py::bytes(e.what()), py::dict(), py::none(), 0);
  }
}

}  // namespace

void BindingErrors::Bind(py::module_& m) {
  m.attr("_error_factory") = py::none();
  m.def(
      "_set_error_factory", [m](py::object factory) mutable { m.attr("_error_factory") = factory; },
      "Installs factory(kind, message, arguments, source_file, source_line) -> exception, "
      "used for every error raised by this module.");
  py::register_local_exception_translator(Translate);
}

}  // namespace kvtsim_python
