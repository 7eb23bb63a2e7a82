// The file-type probe and the upgrade check.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "KVTSimExc.h"
#include "KVTSimRpm_Document.h"
#include "KVTSimUttOSError.h"
#include "kvtsim_test_util.h"

namespace {

std::string const kSignature = kvtsim_test::FormatSignature();

class ProbeTest : public testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/kvtsim-probe-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir_ = pattern;
  }
  void TearDown() override { std::system(("rm -rf '" + dir_ + "'").c_str()); }

  // Writes a file of the given bytes and returns its name.
  KVTString Make(std::string const& bytes) {
    std::string name = dir_ + "/f" + std::to_string(files_++);
    std::ofstream(name, std::ios::binary) << bytes;
    return KVTString(name.c_str());
  }
  // A file that begins like a pool header of the given version, then more data.
  KVTString WithVersion(unsigned char version) {
    return Make(kSignature + std::string(1, static_cast<char>(version)) + "rest of header");
  }

  std::string dir_;
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
    KVTString name = WithVersion(c.version);
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
  } catch (KVTSimExcNotSimFile const& e) {
    EXPECT_NE(std::string(e.File()).find("KVTSimRpm_DocumentImpl"), std::string::npos);
  }
}

TEST_F(ProbeTest, MissingFilePassesTheOpenErrorThrough) {
  std::string missing = dir_ + "/absent.sim";
  try {
    Doc::GetFileType(KVTString(missing.c_str()));
    ADD_FAILURE() << "no error";
  } catch (KVTSimUttOSError const& e) {
    EXPECT_EQ(e.FileName(), missing);
    EXPECT_EQ(e.ErrorNumber(), ENOENT);
  }
  EXPECT_THROW(Doc::BinaryUpgradeRequired(KVTString(missing.c_str())), KVTSimUttOSError);
  // A directory opens but cannot be read as a file.
  EXPECT_THROW(Doc::GetFileType(KVTString(dir_.c_str())), KVTSimUttOSError);
}
