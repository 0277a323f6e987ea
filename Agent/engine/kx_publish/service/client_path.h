// Whether a file that a client names may be opened for it. The client's rights decide what is in it; this decides that
// the service goes nowhere that it should not: to no other machine, and to no device.
#pragma once

#include "Common_CPP/util/text_view.h"

enum class EkxClientPath : unsigned char {
  File,      ///< from the root of a drive, or of the file system
  NameOnly,  ///< from a folder that only the client knows: judged by what it is called, and never opened
  Refused,   ///< another machine's ("\\server\share"), the system's own spelling of anything ("\\?\", "\??\"), or a
             ///< device
};

EkxClientPath KxClientPath_KindOf(CkxTextView path);
