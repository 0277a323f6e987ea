// The owner of a file descriptor.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

class CkxDescriptor {
 public:
  CkxDescriptor() = default;

  /// Takes over `descriptor`; a negative one is "none".
  explicit CkxDescriptor(int descriptor) : _descriptor(descriptor) {}
  CkxDescriptor(CkxDescriptor&& other) noexcept : _descriptor(other.Release()) {}
  CkxDescriptor& operator=(CkxDescriptor&& other) noexcept {
    Close();
    _descriptor = other.Release();
    return *this;
  }
  ~CkxDescriptor() { Close(); }

  explicit operator bool() const { return _descriptor >= 0; }
  int Get() const { return _descriptor; }
  int Release() { return std::exchange(_descriptor, -1); }

  /// Leaves `errno` as it is.
  void Close() {
    if (_descriptor < 0) return;
    const int error = errno;
    close(Release());
    errno = error;
  }

 private:
  int _descriptor = -1;
};
