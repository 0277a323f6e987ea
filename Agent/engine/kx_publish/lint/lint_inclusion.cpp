#include "Agent/engine/kx_publish/lint/lint_inclusion.h"

#include <kx_util/evaluation_fault.h>

#include <algorithm>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "Agent/engine/kx_util/command/path_unit.h"
#include "Agent/engine/kx_util/command/wildcard.h"
#include "Common_CPP/util/text.h"

namespace {

/// A unit, or beyond all units a wildcard.
using Token = uint32_t;
using Tokens = std::vector<Token>;
constexpr Token kAnyUnit = 0x10000;
constexpr Token kAnyRun = 0x10001;

constexpr uint64_t kCompilingAUnit = 64;  // in units that are compared
constexpr size_t kGram = 4;               // units that are looked up together

WCHAR AsItIs(WCHAR unit) { return unit; }

Tokens UnitsOf(CkxTextView text, WCHAR (*fold)(WCHAR)) {
  Tokens tokens;
  tokens.reserve(text.Size() + 2);
  for (size_t at = 0; at < text.Size(); ++at) tokens.push_back(fold(text[at]));
  return tokens;
}

/// Of wildcards in a row "?" comes first and "*" once, in whatever order they were written.
Tokens WildcardTokens(CkxTextView pattern, WCHAR (*fold)(WCHAR)) {
  Tokens tokens;
  tokens.reserve(pattern.Size() + 1);
  bool anyRun = false;
  for (size_t at = 0; at < pattern.Size(); ++at) {
    if (pattern[at] == KXW('*')) {
      anyRun = true;
    } else if (pattern[at] == KXW('?')) {
      tokens.push_back(kAnyUnit);
    } else {
      if (std::exchange(anyRun, false)) tokens.push_back(kAnyRun);
      tokens.push_back(fold(pattern[at]));
    }
  }
  if (anyRun) tokens.push_back(kAnyRun);
  return tokens;
}

/// Nothing for what takes no text at all, and for what is no pattern of this kind.
std::optional<Tokens> TextTokens(const SkxTextPattern& text, WCHAR (*fold)(WCHAR)) {
  if (text.compareAs == EkxStrCompareAs::StrWildcard) return WildcardTokens(text.pattern, fold);
  const bool isPart =
      text.compareAs == EkxStrCompareAs::StrStartsWith || text.compareAs == EkxStrCompareAs::StrContains;
  if (!isPart && text.compareAs != EkxStrCompareAs::StrEquals) return std::nullopt;
  if (isPart && text.pattern.IsEmpty()) return std::nullopt;
  Tokens tokens = UnitsOf(text.pattern, fold);
  if (text.compareAs == EkxStrCompareAs::StrContains) tokens.insert(tokens.begin(), kAnyRun);
  if (isPart) tokens.push_back(kAnyRun);
  return tokens;
}

bool HasUnits(const Tokens& tokens) {
  return std::any_of(tokens.begin(), tokens.end(), [](Token token) { return token < kAnyUnit; });
}

bool Fits(Token wide, Token narrow) { return wide == narrow || (wide == kAnyUnit && narrow < kAnyUnit); }

/// The greedy match of wildcards, with the narrower pattern in the place of the text.
bool Takes(const Tokens& wider, const Tokens& narrower, CkxLintWork& work) {
  size_t wide = 0;
  size_t behindRun = 0;  // in `wider`, once it has met a "*"
  size_t resumed = 0;    // in `narrower`
  for (size_t narrow = 0; narrow < narrower.size();) {
    if (!work.Spend(1)) return false;
    if (wide < wider.size() && wider[wide] == kAnyRun) {
      behindRun = ++wide;
      resumed = narrow;
    } else if (wide < wider.size() && Fits(wider[wide], narrower[narrow])) {
      ++wide;
      ++narrow;
    } else if (behindRun != 0) {
      wide = behindRun;
      narrow = ++resumed;
    } else {
      return false;
    }
  }
  return std::all_of(wider.begin() + static_cast<ptrdiff_t>(wide), wider.end(),
                     [](Token token) { return token == kAnyRun; });
}

bool IsLiteral(const SkxTextPattern& text) {
  return text.compareAs == EkxStrCompareAs::StrEquals ||
         (text.compareAs == EkxStrCompareAs::StrWildcard && !KxWildcard_IsPattern(text.pattern));
}

// ---- folders

/// A name of a drive that is no letter stands for whatever drive the file is on.
bool NamesNoDriveKind(CkxTextView folder) {
  const size_t colon = KxText_FindUnit(folder, KXW(':'));
  return colon == CkxTextView::npos || colon == 1;
}

/// "C:\Tools\" of "C:/Tools": as files in it have it. Nothing for a folder in another spelling.
std::optional<KxWString> PlainFolder(CkxTextView folder) {
  if (folder.IsEmpty() || KxPath_Normalized(folder)) return std::nullopt;
  for (size_t at = 2; at < folder.Size(); ++at) {
    if (KxPath_IsSeparator(folder[at]) && KxPath_IsSeparator(folder[at - 1])) return std::nullopt;
  }
  KxWString plain = folder.ToString();
  if (!KxPath_IsSeparator(plain.back())) plain += KXW('\\');
  return plain;
}

bool AreSamePaths(CkxTextView a, CkxTextView b) {
  if (a.Size() != b.Size()) return false;
  for (size_t at = 0; at < a.Size(); ++at) {
    if (!KxPathUnit_AreSame(a[at], b[at])) return false;
  }
  return true;
}

bool TakesFolder(CkxTextView pattern, const SkxFolderPattern& folder, CkxLintWork& work) {
  const std::optional<KxWString> plain = PlainFolder(folder.pattern);
  if (!plain) return false;
  Tokens tokens = UnitsOf(*plain, KxPathUnit_Fold);
  if (folder.withSubfolders) tokens.push_back(kAnyRun);
  return Takes(WildcardTokens(pattern, KxPathUnit_Fold), tokens, work);
}

/// What fits a pattern lies below the folder that it begins with.
bool IsBelow(CkxTextView pattern, CkxTextView folder) {
  size_t fixed = 0;
  while (pattern[fixed] != KXW('*') && pattern[fixed] != KXW('?')) ++fixed;
  const CkxTextView begins = KxPath_Folder(pattern.Part(0, fixed));
  return !begins.IsNull() && PlainFolder(begins) && KxPath_IsFolderInside(begins, folder, true);
}

Tokens FolderTokens(const SkxFolderPattern& folder) {
  if (KxWildcard_IsPattern(folder.pattern)) return WildcardTokens(folder.pattern, KxPathUnit_Fold);
  return UnitsOf(folder.pattern, KxPathUnit_Fold);
}

// ---- features

uint64_t Mixed(uint64_t hash, Token token) { return (hash ^ token) * 0x9E3779B97F4A7C15 + 1; }

/// Each four units that stand together.
void Grams(const Tokens& tokens, const KxFeatureVisit& visit) {
  size_t run = 0;
  for (size_t at = 0; at < tokens.size(); ++at) {
    run = tokens[at] < kAnyUnit ? run + 1 : 0;
    if (run < kGram) continue;
    uint64_t hash = 0;
    for (size_t unit = at + 1 - kGram; unit <= at; ++unit) hash = Mixed(hash, tokens[unit]);
    visit(hash);
  }
}

}  // namespace

bool KxInclusion_OfTexts(const SkxTextPattern& wider, const SkxTextPattern& narrower, CkxLintWork& work) {
  const bool isSameTest = wider.compareAs == narrower.compareAs && wider.caseSensitive == narrower.caseSensitive;
  if (isSameTest && KxText_Equals(wider.pattern, narrower.pattern, true)) return true;
  const bool tellsMoreCase = wider.caseSensitive && !narrower.caseSensitive;
  if (IsLiteral(narrower) && !tellsMoreCase) {
    const bool compiles = wider.compareAs == EkxStrCompareAs::StrRegExp;
    if (!work.Spend(wider.pattern.Size() * (compiles ? kCompilingAUnit : 1) + narrower.pattern.Size())) return false;
    const bool takes = KxUtil_MatchStr(wider.pattern, narrower.pattern, wider.caseSensitive, wider.compareAs);
    if (KxUtil_LastFault() == EkxEvaluationFault::OutOfMemory) throw std::bad_alloc();
    return takes;
  }
  const auto fold = wider.caseSensitive ? AsItIs : KxText_Fold;
  const std::optional<Tokens> wide = TextTokens(wider, fold);
  const std::optional<Tokens> narrow = TextTokens(narrower, fold);
  return wide && narrow && !(tellsMoreCase && HasUnits(*wide)) && Takes(*wide, *narrow, work);
}

bool KxInclusion_OfFolders(const SkxFolderPattern& wider, const SkxFolderPattern& narrower, CkxLintWork& work) {
  if (wider.pattern.IsEmpty() || narrower.pattern.IsEmpty()) return false;
  const bool isWildcard = KxWildcard_IsPattern(wider.pattern);
  const bool isDeepEnough = isWildcard || wider.withSubfolders || !narrower.withSubfolders;
  if (AreSamePaths(wider.pattern, narrower.pattern)) return isDeepEnough;
  if (!NamesNoDriveKind(wider.pattern) || !NamesNoDriveKind(narrower.pattern)) return false;
  if (!work.Spend(wider.pattern.Size() + narrower.pattern.Size())) return false;
  if (!KxWildcard_IsPattern(narrower.pattern)) {
    if (isWildcard) return TakesFolder(wider.pattern, narrower, work);
    return isDeepEnough && KxPath_IsFolderInside(narrower.pattern, wider.pattern, wider.withSubfolders);
  }
  if (!isWildcard) return wider.withSubfolders && IsBelow(narrower.pattern, wider.pattern);
  return Takes(FolderTokens(wider), FolderTokens(narrower), work);
}

bool KxInclusion_OfDriveKinds(CkxTextView wider, CkxTextView narrower) {
  const auto has = [](CkxTextView list, CkxTextView kind) {
    return KxText_AnyField(list, KXW(','), [&](CkxTextView field) { return KxText_Equals(field, kind, false); });
  };
  const auto takesAll = [&](CkxTextView list) { return list.IsEmpty() || has(list, KXW("ANY")); };
  if (takesAll(wider)) return true;
  return !takesAll(narrower) &&
         !KxText_AnyField(narrower, KXW(','), [&](CkxTextView kind) { return !has(wider, kind); });
}

uint64_t KxInclusion_WholeText(CkxTextView text) {
  uint64_t hash = 1;  // no gram's
  for (size_t at = 0; at < text.Size(); ++at) hash = Mixed(hash, KxText_Fold(text[at]));
  return hash;
}

void KxInclusion_Demands(const SkxTextPattern& pattern, const KxFeatureVisit& visit) {
  if (pattern.compareAs == EkxStrCompareAs::StrEquals) return visit(KxInclusion_WholeText(pattern.pattern));
  if (const std::optional<Tokens> tokens = TextTokens(pattern, KxText_Fold)) Grams(*tokens, visit);
}

void KxInclusion_Offers(const SkxTextPattern& pattern, const KxFeatureVisit& visit) {
  if (IsLiteral(pattern)) visit(KxInclusion_WholeText(pattern.pattern));
  if (const std::optional<Tokens> tokens = TextTokens(pattern, KxText_Fold)) Grams(*tokens, visit);
}

void KxInclusion_Demands(const SkxFolderPattern& pattern, const KxFeatureVisit& visit) {
  Tokens tokens = FolderTokens(pattern);
  while (!tokens.empty() && tokens.back() == KXW('\\')) tokens.pop_back();  // a folder may be written without
  Grams(tokens, visit);
}

void KxInclusion_Offers(const SkxFolderPattern& pattern, const KxFeatureVisit& visit) {
  Tokens tokens = FolderTokens(pattern);
  tokens.push_back(KXW('\\'));
  Grams(tokens, visit);
}
