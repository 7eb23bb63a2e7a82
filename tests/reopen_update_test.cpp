// Files reopened for update whose last pool is not what a clean close leaves:
// where the next pool goes, and what the reopened file holds afterwards.

#include <gtest/gtest.h>

#include <string>

#include "KVTSimRpm_Document.h"
#include "kvtsim_test_util.h"

namespace {

using Doc = KVTSimRpm_Document;
using kvtsim_test::ReadBytes;

class ReopenUpdateTest : public testing::Test {
 protected:
  std::string Path() const { return dir_.File("a.sim"); }
  KVTString Name() const { return dir_.Name("a.sim"); }

  static std::string Data(KVTSimRpm_Pool const& pool, std::size_t n) {
    std::string bytes(n, '\0');
    bytes.resize(pool.Start().Read(n, &bytes[0]));
    return bytes;
  }

  // Reopens the file for update and adds a pool holding "new pool".
  void AddPoolOnReopen() {
    Doc document("USR1");
    KVTSimRpm_File file = document.AddFile(Name(), Doc::AccessUpdate);
    file.NewPool(nullptr);
    file.Allocate(8).Write(8, "new pool");
    document.Close();
  }

  kvtsim_test::TempDir dir_;
};

}  // namespace

// A writer killed right after NewPool froze its pool, with space allocated
// but not written, leaves a last pool whose stored length passes the file's
// end. The next pool must start where that length ends.
TEST_F(ReopenUpdateTest, PoolAfterAFrozenLengthPastTheEndStartsWhereItEnds) {
  {
    Doc document("USR1");
    KVTSimRpm_File file = document.AddFile(Name(), Doc::AccessWrite);
    file.Allocate(100).Write(100, std::string(100, 'd').data());
    document.Close();
  }
  std::size_t size = ReadBytes(Path()).size();  // 80-byte header and the data
  kvtsim_test::Patch(Path(), 20, "0000000000000" + std::to_string(size + 50));
  AddPoolOnReopen();

  Doc reader("USR1");
  KVTSimRpm_File file = reader.AddFile(Name(), Doc::AccessRead);
  ASSERT_EQ(file.PoolCount(), 2u);
  EXPECT_EQ(file.Pool(0).Length(), 150u);
  EXPECT_EQ(Data(file.Pool(0), 100), std::string(100, 'd'));
  EXPECT_EQ(file.Pool(1).Length(), 8u);
  EXPECT_EQ(Data(file.Pool(1), 8), "new pool");
}

// An empty pool whose directory names its own identifier four times has a
// longer header than the pool that replaces it; none of its bytes may stay
// behind as data of the new, open pool.
TEST_F(ReopenUpdateTest, ReplacedEmptyPoolLeavesNoBytesBehind) {
  {
    Doc document("USR1");
    document.AddFile(Name(), Doc::AccessWrite);
    document.Close();
  }
  std::string bytes = ReadBytes(Path());
  ASSERT_EQ(bytes.size(), 80u);
  std::string id = bytes.substr(48, 32);
  kvtsim_test::WriteBytes(Path(), bytes.substr(0, 44) + kvtsim_test::U32(4) + id + id + id + id);
  AddPoolOnReopen();

  Doc reader("USR1");
  KVTSimRpm_File file = reader.AddFile(Name(), Doc::AccessRead);
  ASSERT_EQ(file.PoolCount(), 1u);
  EXPECT_EQ(file.Pool().Length(), 8u);
  EXPECT_EQ(Data(file.Pool(), 8), "new pool");
}
