// The properties that ask where a file came from. (The reading rules are those of shared_policy_props.h.)
#pragma once

#include <kx_util/shared_policy_props.h>

class CkxFileOrigin;
class CkxFileSrcPackage;
class CkxTargetInfoFile;

/// text distributor name, not empty
class KX_UTIL_API CkxShBufPropDistributionService : public CkxShBufPropBase {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;

  /// A process of the installer that the file is from was started by that distributor.
  bool Match(const CkxFileOrigin& origin) const;

  CkxTextView Name() const { return _name.View(); }

 private:
  CkxShBufString _name;
};

/// u8 all callers; u8 mode (1: the caller made the file, 2: it did not)
class KX_UTIL_API CkxShBufPropSpawnerProcess : public CkxShBufPropBase {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;

  /// The caller, who starts the file, is the program that wrote it, or with `AllCallers` any that had a part in that;
  /// or it is none. Where nothing is known of who wrote the file, or of who starts it, it is none.
  bool Match(const CkxTargetInfoFile& file) const;

  bool AllCallers() const { return _allCallers; }
  unsigned char Mode() const { return _mode; }

 private:
  bool _allCallers = false;
  unsigned char _mode = 0;
};

/// SID
class KX_UTIL_API CkxShBufPropUserOrGroup : public CkxShBufPropBase {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  const CkxSid& Sid() const { return _sid; }

 private:
  CkxSid _sid;
};

/// Users and groups; one of them is enough.
class KX_UTIL_API CkxShBufPropUserList : public CkxShBufPropList<CkxShBufPropUserOrGroup> {
 public:
  static CkxShBufList::CkxNode* UserOrGroupNodeFromBuffer(const unsigned char*& cursor, unsigned long& remaining);

  /// The user whom the file is from is one of them, or in a group that is. The null SID is nobody.
  bool Match(const CkxFileOrigin& origin) const;
};

/// u8 flag: the program that starts the file must have come in such a package too; text package name, a wildcard, the
/// empty text for any; a nested version range; publishers (u32 count, elements), none for any
class KX_UTIL_API CkxShBufPropPackage : public CkxShBufPropBase {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  bool Match(const CkxTargetInfoFile& file) const;

  bool Flag() const { return _flag; }
  CkxTextView Name() const { return _name.View(); }
  const CkxShBufPropVersionRange& Versions() const { return _versions; }
  CkxNodes<CkxPropNode<CkxShBufPropPublisher>> Publishers() const {
    return CkxNodes<CkxPropNode<CkxShBufPropPublisher>>(_publishers);
  }

 private:
  bool _MatchesPackageOf(const CkxFileOrigin* origin) const;
  bool _MatchesPublisher(const CkxFileSrcPackage& package) const;

  bool _flag = false;
  CkxShBufString _name;
  CkxShBufPropVersionRange _versions;
  CkxShBufList _publishers;
};

/// What is asked of an origin, in that order.
enum class EkxOriginQuestion {
  Record,      ///< is there one
  Preexisted,  ///< was the file there before origins were kept: when that is asked, nothing else is
  MainSourceType,
  DistributionService,
  Location,
  Package,
  SpawnerProcess,
  SourceAddress,
  Users,
  None,  ///< all were answered as expected
};

/// u8 flag; u32 main source type; distribution service; location; package; spawner process; source address; users
class KX_UTIL_API CkxShBufPropFileOrigin : public CkxShBufPropBase {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;

  /// One that is not set takes every file, and no other takes a file of which nothing is kept.
  bool Match(const CkxTargetInfoFile& file) const { return FirstFailure(file) == EkxOriginQuestion::None; }

  /// The first question that is answered otherwise than expected.
  EkxOriginQuestion FirstFailure(const CkxTargetInfoFile& file) const;

  bool Flag() const { return _flag; }
  uint32_t MainSourceType() const { return _mainSourceType; }
  const CkxShBufPropDistributionService& DistributionService() const { return _distributionService; }
  const CkxShBufPropFileLocation& Location() const { return _location; }
  const CkxShBufPropPackage& Package() const { return _package; }
  const CkxShBufPropSpawnerProcess& SpawnerProcess() const { return _spawnerProcess; }
  const CkxShBufPropStr& SourceAddress() const { return _sourceAddress; }
  const CkxShBufPropUserList& Users() const { return _users; }

 private:
  bool _MatchesLocation(const CkxFileOrigin& origin) const;
  bool _MatchesSourceAddress(const CkxFileOrigin& origin) const;

  bool _flag = false;
  uint32_t _mainSourceType = 0;
  CkxShBufPropDistributionService _distributionService;
  CkxShBufPropFileLocation _location;
  CkxShBufPropPackage _package;
  CkxShBufPropSpawnerProcess _spawnerProcess;
  CkxShBufPropStr _sourceAddress;
  CkxShBufPropUserList _users;
};
