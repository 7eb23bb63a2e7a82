#include "typed_dumper.h"

#include <charconv>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "KVTSimRpm_Swapper.h"
#include "text_format.h"

namespace kvtsim_pool {

namespace {

// Widest text of a value of T, so that columns line up on every line.
template <typename T>
constexpr int ColumnWidth() {
  if constexpr (std::is_same_v<T, float>)
    return 15;  // -1.17549435e-38
  else if constexpr (std::is_same_v<T, double>)
    return 24;  // -2.2250738585072014e-308
  else if constexpr (std::is_signed_v<T>)
    return std::numeric_limits<T>::digits10 + 2;  // sign and digits
  else
    return std::numeric_limits<T>::digits10 + 1;
}

// Shortest round-trip text for floating point, decimal otherwise.
template <typename T>
std::string Text(T value) {
  char text[32];
  char* end = std::to_chars(text, text + sizeof text, value).ptr;
  return std::string(text, end);
}

// The values stored in n bytes (a multiple of T's width), as one line of
// columns. Shortest round-trip text for floating point, decimal otherwise.
template <typename T>
std::string Columns(char const* bytes, std::size_t n) {
  T values[TypedDumper::kBytesPerLine / sizeof(T)];
  std::size_t const count = n / sizeof(T);
  KVTSimRpm_Swapper::InternalizeArray(bytes, values, count);
  std::string line;
  for (std::size_t i = 0; i < count; ++i) {
    std::string const text = Text(values[i]);
    int const length = static_cast<int>(text.size());
    line.append(2 + (ColumnWidth<T>() > length ? ColumnWidth<T>() - length : 0), ' ');
    line += text;
  }
  return line;
}

// Calls fn with a value of the C++ type that type names, for its type.
template <typename Fn>
auto WithType(TypedDumper::Type type, Fn fn) {
  switch (type) {
    case TypedDumper::Type::kI16:
      return fn(std::int16_t{});
    case TypedDumper::Type::kU16:
      return fn(std::uint16_t{});
    case TypedDumper::Type::kI32:
      return fn(std::int32_t{});
    case TypedDumper::Type::kU32:
      return fn(std::uint32_t{});
    case TypedDumper::Type::kI64:
      return fn(std::int64_t{});
    case TypedDumper::Type::kU64:
      return fn(std::uint64_t{});
    case TypedDumper::Type::kF32:
      return fn(float{});
    case TypedDumper::Type::kF64:
      break;
  }
  return fn(double{});
}

}  // namespace

std::size_t TypedDumper::Width(Type type) {
  return WithType(type, [](auto value) { return sizeof value; });
}

std::string TypedDumper::Format(Type type, char const* bytes) {
  return WithType(type, [bytes](auto value) {
    KVTSimRpm_Swapper::InternalizeArray(bytes, &value, std::size_t{1});
    return Text(value);
  });
}

std::vector<std::string> const& TypedDumper::Names() {
  static std::vector<std::string> const names{"i16", "u16", "i32", "u32",
                                              "i64", "u64", "f32", "f64"};
  return names;
}

TypedDumper::Type TypedDumper::Named(std::string const& name) {
  std::vector<std::string> const& names = Names();
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (names[i] == name)
      return static_cast<Type>(i);
  }
  return Type::kF64;  // not reached: the command line accepts only names
}

TypedDumper::TypedDumper(std::FILE* out, std::uint64_t firstOffset, Type type)
    : mOut(out), mOffset(firstOffset), mType(type) {}

void TypedDumper::Feed(char const* data, std::size_t n) {
  mPending.append(data, n);
  std::size_t done = 0;
  while (mPending.size() - done >= kBytesPerLine)
    done += WriteLine(mPending.data() + done, kBytesPerLine);
  mPending.erase(0, done);
}

void TypedDumper::Finish() {
  std::size_t const used = WriteLine(mPending.data(), mPending.size());
  WriteLeftOver(mPending.data() + used, mPending.size() - used);
  mPending.clear();
}

std::size_t TypedDumper::WriteLine(char const* bytes, std::size_t n) {
  std::size_t const whole = n - n % Width(mType);
  if (whole == 0)
    return 0;
  std::string const columns =
      WithType(mType, [&](auto value) { return Columns<decltype(value)>(bytes, whole); });
  std::fprintf(mOut, "%08llx:%s\n", static_cast<unsigned long long>(mOffset), columns.c_str());
  mOffset += whole;
  return whole;
}

void TypedDumper::WriteLeftOver(char const* bytes, std::size_t n) {
  if (n == 0)
    return;
  std::string hex;
  for (std::size_t i = 0; i < n; ++i) {
    char digits[4];
    std::snprintf(digits, sizeof digits, " %02x", static_cast<unsigned char>(bytes[i]));
    hex += digits;
  }
  std::fprintf(mOut, "%08llx: (%s left over:%s)\n", static_cast<unsigned long long>(mOffset),
               Counted(n, "byte").c_str(), hex.c_str());
  mOffset += n;
}

}  // namespace kvtsim_pool
