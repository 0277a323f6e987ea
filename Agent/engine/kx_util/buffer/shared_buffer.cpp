#include <kx_util/shared_buffer.h>

#include <algorithm>
#include <utility>

#include "Agent/engine/kx_util/buffer/obfuscation.h"
#include "Agent/engine/kx_util/buffer/record_memory.h"
#include "Agent/engine/kx_util/buffer/wipe.h"
#include "Common_CPP/util/byte_cursor.h"

namespace {

void UnObfuscateEight(unsigned char* out, const unsigned char* in, uint64_t mask) {
  const uint64_t plain = KxBytes_Load<uint64_t>(in) ^ mask;
  std::memcpy(out, &plain, sizeof(plain));
}

}  // namespace

unsigned char KxUtil_ObfuscationKey() { return kKxObfuscationKey; }

/// One pass, eight bytes at a time; the last eight may be done twice, which does no harm since `in` is only read.
void KxObfuscation_Undo(unsigned char* out, const unsigned char* in, size_t count) {
  constexpr uint64_t mask = kKxObfuscationMask;
  if (count < 8) {
    for (size_t i = 0; i < count; ++i) out[i] = static_cast<unsigned char>(in[i] ^ mask);
    return;
  }
  for (size_t at = 0; at < count - 8; at += 8) UnObfuscateEight(out + at, in + at, mask);
  UnObfuscateEight(out + count - 8, in + count - 8, mask);
}

CkxShBufString::CkxShBufString(CkxShBufString&& other) noexcept
    : _length(std::exchange(other._length, 0)),
      _borrowed(std::exchange(other._borrowed, false)),
      _text(std::exchange(other._text, nullptr)),
      _owned(std::exchange(other._owned, nullptr)) {}

CkxShBufString& CkxShBufString::operator=(CkxShBufString&& other) noexcept {
  if (_owned != nullptr && _owned == other._owned) return *this;  // one of them borrows from the other
  CkxShBufString moved(std::move(other));                         // takes over what we held, and wipes it
  std::swap(_length, moved._length);
  std::swap(_borrowed, moved._borrowed);
  std::swap(_text, moved._text);
  std::swap(_owned, moved._owned);
  return *this;
}

CkxShBufString::CkxShBufString(const CkxShBufString& other) noexcept
    : _length(other._length), _borrowed(other._owned != nullptr), _text(other._text), _owned(other._owned) {}

CkxShBufString& CkxShBufString::operator=(const CkxShBufString& other) noexcept {
  return *this = CkxShBufString(other);
}

void CkxShBufString::Wipe() {
  KxWipe(_owned, _length);
  KxRecord_Free(_owned);
}

bool CkxShBufString::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  CkxByteCursor in(cursor, remaining);
  uint32_t count = 0;
  if (!in.U32(count)) return false;
  Release();

  const unsigned char* bytes = nullptr;
  const bool read = count == 0 || in.Bytes(count, bytes);
  _length = read ? count : 0;
  _text = reinterpret_cast<const WCHAR*>(bytes);
  return read;
}

bool CkxShBufString::FromBufferAndUnObfuscate(const unsigned char*& cursor, unsigned long& remaining) {
  // The count is compared with what remains including the count itself, so up to four of its bytes may not be there.
  // They count as stored zeros, and what follows the end is never read.
  uint32_t count = 0;
  if (!CkxByteCursor(cursor, remaining).PeekU32(count) || count > remaining) return false;
  const size_t present = std::min<size_t>(count, remaining - sizeof(count));

  WCHAR* copy = nullptr;
  if (count != 0) {
    copy = static_cast<WCHAR*>(KxRecord_Allocate((size_t{count} / 2 + 1) * sizeof(WCHAR)));
    if (copy == nullptr) return false;
    unsigned char* const bytes = reinterpret_cast<unsigned char*>(copy);
    KxObfuscation_Undo(bytes, cursor + sizeof(count), present);
    std::memset(bytes + present, static_cast<unsigned char>(kKxObfuscationMask), count - present);
    copy[count / 2] = 0;  // of an odd count the last byte goes
  }

  Release();
  _length = count;
  _text = _owned = copy;
  cursor += sizeof(count) + present;
  remaining -= static_cast<unsigned long>(sizeof(count) + present);
  return true;
}

void* CkxShBufList::CkxNode::operator new(size_t bytes) noexcept { return KxRecord_Allocate(bytes); }
void CkxShBufList::CkxNode::operator delete(void* piece) noexcept { KxRecord_Free(piece); }

CkxShBufList::CkxShBufList(const CkxShBufList& other) noexcept
    : _count(other._count), _borrowed(other._head != nullptr), _head(other._head) {}

CkxShBufList& CkxShBufList::operator=(const CkxShBufList& other) noexcept {
  if (this == &other) return *this;
  if (_head != nullptr && _head == other._head) return *this;  // one of them borrows from the other
  _Clear();
  _count = other._count;
  _borrowed = other._head != nullptr;
  _head = other._head;
  return *this;
}

bool CkxShBufList::FromBuffer(const unsigned char*& cursor, unsigned long& remaining, Factory factory) {
  _Clear();
  uint32_t count = 0;
  if (factory == nullptr || !CkxByteCursor(cursor, remaining).U32(count)) return false;
  for (CkxNode** end = &_head; _count < count; ++_count) {
    CkxNode* const node = factory(cursor, remaining);
    if (node == nullptr) {
      _Clear();
      return false;
    }
    *end = node;
    end = &node->_next;
  }
  return true;
}

void CkxShBufList::_Clear() {
  if (_borrowed) _head = nullptr;
  while (_head != nullptr) delete std::exchange(_head, _head->_next);
  _count = 0;
  _borrowed = false;
}
