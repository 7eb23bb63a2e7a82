#include "check_problem.h"

#include <utility>

namespace kvtsim_pool {

CheckProblem CheckProblem::With(std::string newKind, std::string newMessage) const {
  CheckProblem problem = *this;
  problem.kind = std::move(newKind);
  problem.message = std::move(newMessage);
  return problem;
}

std::string CheckProblem::Text() const {
  std::string text;
  if (!file.empty())
    text = file + ": ";
  if (pool) {
    text += "pool " + std::to_string(*pool);
    if (offset)
      text += " at offset " + std::to_string(*offset);
    text += ": ";
  }
  return text + message;
}

}  // namespace kvtsim_pool
