// The bytes of a fuzz target as a file that is read by position.
#pragma once

#include <algorithm>

#include "Common_CPP/file/byte_source.h"

class CkxFuzzSource : public IkxByteSource {
 public:
  CkxFuzzSource(const uint8_t* data, size_t size) : _bytes(data, size) {}
  std::optional<size_t> ReadAt(uint64_t offset, std::span<unsigned char> bytes) const override {
    if (offset >= _bytes.size()) return 0;
    const std::span<const unsigned char> there = _bytes.subspan(static_cast<size_t>(offset));
    const size_t count = std::min(bytes.size(), there.size());
    std::copy_n(there.begin(), count, bytes.begin());
    return count;
  }

 private:
  const std::span<const unsigned char> _bytes;
};
