// Target documents: one thing that is about to run, as somebody recorded it or wrote it down, in JSON.
//
//   CkxTargetDocument target = CkxTargetDocument::Parse(line);      // throws CkxDocumentFault
//   CkxMachineFactsScope machine(target.Machine());
//   CkxSharedPoliciesData::GetTargetPolicyAction(target.Target(), info);
//
// A fact that the document does not give does not exist for the target: nothing is read from this machine. Without a
// user the target is in no user's scope, and has the policies of those who have no row of their own. `targetType`
// counts for every kind; else a file is what its extension says and a process an executable.
#pragma once

#include <kx_util/target_info.h>

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <vector>

#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/file/machine_facts.h"

class CkxTargetDocument {
 public:
  /// `user`, where given, takes the place of the document's own user. A fault is a `CkxDocumentFault`.
  static CkxTargetDocument Parse(std::string_view text, const std::optional<CkxSid>& user = std::nullopt);
  static CkxTargetDocument FromJson(const nlohmann::json& json, const std::optional<CkxSid>& user = std::nullopt);

  /// The document's id, whatever its type, as JSON text; "null" when it has none.
  const std::string& IdJson() const { return _idJson; }
  const CkxTargetInfo& Target() const { return *_target; }

  /// The drives of the recorded machine. To be in force while the target is judged.
  const IkxMachineFacts& Machine() const { return *_machine; }

 private:
  CkxTargetDocument() = default;

  std::string _idJson = "null";
  std::vector<std::unique_ptr<CkxAccessToken>> _tokens;  // behind the user tokens of the target and its parents
  std::unique_ptr<IkxMachineFacts> _machine;
  CkxTargetInfoPtr _target;
};

class CkxJsonObject;

/// Reads the "drives" and "mappedDrives" of an object.
std::unique_ptr<IkxMachineFacts> KxTargetDocument_Machine(CkxJsonObject& object);

/// What "fileVersion" may be: up to four numbers of 16 bits with dots between them; a remark may follow the fourth one
/// after a blank, as in the texts of version resources. The empty text says that there is no version.
bool KxTargetDocument_IsVersion(CkxTextView text);

/// Reads one `{"sid": …, "groups": […], "admin": …}`.
std::unique_ptr<CkxAccessToken> KxTargetDocument_User(const nlohmann::json& json, const std::string& pointer);
