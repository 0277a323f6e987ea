#include "Agent/engine/kx_util/regexp/regexp_samples.h"

#include <algorithm>
#include <map>

#include "Agent/engine/kx_util/regexp/regexp_set.h"
#include "Common_CPP/util/text.h"

namespace {

using Node = SkxRegExpNode;

/// Ways that are followed at once: the shortest are kept.
constexpr size_t kMaxWays = 24;

/// Units that stand for any, in the order in which people would choose them.
constexpr WCHAR kUsualUnits[] = {KXW('a'), KXW('0'), KXW('x'), KXW('A'), KXW(' '), KXW('.'), KXW('-'), KXW('_')};

/// The text so far of one way through the expression.
struct Way {
  KxWString text;                              ///< only ever grows
  std::map<uint32_t, SkxRegExpSpan> groups{};  ///< those that are open have no end
  bool isAtEnd = false;                        ///< nothing may follow
};
using Ways = std::vector<Way>;

class Sampler {
 public:
  Sampler(const SkxRegExpTree& tree, bool caseSensitive) : _tree(tree) {
    for (const SkxRegExpClass& written : tree.classes) _unitsOf.push_back(UnitsOf(written, caseSensitive));
  }

  Ways Run() { return Behind(_tree.root, {Way{}}); }

 private:
  /// The ways behind `node` of those before it. What stands ahead is not looked at: whoever gets the texts tries them.
  Ways Behind(uint32_t index, const Ways& before) {
    const Node& node = _tree.nodes[index];
    switch (node.kind) {
      case EkxRegExpNode::Unit:
        return Taking({static_cast<WCHAR>(node.value)}, before);
      case EkxRegExpNode::AnyUnit:
        return Taking({KXW('a'), KXW('0')}, before);
      case EkxRegExpNode::Class:
        return Taking(_unitsOf[node.value], before);
      case EkxRegExpNode::InputStart:
        return Those(before, [](Way& way) { return way.text.empty(); });
      case EkxRegExpNode::InputEnd:
        return Those(before, [](Way& way) { return way.isAtEnd = true; });
      case EkxRegExpNode::BackReference:
        return Those(before, [&](Way& way) {
          const auto group = way.groups.find(node.value);
          if (group == way.groups.end()) return false;
          const auto [start, end] = group->second;
          return Append(way, way.text.substr(start, end - start));
        });
      case EkxRegExpNode::Sequence:
        return BehindSequence(node, before);
      case EkxRegExpNode::Alternatives:
        return BehindAny(node, before);
      case EkxRegExpNode::Group:
        return BehindGroup(node, before);
      case EkxRegExpNode::ZeroOrOne:
      case EkxRegExpNode::ZeroOrMore:
        return Shortest(Both(before, Behind(node.child, before)));
      case EkxRegExpNode::OneOrMore:
        return BehindRepeat(node, before);
      case EkxRegExpNode::NotAhead:
        break;
    }
    return before;
  }

  Ways BehindSequence(const Node& node, Ways ways) {
    for (uint32_t item = node.child; item != Node::none && !ways.empty(); item = _tree.nodes[item].next) {
      ways = Behind(item, ways);
    }
    return ways;
  }

  Ways BehindAny(const Node& node, const Ways& before) {
    Ways ways;
    for (uint32_t item = node.child; item != Node::none; item = _tree.nodes[item].next) {
      ways = Shortest(Both(std::move(ways), Behind(item, before)));
    }
    return ways;
  }

  /// Once, and twice; inside another repeat once alone, or there would be twice as many ways with each level.
  Ways BehindRepeat(const Node& node, const Ways& before) {
    ++_repeats;
    Ways once = Behind(node.child, before);
    if (_repeats == 1) once = Shortest(Both(once, Behind(node.child, once)));
    --_repeats;
    return once;
  }

  Ways BehindGroup(const Node& node, Ways ways) {
    for (Way& way : ways) way.groups[node.value] = {way.text.size(), CkxTextView::npos};
    ways = Behind(node.child, ways);
    for (Way& way : ways) way.groups[node.value].end = way.text.size();
    return ways;
  }

  static bool Append(Way& way, const KxWString& text) {
    if (way.isAtEnd && !text.empty()) return false;
    way.text += text;
    return true;
  }

  static Ways Taking(const std::vector<WCHAR>& units, const Ways& before) {
    Ways ways;
    for (const WCHAR unit : units) {
      ways = Both(std::move(ways), Those(before, [&](Way& way) { return Append(way, KxWString(1, unit)); }));
    }
    return Shortest(std::move(ways));
  }

  template <class Keep>
  static Ways Those(Ways ways, Keep keep) {
    Ways kept;
    for (Way& way : ways) {
      if (keep(way)) kept.push_back(std::move(way));
    }
    return kept;
  }

  static Ways Both(Ways first, Ways second) {
    first.insert(first.end(), std::make_move_iterator(second.begin()), std::make_move_iterator(second.end()));
    return first;
  }

  static Ways Shortest(Ways ways) {
    std::stable_sort(ways.begin(), ways.end(),
                     [](const Way& a, const Way& b) { return a.text.size() < b.text.size(); });
    if (ways.size() > kMaxWays) ways.resize(kMaxWays);
    return ways;
  }

  /// Usual ones first, then those that begin its ranges, then what else there is of the first letters.
  static std::vector<WCHAR> UnitsOf(const SkxRegExpClass& written, bool caseSensitive) {
    constexpr size_t kEnough = 3;
    const CkxRegExpSet set(written, caseSensitive);
    std::vector<WCHAR> units;
    const auto add = [&](WCHAR unit) {
      const WCHAR folded = caseSensitive ? unit : KxText_Fold(unit);
      const bool isNew = std::find(units.begin(), units.end(), unit) == units.end();
      if (units.size() < kEnough && isNew && unit != 0 && set.Takes(unit, folded)) units.push_back(unit);
    };
    for (const WCHAR unit : kUsualUnits) add(unit);
    for (const SkxRegExpRange& range : written.ranges) add(range.first);
    for (WCHAR unit = 0x20; unit < 0x180 && units.empty(); ++unit) add(unit);
    return units;
  }

  const SkxRegExpTree& _tree;
  std::vector<std::vector<WCHAR>> _unitsOf;  // of each class
  unsigned _repeats = 0;                     // that the node is inside of
};

}  // namespace

std::vector<KxWString> KxRegExp_Samples(CkxTextView pattern, bool caseSensitive, size_t most) {
  std::vector<KxWString> samples;
  CkxRegExp expression;
  SkxRegExpTree tree;
  if (pattern.Size() > kxRegExpMaxSampledPattern || !expression.Parse(pattern, caseSensitive).IsOk() ||
      !KxRegExp_ParseTree(pattern, tree).IsOk()) {
    return samples;
  }
  Sampler sampler(tree, caseSensitive);
  for (Way& way : sampler.Run()) {
    const bool isNew = std::find(samples.begin(), samples.end(), way.text) == samples.end();
    if (samples.size() < most && isNew && expression.MatchWhole(way.text)) samples.push_back(std::move(way.text));
  }
  return samples;
}
