// What the headers of a program file say of how it runs: on which machine, in a window or not, as native code or .NET.
//
//   CLR directory      header: u32 size, u16 and u16 version, u32 address of the metadata, u32 size of it
//   metadata           u32 "BSJB", u16 and u16 version, u32 0, u32 bytes of the text, text of the runtime, NULs
#pragma once

#include <kx_util/target_facts.h>

class IkxByteSource;

/// Nothing when it is no program file.
std::optional<SkxProgramFacts> KxPe_ReadProgram(const IkxByteSource& file);
