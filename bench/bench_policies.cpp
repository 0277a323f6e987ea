#include "bench/bench_policies.h"

#include <kx_util/kx_util.h>

#include <algorithm>
#include <stdexcept>

#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Common_CPP/util/text.h"

namespace {

constexpr auto kEquals = static_cast<uint16_t>(EkxStrCompareAs::StrEquals);
constexpr auto kContains = static_cast<uint16_t>(EkxStrCompareAs::StrContains);

KxWString ToolName(uint32_t id) {
  std::string number = std::to_string(id);
  number.insert(0, 6 - std::min<size_t>(6, number.size()), '0');
  return *KxText_FromUtf8("app-" + number + ".exe");
}

SkxFileNameTest Name(uint32_t id) {
  SkxFileNameTest name;
  name.pattern = ToolName(id);
  name.compareAs = kEquals;
  return name;
}

SkxTargetModel Target(uint32_t id, SkxExeTarget exe) {
  SkxTargetModel target;
  target.id.Data1 = id;
  target.body = std::move(exe);
  return target;
}

std::unique_ptr<CkxTargetInfoProcess> Process(const KxWString& name) {
  SkxFileFacts file;
  file.path = KXW("C:\\Program Files\\Vendor\\") + name;
  file.fileVersion = KXW("1.2.3.4");
  file.signers = {{KXW("Vendor Inc."), EkxPublisherStatus::Valid}};
  SkxProcessFacts process;
  process.commandLine = KXW("\"") + file.path + KXW("\" /quiet");
  return std::make_unique<CkxTargetInfoProcess>(std::move(file), std::move(process), nullptr);
}

}  // namespace

BenchPolicies::BenchPolicies(SkxPolicyImage image) : _source(std::make_unique<CkxImageSource>(std::move(image))) {
  if (_source->OpenSection(EkxPolicySection::Policies, _section) != EkxSectionState::Open)
    throw std::runtime_error("no policies to measure");
}

BenchPolicies::BenchPolicies(const SkxPublication& publication) : BenchPolicies(KxEncode_Image(publication)) {}

SkxPolicyModel BenchPolicies::Policy(uint32_t id, std::vector<SkxTargetModel> targets) {
  SkxPolicyModel policy;
  policy.action = EkxPolicyAction::Block;
  policy.id = id;
  policy.name = *KxText_FromUtf8("Policy number " + std::to_string(id));
  policy.targets = std::move(targets);
  return policy;
}

SkxPolicyImage BenchPolicies::Image(uint32_t count, SkxTargetModel (*target)(uint32_t id)) {
  SkxPublication publication;
  for (uint32_t id = 1; id <= count; ++id) publication.policies.push_back(Policy(id, {target(id)}));
  return KxEncode_Image(publication);
}

SkxTargetModel BenchPolicies::NameTarget(uint32_t id) {
  SkxExeTarget exe;
  exe.fileName = Name(id);
  return Target(id, std::move(exe));
}

SkxTargetModel BenchPolicies::ConjunctionTarget(uint32_t id) {
  SkxExeTarget exe;
  exe.fileName = Name(id);
  exe.location = SkxLocationTest{KXW("C:\\Program Files\\*"), true, KXW("FIXED")};
  exe.fileVersion = SkxVersionBounds{uint64_t{1} << 48, uint64_t{9} << 48};
  SkxPublisherTest publisher;
  publisher.pattern = KXW("Vendor Inc.");
  exe.publishers = KxElements<SkxPublisherTest>{publisher};
  SkxTextTest arguments;
  arguments.pattern = KXW("/quiet");
  arguments.compareAs = kContains;
  exe.arguments = arguments;
  return Target(id, std::move(exe));
}

std::unique_ptr<CkxTargetInfoProcess> BenchPolicies::UnmatchedTarget() const { return Process(ToolName(999999)); }
std::unique_ptr<CkxTargetInfoProcess> BenchPolicies::TargetOfPolicy(uint32_t id) const { return Process(ToolName(id)); }
