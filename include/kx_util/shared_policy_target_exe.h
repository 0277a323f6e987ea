// Targets that are programs.
#pragma once

#include <kx_util/shared_policy_target.h>

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
