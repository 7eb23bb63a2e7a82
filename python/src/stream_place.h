// StreamPlace: where a kvtsim.Reader or kvtsim.Writer stands in its pool: the
// document, the locator it started at, the bytes it has gone past and the
// limit it may not pass.
//
// A place only counts: the stream that moves with it belongs to its owner,
// which checks each request with RequireRoom before it reaches the stream and
// calls Advance once it succeeded, so that a failed request leaves the
// position where it was.

#ifndef KVTSIM_PYTHON_SRC_STREAM_PLACE_H_
#define KVTSIM_PYTHON_SRC_STREAM_PLACE_H_

#include <cstdint>
#include <memory>
#include <optional>

#include "KVTSimRpm_Locator.h"
#include "document_state.h"
#include "locator_object.h"

namespace kvtsim_python {

class StreamPlace {
 public:
  // The limit of a stream from start: limit when given, else the rest of the
  // pool's data. Raises ValueError when limit passes the end of the pool's
  // data, KVTSimExcCantDerefLocator when the pool is not loaded.
  static std::uint64_t LimitFrom(DocumentState const& document, KVTSimRpm_Locator const& start,
                                 std::optional<std::uint64_t> limit);

  // A place at start, with no byte gone past yet.
  StreamPlace(std::shared_ptr<DocumentState> document, KVTSimRpm_Locator const& start,
              std::uint64_t limit);

  DocumentState& Document() const noexcept { return *mDocument; }
  KVTSimRpm_Locator const& Start() const noexcept { return mStart; }
  std::uint64_t Limit() const noexcept { return mLimit; }
  std::uint64_t Position() const noexcept { return mPosition; }
  std::uint64_t Remaining() const noexcept { return mLimit - mPosition; }

  // The locator of the next byte, as a library value and as kvtsim.Locator.
  KVTSimRpm_Locator Here() const { return mStart + mPosition; }
  LocatorObject HereObject() const { return LocatorObject(mDocument, Here()); }

  // A kvtsim.Locator of this place's document.
  LocatorObject LocatorOf(KVTSimRpm_Locator const& locator) const {
    return LocatorObject(mDocument, locator);
  }

  // Raises KVTSimExcShortBuffer (end of the request, limit) when n more
  // bytes would pass the limit.
  void RequireRoom(std::uint64_t n) const;

  // Raises KVTSimExcCantDerefLocator when the start pool is no longer
  // loaded: stored locators are coded against its directory.
  void RequireStartLoaded() const;

  // Counts n bytes gone past. REQUIRES: RequireRoom(n) passed.
  void Advance(std::uint64_t n) noexcept { mPosition += n; }

 private:
  std::shared_ptr<DocumentState> mDocument;
  KVTSimRpm_Locator mStart;
  std::uint64_t mLimit;
  std::uint64_t mPosition;
};

}  // namespace kvtsim_python

#endif  // KVTSIM_PYTHON_SRC_STREAM_PLACE_H_
