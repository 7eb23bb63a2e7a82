#include "KVTSimPoolManagerModule.h"

#include <cstdint>

#include "KVTSimSiblings.h"
#include "KVTSimUttInvalidParameter.h"

namespace {

// Plain counters: lifecycle calls never run concurrently.
int gGeneralCount = 0;
int gSpecificCount = 0;
int gInternalCount = 0;
int gLoadTally = 0;

enum LoadReason : unsigned long { kProcessDetach = 0, kProcessAttach = 1 };

// Returns at once, so that a runtime function given an invalid parameter
// reports its error code instead of ending the process.
void IgnoreInvalidParameter(wchar_t const*, wchar_t const*, wchar_t const*, unsigned int,
                            std::uintptr_t) {}

// Runs before the load notification: the handler is in place even for a host
// that never initialises the module.
__attribute__((constructor(101))) void InstallInvalidParameterHandler() {
  KVTSimUtt_set_invalid_parameter_handler(&IgnoreInvalidParameter);
}

__attribute__((constructor(102))) void NotifyProcessAttach() {
  KVTSimPoolManager_LoadNotification(nullptr, kProcessAttach, nullptr);
}

__attribute__((destructor(102))) void NotifyProcessDetach() {
  KVTSimPoolManager_LoadNotification(nullptr, kProcessDetach, nullptr);
}

}  // namespace

void KVTSimPoolManager_initialize(int& tally) {
  if (gGeneralCount++ != 0)
    return;
  ++tally;
  KVTSimContainers_initialize(tally);
  KVTBasShared_initialize(tally);
  KVTBasVelm_initialize(tally);
  KVTBasCoreUtils_initialize(tally);
  KVTBasGenericsLib_initialize(tally);
  KVTBasAlloc_initialize(tally);
  KVTSimRpm_initialize(tally);
  KVTSimPoolManager_specific_initialize(tally);
}

void KVTSimPoolManager_finalize(int& tally) {
  if (--gGeneralCount != 0)
    return;
  --tally;
  KVTSimPoolManager_specific_finalize(tally);
  KVTSimRpm_finalize(tally);
  KVTBasAlloc_finalize(tally);
  KVTBasGenericsLib_finalize(tally);
  KVTBasCoreUtils_finalize(tally);
  KVTBasVelm_finalize(tally);
  KVTBasShared_finalize(tally);
  KVTSimContainers_finalize(tally);
}

void KVTSimPoolManager_specific_initialize(int& tally) {
  if (gSpecificCount++ == 0)
    ++tally;
}

void KVTSimPoolManager_specific_finalize(int& tally) {
  if (--gSpecificCount == 0)
    --tally;
}

void KVTSimRpm_initialize(int& tally) {
  if (gInternalCount++ == 0)
    ++tally;
}

void KVTSimRpm_finalize(int& tally) {
  if (--gInternalCount == 0)
    --tally;
}

int KVTSimPoolManager_LoadNotification(void*, unsigned long reason, void*) {
  if (reason == kProcessAttach)
    KVTSimPoolManager_initialize(gLoadTally);
  if (reason == kProcessDetach)
    KVTSimPoolManager_finalize(gLoadTally);
  return 1;
}

int ORVANTE_QFR2_INTERNAL_KVTSimPoolManager() {
  return 1;
}
