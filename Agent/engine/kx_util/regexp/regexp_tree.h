// What the parser hands to the compiler: the tree of an expression, all nodes in one vector. It spells the pattern out,
// as the compiled program does, so that both are wiped.
//
// Children are chained by `next`, so that a sequence of any length is one level deep: walking the tree recurs no deeper
// than groups and `!` are nested in the pattern, which kxRegExpMaxDepth bounds.
#pragma once

#include "Agent/engine/kx_util/buffer/wipe.h"
#include "Agent/engine/kx_util/regexp/regexp.h"

enum class EkxRegExpNode : uint8_t {
  Unit,           ///< value: the unit as written
  AnyUnit,        ///
  Class,          ///< value: index in `classes`
  InputStart,     ///
  InputEnd,       ///
  BackReference,  ///< value: group number
  Sequence,       ///< children, possibly none
  Alternatives,   ///< two or more children
  Group,          ///< value: group number; one child
  ZeroOrOne,      ///< one child, which takes a unit at least
  ZeroOrMore,     ///< likewise
  OneOrMore,      ///< likewise
  NotAhead,       ///< one child
};

struct SkxRegExpNode {
  static constexpr uint32_t none = 0xFFFFFFFF;

  EkxRegExpNode kind = EkxRegExpNode::Sequence;
  bool greedy = true;       ///< of a repeat
  bool canBeEmpty = false;  ///< whether it can match without taking a unit
  uint32_t value = 0;
  uint32_t child = none;  ///< the first one
  uint32_t next = none;   ///< the next child of the same parent
};

struct SkxRegExpRange {
  WCHAR first;
  WCHAR last;
};

struct SkxRegExpClass {
  KxWipedVector<SkxRegExpRange> ranges;  ///< as written: in any order, overlapping
  bool negated = false;
};

struct SkxRegExpTree {
  KxWipedVector<SkxRegExpNode> nodes;
  KxWipedVector<SkxRegExpClass> classes;
  uint32_t root = SkxRegExpNode::none;
  uint32_t groupCount = 0;
  bool hasBackReferences = false;
};

/// Reads `pattern` into `tree`, which must be empty.
SkxRegExpError KxRegExp_ParseTree(CkxTextView pattern, SkxRegExpTree& tree);
