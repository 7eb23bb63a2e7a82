// Raising an error kind that takes no arguments.

#ifndef KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_RAISE_H_
#define KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_RAISE_H_

// Throws a Kind made with no arguments through its Throw(file, line), as
// every error of the library is raised. Callers pass __FILE__ and __LINE__
// of the place that found the fault, or the place they were given.
template <typename Kind>
[[noreturn]] void KVTSimRpm_Raise(char const* file, int line) {
  Kind error;
  error.Throw(file, line);
}

#endif  // KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_RAISE_H_
