// Entry points of the pool manager module: initialise and finalise, the load
// notification and the module marker.
//
// Loading the shared library counts as one initialisation (its constructor
// delivers the load notification with reason 1) and unloading as the matching
// finalisation (reason 0). Only the first initialisation of the module brings
// up its services, in a fixed order, and only the last finalisation takes them
// down, in reverse. Every call takes a tally owned by the caller: each service
// that really initialises adds 1 to it, each that really finalises subtracts 1.
//
// REQUIRES: lifecycle calls never run concurrently with one another.

#ifndef KVTSIM_MODULE_KVTSIMPOOLMANAGERMODULE_H_
#define KVTSIM_MODULE_KVTSIMPOOLMANAGERMODULE_H_

#include "KVTSimExport.h"

// Module initialise: from a general count of 0 it adds 9 to the tally (the
// module, six services, the internal and the specific part); otherwise it only
// raises the count.
KVTSIM_EXPORT void KVTSimPoolManager_initialize(int& tally);

// Module finalise: when the general count returns to 0 it subtracts what the
// matching initialise added; otherwise it only lowers the count. A finalise
// that takes the count below 0 does nothing else.
KVTSIM_EXPORT void KVTSimPoolManager_finalize(int& tally);

// The module's own part, which a host may hold open apart from the module.
KVTSIM_EXPORT void KVTSimPoolManager_specific_initialize(int& tally);
KVTSIM_EXPORT void KVTSimPoolManager_specific_finalize(int& tally);

// The internal count of the pool manager proper.
KVTSIM_EXPORT void KVTSimRpm_initialize(int& tally);
KVTSIM_EXPORT void KVTSimRpm_finalize(int& tally);

extern "C" {

// Reason 1 (process attach): module initialise with the load tally; reason 0
// (process detach): module finalise with it; other reasons: nothing. Returns 1.
KVTSIM_EXPORT int KVTSimPoolManager_LoadNotification(void* instance, unsigned long reason,
                                                     void* reserved);

// Marker of the module; returns 1 and has no other effect.
KVTSIM_EXPORT int ORVANTE_QFR2_INTERNAL_KVTSimPoolManager();

}  // extern "C"

#endif  // KVTSIM_MODULE_KVTSIMPOOLMANAGERMODULE_H_
