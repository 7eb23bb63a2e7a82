// Pool descriptions through the public handles: record facts as stored,
// open and frozen states, and directory entries loaded or not, on real files.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "KVTSimPoolManager.h"
#include "kvtsim_test_util.h"

namespace {

using Doc = KVTSimRpm_Document;
using Description = KVTSimRpm_PoolDescription;

class PoolDescriptionTest : public testing::Test {
 protected:
  // a.sim: a frozen pool with 100 data bytes, then an open empty one;
  // b.sim, made afterwards in the same document: one pool whose directory
  // lists itself and both pools of a.sim.
  void SetUp() override {
    Doc document("USR1");
    KVTSimRpm_File a = document.AddFile(dir_.Name("a.sim"), Doc::AccessWrite);
    a.Allocate(100);
    a.NewPool(nullptr);
    KVTSimRpm_File b = document.AddFile(dir_.Name("b.sim"), Doc::AccessWrite);
    b.Allocate(10).Write(10, "0123456789");
    for (KVTSimRpm_Pool const& pool : {a.Pool(0), a.Pool(1), b.Pool(0)})
      ids_.push_back(pool.GetGUID().CStr());
    document.Close();
  }

  kvtsim_test::TempDir dir_;
  std::vector<std::string> ids_;  // a.sim pool 0, a.sim pool 1, b.sim pool 0
};

}  // namespace

TEST_F(PoolDescriptionTest, DescribesRecordsAsTheWalkFindsThem) {
  Doc document("USR1");
  KVTSimRpm_File a = document.AddFile(dir_.Name("a.sim"), Doc::AccessRead);
  KVTSimRpm_ChainWalker walker(dir_.Name("a.sim"), "USR1");
  for (unsigned i = 0; i < a.PoolCount(); ++i) {
    ASSERT_TRUE(walker.Next());
    Description const d = a.Pool(i).Describe();
    EXPECT_EQ(std::string(d.FileName().CStr()), dir_.File("a.sim"));
    EXPECT_EQ(d.PoolIndex(), i);
    EXPECT_EQ(d.Location(), walker.Location());
    EXPECT_EQ(d.RecordLength(), walker.Length());
    EXPECT_EQ(d.HeaderLength(), walker.Header().HeaderLength());
    EXPECT_EQ(d.DataLength(), a.Pool(i).Length());
    EXPECT_EQ(d.Identifier(), walker.Identifier());
    // Read-only pools never grow, yet the last one is stored open.
    EXPECT_EQ(d.StoredState(), i == 0 ? Description::StateFrozen : Description::StateOpen) << i;
  }
  EXPECT_EQ(a.Pool(0).Describe().DataLength(), 100u);
  EXPECT_EQ(a.Pool(0).Describe().HeaderLength(), 48u + 32u);
  EXPECT_EQ(a.Pool(1).Describe().Location(), 180u);
  EXPECT_EQ(a.Pool(1).Describe().RecordLength(), 48u + 64u);
}

TEST_F(PoolDescriptionTest, StoredStateFollowsTheHeaderOfAWritableFile) {
  Doc document("USR1");
  KVTSimRpm_File a = document.AddFile(dir_.Name("a.sim"), Doc::AccessUpdate);
  EXPECT_EQ(a.Pool(1).Describe().StoredState(), Description::StateOpen);
  a.Allocate(5);
  a.NewPool(nullptr);
  // The pool that was open is now frozen on disk, and the new one open.
  EXPECT_EQ(a.Pool(1).Describe().StoredState(), Description::StateFrozen);
  EXPECT_EQ(a.Pool(1).Describe().RecordLength(), 48u + 64u + 5u);
  EXPECT_EQ(a.Pool(2).Describe().StoredState(), Description::StateOpen);
  document.Close();
  KVTSimRpm_ChainWalker walker(dir_.Name("a.sim"), nullptr);
  ASSERT_TRUE(walker.Next() && walker.Next());
  EXPECT_FALSE(walker.Header().StoredOpen());
}

TEST_F(PoolDescriptionTest, EntriesSayWhetherAndWhereEachPoolIsLoaded) {
  Doc document("USR1");
  KVTSimRpm_File b = document.AddFile(dir_.Name("b.sim"), Doc::AccessRead);
  Description const alone = b.Pool(0).Describe();
  ASSERT_EQ(alone.Entries().size(), 3u);
  EXPECT_EQ(alone.Identifier(), ids_[2]);
  EXPECT_TRUE(alone.Entries()[0].Loaded());
  EXPECT_EQ(std::string(alone.Entries()[0].FileName().CStr()), dir_.File("b.sim"));
  for (std::size_t slot : {1, 2}) {
    Description::Entry const& entry = alone.Entries()[slot];
    EXPECT_EQ(entry.Identifier(), ids_[slot - 1]) << slot;
    EXPECT_FALSE(entry.Loaded()) << slot;
    EXPECT_EQ(std::string(entry.FileName().CStr()), "") << slot;
  }

  document.AddFile(dir_.Name("a.sim"), Doc::AccessRead);
  Description const together = b.Pool(0).Describe();
  for (std::size_t slot : {1, 2}) {
    Description::Entry const& entry = together.Entries()[slot];
    EXPECT_TRUE(entry.Loaded()) << slot;
    EXPECT_EQ(std::string(entry.FileName().CStr()), dir_.File("a.sim")) << slot;
    EXPECT_EQ(entry.PoolIndex(), slot - 1) << slot;
  }
  // A description is a snapshot: it outlives the document and its files.
  document.Close();
  EXPECT_TRUE(together.Entries()[2].Loaded());
  EXPECT_FALSE(alone.Entries()[2].Loaded());
  EXPECT_EQ(together.RecordLength(), 48u + 96u + 10u);
}
