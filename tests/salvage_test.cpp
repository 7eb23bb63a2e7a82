// Salvage reads and recovery of damaged files, on crafted bytes: a file cut
// at every offset, headers torn at sector and page boundaries, pools stored
// open ahead of others, zeros where a header should be, torn stored lengths;
// and the recovered files, which the loader must open with the same pools.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <string>
#include <vector>

#include "KVTSimExc.h"
#include "KVTSimRpm_Document.h"
#include "KVTSimRpm_FileRecovery.h"
#include "KVTSimRpm_PoolHeader.h"
#include "KVTSimUttOSError.h"
#include "KVTSimUttOSFile.h"
#include "kvtsim_test_util.h"

namespace {

using Doc = KVTSimRpm_Document;
using Header = KVTSimRpm_PoolHeader;
using Recovery = KVTSimRpm_FileRecovery;
using kvtsim_test::Patch;
using kvtsim_test::ReadBytes;
using kvtsim_test::WriteBytes;

// A pool as the tests expect to find it.
struct Expected {
  std::uint64_t location;
  std::uint64_t length;  // record length
};

// What a file holds, pool by pool: the data of each pool as written.
struct Written {
  std::vector<Expected> pools;
  std::vector<std::string> data;
  std::vector<std::string> ids;
};

std::string KindOf(KVTBasException const& e) {
  std::string text = e.AsString(KVTBasStringModeShort).CStr();
  return text.substr(0, text.find('('));
}

class SalvageTest : public testing::Test {
 protected:
  // Writes pools holding dataSizes bytes each (the last one left open), or
  // fewer when a size is 0; returns what was written.
  Written WritePools(std::string const& name, std::vector<std::size_t> const& dataSizes) {
    Doc document("USR1");
    KVTSimRpm_File file = document.AddFile(dir_.Name(name), Doc::AccessWrite);
    Written written;
    std::uint64_t location = 0;
    for (std::size_t i = 0; i < dataSizes.size(); ++i) {
      if (i > 0)
        file.NewPool(nullptr);
      std::string data = kvtsim_test::RandomBytes(dataSizes[i], static_cast<unsigned>(i));
      if (!data.empty())
        file.Allocate(data.size()).Write(data.size(), data.data());
      std::uint64_t length = file.Pool().Describe().RecordLength();
      written.pools.push_back({location, length});
      written.data.push_back(data);
      written.ids.push_back(file.Pool().GetGUID().CStr());
      location += length;
    }
    document.Close();
    return written;
  }

  // Salvages name and checks the pools kept against expected (lengths and,
  // up to the end of the file, data) and the report's counts.
  KVTSimRpm_SalvageReport Salvage(std::string const& name, std::vector<Expected> const& expected,
                                  Written const& written) {
    Doc document("USR1");
    KVTSimRpm_SalvageReport report;
    KVTSimRpm_File file = document.AddFileSalvaged(dir_.Name(name), report);
    EXPECT_TRUE(file.ReadOnly());
    EXPECT_EQ(report.PoolsKept(), expected.size());
    EXPECT_EQ(file.PoolCount(), expected.size());
    std::uint64_t const size = ReadBytes(dir_.File(name)).size();
    EXPECT_EQ(report.FileSize(), size);
    for (unsigned i = 0; i < file.PoolCount() && i < expected.size(); ++i) {
      KVTSimRpm_PoolDescription d = file.Pool(i).Describe();
      EXPECT_EQ(d.Location(), expected[i].location) << "pool " << i;
      EXPECT_EQ(d.RecordLength(), expected[i].length) << "pool " << i;
      EXPECT_EQ(d.Identifier(), written.ids[i]) << "pool " << i;
      std::uint64_t const inFile =
          std::min<std::uint64_t>(d.DataLength(), size - d.Location() - d.HeaderLength());
      std::string back(inFile, '\0');
      file.Pool(i).Start().Read(inFile, &back[0]);
      EXPECT_TRUE(back == written.data[i].substr(0, inFile)) << "pool " << i;
    }
    return report;
  }

  // Stores the exact length of pool in its header, as freezing it does.
  void Freeze(std::string const& name, Expected const& pool) {
    Header frozen;
    frozen.SetStoredLength(pool.length);
    Patch(dir_.File(name), pool.location + Header::kLengthOffset,
          std::string(frozen.LengthDigits(), Header::kLengthDigits));
  }

  // The error kind the loader raises for name, or "" with the pools it loads.
  std::string StrictLoad(std::string const& name, unsigned* pools = nullptr) {
    Doc document("USR1");
    try {
      KVTSimRpm_File file = document.AddFile(dir_.Name(name), Doc::AccessRead);
      if (pools != nullptr)
        *pools = file.PoolCount();
    } catch (KVTBasException const& e) {
      return KindOf(e);
    }
    return "";
  }

  // Recovers name into a new file and checks that the loader opens it with
  // the salvaged pools; returns the recovery and removes the new file.
  Recovery RecoverAndLoad(std::string const& name, KVTSimRpm_SalvageReport const& report) {
    std::string const out = name + ".recovered";
    Recovery recovery = Recovery::RecoverTo(dir_.Name(name), dir_.Name(out), "USR1");
    EXPECT_EQ(recovery.Report().PoolsKept(), report.PoolsKept());
    EXPECT_EQ(ReadBytes(dir_.File(out)).size(), report.KeptBytes());
    Doc reader("USR1");
    KVTSimRpm_File file = reader.AddFile(dir_.Name(out), Doc::AccessRead);
    EXPECT_EQ(file.PoolCount(), report.PoolsKept());
    // Nothing left to salvage in what recovery wrote.
    KVTSimRpm_SalvageReport again;
    Doc other("USR1");
    other.AddFileSalvaged(dir_.Name(out), again);
    EXPECT_FALSE(again.LeftOut());
    EXPECT_FALSE(again.ClosedUp());
    EXPECT_EQ(Recovery::Plan(dir_.Name(out), "USR1").ChangesFile(), false);
    std::remove(dir_.File(out).c_str());
    return recovery;
  }

  kvtsim_test::TempDir dir_;
};

}  // namespace

TEST_F(SalvageTest, AFileAddedAgainOrCopiedIsNotLoadedTwice) {
  WritePools("a.sim", {100, 60, 40});
  std::string const before = ReadBytes(dir_.File("a.sim"));
  // Added again to the same document: the same file and report.
  Doc document("USR1");
  KVTSimRpm_SalvageReport first;
  KVTSimRpm_SalvageReport second;
  KVTSimRpm_File a = document.AddFileSalvaged(dir_.Name("a.sim"), first);
  KVTSimRpm_File b = document.AddFileSalvaged(dir_.Name("a.sim"), second);
  EXPECT_EQ(b.PoolCount(), 3u);
  EXPECT_EQ(second.KeptBytes(), first.KeptBytes());
  // A copy of the file holds pools the document has loaded already.
  WriteBytes(dir_.File("copy.sim"), before);
  KVTSimRpm_SalvageReport copy;
  KVTSimRpm_File c = document.AddFileSalvaged(dir_.Name("copy.sim"), copy);
  EXPECT_EQ(c.PoolCount(), 0u);
  EXPECT_EQ(copy.Reason(), "KVTSimExcPoolAlreadyInDoc");
  EXPECT_EQ(copy.ReasonCode(), KVTSimCodePoolAlreadyInDoc);
  EXPECT_EQ(copy.BytesLeftOut(), before.size());
}

TEST_F(SalvageTest, FileCutAtEveryOffsetKeepsEveryWholePool) {
  Written w = WritePools("whole.sim", {100, 60, 40});
  std::string const whole = ReadBytes(dir_.File("whole.sim"));
  ASSERT_EQ(w.pools.size(), 3u);
  for (std::size_t cut = 0; cut <= whole.size(); ++cut) {
    SCOPED_TRACE("cut at " + std::to_string(cut));
    std::string const name = "cut-" + std::to_string(cut) + ".sim";
    WriteBytes(dir_.File(name), whole.substr(0, cut));
    // The pools a reader can have: whole headers and directories; a frozen
    // pool cut in its data is kept at its stored length (the loader accepts
    // it), the open last pool reaches to the cut.
    std::vector<Expected> expected;
    std::string reason;
    for (std::size_t i = 0; i < w.pools.size(); ++i) {
      Expected pool = w.pools[i];
      std::uint32_t const header = Header::kSize + Header::kEntrySize * (i + 1);
      if (cut == pool.location)
        break;
      if (cut < pool.location + Header::kSize) {
        reason = "KVTSimExcCorruptHeader";
        break;
      }
      if (cut < pool.location + header) {
        reason = "KVTSimExcCorruptDirectory";
        break;
      }
      bool const last = i + 1 == w.pools.size();
      if (last)
        pool.length = cut - pool.location;
      expected.push_back(pool);
      if (cut < pool.location + pool.length || last)
        break;
    }
    KVTSimRpm_SalvageReport report = Salvage(name, expected, w);
    EXPECT_EQ(ReadBytes(dir_.File(name)), whole.substr(0, cut)) << "the salvage read wrote";
    EXPECT_EQ(report.Reason(), reason);
    EXPECT_EQ(report.ReasonCode() == 0, reason.empty());
    EXPECT_EQ(report.LeftOut(), !reason.empty());
    EXPECT_FALSE(report.ClosedUp());
    std::uint64_t const keptEnd =
        expected.empty() ? 0 : expected.back().location + expected.back().length;
    EXPECT_EQ(report.KeptBytes(), reason.empty() ? cut : keptEnd);
    EXPECT_EQ(report.FirstLeftOutIndex(), expected.size());
    EXPECT_EQ(report.BytesLeftOut(), cut - report.KeptBytes());
    // The loader agrees: it refuses with the same kind, or loads the same.
    unsigned loaded = 0;
    EXPECT_EQ(StrictLoad(name, &loaded), reason);
    if (reason.empty()) {
      EXPECT_EQ(loaded, expected.size());
    }
    if (cut % 3 == 0)
      RecoverAndLoad(name, report);
  }
  EXPECT_FALSE(Recovery::Plan(dir_.Name("whole.sim"), "USR1").ChangesFile());
}

TEST_F(SalvageTest, HeaderTornAtSectorOrPageBoundaryIsLeftOut) {
  // Pool 1 begins 20 bytes before the boundary, so that a write of its
  // header cut there leaves 20 bytes of it (KVTSimExcCorruptHeader); pool 2
  // begins 60 bytes before it, and loses part of its directory.
  for (std::uint64_t boundary : {512u, 4096u}) {
    for (std::uint64_t before : {20u, 60u}) {
      SCOPED_TRACE(std::to_string(boundary) + " - " + std::to_string(before));
      std::size_t const data0 = boundary - before - 80;
      Written w = WritePools("torn.sim", {data0, 30});
      ASSERT_EQ(w.pools[1].location, boundary - before);
      kvtsim_test::Shrink(dir_.File("torn.sim"), boundary);
      KVTSimRpm_SalvageReport report = Salvage("torn.sim", {w.pools[0]}, w);
      EXPECT_EQ(report.Reason(),
                before < Header::kSize ? "KVTSimExcCorruptHeader" : "KVTSimExcCorruptDirectory");
      EXPECT_EQ(report.FirstLeftOutOffset(), boundary - before);
      EXPECT_EQ(report.BytesLeftOut(), before);
      RecoverAndLoad("torn.sim", report);
    }
  }
}

TEST_F(SalvageTest, PoolsStoredOpenAheadOfOthersAreClosedUpAtTheNextHeader) {
  Written w = WritePools("open.sim", {100, 60, 40, 10});
  // A writer stopped after writing each new pool's header but before
  // storing the previous pool's length: pools 0 and 1 are stored open.
  Header open;
  for (int i : {0, 1})
    Patch(dir_.File("open.sim"), w.pools[i].location + Header::kLengthOffset,
          std::string(open.LengthDigits(), Header::kLengthDigits));
  unsigned loaded = 0;
  EXPECT_EQ(StrictLoad("open.sim", &loaded), "");
  EXPECT_EQ(loaded, 1u);  // the loader sees one pool that swallows the rest
  KVTSimRpm_SalvageReport report = Salvage("open.sim", w.pools, w);
  EXPECT_FALSE(report.LeftOut());
  EXPECT_EQ(report.PoolsClosedUp(), 2u);
  Recovery recovery = RecoverAndLoad("open.sim", report);
  ASSERT_EQ(recovery.Rewrites().size(), 2u);
  EXPECT_EQ(recovery.Rewrites()[1].index, 1u);
  EXPECT_EQ(recovery.Rewrites()[1].storedLength, 0u);
  EXPECT_EQ(recovery.Rewrites()[1].recoveredLength, w.pools[1].length);
}

TEST_F(SalvageTest, ZerosWhereAHeaderShouldBeAreLeftOut) {
  // The writer froze pool 1 for a new pool. Its length digits straddle
  // offset 512, as in the torn-length cases below: a whole length is not
  // taken for torn.
  Written w = WritePools("zeros.sim", {512 - Header::kLengthOffset - 13 - 80, 5000});
  Freeze("zeros.sim", w.pools[1]);
  std::string bytes = ReadBytes(dir_.File("zeros.sim"));
  // The file system extended the file for a new pool but lost its header.
  WriteBytes(dir_.File("grown.sim"), bytes + std::string(4096, '\0'));
  KVTSimRpm_SalvageReport report = Salvage("grown.sim", w.pools, w);
  EXPECT_EQ(report.Reason(), "KVTSimExcNotSimFile");
  EXPECT_EQ(report.ReasonCode(), KVTSimCodeNotSimFile);
  EXPECT_EQ(report.FirstLeftOutIndex(), 2u);
  EXPECT_EQ(report.FirstLeftOutOffset(), bytes.size());
  EXPECT_EQ(report.BytesLeftOut(), 4096u);
  EXPECT_FALSE(report.ClosedUp());
  EXPECT_EQ(StrictLoad("grown.sim"), "KVTSimExcNotSimFile");
  RecoverAndLoad("grown.sim", report);

  // Zeros over a header in the middle: the pools after it cannot be reached.
  Patch(dir_.File("zeros.sim"), w.pools[1].location, std::string(Header::kSize, '\0'));
  report = Salvage("zeros.sim", {w.pools[0]}, w);
  EXPECT_EQ(report.Reason(), "KVTSimExcNotSimFile");
  EXPECT_EQ(report.BytesLeftOut(), w.pools[1].length);
}

TEST_F(SalvageTest, StoredLengthTornInsideItsDigitsIsRestored) {
  // Pool 1's 16 length digits (record offset 20) straddle offset 512 after
  // their 13th digit. Freezing writes its length over sixteen "0", and
  // opening for update writes sixteen "0" over it; either write cut at 512
  // leaves the digits on one side new and on the other old.
  struct Case {
    std::size_t data;     // pool 1's data: record length data + 112
    char const* digits;   // what the cut write left
    char const* refusal;  // what the loader makes of it
  };
  Case const cases[] = {
      {5000, "0000000000005000", "KVTSimExcNotSimFile"},     // freezing cut: 5112 -> 5000
      {5000, "0000000000000112", "KVTSimExcNotSimFile"},     // reopening cut: 5112 -> 112
      {4950, "0000000000000062", "KVTSimExcCorruptHeader"},  // 5062 -> 62, below the header
  };
  std::uint64_t const location = 512 - Header::kLengthOffset - 13;
  for (Case const& c : cases) {
    SCOPED_TRACE(c.digits);
    Written w = WritePools("len.sim", {location - 80, c.data, 30});
    ASSERT_EQ(w.pools[1].location, location);
    std::string const whole = ReadBytes(dir_.File("len.sim"));
    WriteBytes(dir_.File("torn.sim"), whole);
    Patch(dir_.File("torn.sim"), location + Header::kLengthOffset, c.digits);
    EXPECT_EQ(StrictLoad("torn.sim"), c.refusal);
    KVTSimRpm_SalvageReport report = Salvage("torn.sim", w.pools, w);
    EXPECT_FALSE(report.LeftOut());
    EXPECT_EQ(report.PoolsClosedUp(), 1u);
    Recovery recovery = RecoverAndLoad("torn.sim", report);
    ASSERT_EQ(recovery.Rewrites().size(), 1u);
    EXPECT_EQ(recovery.Rewrites()[0].recoveredLength, c.data + 112);

    // The torn pool last in its file (the next header never written): it
    // runs to the end of the file.
    kvtsim_test::Shrink(dir_.File("torn.sim"), location + w.pools[1].length);
    report = Salvage("torn.sim", {w.pools[0], w.pools[1]}, w);
    EXPECT_FALSE(report.LeftOut());
    EXPECT_EQ(report.PoolsClosedUp(), 1u);
    RecoverAndLoad("torn.sim", report);
  }
}

TEST_F(SalvageTest, PoolsOfAnotherDocumentOrVersionAreLeftOutWithTheLoadersReason) {
  Written w = WritePools("a.sim", {100, 60});
  Doc other("OTHR");
  KVTSimRpm_SalvageReport report;
  EXPECT_EQ(other.AddFileSalvaged(dir_.Name("a.sim"), report).PoolCount(), 0u);
  EXPECT_EQ(report.Reason(), "KVTSimExcUserSigMismatch");
  EXPECT_EQ(report.BytesLeftOut(), report.FileSize());

  Patch(dir_.File("a.sim"), w.pools[1].location + Header::kVersionOffset, std::string(1, 5));
  report = Salvage("a.sim", {w.pools[0]}, w);
  EXPECT_EQ(report.Reason(), "KVTSimExcNeedUpgrade");
  EXPECT_EQ(report.ReasonCode(), KVTSimCodeNeedUpgrade);
  EXPECT_NE(report.ReasonText().find("found=5"), std::string::npos) << report.ReasonText();
}

TEST_F(SalvageTest, RecoveringInPlaceSavesTheCutBytesFirstAndNeverOverwrites) {
  Written w = WritePools("a.sim", {100, 60});
  Freeze("a.sim", w.pools[1]);
  std::string const good = ReadBytes(dir_.File("a.sim"));
  std::string const junk = "\x89SIM torn header";
  WriteBytes(dir_.File("a.sim"), good + junk);
  KVTString const name = dir_.Name("a.sim");
  KVTString const tail = dir_.Name("a.sim.tail");

  // -o: an existing target is refused, the damaged file itself included.
  try {
    Recovery::RecoverTo(name, name, "USR1");
    ADD_FAILURE() << "an existing target was overwritten";
  } catch (KVTSimUttOSError const& e) {
    EXPECT_EQ(e.ErrorNumber(), EEXIST);
  }
  // In place: refused while another writer holds the file.
  {
    KVTSimUttOSFile writer;
    writer.OpenUpdate(name);
    EXPECT_THROW(Recovery::RecoverInPlace(name, tail, "USR1"), KVTSimUttOSError);
  }
  // An existing tail file is never overwritten, and the file stays as it was.
  WriteBytes(dir_.File("a.sim.tail"), "earlier tail");
  EXPECT_THROW(Recovery::RecoverInPlace(name, tail, "USR1"), KVTSimUttOSError);
  EXPECT_EQ(ReadBytes(dir_.File("a.sim.tail")), "earlier tail");
  EXPECT_EQ(ReadBytes(dir_.File("a.sim")), good + junk);
  std::remove(dir_.File("a.sim.tail").c_str());

  std::vector<std::uint64_t> progress;
  Recovery recovery = Recovery::RecoverInPlace(
      name, tail, "USR1", [&](std::uint64_t done, std::uint64_t) { progress.push_back(done); });
  EXPECT_EQ(recovery.Report().BytesLeftOut(), junk.size());
  EXPECT_EQ(ReadBytes(dir_.File("a.sim.tail")), junk);
  EXPECT_EQ(ReadBytes(dir_.File("a.sim")), good);
  EXPECT_EQ(progress, std::vector<std::uint64_t>{junk.size()});
  EXPECT_EQ(StrictLoad("a.sim"), "");

  // A file that needs nothing is not written, and no tail is made.
  std::remove(dir_.File("a.sim.tail").c_str());
  struct stat before {};
  stat(dir_.File("a.sim").c_str(), &before);
  EXPECT_FALSE(Recovery::RecoverInPlace(name, tail, "USR1").ChangesFile());
  struct stat after {};
  stat(dir_.File("a.sim").c_str(), &after);
  EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
  EXPECT_NE(access(dir_.File("a.sim.tail").c_str(), F_OK), 0);
}
