// Which recorded targets a case is about: members that they have to have.
//
//   {"kind": "process", "signers": [{"name": "Vendor*"}], "parent": {"path": "*\\winword.exe"}, "origin": null}
//
// Objects are looked into; of a list each element must be met by one of the target's list. Texts are compared without
// regard to case, with * and ? as placeholders; other values have to be the same. Null: there is no such member.
#pragma once

#include <nlohmann/json.hpp>

#include "Common_CPP/util/text_view.h"

class CkxTargetFilter {
 public:
  /// Takes every target.
  CkxTargetFilter() = default;

  /// A member that no target document can have is a `CkxDocumentFault`: it would keep a case from ever being asked.
  CkxTargetFilter(const nlohmann::json& json, const std::string& pointer);

  bool Takes(const nlohmann::json& target) const;

 private:
  nlohmann::json _wanted = nlohmann::json::object();
};
