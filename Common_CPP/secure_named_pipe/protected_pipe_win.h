// Where pipes lie that only administrators and the system can make: the file system of pipes itself keeps everybody
// else from the prefix, so that a name there is nobody's for the taking.
#pragma once

#include <string>

inline constexpr wchar_t kKxPlainPipes[] = L"\\\\.\\pipe\\";
inline constexpr wchar_t kKxProtectedPipes[] = L"\\\\.\\pipe\\ProtectedPrefix\\Administrators\\";
