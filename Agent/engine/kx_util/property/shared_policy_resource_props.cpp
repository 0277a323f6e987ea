#include <kx_util/shared_policy_resource_props.h>

#include "Agent/engine/kx_util/property/prop_reading.h"

namespace {

CkxTextView Fact(const std::optional<KxWString>& fact) { return fact ? CkxTextView(*fact) : CkxTextView(); }

}  // namespace

bool CkxShBufPropNameValuePair::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _Read(cursor, remaining, [this](CkxBufReader& in) {
    return _ReadPattern(in) && in.ObfuscatedText(_value) && _value.ByteCount() != 0;
  });
}

bool CkxShBufPropFSPath::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _Read(cursor, remaining, [this](CkxBufReader& in) { return in.ObfuscatedText(_path) && in.Flag(_flag); });
}

bool CkxShBufPropCapability::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _Read(cursor, remaining, [this](CkxBufReader& in) { return in.ObfuscatedText(_name) && in.Flag(_flag); });
}

bool CkxShBufPropMediaInfo::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _Read(cursor, remaining, [this](CkxBufReader& in) {
    return in.Nested(_type) && in.Nested(_vendor) && in.Nested(_product) && in.Nested(_serialNumber);
  });
}

bool CkxShBufPropMediaInfo::Match(const SkxMediaFacts& media) const {
  return !Initialized() || (_type.Match(Fact(media.type)) && _vendor.Match(Fact(media.vendor)) &&
                            _product.Match(Fact(media.product)) && _serialNumber.Match(Fact(media.serialNumber)));
}

CkxShBufList::CkxNode* CkxShBufPropCapabilities::CapabilityNodeFromBuffer(const unsigned char*& cursor,
                                                                          unsigned long& remaining) {
  return _NodeFromBuffer(cursor, remaining);
}

CkxShBufList::CkxNode* CkxShBufPropMediaInfos::MediaInfoNodeFromBuffer(const unsigned char*& cursor,
                                                                       unsigned long& remaining) {
  return _NodeFromBuffer(cursor, remaining);
}

bool CkxShBufPropMediaInfos::Match(const SkxMediaFacts& media) const {
  if (!Initialized()) return true;
  for (const CkxPropNode<CkxShBufPropMediaInfo>& node : Elements()) {
    if (node.prop.Match(media)) return true;
  }
  return false;
}
