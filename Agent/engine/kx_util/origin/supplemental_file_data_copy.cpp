// CkxSupplementalFileData where records are signed anew: for another file, or in the form of today.
#include <kx_util/src_url_data.h>

#include <algorithm>

#include "Agent/engine/kx_util/attribute/data_signature.h"
#include "Agent/engine/kx_util/origin/kept_records.h"
#include "Agent/engine/kx_util/origin/sup_file_data_util.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"

namespace {

using Records = std::vector<CkxFileFullEaInfo>;

long FailAnew(const char* reason, CkxTextView path, long status = kKxKeptRefused) {
  KxTrace(EkxTraceLevel::Error, CkxSupplementalFileData::ClassName(), reason, path, "]");
  return status;
}

/// A file whose records are to be signed anew, and what for: another file's identifier; nothing for a migration, which
/// leaves a record of the keyed form as it is.
struct Task {
  intptr_t file;
  CkxTextView path;
  uint64_t id;
  std::optional<uint64_t> target;
  mutable long failure =
      kKxKeptRefused;  ///< what it ends with when it fails: a status of the system's that did not tell

  /// What was read, with that noted.
  EkxKeptRecord Seen(EkxKeptRecord read) const {
    if (read == EkxKeptRecord::NotTold) failure = kKxStatusUnsuccessful;
    return read;
  }
  bool IsDone(EkxSignatureForm form) const { return !target && form == EkxSignatureForm::Keyed; }
  uint64_t NewId() const { return target.value_or(id); }
};

// Each: `Read` for a record that holds and was signed anew, which is in `made`, or that needs not be; `NotTold` for one
// that holds and could not be signed.

EkxKeptRecord AddDocument(const char* name, const std::string& text, Records& made) {
  return made.emplace_back().Set(name, text.c_str(), 0) ? EkxKeptRecord::Read : EkxKeptRecord::NotTold;
}

EkxKeptRecord AgentAnew(const Task& task, Records& made) {
  constexpr const char* kName = CkxSupplementalFileData::kAgentEaName;
  std::string text;
  CkxFileOrigin origin;
  const EkxKeptRecord read = task.Seen(KxKept_Text(task.file, task.path, kName, text));
  if (read != EkxKeptRecord::Read) return read;
  if (!CkxSupFileDataUtil::OriginFromStr(text, task.id, EkxSignatureCheck::AsConfigured, origin)) {
    return EkxKeptRecord::Refused;
  }
  const std::optional<EkxSignatureForm> form = CkxSupFileDataUtil::FormOfDocument(text);
  if (form && task.IsDone(*form)) return read;
  return CkxSupFileDataUtil::SignAnew(text, task.NewId()) ? AddDocument(kName, text, made) : EkxKeptRecord::NotTold;
}

EkxKeptRecord DriverAnew(const Task& task, Records& made) {
  constexpr const char* kName = CkxSupplementalFileData::kDriverEaName;
  std::string text;
  std::string migrated;
  CkxDrvXmlData data;
  const EkxKeptRecord read = task.Seen(KxKept_Text(task.file, task.path, kName, text));
  if (read != EkxKeptRecord::Read) return read;
  if (!data.FromXmlForMigration(text, task.id, migrated)) return EkxKeptRecord::Refused;
  if (!task.target && migrated == text) return read;
  const bool isSigned = !task.target || CkxDrvXmlData::Sign(migrated, *task.target);
  return isSigned ? AddDocument(kName, migrated, made) : EkxKeptRecord::NotTold;
}

/// Which file it is of does not matter to the URI.
EkxKeptRecord UrlAnew(const Task& task, Records& made) {
  CkxSrcUrlData data;
  std::vector<unsigned char> record;
  const EkxKeptRecord read = task.Seen(KxKept_Url(task.file, task.path, data));
  if (read != EkxKeptRecord::Read) return read;
  const bool isKeyed = data.Signature().size() == kKeyedSignatureBytes;
  if (task.IsDone(isKeyed ? EkxSignatureForm::Keyed : EkxSignatureForm::Older)) return read;
  if (!data.ToBytes(record)) return EkxKeptRecord::NotTold;
  const auto size = static_cast<unsigned short>(record.size());
  return made.emplace_back().Set(CkxSrcUrlData::kEaName, record.data(), size, 0) ? read : EkxKeptRecord::NotTold;
}

bool IsThere(EkxKeptRecord record) { return record == EkxKeptRecord::Read; }
bool IsMissing(EkxKeptRecord record) { return record == EkxKeptRecord::Absent; }
bool IsUntold(EkxKeptRecord record) { return record == EkxKeptRecord::NotTold; }

/// It comes along, or there is nothing to come.
bool IsUsable(EkxKeptRecord record) { return IsThere(record) || IsMissing(record); }

long Migrate(const WCHAR* path, bool withUrl) {
  CkxEaFile file;
  const long opened = file.OpenToKeep(path, "SetToFile");
  if (opened < 0) return opened;
  const std::optional<uint64_t> id = KxKept_FileId(file.Handle(), path);
  if (!id) return kKxStatusUnsuccessful;
  const Task task = {file.Handle(), path, *id, std::nullopt};
  Records made;
  const EkxKeptRecord agent = AgentAnew(task, made);
  if (!IsUsable(agent))
    return FailAnew("ERROR: Failed to migrate agent data signature for file : [", path, task.failure);
  const EkxKeptRecord driver = DriverAnew(task, made);
  if (!IsUsable(driver))
    return FailAnew("ERROR: Failed to migrate drv data signature for file : [", path, task.failure);
  const EkxKeptRecord url = withUrl ? UrlAnew(task, made) : EkxKeptRecord::Absent;
  if (!IsUsable(url)) return FailAnew("ERROR: Failed to migrate uri signature for file : [", path, task.failure);
  if (IsMissing(agent) && IsMissing(driver) && IsMissing(url)) {
    return FailAnew("ERROR: No records to migrate on file : [", path);
  }
  return KxKept_Set(file.Handle(), path, made);
}

long CopyRecords(const WCHAR* source, const WCHAR* target) {
  if (source == nullptr || *source == 0 || target == nullptr || *target == 0) {
    KxTrace(EkxTraceLevel::Error, CkxSupplementalFileData::ClassName(), "ERROR: Invalid parameter. [",
            CkxTextView(source), "], [", CkxTextView(target), "]");
    return kKxKeptRefused;
  }
  if (!KxKept_RequireLocal(target)) return kKxKeptRefused;
  CkxEaFile from;
  CkxEaFile to;
  long status = from.Open(source, KxEaRead, false, "GetFromFile");
  if (status >= 0) status = to.OpenToKeep(target, "SetToFile");
  if (status < 0) return status;
  const std::optional<uint64_t> id = KxKept_FileId(from.Handle(), source);
  const std::optional<uint64_t> newId = KxKept_FileId(to.Handle(), target);
  if (!id || !newId) return kKxStatusUnsuccessful;

  const Task task = {from.Handle(), source, *id, *newId};
  Records made;
  const EkxKeptRecord all[] = {AgentAnew(task, made), DriverAnew(task, made), UrlAnew(task, made)};
  if (std::all_of(std::begin(all), std::end(all), IsMissing)) {
    return FailAnew("ERROR: No records to copy from file [", source);
  }
  const bool isReady =
      std::none_of(std::begin(all), std::end(all), IsUntold) && KxFault_Current() == EkxEvaluationFault::None;
  status = isReady ? KxKept_Set(to.Handle(), target, made) : task.failure;
  if (status < 0) return FailAnew("ERROR: Failed to set data to target file [", target, status);
  return std::all_of(std::begin(all), std::end(all), IsUsable) ? kKxStatusSuccess : kKxKeptRefused;
}

}  // namespace

bool CkxSupplementalFileData::ToFileForSignatureMigration(const WCHAR* path, long* status) noexcept {
  return KxKept_Ended(KxEntry(kKxStatusNoMemory, [&] { return Migrate(path, false); }), status);
}

bool CkxSupplementalFileData::UpdateSignature(const WCHAR* path, long* status) noexcept {
  return KxKept_Ended(KxEntry(kKxStatusNoMemory, [&] { return Migrate(path, true); }), status);
}

bool CkxSupplementalFileData::Copy(const WCHAR* source, const WCHAR* target, long* status) noexcept {
  return KxKept_Ended(KxEntry(kKxStatusNoMemory, [&] { return CopyRecords(source, target); }), status);
}
