#include "Common_CPP/util/native_handle.h"

#include <cstdint>

bool KxHandle_IsNone(void* handle) noexcept {
  const auto number = reinterpret_cast<intptr_t>(handle);
  return number == 0 || number == -1;
}
