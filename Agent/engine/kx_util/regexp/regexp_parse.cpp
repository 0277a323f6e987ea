// The parser: recursive descent, one function a rule.
//
//   Alternatives = Sequence { "|" Sequence }
//   Sequence     = { Item }
//   Item         = "!" Item | Atom [ ( "?" | "*" | "+" ) [ "?" ] ]
//   Atom         = "." | "[" class "]" | "(" Alternatives ")" | "{" Alternatives "}" | "\" unit | "^" | "$" | unit
//
// A rule returns its node, or `none` once `_error` is set.
#include <utility>

#include "Agent/engine/kx_util/regexp/regexp_tree.h"

namespace {

constexpr uint32_t none = SkxRegExpNode::none;

struct SkxAbbreviation {
  WCHAR letter;
  const WCHAR* expansion;
};

/// Each stands for the expression beside it as if that were written in parentheses.
constexpr SkxAbbreviation abbreviations[] = {
    {KXW('a'), KXW("[a-zA-Z0-9]")},
    {KXW('b'), KXW("[ \t]")},
    {KXW('c'), KXW("[a-zA-Z]")},
    {KXW('d'), KXW("[0-9]")},
    {KXW('h'), KXW("[0-9a-fA-F]")},
    {KXW('n'), KXW("\r|(\r?\n)")},
    {KXW('q'), KXW("(\"[^\"]*\")|('[^']*')")},
    {KXW('w'), KXW("[a-zA-Z]+")},
    {KXW('z'), KXW("[0-9]+")},
};

bool IsQuantifier(WCHAR unit) { return unit == KXW('?') || unit == KXW('*') || unit == KXW('+'); }

bool EndsSequence(WCHAR unit) { return unit == KXW('|') || unit == KXW(')') || unit == KXW('}'); }

class CkxRegExpParser {
 public:
  CkxRegExpParser(CkxTextView pattern, SkxRegExpTree& tree) : _pattern(pattern), _tree(tree) {}

  SkxRegExpError Run() {
    _tree.root = Alternatives();
    if (_tree.root != none && !AtEnd()) Fail(EkxRegExpError::Unexpected, _at);  // a closing one that nothing opened
    _tree.groupCount = static_cast<uint32_t>(_groups.size());
    return _error;
  }

 private:
  enum class EkxGroup : uint8_t { Open, CanBeEmpty, TakesUnits };

  bool AtEnd() const { return _at == _pattern.Size(); }
  bool NextIs(WCHAR unit) const { return !AtEnd() && _pattern[_at] == unit; }
  bool AtSequenceEnd() const { return AtEnd() || EndsSequence(_pattern[_at]); }

  bool Skip(WCHAR unit) {
    if (!NextIs(unit)) return false;
    ++_at;
    return true;
  }

  uint32_t Fail(EkxRegExpError code, size_t position) {
    _error = {code, position};
    return none;
  }

  uint32_t Add(EkxRegExpNode kind, uint32_t value, bool canBeEmpty, uint32_t child = none) {
    SkxRegExpNode node;
    node.kind = kind;
    node.value = value;
    node.canBeEmpty = canBeEmpty;
    node.child = child;
    _tree.nodes.push_back(node);
    return static_cast<uint32_t>(_tree.nodes.size() - 1);
  }

  bool CanBeEmpty(uint32_t node) const { return _tree.nodes[node].canBeEmpty; }

  uint32_t Alternatives() {
    const uint32_t first = Sequence();
    if (first == none || !NextIs(KXW('|'))) return first;
    bool canBeEmpty = CanBeEmpty(first);
    for (uint32_t last = first; Skip(KXW('|'));) {
      const uint32_t sequence = Sequence();
      if (sequence == none) return none;
      canBeEmpty = canBeEmpty || CanBeEmpty(sequence);
      _tree.nodes[last].next = sequence;
      last = sequence;
    }
    return Add(EkxRegExpNode::Alternatives, 0, canBeEmpty, first);
  }

  uint32_t Sequence() {
    const size_t start = _at;
    const uint32_t sequence = Add(EkxRegExpNode::Sequence, 0, true);
    for (uint32_t last = none; !AtSequenceEnd();) {
      const uint32_t item = Item(start);
      if (item == none) return none;
      SkxRegExpNode& parent = _tree.nodes[sequence];
      parent.canBeEmpty = parent.canBeEmpty && CanBeEmpty(item);
      (last == none ? parent.child : _tree.nodes[last].next) = item;
      last = item;
    }
    return sequence;
  }

  /// `sequenceStart`: where the alternative began, the one place where `^` is an anchor.
  uint32_t Item(size_t sequenceStart) {
    const size_t start = _at;
    if (!Skip(KXW('!'))) return Quantified(Atom(sequenceStart));
    if (AtSequenceEnd()) return Fail(EkxRegExpError::Unexpected, start);
    if (!Enter(start)) return none;
    const uint32_t item = Item(sequenceStart);
    --_depth;
    return item == none ? none : Add(EkxRegExpNode::NotAhead, 0, true, item);
  }

  uint32_t Quantified(uint32_t atom) {
    if (atom == none || AtEnd() || !IsQuantifier(_pattern[_at])) return atom;
    if (CanBeEmpty(atom)) return Fail(EkxRegExpError::EmptyRepeat, _at);
    const WCHAR quantifier = _pattern[_at++];
    const EkxRegExpNode kind = quantifier == KXW('?')   ? EkxRegExpNode::ZeroOrOne
                               : quantifier == KXW('*') ? EkxRegExpNode::ZeroOrMore
                                                        : EkxRegExpNode::OneOrMore;
    const bool greedy = !Skip(KXW('?'));
    if (!AtEnd() && IsQuantifier(_pattern[_at])) return Fail(EkxRegExpError::Unexpected, _at);
    const uint32_t repeat = Add(kind, 0, kind != EkxRegExpNode::OneOrMore, atom);
    _tree.nodes[repeat].greedy = greedy;
    return repeat;
  }

  uint32_t Atom(size_t sequenceStart) {
    const size_t start = _at;
    const WCHAR unit = _pattern[_at++];
    if (IsQuantifier(unit)) return Fail(EkxRegExpError::Unexpected, start);
    switch (unit) {
      case KXW('.'):
        return Add(EkxRegExpNode::AnyUnit, 0, false);
      case KXW('['):
        return Class(start);
      case KXW('('):
        return Nested(start, KXW(')'), EkxRegExpError::ParenExpected);
      case KXW('{'):
        return Group(start);
      case KXW('\\'):
        return Escape(start);
      case KXW('^'):
        if (start == sequenceStart) return Add(EkxRegExpNode::InputStart, 0, true);
        break;
      case KXW('$'):
        if (AtSequenceEnd()) return Add(EkxRegExpNode::InputEnd, 0, true);
        break;
    }
    return Add(EkxRegExpNode::Unit, unit, false);
  }

  bool Enter(size_t start) {
    if (_depth == kxRegExpMaxDepth) {
      Fail(EkxRegExpError::OutOfMemory, start);
      return false;
    }
    ++_depth;
    return true;
  }

  uint32_t Nested(size_t start, WCHAR closing, EkxRegExpError unclosed) {
    if (!Enter(start)) return none;
    const uint32_t inner = Alternatives();
    --_depth;
    if (inner == none) return none;
    return Skip(closing) ? inner : Fail(unclosed, start);
  }

  uint32_t Group(size_t start) {
    const size_t number = _groups.size();
    if (number == kxRegExpMaxGroups) return Fail(EkxRegExpError::OutOfMemory, start);
    _groups.push_back(EkxGroup::Open);
    const uint32_t inner = Nested(start, KXW('}'), EkxRegExpError::BraceExpected);
    if (inner == none) return none;
    _groups[number] = CanBeEmpty(inner) ? EkxGroup::CanBeEmpty : EkxGroup::TakesUnits;
    return Add(EkxRegExpNode::Group, static_cast<uint32_t>(number), CanBeEmpty(inner), inner);
  }

  uint32_t Escape(size_t start) {
    if (AtEnd()) return Fail(EkxRegExpError::Unexpected, start);
    const WCHAR unit = _pattern[_at++];
    if (unit >= KXW('0') && unit <= KXW('9')) return BackReference(start, static_cast<uint32_t>(unit - KXW('0')));
    for (const SkxAbbreviation& abbreviation : abbreviations) {
      if (abbreviation.letter == unit) return Expansion(start, abbreviation.expansion);
    }
    return Add(EkxRegExpNode::Unit, unit, false);
  }

  uint32_t BackReference(size_t start, uint32_t number) {
    if (number >= _groups.size() || _groups[number] == EkxGroup::Open) {
      return Fail(EkxRegExpError::InvalidGroup, start);
    }
    _tree.hasBackReferences = true;
    return Add(EkxRegExpNode::BackReference, number, _groups[number] == EkxGroup::CanBeEmpty);
  }

  /// Reads an abbreviation's own text in place of the pattern; only the depth limit can fail in it.
  uint32_t Expansion(size_t start, CkxTextView text) {
    const CkxTextView pattern = std::exchange(_pattern, text);
    const size_t at = std::exchange(_at, 0);
    const uint32_t inner = Alternatives();
    _pattern = pattern;
    _at = at;
    return inner == none ? Fail(_error.code, start) : inner;
  }

  uint32_t Class(size_t start) {
    SkxRegExpClass set;
    set.negated = Skip(KXW('^'));
    if (NextIs(KXW(']'))) return Fail(EkxRegExpError::EmptyRange, start);
    while (!Skip(KXW(']'))) {
      const size_t rangeStart = _at;
      SkxRegExpRange range{};
      if (!ClassUnit(range.first)) return Fail(EkxRegExpError::BracketExpected, start);
      range.last = range.first;
      if (NextIs(KXW('-')) && _at + 1 < _pattern.Size() && _pattern[_at + 1] != KXW(']')) {
        ++_at;
        if (!ClassUnit(range.last)) return Fail(EkxRegExpError::BracketExpected, start);
        if (range.last < range.first) return Fail(EkxRegExpError::InvalidRange, rangeStart);
      }
      set.ranges.push_back(range);
    }
    _tree.classes.push_back(std::move(set));
    return Add(EkxRegExpNode::Class, static_cast<uint32_t>(_tree.classes.size() - 1), false);
  }

  bool ClassUnit(WCHAR& unit) {
    Skip(KXW('\\'));
    if (AtEnd()) return false;
    unit = _pattern[_at++];
    return true;
  }

  CkxTextView _pattern;
  size_t _at = 0;
  SkxRegExpTree& _tree;
  std::vector<EkxGroup> _groups;
  size_t _depth = 0;
  SkxRegExpError _error;
};

}  // namespace

SkxRegExpError KxRegExp_ParseTree(CkxTextView pattern, SkxRegExpTree& tree) {
  if (pattern.IsNull()) return {EkxRegExpError::InvalidInput, 0};
  if (pattern.Size() > kxRegExpMaxPattern) return {EkxRegExpError::OutOfMemory, kxRegExpMaxPattern};
  return CkxRegExpParser(pattern, tree).Run();
}
