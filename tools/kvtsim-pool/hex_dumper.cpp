#include "hex_dumper.h"

namespace kvtsim_pool {

HexDumper::HexDumper(std::FILE* out, std::uint64_t firstOffset) : mOut(out), mOffset(firstOffset) {}

void HexDumper::Feed(char const* data, std::size_t n) {
  mPending.append(data, n);
  std::size_t done = 0;
  while (mPending.size() - done >= kBytesPerLine) {
    WriteLine(mPending.data() + done, kBytesPerLine);
    done += kBytesPerLine;
  }
  mPending.erase(0, done);
}

void HexDumper::Finish() {
  if (!mPending.empty())
    WriteLine(mPending.data(), mPending.size());
  mPending.clear();
}

void HexDumper::WriteLine(char const* bytes, std::size_t n) {
  char hex[kBytesPerLine * 3];
  std::size_t at = 0;
  for (std::size_t i = 0; i < kBytesPerLine; ++i) {
    // Missing bytes of a last, short line are padded so the text column lines up.
    if (i < n)
      at += std::snprintf(hex + at, sizeof hex - at, "%02x", static_cast<unsigned char>(bytes[i]));
    else
      at += std::snprintf(hex + at, sizeof hex - at, "  ");
    if (i % 2 == 1 && i + 1 < kBytesPerLine)
      hex[at++] = ' ';
  }
  hex[at] = '\0';
  std::string text(bytes, n);
  for (char& c : text) {
    if (c < 0x20 || c > 0x7e)
      c = '.';
  }
  std::fprintf(mOut, "%08llx: %s  %s\n", static_cast<unsigned long long>(mOffset), hex,
               text.c_str());
  mOffset += n;
}

}  // namespace kvtsim_pool
