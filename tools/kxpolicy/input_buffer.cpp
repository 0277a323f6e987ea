#include "tools/kxpolicy/input_buffer.h"

#include <algorithm>
#include <ios>

#include "Common_CPP/util/error_words.h"
#include "Common_CPP/util/last_error.h"
#include "tools/kxpolicy/tool.h"

CkxInputBuffer::int_type CkxInputBuffer::underflow() {
  size_t size = 0;
  if (!_isBegun) {
    LookAtFirstBytes();
    size = static_cast<size_t>(egptr() - gptr());
  }
  if (size == 0) {
    size = _unpacker != nullptr ? Unpack() : ReadRaw(_block);
    setg(_block.data(), _block.data(), _block.data() + size);
  }
  return size == 0 ? traits_type::eof() : traits_type::to_int_type(*gptr());
}

/// Byte by byte, and no more than it takes to know: whoever types waits for an answer to the first line.
void CkxInputBuffer::LookAtFirstBytes() {
  KxFirstBytes first = {};
  size_t count = 0;
  std::vector<char> byte(1);
  const auto mayBePacked = [&] { return KxUnpacker_MayBegin(std::span(first).first(count)); };
  while (count < first.size() && mayBePacked() && ReadRaw(byte) == 1)
    first[count++] = static_cast<unsigned char>(byte[0]);
  _isBegun = true;
  if (count > 1 && count < first.size() && mayBePacked()) {
    throw CkxToolFault(EkxExit::UnusableInput, _name + ":1: the packed data is cut off");
  }
  if (count == first.size()) _unpacker = KxUnpacker_For(first);
  if (_unpacker == nullptr) {
    std::copy_n(first.begin(), count, _block.begin());
    setg(_block.data(), _block.data(), _block.data() + count);
    return;
  }
  _packedBlock.assign(first.begin(), first.end());
  _packed = _packedBlock;
}

/// Into the block, at least a byte; 0 at the end.
size_t CkxInputBuffer::Unpack() {
  for (;;) {
    if (_packed.empty()) {
      _packedBlock.resize(kBlock);
      _packed = std::span(_packedBlock).first(ReadRaw(_packedBlock));
      if (_packed.empty() && _isWhole) return 0;
    }
    try {
      const SkxUnpacked unpacked = _unpacker->Unpack(_packed, _block);
      const bool isCut = _packed.empty() && unpacked.given == 0;
      if (isCut) throw CkxUnpackFault("the " + std::string(_unpacker->Name()) + " data is cut off");
      _packed = _packed.subspan(unpacked.taken);
      _isWhole = unpacked.isWhole;
      if (unpacked.given == 0) continue;
      const auto end = _block.begin() + static_cast<std::ptrdiff_t>(unpacked.given);
      _lines += static_cast<size_t>(std::count(_block.begin(), end, '\n'));
      return unpacked.given;
    } catch (const CkxUnpackFault& fault) {
      throw CkxToolFault(EkxExit::UnusableInput, _name + ":" + std::to_string(_lines) + ": " + fault.what());
    }
  }
}

/// What is there, and at least a byte; 0 at the end. Waits only for the first.
size_t CkxInputBuffer::ReadRaw(std::vector<char>& block) {
  try {
    if (traits_type::eq_int_type(_raw.sgetc(), traits_type::eof())) return 0;
    const auto room = static_cast<std::streamsize>(block.size());
    const auto count = _raw.sgetn(block.data(), std::clamp(_raw.in_avail(), std::streamsize{1}, room));
    _taken += static_cast<uint64_t>(count);
    return static_cast<size_t>(count);
  } catch (const std::ios_base::failure&) {
    KxLastError_SetFromSystem();
    throw CkxToolFault(EkxExit::UnusableInput, _name + ": cannot be read: " + KxError_Words());
  }
}
