// Pools whose directories list only the pools they refer to: what is stored
// for each way of making one, references through them across files, and the
// refusals that come before anything is written.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "KVTBasAssertException.h"
#include "KVTSimExc.h"
#include "KVTSimRpm_BStreamAppendToPool.h"
#include "KVTSimRpm_BStreamReadLocator.h"
#include "KVTSimRpm_Document.h"
#include "KVTSimRpm_PoolDirectoryImpl.h"
#include "kvtsim_test_util.h"

namespace {

using Doc = KVTSimRpm_Document;
using Ids = std::vector<std::string>;

std::string IdOf(KVTSimRpm_Pool const& pool) {
  return pool.GetGUID().CStr();
}

// The directory of every pool of a file, read from its bytes.
std::vector<Ids> StoredDirectories(std::string const& path) {
  std::string bytes = kvtsim_test::ReadBytes(path);
  std::vector<Ids> directories;
  for (std::size_t at = 0; at < bytes.size();) {
    std::uint32_t count = 0;
    std::memcpy(&count, bytes.data() + at + 44, 4);  // little-endian host
    Ids ids;
    for (std::uint32_t i = 0; i < count; ++i)
      ids.push_back(bytes.substr(at + 48 + 32 * i, 32));
    directories.push_back(ids);
    std::uint64_t length = std::stoull(bytes.substr(at + 20, 16));
    at = length != 0 ? at + length : bytes.size();
  }
  return directories;
}

class NarrowDirectoryTest : public testing::Test {
 protected:
  // mesh.sim: a nodes pool with "node-N" records, then an elements pool.
  void WriteMesh() {
    Doc document("USR1");
    KVTSimRpm_File mesh = document.AddFile(dir_.Name("mesh.sim"), Doc::AccessWrite);
    mesh.Allocate(60).Write(60, "node-0......node-1......node-2......node-3......node-4......");
    mesh.NewPool(nullptr);
    mesh.Allocate(8).Write(8, "elements");
    meshIds_ = {IdOf(mesh.Pool(0)), IdOf(mesh.Pool(1))};
    document.Close();
  }

  kvtsim_test::TempDir dir_;
  Ids meshIds_;
};

}  // namespace

TEST_F(NarrowDirectoryTest, EachWayOfMakingAPoolStoresItselfThenTheNamedPools) {
  WriteMesh();
  Doc document("USR1");
  KVTSimRpm_File mesh = document.AddFile(dir_.Name("mesh.sim"), Doc::AccessRead);
  KVTSimRpm_Pool nodes = mesh.Pool(0);
  KVTSimRpm_Pool elements = mesh.Pool(1);

  // First pool of a file; a pool named twice is listed once.
  KVTSimRpm_File results =
      document.AddFile(dir_.Name("results.sim"), Doc::AccessWrite, {elements, nodes, elements});
  Ids expected0 = {IdOf(results.Pool()), meshIds_[1], meshIds_[0]};
  results.Allocate(1).Write(1, "a");
  // Further pools: a narrow one, one that refers to nothing, a wide one.
  results.NewPool(nullptr, {nodes, results.Pool(0)});
  Ids expected1 = {IdOf(results.Pool()), meshIds_[0], expected0[0]};
  results.Allocate(1).Write(1, "b");
  std::string const forced = "0123456789abcdef0123456789abcdef";
  results.NewPool(forced.c_str(), {});
  results.Allocate(1).Write(1, "c");
  results.NewPool(nullptr);
  Ids expectedWide = {IdOf(results.Pool()), meshIds_[0],  meshIds_[1],
                      expected0[0],         expected1[0], forced};
  KVTSimRpm_File generated = document.CreateGenerated(dir_.Name(""), "gen", {nodes});
  Ids expectedGenerated = {IdOf(generated.Pool()), meshIds_[0]};
  document.Close();

  EXPECT_EQ(StoredDirectories(dir_.File("results.sim")),
            (std::vector<Ids>{expected0, expected1, {forced}, expectedWide}));
  EXPECT_EQ(StoredDirectories(dir_.File("gen")), std::vector<Ids>{expectedGenerated});
}

TEST_F(NarrowDirectoryTest, ReferencesAcrossFilesResolveThroughNarrowDirectories) {
  WriteMesh();
  {
    Doc document("USR1");
    KVTSimRpm_File mesh = document.AddFile(dir_.Name("mesh.sim"), Doc::AccessRead);
    KVTSimRpm_File results =
        document.AddFile(dir_.Name("results.sim"), Doc::AccessWrite, {mesh.Pool(0)});
    {
      KVTSimRpm_BStreamAppendToPool out(results.Pool(), 64);
      for (int node : {3, 1, 4})
        Externalize(out, mesh.Pool(0).Start() + 12 * static_cast<unsigned>(node));
      Externalize(out, results.Pool().Start());  // the pool itself: slot 0
      // The elements pool is not listed: refused, exactly as for a pool made
      // after the writing pool, and the stream has taken nothing.
      unsigned long long before = out.Length();
      EXPECT_THROW(Externalize(out, mesh.Pool(1).Start()), KVTSimExcCantExternalizeLoc);
      EXPECT_EQ(out.Length(), before);
      out.Flush();
    }
    document.Close();
  }
  // Read back with the files added in the other order: the referring file
  // first names the mesh pool before the mesh is loaded.
  Doc reader("USR1");
  KVTSimRpm_File results = reader.AddFile(dir_.Name("results.sim"), Doc::AccessRead);
  KVTSimRpm_File mesh = reader.AddFile(dir_.Name("mesh.sim"), Doc::AccessRead);
  KVTSimRpm_BStreamReadLocator in(results.Pool().Start(), results.Pool().Length(), 64);
  for (char const* node : {"node-3", "node-1", "node-4"}) {
    KVTSimRpm_Locator at;
    Internalize(in, at);
    EXPECT_TRUE(at.SamePool(mesh.Pool(0).Start()));
    char bytes[6];
    ASSERT_EQ(at.Read(sizeof bytes, bytes), sizeof bytes);
    EXPECT_EQ(std::string(bytes, sizeof bytes), node);
  }
  KVTSimRpm_Locator self;
  Internalize(in, self);
  EXPECT_TRUE(self == results.Pool().Start());
}

TEST_F(NarrowDirectoryTest, PoolsNotLoadedHereAreRefusedBeforeAnythingIsWritten) {
  WriteMesh();
  std::string const meshBytes = kvtsim_test::ReadBytes(dir_.File("mesh.sim"));
  Doc other("USR1");
  KVTSimRpm_Pool foreign = other.AddFile(dir_.Name("mesh.sim"), Doc::AccessRead).Pool(0);

  Doc document("USR1");
  KVTSimRpm_File work = document.AddFile(dir_.Name("work.sim"), Doc::AccessWrite);
  work.Allocate(4).Write(4, "data");
  std::string const workBytes = kvtsim_test::ReadBytes(dir_.File("work.sim"));
  // Another document's pool: nothing opened, emptied, created or added.
  EXPECT_THROW(work.NewPool(nullptr, {work.Pool(), foreign}), KVTSimExcValidationFailure);
  EXPECT_EQ(work.PoolCount(), 1u);
  EXPECT_THROW(document.AddFile(dir_.Name("mesh.sim"), Doc::AccessWrite, {foreign}),
               KVTSimExcValidationFailure);
  EXPECT_EQ(kvtsim_test::ReadBytes(dir_.File("mesh.sim")), meshBytes);
  EXPECT_THROW(document.CreateGenerated(dir_.Name(""), "gen", {foreign}),
               KVTSimExcValidationFailure);
  EXPECT_NE(access(dir_.File("gen").c_str(), F_OK), 0);
  // A list only makes sense for a new first pool.
  EXPECT_THROW(document.AddFile(dir_.Name("mesh.sim"), Doc::AccessRead, {work.Pool()}),
               KVTSimExcValidationFailure);
  EXPECT_EQ(kvtsim_test::ReadBytes(dir_.File("work.sim")), workBytes);

  // A pool of a file closed since: its handle is dead and fails as any does.
  KVTSimRpm_File mesh = document.AddFile(dir_.Name("mesh.sim"), Doc::AccessRead);
  KVTSimRpm_Pool gone = mesh.Pool(0);
  document.Close(mesh);
  EXPECT_EQ(kvtsim_test::FailedCheck([&] { work.NewPool(nullptr, {gone}); }),
            "mCounter->mStrong != 0");
  EXPECT_EQ(work.PoolCount(), 1u);
}
