// Where the policies of a snapshot hang: each of their targets at the rarest thing that it demands.
//
// A policy is its rank, its place among the deciding ones in section order. Ranks below one key ascend.
#pragma once

#include <array>
#include <span>

#include "Agent/engine/kx_util/store/snapshot_demands.h"

class CkxSnapshotIndex {
 public:
  using Ranks = std::span<const uint32_t>;

  /// Of the policies of those ranks, 0 and up.
  CkxSnapshotIndex(const std::vector<SkxSnapshotDemands>& policies, const std::vector<SkxSnapshotFact>& facts);

  /// What hangs at a key, or at another that is taken for it; none as a rule.
  Ranks Find(uint64_t key) const;

  Ranks AskedAlways() const { return _askedAlways; }

  /// Whether something of targets of that type hangs at such a demand.
  bool Has(EkxDemand demand, EkxPolicyTarget type) const {
    return (_demands[static_cast<size_t>(type)] & KxDemand_Bit(demand)) != 0;
  }
  bool HasAny(EkxPolicyTarget type) const { return _demands[static_cast<size_t>(type)] != 0; }

  /// A look that is much shorter than `Find`: false when nothing hangs at that piece.
  bool MayHavePiece(uint64_t piece) const {
    const uint64_t bit = BitOf(piece);
    return (_pieces[bit / 64] >> bit % 64 & 1) != 0;
  }

  /// A fact that something hangs at.
  struct SkxFact : SkxSnapshotFact {
    uint32_t place = 0;                 ///< among all facts, for keys
    std::vector<uint32_t> users;        ///< the policies that hang there
    std::vector<uint32_t> firstAskers;  ///< of those, who asks for the fact whatever else is known
    std::vector<uint32_t> others;       ///< and who may know without it
  };
  const std::vector<SkxFact>& Facts() const { return _facts; }

 private:
  static constexpr size_t kTypes = 32;
  static constexpr size_t kPieceBits = size_t{1} << 17;

  struct SkxSlot {
    uint64_t key = 0;
    uint32_t first = 0;
    uint32_t count = 0;  // 0: free
  };
  struct SkxHung {
    uint64_t key;
    uint32_t rank;
  };
  class Counts;

  static uint64_t BitOf(uint64_t piece) { return (piece * 0x9E3779B97F4A7C15) >> 47; }
  static const SkxSnapshotOption& Rarest(const SkxSnapshotTarget& target, const Counts& counts);

  void Hang(uint32_t rank, EkxPolicyTarget type, const SkxSnapshotOption& option, std::vector<SkxHung>& hung);
  void Fill(std::vector<SkxHung> hung);

  std::vector<SkxSlot> _slots;  // a power of two of them
  std::vector<uint32_t> _ranks;
  std::vector<uint32_t> _askedAlways;
  std::array<uint32_t, kTypes> _demands{};
  std::array<uint64_t, kPieceBits / 64> _pieces{};
  std::vector<SkxFact> _facts;
};
