// The kinds of policies: one class an action (EkxPolicyAction), with what the action adds to its base's record.
#pragma once

#include <kx_util/shared_embedded_script.h>
#include <kx_util/shared_policy.h>

/// Run: nothing more.
class KX_UTIL_API CkxShBufPolicyNormalRun : public CkxShBufPolicyWithTargets {
 public:
  /// Whether an alert takes the place of the system's prompt for that class of user.
  bool ShouldReplaceUAC(bool isAdmin) const;
  bool ShouldReplaceUAC(void* token) const;
};

class KX_UTIL_API CkxShBufPolicyBlock : public CkxShBufPolicyWithTargets {};

class KX_UTIL_API CkxShBufPolicyElevate : public CkxShBufPolicyWithTargets {};

/// Trust: 3 bytes of parameters. Without targets it applies to everything, but never to an elevation request.
class KX_UTIL_API CkxShBufPolicyElevateOnDemand : public CkxShBufPolicyWithTargets {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  void _AppendDebugMsg(CkxUtilStr& text) const override;
  bool IsApplicableTarget(const CkxTargetInfo& target, SkxTriggerPolicyShortInfo& info) const override;

  const SkxElevateOnDemandConfigParams& Params() const { return *_params; }
  bool ShellExtensionEnabled() const { return _params->shellExtensionEnabled != 0; }
  bool ShouldReplaceUAC(bool isAdmin) const;
  bool ShouldReplaceUAC(void* token) const;

 protected:
  bool _IsApplicableToAnyTarget(const CkxTargetInfo& target, SkxTriggerPolicyShortInfo& info) const override;

 private:
  const SkxElevateOnDemandConfigParams* _params = nullptr;
};

/// Run and collect events: 7 bytes of parameters. Without targets it applies to everything.
class KX_UTIL_API CkxShBufPolicyZeroTouch : public CkxShBufPolicyWithTargets {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  void _AppendDebugMsg(CkxUtilStr& text) const override;

  const SkxZeroTouchConfigParams& Params() const { return *_params; }

  /// Whether the user of `token` (null: the caller) is of a class that is monitored; false when that cannot be told.
  bool IsApplicableToUser(void* token) const;

 protected:
  bool _IsApplicableToAnyTarget(const CkxTargetInfo& target, SkxTriggerPolicyShortInfo& info) const override;

 private:
  const SkxZeroTouchConfigParams* _params = nullptr;
};

/// Set security: u8, any value but 0 allows access. Consulted by `AllowAccess`; it applies to no launch.
class KX_UTIL_API CkxShBufPolicySetSecurity : public CkxShBufPolicyWithTargets {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  void _AppendDebugMsg(CkxUtilStr& text) const override;
  bool IsApplicableTarget(const CkxTargetInfo&, SkxTriggerPolicyShortInfo&) const override { return false; }

  bool AllowAccess() const { return _allowAccess; }

 private:
  bool _allowAccess = false;
};

/// Exclude: u16 what from; 0 is from policies, the others are not judged here.
class KX_UTIL_API CkxShBufPolicyExclude : public CkxShBufPolicyWithTargets {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  void _AppendDebugMsg(CkxUtilStr& text) const override;
  bool IsApplicableTarget(const CkxTargetInfo& target, SkxTriggerPolicyShortInfo& info) const override;

  uint16_t ExcludeType() const { return _excludeType; }
  bool ShouldExcludeFromPolicies() const { return _excludeType == 0; }

  /// Whether one of the exclusion targets, those of linked groups included, takes the file.
  bool IsExcludedTarget(const IkxPathProvider& file) const;

 private:
  static bool _EnumExcludedTarget(const CkxShBufTarget& target, void* question);

  uint16_t _excludeType = 0;
};

/// Names programs that bring software onto the machine; it applies to no launch.
class KX_UTIL_API CkxShBufPolicySoftwareDistributors : public CkxShBufPolicyWithTargets {
 public:
  bool IsApplicableTarget(const CkxTargetInfo&, SkxTriggerPolicyShortInfo&) const override { return false; }

  /// Whether one of the programs, those of linked groups included, is the one that `process` ran. `name` is then what
  /// that target calls the distributor, the policy's name when it calls it nothing; else it is untouched.
  bool IsSoftwareDistributor(const CkxFileSrcProcess& process, CkxUtilStr& name) const;

 private:
  static bool _EnumIsSoftwareDistributor(const CkxShBufTarget& target, void* question);
};

/// Developer application.
class KX_UTIL_API CkxShBufPolicyMultifileCreator : public CkxShBufPolicyWithTargets {};

/// Policies that only say something, and are never judged against a target.
class KX_UTIL_API CkxShBufPolicyNoAction : public CkxShBufPolicyWithoutTargets {};

/// Policies that something other than a launch sets off.
class KX_UTIL_API CkxShBufPolicyTriggerBased : public CkxShBufPolicyWithoutTargets {};

/// Collect the usage of UAC: nothing more.
class KX_UTIL_API CkxShBufPolicyCollectUacUsage : public CkxShBufPolicyNoAction {
 public:
  bool ShouldSendUacUsage(void* /*token*/) const { return true; }
};

/// Configuration: obfuscated configuration XML; obfuscated messages XML.
class KX_UTIL_API CkxShBufPolicyConfiguration : public CkxShBufPolicyNoAction {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;

  const WCHAR* ConfigurationXml() const { return _configurationXml.SafeString(); }
  const WCHAR* MessagesXml() const { return _messagesXml.SafeString(); }

  /// The same by their counts: the texts of a record may lack their terminators.
  CkxTextView ConfigurationXmlView() const { return _configurationXml.View(); }
  CkxTextView MessagesXmlView() const { return _messagesXml.View(); }

 private:
  CkxShBufString _configurationXml;
  CkxShBufString _messagesXml;
};

class KX_UTIL_API CkxShBufPolicyLogoff : public CkxShBufPolicyTriggerBased {};

/// Computer action: u32 which.
class KX_UTIL_API CkxShBufPolicyCompAction : public CkxShBufPolicyTriggerBased {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  void _AppendDebugMsg(CkxUtilStr& text) const override;

  uint32_t ComputerAction() const { return _computerAction; }

 private:
  uint32_t _computerAction = 0;
};

/// Run script: the embedded script.
class KX_UTIL_API CkxShBufPolicyRunScript : public CkxShBufPolicyTriggerBased {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;

  const CkxShBufEmbeddedScript& Script() const { return _script; }

 private:
  CkxShBufEmbeddedScript _script;
};
