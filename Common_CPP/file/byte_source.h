// Bytes that are read by position: a file's, or what stands for one.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

class IkxByteSource {
 public:
  virtual ~IkxByteSource() = default;

  /// Bytes read from `offset`, fewer than asked only at the end; nothing on an error.
  virtual std::optional<size_t> ReadAt(uint64_t offset, std::span<unsigned char> bytes) const = 0;

  /// Whether all of `bytes` were there.
  bool ReadExactly(uint64_t offset, std::span<unsigned char> bytes) const {
    return ReadAt(offset, bytes) == bytes.size();
  }
};
