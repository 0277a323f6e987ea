#include <kx_util/match_str.h>

#include "Agent/engine/kx_util/command/wildcard.h"
#include "Agent/engine/kx_util/regexp/compiled_expressions.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr std::string_view kScope = "KxUtil_MatchStr";

/// Short texts are part of what their record costs; asking for each would take longer than comparing them.
bool SpendOn(CkxTextView pattern, CkxTextView text) {
  constexpr size_t kShort = 64;
  const size_t units = pattern.Size() + text.Size();
  return units <= kShort || KxWork_Spend(units);
}

bool MatchesRegExp(CkxTextView pattern, CkxTextView subject, bool caseSensitive) {
  constexpr uint64_t kCompilingAUnit = 16;                            // about as long as comparing that many
  if (!KxWork_Spend(pattern.Size() * kCompilingAUnit)) return false;  // kept or not: no answer hangs on the past
  SkxRegExpError error;
  const std::shared_ptr<const CkxRegExp> expression = KxExpression_Compiled(pattern, caseSensitive, error);
  if (expression == nullptr) {
    KxTrace(EkxTraceLevel::Error, kScope, "ERROR: Failed to parse regular expression [", pattern,
            "], CaseSensitive=", caseSensitive, ". REParseError=", static_cast<uint32_t>(error.code));
    return false;
  }
  return expression->MatchWhole(subject);
}

}  // namespace

bool KxUtil_MatchStr(CkxTextView pattern, CkxTextView subject, bool caseSensitive, EkxStrCompareAs compareAs) {
  return KxEntry(false, [&] {
    if (pattern.IsNull()) return subject.IsNull();
    if (subject.IsNull()) return false;
    if (!SpendOn(pattern, subject)) return false;
    const CkxTextView text = KxText_Trim(subject);
    switch (compareAs) {
      case EkxStrCompareAs::StrEquals:
        return KxText_Equals(pattern, text, caseSensitive);
      case EkxStrCompareAs::StrStartsWith:
        // As a search would find it at the start: the empty text is found nowhere.
        return !pattern.IsEmpty() && KxText_StartsWith(text, pattern, caseSensitive);
      case EkxStrCompareAs::StrContains:
        return KxText_Find(text, pattern, caseSensitive) != CkxTextView::npos;
      case EkxStrCompareAs::StrWildcard:
        return KxWildcard_Matches(pattern, text, caseSensitive);
      case EkxStrCompareAs::StrRegExp:
        return MatchesRegExp(pattern, text, caseSensitive);
    }
    KxTrace(EkxTraceLevel::Error, kScope, "ERROR: Unexpected compareAs value ", static_cast<uint16_t>(compareAs));
    return false;
  });
}

bool KxUtil_IsValidRegExp(CkxTextView pattern, bool caseSensitive) {
  return KxEntry(false, [&] { return CkxRegExp().Parse(pattern, caseSensitive).IsOk(); });
}
