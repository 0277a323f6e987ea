#include "Common_CPP/file/native_access.h"
#include "Common_CPP/util/handle_win.h"
#include "Common_CPP/util/text.h"

namespace {

HANDLE AccessHandle(intptr_t file) { return reinterpret_cast<HANDLE>(file); }

bool OpenForAccess(CkxTextView path, intptr_t& file) {
  constexpr DWORD kFlags = FILE_FLAG_BACKUP_SEMANTICS | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION;
  if (path.IsEmpty() || KxText_FindUnit(path, WCHAR{0}) != CkxTextView::npos) return false;
  CkxHandle opened(CreateFileW(path.ToString().c_str(), READ_CONTROL | WRITE_DAC, kKxShareAll, nullptr, OPEN_EXISTING,
                               kFlags, nullptr));
  if (!opened) return false;
  file = reinterpret_cast<intptr_t>(opened.Release());
  return true;
}

void CloseForAccess(intptr_t file) { CkxHandle(AccessHandle(file)).Close(); }

bool GetAccess(intptr_t file, std::vector<unsigned char>& descriptor) {
  DWORD size = 0;
  GetKernelObjectSecurity(AccessHandle(file), DACL_SECURITY_INFORMATION, nullptr, 0, &size);
  descriptor.resize(size);
  return size != 0 &&
         GetKernelObjectSecurity(AccessHandle(file), DACL_SECURITY_INFORMATION, descriptor.data(), size, &size);
}

bool SetAccess(intptr_t file, std::span<const unsigned char> descriptor) {
  return SetKernelObjectSecurity(AccessHandle(file), DACL_SECURITY_INFORMATION,
                                 const_cast<unsigned char*>(descriptor.data()));
}

}  // namespace

const SkxNativeAccess& KxNativeAccess_OfSystem() {
  static constexpr SkxNativeAccess kTable = {OpenForAccess, CloseForAccess, GetAccess, SetAccess};
  return kTable;
}
