// One thing that two publications differ in, and how it is told.
//
//   policy "Block tools" (7): action was Block, is Elevate
#pragma once

#include <nlohmann/json.hpp>
#include <string>

struct SkxDifference {
  enum class Change { Added, Removed, Changed, Moved };
  using Json = nlohmann::ordered_json;

  const char* kind = "";  ///< "policy", "group", "alert", "applicable", "section"
  std::string key;        ///< the id of a policy, group or alert; a SID or "*"; a section's file
  std::string name;       ///< of a policy
  Change change = Change::Changed;
  std::string path;    ///< JSON pointer of what changed, in the element as a document says it; empty: all of it
  std::string remark;  ///< of what no document says
  Json was = nullptr;  ///< null: it was not given
  Json is = nullptr;   ///< null: it is not given
};

/// One line for a person, whatever the texts are.
std::string KxDifference_Text(const SkxDifference& difference);

SkxDifference::Json KxDifference_ToJson(const SkxDifference& difference);
