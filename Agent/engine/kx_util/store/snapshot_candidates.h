// The policies of a snapshot that one file or process may meet, in their order.
//
// What its path tells is looked up at once. A fact that costs something is asked for when the first policy comes up
// that would ask for it in any case: never for the sake of a policy behind the one that applies, and for none that
// would have failed before. Of facts that are not at hand the others who hang there are simply asked.
#pragma once

#include <kx_util/policy_source.h>
#include <kx_util/target_info_process.h>

#include "Agent/engine/kx_util/store/snapshot_index.h"

class CkxSnapshotCandidates {
 public:
  /// `policyIds`: by rank. The path of `target` must be at hand. All must outlive this.
  CkxSnapshotCandidates(const CkxSnapshotIndex& index, std::span<const uint32_t> policyIds,
                        const CkxApplicablePolicies& applicable, const CkxTargetInfoFile& target);

  /// From that rank on. False when the path of something else that policies are about is not at hand: then nothing can
  /// be said.
  bool Begin(uint32_t rank);

  /// The next one, whoever it is applicable to; false when there is none, or a fault is noted.
  bool Next(uint32_t& rank);

 private:
  using Ranks = CkxSnapshotIndex::Ranks;

  /// What targets of one type are about.
  struct SkxSubject {
    const CkxTargetInfoFile* file = nullptr;        // null: there is nothing of that type
    const CkxTargetInfoProcess* process = nullptr;  // whose command line counts
  };
  struct SkxDue {
    uint32_t rank;  // of the first who asks
    const CkxSnapshotIndex::SkxFact* fact;
    SkxSubject subject;
  };

  bool Seek(EkxPolicyTarget type, SkxSubject& subject) const;
  void TakeName(EkxPolicyTarget type, const SkxSubject& subject);
  void TakeFolders(EkxPolicyTarget type, const SkxSubject& subject);
  void TakePieces(uint64_t seed, CkxTextView text);
  void Await(const CkxSnapshotIndex::SkxFact& fact, const SkxSubject& subject);
  void AskForDue();
  void Ask(const CkxSnapshotIndex::SkxFact& fact, const SkxSubject& subject);
  void Take(Ranks ranks);
  bool IsApplicable(uint32_t rank) const { return _applicable.Contains(_policyIds[rank]); }

  const CkxSnapshotIndex& _index;
  const std::span<const uint32_t> _policyIds;
  const CkxApplicablePolicies& _applicable;
  const CkxTargetInfoFile& _target;
  const CkxTargetInfoProcess* const _carrier;
  uint32_t _next = 0;         // everything before has been handed out
  std::vector<Ranks> _found;  // a heap, the least first
  std::vector<SkxDue> _due;   // the first of all at the end
};
