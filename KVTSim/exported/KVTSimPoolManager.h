// KVTSimPoolManager.h: everything a caller of the pool manager includes.

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

// Module lifecycle.
#include "KVTSimPoolManagerModule.h"

// Handles, lists and byte order.
#include "KVTSimRpm_RefCounter.h"
#include "KVTSimRpm_StrongRef.h"
#include "KVTSimRpm_Swapper.h"
#include "KVTSimRpm_WeakRef.h"
#include "cow_List.h"
#include "cow_ListIter.h"

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

// Implementation classes.
#include "KVTSimRpm_DocumentImpl.h"
#include "KVTSimRpm_FileImpl.h"
#include "KVTSimRpm_Matrix.h"
#include "KVTSimRpm_PoolDirectoryImpl.h"
#include "KVTSimRpm_PoolImpl.h"
#include "KVTSimRpm_PoolMap.h"
#include "KVTSimRpm_PoolMapItem.h"

#endif  // KVTSIM_EXPORTED_KVTSIMPOOLMANAGER_H_
