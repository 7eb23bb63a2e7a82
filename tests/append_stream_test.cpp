// The append-to-pool stream: one allocation per flush, and detection of
// allocations made by anybody else.

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "KVTSimExc.h"
#include "KVTSimRpm_BStreamAppendToPool.h"
#include "KVTSimRpm_BStreamReadLocator.h"
#include "KVTSimRpm_Document.h"
#include "kvtsim_test_util.h"

namespace {

using Doc = KVTSimRpm_Document;

using AppendStreamTest = kvtsim_test::WritableFileTest;

}  // namespace

TEST_F(AppendStreamTest, EachFlushAllocatesExactlyWhatItAppends) {
  KVTSimRpm_BStreamAppendToPool out(file_.Pool(), 0);  // chunk 0 becomes 16
  out.Write("0123456789", 10);
  EXPECT_EQ(file_.Pool().Length(), 0u);
  EXPECT_EQ(out.Length(), 10u);
  out.Write("abcdefghij", 10);  // does not fit: the first 10 go, then these 10
  EXPECT_EQ(file_.Pool().Length(), 20u);
  EXPECT_EQ(out.Length(), 20u);
  std::memcpy(out.PrepWrite(12), "PREPWRITE-12", 12);
  std::memcpy(out.PrepWrite(12), "second-12...", 12);
  EXPECT_EQ(file_.Pool().Length(), 32u);
  EXPECT_TRUE(kvtsim_test::Raises<KVTSimExcRequestTooBig>([&] { out.PrepWrite(17); }, 17, 16));
  EXPECT_EQ(PoolData(), "0123456789abcdefghijPREPWRITE-12second-12...");
  out.Flush();  // nothing pending: no change, the invariant holds
  EXPECT_EQ(file_.Pool().Length(), 44u);
}

TEST_F(AppendStreamTest, ForeignAllocationBreaksTheStream) {
  KVTSimRpm_BStreamAppendToPool out(file_.Pool(), 16);
  out.Write("first", 5);
  out.Flush();
  file_.Allocate(3);
  out.Write("second", 6);
  EXPECT_THROW(out.Flush(), KVTSimExcBrokenStream);
  EXPECT_EQ(out.Length(), 11u) << "the bytes stay pending";
  EXPECT_EQ(file_.Pool().Length(), 8u);

  KVTSimRpm_BStreamAppendToPool idle(file_.Pool(), 16);
  file_.Allocate(1);
  EXPECT_EQ(kvtsim_test::FailedCheck([&] { idle.Flush(); }), "mStart + Length() == mPool.End()");
}

TEST_F(AppendStreamTest, RecordsWithStringsAndLocatorsReadBack) {
  KVTSimRpm_Locator first = file_.Pool().End();
  {
    KVTSimRpm_BStreamAppendToPool out(file_.Pool(), 64);
    for (int i = 0; i < 20; ++i) {
      Externalize(out, i);
      out.Write(KVTString(std::string(i, 'x').c_str()));
      Externalize(out, first);  // a reference into the pool itself
    }
  }  // destroyed: the rest is appended
  KVTSimRpm_BStreamReadLocator in(first, file_.Pool().Length(), 64);
  for (int i = 0; i < 20; ++i) {
    int n = -1;
    KVTString text;
    KVTSimRpm_Locator back;
    Internalize(in, n);
    in.Read(text);
    Internalize(in, back);
    EXPECT_EQ(n, i);
    EXPECT_EQ(text.GetLengthInByte(), static_cast<std::size_t>(i));
    EXPECT_TRUE(back == first);
  }
}

TEST_F(AppendStreamTest, ReadOnlyPoolRefusesOnlyWhenTheStreamFlushes) {
  document_.Close();
  std::string const before = kvtsim_test::ReadBytes(dir_.File("a.sim"));
  Doc reader("USR1");
  KVTSimRpm_File file = reader.AddFile(dir_.Name("a.sim"), Doc::AccessRead);
  {
    KVTSimRpm_BStreamAppendToPool out(file.Pool(), 16);
    out.Write("x", 1);  // accepted: nothing reaches the pool before a flush
    EXPECT_THROW(out.Flush(), KVTSimExcImmutablePool);
    // The refused append was counted as written while its byte is still
    // pending: the length counts it twice.
    EXPECT_EQ(out.Length(), 2u);
  }
  testing::internal::CaptureStderr();
  {
    KVTSimRpm_BStreamAppendToPool never(file.Pool(), 16);
    never.Write("y", 1);
  }  // never flushed: the destructor's flush fails without a word
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(kvtsim_test::ReadBytes(dir_.File("a.sim")), before);
  EXPECT_THROW(KVTSimRpm_BStreamAppendToPool(file.Pool(), 1ull << 32), KVTSimExcRequestTooBig);
}
