// HeldBuffer: the contiguous bytes of a Python object that supports the
// buffer protocol (bytes, bytearray, memoryview, NumPy arrays), held for the
// life of this object.

#ifndef KVTSIM_PYTHON_SRC_HELD_BUFFER_H_
#define KVTSIM_PYTHON_SRC_HELD_BUFFER_H_

#include <pybind11/pybind11.h>

#include <cstddef>

namespace kvtsim_python {

class HeldBuffer {
 public:
  // Raises BufferError (through Python) when object is not a C-contiguous
  // buffer, or is read-only while writable is asked for.
  HeldBuffer(pybind11::handle object, bool writable);
  HeldBuffer(HeldBuffer const&) = delete;
  HeldBuffer& operator=(HeldBuffer const&) = delete;
  ~HeldBuffer();

  char* Data() const noexcept { return static_cast<char*>(mView.buf); }
  std::size_t Size() const noexcept { return static_cast<std::size_t>(mView.len); }

 private:
  Py_buffer mView;
};

}  // namespace kvtsim_python

#endif  // KVTSIM_PYTHON_SRC_HELD_BUFFER_H_
