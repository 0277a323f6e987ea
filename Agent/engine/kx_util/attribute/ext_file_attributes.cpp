#include <kx_util/ext_file_attributes.h>

#include <atomic>

#include "Agent/engine/kx_util/attribute/ea_calls.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/file/ea_record.h"
#include "Common_CPP/util/byte_cursor.h"

namespace {

/// Of the process.
std::atomic<CkxExtFileAttributes::DrvEaHelper> driverEaHelper = nullptr;

/// An operation on an open file; a fault ends it like a failing call.
template <class Call>
bool OnEaHandle(void* file, long* status, Call&& call) {
  return KxEa_Ended(KxEntry(kKxStatusNoMemory, [&] { return call(KxEa_FileOf(file)); }), status);
}

/// One that `Set` has refused, and said why.
bool NoEaOf(std::string_view name, long* status) {
  const long refused = KxEaName_IsValid(name) ? kKxStatusEaTooLarge : kKxStatusInvalidEaName;
  return KxEa_Ended(refused, status);
}

template <class Text>
bool SetTextOnHandle(void* file, const char* name, const Text* value, long* status,
                     bool (*set)(void*, const CkxFileFullEaInfo&, long*)) {
  CkxFileFullEaInfo info;
  return info.Set(name, value, 0) ? set(file, info, status) : NoEaOf(KxEa_NameText(name), status);
}

}  // namespace

bool CkxExtFileAttributes::SetToFile(void* file, const CkxFileFullEaInfo& info, long* status) {
  return OnEaHandle(file, status, [&](intptr_t handle) { return KxEa_Set(handle, info); });
}

bool CkxExtFileAttributes::SetToFile(void* file, const char* name, const char* value, long* status) {
  return SetTextOnHandle(file, name, value, status, SetToFile);
}

bool CkxExtFileAttributes::SetToFile(void* file, const char* name, const WCHAR* value, long* status) {
  return SetTextOnHandle(file, name, value, status, SetToFile);
}

bool CkxExtFileAttributes::GetFromFile(void* file, const char* name, CkxFileFullEaInfo& out, long* status) {
  return OnEaHandle(file, status, [&](intptr_t handle) { return KxEa_Get(handle, name, out); });
}

bool CkxExtFileAttributes::DeleteFromFile(void* file, const char* name, long* status) {
  return OnEaHandle(file, status, [&](intptr_t handle) { return KxEa_Delete(handle, name); });
}

bool CkxExtFileAttributes::GetEaSize(void* file, unsigned long& size, long* status) {
  return OnEaHandle(file, status, [&](intptr_t handle) {
    uint32_t bytes = 0;
    const long asked = KxEa_Size(handle, bytes);
    if (asked >= 0) size = bytes;
    return asked;
  });
}

unsigned long CkxExtFileAttributes::GetEaSize(void* file) {
  unsigned long size = 0;
  return GetEaSize(file, size) ? size : 0;
}

bool CkxExtFileAttributes::LoadAllFromFile(void* file, long* status) {
  _list.clear();
  return OnEaHandle(file, status, [&](intptr_t handle) { return KxEa_Load(handle, false, _list); });
}

bool CkxExtFileAttributes::LoadAllFromBuffer(const unsigned char* list, unsigned long bytes) {
  _list.clear();
  return KxEntry(false, [&] {
    if (KxEa_RequireList({list, list != nullptr ? bytes : 0}) < 0) return false;
    _list.assign(list, list + bytes);
    return true;
  });
}

bool CkxExtFileAttributes::DrvSetToFile(void* file, const CkxFileFullEaInfo& info, long* status) {
  return OnEaHandle(file, status, [&](intptr_t handle) { return KxEa_SetThroughDriver(handle, info); });
}

bool CkxExtFileAttributes::DrvSetToFile(void* file, const char* name, const char* value, long* status) {
  return SetTextOnHandle(file, name, value, status, DrvSetToFile);
}

bool CkxExtFileAttributes::DrvSetToFile(void* file, const char* name, const WCHAR* value, long* status) {
  return SetTextOnHandle(file, name, value, status, DrvSetToFile);
}

void CkxExtFileAttributes::SetDrvEaHelper(DrvEaHelper helper) { driverEaHelper.exchange(helper); }

CkxExtFileAttributes::DrvEaHelper CkxExtFileAttributes::_GetDrvEaHelper() { return driverEaHelper.load(); }

bool CkxExtFileAttributes::DrvSetEnabled() { return _GetDrvEaHelper() != nullptr && KernelExtAttrSupportedByOS(); }

bool CkxExtFileAttributes::KernelExtAttrSupportedByOS() { return KxNativeEa().hasKernelEas(); }

CkxExtFileAttributes::DrvEaHelper CkxExtFileAttributes::NativeDrvEaHelper() { return KxNativeEa().setKernelEa; }

bool CkxExtFileAttributes::GetAt(POSITION position, CkxFileFullEaInfo& out, bool copy) const {
  if (position == nullptr) return false;
  const auto left = static_cast<unsigned long>(_list.size() - static_cast<size_t>(position - _list.data()));
  return copy ? out.CopyFrom(position, left) : out.Attach(position, left);
}

bool CkxExtFileAttributes::GetNext(POSITION& position, CkxFileFullEaInfo& out, bool copy) const {
  if (!GetAt(position, out, copy)) return false;
  const auto next = KxBytes_Load<uint32_t>(position);
  position = next != 0 ? position + next : nullptr;
  return true;
}
