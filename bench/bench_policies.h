// Policies for the benchmarks: any number of them, each with one program as its target.
#pragma once

#include <kx_util/target_info_process.h>

#include <memory>
#include <span>

#include "Agent/engine/kx_publish/image/image_source.h"
#include "Agent/engine/kx_publish/model/policy_model.h"

class BenchPolicies {
 public:
  /// Policies 1 to `count`, each about `target(id)`.
  BenchPolicies(uint32_t count, SkxTargetModel (*target)(uint32_t id)) : BenchPolicies(Image(count, target)) {}
  explicit BenchPolicies(SkxPolicyImage image);

  /// The same policies for others to publish; they apply to everybody.
  static SkxPolicyImage Image(uint32_t count, SkxTargetModel (*target)(uint32_t id));

  explicit BenchPolicies(const SkxPublication& publication);

  /// "app-<id>.exe", all of one length: what no policy is about differs from each at its end.
  static SkxTargetModel NameTarget(uint32_t id);

  /// Name, folder wildcard, publisher, version range and arguments, as a careful author would write them.
  static SkxTargetModel ConjunctionTarget(uint32_t id);

  /// A policy that blocks what one of the targets matches.
  static SkxPolicyModel Policy(uint32_t id, std::vector<SkxTargetModel> targets);

  const IkxPolicySource& Source() const { return *_source; }
  std::span<const unsigned char> PolicySection() const { return _section.bytes; }

  /// A process that no policy is about, and one that policy `id` is the first to be about.
  std::unique_ptr<CkxTargetInfoProcess> UnmatchedTarget() const;
  std::unique_ptr<CkxTargetInfoProcess> TargetOfPolicy(uint32_t id) const;

 private:
  std::unique_ptr<CkxImageSource> _source;
  SkxSectionBytes _section;
};
