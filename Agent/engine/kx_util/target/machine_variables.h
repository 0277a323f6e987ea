// Variables in paths that are kept on the machine: "%SystemRoot%\System32\shell32.dll".
//
// Only those are replaced that stand for places of the machine, and by what the machine says of itself: the environment
// is whoever's the process is, and may say anything.
#pragma once

#include "Common_CPP/util/text_view.h"

/// What is no such variable stays as it stands, as do all where the machine does not say where the system lives.
KxWString KxMachineVariables_Expand(CkxTextView text);
