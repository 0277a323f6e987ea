// The kinds of policies, targets and alerts that can be written, one row each: code, name in documents, what a record
// of it has.
#pragma once

#include <string_view>
#include <type_traits>
#include <variant>

#include "Agent/engine/kx_publish/model/policy_model.h"

/// Which alternative of a variant `Value` is.
template <class Value, class... Alternatives>
constexpr size_t KxVariantIndex(std::type_identity<std::variant<Alternatives...>> /*variant*/) {
  size_t index = 0;
  static_cast<void>(((std::is_same_v<Value, Alternatives> || (++index, false)) || ...));
  return index;
}

struct SkxPolicyKind {
  EkxPolicyAction action;
  const char* key;
  const char* meaning;
  bool withTargets;
  size_t paramsIndex;           ///< of the kind's own fields among the alternatives
  SkxPolicyParams (*params)();  ///< those, at their defaults
};

template <class Params>
constexpr SkxPolicyKind KxPolicyKind(EkxPolicyAction action, const char* key, const char* meaning, bool withTargets) {
  return {action, key, meaning, withTargets, KxVariantIndex<Params>(std::type_identity<SkxPolicyParams>()), [] {
            return SkxPolicyParams(Params());
          }};
}

inline constexpr SkxPolicyKind kKxPolicyKinds[] = {
    KxPolicyKind<std::monostate>(EkxPolicyAction::Run, "run", "lets the program run as it would anyway", true),
    KxPolicyKind<std::monostate>(EkxPolicyAction::Block, "block", "keeps it from running", true),
    KxPolicyKind<std::monostate>(EkxPolicyAction::Elevate, "elevate", "runs it with administrator rights", true),
    KxPolicyKind<SkxElevateOnDemandParams>(
        EkxPolicyAction::Trust, "elevateOnDemand",
        "runs it with administrator rights when the user asks for that; without targets: everything", true),
    KxPolicyKind<std::monostate>(EkxPolicyAction::CollectUac, "collectUac",
                                 "reports where the system asks for elevation", false),
    KxPolicyKind<SkxZeroTouchParams>(EkxPolicyAction::RunAndCollectEvents, "runAndCollectEvents",
                                     "lets the program run and reports it; without targets: everything", true),
    KxPolicyKind<std::monostate>(EkxPolicyAction::LogOff, "logOff", "logs the user off", false),
    KxPolicyKind<SkxComputerActionParams>(EkxPolicyAction::ComputerAction, "computerAction",
                                          "does something to the computer", false),
    KxPolicyKind<SkxScriptParams>(EkxPolicyAction::RunScript, "runScript", "runs a script", false),
    KxPolicyKind<SkxConfigurationParams>(EkxPolicyAction::Configuration, "configuration", "configures the agent",
                                         false),
    KxPolicyKind<SkxSetSecurityParams>(EkxPolicyAction::SetSecurity, "setSecurity",
                                       "says who may access what its targets name", true),
    KxPolicyKind<SkxExcludeParams>(EkxPolicyAction::Exclude, "exclude", "leaves what its targets name out of judgement",
                                   true),
    KxPolicyKind<std::monostate>(EkxPolicyAction::SoftwareDistributor, "softwareDistributor",
                                 "names programs that bring software onto the machine", true),
    KxPolicyKind<std::monostate>(EkxPolicyAction::DeveloperApplication, "developerApplication",
                                 "names programs that make programs, such as compilers", true),
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
    {EkxPolicyTarget::Script, "script", KxTargetKind_Body<SkxScriptTarget>},
    {EkxPolicyTarget::Msi, "msi", KxTargetKind_Body<SkxMsiTarget>},
    {EkxPolicyTarget::Msu, "msu", KxTargetKind_Body<SkxMsuTarget>},
    {EkxPolicyTarget::Url, "url", KxTargetKind_Body<SkxUrlTarget>},
    {EkxPolicyTarget::AdminTask, "administrativeTask", KxTargetKind_Body<SkxAdminTaskTarget>},
    {EkxPolicyTarget::ActiveX, "activeX", KxTargetKind_Body<SkxActiveXTarget>},
    {EkxPolicyTarget::FileSystemEntry, "fileSystemEntry", KxTargetKind_Body<SkxFileSystemEntryTarget>},
    {EkxPolicyTarget::RegistryKey, "registryKey", KxTargetKind_Body<SkxRegistryKeyTarget>},
    {EkxPolicyTarget::Com, "com", KxTargetKind_Body<SkxComTarget>},
    {EkxPolicyTarget::Exclude, "exclude", KxTargetKind_Body<SkxExcludeTarget>},
    {EkxPolicyTarget::Service, "service", KxTargetKind_Body<SkxServiceTarget>},
    {EkxPolicyTarget::UsbDevice, "usbDevice", KxTargetKind_Body<SkxUsbDeviceTarget>},
    {EkxPolicyTarget::OpticalDisc, "opticalDisc", KxTargetKind_Body<SkxOpticalDiscTarget>},
    {EkxPolicyTarget::AppPackage, "appPackage", KxTargetKind_Body<SkxAppPackageTarget>},
    {EkxPolicyTarget::Dll, "dll", KxTargetKind_Body<SkxDllTarget>},
};
static_assert(std::size(kKxTargetKinds) == std::variant_size_v<SkxTargetBody>);

inline const SkxTargetKind& KxTargetKind_Of(const SkxTargetBody& body) { return kKxTargetKinds[body.index()]; }

struct SkxAlertKind {
  EkxAlertType type;
  const char* key;
  SkxAlertBody (*body)();
};

template <class Body>
SkxAlertBody KxAlertKind_Body() {
  return Body{};
}

inline constexpr SkxAlertKind kKxAlertKinds[] = {
    {EkxAlertType::Dialog, "dialog", KxAlertKind_Body<SkxDialogAlert>},
    {EkxAlertType::Balloon, "balloon", KxAlertKind_Body<SkxBalloonAlert>},
};
static_assert(std::size(kKxAlertKinds) == std::variant_size_v<SkxAlertBody>);

inline const SkxAlertKind& KxAlertKind_Of(const SkxAlertBody& body) { return kKxAlertKinds[body.index()]; }

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
