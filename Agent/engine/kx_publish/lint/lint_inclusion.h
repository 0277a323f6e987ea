// Whether all that one pattern takes, another takes too. For lint_conditions.cpp.
//
// Yes is certain, no is not: what expressions have in common is not looked into. A text that stands for itself is put
// to the matcher. Of two patterns the narrower one is read as a text in which "*" and "?" are units like any other, and
// which nothing but a wildcard of the wider one takes.
//
// Paths are taken as systems spell them, with one separator between names and no "..": in another spelling a pattern
// may miss what a folder takes.
#pragma once

#include <kx_util/match_str.h>

#include <functional>

/// What comparing may still cost, in units that are looked at: patterns are other people's, and so is their number.
class CkxLintWork {
 public:
  bool Spend(uint64_t units) {
    const bool isEnough = units <= _left;
    _left = isEnough ? _left - units : 0;
    return isEnough;
  }

 private:
  uint64_t _left = 10'000'000;
};

struct SkxTextPattern {
  CkxTextView pattern;
  bool caseSensitive;
  EkxStrCompareAs compareAs;
};
bool KxInclusion_OfTexts(const SkxTextPattern& wider, const SkxTextPattern& narrower, CkxLintWork& work);

/// A folder, or a pattern of folders, as locations ask for them.
struct SkxFolderPattern {
  CkxTextView pattern;
  bool withSubfolders;
};
bool KxInclusion_OfFolders(const SkxFolderPattern& wider, const SkxFolderPattern& narrower, CkxLintWork& work);

/// Lists of kinds of drives, separated by ",".
bool KxInclusion_OfDriveKinds(CkxTextView wider, CkxTextView narrower);

// What is looked up in place of comparing each with each: a pattern takes nothing but what offers each of the features
// that it demands. Case and kinds of separators make no difference to them.
using KxFeatureVisit = std::function<void(uint64_t feature)>;
void KxInclusion_Demands(const SkxTextPattern& pattern, const KxFeatureVisit& visit);
void KxInclusion_Offers(const SkxTextPattern& pattern, const KxFeatureVisit& visit);
void KxInclusion_Demands(const SkxFolderPattern& pattern, const KxFeatureVisit& visit);
void KxInclusion_Offers(const SkxFolderPattern& pattern, const KxFeatureVisit& visit);

/// The feature of a text that has to be the same, but for case.
uint64_t KxInclusion_WholeText(CkxTextView text);
