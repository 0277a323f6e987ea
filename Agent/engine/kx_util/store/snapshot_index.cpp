#include "Agent/engine/kx_util/store/snapshot_index.h"

#include <algorithm>
#include <bit>

namespace {

/// What it costs to look for such a thing, and to ask a policy that is found by it in vain.
uint64_t WeightOf(EkxDemand demand) {
  switch (demand) {
    case EkxDemand::Name:
    case EkxDemand::Folder:
      return 1;
    case EkxDemand::NamePiece:
      return 2;
    default:
      return 3;
  }
}

void AddRank(std::vector<uint32_t>& ranks, uint32_t rank) {
  if (ranks.empty() || ranks.back() != rank) ranks.push_back(rank);
}

}  // namespace

/// How many targets demand the same, about: keys that fall together are counted together.
class CkxSnapshotIndex::Counts {
 public:
  explicit Counts(const std::vector<SkxSnapshotDemands>& policies)
      : _counts(std::clamp<size_t>(std::bit_ceil(policies.size() * 16), 64, kMostCounts)) {
    for (const SkxSnapshotDemands& policy : policies) {
      for (const SkxSnapshotTarget& target : policy.targets) Take(target);
    }
  }

  uint64_t Cost(const SkxSnapshotOption& option) const {
    uint64_t found = 0;
    for (const uint64_t key : option.keys) found += _counts[key & (_counts.size() - 1)];
    return found * WeightOf(option.demand);
  }

 private:
  static constexpr size_t kMostCounts = size_t{1} << 20;

  void Take(const SkxSnapshotTarget& target) {
    for (const SkxSnapshotOption& option : target.options) {
      for (const uint64_t key : option.keys) ++_counts[key & (_counts.size() - 1)];
    }
  }

  std::vector<uint32_t> _counts;
};

CkxSnapshotIndex::CkxSnapshotIndex(const std::vector<SkxSnapshotDemands>& policies,
                                   const std::vector<SkxSnapshotFact>& facts) {
  for (const SkxSnapshotFact& fact : facts) _facts.push_back({fact, static_cast<uint32_t>(_facts.size()), {}, {}, {}});
  const Counts counts(policies);
  std::vector<SkxHung> hung;
  for (uint32_t rank = 0; rank < policies.size(); ++rank) {
    if (policies[rank].isAskedAlways) _askedAlways.push_back(rank);
    for (const SkxSnapshotTarget& target : policies[rank].targets) {
      Hang(rank, target.type, Rarest(target, counts), hung);
    }
  }
  std::erase_if(_facts, [](const SkxFact& fact) { return fact.users.empty(); });
  Fill(std::move(hung));
}

const SkxSnapshotOption& CkxSnapshotIndex::Rarest(const SkxSnapshotTarget& target, const Counts& counts) {
  const auto isRarer = [&](const SkxSnapshotOption& a, const SkxSnapshotOption& b) {
    return counts.Cost(a) < counts.Cost(b);
  };
  return *std::min_element(target.options.begin(), target.options.end(), isRarer);
}

void CkxSnapshotIndex::Hang(uint32_t rank, EkxPolicyTarget type, const SkxSnapshotOption& option,
                            std::vector<SkxHung>& hung) {
  for (const uint64_t key : option.keys) hung.push_back({key, rank});
  _demands[static_cast<size_t>(type)] |= KxDemand_Bit(option.demand);
  if (option.piece != 0) {
    const uint64_t bit = BitOf(option.piece);
    _pieces[bit / 64] |= uint64_t{1} << bit % 64;
  }
  if (!option.fact) return;
  SkxFact& fact = _facts[*option.fact];
  AddRank(fact.users, rank);
  AddRank(option.isAskedFirst ? fact.firstAskers : fact.others, rank);
}

void CkxSnapshotIndex::Fill(std::vector<SkxHung> hung) {
  std::sort(hung.begin(), hung.end(),
            [](const SkxHung& a, const SkxHung& b) { return a.key != b.key ? a.key < b.key : a.rank < b.rank; });
  _slots.resize(std::bit_ceil(hung.size() * 2 + 1));
  _ranks.reserve(hung.size());
  for (size_t i = 0; i < hung.size();) {
    const uint64_t key = hung[i].key;
    const auto first = static_cast<uint32_t>(_ranks.size());
    for (; i < hung.size() && hung[i].key == key; ++i) {
      if (_ranks.size() == first || _ranks.back() != hung[i].rank) _ranks.push_back(hung[i].rank);
    }
    size_t at = key & (_slots.size() - 1);
    while (_slots[at].count != 0) at = (at + 1) & (_slots.size() - 1);
    _slots[at] = {key, first, static_cast<uint32_t>(_ranks.size()) - first};
  }
}

CkxSnapshotIndex::Ranks CkxSnapshotIndex::Find(uint64_t key) const {
  for (size_t at = key & (_slots.size() - 1);; at = (at + 1) & (_slots.size() - 1)) {
    const SkxSlot& slot = _slots[at];
    if (slot.count == 0) return {};
    if (slot.key == key) return Ranks(_ranks).subspan(slot.first, slot.count);
  }
}
