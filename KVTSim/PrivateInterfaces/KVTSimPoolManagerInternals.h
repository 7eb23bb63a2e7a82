// KVTSimPoolManagerInternals.h: the public API (KVTSimPoolManager.h) and the
// exported implementation classes behind it, for tests and tools that reach
// inside the library: the document, file, pool and directory
// implementations, the pool map with its items and reference matrix, the
// strong and weak handle templates and the copy-on-write list.
//
// These classes are exported, so such code may link the shared library;
// callers of the public API need none of them.

#ifndef KVTSIM_PRIVATEINTERFACES_KVTSIMPOOLMANAGERINTERNALS_H_
#define KVTSIM_PRIVATEINTERFACES_KVTSIMPOOLMANAGERINTERNALS_H_

#include "KVTSimPoolManager.h"

// Handles and lists.
#include "KVTSimRpm_RefCounter.h"
#include "KVTSimRpm_StrongRef.h"
#include "KVTSimRpm_WeakRef.h"
#include "cow_List.h"
#include "cow_ListIter.h"

// Implementation classes.
#include "KVTSimRpm_DocumentImpl.h"
#include "KVTSimRpm_FileImpl.h"
#include "KVTSimRpm_Matrix.h"
#include "KVTSimRpm_PoolDirectoryImpl.h"
#include "KVTSimRpm_PoolImpl.h"
#include "KVTSimRpm_PoolMap.h"
#include "KVTSimRpm_PoolMapItem.h"

#endif  // KVTSIM_PRIVATEINTERFACES_KVTSIMPOOLMANAGERINTERNALS_H_
