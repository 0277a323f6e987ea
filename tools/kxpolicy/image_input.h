// Images, as verbs open them.
#pragma once

#include <string>

#include "Agent/engine/kx_publish/policy_image.h"

/// The image in the folder `path` (UTF-8). One that cannot be read is unusable input.
SkxPolicyImage KxImage_Load(const std::string& path);

/// What is published on this machine; the system refuses when that is nothing. Which user has which policies is for the
/// agent to say, and not in it.
SkxPolicyImage KxImage_LoadLive();
