// Images, as verbs open them.
#pragma once

#include <string>

#include "Agent/engine/kx_publish/policy_image.h"

/// The image in the folder `path` (UTF-8). One that cannot be read is unusable input.
SkxPolicyImage KxImage_Load(const std::string& path);
