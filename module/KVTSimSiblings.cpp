#include "KVTSimSiblings.h"

namespace {

KVTSimSiblingObserver gObserver = nullptr;

// The count of one sibling service and its two transitions.
struct ServiceCount {
  char const* name;
  int count;

  void Initialize(int& tally) {
    if (count++ != 0)
      return;
    ++tally;
    if (gObserver != nullptr)
      gObserver(name, true);
  }

  void Finalize(int& tally) {
    if (--count != 0)
      return;
    --tally;
    if (gObserver != nullptr)
      gObserver(name, false);
  }
};

ServiceCount gContainers = {"KVTSimContainers", 0};
ServiceCount gShared = {"KVTBasShared", 0};
ServiceCount gVelm = {"KVTBasVelm", 0};
ServiceCount gCoreUtils = {"KVTBasCoreUtils", 0};
ServiceCount gGenerics = {"KVTBasGenericsLib", 0};
ServiceCount gAlloc = {"KVTBasAlloc", 0};

}  // namespace

void KVTSimContainers_initialize(int& tally) {
  gContainers.Initialize(tally);
}
void KVTSimContainers_finalize(int& tally) {
  gContainers.Finalize(tally);
}
void KVTBasShared_initialize(int& tally) {
  gShared.Initialize(tally);
}
void KVTBasShared_finalize(int& tally) {
  gShared.Finalize(tally);
}
void KVTBasVelm_initialize(int& tally) {
  gVelm.Initialize(tally);
}
void KVTBasVelm_finalize(int& tally) {
  gVelm.Finalize(tally);
}
void KVTBasCoreUtils_initialize(int& tally) {
  gCoreUtils.Initialize(tally);
}
void KVTBasCoreUtils_finalize(int& tally) {
  gCoreUtils.Finalize(tally);
}
void KVTBasGenericsLib_initialize(int& tally) {
  gGenerics.Initialize(tally);
}
void KVTBasGenericsLib_finalize(int& tally) {
  gGenerics.Finalize(tally);
}
void KVTBasAlloc_initialize(int& tally) {
  gAlloc.Initialize(tally);
}
void KVTBasAlloc_finalize(int& tally) {
  gAlloc.Finalize(tally);
}

void KVTSimSiblings_SetObserver(KVTSimSiblingObserver observer) noexcept {
  gObserver = observer;
}
