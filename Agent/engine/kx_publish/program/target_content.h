// What stands behind a target of other programs: a document, or a description of something on this machine.
#pragma once

#include <kx_publish/target.h>

#include "Agent/engine/kx_publish/document/target_document.h"

/// One of the two.
struct CkxTarget::Content {
  std::optional<CkxTargetDocument> document;
  CkxTargetInfoPtr live;
  std::string idJson;
};
