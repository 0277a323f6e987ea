// What a name stands for that people give: a file, or all files of a folder.
#pragma once

#include <functional>

#include "Common_CPP/util/text_view.h"

/// Calls `visit` with the path of the file, or of each entry of the folder, in no order. False when the folder cannot
/// be read to its end.
bool KxFile_ForEach(CkxTextView path, const std::function<void(CkxTextView)>& visit);
