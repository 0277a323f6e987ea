#include "Agent/engine/kx_publish/compare/element_difference.h"

#include <algorithm>
#include <map>

#include "Agent/engine/kx_publish/document/json_reader.h"

namespace {

using Json = SkxDifference::Json;

constexpr const char* kTargetsKey = "targets";

class ElementDifferences {
 public:
  explicit ElementDifferences(const SkxDifference& subject) : _subject(subject) {}

  void Compare(const std::string& path, const Json& was, const Json& is) {
    if (was == is) return;
    if (!was.is_object() || !is.is_object()) return Add(SkxDifference::Change::Changed, path, was, is);
    for (const auto& [key, value] : is.items()) CompareKey(path, key, Member(was, key), value);
    for (const auto& [key, value] : was.items()) {
      if (!is.contains(key)) CompareKey(path, key, value, nullptr);
    }
  }

  std::vector<SkxDifference> Take() && { return std::move(_differences); }

 private:
  static Json Member(const Json& object, const std::string& key) {
    const auto found = object.find(key);
    return found != object.end() ? *found : Json();
  }

  void CompareKey(const std::string& path, const std::string& key, const Json& was, const Json& is) {
    const std::string place = KxJson_Pointer(path, key);
    key == kTargetsKey ? CompareTargets(place, was, is) : Compare(place, was, is);
  }

  struct Side {
    explicit Side(const Json& list) : targets(list), partner(list.size(), kNone) {}
    const Json& targets;
    std::vector<size_t> partner;  // index on the other side
  };
  static constexpr size_t kNone = ~size_t{0};

  void CompareTargets(const std::string& path, const Json& was, const Json& is) {
    Side old(was);
    Side now(is);
    PairThose(old, now, [](const Json& target) { return target.dump(); });
    if (IsMoved(old.partner)) Add(SkxDifference::Change::Changed, path, nullptr, nullptr, "are in another order");
    PairThose(old, now, [](const Json& target) { return target.value("type", "") + NameOf(target); });
    PairThose(old, now, [](const Json& target) { return target.value("type", ""); });
    for (size_t i = 0; i < now.targets.size(); ++i) {
      const std::string place = KxJson_Pointer(path, i);
      if (now.partner[i] == kNone) {
        Add(SkxDifference::Change::Added, place, nullptr, now.targets[i]);
      } else {
        Compare(place, old.targets[now.partner[i]], now.targets[i]);
      }
    }
    for (size_t i = 0; i < old.targets.size(); ++i) {
      if (old.partner[i] == kNone)
        Add(SkxDifference::Change::Removed, KxJson_Pointer(path, i), old.targets[i], nullptr);
    }
  }

  /// What people know a target by.
  static std::string NameOf(const Json& target) {
    for (const char* const key : {"fileName", "classId", "packageName", "url"}) {
      if (target.contains(key)) return target[key].dump();
    }
    return {};
  }

  static bool IsMoved(std::vector<size_t> partners) {
    std::erase(partners, kNone);
    return !std::is_sorted(partners.begin(), partners.end());
  }

  /// Those of both sides that have no partner and are alike by `keyOf`, in order.
  template <class KeyOf>
  static void PairThose(Side& old, Side& now, KeyOf keyOf) {
    std::map<std::string, std::vector<size_t>> waiting;  // the first one last
    for (size_t i = old.targets.size(); i-- != 0;) {
      if (old.partner[i] == kNone) waiting[keyOf(old.targets[i])].push_back(i);
    }
    for (size_t i = 0; i < now.targets.size(); ++i) {
      if (now.partner[i] != kNone) continue;
      const auto found = waiting.find(keyOf(now.targets[i]));
      if (found == waiting.end() || found->second.empty()) continue;
      now.partner[i] = found->second.back();
      old.partner[now.partner[i]] = i;
      found->second.pop_back();
    }
  }

  void Add(SkxDifference::Change change, std::string path, Json was, Json is, std::string remark = {}) {
    SkxDifference& difference = _differences.emplace_back(_subject);
    difference.change = change;
    difference.path = std::move(path);
    difference.remark = std::move(remark);
    difference.was = std::move(was);
    difference.is = std::move(is);
  }

  const SkxDifference& _subject;
  std::vector<SkxDifference> _differences;
};

}  // namespace

std::vector<SkxDifference> KxElement_Differences(const SkxDifference& subject, const Json& was, const Json& is) {
  ElementDifferences differences(subject);
  differences.Compare("", was, is);
  return std::move(differences).Take();
}
