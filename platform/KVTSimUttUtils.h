// Bounded text copy used for the texts that error kinds carry.

#ifndef KVTSIM_PLATFORM_KVTSIMUTTUTILS_H_
#define KVTSIM_PLATFORM_KVTSIMUTTUTILS_H_

#include "KVTSimExport.h"

class KVTSIM_EXPORT KVTSimUttUtils {
 public:
  // Copies text (null counts as "") into buffer and terminates it, writing at
  // most size bytes in all. A text that does not fit is cut before the first
  // UTF-8 sequence that would not fit whole. Does nothing when size <= 0.
  static void Copy(char* buffer, char const* text, int size) noexcept;
};

#endif  // KVTSIM_PLATFORM_KVTSIMUTTUTILS_H_
