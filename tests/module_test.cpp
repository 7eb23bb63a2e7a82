// Module lifecycle: counters, tallies, order of bring-up and take-down.
//
// The test program links the library's code statically, so its load-time
// constructor has run: the module starts each test initialised once.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "KVTSimPoolManagerModule.h"
#include "KVTSimSiblings.h"

namespace {

std::vector<std::string> gEvents;

void Record(char const* service, bool initialised) {
  gEvents.push_back(std::string(initialised ? "+" : "-") + service);
}

std::vector<std::string> const kBringUp = {"+KVTSimContainers",  "+KVTBasShared",
                                           "+KVTBasVelm",        "+KVTBasCoreUtils",
                                           "+KVTBasGenericsLib", "+KVTBasAlloc"};
std::vector<std::string> const kTakeDown = {"-KVTBasAlloc",     "-KVTBasGenericsLib",
                                            "-KVTBasCoreUtils", "-KVTBasVelm",
                                            "-KVTBasShared",    "-KVTSimContainers"};

class ModuleTest : public testing::Test {
 protected:
  void SetUp() override {
    gEvents.clear();
    KVTSimSiblings_SetObserver(&Record);
  }
  void TearDown() override { KVTSimSiblings_SetObserver(nullptr); }
};

}  // namespace

TEST_F(ModuleTest, TakeDownAndBringUpRunInReverseOrdersWithNineEach) {
  int tally = 0;
  KVTSimPoolManager_finalize(tally);  // ends the load-time initialisation
  EXPECT_EQ(tally, -9);
  EXPECT_EQ(gEvents, kTakeDown);

  gEvents.clear();
  KVTSimPoolManager_initialize(tally);
  KVTSimPoolManager_initialize(tally);
  EXPECT_EQ(tally, 0);
  EXPECT_EQ(gEvents, kBringUp);

  gEvents.clear();
  KVTSimPoolManager_finalize(tally);
  EXPECT_TRUE(gEvents.empty()) << "one user is left";
  KVTSimPoolManager_finalize(tally);
  EXPECT_EQ(gEvents, kTakeDown);
  EXPECT_EQ(tally, -9);
  KVTSimPoolManager_initialize(tally);  // back to the loaded state
}

TEST_F(ModuleTest, SpecificPartHeldOpenByTheHostOutlivesTheModule) {
  int tally = 0;
  KVTSimPoolManager_finalize(tally);
  tally = 0;
  KVTSimPoolManager_specific_initialize(tally);
  EXPECT_EQ(tally, 1);
  KVTSimPoolManager_initialize(tally);
  EXPECT_EQ(tally, 1 + 8) << "the specific share was already counted";
  KVTSimPoolManager_finalize(tally);
  EXPECT_EQ(tally, 1) << "the specific part stays open";
  KVTSimPoolManager_specific_finalize(tally);
  EXPECT_EQ(tally, 0);
  KVTSimPoolManager_initialize(tally);
  EXPECT_EQ(tally, 9);
}

TEST_F(ModuleTest, FinaliseBelowZeroDoesNothingAndIsMadeUpByTheNextInitialise) {
  int tally = 0;
  KVTSimPoolManager_finalize(tally);
  tally = 0;
  gEvents.clear();
  KVTSimPoolManager_finalize(tally);  // count -1
  EXPECT_EQ(tally, 0);
  KVTSimPoolManager_initialize(tally);  // back to 0: still nothing
  EXPECT_EQ(tally, 0);
  EXPECT_TRUE(gEvents.empty());
  KVTSimPoolManager_initialize(tally);
  EXPECT_EQ(tally, 9);
}

TEST_F(ModuleTest, LoadNotificationActsOnlyOnProcessAttachAndDetach) {
  EXPECT_EQ(KVTSimPoolManager_LoadNotification(nullptr, 2, nullptr), 1);  // thread attach
  EXPECT_EQ(KVTSimPoolManager_LoadNotification(nullptr, 3, nullptr), 1);  // thread detach
  EXPECT_TRUE(gEvents.empty());
  EXPECT_EQ(KVTSimPoolManager_LoadNotification(nullptr, 0, nullptr), 1);
  EXPECT_EQ(gEvents, kTakeDown) << "the module was initialised exactly once";
  gEvents.clear();
  EXPECT_EQ(KVTSimPoolManager_LoadNotification(nullptr, 1, nullptr), 1);
  EXPECT_EQ(gEvents, kBringUp);
}
