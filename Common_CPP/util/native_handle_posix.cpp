#include <cstdint>

#include "Common_CPP/util/descriptor_posix.h"
#include "Common_CPP/util/native_handle.h"

void KxHandle_Close(void* handle) noexcept {
  if (!KxHandle_IsNone(handle)) CkxDescriptor(static_cast<int>(reinterpret_cast<intptr_t>(handle))).Close();
}
