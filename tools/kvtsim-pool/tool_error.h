// ToolError: a failure that kvtsim-pool reports itself, such as a wrong
// argument or a file it cannot use, and the one-line descriptions of the
// library's error kinds.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_TOOL_ERROR_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_TOOL_ERROR_H_

#include <stdexcept>
#include <string>

class KVTBasException;

namespace kvtsim_pool {

class ToolError : public std::runtime_error {
 public:
  // subject: the file or argument the message is about; message: what is wrong.
  ToolError(std::string subject, std::string const& message);

  std::string const& Subject() const noexcept { return mSubject; }

 private:
  std::string mSubject;
};

// The error kind with its arguments, e.g. "KVTSimExcCorruptDirectory" or
// "KVTSimUttOSError: open: No such file or directory".
std::string DescribeError(KVTBasException const& e);

// The file a library error names (KVTSimUttOSError carries one), else fallback.
std::string ErrorSubject(KVTBasException const& e, std::string const& fallback);

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_TOOL_ERROR_H_
