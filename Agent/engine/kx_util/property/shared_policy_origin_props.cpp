#include <kx_util/shared_policy_origin_props.h>

#include "Agent/engine/kx_util/property/prop_reading.h"

bool CkxShBufPropDistributionService::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _Read(cursor, remaining,
               [this](CkxBufReader& in) { return in.ObfuscatedText(_name) && _name.ByteCount() != 0; });
}

bool CkxShBufPropSpawnerProcess::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _Read(cursor, remaining, [this](CkxBufReader& in) { return in.Flag(_allCallers) && in.U8(_mode); });
}

bool CkxShBufPropUserOrGroup::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _Read(cursor, remaining, [this](CkxBufReader& in) { return in.Sid(_sid); });
}

CkxShBufList::CkxNode* CkxShBufPropUserList::UserOrGroupNodeFromBuffer(const unsigned char*& cursor,
                                                                       unsigned long& remaining) {
  return _NodeFromBuffer(cursor, remaining);
}

bool CkxShBufPropPackage::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _Read(cursor, remaining, [this](CkxBufReader& in) {
    return in.Flag(_flag) && in.ObfuscatedText(_name) && in.Nested(_versions) &&
           in.List(_publishers, CkxShBufPropPublishers::PublisherNodeFromBuffer);
  });
}

bool CkxShBufPropFileOrigin::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _Read(cursor, remaining, [this](CkxBufReader& in) {
    return in.Flag(_flag) && in.U32(_mainSourceType) && in.Nested(_distributionService) && in.Nested(_location) &&
           in.Nested(_package) && in.Nested(_spawnerProcess) && in.Nested(_sourceAddress) && in.Nested(_users);
  });
}

bool CkxShBufPropFileOrigin::Match(const CkxTargetInfoFile& /*file*/) const { return !Initialized(); }
