// What the system of this machine says of processes.
#include "Agent/engine/kx_util/process_map/process_map.h"
#include "Common_CPP/process/process.h"
#include "Common_CPP/util/file_time.h"
#include "Common_CPP/util/native_handle.h"

namespace {

class LiveProcMapSystem : public IkxProcMapSystem {
 public:
  int64_t Now() override { return KxFileTime_Now(); }

  std::optional<int64_t> CreationTime(uint32_t pid) override {
    SkxProcessId id;
    if (KxProcess_Identify(pid, id) != EkxProcessLookup::Found) return std::nullopt;
    return id.creationTime;
  }

  std::optional<uint32_t> ProcessOfThread(uint32_t thread) override { return KxProcess_OfThread(thread); }
  KxWString ServicesOf(uint32_t pid) override { return KxProcess_Services(pid); }
  void Close(void* handle) override { KxHandle_Close(handle); }
};

}  // namespace

std::shared_ptr<IkxProcMapSystem> KxProcMap_LiveSystem() { return std::make_shared<LiveProcMapSystem>(); }
