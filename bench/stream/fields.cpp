// Figures 2 (read_fields), 3 and 8: single values, one at a time.
//
//  2 read_fields:   PrepRead(4) + InternalizeScalar per field / a buffered
//                   decoder over 256 KiB pread(2) blocks.
//  3 write_fields:  PrepWrite(4) + ExternalizeScalar through a locator write
//                   stream / a buffered encoder writing 256 KiB blocks.
//  8 read_doubles, write_doubles: Internalize / Externalize of one double at
//                   a time through the locator streams; compared, field for
//                   field, with the 4-byte fields of figures 2 and 3.

#include "KVTSimRpm_BStreamWriteLocator.h"
#include "KVTSimRpm_Swapper.h"
#include "stream_common.h"

namespace bench::stream {
namespace {

void ReadFieldsLibrary(benchmark::State& state) {
  std::uint64_t const fields = TheConfig().bytes / 4;
  RunOverDataFile(state, [&] {
    Stopwatch watch;
    std::uint64_t sum = 0;
    ReadWithLibrary([&](KVTSimRpm_BStreamReadLocator& stream) {
      for (std::uint64_t i = 0; i < fields; ++i) {
        unsigned int value;
        KVTSimRpm_Swapper::InternalizeScalar(stream.PrepRead(4), value);
        sum += value;
      }
    });
    double seconds = watch.Seconds();
    Check(sum == Records::FieldSum(), "fields read back wrong");
    return seconds;
  });
}

// A hand-written buffered decoder: a cursor over a 256 KiB block, refilled
// with pread(2) when a field does not fit.
class RawDecoder {
 public:
  explicit RawDecoder(std::string const& path) : mReader(path) {}

  bool Next(std::uint32_t& value) {
    if (mEnd - mCursor < 4 && !Refill())
      return false;
    std::memcpy(&value, mCursor, 4);
    mCursor += 4;
    return true;
  }

 private:
  bool Refill() {
    // Records are whole fields, so a block never ends inside one.
    std::size_t n = mReader.Next();
    mCursor = mReader.Data();
    mEnd = mCursor + n;
    return n >= 4;
  }

  RawReader mReader;
  char const* mCursor = nullptr;
  char const* mEnd = nullptr;
};

void ReadFieldsBaseline(benchmark::State& state) {
  RunOverDataFile(state, [&] {
    Stopwatch watch;
    std::uint64_t sum = 0;
    RawDecoder decoder(DataFile());
    for (std::uint32_t value; decoder.Next(value);)
      sum += value;
    double seconds = watch.Seconds();
    Check(sum == Records::FieldSum(), "fields read back wrong");
    return seconds;
  });
}

// Times put(stream) on a locator write stream over a new allocation of the
// configured size, flushed at the end.
template <typename Put>
void WriteWithLibrary(benchmark::State& state, char const* leaf, Put put) {
  std::string const path = PathOf(leaf);
  std::uint64_t const bytes = TheConfig().bytes;
  RunThroughput(
      state, bytes, [] {},
      [&] {
        return TimeLibraryWrite(path, [&](KVTSimRpm_File& file) {
          KVTSimRpm_BStreamWriteLocator stream(file.Allocate(bytes), bytes, kChunk);
          put(stream, bytes);
          stream.Flush();
        });
      });
}

void WriteFieldsLibrary(benchmark::State& state) {
  WriteWithLibrary(state, "fields-lib.sim",
                   [](KVTSimRpm_BStreamWriteLocator& stream, std::uint64_t bytes) {
                     for (std::uint64_t i = 0; i < bytes / 4; ++i) {
                       unsigned int value = static_cast<unsigned int>(i);
                       KVTSimRpm_Swapper::ExternalizeScalar(stream.PrepWrite(4), value);
                     }
                   });
}

// A hand-written buffered encoder: a cursor over a 256 KiB block, written
// with write(2) when a field does not fit.
class RawEncoder {
 public:
  RawEncoder(int fd, std::string const& path)
      : mFd(fd), mPath(path), mBlock(kChunk), mCursor(mBlock.data()), mEnd(mCursor + kChunk) {}

  void Put(std::uint32_t value) {
    if (mEnd - mCursor < 4)
      Flush();
    std::memcpy(mCursor, &value, 4);
    mCursor += 4;
  }

  void Flush() {
    WriteAll(mFd, mBlock.data(), static_cast<std::size_t>(mCursor - mBlock.data()), mPath);
    mCursor = mBlock.data();
  }

 private:
  int mFd;
  std::string const& mPath;
  std::vector<char> mBlock;
  char* mCursor;
  char* mEnd;
};

void WriteFieldsBaseline(benchmark::State& state) {
  std::string const path = PathOf("fields-raw.bin");
  std::uint64_t const bytes = TheConfig().bytes;
  RunThroughput(
      state, bytes, [] {},
      [&] {
        return TimeRawWrite(path, [&](int fd) {
          RawEncoder encoder(fd, path);
          for (std::uint64_t i = 0; i < bytes / 4; ++i)
            encoder.Put(static_cast<std::uint32_t>(i));
          encoder.Flush();
        });
      });
}

void ReadDoublesLibrary(benchmark::State& state) {
  std::uint64_t const fields = TheConfig().bytes / sizeof(double);
  RunOverDataFile(state, [&] {
    Stopwatch watch;
    // Summed as bits: a chain of floating-point additions would cost more
    // than the integer sum of the 4-byte figure and blur the comparison.
    std::uint64_t sum = 0;
    ReadWithLibrary([&](KVTSimRpm_BStreamReadLocator& stream) {
      for (std::uint64_t i = 0; i < fields; ++i) {
        double value;
        Internalize(stream, value);
        std::uint64_t bits;
        std::memcpy(&bits, &value, sizeof bits);
        sum += bits;
      }
    });
    double seconds = watch.Seconds();
    Check(sum == Records::WordSum(), "doubles read back wrong");
    return seconds;
  });
}

void WriteDoublesLibrary(benchmark::State& state) {
  WriteWithLibrary(
      state, "doubles-lib.sim", [](KVTSimRpm_BStreamWriteLocator& stream, std::uint64_t bytes) {
        // From a signed count: one instruction, where an unsigned
        // one takes several.
        for (std::int64_t i = 0; i < static_cast<std::int64_t>(bytes / sizeof(double)); ++i)
          Externalize(stream, static_cast<double>(i));
      });
}

}  // namespace

void RegisterFieldFigures() {
  RegisterTimed("2_read_fields/library", ReadFieldsLibrary);
  RegisterTimed("2_read_fields/baseline", ReadFieldsBaseline);
  RegisterTimed("3_write_fields/library", WriteFieldsLibrary);
  RegisterTimed("3_write_fields/baseline", WriteFieldsBaseline);
  RegisterTimed("8_read_doubles/library", ReadDoublesLibrary);
  RegisterTimed("8_write_doubles/library", WriteDoublesLibrary);
}

}  // namespace bench::stream
