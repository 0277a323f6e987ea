#include "Common_CPP/util/trace_flashback.h"

namespace {

/// Not in the middle of a character.
template <size_t Room>
uint16_t CopyCut(std::string_view text, char (&room)[Room]) {
  size_t size = std::min(text.size(), Room);
  while (size != 0 && size < text.size() && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) --size;
  std::copy_n(text.begin(), size, room);
  return static_cast<uint16_t>(size);
}

}  // namespace

CkxTraceFlashback::CkxTraceFlashback(IkxTraceSink& next, size_t lines)
    : _next(next), _ring(std::max<size_t>(lines, 1)) {
  const std::lock_guard lock(_mutex);  // whatever the system needs for it, it has from now on
}

void CkxTraceFlashback::Write(const SkxTraceLine& line) noexcept {
  if (!KxTrace_IsFor(_next, line)) return Keep(line);
  if (line.level == EkxTraceLevel::Error && line.variant != EkxTraceVariant::Flashback) Show();
  _next.Write(line);
}

void CkxTraceFlashback::OnFault(std::string_view line) noexcept {
  Show();
  _next.OnFault(line);
}

// The lock is not held while a line is shown: the sink may be slow, and may trace.
void CkxTraceFlashback::Show() noexcept {
  uint64_t end = 0;
  {
    const std::lock_guard lock(_mutex);
    end = _end;
  }
  for (Kept kept; TakeFirst(end, kept);) {
    _next.Write({kept.level,
                 EkxTraceVariant::Flashback,
                 {kept.scope, kept.scopeSize},
                 {kept.message, kept.messageSize},
                 kept.time,
                 kept.thread});
  }
}

void CkxTraceFlashback::Keep(const SkxTraceLine& line) noexcept {
  const std::lock_guard lock(_mutex);
  Kept& kept = _ring[_end % _ring.size()];
  kept.time = line.time;
  kept.thread = line.thread;
  kept.level = line.level;
  kept.scopeSize = CopyCut(line.scope, kept.scope);
  kept.messageSize = CopyCut(line.message, kept.message);
  if (++_end - _first > _ring.size()) ++_first;
}

bool CkxTraceFlashback::TakeFirst(uint64_t before, Kept& line) noexcept {
  const std::lock_guard lock(_mutex);
  if (_first >= before) return false;
  line = _ring[_first++ % _ring.size()];
  return true;
}
