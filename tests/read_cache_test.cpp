// The read cache of a file's blocks: reads through locators return what a
// direct read of the file returns, while blocks are held, after writes
// through the same document, and when the file is cut underneath a reader.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>

#include "KVTSimRpm_Document.h"
#include "KVTSimRpm_FileImpl.h"
#include "KVTSimRpm_PoolImpl.h"
#include "kvtsim_test_util.h"

namespace {

using Doc = KVTSimRpm_Document;
using kvtsim_test::RandomBytes;
constexpr std::uint64_t kBlock = KVTSimRpm_BlockCache::kBlockSize;
constexpr std::uint64_t kHeader = 48 + 32;  // first pool: one directory entry

KVTSimRpm_BlockCache::Counters CountsOf(KVTSimRpm_File const& file) {
  return file.Pool().Impl()->File().Cache().Count();
}

// What a read of length bytes at data offset of the file's first pool would
// deliver now, read from the file's bytes.
std::string Direct(std::string const& path, std::uint64_t offset, std::uint64_t length) {
  std::string bytes = kvtsim_test::ReadBytes(path);
  std::uint64_t at = kHeader + offset;
  return at >= bytes.size() ? std::string() : bytes.substr(at, length);
}

std::string ReadAt(KVTSimRpm_Locator const& at, std::uint64_t length) {
  std::string bytes(length, '\0');
  bytes.resize(at.Read(length, &bytes[0]));
  return bytes;
}

class ReadCacheTest : public testing::Test {
 protected:
  void WriteFile(std::string const& data) { kvtsim_test::WriteOnePool(dir_.Name("a.sim"), data); }

  std::string Path() const { return dir_.File("a.sim"); }

  kvtsim_test::TempDir dir_;
};

}  // namespace

TEST_F(ReadCacheTest, SmallReadsMatchTheFileWhileBlocksComeAndGo) {
  std::string const data = RandomBytes(1 << 20, 1);
  WriteFile(data);
  Doc document("USR1");
  EXPECT_EQ(document.ReadCacheLimit(), Doc::kDefaultReadCacheLimit);
  document.SetReadCacheLimit(16 * kBlock);  // far less than the file: blocks are reused
  KVTSimRpm_File file = document.AddFile(dir_.Name("a.sim"), Doc::AccessRead);
  EXPECT_EQ(file.ReadCacheLimit(), 16 * kBlock);
  KVTSimRpm_Locator start = file.Pool().Start();
  std::mt19937 random(2);
  for (int i = 0; i < 20000; ++i) {
    // Mostly near a few places (hits), some anywhere, some past the end.
    std::uint64_t offset = i % 10 == 0 ? random() % (data.size() + 3 * kBlock)
                                       : (random() % 4) * 200000 + random() % 6000;
    std::uint64_t length = 1 + random() % (kBlock - 1);
    std::string expected = offset < data.size() ? data.substr(offset, length) : std::string();
    ASSERT_EQ(ReadAt(start + offset, length), expected) << offset << " " << length;
  }
  KVTSimRpm_BlockCache::Counters counts = CountsOf(file);
  EXPECT_LT(counts.misses, 20000u / 2) << "most reads are served from held blocks";
  EXPECT_LE(counts.blocks, 16u);

  // A lower limit releases what is held; 0 sends every read to the file.
  file.SetReadCacheLimit(0);
  EXPECT_EQ(CountsOf(file).blocks, 0u);
  EXPECT_EQ(ReadAt(start + 5, 100), data.substr(5, 100));
  EXPECT_EQ(CountsOf(file).blocks, 0u);
  EXPECT_EQ(CountsOf(file).misses, counts.misses);
}

TEST_F(ReadCacheTest, WritesThroughTheDocumentReachCachedBlocks) {
  std::string data = RandomBytes(64 * 1024, 3);
  WriteFile(data);
  Doc document("USR1");
  KVTSimRpm_File file = document.AddFile(dir_.Name("a.sim"), Doc::AccessUpdate);
  KVTSimRpm_Locator start = file.Pool().Start();
  auto expectSame = [&](std::uint64_t offset, std::uint64_t length) {
    std::string got = ReadAt(start + offset, length);
    EXPECT_EQ(got, Direct(Path(), offset, length)) << offset;
    EXPECT_EQ(got, data.substr(offset, length)) << offset;
  };
  for (std::uint64_t offset = 0; offset < data.size(); offset += 3000)
    expectSame(offset, 2000);
  EXPECT_GT(CountsOf(file).blocks, 10u);

  // Small writes inside one block, one across two blocks, one over many.
  std::mt19937 random(4);
  for (std::uint64_t length : {7ull, 3000ull, 20000ull}) {
    std::uint64_t offset = random() % (data.size() - length);
    std::string bytes = RandomBytes(length, static_cast<unsigned>(length));
    (start + offset).Write(length, bytes.data());
    data.replace(offset, length, bytes);
  }
  for (std::uint64_t offset = 0; offset < data.size(); offset += 1000)
    expectSame(offset, 2000);

  // The pool grows: bytes appended past the end join the last, partial block.
  std::string more = RandomBytes(5000, 5);
  file.Allocate(more.size()).Write(more.size(), more.data());
  data += more;
  for (std::uint64_t offset = data.size() - 9000; offset < data.size(); offset += 700)
    expectSame(offset, 3000);
}

// Both ways of keeping blocks: the whole file (it fits the default limit; a
// miss fills 64 KiB) and a few reused blocks.
TEST_F(ReadCacheTest, AFileCutUnderneathNeverCrashesTheReader) {
  std::string const data = RandomBytes(1 << 20, 6);
  for (std::uint64_t limit : {Doc::kDefaultReadCacheLimit, 8 * kBlock}) {
    SCOPED_TRACE(limit);
    WriteFile(data);
    Doc document("USR1");
    document.SetReadCacheLimit(limit);
    KVTSimRpm_File file = document.AddFile(dir_.Name("a.sim"), Doc::AccessRead);
    KVTSimRpm_Locator start = file.Pool().Start();
    ASSERT_EQ(ReadAt(start + 1000, 100), data.substr(1000, 100));
    ASSERT_EQ(ReadAt(start + 500000, 100), data.substr(500000, 100));

    kvtsim_test::Shrink(Path(), kHeader + 200000);
    // A block held from before still holds the bytes the file delivered then.
    EXPECT_EQ(ReadAt(start + 500000, 100), data.substr(500000, 100));
    EXPECT_EQ(ReadAt(start + 1000, 100), Direct(Path(), 1000, 100));
    // Blocks not held are read now: short across the new end, empty past it.
    EXPECT_EQ(ReadAt(start + 199950, 100), Direct(Path(), 199950, 100));
    EXPECT_EQ(ReadAt(start + 199950, 100).size(), 50u);
    EXPECT_EQ(ReadAt(start + 300000, 100), "");
    // The short block showed the cut: nothing past the new end is served
    // from memory, and from then on every read agrees with a direct one.
    for (std::uint64_t offset = 0; offset < data.size(); offset += 15000)
      ASSERT_EQ(ReadAt(start + offset, 200), Direct(Path(), offset, 200)) << offset;
  }
}
