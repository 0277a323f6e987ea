// Targets: what a policy or an application group is about.
//
//   offset 0: u32 magic 0x22232427
//          4: u32 size of the record in bytes, header included
//          8: GUID of the target
//         24: u32 type (EkxPolicyTarget)
//         28: the kind's body, packed
//
// A list of targets is walked by what each body's reader consumes; the size field is only checked to fit in what
// remains.
#pragma once

#include <kx_util/policy_result.h>
#include <kx_util/shared_policy_origin_props.h>
#include <kx_util/shared_policy_target_users.h>

#pragma pack(push, 1)
struct SkxTargetBufHeader {
  static constexpr uint32_t kMagic = 0x22232427;
  uint32_t magic;
  uint32_t size;
  GUID targetId;
  EkxPolicyTarget type;
};
struct SkxGuidBlock {  ///< a GUID in place, at any address
  GUID value;
};
#pragma pack(pop)
static_assert(sizeof(SkxTargetBufHeader) == 28);

class CkxFileSrcProcess;
class CkxShBufTarget;
using KxTargetCallback = bool (*)(const CkxShBufTarget& target, void* context);

class KX_UTIL_API CkxShBufTarget : public CkxShBufList::CkxNode {
 public:
  /// The element reader of target lists: null for a record that is malformed, or of a type that is not accepted.
  static CkxShBufList::CkxNode* TargetFromBuffer(const unsigned char*& cursor, unsigned long& remaining);

  virtual bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining);
  virtual void FillTargetInfo(SkxTriggerPolicyShortInfo& info) const;
  virtual bool MatchTarget(const CkxTargetInfo& target) const;

  /// The same question about a process as the origin of a file remembers it; a property about what the record does not
  /// hold, when it is set, does not match.
  virtual bool MatchProcess(const CkxFileSrcProcess& process) const;

  /// Whether what the target is about can only be started from the agent's folder of tools.
  virtual bool RequiresKxToolsFolder() const { return false; }
  virtual void AppendDebugMsg(CkxUtilStr& text) const = 0;

  EkxPolicyTarget TargetType() const { return _header->type; }
  bool IsTargetType(EkxPolicyTarget type) const { return TargetType() == type; }
  GUID TargetId() const { return _header->targetId; }

  /// `MatchTarget`, watched: what callers outside the kinds use.
  bool Matches(const CkxTargetInfo& target) const { return Observed(MatchTarget(target)); }

  /// Hands on `matched`, having told whoever watches what became of this target.
  bool Observed(bool matched) const;

 private:
  const SkxTargetBufHeader* _header = nullptr;  // into the buffer
};

/// GUID of the group that stands for its targets.
class KX_UTIL_API CkxShBufTargetAppGroupLink : public CkxShBufTarget {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  bool MatchTarget(const CkxTargetInfo& target) const override;
  void AppendDebugMsg(CkxUtilStr& text) const override;

  GUID GroupId() const { return _groupId->value; }

  /// `info` is filled from the target of the group that matched.
  bool MatchTarget(const CkxTargetInfo& target, SkxTriggerPolicyShortInfo& info) const;

  /// Every target of the group, in order, until a call returns false, which is then the answer. A group that is not
  /// there has none.
  bool EnumTargets(KxTargetCallback callback, void* context) const;

 private:
  const SkxGuidBlock* _groupId = nullptr;
};

/// A program: u8 inheritable; file version range; product version range; location; file name and hash; arguments;
/// owners; publishers; version fields; service name; parent process; users (plain string); origin; distributor name
/// (text).
class KX_UTIL_API CkxShBufTargetExe : public CkxShBufTarget {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  void FillTargetInfo(SkxTriggerPolicyShortInfo& info) const override;

  /// All of its properties that are set, cheap ones and those that decide most often first.
  bool MatchTarget(const CkxTargetInfo& target) const override;
  bool MatchProcess(const CkxFileSrcProcess& process) const override;
  void AppendDebugMsg(CkxUtilStr& text) const override;

  bool Inheritable() const { return _inheritable; }
  const CkxShBufPropVersionRange& FileVersions() const { return _fileVersions; }
  const CkxShBufPropVersionRange& ProductVersions() const { return _productVersions; }
  const CkxShBufPropFileLocation& Location() const { return _location; }
  const CkxShBufPropFileName& FileName() const { return _fileName; }
  const CkxShBufPropArguments& Arguments() const { return _arguments; }
  const CkxShBufPropFileOwners& Owners() const { return _owners; }
  const CkxShBufPropPublishers& Publishers() const { return _publishers; }
  const CkxShBufPropFileVerInfos& VersionFields() const { return _versionFields; }
  const CkxShBufPropSvcName& ServiceName() const { return _serviceName; }
  const CkxShBufPropParentProcess& ParentProcess() const { return _parentProcess; }
  CkxTextView Users() const { return _users.View(); }
  const CkxShBufPropFileOrigin& Origin() const { return _origin; }
  CkxTextView SoftwareDistributorName() const { return _softwareDistributorName.View(); }

 private:
  bool _inheritable = false;
  CkxShBufPropVersionRange _fileVersions;
  CkxShBufPropVersionRange _productVersions;
  CkxShBufPropFileLocation _location;
  CkxShBufPropFileName _fileName;
  CkxShBufPropArguments _arguments;
  CkxShBufPropFileOwners _owners;
  CkxShBufPropPublishers _publishers;
  CkxShBufPropFileVerInfos _versionFields;
  CkxShBufPropSvcName _serviceName;
  CkxShBufPropParentProcess _parentProcess;
  CkxShBufTargetUsers _users;
  CkxShBufPropFileOrigin _origin;
  CkxShBufString _softwareDistributorName;
};

/// What an exclusion leaves out: location; file name; users (plain string). Users that are a descriptor limit it to
/// those in that scope; without a text, and with the marker, it is for everybody.
class KX_UTIL_API CkxShBufTargetExclude : public CkxShBufTarget {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  bool MatchTarget(const CkxTargetInfo& target) const override;
  void AppendDebugMsg(CkxUtilStr& text) const override;

  bool MatchExcludedTarget(const IkxPathProvider& file) const;

  const CkxShBufPropFileLocation& Location() const { return _location; }
  const CkxShBufPropFileName& FileName() const { return _fileName; }
  CkxTextView Users() const { return _users.View(); }

 private:
  CkxShBufPropFileLocation _location;
  CkxShBufPropFileName _fileName;
  CkxShBufTargetUsers _users;
};

/// A request to elevate a download: the pattern of its address.
class KX_UTIL_API CkxShBufTargetUrl : public CkxShBufTarget {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  bool MatchTarget(const CkxTargetInfo& target) const override;
  void AppendDebugMsg(CkxUtilStr& text) const override;

  const CkxShBufPropStr& Url() const { return _url; }

 private:
  CkxShBufPropStr _url;
};
