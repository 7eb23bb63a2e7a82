// HexDumper: writes bytes as lines of 16 in the usual hex dump layout:
//
//   00000010: 0100 0000 0500 0000 696e 6c65 7400 0000  ........inlet...
//
// the offset of the line's first byte, eight groups of two bytes in
// hexadecimal, then the bytes as ASCII with "." for anything unprintable.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_HEX_DUMPER_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_HEX_DUMPER_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

namespace kvtsim_pool {

class HexDumper {
 public:
  static constexpr std::size_t kBytesPerLine = 16;

  // Writes to out; the first byte fed is labelled firstOffset.
  HexDumper(std::FILE* out, std::uint64_t firstOffset);

  // Dumps n more bytes; a partial line waits for the next call or Finish.
  void Feed(char const* data, std::size_t n);

  // Writes the partial line, if any.
  void Finish();

 private:
  void WriteLine(char const* bytes, std::size_t n);

  std::FILE* mOut;
  std::uint64_t mOffset;  // of the first byte in mPending
  std::string mPending;
};

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_HEX_DUMPER_H_
