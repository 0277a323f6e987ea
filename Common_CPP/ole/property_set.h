// Property sets: values by number in a stream of a compound file, as the summary information of a document is.
//
//   0                  u16 0xFFFE, u16 version, u32 system, class; u32 count of sections
//   28                 of each section: format, 16 bytes; u32 offset
//   section            u32 size, u32 count; of each property: u32 number, u32 offset in the section
//   property           u32 type: 30 is text in the code page that property 1 (type 2, u16) tells: u32 bytes with the
//                      NUL, text
#pragma once

#include <map>
#include <optional>
#include <span>

#include "Common_CPP/util/base.h"

using KxPropertyTexts = std::map<uint32_t, KxWString>;

/// The name of the stream, and the numbers of its properties that are texts.
inline constexpr const WCHAR* kKxSummaryStream = KXW("\5SummaryInformation");
enum class EkxSummaryProperty : uint32_t {
  Title = 2,
  Subject = 3,
  Author = 4,
  Keywords = 5,
  Comments = 6,
  Template = 7,
  LastAuthor = 8,
  RevisionNumber = 9,
  Application = 18
};

/// The texts of a summary information stream; those that are broken or in no known code page are left out. Nothing when
/// it is no such stream.
std::optional<KxPropertyTexts> KxOle_SummaryTexts(std::span<const unsigned char> stream);
