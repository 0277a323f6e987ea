// The owner of a system handle.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <utility>

/// Whoever has a thing open for us does not keep others from it.
inline constexpr DWORD kKxShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

class CkxHandle {
 public:
  CkxHandle() = default;

  /// Takes over `handle`; both of the system's marks of failure, null and INVALID_HANDLE_VALUE, are "none".
  explicit CkxHandle(HANDLE handle) : _handle(handle == INVALID_HANDLE_VALUE ? nullptr : handle) {}
  CkxHandle(CkxHandle&& other) noexcept : _handle(other.Release()) {}
  CkxHandle& operator=(CkxHandle&& other) noexcept {
    Close();
    _handle = other.Release();
    return *this;
  }
  ~CkxHandle() { Close(); }

  explicit operator bool() const { return _handle != nullptr; }
  HANDLE Get() const { return _handle; }
  HANDLE Release() { return std::exchange(_handle, nullptr); }

  /// Where a system call writes a new handle; the one held before is closed.
  HANDLE* Receive() {
    Close();
    return &_handle;
  }

  /// Leaves the thread's last error as it is.
  void Close() {
    if (_handle == nullptr) return;
    const DWORD error = GetLastError();
    CloseHandle(Release());
    SetLastError(error);
  }

 private:
  HANDLE _handle = nullptr;
};
