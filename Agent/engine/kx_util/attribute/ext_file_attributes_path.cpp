// Attributes of a file by its path: the file is opened, the operation is one on the open file, and the trace says what
// was asked of which file.
#include "Agent/engine/kx_util/attribute/ea_calls.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/file/ea_record.h"
#include "Common_CPP/util/text.h"

namespace {

/// What is asked of a file, for its trace.
struct EaRequest {
  std::string_view operation;  ///< the public one's name
  std::string_view failure;    ///< "ERROR: Set EA failed", as the line of a failure begins
  const WCHAR* path;
  std::string_view name;  ///< empty: of all
  unsigned access;
  bool mayChangeAttributes = false;
};

/// Whether the kernel's attributes are gone has to be read.
unsigned ToWrite(std::string_view name) { return KxEaName_IsKernel(name) ? KxEaRead | KxEaWrite : KxEaWrite; }

long FailAt(const EaRequest& request, long status) {
  return KxEa_Fail(status, request.failure, ". File [", CkxTextView(request.path), "], EaName=[", request.name, "]");
}

/// Opens the file and makes `call(handle)`. That an attribute is not there is no failure of the file.
template <class Call>
bool OnEaPath(const EaRequest& request, long* status, Call&& call) {
  return KxEa_Ended(
      KxEntry(kKxStatusNoMemory,
              [&] {
                KxTrace(EkxTraceLevel::Debug, kKxEaScope, "__EA__: CkxExtFileAttributes::", request.operation,
                        "(). File [", CkxTextView(request.path), "], EaName=[", request.name, "]");
                CkxEaFile file;
                long ended = file.Open(request.path, request.access, request.mayChangeAttributes, request.operation);
                if (ended < 0) return ended;
                ended = call(file.Handle());
                const bool isFailure = ended < 0 && ended != kKxStatusNoEasOnFile;
                return isFailure && !request.failure.empty() ? FailAt(request, ended) : ended;
              }),
      status);
}

bool NoNameOfEa(long* status) {
  KxTrace(EkxTraceLevel::Error, kKxEaScope, "ERROR: EA Name is NULL or empty");
  return KxEa_Ended(kKxStatusInvalidParameter, status);
}

bool SetInfoAtPath(const WCHAR* path, const CkxFileFullEaInfo& info, bool changeAttributes, long* status) {
  const EaRequest request = {"SetToFile", "ERROR: Set EA failed", path, KxEa_NameText(info.Name()),
                             KxEaWrite,   changeAttributes};
  return OnEaPath(request, status, [&](intptr_t file) { return KxEa_Set(file, info); });
}

template <class Text>
bool SetTextAtPath(const WCHAR* path, const char* name, const Text* value, bool changeAttributes, long* status) {
  if (KxEa_NameText(name).empty()) return NoNameOfEa(status);
  CkxFileFullEaInfo info;
  if (info.Set(name, value, 0)) return SetInfoAtPath(path, info, changeAttributes, status);
  const long refused = KxEaName_IsValid(name) ? kKxStatusEaTooLarge : kKxStatusInvalidEaName;
  return KxEa_Ended(KxEa_Fail(refused, "ERROR: Invalid EA. File [", CkxTextView(path), "]"), status);
}

/// Names are ASCII; letters fold like those of any text.
bool HasWithin(std::string_view name, std::string_view part) {
  return KxEaName_Upper(name).find(KxEaName_Upper(part)) != std::string::npos;
}

/// Deletes those of the file that `isWanted`. What cannot be deleted is told to `onFailure` and does not keep the
/// others.
template <class Wanted, class OnFailure>
long DeleteEach(intptr_t file, Wanted isWanted, OnFailure onFailure) {
  std::vector<unsigned char> list;
  long worst = KxEa_Load(file, true, list);
  if (worst < 0) return worst;
  KxEaList_ForEach(list, [&](const SkxEaRecord& record, std::span<const unsigned char>) {
    const std::string name(record.name);
    const long status = isWanted(record.name) ? KxEa_Delete(file, name.c_str()) : kKxStatusSuccess;
    if (status < 0) onFailure(name);
    if (worst >= 0 && status < 0) worst = status;
    return true;
  });
  return worst;
}

}  // namespace

bool CkxExtFileAttributes::SetToFile(const WCHAR* path, const CkxFileFullEaInfo& info, bool changeAttributes,
                                     long* status) {
  if (info.Record() != nullptr) return SetInfoAtPath(path, info, changeAttributes, status);
  return KxEa_Ended(KxEa_Fail(kKxStatusInvalidParameter, "ERROR: Invalid EA. File [", CkxTextView(path), "]"), status);
}

bool CkxExtFileAttributes::SetToFile(const WCHAR* path, const char* name, const char* value, bool changeAttributes,
                                     long* status) {
  return SetTextAtPath(path, name, value, changeAttributes, status);
}

bool CkxExtFileAttributes::SetToFile(const WCHAR* path, const char* name, const WCHAR* value, bool changeAttributes,
                                     long* status) {
  return SetTextAtPath(path, name, value, changeAttributes, status);
}

bool CkxExtFileAttributes::GetFromFile(const WCHAR* path, const char* name, CkxFileFullEaInfo& out, long* status) {
  if (KxEa_NameText(name).empty()) return NoNameOfEa(status);
  const EaRequest request = {"GetFromFile", "ERROR: Query EA failed", path, name, KxEaRead};
  return OnEaPath(request, status, [&](intptr_t file) { return KxEa_Get(file, name, out); });
}

bool CkxExtFileAttributes::DeleteFromFile(const WCHAR* path, const char* name, bool changeAttributes, long* status) {
  if (KxEa_NameText(name).empty()) return NoNameOfEa(status);
  const EaRequest request = {"DeleteFromFile", "ERROR: Delete EA failed", path, name, ToWrite(name), changeAttributes};
  return OnEaPath(request, status, [&](intptr_t file) { return KxEa_Delete(file, name); });
}

bool CkxExtFileAttributes::DeleteAllFromFile(const WCHAR* path, bool changeAttributes, long* status) {
  const EaRequest request = {"DeleteAllFromFile", "", path, "", KxEaRead | KxEaWrite, changeAttributes};
  return OnEaPath(request, status, [&](intptr_t file) {
    const long worst = DeleteEach(
        file, [](std::string_view) { return true; }, [](const std::string&) {});
    if (worst >= 0) {
      KxTrace(EkxTraceLevel::Debug, kKxEaScope, "__EA__: CkxExtFileAttributes::DeleteAllFromFile() succeeded.");
      return worst;
    }
    KxTrace(EkxTraceLevel::Error, kKxEaScope,
            "__EA__: CkxExtFileAttributes::DeleteAllFromFile(). ERROR: Failed to delete some or all EAs from file [",
            CkxTextView(path), "]");
    return worst;
  });
}

bool CkxExtFileAttributes::DeleteFromFileByPrefix(const WCHAR* path, const char* prefix, bool changeAttributes,
                                                  long* status) {
  const std::string_view part = KxEa_NameText(prefix);
  if (part.empty()) {
    KxTrace(EkxTraceLevel::Error, kKxEaScope, "ERROR: Name is NULL or empty");
    return KxEa_Ended(kKxStatusInvalidParameter, status);
  }
  const EaRequest request = {"DeleteFromFileByPrefix", "ERROR: Delete EA failed", path, part,
                             KxEaRead | KxEaWrite,     changeAttributes};
  return OnEaPath(request, status, [&](intptr_t file) {
    return DeleteEach(
        file, [&](std::string_view name) { return HasWithin(name, part); },
        [&](const std::string& name) {
          KxTrace(EkxTraceLevel::Warning, kKxEaScope, "WARNING: Failed to delete EA attribute '", name,
                  "'  from file [", CkxTextView(path), "]");
        });
  });
}

bool CkxExtFileAttributes::GetEaSize(const WCHAR* path, unsigned long& size, long* status) {
  const EaRequest request = {"GetEaSize", "ERROR: GetEaSize() failed", path, "", KxEaRead};
  return OnEaPath(request, status, [&](intptr_t file) {
    uint32_t bytes = 0;
    const long asked = KxEa_Size(file, bytes);
    if (asked >= 0) size = bytes;
    return asked;
  });
}

unsigned long CkxExtFileAttributes::GetEaSize(const WCHAR* path) {
  unsigned long size = 0;
  return GetEaSize(path, size) ? size : 0;
}

bool CkxExtFileAttributes::LoadAllFromFile(const WCHAR* path, long* status) {
  _list.clear();
  const EaRequest request = {"LoadAllFromFile", "ERROR: Query EA failed", path, "", KxEaRead};
  return OnEaPath(request, status, [&](intptr_t file) { return KxEa_Load(file, false, _list); });
}
