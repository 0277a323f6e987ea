#include "tests/support/fake_native_ea.h"

#include <algorithm>
#include <filesystem>

#include "Common_CPP/file/ea_record.h"
#include "Common_CPP/file/file.h"
#include "Common_CPP/util/last_error.h"

namespace {

constexpr size_t kMaxBytesOfFile = 65'531;

CkxFakeNativeEa* fake = nullptr;

auto Find(CkxFakeNativeEa::File& file, std::string_view name) {
  return std::find_if(file.eas.begin(), file.eas.end(),
                      [&](const auto& ea) { return KxEaName_Equals(ea.first, name); });
}

CkxFakeNativeEa::Bytes ListOf(CkxFakeNativeEa::File& file) {
  CkxFakeNativeEa::Bytes list;
  size_t last = 0;
  for (const auto& [name, value] : file.eas) last = KxEaList_Append(list, last, {0, file.flags[name], name, value});
  return list;
}

long Answer(const CkxFakeNativeEa::Bytes& list, std::span<unsigned char> answer, size_t& written) {
  if (list.size() > answer.size()) return kKxStatusBufferOverflow;
  std::copy(list.begin(), list.end(), answer.begin());
  written = list.size();
  return kKxStatusSuccess;
}

}  // namespace

CkxFakeNativeEa::CkxFakeNativeEa() : _scope(Table()) { fake = this; }
CkxFakeNativeEa::~CkxFakeNativeEa() { fake = nullptr; }

const SkxNativeEa& CkxFakeNativeEa::Table() {
  static constexpr SkxNativeEa kTable = {
      Open,         Close,  FileId, Set, Query, QuerySize, IsReadOnly, SetReadOnly, [](intptr_t) { return true; },
      HasKernelEas, nullptr};
  return kTable;
}

long CkxFakeNativeEa::Open(CkxTextView path, unsigned access, intptr_t& file) {
  const KxWString name = path.ToString();
  if (!std::filesystem::exists(std::filesystem::path(name))) {
    KxLastError_Set(kKxErrorFileNotFound);
    return kKxStatusObjectNameNotFound;
  }
  const bool isWrite = (access & KxEaWrite) != 0;
  const File& kept = fake->_files[name];
  if (isWrite && (kept.isReadOnly || kept.isDenied || fake->refuseWritesAfter == 0)) {
    KxLastError_Set(kKxErrorAccessDenied);
    return kKxStatusAccessDenied;
  }
  if (isWrite && fake->refuseWritesAfter > 0) --fake->refuseWritesAfter;
  file = fake->_next += 4;
  fake->_open[file] = {name, access};
  return kKxStatusSuccess;
}

void CkxFakeNativeEa::Close(intptr_t file) { fake->_open.erase(file); }

long CkxFakeNativeEa::FileId(intptr_t file, uint64_t& id) {
  const auto handle = fake->_open.find(file);
  if (handle == fake->_open.end()) return KxNativeEa_OfSystem().fileId(file, id);
  if (const auto& given = fake->_files[handle->second.path].id) {
    id = *given;
    return kKxStatusSuccess;
  }
  const std::optional<SkxFileStatus> status = KxFile_Status(handle->second.path);
  if (status) id = status->identity.file;
  return status ? kKxStatusSuccess : kKxStatusInvalidHandle;
}

/// A handle of the system's is for reading. Of a file that no test speaks of nothing is kept.
CkxFakeNativeEa::File* CkxFakeNativeEa::OfSystems(intptr_t file, unsigned access) {
  uint64_t id = 0;
  if (access != KxEaRead || KxNativeEa_OfSystem().fileId(file, id) < 0) return nullptr;
  for (auto& [path, kept] : _files) {
    const std::optional<SkxFileStatus> status = KxFile_Status(path);
    if (status && status->identity.file == id) return &kept;
  }
  static File nothing;
  return &nothing;
}

CkxFakeNativeEa::File* CkxFakeNativeEa::Of(intptr_t file, unsigned access, long& status) {
  if (File* const systems = _open.contains(file) ? nullptr : OfSystems(file, access)) {
    status = kKxStatusSuccess;
    return systems;
  }
  const auto handle = _open.find(file);
  status = handle == _open.end()                        ? kKxStatusInvalidHandle
           : (handle->second.access & access) != access ? kKxStatusAccessDenied
                                                        : kKxStatusSuccess;
  return status < 0 ? nullptr : &_files[handle->second.path];
}

long CkxFakeNativeEa::Set(intptr_t file, SkxNativeEa::Bytes list) {
  long status = 0;
  File* const found = fake->Of(file, KxEaWrite, status);
  if (found == nullptr) return status;
  return fake->setStatus < 0 ? fake->setStatus : Apply(*found, list, false);
}

/// All records of the list or none.
long CkxFakeNativeEa::Apply(File& file, SkxNativeEa::Bytes list, bool isDriver) {
  const bool isAligned = reinterpret_cast<uintptr_t>(list.data()) % 4 == 0;
  if (!isAligned || !KxEaList_IsWellFormed(list)) return kKxStatusEaListInconsistent;
  File changed = file;
  long status = kKxStatusSuccess;
  KxEaList_ForEach(list, [&](const SkxEaRecord& record, SkxNativeEa::Bytes) {
    const std::string name = KxEaName_Upper(record.name);
    if (!KxEaName_IsValid(name) || (record.flags & 0x7F) != 0) status = kKxStatusInvalidEaName;
    if (file.locked.contains(name)) status = kKxStatusAccessDenied;
    if (status < 0) return false;
    if (KxEaName_IsKernel(name) && !isDriver) return true;
    const auto old = Find(changed, name);
    const Bytes value(record.value.begin(), record.value.end());
    if (value.empty()) {
      if (old != changed.eas.end()) changed.eas.erase(old);
    } else if (old != changed.eas.end()) {
      old->second = value;
    } else {
      changed.eas.emplace_back(name, value);
    }
    changed.flags[name] = record.flags;
    return true;
  });
  if (status >= 0 && ListOf(changed).size() > kMaxBytesOfFile) status = kKxStatusEaTooLarge;
  if (status >= 0) file = changed;
  return status;
}

long CkxFakeNativeEa::Driver(void* file, const void* record, unsigned long size) {
  long status = 0;
  File* const found = fake->Of(reinterpret_cast<intptr_t>(file), 0, status);
  return found == nullptr ? status : Apply(*found, {static_cast<const unsigned char*>(record), size}, true);
}

long CkxFakeNativeEa::Query(intptr_t file, SkxNativeEa::Bytes question, std::span<unsigned char> answer,
                            size_t& written) {
  written = 0;
  long status = 0;
  File* const found = fake->Of(file, KxEaRead, status);
  if (found == nullptr) return status;
  if (found->answer) return Answer(*found->answer, answer, written);
  if (found->eas.empty()) return kKxStatusNoEasOnFile;
  if (question.empty()) return Answer(ListOf(*found), answer, written);
  const auto name = KxEaQuery_Name(question);
  if (!name) return kKxStatusEaListInconsistent;
  const auto ea = Find(*found, *name);
  Bytes record;
  const std::string upper = KxEaName_Upper(*name);
  if (ea == found->eas.end()) {
    KxEaList_Append(record, 0, {0, 0, upper, {}});
  } else {
    KxEaList_Append(record, 0, {0, found->flags[upper], upper, ea->second});
  }
  return Answer(record, answer, written);
}

/// A little more than the list takes, as the original counts.
long CkxFakeNativeEa::QuerySize(intptr_t file, uint32_t& bytes) {
  long status = fake->sizeStatus;
  File* const found = status < 0 ? nullptr : fake->Of(file, KxEaRead, status);
  if (found == nullptr) return status;
  const size_t size = found->answer ? found->answer->size() : ListOf(*found).size();
  bytes = size != 0 ? static_cast<uint32_t>(size + 4) : 0;
  return kKxStatusSuccess;
}

long CkxFakeNativeEa::IsReadOnly(intptr_t file, bool& readOnly) {
  long status = 0;
  const File* const found = fake->Of(file, KxEaAttributes, status);
  if (found != nullptr) readOnly = found->isReadOnly;
  return status;
}

long CkxFakeNativeEa::SetReadOnly(intptr_t file, bool readOnly) {
  long status = 0;
  File* const found = fake->Of(file, KxEaAttributes, status);
  if (found != nullptr) found->isReadOnly = readOnly;
  return status;
}

bool CkxFakeNativeEa::HasKernelEas() { return fake->hasKernelEas; }
