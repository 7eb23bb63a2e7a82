// Symbol visibility for the pool manager shared library.
//
// The library is built with hidden default visibility. KVTSIM_EXPORT marks the
// classes and functions that callers may use across the library boundary, and
// every type that a caller may catch or hold there (error kinds, strings), so
// that their type information is shared with the calling program.

#ifndef KVTSIM_PLATFORM_KVTSIMEXPORT_H_
#define KVTSIM_PLATFORM_KVTSIMEXPORT_H_

#if defined(__GNUC__) || defined(__clang__)
#define KVTSIM_EXPORT __attribute__((visibility("default")))
#else
#define KVTSIM_EXPORT
#endif

#endif  // KVTSIM_PLATFORM_KVTSIMEXPORT_H_
