// The properties that ask where a file came from. (The reading rules are those of shared_policy_props.h.)
#pragma once

#include <kx_util/shared_policy_props.h>

/// text distributor name, not empty
class KX_UTIL_API CkxShBufPropDistributionService : public CkxShBufPropBase {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  CkxTextView Name() const { return _name.View(); }

 private:
  CkxShBufString _name;
};

/// u8 all callers; u8 mode (1: the caller made the file, 2: it did not)
class KX_UTIL_API CkxShBufPropSpawnerProcess : public CkxShBufPropBase {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
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

class KX_UTIL_API CkxShBufPropUserList : public CkxShBufPropList<CkxShBufPropUserOrGroup> {
 public:
  static CkxShBufList::CkxNode* UserOrGroupNodeFromBuffer(const unsigned char*& cursor, unsigned long& remaining);
};

/// u8 flag; text package name; a nested version range; publishers (u32 count, elements)
class KX_UTIL_API CkxShBufPropPackage : public CkxShBufPropBase {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  bool Flag() const { return _flag; }
  CkxTextView Name() const { return _name.View(); }
  const CkxShBufPropVersionRange& Versions() const { return _versions; }
  CkxNodes<CkxPropNode<CkxShBufPropPublisher>> Publishers() const {
    return CkxNodes<CkxPropNode<CkxShBufPropPublisher>>(_publishers);
  }

 private:
  bool _flag = false;
  CkxShBufString _name;
  CkxShBufPropVersionRange _versions;
  CkxShBufList _publishers;
};

/// u8 flag; u32 main source type; distribution service; location; package; spawner process; source address; users
class KX_UTIL_API CkxShBufPropFileOrigin : public CkxShBufPropBase {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;

  /// Origins are not kept with files yet, so a property that asks for one finds none: no match.
  bool Match(const CkxTargetInfoFile& file) const;

  bool Flag() const { return _flag; }
  uint32_t MainSourceType() const { return _mainSourceType; }
  const CkxShBufPropDistributionService& DistributionService() const { return _distributionService; }
  const CkxShBufPropFileLocation& Location() const { return _location; }
  const CkxShBufPropPackage& Package() const { return _package; }
  const CkxShBufPropSpawnerProcess& SpawnerProcess() const { return _spawnerProcess; }
  const CkxShBufPropStr& SourceAddress() const { return _sourceAddress; }
  const CkxShBufPropUserList& Users() const { return _users; }

 private:
  bool _flag = false;
  uint32_t _mainSourceType = 0;
  CkxShBufPropDistributionService _distributionService;
  CkxShBufPropFileLocation _location;
  CkxShBufPropPackage _package;
  CkxShBufPropSpawnerProcess _spawnerProcess;
  CkxShBufPropStr _sourceAddress;
  CkxShBufPropUserList _users;
};
