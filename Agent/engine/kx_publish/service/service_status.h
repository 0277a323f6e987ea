// What a running service tells an administrator about itself, and the JSON that it travels and is printed as.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "Agent/engine/kx_publish/service/service_counts.h"

struct SkxStatusImage {
  std::string digest;  ///< of its manifest (image/image_manifest.h)
  uint64_t policies = 0;
  std::optional<std::string> signer;  ///< whose signature was verified; nothing where none is asked for
};

struct SkxStatusPolicy {
  uint32_t id = 0;
  std::string name;
  uint64_t decided = 0;  ///< prompts that the service was asked about
};

struct SkxStatusFaults {
  uint64_t count = 0;
  std::string last;    ///< as the log has it; empty without any
  std::string lastAt;  ///< a time as above
};

struct SkxServiceStatus {
  std::string folder;       ///< that is followed
  std::string publication;  ///< what its sections' names begin with
  SkxStatusImage inForce;
  std::string since;                     ///< it was put in force; "2026-11-22T22:53:01Z"
  std::optional<SkxStatusImage> before;  ///< what a rollback puts back in force
  std::optional<std::string> withdrawn;  ///< the digest of the image that a rollback took out of force
  bool signatureRequired = false;
  uint32_t processId = 0;
  std::string startedAt;
  uint64_t uptimeSeconds = 0;
  std::vector<SkxRequestCounts> requests;
  std::vector<SkxStatusPolicy> policies;  ///< in force, those that never decided too
  SkxStatusFaults faults;
};

/// One object as text: a value of it would take memory to be given up, and who has none must go on serving.
std::string KxServiceStatus_Json(const SkxServiceStatus& status);

/// Throws CkxDocumentFault for what is no status.
SkxServiceStatus KxServiceStatus_FromJson(const nlohmann::json& json);

/// The time of day and the date of a file time, in UTC, as above.
std::string KxServiceStatus_Time(int64_t fileTime);
