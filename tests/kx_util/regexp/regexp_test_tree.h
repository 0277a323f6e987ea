// Expressions as the regular-expression tests make them: trees that print themselves in the dialect, and in the syntax
// of a Perl-compatible engine.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Agent/engine/kx_util/regexp/regexp.h"

struct SkxTestTree {
  enum class EkxKind { Leaf, Anchor, BackReference, Sequence, Alternatives, Group, Repeat, NotAhead };

  EkxKind kind = EkxKind::Leaf;
  std::string text;  ///< leaf: as the dialect writes it; anchor: ^ or $; repeat: ?, *, +, ??, *? or +?
  std::string perl;  ///< leaf: as the other syntax writes it
  size_t group = 0;  ///< group and back-reference: its number, set by NumberGroups for groups
  std::vector<SkxTestTree> children;

  static SkxTestTree Leaf(const std::string& unit) { return {EkxKind::Leaf, unit, unit, 0, {}}; }
  static SkxTestTree Of(EkxKind kind, std::vector<SkxTestTree> children, const std::string& text = {}) {
    return {kind, text, {}, 0, std::move(children)};
  }

  size_t NumberGroups(size_t first = 0) {
    if (kind == EkxKind::Group) group = first++;
    for (SkxTestTree& child : children) first = child.NumberGroups(first);
    return first;
  }

  bool CanBeEmpty() const {
    switch (kind) {
      case EkxKind::Leaf:
        return false;
      case EkxKind::Anchor:
      case EkxKind::NotAhead:
        return true;
      case EkxKind::BackReference:
        return false;  // only made for groups that take a unit
      case EkxKind::Repeat:
        return text[0] != '+' || children[0].CanBeEmpty();
      case EkxKind::Group:
      case EkxKind::Sequence:
        for (const SkxTestTree& child : children) {
          if (!child.CanBeEmpty()) return false;
        }
        return true;
      case EkxKind::Alternatives:
        for (const SkxTestTree& child : children) {
          if (child.CanBeEmpty()) return true;
        }
        return false;
    }
    return false;
  }

  bool RepeatsEmpty() const {
    if (kind == EkxKind::Repeat && children[0].CanBeEmpty()) return true;
    for (const SkxTestTree& child : children) {
      if (child.RepeatsEmpty()) return true;
    }
    return false;
  }

  std::string Dialect() const { return Print(false); }
  std::string Perl() const { return Print(true); }

 private:
  std::string Print(bool asPerl) const {
    switch (kind) {
      case EkxKind::Leaf:
        return asPerl ? perl : text;
      case EkxKind::Anchor:  // in its own group an anchor is first and last
        return asPerl ? (text == "^" ? "(?:\\A)" : "(?:\\z)") : "(" + text + ")";
      case EkxKind::BackReference:
        return asPerl ? "\\g{" + std::to_string(group + 1) + "}" : "\\" + std::to_string(group);
      case EkxKind::Group:
        return (asPerl ? "(" : "{") + children[0].Print(asPerl) + (asPerl ? ")" : "}");
      case EkxKind::Repeat:
        return children[0].PrintPart(asPerl, true) + text;
      case EkxKind::NotAhead:
        return asPerl ? "(?!" + children[0].Print(true) + ")" : "!" + children[0].PrintPart(false, false);
      case EkxKind::Sequence:
      case EkxKind::Alternatives:
        break;
    }
    std::string all;
    for (const SkxTestTree& child : children) {
      if (kind == EkxKind::Sequence) {
        all += child.kind == EkxKind::Alternatives ? Grouped(child, asPerl) : child.Print(asPerl);
      } else {
        all += (&child == children.data() ? "" : "|") + child.Print(asPerl);
      }
    }
    return all;
  }

  /// As one expression, and one that may be followed by a quantifier when `quantified`.
  std::string PrintPart(bool asPerl, bool quantified) const {
    const bool grouped = kind == EkxKind::Sequence || kind == EkxKind::Alternatives ||
                         (quantified && (kind == EkxKind::Repeat || kind == EkxKind::NotAhead));
    return grouped ? Grouped(*this, asPerl) : Print(asPerl);
  }

  static std::string Grouped(const SkxTestTree& tree, bool asPerl) {
    return (asPerl ? "(?:" : "(") + tree.Print(asPerl) + ")";
  }
};

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
