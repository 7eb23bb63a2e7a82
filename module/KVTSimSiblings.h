// Initialise and finalise pairs of the sibling services the pool manager
// brings up at load: containers, shared containers, value elements, core
// utilities, generics and memory.
//
// Each pair keeps its own count. An initialise that takes the count from 0 to
// 1 adds 1 to the tally; a finalise that takes it from 1 to 0 subtracts 1.
// Other calls only move the count. Not thread-safe: lifecycle calls do not run
// concurrently.

#ifndef KVTSIM_MODULE_KVTSIMSIBLINGS_H_
#define KVTSIM_MODULE_KVTSIMSIBLINGS_H_

void KVTSimContainers_initialize(int& tally);
void KVTSimContainers_finalize(int& tally);
void KVTBasShared_initialize(int& tally);
void KVTBasShared_finalize(int& tally);
void KVTBasVelm_initialize(int& tally);
void KVTBasVelm_finalize(int& tally);
void KVTBasCoreUtils_initialize(int& tally);
void KVTBasCoreUtils_finalize(int& tally);
void KVTBasGenericsLib_initialize(int& tally);
void KVTBasGenericsLib_finalize(int& tally);
void KVTBasAlloc_initialize(int& tally);
void KVTBasAlloc_finalize(int& tally);

// Called with the service's name ("KVTBasShared", ...) each time a service
// really initialises (true) or finalises (false). Null (the default) for none.
typedef void (*KVTSimSiblingObserver)(char const* service, bool initialised);
void KVTSimSiblings_SetObserver(KVTSimSiblingObserver observer) noexcept;

#endif  // KVTSIM_MODULE_KVTSIMSIBLINGS_H_
