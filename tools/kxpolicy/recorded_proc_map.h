// A process map of recorded events: what the system would say is a member of each request.
#pragma once

#include <kx_util/proc_map.h>

#include <nlohmann/json_fwd.hpp>

class CkxJsonObject;

/// Answers from what the request says; nothing is asked of this machine.
class CkxRecordedProcMapSystem : public IkxProcMapSystem {
 public:
  struct Said {
    int64_t now = 0;
    std::optional<int64_t> creationTime;
    std::optional<uint32_t> realParentPid;
    KxWString services;
  };
  void Say(Said said) { _said = std::move(said); }

  /// What requests give away to be kept, in place of a handle.
  static void* Handle() {
    static char handle;
    return &handle;
  }

  int64_t Now() override { return _said.now; }
  std::optional<int64_t> CreationTime(uint32_t) override { return _said.creationTime; }
  std::optional<uint32_t> ProcessOfThread(uint32_t) override { return _said.realParentPid; }
  KxWString ServicesOf(uint32_t) override { return _said.services; }
  void Close(void*) override {}

 private:
  Said _said;
};

/// The answer to one request, for the map in force on this thread. Throws CkxDocumentFault for what is no request.
nlohmann::ordered_json KxProcMap_Answer(CkxJsonObject& in, CkxRecordedProcMapSystem& system);
