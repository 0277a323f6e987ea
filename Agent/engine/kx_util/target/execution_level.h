// The rights that a program asks for in its manifest, an XML document among its resources:
//
//   <assembly><trustInfo><security><requestedPrivileges><requestedExecutionLevel level="requireAdministrator" .../>
//
// The document is hostile: it is walked once, tag by tag, without a memory of more than the way down.
#pragma once

#include <optional>
#include <span>
#include <string_view>

#include "Common_CPP/util/base.h"

class IkxByteSource;

/// All that there are.
inline constexpr std::string_view kKxExecutionLevels[] = {"asInvoker", "highestAvailable", "requireAdministrator"};

/// As the manifest has it: "asInvoker", "highestAvailable" or "requireAdministrator". Nothing when it does not say,
/// says something else, or says it twice; and when it is no document that is put together well up to the end.
std::optional<KxWString> KxManifest_ExecutionLevel(std::span<const unsigned char> manifest);

/// The same of a program file, of the manifest that it is started with.
std::optional<KxWString> KxPe_ReadExecutionLevel(const IkxByteSource& file);
