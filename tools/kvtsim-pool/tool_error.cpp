#include "tool_error.h"

#include <utility>

#include "KVTBasException.h"
#include "KVTSimUttOSError.h"

namespace kvtsim_pool {

ToolError::ToolError(std::string subject, std::string const& message)
    : std::runtime_error(message), mSubject(std::move(subject)) {}

std::string DescribeError(KVTBasException const& e) {
  if (auto const* os = dynamic_cast<KVTSimUttOSError const*>(&e)) {
    // The file name is reported as the subject; repeating it here adds nothing.
    return std::string("KVTSimUttOSError: ") + os->Operation() + ": " + os->SystemText();
  }
  return e.AsString(KVTBasStringModeShort).CStr();
}

std::string ErrorSubject(KVTBasException const& e, std::string const& fallback) {
  auto const* os = dynamic_cast<KVTSimUttOSError const*>(&e);
  if (os != nullptr && os->FileName()[0] != '\0')
    return os->FileName();
  return fallback;
}

}  // namespace kvtsim_pool
