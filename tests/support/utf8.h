// Texts of the interface as tests compare and print them.
#pragma once

#include <string>

#include "Common_CPP/util/text.h"

inline std::string KxTest_Utf8(const WCHAR* text) { return text != nullptr ? KxText_ToUtf8(text) : "<null>"; }
