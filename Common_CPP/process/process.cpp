#include "Common_CPP/process/process.h"

#include <utility>

#include "Common_CPP/file/path.h"
#include "Common_CPP/process/process_platform.h"
#include "Common_CPP/util/trace.h"

namespace {

bool IsFromSlash(CkxTextView path) { return !path.IsEmpty() && path.Front() == KXW('/'); }

bool IsFromDriveRoot(CkxTextView path) {
  return path.Size() >= 3 && KxPath_DriveLetter(path) != 0 && KxPath_IsSeparator(path[2]);
}

bool IsFromServer(CkxTextView path) {
  return path.Size() >= 3 && KxPath_IsSeparator(path[0]) && KxPath_IsSeparator(path[1]);
}

KxWString Joined(KxWString folder, WCHAR separator, CkxTextView name) {
  if (!KxPath_IsSeparator(folder.back())) folder += separator;
  return folder + name.ToString();
}

/// Opens and reads the parent while the child is held. A number that was given to somebody else shows by the times; one
/// that is given away while we look, by the child having another parent now.
bool ReadParent(const CkxHeldProcess& held, const SkxProcess& child, CkxHeldProcess& parent, SkxProcess& read) {
  return child.parentPid != 0 && parent.Open(child.parentPid) == EkxProcessLookup::Found &&
         parent.Read(read) == EkxProcessLookup::Found && read.creationTime <= child.creationTime &&
         held.ParentPid() == child.parentPid;
}

}  // namespace

CkxHeldProcess::CkxHeldProcess(CkxHeldProcess&& other) noexcept
    : _handle(std::exchange(other._handle, -1)), _pid(other._pid) {}

CkxHeldProcess& CkxHeldProcess::operator=(CkxHeldProcess&& other) noexcept {
  if (this == &other) return *this;
  Close();
  _handle = std::exchange(other._handle, -1);
  _pid = other._pid;
  return *this;
}

CkxHeldProcess::~CkxHeldProcess() { Close(); }

EkxProcessLookup KxProcess_Identify(uint32_t pid, SkxProcessId& id) {
  CkxHeldProcess held;
  const EkxProcessLookup lookup = held.Open(pid);
  return lookup == EkxProcessLookup::Found ? held.ReadId(id) : lookup;
}

EkxProcessLookup KxProcess_Find(const SkxProcessId& id) {
  SkxProcessId now;
  const EkxProcessLookup lookup = KxProcess_Identify(id.pid, now);
  return lookup == EkxProcessLookup::Found && now != id ? EkxProcessLookup::NoSuchProcess : lookup;
}

EkxProcessLookup KxProcess_ReadChain(uint32_t pid, size_t maxAncestors, std::vector<SkxProcess>& chain) {
  CkxHeldProcess held;
  std::vector<SkxProcess> found(1);
  EkxProcessLookup lookup = held.Open(pid);
  if (lookup == EkxProcessLookup::Found) lookup = held.Read(found[0]);
  if (lookup != EkxProcessLookup::Found) return lookup;

  CkxHeldProcess parent;
  for (SkxProcess read; ReadParent(held, found.back(), parent, read); held = std::move(parent)) {
    if (found.size() > maxAncestors) {
      KxTrace(EkxTraceLevel::Error, "KxProcess_ReadChain", "ERROR: Process [", pid, "] has more than ", maxAncestors,
              " ancestors");
      return EkxProcessLookup::Refused;
    }
    found.push_back(std::exchange(read, SkxProcess()));
  }
  chain = std::move(found);
  return EkxProcessLookup::Found;
}

std::optional<KxWString> KxProcess_FullPath(const std::optional<KxWString>& currentFolder, CkxTextView path) {
  if (path.IsEmpty()) return std::nullopt;
  if (currentFolder && IsFromSlash(*currentFolder)) {
    return IsFromSlash(path) ? path.ToString() : Joined(*currentFolder, KXW('/'), path);
  }
  if (IsFromDriveRoot(path) || IsFromServer(path)) return path.ToString();
  if (!currentFolder || (!IsFromDriveRoot(*currentFolder) && !IsFromServer(*currentFolder))) return std::nullopt;

  const WCHAR ownDrive = KxPath_DriveLetter(*currentFolder);
  if (KxPath_IsSeparator(path.Front())) {
    return ownDrive != 0 ? std::optional(currentFolder->substr(0, 2) + path.ToString()) : std::nullopt;
  }
  const WCHAR drive = KxPath_DriveLetter(path);
  if (drive != 0 && drive != ownDrive) return std::nullopt;
  const KxWString full = Joined(*currentFolder, KXW('\\'), path.Part(drive != 0 ? 2 : 0));
  return KxPath_Normalized(full).value_or(full);
}
