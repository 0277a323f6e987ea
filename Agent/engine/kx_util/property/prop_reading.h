// How properties are read: the template that shared_policy_props.h declares, for the files that implement properties.
#pragma once

#include <kx_util/shared_policy_props.h>

#include "Agent/engine/kx_util/buffer/buffer_reader.h"

template <class Fields>
bool CkxShBufPropBase::_Read(const unsigned char*& cursor, unsigned long& remaining, Fields fields) {
  CkxBufReader in(cursor, remaining);
  return in.Flag(_initialized) && (!_initialized || fields(in));
}
