// Policy properties: each says one thing that a file, a process or the origin of a file must satisfy.
//
//   u8 initialized      0: nothing else follows, and the property asks for nothing
//   fields              in the order in which the classes below name them
//
// A "text" below is an obfuscated string, a "blob" a plain one (both counted in bytes, terminator included). A list
// property is a property like any other: its own flag, the count, then elements that each begin with a flag of their
// own. A property that is not initialized matches everything, except the publisher, version-field and
// installer-property elements, which match nothing. What the target does not know is never a match.
#pragma once

#include <kx_util/match_bitmask.h>
#include <kx_util/match_str.h>
#include <kx_util/shared_buffer.h>
#include <kx_util/target_info_process.h>

#include <memory>

class CkxBufReader;

/// What all kinds of properties have: u8, whether anything is asked for.
class KX_UTIL_API CkxShBufPropBase {
 public:
  CkxShBufPropBase() = default;
  CkxShBufPropBase(const CkxShBufPropBase&) = delete;
  CkxShBufPropBase& operator=(const CkxShBufPropBase&) = delete;

  virtual ~CkxShBufPropBase() = default;

  /// Reads the property and moves on; false for one that is malformed.
  virtual bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) = 0;

  bool Initialized() const { return _initialized; }

 protected:
  /// The flag, and only when it is set the fields, read by `fields(CkxBufReader&)`.
  template <class Fields>
  bool _Read(const unsigned char*& cursor, unsigned long& remaining, Fields fields);

  /// The same where a list is all that there is.
  bool _ReadList(const unsigned char*& cursor, unsigned long& remaining, CkxShBufList& list,
                 CkxShBufList::Factory elementFromBuffer);

 private:
  bool _initialized = false;
};

/// text pattern; u8 case-sensitive; u16 compare mode
class KX_UTIL_API CkxShBufPropStr : public CkxShBufPropBase {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  bool Match(CkxTextView value) const;

  CkxTextView Pattern() const { return _pattern.View(); }
  bool CaseSensitive() const { return _caseSensitive; }
  EkxStrCompareAs CompareAs() const { return static_cast<EkxStrCompareAs>(_compareAs); }

 protected:
  bool _ReadPattern(CkxBufReader& in);

 private:
  CkxShBufString _pattern;
  bool _caseSensitive = false;
  uint16_t _compareAs = 0;
};

/// The same fields, against a command line.
class KX_UTIL_API CkxShBufPropArguments : public CkxShBufPropStr {
 public:
  bool Match(CkxTextView commandLine, CkxTextView programPath) const;
};

/// u32 mask; u16 compare mode
class KX_UTIL_API CkxShBufPropBitmask : public CkxShBufPropBase {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  bool Match(uint32_t value) const;

  uint32_t Mask() const { return _mask; }
  EkxBitmaskCompareAs CompareAs() const { return static_cast<EkxBitmaskCompareAs>(_compareAs); }

 private:
  uint32_t _mask = 0;
  uint16_t _compareAs = 0;
};

/// text name pattern; u16 compare mode; blob hash algorithm; blob hash text; i64 file size (-1: any)
class KX_UTIL_API CkxShBufPropFileName : public CkxShBufPropBase {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;

  /// By name alone: false for a property that names a hash, since only `MatchFileNameAndHash` can tell then.
  bool MatchFileName(const IkxPathProvider& file) const;
  bool MatchFileNameAndHash(const IkxHashProvider& file) const;

  CkxTextView Pattern() const { return _pattern.View(); }
  EkxStrCompareAs CompareAs() const { return static_cast<EkxStrCompareAs>(_compareAs); }
  CkxTextView HashAlgorithm() const { return _algorithm.View(); }
  CkxTextView Hash() const { return _hash.View(); }
  int64_t FileSize() const { return _fileSize; }

 private:
  CkxShBufString _pattern;
  uint16_t _compareAs = 0;
  CkxShBufString _algorithm;
  CkxShBufString _hash;
  int64_t _fileSize = -1;
};

/// text location pattern; u8 with subfolders; blob location types
class KX_UTIL_API CkxShBufPropFileLocation : public CkxShBufPropBase {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  bool Match(const IkxPathProvider& file) const;

  CkxTextView Pattern() const { return _pattern.View(); }
  bool WithSubfolders() const { return _withSubfolders; }
  CkxTextView LocationTypes() const { return _types.View(); }

 private:
  CkxShBufString _pattern;
  bool _withSubfolders = false;
  CkxShBufString _types;
};

/// text service name
class KX_UTIL_API CkxShBufPropSvcName : public CkxShBufPropBase {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  bool Match(CkxTextView serviceNames) const;  ///< separated by "/"
  bool Match(const CkxTargetInfoProcess& process) const;

  CkxTextView Name() const { return _name.View(); }

 private:
  CkxShBufString _name;
};

/// 16 bytes of version range
class KX_UTIL_API CkxShBufPropVersionRange : public CkxShBufPropBase {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  bool Match(const SkxVersion& version) const;

  const CkxVersionRange& Range() const { return _range; }

 private:
  CkxVersionRange _range;
};

/// as CkxShBufPropStr; u8 unsigned only
class KX_UTIL_API CkxShBufPropPublisher : public CkxShBufPropStr {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  bool Match(const IkxPublisherProvider& file) const;

  bool UnsignedOnly() const { return _unsignedOnly; }

 private:
  bool _unsignedOnly = false;
};

/// SID
class KX_UTIL_API CkxShBufPropFileOwner : public CkxShBufPropBase {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  bool Match(const IkxOwnerProvider& file) const;

  const CkxSid& Owner() const { return _owner; }

 private:
  CkxSid _owner;
};

/// as CkxShBufPropStr; text field name
class KX_UTIL_API CkxShBufPropFileVerInfo : public CkxShBufPropStr {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  bool Match(const IkxVersionInfoProvider& file) const;

  CkxTextView Field() const { return _field.View(); }

 private:
  CkxShBufString _field;
};

/// as CkxShBufPropStr; text installer property name
class KX_UTIL_API CkxShBufPropFileMsiInfo : public CkxShBufPropStr {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  bool Match(const CkxTargetInfoFile& file) const;

  CkxTextView Property() const { return _property.View(); }

 private:
  CkxShBufString _property;
};

/// One element of a list property, as a node of its list.
template <class Prop>
class CkxPropNode : public CkxShBufList::CkxNode {
 public:
  Prop prop;
};

/// A list property: u32 count, then the elements. All of it stands here, so that no DLL need export an instance.
template <class Prop>
class CkxShBufPropList : public CkxShBufPropBase {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override {
    return _ReadList(cursor, remaining, _list, _NodeFromBuffer);
  }

  uint32_t Count() const { return _list.Count(); }
  CkxNodes<CkxPropNode<Prop>> Elements() const { return CkxNodes<CkxPropNode<Prop>>(_list); }

 protected:
  /// The element reader that the list is read with.
  static CkxShBufList::CkxNode* _NodeFromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
    std::unique_ptr<CkxPropNode<Prop>> node(new CkxPropNode<Prop>);
    return node != nullptr && node->prop.FromBuffer(cursor, remaining) ? node.release() : nullptr;
  }

 private:
  CkxShBufList _list;
};

/// Signers; one of them is enough.
class KX_UTIL_API CkxShBufPropPublishers : public CkxShBufPropList<CkxShBufPropPublisher> {
 public:
  static CkxShBufList::CkxNode* PublisherNodeFromBuffer(const unsigned char*& cursor, unsigned long& remaining);

  /// Any element matches. `allowed` false: this kind of target may not be matched by publishers, which is a warning and
  /// no match.
  bool Match(const IkxPublisherProvider& file, bool allowed) const;
};

/// Owners; one of them is enough.
class KX_UTIL_API CkxShBufPropFileOwners : public CkxShBufPropList<CkxShBufPropFileOwner> {
 public:
  static CkxShBufList::CkxNode* FileOwnerNodeFromBuffer(const unsigned char*& cursor, unsigned long& remaining);

  /// Any element matches, an uninitialized one at once; none for an empty list.
  bool Match(const IkxOwnerProvider& file) const;
};

/// Texts of the version resource.
class KX_UTIL_API CkxShBufPropFileVerInfos : public CkxShBufPropList<CkxShBufPropFileVerInfo> {
 public:
  static CkxShBufList::CkxNode* FileVerInfoNodeFromBuffer(const unsigned char*& cursor, unsigned long& remaining);

  bool Match(const IkxVersionInfoProvider& file) const;  ///< every element
};

/// Properties of a package.
class KX_UTIL_API CkxShBufPropFileMsiInfos : public CkxShBufPropList<CkxShBufPropFileMsiInfo> {
 public:
  static CkxShBufList::CkxNode* FileMsiInfoNodeFromBuffer(const unsigned char*& cursor, unsigned long& remaining);

  bool Match(const CkxTargetInfoFile& file) const;  ///< every element
};

/// GUID of the group that the parent must belong to; u8 any ancestor; GUID of the group that it must not belong to; u8
/// any ancestor. A null GUID is no group; a zero flag looks at the direct parent only.
class KX_UTIL_API CkxShBufPropParentProcess : public CkxShBufPropBase {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;

  /// `parentAtHand`: the caller has fetched the process's parents already.
  bool Match(const CkxTargetInfoProcess& process, bool parentAtHand) const;

  const GUID& IncludedGroup() const { return _included; }
  bool IncludedAnyAncestor() const { return _includedAnyAncestor; }
  const GUID& ExcludedGroup() const { return _excluded; }
  bool ExcludedAnyAncestor() const { return _excludedAnyAncestor; }

 private:
  GUID _included = {};
  bool _includedAnyAncestor = false;
  GUID _excluded = {};
  bool _excludedAnyAncestor = false;
};
