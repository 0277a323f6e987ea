#include "Common_CPP/file/trace_file.h"

#include <chrono>
#include <cstdio>
#include <new>
#include <stdexcept>

#include "Common_CPP/file/own_log.h"
#include "Common_CPP/util/file_time.h"
#include "Common_CPP/util/own_ids.h"

namespace {

std::string TimeText(int64_t fileTime) {
  using std::chrono::milliseconds;
  const std::chrono::sys_time<milliseconds> time(milliseconds((fileTime - KxFileTime_FromUnix(0, 0)) / 10000));
  const auto day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(time - day);
  char text[80];
  std::snprintf(text, sizeof(text), "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()), static_cast<int>(clock.subseconds().count()));
  return text;
}

std::string FileText(SkxTraceLine line) {
  if (line.variant == EkxTraceVariant::Plain) line.variant = EkxTraceVariant::Redirected;
  std::string text = TimeText(line.time);
  text.append(" ").append(std::to_string(KxOwn_ProcessId()));
  text.append(" ").append(std::to_string(line.thread)).append(" ");
  return text.append(KxTrace_LineText(line));
}

}  // namespace

std::unique_ptr<CkxTraceFile> CkxTraceFile::Open(CkxTextView path, EkxTraceLevel deepest, uint64_t maxBytes) {
  auto log = std::make_unique<CkxOwnLog>();
  if (!log->Open(path)) return nullptr;
  return std::unique_ptr<CkxTraceFile>(new CkxTraceFile(std::move(log), deepest, maxBytes));
}

CkxTraceFile::CkxTraceFile(std::unique_ptr<CkxOwnLog> log, EkxTraceLevel deepest, uint64_t maxBytes)
    : _deepest(deepest), _maxBytes(maxBytes), _log(std::move(log)) {
  const std::lock_guard lock(_mutex);  // whatever the system needs for it, it has from now on
}

CkxTraceFile::~CkxTraceFile() = default;

void CkxTraceFile::Write(const SkxTraceLine& line) noexcept {
  if (!KxTrace_IsFor(*this, line)) return;
  try {
    const std::string text = FileText(line);
    const std::lock_guard lock(_mutex);
    const uint64_t size = _log->Size().value_or(0);
    const bool hasRoom = text.size() <= _maxBytes && size <= _maxBytes - text.size();
    if (hasRoom || (text.size() <= _maxBytes && _log->Rotate())) _log->Append(text);
  } catch (const std::bad_alloc&) {  // the line is lost
  } catch (const std::length_error&) {
  }
}

void CkxTraceFile::OnFault(std::string_view) noexcept { KxTrace_WriteStack(*this); }
