#include "KVTSimUttInvalidParameter.h"

namespace {
KVTSimUttInvalidParameterHandler gHandler = nullptr;
}  // namespace

KVTSimUttInvalidParameterHandler KVTSimUtt_set_invalid_parameter_handler(
    KVTSimUttInvalidParameterHandler handler) noexcept {
  KVTSimUttInvalidParameterHandler previous = gHandler;
  gHandler = handler;
  return previous;
}

KVTSimUttInvalidParameterHandler KVTSimUtt_get_invalid_parameter_handler() noexcept {
  return gHandler;
}
