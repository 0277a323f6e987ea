// Bytes in memory as a file's, for readers of files; it tells how much was read.
#pragma once

#include <algorithm>

#include "Common_CPP/file/byte_source.h"
#include "tests/support/record_bytes.h"

class CkxMemorySource : public IkxByteSource {
 public:
  explicit CkxMemorySource(KxBytes bytes) : _bytes(std::move(bytes)) {}  // so that a sanitizer sees a read beyond them
  CkxMemorySource(const unsigned char* data, size_t size) : _bytes(data, data + size) {}

  /// From the end of the bytes up to `size` there are zeros, as in a file that is sparse.
  CkxMemorySource(KxBytes bytes, uint64_t size) : _bytes(std::move(bytes)), _size(size) {}

  std::optional<size_t> ReadAt(uint64_t offset, std::span<unsigned char> bytes) const override {
    const uint64_t size = std::max<uint64_t>(_size, _bytes.size());
    if (offset >= size) return 0;
    const auto count = static_cast<size_t>(std::min<uint64_t>(bytes.size(), size - offset));
    std::fill_n(bytes.begin(), count, static_cast<unsigned char>(0));
    if (offset < _bytes.size()) {
      const size_t inMemory = std::min<size_t>(count, _bytes.size() - static_cast<size_t>(offset));
      std::copy_n(_bytes.begin() + static_cast<std::ptrdiff_t>(offset), inMemory, bytes.begin());
    }
    bytesRead += count;
    return count;
  }
  mutable uint64_t bytesRead = 0;

 private:
  const KxBytes _bytes;
  const uint64_t _size = 0;
};
