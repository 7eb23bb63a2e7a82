// The process-wide invalid-parameter handler setting.
//
// Some C runtimes call a handler when a library function is given an invalid
// parameter, and end the process unless the handler returns. Linux has no such
// mechanism; the setting is kept here so that the library can install its empty
// handler at load, as it does on every platform, and hosts can query it.

#ifndef KVTSIM_PLATFORM_KVTSIMUTTINVALIDPARAMETER_H_
#define KVTSIM_PLATFORM_KVTSIMUTTINVALIDPARAMETER_H_

#include <cstdint>

#include "KVTSimExport.h"

typedef void (*KVTSimUttInvalidParameterHandler)(wchar_t const* expression, wchar_t const* function,
                                                 wchar_t const* file, unsigned int line,
                                                 std::uintptr_t reserved);

// Installs handler (null allowed) and returns the one it replaces.
KVTSIM_EXPORT KVTSimUttInvalidParameterHandler
KVTSimUtt_set_invalid_parameter_handler(KVTSimUttInvalidParameterHandler handler) noexcept;

// The handler in force; null until one is installed.
KVTSIM_EXPORT KVTSimUttInvalidParameterHandler KVTSimUtt_get_invalid_parameter_handler() noexcept;

#endif  // KVTSIM_PLATFORM_KVTSIMUTTINVALIDPARAMETER_H_
