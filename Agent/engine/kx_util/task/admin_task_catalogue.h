// The rows of the catalogue of administrative tasks.
#pragma once

#include <kx_util/admin_task.h>

#include "Agent/engine/kx_util/task/system_launch.h"

struct SkxAdminTaskEntry {
  uint32_t id;
  const WCHAR* name;
  SkxLaunch launches[12] = {};        // as many as there are before the first without a form
  uint32_t toolsFolderItems[2] = {};  // likewise, before the first 0

  constexpr std::span<const SkxLaunch> Launches() const {
    size_t count = 0;
    while (count < std::size(launches) && launches[count].form != EkxLaunchForm::None) ++count;
    return {launches, count};
  }
  constexpr std::span<const uint32_t> ToolsFolderItems() const {
    size_t count = 0;
    while (count < std::size(toolsFolderItems) && toolsFolderItems[count] != 0) ++count;
    return {toolsFolderItems, count};
  }
};

/// In the order of their numbers.
std::span<const SkxAdminTaskEntry> KxAdminTask_Catalogue();
