// Texts of the tests of regular expressions.
#pragma once

#include <string>

#include "Agent/engine/kx_util/regexp/regexp.h"

inline KxWString Wide(const std::string& narrow) { return KxWString(narrow.begin(), narrow.end()); }

/// "2-5 g0=3-4 g1=-", or "none".
inline std::string Show(bool found, const SkxRegExpMatch& match) {
  if (!found) return "none";
  std::string text = std::to_string(match.start) + "-" + std::to_string(match.end);
  for (size_t group = 0; group < match.groups.size(); ++group) {
    const SkxRegExpSpan span = match.groups[group];
    text += " g" + std::to_string(group) + "=";
    if (span.start != CkxTextView::npos) text += std::to_string(span.start);
    text += "-";
    if (span.end != CkxTextView::npos) text += std::to_string(span.end);
  }
  return text;
}
