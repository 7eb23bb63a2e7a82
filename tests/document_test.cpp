// Documents: the file registry, the document core and the public handles.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <string_view>

#include "KVTSimExc.h"
#include "KVTSimRpm_Document.h"
#include "KVTSimRpm_DocumentImpl.h"
#include "kvtsim_test_util.h"

namespace {

using Doc = KVTSimRpm_Document;

class DocumentTest : public testing::Test {
 protected:
  kvtsim_test::TempDir dir_;
};

}  // namespace

TEST_F(DocumentTest, CoreKeepsFourSignatureBytesOneMapAndFreshDirectories) {
  KVTSimRpm_DocumentImpl document("ABCDEFG");
  EXPECT_EQ(std::string(document.Sig(), 4), "ABCD");
  KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl> first = document.NewDirectory();
  KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl> second = document.NewDirectory();
  EXPECT_EQ(first->Length(), 1);
  EXPECT_EQ(second->Length(), 2);
  EXPECT_EQ(second->SlotInMap(), 1);

  document.Close();
  EXPECT_EQ(std::memcmp(document.Sig(), "\0\0\0\0", 4), 0);
  EXPECT_EQ(document.Map()->Length(), 0) << "a fresh map";
  EXPECT_EQ(first->Length(), 1) << "the directory outlives its map";
}

TEST_F(DocumentTest, AddFileNeverOpensOneFileTwice) {
  Doc document("USR1");
  KVTSimRpm_File created = document.AddFile(dir_.Name("a.sim"), Doc::AccessWrite);
  EXPECT_EQ(created.PoolCount(), 1u);
  EXPECT_FALSE(created.Pool().ReadOnly());
  try {
    document.AddFile(dir_.Name("a.sim"), Doc::AccessWrite);
    ADD_FAILURE() << "an open file was emptied";
  } catch (KVTSimExcCantCreateFile const& e) {
    EXPECT_EQ(std::string(e.FileName()), dir_.File("a.sim"));
  }
  document.Close(created);

  KVTSimRpm_File reader = document.AddFile(dir_.Name("a.sim"), Doc::AccessRead);
  // Another spelling of the same file gives the same file, as it was opened.
  KVTSimRpm_File again =
      document.AddFile(KVTString((dir_.Path() + "/./a.sim").c_str()), Doc::AccessUpdate);
  EXPECT_TRUE(again.ReadOnly());
  EXPECT_EQ(again.FileName(), reader.FileName());
  EXPECT_EQ(kvtsim_test::FailedCheck(
                [&] { document.AddFile(dir_.Name("b.sim"), static_cast<Doc::AccessMode>(7)); }),
            "!\"Bad mode.\"");
}

TEST_F(DocumentTest, CloseOfOneFileLeavesTheOthersAndRefusesForeignFiles) {
  Doc document("USR1");
  KVTSimRpm_File a = document.AddFile(dir_.Name("a.sim"), Doc::AccessWrite);
  KVTSimRpm_File b = document.AddFile(dir_.Name("b.sim"), Doc::AccessWrite);
  Doc other("USR1");
  KVTSimRpm_File foreign = other.AddFile(dir_.Name("c.sim"), Doc::AccessWrite);
  EXPECT_THROW(document.Close(foreign), KVTSimExcCantGetFile);
  EXPECT_EQ(foreign.PoolCount(), 1u) << "nothing was closed";

  document.Close(a);
  b.Allocate(10);
  document.Flush();  // skips the closed file's entry
  document.Close();
  EXPECT_EQ(kvtsim_test::ReadBytes(dir_.File("b.sim")).size(), 112u)
      << "allocated bytes are not written";
}

TEST_F(DocumentTest, ExistingFileNotInTheDocumentIsOpenedEmptyForWriting) {
  kvtsim_test::WriteBytes(dir_.File("old.txt"), std::string(500, 'z'));
  Doc document("USR1");
  document.AddFile(dir_.Name("old.txt"), Doc::AccessWrite);
  document.Close();
  EXPECT_EQ(Doc::GetFileType(dir_.Name("old.txt")), Doc::FileTypeSim);
  EXPECT_EQ(kvtsim_test::ReadBytes(dir_.File("old.txt")).size(), 80u);
}

TEST_F(DocumentTest, GeneratedFilesNeverOverwriteAndTemporaryFilesVanish) {
  kvtsim_test::WriteBytes(dir_.File("run"), "keep");
  Doc document("USR1");
  KVTSimRpm_File generated =
      document.CreateGenerated(KVTString(dir_.Path().c_str()), KVTString("run"));
  EXPECT_EQ(std::string(generated.FileName().CStr()), dir_.File("run-1"));
  EXPECT_EQ(kvtsim_test::ReadBytes(dir_.File("run")), "keep");

  KVTSimRpm_File temporary = document.CreateTemporary(KVTString(dir_.Path().c_str()));
  std::string name = temporary.FileName().CStr();
  ASSERT_EQ(access(name.c_str(), F_OK), 0);
  document.Close();
  EXPECT_NE(access(name.c_str(), F_OK), 0);
  EXPECT_EQ(Doc::GetFileType(KVTString(dir_.File("run-1").c_str())), Doc::FileTypeSim);
}

TEST_F(DocumentTest, SignatureGivenAsStringViewMustHoldExactlyFourBytes) {
  EXPECT_THROW(Doc document(nullptr), KVTSimExcValidationFailure);
  EXPECT_THROW(Doc(std::string_view("TH")), KVTSimExcValidationFailure);
  EXPECT_THROW(Doc(std::string_view("THRMAL")), KVTSimExcValidationFailure);
  EXPECT_THROW(Doc(std::string_view()), KVTSimExcValidationFailure);
  // Any four bytes, a zero among them too, are stored as given.
  {
    Doc document(std::string("T\0R\xFF", 4));
    document.AddFile(dir_.Name("a.sim"), Doc::AccessWrite);
    document.Close();
  }
  EXPECT_EQ(kvtsim_test::ReadBytes(dir_.File("a.sim")).substr(16, 4), std::string("T\0R\xFF", 4));
  Doc reader(std::string_view("T\0R\xFF", 4));
  EXPECT_EQ(reader.AddFile(dir_.Name("a.sim"), Doc::AccessRead).PoolCount(), 1u);
}
