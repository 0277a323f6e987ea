// Targets that are files, but no programs: scripts, packages, libraries, controls and components. Bodies are made of
// properties in the order in which the classes name them; matching is a conjunction of those that are set, cheap ones
// and those that decide most often first.
//
// A script, package or library is matched as what it is, or as what a process was started for: the script that an
// interpreter runs, the package that the installer installs. What a target then asks of the process (its arguments, its
// parents) it asks of that process.
#pragma once

#include <kx_util/shared_policy_resource_props.h>
#include <kx_util/shared_policy_target.h>

/// u8 inheritable; u8 embedded; location; file name and hash; arguments; owners; publishers; parent process; origin.
class KX_UTIL_API CkxShBufTargetScript : public CkxShBufTarget {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  void FillTargetInfo(SkxTriggerPolicyShortInfo& info) const override;
  bool MatchTarget(const CkxTargetInfo& target) const override;
  bool RequiresKxToolsFolder() const override { return _embedded; }
  void AppendDebugMsg(CkxUtilStr& text) const override;

  bool Inheritable() const { return _inheritable; }
  bool IsEmbedded() const { return _embedded; }  ///< the policy brings the script with it
  const CkxShBufPropFileLocation& Location() const { return _location; }
  const CkxShBufPropFileName& FileName() const { return _fileName; }
  const CkxShBufPropArguments& Arguments() const { return _arguments; }
  const CkxShBufPropFileOwners& Owners() const { return _owners; }
  const CkxShBufPropPublishers& Publishers() const { return _publishers; }
  const CkxShBufPropParentProcess& ParentProcess() const { return _parentProcess; }
  const CkxShBufPropFileOrigin& Origin() const { return _origin; }

 private:
  bool _inheritable = false;
  bool _embedded = false;
  CkxShBufPropFileLocation _location;
  CkxShBufPropFileName _fileName;
  CkxShBufPropArguments _arguments;
  CkxShBufPropFileOwners _owners;
  CkxShBufPropPublishers _publishers;
  CkxShBufPropParentProcess _parentProcess;
  CkxShBufPropFileOrigin _origin;
};

/// An installer package: product version range; location; file name and hash; arguments; owners; publishers; installer
/// properties; parent process; origin.
class KX_UTIL_API CkxShBufTargetMsi : public CkxShBufTarget {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  bool MatchTarget(const CkxTargetInfo& target) const override;
  void AppendDebugMsg(CkxUtilStr& text) const override;

  const CkxShBufPropVersionRange& ProductVersions() const { return _productVersions; }
  const CkxShBufPropFileLocation& Location() const { return _location; }
  const CkxShBufPropFileName& FileName() const { return _fileName; }
  const CkxShBufPropArguments& Arguments() const { return _arguments; }
  const CkxShBufPropFileOwners& Owners() const { return _owners; }
  const CkxShBufPropPublishers& Publishers() const { return _publishers; }
  const CkxShBufPropFileMsiInfos& InstallerProperties() const { return _installerProperties; }
  const CkxShBufPropParentProcess& ParentProcess() const { return _parentProcess; }
  const CkxShBufPropFileOrigin& Origin() const { return _origin; }

 private:
  CkxShBufPropVersionRange _productVersions;
  CkxShBufPropFileLocation _location;
  CkxShBufPropFileName _fileName;
  CkxShBufPropArguments _arguments;
  CkxShBufPropFileOwners _owners;
  CkxShBufPropPublishers _publishers;
  CkxShBufPropFileMsiInfos _installerProperties;
  CkxShBufPropParentProcess _parentProcess;
  CkxShBufPropFileOrigin _origin;
};

/// A system update package: location; file name and hash; owners; publishers; parent process; origin.
class KX_UTIL_API CkxShBufTargetMsu : public CkxShBufTarget {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  bool MatchTarget(const CkxTargetInfo& target) const override;
  void AppendDebugMsg(CkxUtilStr& text) const override;

  const CkxShBufPropFileLocation& Location() const { return _location; }
  const CkxShBufPropFileName& FileName() const { return _fileName; }
  const CkxShBufPropFileOwners& Owners() const { return _owners; }
  const CkxShBufPropPublishers& Publishers() const { return _publishers; }
  const CkxShBufPropParentProcess& ParentProcess() const { return _parentProcess; }
  const CkxShBufPropFileOrigin& Origin() const { return _origin; }

 private:
  CkxShBufPropFileLocation _location;
  CkxShBufPropFileName _fileName;
  CkxShBufPropFileOwners _owners;
  CkxShBufPropPublishers _publishers;
  CkxShBufPropParentProcess _parentProcess;
  CkxShBufPropFileOrigin _origin;
};

/// A library: file version range; product version range; location; file name and hash; owners; publishers; version
/// fields; origin.
class KX_UTIL_API CkxShBufTargetDll : public CkxShBufTarget {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  bool MatchTarget(const CkxTargetInfo& target) const override;
  void AppendDebugMsg(CkxUtilStr& text) const override;

  const CkxShBufPropVersionRange& FileVersions() const { return _fileVersions; }
  const CkxShBufPropVersionRange& ProductVersions() const { return _productVersions; }
  const CkxShBufPropFileLocation& Location() const { return _location; }
  const CkxShBufPropFileName& FileName() const { return _fileName; }
  const CkxShBufPropFileOwners& Owners() const { return _owners; }
  const CkxShBufPropPublishers& Publishers() const { return _publishers; }
  const CkxShBufPropFileVerInfos& VersionFields() const { return _versionFields; }
  const CkxShBufPropFileOrigin& Origin() const { return _origin; }

 private:
  CkxShBufPropVersionRange _fileVersions;
  CkxShBufPropVersionRange _productVersions;
  CkxShBufPropFileLocation _location;
  CkxShBufPropFileName _fileName;
  CkxShBufPropFileOwners _owners;
  CkxShBufPropPublishers _publishers;
  CkxShBufPropFileVerInfos _versionFields;
  CkxShBufPropFileOrigin _origin;
};

/// A control that a web page brings: class id ("{...}", as a text test); address that it comes from; location; file
/// name and hash; publishers.
class KX_UTIL_API CkxShBufTargetActiveX : public CkxShBufTarget {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  bool MatchTarget(const CkxTargetInfo& target) const override;
  void AppendDebugMsg(CkxUtilStr& text) const override;

  const CkxShBufPropStr& ClassId() const { return _classId; }
  const CkxShBufPropStr& SourceAddress() const { return _sourceAddress; }
  const CkxShBufPropFileLocation& Location() const { return _location; }
  const CkxShBufPropFileName& FileName() const { return _fileName; }
  const CkxShBufPropPublishers& Publishers() const { return _publishers; }

 private:
  CkxShBufPropStr _classId;
  CkxShBufPropStr _sourceAddress;
  CkxShBufPropFileLocation _location;
  CkxShBufPropFileName _fileName;
  CkxShBufPropPublishers _publishers;
};

/// A component that asks to be made elevated: class id ("{...}", as a text test); location; file name and hash; owners;
/// publishers; version fields.
class KX_UTIL_API CkxShBufTargetCom : public CkxShBufTarget {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  bool MatchTarget(const CkxTargetInfo& target) const override;
  void AppendDebugMsg(CkxUtilStr& text) const override;

  const CkxShBufPropStr& ClassId() const { return _classId; }
  const CkxShBufPropFileLocation& Location() const { return _location; }
  const CkxShBufPropFileName& FileName() const { return _fileName; }
  const CkxShBufPropFileOwners& Owners() const { return _owners; }
  const CkxShBufPropPublishers& Publishers() const { return _publishers; }
  const CkxShBufPropFileVerInfos& VersionFields() const { return _versionFields; }

 private:
  CkxShBufPropStr _classId;
  CkxShBufPropFileLocation _location;
  CkxShBufPropFileName _fileName;
  CkxShBufPropFileOwners _owners;
  CkxShBufPropPublishers _publishers;
  CkxShBufPropFileVerInfos _versionFields;
};

/// An application package of the store kind, or a program that runs from one; the package's identity counts and not the
/// file: u8 inheritable; version range; package name (as a text test); publishers; capabilities.
class KX_UTIL_API CkxShBufTargetAppPackage : public CkxShBufTarget {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  void FillTargetInfo(SkxTriggerPolicyShortInfo& info) const override;
  bool MatchTarget(const CkxTargetInfo& target) const override;
  void AppendDebugMsg(CkxUtilStr& text) const override;

  bool Inheritable() const { return _inheritable; }
  const CkxShBufPropVersionRange& Versions() const { return _versions; }
  const CkxShBufPropStr& PackageName() const { return _packageName; }
  const CkxShBufPropPublishers& Publishers() const { return _publishers; }

  /// Each with its flag set must be declared by the package, each with its flag clear must not be.
  const CkxShBufPropCapabilities& Capabilities() const { return _capabilities; }

 private:
  bool _inheritable = false;
  CkxShBufPropVersionRange _versions;
  CkxShBufPropStr _packageName;
  CkxShBufPropPublishers _publishers;
  CkxShBufPropCapabilities _capabilities;
};
