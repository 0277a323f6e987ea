#include "Common_CPP/file/held_folder.h"

#include "Common_CPP/util/handle_win.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"

// After windows.h, which it does not include itself.
#include <winternl.h>

namespace {

using Identity = BY_HANDLE_FILE_INFORMATION;

bool IsSame(const Identity& a, const Identity& b) {
  return a.dwVolumeSerialNumber == b.dwVolumeSerialNumber && a.nFileIndexHigh == b.nFileIndexHigh &&
         a.nFileIndexLow == b.nFileIndexLow;
}

CkxHandle OpenFolder(CkxTextView path) {
  return CkxHandle(CreateFileW(path.ToString().c_str(), FILE_LIST_DIRECTORY | FILE_TRAVERSE | SYNCHRONIZE, kKxShareAll,
                               nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
}

bool IdentityOf(const CkxHandle& folder, Identity& identity) {
  return folder && GetFileInformationByHandle(folder.Get(), &identity) != 0;
}

/// The entries of one block that the system has filled.
void Append(const unsigned char* block, std::vector<KxWString>& names) {
  for (;;) {
    const auto* const entry = reinterpret_cast<const FILE_ID_BOTH_DIR_INFO*>(block);
    KxWString name(entry->FileName, entry->FileNameLength / sizeof(WCHAR));
    if (name != L"." && name != L"..") names.push_back(std::move(name));
    if (entry->NextEntryOffset == 0) return;
    block += entry->NextEntryOffset;
  }
}

}  // namespace

struct CkxHeldFolder::Native {
  CkxHandle folder;
};

CkxHeldFolder::CkxHeldFolder() : _native(std::make_unique<Native>()) {}
CkxHeldFolder::~CkxHeldFolder() = default;

bool CkxHeldFolder::Open(CkxTextView path) {
  _native->folder = OpenFolder(path);
  Identity identity{};
  if (!IdentityOf(_native->folder, identity)) return false;
  if ((identity.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return true;
  _native->folder.Close();
  KxLastError_Set(ERROR_DIRECTORY);
  return false;
}

bool CkxHeldFolder::IsAt(CkxTextView path) const {
  Identity held{};
  Identity named{};
  return IdentityOf(_native->folder, held) && IdentityOf(OpenFolder(path), named) && IsSame(held, named);
}

std::optional<std::vector<KxWString>> CkxHeldFolder::Names() const {
  alignas(FILE_ID_BOTH_DIR_INFO) unsigned char block[16 * 1024];
  std::vector<KxWString> names;
  FILE_INFO_BY_HANDLE_CLASS what = FileIdBothDirectoryRestartInfo;
  while (GetFileInformationByHandleEx(_native->folder.Get(), what, block, sizeof(block))) {
    Append(block, names);
    what = FileIdBothDirectoryInfo;
  }
  if (GetLastError() != ERROR_NO_MORE_FILES) return std::nullopt;
  return names;
}

bool CkxHeldFolder::OpenFile(CkxTextView name, CkxFileReader& file) const {
  file.Close();
  KxWString text = name.ToString();
  UNICODE_STRING native = {static_cast<USHORT>(text.size() * sizeof(WCHAR)),
                           static_cast<USHORT>(text.size() * sizeof(WCHAR)), text.data()};
  OBJECT_ATTRIBUTES attributes;
  InitializeObjectAttributes(&attributes, &native, OBJ_CASE_INSENSITIVE, _native->folder.Get(), nullptr);
  IO_STATUS_BLOCK state{};
  HANDLE opened = nullptr;
  const NTSTATUS status =
      NtCreateFile(&opened, GENERIC_READ | SYNCHRONIZE, &attributes, &state, nullptr, FILE_ATTRIBUTE_NORMAL,
                   kKxShareAll, FILE_OPEN, FILE_SYNCHRONOUS_IO_NONALERT | FILE_NON_DIRECTORY_FILE, nullptr, 0);
  if (status < 0) {
    KxLastError_Set(RtlNtStatusToDosError(status));
    return false;
  }
  file._handle = reinterpret_cast<intptr_t>(opened);
  SkxFileStatus known;
  if (file.Status(known)) return true;
  file.Close();
  return false;
}

/// The log of the volume has what becomes of names in its order: that a file of the folder is flushed, or a name is
/// written through, takes along what came before.
bool CkxHeldFolder::Flush() const { return true; }

std::optional<KxWString> KxFolder_Place(CkxTextView path) {
  constexpr size_t kRootUnits = 3;  // "C:\\"
  std::optional<KxWString> place = KxFile_FullPath(path);
  while (place && place->size() > kRootUnits && place->back() == L'\\') place->pop_back();
  return place;
}

bool KxFolder_Rename(CkxTextView from, CkxTextView to) {
  return MoveFileExW(from.ToString().c_str(), to.ToString().c_str(), MOVEFILE_WRITE_THROUGH) != 0;
}

bool KxFolder_Exchange(CkxTextView /*a*/, CkxTextView /*b*/) {
  KxLastError_Set(ERROR_NOT_SUPPORTED);
  return false;
}
