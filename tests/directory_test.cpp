// Pool directories: identity, slot lists, records and reference translation.

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "KVTBasAssertException.h"
#include "KVTSimExc.h"
#include "KVTSimRpm_DocumentImpl.h"
#include "KVTSimRpm_PoolDirectoryImpl.h"
#include "KVTSimUttOSError.h"
#include "KVTSimUttSysCalls.h"
#include "kvtsim_test_util.h"

namespace {

using DirectoryRef = KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl>;

std::string Id(char c) {
  return std::string(32, c);
}

class DirectoryTest : public testing::Test {
 protected:
  DirectoryTest() : document_("SIG1") {}

  KVTSimRpm_PoolMap& Map() { return *document_.Map().lock(); }

  DirectoryRef Empty() { return DirectoryRef(new KVTSimRpm_PoolDirectoryImpl(document_.Map())); }

  DirectoryRef Made(char const* uuid) {
    DirectoryRef directory = Empty();
    directory->Init(uuid);
    return directory;
  }

  // The map slots the directory's slots stand for, in order.
  static std::vector<int> Slots(KVTSimRpm_PoolDirectoryImpl const& directory) {
    std::vector<int> slots;
    for (int i = 0; i < directory.Length(); ++i)
      slots.push_back(directory.InternalizeReference(i));
    return slots;
  }

  // The identifier of the document's one loaded pool (a temporary file's).
  std::string LoadedPoolId() {
    document_.CreateTemporary(KVTString());
    return std::string(Map().UUID(Map().Length() - 1), 32);
  }

  KVTSimRpm_DocumentImpl document_;
};

}  // namespace

TEST_F(DirectoryTest, FreshIdentifierHasTheVersionFourForm) {
  DirectoryRef directory = Made(nullptr);
  std::string id = directory->GetGUID().CStr();
  ASSERT_EQ(id.size(), 32u);
  EXPECT_EQ(id.find_first_not_of("0123456789abcdef"), std::string::npos) << id;
  EXPECT_EQ(id[12], '4');
  EXPECT_NE(std::string("89ab").find(id[16]), std::string::npos) << id;
  EXPECT_NE(Made(nullptr)->GetGUID(), directory->GetGUID());
  // A new directory lists itself, then every earlier slot.
  Made(nullptr);
  EXPECT_EQ(Slots(*Made(nullptr)), (std::vector<int>{3, 0, 1, 2}));
}

TEST_F(DirectoryTest, ForcedIdentifierServesExactlyOneCall) {
  std::string forced = "ABCDEFGHIJKLMNOPQRSTUVWXYZ012345";  // case and digits kept as given
  KVTSimRpm_PoolDirectoryImpl::TestForceUUID(forced.c_str());
  EXPECT_EQ(std::string(Made(nullptr)->GetGUID().CStr()), forced);
  EXPECT_NE(std::string(Made(nullptr)->GetGUID().CStr()), forced);

  // A forced identifier of a loaded pool is used up; a random one follows.
  std::string loaded = LoadedPoolId();
  KVTSimRpm_PoolDirectoryImpl::TestForceUUID(loaded.c_str());
  std::string next = Made(nullptr)->GetGUID().CStr();
  EXPECT_NE(next, loaded);
  EXPECT_EQ(next[12], '4');
}

TEST_F(DirectoryTest, InitRefusesBadAndLoadedIdentifiersAndStaysEmpty) {
  std::string shortId = std::string(31, 'x') + '\0';
  DirectoryRef directory = Empty();
  EXPECT_THROW(directory->Init(shortId.data()), KVTSimExcInvalidGUID);
  EXPECT_EQ(directory->Length(), 0);
  EXPECT_EQ(Map().Length(), 0);

  std::string loaded = LoadedPoolId();
  EXPECT_THROW(directory->Init(loaded.c_str()), KVTSimExcPoolAlreadyInDoc);
  EXPECT_EQ(directory->Length(), 0);
  directory->Init(Id('Z').c_str());
  EXPECT_EQ(kvtsim_test::FailedCheck([&] { directory->Init(nullptr); }),
            "mMapSlotList.Length() == 0");
}

TEST_F(DirectoryTest, LoadBindsKnownIdentifiersAndMakesSlotsForUnknownOnes) {
  std::string loaded = LoadedPoolId();  // map slot 0
  std::string record = Id('n') + Id('m') + loaded;
  DirectoryRef directory = Empty();
  directory->Load(record.data(), 3);
  EXPECT_EQ(Slots(*directory), (std::vector<int>{1, 2, 0}));
  EXPECT_TRUE(Map().Pool(2).Null()) << "an unknown pool gets a slot without pool";

  std::string dumped(record.size(), '\0');
  directory->Dump(&dumped[0]);
  EXPECT_EQ(dumped, record);

  DirectoryRef again = Empty();
  std::string own = loaded + Id('n');
  EXPECT_THROW(again->Load(own.data(), 2), KVTSimExcPoolAlreadyInDoc);
  EXPECT_EQ(again->Length(), 0);
}

TEST_F(DirectoryTest, EmptyDirectoryFailsChecksInsteadOfReadingOutOfRange) {
  DirectoryRef directory = Empty();
  directory->Load(nullptr, 0);
  EXPECT_EQ(directory->Length(), 0);
  char record[32];
  EXPECT_EQ(kvtsim_test::FailedCheck([&] { directory->Dump(record); }), "dirLength > 0");
  EXPECT_TRUE(kvtsim_test::FailsCheck([&] { directory->SlotInMap(); }));
  EXPECT_TRUE(kvtsim_test::FailsCheck([&] { directory->GetGUID(); }));
}

TEST_F(DirectoryTest, ExternalizeSearchesOnceThenAnswersFromTheMatrix) {
  DirectoryRef first = Made(nullptr);   // slot 0
  DirectoryRef second = Made(nullptr);  // slot 1, lists (1, 0)
  EXPECT_EQ(second->ExternalizeReference(1), 0);
  EXPECT_EQ(second->ExternalizeReference(0), 1);
  EXPECT_EQ(Map().GetDirectoryIndex(1, 0), 1);
  // Prove the second answer comes from the memo, not from a new search.
  Map().AddReference(1, 0, 0);
  EXPECT_EQ(second->ExternalizeReference(0), 0);

  EXPECT_EQ(kvtsim_test::FailedCheck([&] { first->ExternalizeReference(2); }),
            "dstSlotInMap < mMap->Length()");
}

TEST_F(DirectoryTest, InternalizeValidatesStoredSlots) {
  DirectoryRef directory = Made(nullptr);
  testing::internal::CaptureStderr();
  EXPECT_THROW(directory->InternalizeReference(-1), KVTBasAssertException);
  EXPECT_THROW(directory->InternalizeReference(1), KVTBasAssertException);
  std::string report = testing::internal::GetCapturedStderr();
  EXPECT_NE(report.find("validation failed: slotInDirectory >= 0"), std::string::npos) << report;
  EXPECT_NE(report.find("validation failed: slotInDirectory < mMapSlotList.Length()"),
            std::string::npos);
}

TEST_F(DirectoryTest, FailingRandomSourceRaisesInsteadOfAWeakIdentifier) {
  KVTSimUttSysCalls saved = KVTSimUttSysCalls::Current();
  KVTSimUttSysCalls::Current().GetRandom = [](void*, std::size_t, unsigned) -> ssize_t {
    errno = EIO;
    return -1;
  };
  DirectoryRef directory = Empty();
  try {
    directory->Init(nullptr);
    ADD_FAILURE() << "identifier made without randomness";
  } catch (KVTSimUttOSError const& e) {
    EXPECT_EQ(e.ErrorNumber(), EIO);
  }
  KVTSimUttSysCalls::Current() = saved;
  EXPECT_EQ(directory->Length(), 0);
  EXPECT_EQ(Map().Length(), 0);
}
