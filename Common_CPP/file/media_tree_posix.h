// Devices as the kernel tells of them in its trees /proc and /sys, whose roots a test puts elsewhere.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Common_CPP/file/media_device.h"

/// Where a mounted file system comes from.
struct SkxMountedFrom {
  uint32_t major = 0;  ///< of the block device; 0 where the file system has none of its own
  uint32_t minor = 0;
  std::string source;  ///< "/dev/sdb1", or whatever whoever mounted it has called it
};

/// The line of mount number `id` in the text of /proc/self/mountinfo.
std::optional<SkxMountedFrom> KxMountInfo_Find(std::string_view text, uint64_t id);

class CkxMediaTree {
 public:
  explicit CkxMediaTree(std::string proc = "/proc", std::string sys = "/sys")
      : _proc(std::move(proc)), _sys(std::move(sys)) {}

  std::optional<SkxMediaDevice> DeviceOfMount(uint64_t id) const;
  std::optional<SkxMediaDevice> DeviceOfNumber(uint32_t major, uint32_t minor) const;

 private:
  /// Of a link of /sys to a block device.
  std::optional<SkxMediaDevice> DeviceOfLink(const std::string& link) const;

  const std::string _proc;
  const std::string _sys;
};
