// The errors of the binding itself, and how every error reaches Python.
//
// The library's error kinds become instances of the classes of kvtsim.errors
// (one per kind, with the kind's arguments as attributes and the raising
// location); the Python package hands the module a factory that builds them
// (SetErrorFactory). ClosedError and UsageError are raised by the binding
// before a call reaches the library, where the library would otherwise meet
// an object that is gone or a call it cannot take.

#ifndef KVTSIM_PYTHON_SRC_BINDING_ERRORS_H_
#define KVTSIM_PYTHON_SRC_BINDING_ERRORS_H_

#include <pybind11/pybind11.h>

#include <stdexcept>
#include <string>

namespace kvtsim_python {

// A document, file, pool or stream used after it was closed or is gone.
// Becomes kvtsim.ClosedError.
class ClosedError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A call the binding refuses: it would break another open object or mix two
// documents. Becomes kvtsim.UsageError.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class BindingErrors {
 public:
  // Registers the translation of library and binding errors, and the
  // function _set_error_factory(factory) through which the package installs
  // factory(kind, message, arguments, source_file, source_line) -> exception.
  static void Bind(pybind11::module_& m);
};

}  // namespace kvtsim_python

#endif  // KVTSIM_PYTHON_SRC_BINDING_ERRORS_H_
