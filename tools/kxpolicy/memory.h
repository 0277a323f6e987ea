// The library does not throw: what it says without memory is no answer.
#pragma once

#include <kx_util/evaluation_fault.h>

#include <new>

/// After a call into the library: std::bad_alloc when it had too little memory.
inline void KxTool_RequireMemory() {
  if (KxUtil_LastFault() == EkxEvaluationFault::OutOfMemory) throw std::bad_alloc();
}
