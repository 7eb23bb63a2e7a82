#include "python_values.h"

#include <cstring>

namespace py = pybind11;

namespace kvtsim_python {

std::optional<std::uint64_t> OptionalSize(py::handle value) {
  if (value.is_none())
    return std::nullopt;
  return value.cast<std::uint64_t>();
}

std::string FileSystemPath(py::handle path) {
  py::bytes encoded = py::module_::import("os").attr("fsencode")(path);
  std::string bytes = encoded;
  if (bytes.find('\0') != std::string::npos)
    throw py::value_error("embedded null byte in a path");
  return bytes;
}

py::str FileSystemText(std::string const& bytes) {
  PyObject* text =
      PyUnicode_DecodeFSDefaultAndSize(bytes.data(), static_cast<Py_ssize_t>(bytes.size()));
  if (text == nullptr)
    throw py::error_already_set();
  return py::reinterpret_steal<py::str>(text);
}

std::string FixedBytes(py::handle value, std::size_t length, char const* what) {
  std::string bytes;
  if (py::isinstance<py::str>(value)) {
    PyObject* encoded = PyUnicode_AsLatin1String(value.ptr());
    if (encoded == nullptr) {
      PyErr_Clear();
      throw py::value_error(std::string(what) + " must hold characters below U+0100 only");
    }
    bytes = py::reinterpret_steal<py::bytes>(encoded);
  } else if (py::isinstance<py::bytes>(value)) {
    bytes = value.cast<std::string>();
  } else {
    throw py::type_error(std::string(what) + " must be str or bytes");
  }
  if (bytes.size() != length) {
    throw py::value_error(std::string(what) + " must be exactly " + std::to_string(length) +
                          " bytes, not " + std::to_string(bytes.size()));
  }
  return bytes;
}

py::str Latin1Text(char const* bytes, std::size_t length) {
  PyObject* text = PyUnicode_DecodeLatin1(bytes, static_cast<Py_ssize_t>(length), nullptr);
  if (text == nullptr)
    throw py::error_already_set();
  return py::reinterpret_steal<py::str>(text);
}

}  // namespace kvtsim_python
