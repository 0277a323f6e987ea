// The bytes of an input as verbs read them: unpacked where they are packed (unpack.h), else as they come.
#pragma once

#include <memory>
#include <streambuf>
#include <string>
#include <vector>

#include "tools/kxpolicy/unpack.h"

/// Constant memory, whatever is read. What cannot be read, is cut off or damaged is unusable input, with the name and,
/// of what is packed, the line that was reached; it never looks like the end. A stream on this buffer must let that
/// through: `exceptions(std::ios::badbit)`.
class CkxInputBuffer : public std::streambuf {
 public:
  /// `raw` must live as long.
  CkxInputBuffer(std::streambuf& raw, std::string name) : _raw(raw), _name(std::move(name)) {}

  uint64_t Taken() const { return _taken; }  ///< bytes of `raw`

 protected:
  int_type underflow() override;

 private:
  void LookAtFirstBytes();
  size_t Unpack();
  size_t ReadRaw(std::vector<char>& block);

  std::streambuf& _raw;
  const std::string _name;
  uint64_t _taken = 0;
  std::vector<char> _block = std::vector<char>(kBlock);
  bool _isBegun = false;

  // Of what is packed.
  std::unique_ptr<IkxUnpacker> _unpacker;
  std::vector<char> _packedBlock;
  std::span<const char> _packed;  // of the block, what is not unpacked yet
  bool _isWhole = false;
  size_t _lines = 1;  // that were handed out

  static constexpr size_t kBlock = size_t{64} << 10;
};
