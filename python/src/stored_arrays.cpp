#include "stored_arrays.h"

#include <cstdint>
#include <string>
#include <utility>

#include "KVTSimUttCoding.h"

namespace py = pybind11;

namespace kvtsim_python {

namespace {

// Calls visit(T{}) for the C++ type T that stores dtype's values.
template <typename Visit>
auto WithStoredType(py::dtype const& dtype, Visit&& visit) {
  bool const plain = dtype.attr("fields").is_none() && dtype.attr("subdtype").is_none();
  py::ssize_t const width = dtype.itemsize();
  switch (plain ? dtype.kind() : '\0') {
    case 'i':
      if (width == 2)
        return visit(std::int16_t{});
      if (width == 4)
        return visit(std::int32_t{});
      if (width == 8)
        return visit(std::int64_t{});
      break;
    case 'u':
      if (width == 2)
        return visit(std::uint16_t{});
      if (width == 4)
        return visit(std::uint32_t{});
      if (width == 8)
        return visit(std::uint64_t{});
      break;
    case 'f':
      if (width == 4)
        return visit(float{});
      if (width == 8)
        return visit(double{});
      break;
    default:
      break;
  }
  throw py::type_error(
      "pools store int16, uint16, int32, uint32, int64, uint64, float32 and float64 values, "
      "not " +
      std::string(py::str(py::handle(dtype))));
}

}  // namespace

std::size_t StoredWidth(py::dtype const& dtype) {
  return WithStoredType(dtype, [](auto zero) { return sizeof zero; });
}

py::array ReadStoredArray(KVTSimRpm_BStreamRead& in, py::dtype const& dtype, std::size_t count,
                          std::function<void(char*, std::uint64_t)> const& copyBytes) {
  return WithStoredType(dtype, [&](auto zero) -> py::array {
    using T = decltype(zero);
    py::array_t<T> values(static_cast<py::ssize_t>(count));
    if constexpr (kvtsim_coding::kLittleEndianHost)
      copyBytes(reinterpret_cast<char*>(values.mutable_data()), count * sizeof(T));
    else
      InternalizeArray(in, values.mutable_data(), count);
    // The values arrive in this machine's order; ">f8" and the like ask for
    // the other one.
    if (dtype.attr("isnative").cast<bool>())
      return std::move(values);
    return values.attr("astype")(dtype);
  });
}

void WriteStoredArray(KVTSimRpm_BStreamWrite& out, py::array const& array) {
  WithStoredType(array.dtype(), [&](auto zero) {
    using T = decltype(zero);
    // In this machine's order and C order: a copy only when the array is not
    // so already.
    auto const values = py::array_t<T, py::array::c_style | py::array::forcecast>::ensure(array);
    if (!values)
      throw py::error_already_set();
    ExternalizeArray(out, values.data(), static_cast<std::size_t>(values.size()));
  });
}

}  // namespace kvtsim_python
