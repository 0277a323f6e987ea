// What an image holds, in one line for a person.
#pragma once

#include "Agent/engine/kx_publish/image/policy_image.h"

struct SkxPolicyName {
  uint32_t id = 0;
  std::string name;
};

struct SkxImageSummary {
  std::vector<SkxPolicyName> policies;  ///< that can be read

  /// "2 policies (1 "No games", 2 "Setup"), 1 application group, 0 alerts"; of many policies the first ones by name.
  std::string text;
};

SkxImageSummary KxImage_Summary(const SkxPolicyImage& image);
