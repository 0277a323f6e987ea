#include "Common_CPP/util/stack_trace.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace {

std::string Hexadecimal(uintptr_t number) {
  char text[2 + 2 * sizeof(number) + 1];
  std::snprintf(text, sizeof(text), "0x%llX", static_cast<unsigned long long>(number));
  return text;
}

std::string Readable(const char* symbol) {
  struct Free {
    void operator()(char* text) const { std::free(text); }
  };
  int status = 0;
  const std::unique_ptr<char, Free> name(abi::__cxa_demangle(symbol, nullptr, nullptr, &status));
  return name != nullptr && status == 0 ? name.get() : symbol;
}

uintptr_t Distance(const void* from, const void* to) {
  return reinterpret_cast<uintptr_t>(to) - reinterpret_cast<uintptr_t>(from);
}

}  // namespace

// Begins with its caller, however many frames of its own the system's function has: a sanitizer stands before it.
[[gnu::noinline]] CkxStackTrace::CkxStackTrace(size_t skipped) noexcept {
  const int count = backtrace(_frames, kMaxFrames);
  _count = static_cast<size_t>(std::max(count, 0));
  void* const* const caller = std::find(_frames, _frames + _count, __builtin_return_address(0));
  const size_t own = caller != _frames + _count ? static_cast<size_t>(caller - _frames) : 1;
  _first = std::min(skipped + own, _count);
}

std::string KxStack_FrameText(const void* address) {
  Dl_info place{};
  if (dladdr(address, &place) == 0 || place.dli_fname == nullptr) {
    return Hexadecimal(reinterpret_cast<uintptr_t>(address));
  }
  const std::string_view path = place.dli_fname;
  std::string text(path.substr(path.rfind('/') + 1));  // npos is before the first
  text += "+" + Hexadecimal(Distance(place.dli_fbase, address));
  if (place.dli_sname == nullptr) return text;
  return text + " " + Readable(place.dli_sname) + "+" + Hexadecimal(Distance(place.dli_saddr, address));
}
