// Targets of policies that set security: what access is given or taken, and to what. They match no launch; whoever
// enforces access reads them. The bits of the mask are the system's access rights of that kind of object.
#pragma once

#include <kx_util/shared_policy_resource_props.h>
#include <kx_util/shared_policy_target.h>

/// u32 access mask, then the kind's own part.
class KX_UTIL_API CkxShBufTargetSecurity : public CkxShBufTarget {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;

  uint32_t AccessMask() const { return _accessMask; }

 private:
  uint32_t _accessMask = 0;
};

/// A file or a folder: its path, and whether it is a folder.
class KX_UTIL_API CkxShBufTargetFSEntry : public CkxShBufTargetSecurity {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  void AppendDebugMsg(CkxUtilStr& text) const override;

  const CkxShBufPropFSPath& Path() const { return _path; }
  bool IsFolder() const { return _path.Flag(); }

 private:
  CkxShBufPropFSPath _path;
};

/// u32 root key (the value of the system's handle, 0x80000000 and up); text path of the key below it.
class KX_UTIL_API CkxShBufTargetRegKey : public CkxShBufTargetSecurity {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  void AppendDebugMsg(CkxUtilStr& text) const override;

  uint32_t Root() const { return _root; }
  CkxTextView KeyPath() const { return _keyPath.View(); }

 private:
  uint32_t _root = 0;
  CkxShBufString _keyPath;
};

/// A service, by its name.
class KX_UTIL_API CkxShBufTargetService : public CkxShBufTargetSecurity {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  void AppendDebugMsg(CkxUtilStr& text) const override;

  const CkxShBufPropSvcName& Service() const { return _service; }

 private:
  CkxShBufPropSvcName _service;
};

/// The media that it is about: a list property.
class KX_UTIL_API CkxShBufTargetRemovableMedia : public CkxShBufTargetSecurity {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  void AppendDebugMsg(CkxUtilStr& text) const override;

  const CkxShBufPropMediaInfos& Media() const { return _media; }

  /// Whether the target is about that medium: it is of the target's kind, and the list matches it. A medium of which
  /// the kind is not known is nobody's.
  bool MatchMedia(const SkxMediaFacts& media) const;

 private:
  CkxShBufPropMediaInfos _media;
};

class KX_UTIL_API CkxShBufTargetUsbDev : public CkxShBufTargetRemovableMedia {};

class KX_UTIL_API CkxShBufTargetOpticalDisc : public CkxShBufTargetRemovableMedia {};
