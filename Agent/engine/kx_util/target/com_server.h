// The file behind a class of COM components of this machine: what runs when such a component is asked for.
//
// Only what the machine has registered counts. The system takes a component that is to be elevated from there too,
// since what a user has registered for itself could be anything.
#pragma once

#include <optional>

#include "Common_CPP/util/text_view.h"

/// What a component is asked for as.
enum class EkxComUse {
  Elevated,  ///< in a process of its own: its program, else the library that the system's host loads
  Control,   ///< within another program: its library, else its program
};

/// Full path; nothing when the class has none, or `classId` is no "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}".
std::optional<KxWString> KxComServer_File(CkxTextView classId, EkxComUse use);
