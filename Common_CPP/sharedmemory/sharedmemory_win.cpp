#include "Common_CPP/access_token/owner_win.h"
#include "Common_CPP/sharedmemory/sharedmemory.h"
#include "Common_CPP/util/handle_win.h"
#include "Common_CPP/util/last_error.h"

// After windows.h, which it does not include itself.
#include <sddl.h>

namespace {

constexpr size_t kPageBytes = 4096;

/// A whole section mapped into this process, unmapped at the end of the scope.
class CkxMappedSection {
 public:
  CkxMappedSection(HANDLE mapping, DWORD access) : _address(MapViewOfFile(mapping, access, 0, 0, 0)) {
    MEMORY_BASIC_INFORMATION region{};
    if (_address != nullptr && VirtualQuery(_address, &region, sizeof(region)) != 0) _size = region.RegionSize;
  }
  ~CkxMappedSection() {
    const CkxLastErrorGuard guard;
    if (_address != nullptr) UnmapViewOfFile(_address);
  }
  CkxMappedSection(const CkxMappedSection&) = delete;
  CkxMappedSection& operator=(const CkxMappedSection&) = delete;

  size_t Size() const { return _size; }  ///< whole pages; 0 when the section could not be mapped
  unsigned char* Bytes() const { return static_cast<unsigned char*>(_address); }
  void Release() { _address = nullptr; }

 private:
  void* _address = nullptr;
  size_t _size = 0;
};

/// Everyone, sandboxed app containers included, may read; the system and the publisher may do all.
PSECURITY_DESCRIPTOR SectionAccess() {
  const std::optional<CkxSid> owner = KxToken_OwnerOfNewObjects();
  if (!owner) return nullptr;
  const KxWString text = L"D:P(A;;GR;;;WD)(A;;GR;;;S-1-15-2-1)(A;;GA;;;SY)(A;;GA;;;" + owner->ToText() + L")";
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1, &descriptor, nullptr);
  return descriptor;
}

HANDLE CreateSection(CkxTextView name, size_t byteCount) {
  PSECURITY_DESCRIPTOR descriptor = SectionAccess();
  if (descriptor == nullptr) return nullptr;
  SECURITY_ATTRIBUTES attributes{sizeof(attributes), descriptor, FALSE};
  const uint64_t size = byteCount == 0 ? 1 : byteCount;  // the system knows no empty section
  const KxWString terminated = name.ToString();
  const HANDLE section =
      CreateFileMappingW(INVALID_HANDLE_VALUE, &attributes, PAGE_READWRITE, static_cast<DWORD>(size >> 32),
                         static_cast<DWORD>(size & 0xFFFFFFFF), terminated.c_str());
  const CkxLastErrorGuard guard;
  LocalFree(descriptor);
  return section;
}

}  // namespace

bool CkxSharedMemoryView::Open(CkxTextView name) {
  Close();
  if (!KxSharedMemory_IsName(name)) {
    KxLastError_Set(ERROR_INVALID_NAME);
    return false;
  }
  CkxHandle mapping(OpenFileMappingW(FILE_MAP_READ, FALSE, name.ToString().c_str()));
  if (!mapping) return false;
  CkxMappedSection section(mapping.Get(), FILE_MAP_READ);
  if (section.Size() == 0) return false;
  _bytes = {section.Bytes(), section.Size()};
  _mapping = mapping.Release();
  section.Release();
  return true;
}

void CkxSharedMemoryView::Close() {
  const CkxLastErrorGuard guard;
  if (_bytes.data() != nullptr) UnmapViewOfFile(_bytes.data());
  if (_mapping != nullptr) CloseHandle(_mapping);
  _bytes = {};
  _mapping = nullptr;
}

struct CkxSharedMemoryPublication::Section {
  CkxHandle mapping;  // the name lives as long as a handle or a view does
};

CkxSharedMemoryPublication::CkxSharedMemoryPublication() = default;
CkxSharedMemoryPublication::CkxSharedMemoryPublication(CkxSharedMemoryPublication&&) noexcept = default;
CkxSharedMemoryPublication& CkxSharedMemoryPublication::operator=(CkxSharedMemoryPublication&&) noexcept = default;
CkxSharedMemoryPublication::~CkxSharedMemoryPublication() = default;

bool CkxSharedMemoryPublication::Publish(CkxTextView name, std::span<const unsigned char> bytes) {
  if (!KxSharedMemory_IsName(name)) {
    KxLastError_Set(ERROR_INVALID_NAME);
    return false;
  }
  CkxHandle mapping(CreateSection(name, bytes.size()));
  if (!mapping) return false;
  const bool existed = GetLastError() == ERROR_ALREADY_EXISTS;

  const CkxMappedSection section(mapping.Get(), FILE_MAP_WRITE);
  if (section.Size() == 0) return false;
  if (section.Size() < bytes.size() || (existed && section.Size() - bytes.size() >= kPageBytes)) {
    KxLastError_Set(ERROR_ALREADY_EXISTS);
    return false;
  }
  if (!bytes.empty()) std::memcpy(section.Bytes(), bytes.data(), bytes.size());
  if (existed) std::memset(section.Bytes() + bytes.size(), 0, section.Size() - bytes.size());
  _section = std::make_unique<Section>(Section{std::move(mapping)});
  return true;
}

void CkxSharedMemoryPublication::Remove() { _section.reset(); }
