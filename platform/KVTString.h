// KVTString: the library's reference-counted UTF-8 string.
//
// A string is a text pointer, a pointer to a shared representation block led by
// a 32-bit use count, and an ASCII flag. Copies share the representation; the
// empty string has no representation and its text is "". Counts are plain
// integers: a string and its copies are used by one thread at a time.
//
// REQUIRES: external synchronization between strings sharing a representation.

#ifndef KVTSIM_PLATFORM_KVTSTRING_H_
#define KVTSIM_PLATFORM_KVTSTRING_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "KVTSimExport.h"

// The shared representation: use count, byte length, then the terminated text.
class KVTSIM_EXPORT atr_StringBase {
 public:
  // Makes a block holding a copy of the n bytes at text, with use count 1.
  // Raises KVTBasMemoryExhausted when no memory is left.
  static atr_StringBase* Create(char const* text, std::size_t n);

  // Releases a block whose use count has dropped to 0.
  static void Delete(atr_StringBase* rep) noexcept;

  std::uint32_t mUseCount;
  std::uint32_t mLength;
  char* Text() { return reinterpret_cast<char*>(this + 1); }
};

class KVTSIM_EXPORT atr_String {
 public:
  enum Result { ResultOk = 0, ResultInvalidUTF8 = 1 };

  // The empty string.
  atr_String() noexcept;

  // A copy of the terminated text (null gives the empty string).
  atr_String(char const* text);  // NOLINT: implicit by design, like a literal.

  // A copy of the n bytes at text; they may hold any byte but 0.
  atr_String(char const* text, std::size_t n);

  // Shares other's representation.
  atr_String(atr_String const& other) noexcept;

  // Shares other's representation. The source's count is raised before this
  // string's is lowered, so self-assignment is safe.
  atr_String& operator=(atr_String const& other) noexcept;

  // Assignment from text goes through a temporary string.
  atr_String& operator=(char const* text);

  ~atr_String();

  // Replaces the contents with a copy of the n bytes at text. Bytes that are not
  // well-formed UTF-8 are kept as they are; the result says whether they were.
  Result AssignUTF8(char const* text, std::size_t n);

  // Byte length, without the terminator.
  std::size_t GetLengthInByte() const noexcept;

  // The terminated text, valid while this string or a copy sharing its
  // representation lives and is not assigned; "" for the empty string.
  char const* CStr() const noexcept { return mText; }
  char const* CastToCharPtr() const noexcept { return mText; }
  std::string_view View() const noexcept { return {mText, GetLengthInByte()}; }

  // True when every byte is below 0x80.
  bool IsAscii() const noexcept { return mAscii != 0; }
  bool IsEmpty() const noexcept { return mRep == nullptr; }

  friend bool operator==(atr_String const& a, atr_String const& b) noexcept {
    return a.View() == b.View();
  }
  friend bool operator!=(atr_String const& a, atr_String const& b) noexcept { return !(a == b); }

 private:
  void Clear() noexcept;
  void Release() noexcept;

  char const* mText;
  atr_StringBase* mRep;
  unsigned char mAscii;
};

class KVTSIM_EXPORT KVTString : public atr_String {
 public:
  using atr_String::atr_String;
  using atr_String::operator=;
  KVTString() noexcept = default;
  KVTString(atr_String const& s) noexcept : atr_String(s) {}  // NOLINT: same string.

  // A string holding a copy of the terminated UTF-8 text; text that is not
  // well-formed UTF-8 is kept as it is and *result (if given) says so.
  static KVTString BuildFromUTF8(char const* text, Result* result = nullptr);
};

#endif  // KVTSIM_PLATFORM_KVTSTRING_H_
