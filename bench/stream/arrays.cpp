// Figures 6 and 7: arrays of doubles.
//
//  6 read_array:   InternalizeArray of the whole data pool as one array of
//                  doubles through KVTSimRpm_BStreamReadLocator (chunk
//                  256 KiB) / pread(2) of 256 KiB blocks and memcpy of each
//                  into the same destination array.
//  7 write_array:  ExternalizeArray of one array of doubles through
//                  KVTSimRpm_BStreamAppendToPool (chunk 256 KiB) / memcpy
//                  into a 256 KiB buffer and write(2) of each block.

#include <algorithm>

#include "KVTSimRpm_BStreamAppendToPool.h"
#include "stream_common.h"

namespace bench::stream {
namespace {

// A destination or source array of the benchmark's size in doubles, touched
// once so that no iteration pays for first-touch page faults.
std::vector<double> TouchedDoubles() {
  std::vector<double> values(TheConfig().bytes / sizeof(double));
  for (std::size_t i = 0; i < values.size(); ++i)
    values[i] = static_cast<double>(i) * 0.5;
  return values;
}

// Checks an array read from the data file: each record's field 0 is its
// index, in the low 4 bytes of the record's first double.
void CheckRecordsIn(std::vector<double> const& values) {
  std::size_t const perRecord = kRecord / sizeof(double);
  for (std::uint64_t r = 0; r < Records::Count(); r += 4099) {
    std::uint32_t index;
    std::memcpy(&index, &values[r * perRecord], 4);
    Check(index == static_cast<std::uint32_t>(r), "array read back wrong");
  }
}

// Times read(values) into a touched array of the configured size, read from
// the warm data file, and checks what it read.
template <typename Read>
void RunReadArray(benchmark::State& state, Read read) {
  std::vector<double> values;
  auto prepare = [&] {
    WarmFile(DataFile());
    values = TouchedDoubles();
  };
  RunThroughput(state, TheConfig().bytes, prepare, [&] {
    Stopwatch watch;
    read(values);
    double seconds = watch.Seconds();
    CheckRecordsIn(values);
    return seconds;
  });
}

void ReadArrayLibrary(benchmark::State& state) {
  RunReadArray(state, [](std::vector<double>& values) {
    ReadWithLibrary([&](KVTSimRpm_BStreamReadLocator& stream) {
      InternalizeArray(stream, values.data(), values.size());
    });
  });
}

void ReadArrayBaseline(benchmark::State& state) {
  RunReadArray(state, [](std::vector<double>& values) {
    RawReader reader(DataFile());
    char* to = reinterpret_cast<char*>(values.data());
    for (std::size_t n = reader.Next(); n != 0; n = reader.Next()) {
      std::memcpy(to, reader.Data(), n);
      to += n;
    }
    Check(to == reinterpret_cast<char*>(values.data() + values.size()), "short read");
  });
}

void WriteArrayLibrary(benchmark::State& state) {
  std::string const path = PathOf("array-lib.sim");
  std::vector<double> values;
  RunThroughput(
      state, TheConfig().bytes, [&] { values = TouchedDoubles(); },
      [&] {
        return TimeLibraryWrite(path, [&](KVTSimRpm_File& file) {
          KVTSimRpm_BStreamAppendToPool stream(file.Pool(), kChunk);
          ExternalizeArray(stream, values);
          stream.Flush();
        });
      });
}

void WriteArrayBaseline(benchmark::State& state) {
  std::string const path = PathOf("array-raw.bin");
  std::vector<double> values;
  std::vector<char> buffer(kChunk);
  RunThroughput(
      state, TheConfig().bytes, [&] { values = TouchedDoubles(); },
      [&] {
        return TimeRawWrite(path, [&](int fd) {
          char const* from = reinterpret_cast<char const*>(values.data());
          for (std::size_t left = values.size() * sizeof(double); left != 0;) {
            std::size_t const n = std::min(left, buffer.size());
            std::memcpy(buffer.data(), from, n);
            WriteAll(fd, buffer.data(), n, path);
            from += n;
            left -= n;
          }
        });
      });
}

}  // namespace

void RegisterArrayFigures() {
  RegisterTimed("6_read_array/library", ReadArrayLibrary);
  RegisterTimed("6_read_array/baseline", ReadArrayBaseline);
  RegisterTimed("7_write_array/library", WriteArrayLibrary);
  RegisterTimed("7_write_array/baseline", WriteArrayBaseline);
}

}  // namespace bench::stream
