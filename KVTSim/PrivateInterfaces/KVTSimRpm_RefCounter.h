// KVTSimRpm_RefCounter: the control block shared by the strong and weak
// handles of one object.

#ifndef KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_REFCOUNTER_H_
#define KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_REFCOUNTER_H_

#include <cstdint>

#include "KVTBasMem.h"
#include "KVTSimExport.h"

struct KVTSIM_EXPORT KVTSimRpm_RefCounter : public mem_AllocationOperatorsTiny {
  KVTSimRpm_RefCounter() noexcept : mStrong(0), mWeak(0) {}

  std::uint32_t mStrong;  // strong handles connected; 0 once the object is gone
  std::uint32_t mWeak;    // weak handles connected
};

#endif  // KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_REFCOUNTER_H_
