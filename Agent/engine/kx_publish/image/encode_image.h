// From the model to the image of a whole publication.
#pragma once

#include "Agent/engine/kx_publish/image/policy_image.h"
#include "Agent/engine/kx_publish/model/policy_model.h"

/// All three sections, an empty one for what the publication has none of, the applicable rules when it has
/// some, and of what documents say the names.
SkxPolicyImage KxEncode_Image(const SkxPublication& publication);
