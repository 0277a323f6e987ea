// The program that a process runs, as the system's own records name it, not the process's memory.
#pragma once

#include <optional>

#include "Common_CPP/util/handle_win.h"

/// The kernel's process has no file.
inline constexpr uint32_t kKxKernelProcess = 4;

/// Full path; nothing where the system does not tell, with the last error set. `process` needs the right to query it
/// (PROCESS_QUERY_LIMITED_INFORMATION).
inline std::optional<KxWString> KxProcess_ImageOf(HANDLE process) {
  constexpr DWORD kMaxUnits = 32768;  // with the terminator
  KxWString path(kMaxUnits, WCHAR{});
  DWORD units = kMaxUnits;
  if (!QueryFullProcessImageNameW(process, 0, path.data(), &units)) return std::nullopt;
  path.resize(units);
  return path;
}
