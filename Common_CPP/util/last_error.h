// The thread's last error. Windows has one; elsewhere the library keeps one per thread, with the same numbers.
#pragma once

#include <cstdint>

#include "Common_CPP/util/base.h"

inline constexpr uint32_t kKxErrorSuccess = 0;
inline constexpr uint32_t kKxErrorFileNotFound = 2;
inline constexpr uint32_t kKxErrorTooManyOpenFiles = 4;
inline constexpr uint32_t kKxErrorAccessDenied = 5;
inline constexpr uint32_t kKxErrorInvalidHandle = 6;
inline constexpr uint32_t kKxErrorNotEnoughMemory = 8;
inline constexpr uint32_t kKxErrorGenFailure = 31;
inline constexpr uint32_t kKxErrorSharingViolation = 32;
inline constexpr uint32_t kKxErrorNoToken = 1008;
inline constexpr uint32_t kKxErrorIoDevice = 1117;

uint32_t KxLastError_Get();
void KxLastError_Set(uint32_t error);

/// Sets the last error from `errno` where that is what the system reports by; elsewhere the system has set it already.
void KxLastError_SetFromSystem();

/// The same, as a failing function ends.
inline bool KxLastError_Fail() {
  KxLastError_SetFromSystem();
  return false;
}

/// Leaves the thread's last error as it was found, whatever happens in between.
class CkxLastErrorGuard {
 public:
  CkxLastErrorGuard() : _error(KxLastError_Get()) {}
  ~CkxLastErrorGuard() { KxLastError_Set(_error); }
  CkxLastErrorGuard(const CkxLastErrorGuard&) = delete;
  CkxLastErrorGuard& operator=(const CkxLastErrorGuard&) = delete;

 private:
  const uint32_t _error;
};
