// Images, as verbs open them.
#pragma once

#include <string>

#include "Agent/engine/kx_publish/image/policy_image.h"
#include "tools/kxpolicy/image_summary.h"
#include "tools/kxpolicy/signature_demand.h"

/// The image in the folder `path` (UTF-8). One that cannot be read is unusable input.
SkxPolicyImage KxImage_Load(const std::string& path);

/// An image that is about to be in force, and the line that says so: "published DIR: 2 policies (...)".
struct SkxPublishableImage {
  SkxPolicyImage image;
  std::vector<SkxPolicyName> policies;
  std::string line;
  std::optional<std::string> signer;  ///< whose signature was asked for, and holds
};

/// One without a policy that can be read would take all protection away: it is unusable input, unless it `mayBeEmpty`.
/// One that is not signed as `demand` says is unusable input too. `path`: as lines call the image.
SkxPublishableImage KxImage_ToPublish(SkxPolicyImage image, const std::string& path, const CkxSignatureDemand& demand,
                                      bool mayBeEmpty);

/// What is published on this machine; the system refuses when that is nothing. Which user has which policies is for the
/// agent to say, and not in it.
SkxPolicyImage KxImage_LoadLive();
