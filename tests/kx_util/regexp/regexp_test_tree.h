// Expressions as the regular-expression tests make them: trees that print themselves in the dialect, and in the syntax
// of a Perl-compatible engine, and that can be matched by plain recursion, the meaning written down once more.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "Agent/engine/kx_util/regexp/regexp.h"

struct SkxTestTree {
  enum class EkxKind { Leaf, Anchor, BackReference, Sequence, Alternatives, Group, Repeat, NotAhead };

  EkxKind kind = EkxKind::Leaf;
  std::string text;   ///< leaf: as the dialect writes it; anchor: ^ or $; repeat: ?, *, +, ??, *? or +?
  std::string perl;   ///< leaf: as the other syntax writes it
  std::string units;  ///< leaf: the units that it takes
  size_t group = 0;   ///< group and back-reference: its number, set by NumberGroups for groups
  std::vector<SkxTestTree> children;

  static SkxTestTree Leaf(const std::string& unit) { return {EkxKind::Leaf, unit, unit, unit, 0, {}}; }
  static SkxTestTree Of(EkxKind kind, std::vector<SkxTestTree> children, const std::string& text = {}) {
    return {kind, text, {}, {}, 0, std::move(children)};
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

/// Matches a tree by trying one way after the other, each rest of the expression a continuation.
class CkxTestReference {
 public:
  CkxTestReference(const SkxTestTree& tree, size_t groupCount, const std::string& subject)
      : _tree(tree), _groupCount(groupCount), _subject(subject) {}

  bool Search(SkxRegExpMatch& match) {
    for (size_t start = 0; start <= _subject.size(); ++start) {
      _groups.assign(_groupCount, {});
      const bool found = Try(_tree, start, [&](size_t end) {
        match = {start, end, _groups};
        return true;
      });
      if (found) return true;
    }
    return false;
  }

 private:
  using Rest = std::function<bool(size_t)>;
  using EkxKind = SkxTestTree::EkxKind;

  bool Try(const SkxTestTree& tree, size_t at, const Rest& rest) {
    switch (tree.kind) {
      case EkxKind::Leaf:
        return at < _subject.size() && tree.units.find(_subject[at]) != std::string::npos && rest(at + 1);
      case EkxKind::Anchor:
        return at == (tree.text == "^" ? 0 : _subject.size()) && rest(at);
      case EkxKind::Sequence:
        return TrySequence(tree, 0, at, rest);
      case EkxKind::Alternatives:
        for (const SkxTestTree& child : tree.children) {
          if (Try(child, at, rest)) return true;
        }
        return false;
      case EkxKind::Repeat:
        return TryRepeat(tree, at, rest);
      case EkxKind::NotAhead: {
        const std::vector<SkxRegExpSpan> before = _groups;
        const bool ahead = Try(tree.children[0], at, [](size_t) { return true; });
        _groups = before;
        return !ahead && rest(at);
      }
      case EkxKind::Group:
      case EkxKind::BackReference:
        break;
    }
    if (tree.kind == EkxKind::BackReference) {
      const SkxRegExpSpan span = _groups[tree.group];
      if (span.end == CkxTextView::npos) return false;
      const size_t size = span.end - span.start;
      return _subject.compare(at, size, _subject, span.start, size) == 0 && rest(at + size);
    }
    const SkxRegExpSpan before = _groups[tree.group];
    if (Try(tree.children[0], at, [&](size_t end) {
          const SkxRegExpSpan inner = std::exchange(_groups[tree.group], {at, end});
          if (rest(end)) return true;
          _groups[tree.group] = inner;
          return false;
        })) {
      return true;
    }
    _groups[tree.group] = before;
    return false;
  }

  bool TrySequence(const SkxTestTree& tree, size_t index, size_t at, const Rest& rest) {
    if (index == tree.children.size()) return rest(at);
    return Try(tree.children[index], at, [&](size_t next) { return TrySequence(tree, index + 1, next, rest); });
  }

  bool TryRepeat(const SkxTestTree& tree, size_t at, const Rest& rest) {
    const bool lazy = tree.text.size() == 2;
    const auto again = [&] {
      return Try(tree.children[0], at,
                 [&](size_t next) { return tree.text[0] == '?' ? rest(next) : TryMore(tree, lazy, next, rest); });
    };
    if (tree.text[0] == '+') return again();
    return lazy ? rest(at) || again() : again() || rest(at);
  }

  bool TryMore(const SkxTestTree& tree, bool lazy, size_t at, const Rest& rest) {
    const auto again = [&] {
      return Try(tree.children[0], at, [&](size_t next) { return TryMore(tree, lazy, next, rest); });
    };
    return lazy ? rest(at) || again() : again() || rest(at);
  }

  const SkxTestTree& _tree;
  size_t _groupCount;
  const std::string& _subject;
  std::vector<SkxRegExpSpan> _groups;
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
