#include "stream_common.h"

#include <unistd.h>

#include <stdexcept>

#include "KVTSimRpm_BStreamAppendToPool.h"

namespace bench::stream {

Config& TheConfig() {
  static Config config;
  return config;
}

std::string PathOf(std::string const& leaf) {
  return TheConfig().dir + "/" + leaf;
}

void CheckAndRemove(std::string const& path, std::uint64_t expected) {
  std::uint64_t size = FileSize(path);
  if (size != expected) {
    throw std::runtime_error(path + " has " + std::to_string(size) + " bytes, expected " +
                             std::to_string(expected));
  }
  Unlink(path);
}

std::size_t OpaqueRecordSize() {
  std::size_t size = kRecord;
  benchmark::DoNotOptimize(size);
  return size;
}

Records::Records() {
  for (std::size_t i = 0; i < kFieldsPerRecord; ++i) {
    std::uint32_t v = static_cast<std::uint32_t>(i) * 0x9E3779B1u;
    std::memcpy(mBytes + 4 * i, &v, 4);
  }
}

std::uint64_t Records::IndexSum() {
  std::uint64_t sum = 0;
  for (std::uint64_t r = 0; r < Count(); ++r)
    sum += static_cast<std::uint32_t>(r);
  return sum;
}

std::uint64_t Records::WordSum() {
  std::uint64_t pattern = 0;
  for (std::size_t i = 2; i < kFieldsPerRecord; i += 2) {
    pattern += static_cast<std::uint32_t>(i) * 0x9E3779B1u;
    pattern += static_cast<std::uint64_t>(static_cast<std::uint32_t>(i + 1) * 0x9E3779B1u) << 32;
  }
  // Word 0: the index in the low half, field 1's pattern in the high half.
  std::uint64_t const high = static_cast<std::uint64_t>(0x9E3779B1u) << 32;
  return Count() * (pattern + high) + IndexSum();
}

std::uint64_t Records::FieldSum() {
  std::uint64_t pattern = 0;
  for (std::size_t i = 1; i < kFieldsPerRecord; ++i)
    pattern += static_cast<std::uint32_t>(i) * 0x9E3779B1u;
  return Count() * pattern + IndexSum();
}

void AppendRecords(KVTSimRpm_File const& file) {
  KVTSimRpm_BStreamAppendToPool stream(file.Pool(), kChunk);
  Records records;
  for (std::uint64_t r = 0; r < Records::Count(); ++r)
    stream.Write(records.Record(r), kRecord);
  stream.Flush();
  // Destroying the document writes nothing: the open pool's stored header
  // already says that its length is the rest of the file.
}

std::string const& DataFile() {
  static std::string path;
  if (path.empty()) {
    std::string candidate = PathOf("data.sim");
    {
      KVTSimRpm_Document document(kSig);
      AppendRecords(
          document.AddFile(KVTString(candidate.c_str()), KVTSimRpm_Document::AccessWrite));
    }
    Check(FileSize(candidate) == kFirstPoolHeader + TheConfig().bytes,
          "the data file has the wrong size");
    // Written through to the disk before anything is measured: its dirty
    // pages would otherwise be written back while a benchmark runs.
    int fd = OpenOrFail(candidate);
    if (::fsync(fd) != 0)
      FailErrno("fsync", candidate);
    CloseOrFail(fd, candidate);
    path = candidate;
  }
  return path;
}

RawReader::RawReader(std::string const& path) : mPath(path), mFd(OpenOrFail(path)), mBlock(kChunk) {
  char header[kPoolHeader];
  Check(PReadFull(mFd, header, sizeof header, 0, mPath) == sizeof header, "short header");
  mOffset = KVTSimRpm_PoolHeader::Decode(header).HeaderLength();
}

RawReader::~RawReader() {
  ::close(mFd);
}

std::size_t RawReader::Next() {
  std::size_t n = PReadFull(mFd, mBlock.data(), mBlock.size(), mOffset, mPath);
  mOffset += n;
  return n;
}

}  // namespace bench::stream
