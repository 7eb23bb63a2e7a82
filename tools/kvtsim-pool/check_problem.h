// CheckProblem: one thing check reports about a file (a problem, a note or
// a hint), where it is and what kind it is, for its text line and its JSON
// object.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_CHECK_PROBLEM_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_CHECK_PROBLEM_H_

#include <cstdint>
#include <optional>
#include <string>

namespace kvtsim_pool {

struct CheckProblem {
  std::string file;                     // empty when it concerns several files
  std::optional<unsigned> pool;         // the pool record's index in file
  std::optional<std::uint64_t> offset;  // the record's offset in file
  std::string kind;                     // a fixed word, e.g. "length_digits"
  std::string message;                  // what is wrong, without the place

  // The same place with another kind and message.
  CheckProblem With(std::string newKind, std::string newMessage) const;

  // "<file>: pool <i> at offset <n>: <message>", leaving out what is unknown.
  std::string Text() const;
};

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_CHECK_PROBLEM_H_
