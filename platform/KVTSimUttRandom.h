// Cryptographically secure random values from the kernel (getrandom(2)).

#ifndef KVTSIM_PLATFORM_KVTSIMUTTRANDOM_H_
#define KVTSIM_PLATFORM_KVTSIMUTTRANDOM_H_

// Stores a random 32-bit value in *value and returns 0; on failure returns the
// errno value and leaves *value unchanged. Retries when interrupted.
int KVTSimUtt_rand_s(unsigned int* value) noexcept;

#endif  // KVTSIM_PLATFORM_KVTSIMUTTRANDOM_H_
