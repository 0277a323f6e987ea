// Decisions by an image, for who asks it many things: prepared, and with the machine that each document was recorded
// on.
#pragma once

#include <kx_util/policy_snapshot.h>

#include "Agent/engine/kx_publish/document/target_document.h"
#include "Agent/engine/kx_publish/image/image_source.h"

struct SkxJudgement {
  bool matched = false;
  SkxTriggerPolicyShortInfo info;
  EkxEvaluationFault fault = EkxEvaluationFault::None;  ///< the question had no answer
};

class CkxImageJudge {
 public:
  explicit CkxImageJudge(SkxPolicyImage image);

  /// A want of memory is no answer: std::bad_alloc.
  SkxJudgement Judge(const CkxTargetDocument& document) const;

 private:
  const CkxImageSource _source;
  std::shared_ptr<const CkxPolicySnapshot> _snapshot;  // null where it cannot be had; the image is read each time then
};
