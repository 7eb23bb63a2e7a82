// KVTSimPoolManager.h: the public API of the pool manager, everything a
// caller includes: the handles (document, file, pool, directory) and pool
// descriptions, locators, the memory-pool overlay, the binary streams, the
// byte-order swapper, the stored pool header and the raw chain walk,
// KVTString, the error kinds, the module functions and the version.
//
// The implementation classes behind the handles, the handle templates and the
// copy-on-write list are not part of it; tests and tools that reach inside
// include KVTSimPoolManagerInternals.h as well.

#ifndef KVTSIM_EXPORTED_KVTSIMPOOLMANAGER_H_
#define KVTSIM_EXPORTED_KVTSIMPOOLMANAGER_H_

// Strings, memory and the error kinds.
#include "KVTBasAssertException.h"
#include "KVTBasException.h"
#include "KVTBasMem.h"
#include "KVTBasMemoryExhausted.h"
#include "KVTSimExc.h"
#include "KVTSimUttAssert.h"
#include "KVTSimUttInvalidParameter.h"
#include "KVTSimUttOSError.h"
#include "KVTString.h"

// Module lifecycle and the library's version.
#include "KVTSimPoolManagerModule.h"
#include "KVTSimPoolManagerVersion.h"

// Byte order.
#include "KVTSimRpm_Swapper.h"

// Binary streams and the memory-pool overlay.
#include "KVTSimRpm_BStreamAppendToPool.h"
#include "KVTSimRpm_BStreamRead.h"
#include "KVTSimRpm_BStreamReadBuffer.h"
#include "KVTSimRpm_BStreamReadLocator.h"
#include "KVTSimRpm_BStreamWrite.h"
#include "KVTSimRpm_BStreamWriteBuffer.h"
#include "KVTSimRpm_BStreamWriteLocator.h"
#include "KVTSimRpm_MemoryPool.h"

// Public handles and locators.
#include "KVTSimRpm_Document.h"
#include "KVTSimRpm_File.h"
#include "KVTSimRpm_Locator.h"
#include "KVTSimRpm_Pool.h"
#include "KVTSimRpm_PoolDescription.h"
#include "KVTSimRpm_PoolDirectory.h"

// The stored pool header and the raw walk over a file's chain of pools.
#include "KVTSimRpm_ChainWalker.h"
#include "KVTSimRpm_PoolHeader.h"

// Salvage reads and recovery of damaged files.
#include "KVTSimRpm_FileRecovery.h"
#include "KVTSimRpm_SalvageReport.h"

#endif  // KVTSIM_EXPORTED_KVTSIMPOOLMANAGER_H_
