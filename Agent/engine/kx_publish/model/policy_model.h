// What a publication says, in plain values: the meeting point of everything that reads or writes policies.
//
//   policy document --read--> SkxPublication --encode--> record bytes --kx_util--> objects --decode--> SkxPublication
//   --write--> document
#pragma once

#include <kx_util/policy_codes.h>

#include <map>

#include "Agent/engine/kx_publish/model/target_model.h"

struct SkxAlertLinkModel {
  uint32_t trigger = 0;
  uint16_t type = 0;
  GUID alert{};
};

struct SkxElevateOnDemandParams {
  bool shellExtension = false;
  bool replaceUacOfStandardUsers = false;
  bool replaceUacOfAdministrators = false;
};

struct SkxZeroTouchParams {
  bool allowUserRequest = false;
  bool monitorAdministrators = false;
  bool monitorStandardUsers = false;
  bool useHeuristics = false;
  bool triggeredByUser = false;
  bool suppressUacOfStandardUsers = false;
  bool suppressUacOfAdministrators = false;
};

struct SkxComputerActionParams {
  uint32_t computerAction = 0;
};

/// Handed on as they are to whatever runs the script.
struct SkxScriptParams {
  GUID id{};
  KxWString firstText;
  KxWString firstData;
  KxWString secondText;
  KxWString secondData;
  KxWString thirdData;
};

struct SkxConfigurationParams {
  KxWString configurationXml;
  KxWString messagesXml;
};

struct SkxSetSecurityParams {
  bool allowAccess = false;
};

struct SkxExcludeParams {
  uint16_t excludeType = 0;
};

/// What a kind of policy has beyond the common fields; which one a policy has follows from its action
/// (`kKxPolicyKinds`).
using SkxPolicyParams =
    std::variant<std::monostate, SkxElevateOnDemandParams, SkxZeroTouchParams, SkxComputerActionParams, SkxScriptParams,
                 SkxConfigurationParams, SkxSetSecurityParams, SkxExcludeParams>;

/// Where the author wrote something; empty for what was read from records.
struct SkxSource {
  std::string document;
  std::string pointer;
};

struct SkxPolicyModel {
  EkxPolicyAction action = EkxPolicyAction::Invalid;
  uint32_t id = 0;
  bool active = true;
  uint64_t order = 0;
  bool implicit = false;
  KxWString name;
  KxWString gpId;
  KxWString kxGpoId;
  uint32_t reportUsageState = 0;
  uint32_t guiType = 0;
  std::vector<SkxAlertLinkModel> alerts;
  std::optional<std::vector<KxWString>> users;     ///< while documents are read; then they are rows of the publication
  std::optional<std::vector<KxWString>> notUsers;  ///< likewise
  bool policyAutomation = false;                   ///< of policies with targets
  std::vector<SkxTargetModel> targets;             ///< likewise
  SkxPolicyParams params;
  SkxSource source{};
};

struct SkxAppGroupModel {
  KxWString name;  ///< in documents only: a record has the id alone
  GUID id{};
  std::vector<SkxTargetModel> targets;
  SkxSource source{};
};

/// Both are carried for whoever shows the dialog.
struct SkxDialogAlert {
  uint32_t dialogType = 0;
  KxWString htmlPath;
};

/// Has nothing of its own.
struct SkxBalloonAlert {};

/// The alternatives stand in the order of `kKxAlertKinds`.
using SkxAlertBody = std::variant<SkxDialogAlert, SkxBalloonAlert>;

struct SkxAlertModel {
  KxWString name;  ///< in documents only, as a group's
  GUID id{};
  SkxAlertBody body;
  SkxSource source{};
};

/// Ids of the policies that apply, per SID in its canonical text; a user's are those of its own row and of its groups'
/// rows together, and "*" serves who has none of these. Without any row every policy applies to everybody.
using SkxApplicableRows = std::map<std::string, std::vector<uint32_t>>;

/// One publication, in the order of precedence.
struct SkxPublication {
  std::vector<SkxPolicyModel> policies;
  std::vector<SkxAppGroupModel> groups;
  std::vector<SkxAlertModel> alerts;
  SkxApplicableRows applicable;
};
