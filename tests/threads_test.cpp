// Threads transferring bytes of one file through locators at once: writes
// and reads into different pools, and reads through the block cache. Only a
// file's byte transfers are safe across threads, so each thread gets its
// locators before the threads start.

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "KVTSimRpm_Document.h"
#include "kvtsim_test_util.h"

namespace {

using Doc = KVTSimRpm_Document;

constexpr int kPools = 3;
constexpr int kThreadsPerPool = 2;
constexpr int kPieces = 64;
constexpr std::size_t kPiece = 256;
constexpr std::size_t kRange = kPieces * kPiece;  // bytes of one thread
constexpr int kRounds = 20;

// The bytes a thread writes to one of its pieces in one round.
std::string Pattern(int thread, int round, int piece) {
  std::string bytes(kPiece, '\0');
  for (std::size_t i = 0; i < kPiece; ++i)
    bytes[i] = static_cast<char>(thread * 31 + round * 7 + piece * 3 + static_cast<int>(i));
  return bytes;
}

// Writes each piece, reads it back at once; counts the pieces that read back
// differently. Touches only its own locators.
void Work(int thread, std::vector<KVTSimRpm_Locator> const& pieces, std::atomic<int>* mismatches) {
  std::string back(kPiece, '\0');
  for (int round = 0; round < kRounds; ++round) {
    for (int piece = 0; piece < kPieces; ++piece) {
      std::string bytes = Pattern(thread, round, piece);
      pieces[piece].Write(kPiece, bytes.data());
      if (pieces[piece].Read(kPiece, &back[0]) != kPiece || back != bytes)
        ++*mismatches;
    }
  }
}

class ThreadsTest : public testing::Test {
 protected:
  // The start of a thread's range: each pool holds kThreadsPerPool ranges.
  static KVTSimRpm_Locator RangeOf(KVTSimRpm_File const& file, int thread) {
    return file.Pool(thread / kThreadsPerPool).Start() + (thread % kThreadsPerPool) * kRange;
  }

  // Every thread's last round, read through a reader of the closed file.
  void ExpectLastRoundOnDisk() {
    Doc reader("USR1");
    KVTSimRpm_File file = reader.AddFile(dir_.Name("a.sim"), Doc::AccessRead);
    ASSERT_EQ(file.PoolCount(), static_cast<unsigned>(kPools));
    for (int thread = 0; thread < kPools * kThreadsPerPool; ++thread) {
      KVTSimRpm_Locator range = RangeOf(file, thread);
      std::string expected;
      for (int piece = 0; piece < kPieces; ++piece)
        expected += Pattern(thread, kRounds - 1, piece);
      std::string got(kRange, '\0');
      ASSERT_EQ(range.Read(kRange, &got[0]), kRange);
      EXPECT_TRUE(got == expected) << "range of thread " << thread;
    }
  }

  kvtsim_test::TempDir dir_;
};

}  // namespace

TEST_F(ThreadsTest, ConcurrentTransfersThroughDifferentPoolsLandWhereTheyBelong) {
  Doc document("USR1");
  KVTSimRpm_File file = document.AddFile(dir_.Name("a.sim"), Doc::AccessWrite);
  // All but the last pool are frozen: their data is written in place.
  for (int pool = 0; pool < kPools; ++pool) {
    if (pool > 0)
      file.NewPool(nullptr);
    file.Allocate(kThreadsPerPool * kRange);
  }
  // The piece locators of every thread, made before any thread runs.
  std::vector<std::vector<KVTSimRpm_Locator>> pieces(kPools * kThreadsPerPool);
  for (int thread = 0; thread < kPools * kThreadsPerPool; ++thread) {
    for (int piece = 0; piece < kPieces; ++piece)
      pieces[thread].push_back(RangeOf(file, thread) + piece * kPiece);
  }
  std::atomic<int> mismatches{0};
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kPools * kThreadsPerPool; ++thread)
    threads.emplace_back(Work, thread, std::cref(pieces[thread]), &mismatches);
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(mismatches.load(), 0);
  pieces.clear();
  document.Close();
  ExpectLastRoundOnDisk();
}

// Random small reads through a cache holding the whole file (filled blocks
// are read without a lock) and through one of a few blocks reused under
// each other's feet.
class ConcurrentReadersTest : public ThreadsTest,
                              public testing::WithParamInterface<std::uint64_t> {};

TEST_P(ConcurrentReadersTest, ShareTheReadCache) {
  constexpr std::size_t kData = 1 << 20;
  constexpr int kReaders = 4;
  std::string const data = kvtsim_test::RandomBytes(kData, 9);
  kvtsim_test::WriteOnePool(dir_.Name("r.sim"), data);
  std::mt19937 random(10);
  Doc document("USR1");
  document.SetReadCacheLimit(GetParam());
  KVTSimRpm_File file = document.AddFile(dir_.Name("r.sim"), Doc::AccessRead);
  std::vector<std::vector<std::pair<KVTSimRpm_Locator, std::size_t>>> reads(kReaders);
  for (auto& mine : reads) {
    for (int i = 0; i < 3000; ++i) {
      std::size_t offset = random() % (kData - 200);
      mine.emplace_back(file.Pool().Start() + offset, offset);
    }
  }
  std::atomic<int> mismatches{0};
  std::vector<std::thread> threads;
  for (auto const& mine : reads) {
    threads.emplace_back([&data, &mismatches, &mine] {
      char back[200];
      for (auto const& [at, offset] : mine) {
        if (at.Read(sizeof back, back) != sizeof back ||
            std::string(back, sizeof back) != data.substr(offset, sizeof back))
          ++mismatches;
      }
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(mismatches.load(), 0);
}

INSTANTIATE_TEST_SUITE_P(Limits, ConcurrentReadersTest,
                         testing::Values(KVTSimRpm_Document::kDefaultReadCacheLimit, 32 * 4096));
