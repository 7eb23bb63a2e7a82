// The file-type probe and the upgrade check.

#include <gtest/gtest.h>

#include <string>

#include "KVTSimExc.h"
#include "KVTSimRpm_Document.h"
#include "KVTSimUttOSError.h"
#include "kvtsim_test_util.h"

namespace {

std::string const kSignature = kvtsim_test::FormatSignature();

class ProbeTest : public testing::Test {
 protected:
  // Writes a file of the given bytes and returns its name.
  KVTString Make(std::string const& bytes) {
    std::string name = dir_.File("f" + std::to_string(files_++));
    kvtsim_test::WriteBytes(name, bytes);
    return KVTString(name.c_str());
  }

  kvtsim_test::TempDir dir_;
  int files_ = 0;
};

using Doc = KVTSimRpm_Document;

}  // namespace

TEST_F(ProbeTest, VersionByteSelectsTheGeneration) {
  struct Case {
    unsigned char version;
    Doc::FileType type;
    bool upgrade;
  } const cases[] = {{6, Doc::FileTypeSim, false},     {5, Doc::FileTypeSim, true},
                     {3, Doc::FileTypeSim, true},      {2, Doc::FileTypeOldSim, true},
                     {1, Doc::FileTypeOldSim, true},   {7, Doc::FileTypeNotSim, true},
                     {0, Doc::FileTypeNotSim, true},   {0x80, Doc::FileTypeNotSim, true},
                     {0xFF, Doc::FileTypeNotSim, true}};
  for (Case const& c : cases) {
    // A file that begins like a pool header of this version, then more data.
    KVTString name = Make(kSignature + static_cast<char>(c.version) + "rest of header");
    EXPECT_EQ(Doc::GetFileType(name), c.type) << "version " << int{c.version};
    EXPECT_EQ(Doc::BinaryUpgradeRequired(name), c.upgrade) << "version " << int{c.version};
  }
}

TEST_F(ProbeTest, UpgradeCheckLooksOnlyAtTheVersionByte) {
  KVTString name = Make("NOTASIGN\x06");
  EXPECT_EQ(Doc::GetFileType(name), Doc::FileTypeNotSim);
  EXPECT_FALSE(Doc::BinaryUpgradeRequired(name));
  // One differing signature byte is enough to reject the file.
  std::string nearly = kSignature + "\x06";
  nearly[7] = '\r';
  EXPECT_EQ(Doc::GetFileType(Make(nearly)), Doc::FileTypeNotSim);
}

TEST_F(ProbeTest, ShortFilesAreNotContainerFiles) {
  for (std::string bytes : {std::string(), kSignature.substr(0, 1), kSignature}) {
    KVTString name = Make(bytes);
    EXPECT_EQ(Doc::GetFileType(name), Doc::FileTypeNotSim) << bytes.size() << " bytes";
    EXPECT_THROW(Doc::BinaryUpgradeRequired(name), KVTSimExcNotSimFile) << bytes.size();
  }
  try {
    Doc::BinaryUpgradeRequired(Make(kSignature));
    ADD_FAILURE() << "no error";
  } catch (KVTSimExcNotSimFile const& e) {
    EXPECT_NE(std::string(e.File()).find("KVTSimRpm_DocumentImpl"), std::string::npos);
  }
}

TEST_F(ProbeTest, MissingFilePassesTheOpenErrorThrough) {
  std::string missing = dir_.File("absent.sim");
  try {
    Doc::GetFileType(KVTString(missing.c_str()));
    ADD_FAILURE() << "no error";
  } catch (KVTSimUttOSError const& e) {
    EXPECT_EQ(e.FileName(), missing);
    EXPECT_EQ(e.ErrorNumber(), ENOENT);
  }
  EXPECT_THROW(Doc::BinaryUpgradeRequired(KVTString(missing.c_str())), KVTSimUttOSError);
  // A directory opens but cannot be read as a file.
  EXPECT_THROW(Doc::GetFileType(KVTString(dir_.Path().c_str())), KVTSimUttOSError);
}
