#include "KVTString.h"

#include <cstring>
#include <limits>

#include "KVTBasMem.h"
#include "KVTBasMemoryExhausted.h"

namespace {

// Length of the well-formed UTF-8 sequence starting at s (at most n bytes
// available), or 0 when the bytes there are not one.
std::size_t Utf8SequenceLength(unsigned char const* s, std::size_t n) {
  unsigned char c = s[0];
  std::size_t len = c < 0x80           ? 1
                    : (c >> 5) == 0x6  ? 2
                    : (c >> 4) == 0xE  ? 3
                    : (c >> 3) == 0x1E ? 4
                                       : 0;
  if (len == 0 || len > n)
    return 0;
  for (std::size_t i = 1; i < len; ++i) {
    if ((s[i] & 0xC0) != 0x80)
      return 0;
  }
  // Reject overlong forms and code points past U+10FFFF.
  if (len == 2 && c < 0xC2)
    return 0;
  if (len == 3 && c == 0xE0 && s[1] < 0xA0)
    return 0;
  if (len == 4 && (c > 0xF4 || (c == 0xF0 && s[1] < 0x90) || (c == 0xF4 && s[1] > 0x8F)))
    return 0;
  return len;
}

bool IsWellFormedUtf8(unsigned char const* s, std::size_t n) {
  for (std::size_t i = 0; i < n;) {
    std::size_t len = Utf8SequenceLength(s + i, n - i);
    if (len == 0)
      return false;
    i += len;
  }
  return true;
}

bool AllAscii(unsigned char const* s, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) {
    if (s[i] >= 0x80)
      return false;
  }
  return true;
}

}  // namespace

atr_StringBase* atr_StringBase::Create(char const* text, std::size_t n) {
  if (n > std::numeric_limits<std::uint32_t>::max()) {
    KVTBasMemoryExhausted error(n);
    error.Throw(__FILE__, __LINE__);
  }
  void* block = mem_Malloc(sizeof(atr_StringBase) + n + 1);
  atr_StringBase* rep = static_cast<atr_StringBase*>(block);
  rep->mUseCount = 1;
  rep->mLength = static_cast<std::uint32_t>(n);
  std::memcpy(rep->Text(), text, n);
  rep->Text()[n] = '\0';
  return rep;
}

void atr_StringBase::Delete(atr_StringBase* rep) noexcept {
  mem_Free(rep);
}

atr_String::atr_String() noexcept : mText(""), mRep(nullptr), mAscii(1) {}

atr_String::atr_String(char const* text) : atr_String() {
  if (text != nullptr)
    AssignUTF8(text, std::strlen(text));
}

atr_String::atr_String(char const* text, std::size_t n) : atr_String() {
  AssignUTF8(text, n);
}

atr_String::atr_String(atr_String const& other) noexcept
    : mText(other.mText), mRep(other.mRep), mAscii(other.mAscii) {
  if (mRep != nullptr)
    ++mRep->mUseCount;
}

atr_String& atr_String::operator=(atr_String const& other) noexcept {
  // Take other's fields before releasing ours: other may be this string.
  char const* text = other.mText;
  atr_StringBase* rep = other.mRep;
  unsigned char ascii = other.mAscii;
  if (rep != nullptr)
    ++rep->mUseCount;
  Release();
  mText = text;
  mRep = rep;
  mAscii = ascii;
  return *this;
}

atr_String& atr_String::operator=(char const* text) {
  atr_String temporary(text);
  return *this = temporary;
}

atr_String::~atr_String() {
  Release();
}

atr_String::Result atr_String::AssignUTF8(char const* text, std::size_t n) {
  unsigned char const* bytes = reinterpret_cast<unsigned char const*>(text);
  atr_StringBase* rep = n == 0 ? nullptr : atr_StringBase::Create(text, n);
  Release();
  Clear();
  if (rep == nullptr)
    return ResultOk;
  mRep = rep;
  mText = rep->Text();
  mAscii = AllAscii(bytes, n) ? 1 : 0;
  return mAscii || IsWellFormedUtf8(bytes, n) ? ResultOk : ResultInvalidUTF8;
}

std::size_t atr_String::GetLengthInByte() const noexcept {
  return mRep == nullptr ? 0 : mRep->mLength;
}

void atr_String::Clear() noexcept {
  mText = "";
  mRep = nullptr;
  mAscii = 1;
}

void atr_String::Release() noexcept {
  if (mRep != nullptr && --mRep->mUseCount == 0)
    atr_StringBase::Delete(mRep);
  Clear();
}

KVTString KVTString::BuildFromUTF8(char const* text, Result* result) {
  KVTString s;
  Result r = text == nullptr ? ResultOk : s.AssignUTF8(text, std::strlen(text));
  if (result != nullptr)
    *result = r;
  return s;
}
