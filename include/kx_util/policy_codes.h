// The code numbers of the policy buffer. What they are called stands with the kinds (shared_policy.h,
// shared_policy_target.h).
#pragma once

#include "Common_CPP/util/base.h"

/// What a policy does.
enum class EkxPolicyAction : int32_t {
  Invalid = 0,
  Run = 1,
  Block = 2,
  Elevate = 3,
  Trust = 4,  ///< elevate on demand
  CollectUac = 5,
  RunAndCollectEvents = 6,  ///< zero touch
  LogOff = 7,
  ComputerAction = 8,
  RunScript = 9,
  Configuration = 10,
  SetSecurity = 11,
  Exclude = 12,
  SoftwareDistributor = 13,
  DeveloperApplication = 18,  ///< multi-file creator
};

/// What a target is about.
enum class EkxPolicyTarget : uint32_t {
  Invalid = 0,
  ComputerOrUser = 1,
  AppGroupLink = 2,
  Executable = 3,
  Script = 4,
  Msi = 5,
  Msu = 6,
  Url = 7,
  AdminTask = 8,
  ActiveX = 9,
  InstallationSource = 10,
  ManualRequest = 11,
  SkippedEvents = 12,
  FileSystemEntry = 13,
  RegistryKey = 14,
  Com = 15,
  Exclude = 16,
  Service = 17,
  UsbDevice = 18,
  OpticalDisc = 19,
  AppPackage = 20,
  Dll = 21,
  MacPackage = 22,
  MacAdminTask = 23,
  MacExecutable = 24,
};

/// The event on which an alert is shown. Only the two that the library itself asks about have names here.
enum class EkxAlertTrigger : uint32_t { ReplaceUacOfStandardUser = 26, ReplaceUacOfAdministrator = 27 };

/// How an alert is shown.
enum class EkxAlertType : uint16_t { Dialog = 1, Balloon = 2 };
