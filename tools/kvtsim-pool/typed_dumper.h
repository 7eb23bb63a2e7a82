// TypedDumper: writes stored values of one type as text, 16 bytes a line
// like the hex dump, each line labelled with the data offset of its first
// value:
//
//   00000010:                   1013.25                   293.15
//
// Values are read from their stored little-endian form by the library's
// swapper, one column per value, right-aligned. Floating-point values print
// in the shortest form that reads back as the same value ("0.1", "1e+300",
// "-0", "inf", "nan"). Bytes at the end too few for one value are shown in
// hexadecimal on a last line of their own.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_TYPED_DUMPER_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_TYPED_DUMPER_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace kvtsim_pool {

class TypedDumper {
 public:
  static constexpr std::size_t kBytesPerLine = 16;

  // The types by the names that "dump --as" takes.
  enum class Type { kI16, kU16, kI32, kU32, kI64, kU64, kF32, kF64 };

  // "i16", "u16", "i32", "u32", "i64", "u64", "f32", "f64", in Type's order.
  static std::vector<std::string> const& Names();

  // The type named name. REQUIRES: name is one of Names().
  static Type Named(std::string const& name);

  // Bytes of one value of type.
  static std::size_t Width(Type type);

  // The value of type stored at bytes (Width(type) of them), as a line shows
  // it, without padding.
  static std::string Format(Type type, char const* bytes);

  // Writes values of type to out; the first byte fed is labelled firstOffset.
  TypedDumper(std::FILE* out, std::uint64_t firstOffset, Type type);

  // Dumps n more bytes; a partial line waits for the next call or Finish.
  void Feed(char const* data, std::size_t n);

  // Writes the partial line, if any, and the left-over bytes.
  void Finish();

 private:
  // Writes the whole values among the n bytes; returns the bytes used.
  std::size_t WriteLine(char const* bytes, std::size_t n);
  void WriteLeftOver(char const* bytes, std::size_t n);

  std::FILE* mOut;
  std::uint64_t mOffset;  // of the first byte in mPending
  Type mType;
  std::string mPending;
};

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_TYPED_DUMPER_H_
