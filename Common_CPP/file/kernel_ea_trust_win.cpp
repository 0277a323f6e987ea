#include <windows.h>

#include <winternl.h>

#include "Common_CPP/file/kernel_ea_trust.h"

namespace {

/// What the system tells of the device that a file is on.
struct SkxFsDevice {
  ULONG deviceType;
  ULONG characteristics;
};
static_assert(sizeof(SkxFsDevice) == 8, "as the system has it");

constexpr int kFsDeviceInformation = 4;
constexpr ULONG kRemovableMedia = 0x1;
constexpr ULONG kFloppyDiskette = 0x4;
constexpr ULONG kRemoteDevice = 0x10;
constexpr ULONG kPortableDevice = 0x40000;

using QueryVolume = NTSTATUS(NTAPI*)(HANDLE, IO_STATUS_BLOCK*, void*, ULONG, int);

}  // namespace

bool KxKernelEa_IsBelievable(intptr_t file) {
  const HMODULE system = GetModuleHandleW(L"ntdll.dll");
  if (system == nullptr) return false;
  const auto query =
      reinterpret_cast<QueryVolume>(reinterpret_cast<void*>(GetProcAddress(system, "NtQueryVolumeInformationFile")));
  SkxFsDevice device{};
  IO_STATUS_BLOCK status{};
  if (query == nullptr ||
      query(reinterpret_cast<HANDLE>(file), &status, &device, sizeof(device), kFsDeviceInformation) < 0) {
    return false;
  }
  return (device.characteristics & (kRemovableMedia | kFloppyDiskette | kRemoteDevice | kPortableDevice)) == 0;
}

bool KxKernelEa_AreGuarded() { return true; }
