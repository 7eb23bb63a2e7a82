#include "stream_place.h"

#include <pybind11/pybind11.h>

#include <string>
#include <utility>

#include "KVTSimExc.h"

namespace py = pybind11;

namespace kvtsim_python {

std::uint64_t StreamPlace::LimitFrom(DocumentState const& document, KVTSimRpm_Locator const& start,
                                     std::optional<std::uint64_t> limit) {
  std::uint64_t const left = document.BytesLeft(start);
  if (limit && *limit > left) {
    throw py::value_error("limit " + std::to_string(*limit) +
                          " passes the end of the pool's data (" + std::to_string(left) +
                          " bytes left)");
  }
  return limit ? *limit : left;
}

StreamPlace::StreamPlace(std::shared_ptr<DocumentState> document, KVTSimRpm_Locator const& start,
                         std::uint64_t limit)
    : mDocument(std::move(document)), mStart(start), mLimit(limit), mPosition(0) {}

void StreamPlace::RequireRoom(std::uint64_t n) const {
  if (n > mLimit - mPosition) {
    KVTSimExcShortBuffer error(static_cast<unsigned>(mPosition + n), static_cast<unsigned>(mLimit));
    error.Throw(__FILE__, __LINE__);
  }
}

void StreamPlace::RequireStartLoaded() const {
  // A zero-length read says whether the pool is loaded.
  char unused = 0;
  mStart.Read(0, &unused);
}

}  // namespace kvtsim_python
