#include "KVTSimRpm_BStreamRead.h"

#include <climits>
#include <cstdint>
#include <cstring>

#include "KVTSimExc.h"
#include "KVTSimRpm_Locator.h"
#include "KVTSimRpm_Swapper.h"
#include "KVTSimUttAssert.h"

namespace {

// A stream that cannot look ahead is read in pieces no larger than the
// smallest chunk any stream of this library has, so that a stored length
// larger than what the stream holds is met by the stream's own error, never
// by a huge allocation or a silently short read.
constexpr unsigned kPiece = 16;

// A scratch block for the text, released however the read ends.
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

// The stored length n of a string whose length field is at p, checked.
int StoredLength(char const* p) {
  int n = 0;
  KVTSimRpm_Swapper::InternalizeScalar(p, n);
  if (n < 0) {
    // A negative length is no string at all: the stored data is damaged.
    KVTSimExcRequestTooBig error(static_cast<unsigned>(n), INT_MAX);
    error.Throw(__FILE__, __LINE__);
  }
  return n;
}

std::uint64_t Padded(int n) {
  return (static_cast<std::uint64_t>(n) + 3) & ~std::uint64_t{3};
}

KVTString Text(Scratch& block, int n) {
  char* text = block.Reserve(static_cast<std::uint64_t>(n) + 1);
  text[n] = '\0';
  return KVTString::BuildFromUTF8(text);
}

KVTString ReadInPieces(KVTSimRpm_BStreamRead& in) {
  int const n = StoredLength(in.PrepRead(4));
  std::uint64_t const padded = Padded(n);
  Scratch block;
  for (std::uint64_t got = 0; got < padded;) {
    unsigned piece = padded - got < kPiece ? static_cast<unsigned>(padded - got) : kPiece;
    char const* bytes = in.PrepRead(piece);
    std::memcpy(block.Reserve(got + piece) + got, bytes, piece);
    got += piece;
  }
  return Text(block, n);
}

}  // namespace

KVTSimRpm_BStreamRead::~KVTSimRpm_BStreamRead() = default;

char const* KVTSimRpm_BStreamRead::PeekRead(unsigned long long) {
  return nullptr;
}

void KVTSimRpm_BStreamRead::CheckRead(unsigned long long) {}

void KVTSimRpm_BStreamRead::Read(KVTString& s) {
  char const* head = PeekRead(4);
  if (head == nullptr) {
    s = ReadInPieces(*this);
    return;
  }
  int const n = StoredLength(head);
  std::uint64_t const padded = Padded(n);
  // Only once the stream shows that it holds the whole string is the length
  // trusted enough to take anything or to allocate for the text.
  CheckRead(4 + padded);
  PrepRead(4);
  Scratch block;
  Read(block.Reserve(padded + 1), static_cast<unsigned int>(padded));
  s = Text(block, n);
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
