#include <algorithm>
#include <atomic>

#include "Common_CPP/access_token/object_access_win.h"
#include "Common_CPP/access_token/object_owner_win.h"
#include "Common_CPP/sharedmemory/sharedmemory.h"
#include "Common_CPP/util/handle_win.h"
#include "Common_CPP/util/last_error.h"

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
HANDLE CreateSection(CkxTextView name, size_t byteCount) {
  CkxObjectAccess access(L"(A;;GR;;;WD)(A;;GR;;;S-1-15-2-1)");
  if (!access) return nullptr;
  const uint64_t size = byteCount == 0 ? 1 : byteCount;  // the system knows no empty section
  return CreateFileMappingW(INVALID_HANDLE_VALUE, access.Attributes(), PAGE_READWRITE, static_cast<DWORD>(size >> 32),
                            static_cast<DWORD>(size & 0xFFFFFFFF), name.ToString().c_str());
}

/// From the end to the beginning, a word at once; behind `bytes` there are zeros.
void RewriteInPlace(const CkxMappedSection& section, std::span<const unsigned char> bytes) {
  auto* const words = reinterpret_cast<uint64_t*>(section.Bytes());
  for (size_t at = section.Size(); at != 0;) {
    at -= sizeof(uint64_t);
    uint64_t word = 0;
    if (at < bytes.size()) std::memcpy(&word, bytes.data() + at, std::min(sizeof(word), bytes.size() - at));
    std::atomic_ref(words[at / sizeof(word)]).store(word, std::memory_order_release);
  }
}

}  // namespace

bool CkxSharedMemoryView::Open(CkxTextView name) {
  Close();
  if (!KxSharedMemory_IsName(name)) {
    KxLastError_Set(ERROR_INVALID_NAME);
    return false;
  }
  CkxHandle mapping(OpenFileMappingW(FILE_MAP_READ | READ_CONTROL, FALSE, name.ToString().c_str()));
  if (!mapping || !KxObject_IsAgents(mapping.Get(), name)) return false;
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

bool CkxSharedMemoryView::OpenBeside(const CkxHeldSection& /*neighbour*/, CkxTextView name) { return Open(name); }

struct CkxHeldSection::State {
  KxWString name;
  CkxSharedMemoryView view;
};

CkxHeldSection::CkxHeldSection() = default;
CkxHeldSection::CkxHeldSection(CkxHeldSection&&) noexcept = default;
CkxHeldSection& CkxHeldSection::operator=(CkxHeldSection&&) noexcept = default;
CkxHeldSection::~CkxHeldSection() = default;

bool CkxHeldSection::Open(CkxTextView name) {
  _state.reset();
  auto state = std::make_unique<State>();
  state->name = name.ToString();
  if (!state->view.Open(name)) return false;
  _state = std::move(state);
  return true;
}

std::span<const unsigned char> CkxHeldSection::Bytes() const {
  return _state != nullptr ? _state->view.Bytes() : std::span<const unsigned char>();
}

/// The name is this section's until the last view of it is closed, and what is written to it meanwhile is in its bytes.
bool CkxHeldSection::IsInForce() const {
  return _state != nullptr && KxObject_IsAgents(_state->view._mapping, _state->name);
}

struct CkxSharedMemoryPublication::Section {
  CkxHandle mapping;  // the name lives as long as a handle or a view does

  /// Null with the thread's last error set.
  static std::unique_ptr<Section> Make(CkxTextView name, std::span<const unsigned char> bytes, bool mayExist);
};

std::unique_ptr<CkxSharedMemoryPublication::Section> CkxSharedMemoryPublication::Section::Make(
    CkxTextView name, std::span<const unsigned char> bytes, bool mayExist) {
  if (!KxSharedMemory_IsName(name)) {
    KxLastError_Set(ERROR_INVALID_NAME);
    return nullptr;
  }
  CkxHandle mapping(CreateSection(name, bytes.size()));
  if (!mapping) return nullptr;
  const bool existed = GetLastError() == ERROR_ALREADY_EXISTS;
  if (existed && (!mayExist || !KxObject_IsAgents(mapping.Get(), name))) return nullptr;

  const CkxMappedSection section(mapping.Get(), FILE_MAP_WRITE);
  if (section.Size() == 0) return nullptr;
  if (section.Size() < bytes.size() || (existed && section.Size() - bytes.size() >= kPageBytes)) {
    KxLastError_Set(ERROR_ALREADY_EXISTS);
    return nullptr;
  }
  auto made = std::make_unique<Section>();  // before the bytes are in force
  RewriteInPlace(section, bytes);
  made->mapping = std::move(mapping);
  return made;
}

CkxSharedMemoryPublication::CkxSharedMemoryPublication() = default;
CkxSharedMemoryPublication::CkxSharedMemoryPublication(CkxSharedMemoryPublication&&) noexcept = default;
CkxSharedMemoryPublication& CkxSharedMemoryPublication::operator=(CkxSharedMemoryPublication&&) noexcept = default;
CkxSharedMemoryPublication::~CkxSharedMemoryPublication() = default;

bool CkxSharedMemoryPublication::Publish(CkxTextView name, std::span<const unsigned char> bytes) {
  auto section = Section::Make(name, bytes, true);
  if (section == nullptr) return false;
  _section = std::move(section);
  return true;
}

bool CkxSharedMemoryPublication::PublishNew(CkxTextView name, std::span<const unsigned char> bytes) {
  auto section = Section::Make(name, bytes, false);
  if (section == nullptr) return false;
  _section = std::move(section);
  return true;
}

void CkxSharedMemoryPublication::Remove() { _section.reset(); }

// A section goes with the last handle or view of it.
bool KxSharedMemory_Remove(CkxTextView /*name*/) { return true; }
void KxSharedMemory_RemoveLeftBehind(CkxTextView /*prefix*/, std::span<const KxWString> /*kept*/) {}

bool KxSharedMemory_OutlivesPublisher() { return false; }
