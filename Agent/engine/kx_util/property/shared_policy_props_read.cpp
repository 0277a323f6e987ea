// How properties lie in the buffer: each reader is the table of its fields.
#include "Agent/engine/kx_util/property/prop_reading.h"

bool CkxShBufPropBase::_ReadList(const unsigned char*& cursor, unsigned long& remaining, CkxShBufList& list,
                                 CkxShBufList::Factory elementFromBuffer) {
  return _Read(cursor, remaining, [&](CkxBufReader& in) { return in.List(list, elementFromBuffer); });
}

bool CkxShBufPropStr::_ReadPattern(CkxBufReader& in) {
  return in.ObfuscatedText(_pattern) && in.Flag(_caseSensitive) && in.U16(_compareAs);
}

bool CkxShBufPropStr::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _Read(cursor, remaining, [this](CkxBufReader& in) { return _ReadPattern(in); });
}

bool CkxShBufPropBitmask::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _Read(cursor, remaining, [this](CkxBufReader& in) { return in.U32(_mask) && in.U16(_compareAs); });
}

bool CkxShBufPropFileName::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _Read(cursor, remaining, [this](CkxBufReader& in) {
    return in.ObfuscatedText(_pattern) && in.U16(_compareAs) && in.Text(_algorithm) && in.Text(_hash) &&
           in.I64(_fileSize);
  });
}

bool CkxShBufPropFileLocation::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _Read(cursor, remaining, [this](CkxBufReader& in) {
    return in.ObfuscatedText(_pattern) && in.Flag(_withSubfolders) && in.Text(_types);
  });
}

bool CkxShBufPropSvcName::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _Read(cursor, remaining, [this](CkxBufReader& in) { return in.ObfuscatedText(_name); });
}

bool CkxShBufPropVersionRange::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _Read(cursor, remaining, [this](CkxBufReader& in) { return in.Nested(_range); });
}

bool CkxShBufPropPublisher::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _Read(cursor, remaining, [this](CkxBufReader& in) { return _ReadPattern(in) && in.Flag(_unsignedOnly); });
}

bool CkxShBufPropFileOwner::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _Read(cursor, remaining, [this](CkxBufReader& in) { return in.Sid(_owner); });
}

bool CkxShBufPropFileVerInfo::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _Read(cursor, remaining, [this](CkxBufReader& in) { return _ReadPattern(in) && in.ObfuscatedText(_field); });
}

bool CkxShBufPropFileMsiInfo::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _Read(cursor, remaining,
               [this](CkxBufReader& in) { return _ReadPattern(in) && in.ObfuscatedText(_property); });
}

bool CkxShBufPropParentProcess::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _Read(cursor, remaining, [this](CkxBufReader& in) {
    return in.Guid(_included) && in.Flag(_includedAnyAncestor) && in.Guid(_excluded) && in.Flag(_excludedAnyAncestor);
  });
}

CkxShBufList::CkxNode* CkxShBufPropPublishers::PublisherNodeFromBuffer(const unsigned char*& cursor,
                                                                       unsigned long& remaining) {
  return _NodeFromBuffer(cursor, remaining);
}

CkxShBufList::CkxNode* CkxShBufPropFileOwners::FileOwnerNodeFromBuffer(const unsigned char*& cursor,
                                                                       unsigned long& remaining) {
  return _NodeFromBuffer(cursor, remaining);
}

CkxShBufList::CkxNode* CkxShBufPropFileVerInfos::FileVerInfoNodeFromBuffer(const unsigned char*& cursor,
                                                                           unsigned long& remaining) {
  return _NodeFromBuffer(cursor, remaining);
}

CkxShBufList::CkxNode* CkxShBufPropFileMsiInfos::FileMsiInfoNodeFromBuffer(const unsigned char*& cursor,
                                                                           unsigned long& remaining) {
  return _NodeFromBuffer(cursor, remaining);
}
