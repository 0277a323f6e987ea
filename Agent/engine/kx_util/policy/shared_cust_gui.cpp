#include <kx_util/shared_cust_gui.h>

#include <new>

#include "Agent/engine/kx_util/buffer/buffer_reader.h"
#include "Agent/engine/kx_util/buffer/record_copy.h"
#include "Agent/engine/kx_util/buffer/record_memory.h"

namespace {

struct AlertKind {
  EkxAlertType code;
  CkxShBufCustGuiBase* (*make)();
};

template <class Alert>
CkxShBufCustGuiBase* Make() {
  return KxRecord_NotNull(new (std::nothrow) Alert);
}

constexpr AlertKind kAlertKinds[] = {
    {EkxAlertType::Dialog, Make<CkxShBufCustGuiDialog>},
    {EkxAlertType::Balloon, Make<CkxShBufCustGuiBaloon>},
};

}  // namespace

CkxShBufCustGuiBase* CkxShBufCustGuiBase::CustGuiFromBuffer(const SkxAlertBufHeader* record, bool copy) {
  if (record == nullptr || record->magic != SkxAlertBufHeader::kMagic) return nullptr;
  const uint32_t size = record->size;
  if (size < sizeof(SkxAlertBufHeader)) return nullptr;

  for (const AlertKind& kind : kAlertKinds) {
    if (kind.code != record->type) continue;
    CkxShBufCustGuiPtr alert(kind.make());
    if (alert == nullptr || (copy && !alert->_CopyBuffer(record, size))) return nullptr;
    const auto* cursor = reinterpret_cast<const unsigned char*>(record);
    unsigned long remaining = size;
    return alert->FromBuffer(cursor, remaining) ? alert.release() : nullptr;
  }
  return nullptr;
}

CkxShBufCustGuiBase::~CkxShBufCustGuiBase() { delete[] _copy; }

void CkxShBufCustGuiBase::Release() { delete this; }

void CkxShBufCustGuiBase::Release(CkxShBufCustGuiBase* alert) {
  if (alert != nullptr) alert->Release();
}

bool CkxShBufCustGuiBase::_CopyBuffer(const SkxAlertBufHeader*& record, uint32_t size) {
  _copy = KxRecord_Copy(record, size, "CkxShBufCustGuiBase");
  if (_copy == nullptr) return false;
  record = reinterpret_cast<const SkxAlertBufHeader*>(_copy);
  return true;
}

bool CkxShBufCustGuiBase::_ReadHeader(const unsigned char*& cursor, unsigned long& remaining) {
  return CkxBufReader(cursor, remaining).Header(_header);
}

bool CkxShBufCustGuiDialog::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  if (!_ReadHeader(cursor, remaining)) return false;
  CkxBufReader in(cursor, remaining);
  return in.U32(_dialogType) && in.Text(_htmlPath);
}

bool CkxShBufCustGuiBaloon::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _ReadHeader(cursor, remaining);
}
