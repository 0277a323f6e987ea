#include "tools/kxpolicy/refusal.h"

#include <algorithm>
#include <new>

#include "Common_CPP/util/own_ids.h"

CkxRefusal::CkxRefusal(EkxTraceLevel deepest)
    : _deepest(deepest), _thread(KxOwn_ThreadId()), _previous(KxTrace_SetSink(this)) {}

CkxRefusal::~CkxRefusal() { KxTrace_SetSink(_previous); }

void CkxRefusal::Clear() {
  _error.clear();
  _other.clear();
  _isError = false;
}

void CkxRefusal::Write(const SkxTraceLine& line) noexcept {
  if (_previous != nullptr && KxTrace_IsFor(*_previous, line)) _previous->Write(line);
  const bool isOwn = line.thread == _thread && line.variant == EkxTraceVariant::Plain;
  if (!isOwn || line.level > _deepest) return;
  const bool isError = line.level == EkxTraceLevel::Error;
  try {
    (isError ? _error : _other) = line.message;
  } catch (const std::bad_alloc&) {
    Clear();  // no reason rather than half of one; whoever ran short says so
  }
  _isError = _isError || isError;
}

EkxTraceLevel CkxRefusal::Deepest() const noexcept {
  return _previous != nullptr ? std::max(_deepest, _previous->Deepest()) : _deepest;
}

void CkxRefusal::OnFault(std::string_view line) noexcept {
  if (_previous != nullptr) _previous->OnFault(line);
}
