#include "Common_CPP/process/process_platform.h"
#include "Common_CPP/util/handle_win.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/process_image_win.h"

// After windows.h, which they do not include themselves.
#include <winternl.h>

#include <algorithm>
#include <cstring>

namespace {

constexpr auto kCommandLineInformation = static_cast<PROCESSINFOCLASS>(60);

// Where the parameters of a process lie in its own memory.
constexpr uintptr_t kParametersInBlock = 0x20;
constexpr uintptr_t kCurrentFolderInParameters = 0x38;
constexpr uintptr_t kCommandLineInParameters = 0x70;
static_assert(sizeof(void*) == 8, "the places are those of 64-bit processes");

HANDLE ToHandle(intptr_t handle) { return reinterpret_cast<HANDLE>(handle); }

/// A number that is nobody's is told as a parameter that is none.
EkxProcessLookup FromLastError() {
  return GetLastError() == ERROR_INVALID_PARAMETER ? EkxProcessLookup::NoSuchProcess : EkxProcessLookup::Refused;
}

int64_t ToFileTime(const FILETIME& time) {
  return static_cast<int64_t>(uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime);
}

/// A counted text ends at a NUL, where the system would end it too.
KxWString UpToNul(KxWString text) {
  text.resize(std::min(text.find(WCHAR{}), text.size()));
  return text;
}

/// The system's PROCESS_BASIC_INFORMATION, whose members have other names in each of its headers.
struct SkxBasicInformation {
  intptr_t exitStatus = 0;
  uintptr_t block = 0;  ///< of the process's own memory
  uintptr_t affinity = 0;
  intptr_t priority = 0;
  uintptr_t pid = 0;
  uintptr_t parentPid = 0;
};
static_assert(sizeof(SkxBasicInformation) == sizeof(PROCESS_BASIC_INFORMATION));

SkxBasicInformation BasicInformation(HANDLE process) {
  SkxBasicInformation basic;
  if (NtQueryInformationProcess(process, ProcessBasicInformation, &basic, sizeof(basic), nullptr) < 0) return {};
  return basic;
}

uint32_t ParentOf(HANDLE process) { return static_cast<uint32_t>(BasicInformation(process).parentPid); }

/// Looks into the memory of another process, which may write there at any time.
class CkxProcessMemory {
 public:
  explicit CkxProcessMemory(uint32_t pid)
      : _process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION | PROCESS_VM_READ, FALSE, pid)) {
    const uintptr_t block = _process ? BasicInformation(_process.Get()).block : 0;
    if (block != 0) Read(block + kParametersInBlock, &_parameters, sizeof(_parameters));
  }

  std::optional<KxWString> Text(uintptr_t place) const {
    UNICODE_STRING counted{};
    if (_parameters == 0 || !Read(_parameters + place, &counted, sizeof(counted))) return std::nullopt;
    KxWString text(counted.Length / sizeof(WCHAR), WCHAR{});
    if (!text.empty() && !Read(reinterpret_cast<uintptr_t>(counted.Buffer), text.data(), text.size() * sizeof(WCHAR))) {
      return std::nullopt;
    }
    return UpToNul(std::move(text));
  }

  /// A 32-bit process has parameters of its own beside these, and goes to another folder in those alone.
  bool IsOfThisKind() const {
    BOOL isOther = TRUE;
    return _process && IsWow64Process(_process.Get(), &isOther) && !isOther;
  }

 private:
  bool Read(uintptr_t address, void* bytes, size_t size) const {
    SIZE_T count = 0;
    return ReadProcessMemory(_process.Get(), reinterpret_cast<const void*>(address), bytes, size, &count) &&
           count == size;
  }

  CkxHandle _process;
  uintptr_t _parameters = 0;
};

/// As the system tells it, where it does.
std::optional<KxWString> ToldCommandLine(HANDLE process) {
  std::vector<unsigned char> bytes(sizeof(UNICODE_STRING) + UINT16_MAX + sizeof(WCHAR));
  ULONG size = 0;
  if (NtQueryInformationProcess(process, kCommandLineInformation, bytes.data(), static_cast<ULONG>(bytes.size()),
                                &size) < 0) {
    return std::nullopt;
  }
  UNICODE_STRING counted{};
  std::memcpy(&counted, bytes.data(), sizeof(counted));
  const auto begin = reinterpret_cast<uintptr_t>(bytes.data());
  const auto at = reinterpret_cast<uintptr_t>(counted.Buffer) - begin;
  if (counted.Length == 0) return KxWString();
  if (at > bytes.size() || bytes.size() - at < counted.Length) return std::nullopt;
  KxWString text(counted.Length / sizeof(WCHAR), WCHAR{});
  std::memcpy(text.data(), bytes.data() + at, text.size() * sizeof(WCHAR));
  return UpToNul(std::move(text));
}

std::shared_ptr<void> TokenOf(HANDLE process) {
  constexpr DWORD kRights[] = {TOKEN_QUERY | TOKEN_DUPLICATE | TOKEN_IMPERSONATE, TOKEN_QUERY | TOKEN_DUPLICATE,
                               TOKEN_QUERY};
  for (const DWORD rights : kRights) {
    auto token = std::make_shared<CkxHandle>();
    if (!OpenProcessToken(process, rights, token->Receive())) continue;
    const HANDLE handle = token->Get();
    return std::shared_ptr<void>(std::move(token), handle);
  }
  return nullptr;
}

class CkxServiceManager {
 public:
  CkxServiceManager() : _manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ENUMERATE_SERVICE)) {}
  ~CkxServiceManager() {
    if (_manager != nullptr) CloseServiceHandle(_manager);
  }
  CkxServiceManager(const CkxServiceManager&) = delete;
  CkxServiceManager& operator=(const CkxServiceManager&) = delete;

  KxWString ServicesOf(uint32_t pid) const {
    KxWString names;
    std::vector<unsigned char> bytes(size_t{256} << 10);  // the most that one call takes
    DWORD resume = 0;
    for (bool isMore = _manager != nullptr; isMore;) {
      DWORD missing = 0;
      DWORD count = 0;
      isMore = !EnumServicesStatusExW(_manager, SC_ENUM_PROCESS_INFO, SERVICE_WIN32, SERVICE_ACTIVE, bytes.data(),
                                      static_cast<DWORD>(bytes.size()), &missing, &count, &resume, nullptr) &&
               GetLastError() == ERROR_MORE_DATA && count != 0;
      const auto* services = reinterpret_cast<const ENUM_SERVICE_STATUS_PROCESSW*>(bytes.data());
      for (DWORD i = 0; i < count; ++i) {
        if (services[i].ServiceStatusProcess.dwProcessId != pid) continue;
        if (!names.empty()) names += KXW('/');
        names += services[i].lpServiceName;
      }
    }
    return names;
  }

 private:
  const SC_HANDLE _manager;
};

std::optional<KxWString> WithoutLastSeparator(std::optional<KxWString> folder) {
  if (folder && folder->size() > 3 && folder->back() == KXW('\\')) folder->pop_back();  // but of "C:\"
  return folder;
}

}  // namespace

// The system takes the numbers beside a process's for its own; the process that it opens may be another one.
EkxProcessLookup CkxHeldProcess::Open(uint32_t pid) {
  Close();
  CkxHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION | SYNCHRONIZE, FALSE, pid));
  if (!process) return FromLastError();
  if (GetProcessId(process.Get()) != pid) return EkxProcessLookup::NoSuchProcess;
  _handle = reinterpret_cast<intptr_t>(process.Release());
  _pid = pid;
  return EkxProcessLookup::Found;
}

EkxProcessLookup CkxHeldProcess::ReadId(SkxProcessId& id) const {
  const CkxLastErrorGuard guard;
  const HANDLE handle = ToHandle(_handle);
  FILETIME created{}, ended{}, inKernel{}, inProgram{};
  if (WaitForSingleObject(handle, 0) != WAIT_TIMEOUT) return EkxProcessLookup::NoSuchProcess;  // held, but ended
  if (!GetProcessTimes(handle, &created, &ended, &inKernel, &inProgram)) return EkxProcessLookup::Refused;
  id = {_pid, ToFileTime(created)};
  return EkxProcessLookup::Found;
}

EkxProcessLookup CkxHeldProcess::Read(SkxProcess& process) const {
  const CkxLastErrorGuard guard;
  const HANDLE handle = ToHandle(_handle);
  SkxProcessId id;
  DWORD session = 0;
  if (const EkxProcessLookup lookup = ReadId(id); lookup != EkxProcessLookup::Found) return lookup;
  process.pid = id.pid;
  process.creationTime = id.creationTime;
  process.parentPid = ParentOf(handle);
  if (ProcessIdToSessionId(_pid, &session)) process.session = session;
  process.user = TokenOf(handle);
  process.isKernel = _pid == kKxKernelProcess;
  if (process.isKernel) return EkxProcessLookup::Found;

  const CkxProcessMemory memory(_pid);  // the same process, since it is held
  std::optional<KxWString> image = KxProcess_ImageOf(handle);
  std::optional<KxWString> commandLine = ToldCommandLine(handle);
  if (!commandLine) commandLine = memory.Text(kCommandLineInParameters);
  if (!image || !commandLine) return EkxProcessLookup::Refused;
  process.image = *std::move(image);
  process.commandLine = *std::move(commandLine);
  process.services = CkxServiceManager().ServicesOf(_pid);
  if (memory.IsOfThisKind()) process.currentFolder = WithoutLastSeparator(memory.Text(kCurrentFolderInParameters));
  return EkxProcessLookup::Found;
}

std::optional<uint32_t> KxProcess_OfThread(uint32_t thread) {
  const CkxLastErrorGuard guard;
  const CkxHandle held(OpenThread(THREAD_QUERY_LIMITED_INFORMATION, FALSE, thread));
  if (!held || GetThreadId(held.Get()) != thread) return std::nullopt;  // the numbers beside it open it too
  const DWORD pid = GetProcessIdOfThread(held.Get());
  return pid != 0 ? std::optional<uint32_t>(pid) : std::nullopt;
}

KxWString KxProcess_Services(uint32_t pid) {
  const CkxLastErrorGuard guard;
  return CkxServiceManager().ServicesOf(pid);
}

uint32_t CkxHeldProcess::ParentPid() const { return ParentOf(ToHandle(_handle)); }

void CkxHeldProcess::Close() {
  CkxHandle(ToHandle(_handle)).Close();
  _handle = -1;
}
