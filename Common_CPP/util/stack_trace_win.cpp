#include "Common_CPP/util/stack_trace.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

#include "Common_CPP/util/handle_win.h"
#include "Common_CPP/util/text.h"

namespace {

std::string Hexadecimal(uintptr_t number) {
  char text[2 + 2 * sizeof(number) + 1];
  std::snprintf(text, sizeof(text), "0x%llX", static_cast<unsigned long long>(number));
  return text;
}

/// The name of its file; a longer path than the buffer is cut, and its name with it.
KxWString ModuleName(HMODULE module) {
  WCHAR path[MAX_PATH];
  const DWORD units = GetModuleFileNameW(module, path, MAX_PATH);
  const KxWStringView text(path, units);
  return KxWString(text.substr(text.rfind(L'\\') + 1));  // npos is before the first
}

}  // namespace

CkxStackTrace::CkxStackTrace(size_t skipped) noexcept {
  _count = CaptureStackBackTrace(0, kMaxFrames, _frames, nullptr);
  _first = std::min(skipped + 1, _count);  // without this constructor
}

std::string KxStack_FrameText(const void* address) {
  constexpr DWORD kByAddress = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
  HMODULE module = nullptr;
  const auto place = reinterpret_cast<uintptr_t>(address);
  if (!GetModuleHandleExW(kByAddress, static_cast<const WCHAR*>(address), &module)) return Hexadecimal(place);
  return KxText_ToUtf8(ModuleName(module)) + "+" + Hexadecimal(place - reinterpret_cast<uintptr_t>(module));
}
