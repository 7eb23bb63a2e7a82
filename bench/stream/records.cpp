// Figures 1 and 2 (read_bulk): whole 1 KiB records, appended to a pool and
// read back.
//
//  1 append:     records through KVTSimRpm_BStreamAppendToPool (chunk
//                256 KiB) / the same records gathered into a 256 KiB buffer
//                and written with write(2).
//  2 read_bulk:  records through KVTSimRpm_BStreamReadLocator / pread(2) of
//                256 KiB blocks and memcpy of each record.

#include "stream_common.h"

namespace bench::stream {
namespace {

// Field 0 of a record: its index.
std::uint32_t IndexOf(char const* record) {
  std::uint32_t index;
  std::memcpy(&index, record, 4);
  return index;
}

void AppendLibrary(benchmark::State& state) {
  std::string const path = PathOf("append-lib.sim");
  RunThroughput(
      state, TheConfig().bytes, [] {},
      [&] { return TimeLibraryWrite(path, [](KVTSimRpm_File& file) { AppendRecords(file); }); });
}

void AppendBaseline(benchmark::State& state) {
  std::string const path = PathOf("append-raw.bin");
  std::vector<char> buffer(kChunk);
  RunThroughput(
      state, TheConfig().bytes, [] {},
      [&] {
        return TimeRawWrite(path, [&](int fd) {
          Records records;
          std::size_t const size = OpaqueRecordSize();
          std::size_t fill = 0;
          for (std::uint64_t r = 0; r < Records::Count(); ++r) {
            if (fill + size > buffer.size()) {
              WriteAll(fd, buffer.data(), fill, path);
              fill = 0;
            }
            std::memcpy(buffer.data() + fill, records.Record(r), size);
            fill += size;
          }
          WriteAll(fd, buffer.data(), fill, path);
        });
      });
}

void ReadBulkLibrary(benchmark::State& state) {
  RunOverDataFile(state, [&] {
    Stopwatch watch;
    std::uint64_t sum = 0;
    ReadWithLibrary([&](KVTSimRpm_BStreamReadLocator& stream) {
      char record[kRecord];
      for (std::uint64_t r = 0; r < Records::Count(); ++r) {
        stream.Read(record, kRecord);
        sum += IndexOf(record);
      }
    });
    double seconds = watch.Seconds();
    Check(sum == Records::IndexSum(), "records read back wrong");
    return seconds;
  });
}

void ReadBulkBaseline(benchmark::State& state) {
  RunOverDataFile(state, [&] {
    Stopwatch watch;
    std::uint64_t sum = 0;
    RawReader reader(DataFile());
    std::size_t const size = OpaqueRecordSize();
    char record[kRecord];
    for (std::size_t n = reader.Next(); n != 0; n = reader.Next()) {
      for (std::size_t at = 0; at + size <= n; at += size) {
        std::memcpy(record, reader.Data() + at, size);
        benchmark::DoNotOptimize(record);
        sum += IndexOf(record);
      }
    }
    double seconds = watch.Seconds();
    Check(sum == Records::IndexSum(), "records read back wrong");
    return seconds;
  });
}

}  // namespace

void RegisterRecordFigures() {
  RegisterTimed("1_append/library", AppendLibrary);
  RegisterTimed("1_append/baseline", AppendBaseline);
  RegisterTimed("2_read_bulk/library", ReadBulkLibrary);
  RegisterTimed("2_read_bulk/baseline", ReadBulkBaseline);
}

}  // namespace bench::stream
