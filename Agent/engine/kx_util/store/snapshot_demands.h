// What policies demand of a file, told from their objects once, for a snapshot to find them by.
//
// A target matches only what meets each of its checks. So any one of them will do to find it by, if only that check is
// told exactly: by equality with a text, by a folder that the file has to lie in, by four units that a name or a
// command line must contain. A target for which there is none is asked always.
#pragma once

#include <kx_util/shared_policy.h>

#include <optional>

#include "Agent/engine/kx_util/store/read_groups.h"
#include "Agent/engine/kx_util/store/snapshot_keys.h"

/// A fact that is not had for nothing: one hash, one version field, the signer, the arguments of a type's command line.
struct SkxSnapshotFact {
  EkxDemand demand;
  EkxPolicyTarget type;
  KxWString name;  ///< of the algorithm or the field
};

/// One way to find a target: it matches nothing that has none of these keys.
struct SkxSnapshotOption {
  EkxDemand demand;
  bool isAskedFirst;             ///< whoever asks the policy asks for this fact, whatever else is known
  std::optional<uint32_t> fact;  ///< place among the facts; nothing: the path tells
  std::vector<uint64_t> keys;
  uint64_t piece = 0;  ///< of a demand for one
};

struct SkxSnapshotTarget {
  EkxPolicyTarget type;
  std::vector<SkxSnapshotOption> options;  ///< each will do
};

struct SkxSnapshotDemands {
  bool isAskedAlways = false;
  bool takesAllOfAKind = false;            ///< which is why, where it is asked always
  std::vector<SkxSnapshotTarget> targets;  ///< that a file or a process could match
};

class CkxSnapshotDemands {
 public:
  explicit CkxSnapshotDemands(const CkxReadGroups& groups) : _groups(groups) {}

  SkxSnapshotDemands Of(const CkxShBufPolicyWithTargets& policy);
  const std::vector<SkxSnapshotFact>& Facts() const { return _facts; }

 private:
  struct SkxChecks;

  void AddTarget(const CkxShBufTarget& target, unsigned depth, SkxSnapshotDemands& out);
  void AddGroup(const GUID& id, unsigned depth, SkxSnapshotDemands& out);
  void AddFile(EkxPolicyTarget type, const SkxChecks& checks, SkxSnapshotDemands& out);
  void AddHash(const SkxChecks& checks, SkxSnapshotTarget& target);
  void AddFields(const SkxChecks& checks, SkxSnapshotTarget& target);
  void AddPublishers(const SkxChecks& checks, SkxSnapshotTarget& target);
  void AddName(const CkxShBufPropFileName& name, SkxSnapshotTarget& target);
  void AddFolder(const CkxShBufPropFileLocation& location, SkxSnapshotTarget& target);
  void AddPieces(CkxTextView pattern, EkxStrCompareAs compareAs, EkxDemand demand, SkxSnapshotTarget& target);
  void Add(SkxSnapshotTarget& target, EkxDemand demand, CkxTextView fact, std::vector<uint64_t> texts,
           bool isAskedFirst = false);
  std::optional<uint32_t> Fact(EkxDemand demand, EkxPolicyTarget type, CkxTextView name);

  const CkxReadGroups& _groups;
  std::vector<SkxSnapshotFact> _facts;
};
