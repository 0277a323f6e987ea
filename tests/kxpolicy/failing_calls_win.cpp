// By standing in: what this program and its C library import of the system goes through functions of ours, which count
// the calls of the thread that runs the command and let one of them fail.
#include <windows.h>

// After windows.h, which they do not include themselves.
#include <aclapi.h>
#include <winternl.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "tests/kxpolicy/failing_calls.h"
#include "tools/kxpolicy/tool.h"

namespace {

/// Of the thread that runs the command, while it runs.
struct SkxCountedRun {
  const SkxCallFault fault;
  SkxFailingRun run;
};
thread_local SkxCountedRun* countedRun = nullptr;

/// A name as an argument of a template.
template <size_t kSize>
struct SkxCallName {
  char text[kSize]{};
  constexpr SkxCallName(const char (&name)[kSize]) { std::copy_n(name, kSize, text); }
};

bool FailsNow(const char* name, bool isRemoval) {
  if (countedRun == nullptr || countedRun->run.calls++ != countedRun->fault.at) return false;
  countedRun->run.failed = name;
  countedRun->run.isRemoval = isRemoval;
  return true;
}

enum class EkxTakesAway : bool { No, Yes };

struct SkxStandIn {
  const char* name;
  uintptr_t address;
  uintptr_t* ofSystem;
};

template <SkxCallName kName, auto kFailure, DWORD kError, EkxTakesAway kTakes, class Function>
struct CallOf;
template <SkxCallName kName, auto kFailure, DWORD kError, EkxTakesAway kTakes, class Result, class... Parameters>
struct CallOf<kName, kFailure, kError, kTakes, Result(WINAPI*)(Parameters...)> {
  static inline uintptr_t ofSystem = 0;

  static Result WINAPI StandIn(Parameters... parameters) {
    if (!FailsNow(kName.text, kTakes == EkxTakesAway::Yes)) {
      return reinterpret_cast<Result(WINAPI*)(Parameters...)>(ofSystem)(parameters...);
    }
    SetLastError(kError);
    if constexpr (std::is_pointer_v<Result>) {
      return reinterpret_cast<Result>(static_cast<intptr_t>(kFailure));
    } else {
      return static_cast<Result>(kFailure);
    }
  }
};

/// What a failure answers, beside the thread's last error.
template <SkxCallName kName, class Function, auto kFailure = 0, DWORD kError = ERROR_IO_DEVICE,
          EkxTakesAway kTakes = EkxTakesAway::No>
SkxStandIn Failing() {
  using Call = CallOf<kName, kFailure, kError, kTakes, Function>;
  return {kName.text, reinterpret_cast<uintptr_t>(&Call::StandIn), &Call::ofSystem};
}

constexpr intptr_t kNoHandle = -1;  // INVALID_HANDLE_VALUE

/// What verbs ask of the system about files, folders, sections and pipes.
const SkxStandIn kStandIns[] = {
    Failing<"CreateFileW", decltype(&CreateFileW), kNoHandle, ERROR_TOO_MANY_OPEN_FILES>(),
    Failing<"NtCreateFile", decltype(&NtCreateFile), NTSTATUS(0xC000011F)>(),  // too many opened files
    Failing<"ReadFile", decltype(&ReadFile), FALSE, ERROR_CRC>(),
    Failing<"WriteFile", decltype(&WriteFile), FALSE, ERROR_DISK_FULL>(),
    Failing<"FlushFileBuffers", decltype(&FlushFileBuffers)>(),
    Failing<"SetEndOfFile", decltype(&SetEndOfFile)>(),
    Failing<"SetFilePointer", decltype(&SetFilePointer), INVALID_SET_FILE_POINTER>(),
    Failing<"LockFileEx", decltype(&LockFileEx)>(),
    Failing<"GetFileType", decltype(&GetFileType), FILE_TYPE_UNKNOWN>(),
    Failing<"GetFileSizeEx", decltype(&GetFileSizeEx)>(),
    Failing<"GetFileAttributesW", decltype(&GetFileAttributesW), INVALID_FILE_ATTRIBUTES>(),
    Failing<"GetFileAttributesExW", decltype(&GetFileAttributesExW), FALSE, ERROR_IO_DEVICE,
            EkxTakesAway::Yes>(),  // the standard library looks at what it removes
    Failing<"GetFileInformationByHandle", decltype(&GetFileInformationByHandle)>(),
    Failing<"GetFileInformationByHandleEx", decltype(&GetFileInformationByHandleEx)>(),
    Failing<"SetFileInformationByHandle", decltype(&SetFileInformationByHandle), FALSE, ERROR_IO_DEVICE,
            EkxTakesAway::Yes>(),
    Failing<"GetFinalPathNameByHandleW", decltype(&GetFinalPathNameByHandleW)>(),
    Failing<"GetFullPathNameW", decltype(&GetFullPathNameW)>(),
    Failing<"FindFirstFileW", decltype(&FindFirstFileW), kNoHandle>(),
    Failing<"FindNextFileW", decltype(&FindNextFileW)>(),
    Failing<"MoveFileExW", decltype(&MoveFileExW)>(),
    Failing<"CreateDirectoryW", decltype(&CreateDirectoryW), FALSE, ERROR_DISK_FULL>(),
    Failing<"DeleteFileW", decltype(&DeleteFileW), FALSE, ERROR_IO_DEVICE, EkxTakesAway::Yes>(),
    Failing<"RemoveDirectoryW", decltype(&RemoveDirectoryW), FALSE, ERROR_IO_DEVICE, EkxTakesAway::Yes>(),
    Failing<"GetSecurityInfo", decltype(&GetSecurityInfo), ERROR_IO_DEVICE>(),
    Failing<"CreateFileMappingW", decltype(&CreateFileMappingW), 0, ERROR_NOT_ENOUGH_MEMORY>(),
    Failing<"OpenFileMappingW", decltype(&OpenFileMappingW), 0, ERROR_NOT_ENOUGH_MEMORY>(),
    Failing<"MapViewOfFile", decltype(&MapViewOfFile), 0, ERROR_NOT_ENOUGH_MEMORY>(),
    Failing<"VirtualQuery", decltype(&VirtualQuery)>(),
    Failing<"CreateEventW", decltype(&CreateEventW), 0, ERROR_NOT_ENOUGH_MEMORY>(),
    Failing<"OpenEventW", decltype(&OpenEventW), 0, ERROR_NOT_ENOUGH_MEMORY>(),
    Failing<"CreateNamedPipeW", decltype(&CreateNamedPipeW), kNoHandle, ERROR_PIPE_BUSY>(),
    Failing<"GetOverlappedResult", decltype(&GetOverlappedResult), FALSE, ERROR_BROKEN_PIPE>(),
    Failing<"GetNamedPipeServerProcessId", decltype(&GetNamedPipeServerProcessId)>(),
};

/// The place that a module keeps the address of an imported function in is ours from now on.
void Replace(uintptr_t* place, const SkxStandIn& standIn) {
  DWORD before = 0;
  if (VirtualProtect(place, sizeof(*place), PAGE_READWRITE, &before) == 0) return;
  *standIn.ofSystem = *place;
  *place = standIn.address;
  VirtualProtect(place, sizeof(*place), before, &before);
}

template <class Part>
Part* PartOf(HMODULE module, DWORD offset) {
  return reinterpret_cast<Part*>(reinterpret_cast<uintptr_t>(module) + offset);
}

void ReplaceImports(HMODULE module) {
  const auto* const headers =
      PartOf<IMAGE_NT_HEADERS>(module, static_cast<DWORD>(PartOf<IMAGE_DOS_HEADER>(module, 0)->e_lfanew));
  const IMAGE_DATA_DIRECTORY& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  for (auto* from = PartOf<IMAGE_IMPORT_DESCRIPTOR>(module, directory.VirtualAddress); from->Name != 0; ++from) {
    const auto* name = PartOf<IMAGE_THUNK_DATA>(module, from->OriginalFirstThunk);
    auto* place = PartOf<uintptr_t>(module, from->FirstThunk);
    for (; name->u1.AddressOfData != 0; ++name, ++place) {
      if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) continue;
      const char* const called = PartOf<IMAGE_IMPORT_BY_NAME>(module, static_cast<DWORD>(name->u1.AddressOfData))->Name;
      const auto found = std::find_if(std::begin(kStandIns), std::end(kStandIns), [&](const SkxStandIn& standIn) {
        return std::string_view(standIn.name) == called;
      });
      if (found != std::end(kStandIns)) Replace(place, *found);
    }
  }
}

/// For the rest of the process: who is not counted does not notice.
void ReplaceImportsOnce() {
  static const bool isDone = [] {
    ReplaceImports(GetModuleHandleW(nullptr));
    for (const wchar_t* const library : {L"msvcrt.dll", L"ucrtbase.dll"}) {
      if (HMODULE const module = GetModuleHandleW(library)) ReplaceImports(module);
    }
    return true;
  }();
  static_cast<void>(isDone);
}

}  // namespace

std::span<const EkxCallFault> KxTest_CallFaults() {
  static constexpr EkxCallFault kAll[] = {EkxCallFault::Fails};
  return kAll;
}

SkxFailingRun KxTest_RunFailing(const std::vector<std::string>& arguments, const std::filesystem::path& streams,
                                SkxCallFault fault) {
  ReplaceImportsOnce();
  std::ifstream in(streams / "in", std::ios::binary);
  std::vector<char> room(size_t{1} << 20);  // the standard library writes twice what it could write but half of
  std::ofstream out;
  out.rdbuf()->pubsetbuf(room.data(), static_cast<std::streamsize>(room.size()));
  out.open(streams / "out", std::ios::binary);
  std::ostringstream err;
  SkxStreams given = {in, out, err};
  given.waitForStop = [](uint32_t) { return true; };
  SkxCountedRun counted{fault, {}};
  countedRun = &counted;
  counted.run.code = KxPolicy_Run(arguments, given);
  countedRun = nullptr;
  std::ifstream written(streams / "out", std::ios::binary);
  const std::string said(std::istreambuf_iterator<char>(written), {});
  out.close();  // which writes what failed to be written, once more
  std::ofstream(streams / "out", std::ios::binary) << said;
  std::ofstream(streams / "err", std::ios::binary) << err.str();
  return counted.run;
}
