// Misuse that callers must avoid still ends in an error kind, never in freed
// memory: handles, locators and streams used after their file was closed,
// after their document was closed, or after the document itself is gone.

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "KVTSimExc.h"
#include "KVTSimRpm_BStreamAppendToPool.h"
#include "KVTSimRpm_BStreamReadBuffer.h"
#include "KVTSimRpm_BStreamReadLocator.h"
#include "KVTSimRpm_BStreamWriteBuffer.h"
#include "KVTSimRpm_BStreamWriteLocator.h"
#include "KVTSimRpm_Document.h"
#include "KVTSimRpm_MemoryPool.h"
#include "kvtsim_test_util.h"

namespace {

using Doc = KVTSimRpm_Document;
using kvtsim_test::FailedCheck;
using kvtsim_test::FailsCheck;

// Everything a caller may still hold when its file or document goes away.
struct Held {
  explicit Held(Doc& document, KVTString const& name)
      : file(document.AddFile(name, Doc::AccessWrite)),
        pool(file.Pool()),
        directory(pool.Directory()),
        start(file.Allocate(64)) {
    start.Write(64, std::string(64, 's').data());
    reader.reset(new KVTSimRpm_BStreamReadLocator(start, 64, 16));
    writer.reset(new KVTSimRpm_BStreamWriteLocator(start, 64, 16));
    appender.reset(new KVTSimRpm_BStreamAppendToPool(pool, 16));
    // Bytes still pending in the write streams when the file goes.
    std::memcpy(writer->PrepWrite(4), "late", 4);
    appender->Write("late", 4);
  }

  KVTSimRpm_File file;
  KVTSimRpm_Pool pool;
  KVTSimRpm_PoolDirectory directory;
  KVTSimRpm_Locator start;
  std::unique_ptr<KVTSimRpm_BStreamReadLocator> reader;
  std::unique_ptr<KVTSimRpm_BStreamWriteLocator> writer;
  std::unique_ptr<KVTSimRpm_BStreamAppendToPool> appender;
};

class MisuseTest : public testing::Test {
 protected:
  KVTString Name() const { return dir_.Name("a.sim"); }

  kvtsim_test::TempDir dir_;
};

// The handles of a document whose map is gone: every use is a failed check.
void ExpectEveryUseFails(Held& held) {
  char byte = 0;
  EXPECT_TRUE(FailsCheck([&] { held.file.PoolCount(); }));
  EXPECT_TRUE(FailsCheck([&] { held.pool.Start(); }));
  EXPECT_TRUE(FailsCheck([&] { held.directory.GetGUID(); }));
  EXPECT_TRUE(FailsCheck([&] { held.start.Read(1, &byte); }));
  EXPECT_TRUE(FailsCheck([&] { held.start.Write(1, "x"); }));
  EXPECT_TRUE(FailsCheck([&] { held.start.GetGUID(); }));
  EXPECT_TRUE(FailsCheck([&] { (void)(held.start == held.start); }));
  EXPECT_TRUE(FailsCheck([&] { held.reader->PrepRead(4); }));
  EXPECT_TRUE(FailsCheck([&] { held.writer->Flush(); }));
  EXPECT_TRUE(FailsCheck([&] { held.appender->Flush(); }));
  // A buffer stream keeps the directory alive, but not its map.
  char stored[12] = {};
  KVTSimRpm_BStreamReadBuffer in(stored, sizeof stored, held.directory);
  KVTSimRpm_Locator back;
  EXPECT_TRUE(FailsCheck([&] { Internalize(in, back); }));
  KVTSimRpm_BStreamWriteBuffer out(stored, sizeof stored, held.directory);
  EXPECT_TRUE(FailsCheck([&] { Externalize(out, held.start); }));
}

// Destroys the streams, whose bytes may still be pending: with their pool or
// document gone they are dropped without a word on standard error.
template <typename... Streams>
void ExpectQuietDestruction(Streams&... streams) {
  testing::internal::CaptureStderr();
  (streams.reset(), ...);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace

TEST_F(MisuseTest, StreamsWhoseFileWasClosedRaiseAndDestroyQuietly) {
  Doc document("USR1");
  Held held(document, Name());
  document.Close(held.file);
  EXPECT_THROW(held.reader->PrepRead(4), KVTSimExcCantDerefLocator);
  EXPECT_EQ(FailedCheck([&] { held.reader->SourceDir(); }), "mPointer && mCounter");
  EXPECT_THROW(held.writer->Flush(), KVTSimExcCantDerefLocator);
  EXPECT_TRUE(FailsCheck([&] { held.appender->Flush(); }));
  EXPECT_TRUE(FailsCheck([&] { KVTSimRpm_BStreamAppendToPool(held.pool, 16); }));
  EXPECT_THROW(KVTSimRpm_MemoryPool(held.start, 8), KVTSimExcCantDerefLocator);
  ExpectQuietDestruction(held.writer, held.appender);
}

// The document closed, or destroyed without Close.
TEST_F(MisuseTest, HandlesOfAClosedOrDestroyedDocumentRaise) {
  for (bool destroy : {false, true}) {
    SCOPED_TRACE(destroy);
    auto document = std::make_unique<Doc>("USR1");
    Held held(*document, Name());
    destroy ? document.reset() : document->Close();
    ExpectEveryUseFails(held);
    ExpectQuietDestruction(held.writer, held.appender);
  }
}

TEST_F(MisuseTest, HandlesOfAReplacedEmptyPoolRaise) {
  Doc document("USR1");
  KVTSimRpm_File file = document.AddFile(Name(), Doc::AccessWrite);
  KVTSimRpm_Pool empty = file.Pool();
  KVTSimRpm_Locator end = empty.End();
  std::unique_ptr<KVTSimRpm_BStreamAppendToPool> appender(
      new KVTSimRpm_BStreamAppendToPool(empty, 16));
  file.NewPool(nullptr);  // drops the empty pool
  char byte = 0;
  EXPECT_TRUE(FailsCheck([&] { empty.Length(); }));
  EXPECT_THROW(end.Read(1, &byte), KVTSimExcCantDerefLocator);
  appender->Write("x", 1);
  EXPECT_TRUE(FailsCheck([&] { appender->Flush(); }));
  ExpectQuietDestruction(appender);
}
