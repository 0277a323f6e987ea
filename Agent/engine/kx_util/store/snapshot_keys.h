// The keys by which a snapshot finds policies: 64 bits of what a check demands, and of what a file has.
//
// Texts that a matcher takes for the same, folded or not, have the same key. Two that it does not may have the same
// key too: a policy that is found by a key is asked, and only one that is not found is known not to match.
#pragma once

#include <kx_util/policy_codes.h>

#include <vector>

#include "Common_CPP/util/text_search.h"

/// What a check demands of a file. Those from `Arguments` on cost more than the path alone.
enum class EkxDemand : unsigned char { Name, Folder, NamePiece, ArgumentsPiece, Hash, VersionField, Publisher };

constexpr uint32_t KxDemand_Bit(EkxDemand demand) { return 1U << static_cast<unsigned>(demand); }

constexpr uint64_t KxSnapshotKey_Mix(uint64_t value) {
  value = (value ^ value >> 32) * 0x9E3779B97F4A7C15;
  value = (value ^ value >> 29) * 0xBF58476D1CE4E5B9;
  return value ^ value >> 32;
}

/// What keys of one demand of targets of one type have in common. `fact`: which hash or field, for demands that have
/// several.
constexpr uint64_t KxSnapshotKey_Seed(EkxDemand demand, EkxPolicyTarget type, size_t fact = 0) {
  return KxSnapshotKey_Mix(static_cast<uint64_t>(fact) << 16 | static_cast<uint64_t>(demand) << 8 |
                           static_cast<uint64_t>(type));
}
constexpr uint64_t KxSnapshotKey_Of(uint64_t seed, uint64_t text) { return KxSnapshotKey_Mix(seed + text); }

/// Of a text whose case does not matter.
uint64_t KxSnapshotKey_Text(CkxTextView text);

/// Of a folder, "C:\Windows\System32" or with a separator at its end, those of the drive's root and of each folder on
/// the way to it, which is the last one. None for what is no absolute path on a drive. As `KxPath_IsFolderInside`
/// compares them: separators, case, "." and ".." do not matter.
std::vector<uint64_t> KxSnapshotKey_Folders(CkxTextView folder);

/// A piece is four units, folded.
inline constexpr size_t kKxPiece = kKxFour;

/// Calls `visit(piece)` for each piece of the text, at every place.
template <class Visit>
void KxSnapshotKey_EachPiece(CkxTextView text, Visit visit) {
  uint64_t piece = 0;
  for (size_t at = 0; at < text.Size(); ++at) {
    piece = piece >> 16 | static_cast<uint64_t>(KxText_Fold(text[at])) << 48;
    if (at + 1 >= kKxPiece) visit(piece);
  }
}
