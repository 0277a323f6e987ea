#include "Agent/engine/kx_publish/compare/difference.h"

#include <kx_util/shared_policy.h>

#include <algorithm>

#include "Agent/engine/kx_publish/model/policy_kinds.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"

namespace {

using Json = SkxDifference::Json;

constexpr const char* kChanges[] = {"added", "removed", "changed", "moved"};

/// "fileVersion max of target 2" for "/targets/1/fileVersion/max".
std::string Place(std::string path) {
  const std::string targets = "/targets/";
  if (!path.starts_with(targets)) return path.empty() ? path : path.substr(1);
  const size_t end = std::min(path.find('/', targets.size()), path.size());
  std::string target = "target " + std::to_string(std::stoul(path.substr(targets.size(), end - targets.size())) + 1);
  if (end == path.size()) return target;
  std::replace(path.begin(), path.end(), '/', ' ');
  return path.substr(end + 1) + " of " + target;
}

/// An action by the name that decisions have.
std::string Value(const SkxDifference& difference, const Json& value) {
  if (value.is_null()) return "not given";
  if (difference.path == "/action" && value.is_string()) {
    const auto key = value.get<std::string>();
    const SkxPolicyKind* const kind = KxKind_Find(kKxPolicyKinds, &SkxPolicyKind::key, key.c_str());
    return kind != nullptr ? KxText_ToUtf8(KxUtil_PolicyActionStr(kind->action)) : key;
  }
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string What(const SkxDifference& difference) {
  const std::string place = Place(difference.path);
  const std::string begin = place.empty() ? "" : place + (difference.remark.empty() ? " " : ": ");
  if (!difference.remark.empty()) return begin + difference.remark;
  switch (difference.change) {
    case SkxDifference::Change::Added:
      return begin + "added: " + Value(difference, difference.is);
    case SkxDifference::Change::Removed:
      return begin + "removed: " + Value(difference, difference.was);
    case SkxDifference::Change::Moved:
      return begin + "place in the order was " + Value(difference, difference.was) + ", is " +
             Value(difference, difference.is);
    case SkxDifference::Change::Changed:
      break;
  }
  return begin + "was " + Value(difference, difference.was) + ", is " + Value(difference, difference.is);
}

}  // namespace

std::string KxDifference_Text(const SkxDifference& difference) {
  std::string subject = difference.kind;
  if (!difference.name.empty()) {
    subject += " " + KxText_PrintableQuoted(difference.name) + " (" + difference.key + ")";
  } else {
    subject += " " + difference.key;
  }
  return KxText_Printable(subject + ": " + What(difference));
}

Json KxDifference_ToJson(const SkxDifference& difference) {
  Json json = {{"kind", difference.kind}, {"key", difference.key}};
  if (!difference.name.empty()) json["name"] = difference.name;
  json["change"] = kChanges[static_cast<size_t>(difference.change)];
  if (!difference.path.empty()) json["path"] = difference.path;
  if (!difference.remark.empty()) json["remark"] = difference.remark;
  if (!difference.was.is_null()) json["was"] = difference.was;
  if (!difference.is.is_null()) json["is"] = difference.is;
  return json;
}
