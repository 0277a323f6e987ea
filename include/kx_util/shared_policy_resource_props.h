// The properties of what is no program: values by name, places in the file system, capabilities, removable media. (The
// reading rules are those of shared_policy_props.h.)
#pragma once

#include <kx_util/media_facts.h>
#include <kx_util/shared_policy_props.h>

/// as CkxShBufPropStr, for the name; text value, not empty
class KX_UTIL_API CkxShBufPropNameValuePair : public CkxShBufPropStr {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;

  CkxTextView Value() const { return _value.View(); }

 private:
  CkxShBufString _value;
};

/// text path; u8 flag, carried for whoever enforces the policy
class KX_UTIL_API CkxShBufPropFSPath : public CkxShBufPropBase {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;

  CkxTextView Path() const { return _path.View(); }
  bool Flag() const { return _flag; }

 private:
  CkxShBufString _path;
  bool _flag = false;
};

/// text capability name; u8 flag, carried for whoever enforces the policy
class KX_UTIL_API CkxShBufPropCapability : public CkxShBufPropBase {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;

  CkxTextView Name() const { return _name.View(); }
  bool Flag() const { return _flag; }

 private:
  CkxShBufString _name;
  bool _flag = false;
};

/// Capabilities of a package.
class KX_UTIL_API CkxShBufPropCapabilities : public CkxShBufPropList<CkxShBufPropCapability> {
 public:
  static CkxShBufList::CkxNode* CapabilityNodeFromBuffer(const unsigned char*& cursor, unsigned long& remaining);
};

/// type; vendor; product; serial number: each a CkxShBufPropStr with a flag, a case rule and a compare mode of its own
class KX_UTIL_API CkxShBufPropMediaInfo : public CkxShBufPropBase {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;

  /// Every field that is set matches its fact; one whose fact is unknown does not.
  bool Match(const SkxMediaFacts& media) const;

  const CkxShBufPropStr& Type() const { return _type; }
  const CkxShBufPropStr& Vendor() const { return _vendor; }
  const CkxShBufPropStr& Product() const { return _product; }
  const CkxShBufPropStr& SerialNumber() const { return _serialNumber; }

 private:
  CkxShBufPropStr _type;
  CkxShBufPropStr _vendor;
  CkxShBufPropStr _product;
  CkxShBufPropStr _serialNumber;
};

/// Removable media.
class KX_UTIL_API CkxShBufPropMediaInfos : public CkxShBufPropList<CkxShBufPropMediaInfo> {
 public:
  static CkxShBufList::CkxNode* MediaInfoNodeFromBuffer(const unsigned char*& cursor, unsigned long& remaining);

  /// Any element matches, one that is not set at once; none for an empty list.
  bool Match(const SkxMediaFacts& media) const;
};
