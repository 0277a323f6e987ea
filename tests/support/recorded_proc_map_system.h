// What a test says of processes, in place of the system.
#pragma once

#include <kx_util/proc_map.h>

#include <atomic>

/// To be set up before threads ask.
class CkxTestProcMapSystem : public IkxProcMapSystem {
 public:
  std::atomic<int64_t> now{0};
  std::optional<int64_t> creationTime;
  std::optional<uint32_t> realParentPid;
  KxWString services;
  std::atomic<size_t> closed{0};  ///< handles that were given to be kept

  int64_t Now() override { return now; }
  std::optional<int64_t> CreationTime(uint32_t) override { return creationTime; }
  std::optional<uint32_t> ProcessOfThread(uint32_t) override { return realParentPid; }
  KxWString ServicesOf(uint32_t) override { return services; }
  void Close(void* handle) override { closed += handle != nullptr ? 1 : 0; }
};
