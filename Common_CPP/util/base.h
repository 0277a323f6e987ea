// The few definitions that differ from platform to platform and that everything else builds on:
// the 16-bit text unit, the GUID layout and the export mark.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#ifdef _WIN32

#include <guiddef.h>

using WCHAR = wchar_t;
#define KXW(text) L##text

/// The system's own unsigned number of 32 bits, a type apart from uint32_t.
using KxULong = unsigned long;

// What the DLL exports. A program that links the DLL sees KX_UTIL_USES_DLL, which its CMake target defines; the static
// library needs neither.
#if defined(KX_UTIL_BUILDS_DLL)
#define KX_UTIL_API __declspec(dllexport)
#elif defined(KX_UTIL_USES_DLL)
#define KX_UTIL_API __declspec(dllimport)
#else
#define KX_UTIL_API
#endif

#else

using WCHAR = char16_t;
using KxULong = uint32_t;
#define KXW(text) u##text
#define KX_UTIL_API

/// The system's GUID layout: the first three fields are little-endian numbers, the last eight bytes are as written.
struct GUID {
  uint32_t Data1;
  uint16_t Data2;
  uint16_t Data3;
  unsigned char Data4[8];
};

#endif

static_assert(sizeof(WCHAR) == 2, "records hold UTF-16 units");
static_assert(sizeof(GUID) == 16, "records hold GUIDs in the 16-byte layout");

using KxWString = std::basic_string<WCHAR>;
using KxWStringView = std::basic_string_view<WCHAR>;
