#include "KVTSimRpm_BStreamRead.h"

#include <climits>
#include <cstdint>
#include <cstring>

#include "KVTSimExc.h"
#include "KVTSimRpm_Locator.h"
#include "KVTSimRpm_Swapper.h"
#include "KVTSimUttAssert.h"

namespace {

// Text is taken from the stream in pieces no larger than the smallest chunk
// any stream of this library has, so that a stored length larger than what
// the stream holds is met by the stream's own error, never by a huge
// allocation or a silently short read.
constexpr unsigned kPiece = 16;

// A scratch block that grows with the bytes actually read.
class Scratch {
 public:
  Scratch() : mData(nullptr), mCapacity(0) {}
  Scratch(Scratch const&) = delete;
  Scratch& operator=(Scratch const&) = delete;
  ~Scratch() { mem_Free(mData); }

  char* Reserve(std::uint64_t size) {
    if (size > mCapacity) {
      std::uint64_t grown = mCapacity < 64 ? 64 : mCapacity * 2;
      mCapacity = grown > size ? grown : size;
      mData = static_cast<char*>(mem_Realloc(mData, mCapacity));
    }
    return mData;
  }

 private:
  char* mData;
  std::uint64_t mCapacity;
};

}  // namespace

KVTSimRpm_BStreamRead::~KVTSimRpm_BStreamRead() = default;

void KVTSimRpm_BStreamRead::Read(KVTString& s) {
  int n = 0;
  KVTSimRpm_Swapper::InternalizeScalar(PrepRead(4), n);
  if (n < 0) {
    // A negative length is no string at all: the stored data is damaged.
    KVTSimExcRequestTooBig error(static_cast<unsigned>(n), INT_MAX);
    error.Throw(__FILE__, __LINE__);
  }
  std::uint64_t const padded = (static_cast<std::uint64_t>(n) + 3) & ~std::uint64_t{3};
  Scratch block;
  // Room for the terminator only: the stored length is not trusted yet.
  char* text = block.Reserve(1);
  for (std::uint64_t got = 0; got < padded;) {
    unsigned piece = padded - got < kPiece ? static_cast<unsigned>(padded - got) : kPiece;
    char const* bytes = PrepRead(piece);
    text = block.Reserve(got + piece + 1);
    std::memcpy(text + got, bytes, piece);
    got += piece;
  }
  text[n] = '\0';
  s = KVTString::BuildFromUTF8(text);
}

char const* KVTSimRpm_BStreamRead::PrepReadSpan(unsigned long long wanted, unsigned int unit,
                                                unsigned long long& granted) {
  KVTSIM_ASSERT(unit > 0 && wanted >= unit && wanted % unit == 0);
  return NextReadSpan(wanted, unit, granted);
}

char const* KVTSimRpm_BStreamRead::NextReadSpan(unsigned long long, unsigned int unit,
                                                unsigned long long& granted) {
  char const* span = PrepRead(unit);
  granted = unit;
  return span;
}

void Internalize(KVTSimRpm_BStreamRead& s, int& v) {
  KVTSimRpm_Swapper::InternalizeScalar(s.PrepRead(4), v);
}

void Internalize(KVTSimRpm_BStreamRead& s, KVTSimRpm_Locator& v) {
  v.InternalizeImpl(s);
}
