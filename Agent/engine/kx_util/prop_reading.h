// How properties are read: the templates that shared_policy_props.h declares. For the files that implement properties.
#pragma once

#include <kx_util/shared_policy_props.h>

#include <memory>

#include "Agent/engine/kx_util/buffer_reader.h"

template <class Fields>
bool CkxShBufPropBase::_Read(const unsigned char*& cursor, unsigned long& remaining, Fields fields) {
  CkxBufReader in(cursor, remaining);
  return in.Flag(_initialized) && (!_initialized || fields(in));
}

template <class Prop>
bool CkxShBufPropList<Prop>::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _Read(cursor, remaining, [this](CkxBufReader& in) { return in.List(_list, _NodeFromBuffer); });
}

template <class Prop>
CkxShBufList::CkxNode* CkxShBufPropList<Prop>::_NodeFromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  std::unique_ptr<CkxPropNode<Prop>> node(new CkxPropNode<Prop>);
  return node != nullptr && node->prop.FromBuffer(cursor, remaining) ? node.release() : nullptr;
}
