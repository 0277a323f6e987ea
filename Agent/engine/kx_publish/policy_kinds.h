// The kinds of policies and targets that can be written, one row each: code, name in documents, what a record of it
// has.
#pragma once

#include <string_view>

#include "Agent/engine/kx_publish/policy_model.h"

struct SkxPolicyKind {
  EkxPolicyAction action;
  const char* key;
  bool withTargets;
  SkxPolicyParams (*params)();  ///< the kind's own fields, at their defaults
};

template <class Params>
SkxPolicyParams KxPolicyKind_Params() {
  return Params{};
}

inline constexpr SkxPolicyKind kKxPolicyKinds[] = {
    {EkxPolicyAction::Run, "run", true, KxPolicyKind_Params<std::monostate>},
    {EkxPolicyAction::Block, "block", true, KxPolicyKind_Params<std::monostate>},
    {EkxPolicyAction::Elevate, "elevate", true, KxPolicyKind_Params<std::monostate>},
    {EkxPolicyAction::Trust, "elevateOnDemand", true, KxPolicyKind_Params<SkxElevateOnDemandParams>},
    {EkxPolicyAction::CollectUac, "collectUac", false, KxPolicyKind_Params<std::monostate>},
    {EkxPolicyAction::RunAndCollectEvents, "runAndCollectEvents", true, KxPolicyKind_Params<SkxZeroTouchParams>},
    {EkxPolicyAction::LogOff, "logOff", false, KxPolicyKind_Params<std::monostate>},
    {EkxPolicyAction::ComputerAction, "computerAction", false, KxPolicyKind_Params<SkxComputerActionParams>},
    {EkxPolicyAction::RunScript, "runScript", false, KxPolicyKind_Params<SkxScriptParams>},
    {EkxPolicyAction::Configuration, "configuration", false, KxPolicyKind_Params<SkxConfigurationParams>},
    {EkxPolicyAction::SetSecurity, "setSecurity", true, KxPolicyKind_Params<SkxSetSecurityParams>},
    {EkxPolicyAction::Exclude, "exclude", true, KxPolicyKind_Params<SkxExcludeParams>},
    {EkxPolicyAction::SoftwareDistributor, "softwareDistributor", true, KxPolicyKind_Params<std::monostate>},
    {EkxPolicyAction::DeveloperApplication, "developerApplication", true, KxPolicyKind_Params<std::monostate>},
};

struct SkxTargetKind {
  EkxPolicyTarget type;
  const char* key;
  SkxTargetBody (*body)();
};

template <class Body>
SkxTargetBody KxTargetKind_Body() {
  return Body{};
}

inline constexpr SkxTargetKind kKxTargetKinds[] = {
    {EkxPolicyTarget::AppGroupLink, "applicationGroup", KxTargetKind_Body<SkxGroupLink>},
    {EkxPolicyTarget::Executable, "executable", KxTargetKind_Body<SkxExeTarget>},
    {EkxPolicyTarget::Url, "url", KxTargetKind_Body<SkxUrlTarget>},
    {EkxPolicyTarget::Exclude, "exclude", KxTargetKind_Body<SkxExcludeTarget>},
};
static_assert(std::size(kKxTargetKinds) == std::variant_size_v<SkxTargetBody>);

inline const SkxTargetKind& KxTargetKind_Of(const SkxTargetBody& body) { return kKxTargetKinds[body.index()]; }

/// The row whose `field` is `value`, or null.
template <class Kind, size_t count, class Field>
constexpr const Kind* KxKind_Find(const Kind (&kinds)[count], Field Kind::*field, std::type_identity_t<Field> value) {
  for (const Kind& kind : kinds) {
    if constexpr (std::is_same_v<Field, const char*>) {
      if (std::string_view(kind.*field) == value) return &kind;
    } else {
      if (kind.*field == value) return &kind;
    }
  }
  return nullptr;
}
