#include "held_buffer.h"

namespace py = pybind11;

namespace kvtsim_python {

HeldBuffer::HeldBuffer(py::handle object, bool writable) : mView() {
  int flags = PyBUF_C_CONTIGUOUS | (writable ? PyBUF_WRITABLE : 0);
  if (PyObject_GetBuffer(object.ptr(), &mView, flags) != 0)
    throw py::error_already_set();
}

HeldBuffer::~HeldBuffer() {
  PyBuffer_Release(&mView);
}

}  // namespace kvtsim_python
