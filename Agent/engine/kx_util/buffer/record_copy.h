// The private copy of a record that an object may own.
#pragma once

#include <cstdint>
#include <cstring>
#include <new>
#include <string_view>

#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/util/trace.h"

/// A copy of the `size` bytes at `record`, freed with delete[]; null, with an error line and the fault noted, when
/// there is no memory for it. A text that reaches the copy's end without a terminator meets zeros there, at an odd
/// address too, so that who is handed its bare pointer stays inside the copy.
inline unsigned char* KxRecord_Copy(const void* record, uint32_t size, std::string_view scope) {
  constexpr size_t kZeros = 3;
  auto* const copy = new (std::nothrow) unsigned char[size_t{size} + kZeros];
  if (copy == nullptr) {
    KxFault_Note(EkxEvaluationFault::OutOfMemory);
    KxTrace(EkxTraceLevel::Error, scope, "ERROR: Failed to alloc ", size, " bytes");
    return nullptr;
  }
  std::memcpy(copy, record, size);
  std::memset(copy + size, 0, kZeros);
  return copy;
}
