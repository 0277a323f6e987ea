// The mark that programs leave on what they have downloaded: a small text beside the file's content, in its stream
// "Zone.Identifier", or where a file system has no streams in a file of that name behind the file's own and a colon.
//
//   [ZoneTransfer]
//   ZoneId=3
//   HostUrl=https://example.com/setup.exe
//
// Nothing protects it: whoever may write the file may remove it, or make one.
#pragma once

#include <optional>
#include <string_view>

#include "Common_CPP/util/text_view.h"

/// Where the mark of the file at `path` lies.
KxWString KxZoneIdentifier_PathOf(CkxTextView path);

/// The longest that is looked at, in bytes.
inline constexpr size_t kKxMaxZoneIdentifierBytes = size_t{64} << 10;

/// The zone, 0 to 4, of the first line "ZoneId=" of the first section "ZoneTransfer", in letters of any case. Nothing
/// when there is none, or it is no such number.
std::optional<uint32_t> KxZoneIdentifier_Read(std::string_view text);
