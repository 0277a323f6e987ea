// Decisions by one source of policies, for who may ask it many things: the source is prepared where that pays, and a
// target document is judged by the machine that it was recorded on.
//
//   const CkxImageJudge judge(image);
//   const SkxJudgement judgement = judge.Judge(document);
//
// Any threads may ask one judge at once.
#pragma once

#include <kx_publish/prepare.h>
#include <kx_util/policy_snapshot.h>

#include <atomic>

#include "Agent/engine/kx_publish/document/target_document.h"
#include "Agent/engine/kx_publish/image/image_source.h"

struct SkxJudgement {
  bool matched = false;
  SkxTriggerPolicyShortInfo info;
  EkxEvaluationFault fault = EkxEvaluationFault::None;  ///< the question had no answer
};

class CkxImageJudge {
 public:
  explicit CkxImageJudge(SkxPolicyImage image, EkxPrepare prepare = EkxPrepare::AtOnce);

  /// By `source`, which outlives the judge.
  CkxImageJudge(const IkxPolicySource& source, EkxPrepare prepare);

  const IkxPolicySource& Source() const { return _source; }

  /// The prepared source, for one question more; null before it is prepared, and where that cannot be: each decision
  /// then reads the source, and meets what is wrong with it.
  const CkxPolicySnapshot* SnapshotForNext() const;

  /// The central evaluation by what `SnapshotForNext` gave. Who watches asks for that first: what is wrong with
  /// preparing is no part of the answer. `info` is untouched where no policy applies.
  bool Evaluate(const CkxTargetInfo& target, const CkxPolicySnapshot* snapshot, SkxTriggerPolicyShortInfo& info,
                EkxEvaluationOutcome& outcome) const;

  /// A want of memory is no answer: std::bad_alloc.
  SkxJudgement Judge(const CkxTargetDocument& document) const;

 private:
  CkxImageJudge(std::unique_ptr<const IkxPolicySource> owned, EkxPrepare prepare);
  void Prepare() const;

  const std::unique_ptr<const IkxPolicySource> _owned;  // null where the source is somebody else's
  const IkxPolicySource& _source;
  const EkxPrepare _prepare;
  mutable std::atomic<uint64_t> _asked = 0;
  mutable std::shared_ptr<const CkxPolicySnapshot> _snapshot;  // set once, by the thread that prepares
  mutable std::atomic<const CkxPolicySnapshot*> _ready = nullptr;
};
