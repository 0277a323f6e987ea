// What an evaluation costs on a live machine: asking the agent which policies apply to the user, opening the sections,
// and the walk. The measure is the walk through an image with the same policies and the same applicable ids in the same
// run, so that figures of different machines can be compared. The agent answers on its own threads in this process.
#include <benchmark/benchmark.h>
#include <kx_util/shared_policies_data.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <numeric>
#include <stdexcept>

#include "Agent/engine/kx_publish/agent_service.h"
#include "Agent/engine/kx_publish/publication.h"
#include "Agent/engine/kx_util/agent_requests.h"
#include "Agent/engine/kx_util/live_policy_source.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/util/text.h"
#include "bench/bench_policies.h"

namespace {

constexpr uint32_t kPolicies = 1000;

/// A runtime folder of this process's own, mode 0700, gone with all that it holds at the end of the scope.
class RuntimeFolder {
 public:
  RuntimeFolder() : _path(std::filesystem::temp_directory_path() / "kx-bench-XXXXXX") {
    if (mkdtemp(_path.data()) == nullptr) throw std::runtime_error("no runtime folder: " + _path);
    setenv("KX_RUNTIME_DIR", _path.c_str(), 1);
  }
  ~RuntimeFolder() {
    unsetenv("KX_RUNTIME_DIR");
    std::error_code ignored;
    std::filesystem::remove_all(_path, ignored);
  }
  RuntimeFolder(const RuntimeFolder&) = delete;
  RuntimeFolder& operator=(const RuntimeFolder&) = delete;

 private:
  std::string _path;
};

/// An image in the live sections, and an agent that says which of its policies apply.
class LiveMachine {
 public:
  explicit LiveMachine(const SkxPolicyImage& image) {
    std::string error;
    if (!_publication.Publish(image, error)) throw std::runtime_error(error);
    _agent.Serve(image);
    KxWString name;
    if (!_agent.Start(name)) throw std::runtime_error("no channel " + KxText_ToUtf8(name));
  }

 private:
  const RuntimeFolder _folder;
  CkxPolicyPublication _publication;
  CkxAgentService _agent;
};

/// The policies with a row that names each of them: the agent's answer carries as many ids.
SkxPolicyImage NamedImage() {
  std::vector<uint32_t> ids(kPolicies);
  std::iota(ids.begin(), ids.end(), 1U);
  SkxPolicyImage image = BenchPolicies::Image(kPolicies, BenchPolicies::NameTarget);
  image.applicable = KxApplicable_Write({{"*", ids}});
  return image;
}

KxWString OwnSid() {
  const std::optional<CkxSid> user = KxToken_User(nullptr);
  if (!user) throw std::runtime_error("this process's user cannot be told");
  return user->ToText();
}

bool AskAgent(const KxWString& user) {
  const std::optional<std::vector<uint32_t>> ids = KxAgent_ApplicablePolicies(user);
  return ids && ids->size() == kPolicies;
}

/// Durations of one kind of work that a run repeats.
class Durations {
 public:
  /// What `work` returns, which is whether it succeeded.
  template <class Work>
  bool Take(const Work& work) {
    const auto start = std::chrono::steady_clock::now();
    const bool done = work();
    _seconds.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    return done;
  }

  double LastSeconds() const { return _seconds.back(); }

  double MedianMicroseconds() const {
    std::vector<double> sorted = _seconds;
    std::sort(sorted.begin(), sorted.end());
    return sorted.empty() ? 0 : sorted[sorted.size() / 2] * 1e6;
  }

 private:
  std::vector<double> _seconds;
};

/// The time is the whole evaluation's. Its parts are taken in turns with it, so that all meet the same load. The last
/// policy is the one that applies: all are walked, and an answer shows that the sections were really read.
void LiveEvaluation(benchmark::State& state) {
  const SkxPolicyImage image = NamedImage();
  const BenchPolicies bench(image);
  const LiveMachine machine(image);
  const KxWString user = OwnSid();
  const auto evaluate = [&](Durations& durations) {
    const auto target = bench.TargetOfPolicy(kPolicies);
    SkxTriggerPolicyShortInfo info;
    return durations.Take([&] { return CkxSharedPoliciesData::GetTargetPolicyAction(*target, info); }) &&
           info.PolicyId == kPolicies;
  };
  const auto openSection = [&] {
    SkxSectionBytes section;
    return KxPolicySource_Live().OpenSection(EkxPolicySection::Policies, section) == EkxSectionState::Open &&
           section.bytes.size() == bench.PolicySection().size();
  };

  Durations channel;
  Durations sections;
  Durations walk;
  Durations whole;
  for (auto _ : state) {
    if (!channel.Take([&] { return AskAgent(user); })) state.SkipWithError("the agent did not name all policies");
    if (!sections.Take(openSection)) state.SkipWithError("the section was not opened");
    {
      const CkxPolicySourceScope scope(bench.Source());
      if (!evaluate(walk)) state.SkipWithError("not matched in the image");
    }
    if (!evaluate(whole)) state.SkipWithError("not matched in the live sections");
    state.SetIterationTime(whole.LastSeconds());
  }
  state.counters["channel us"] = channel.MedianMicroseconds();
  state.counters["sections us"] = sections.MedianMicroseconds();
  state.counters["walk us"] = walk.MedianMicroseconds();
  state.counters["whole us"] = whole.MedianMicroseconds();
  state.counters["ratio"] = whole.MedianMicroseconds() / walk.MedianMicroseconds();
}

/// Each thread is a client of its own. The first one's machine is there before any thread begins to ask, and until
/// each has had its last answer: the loop begins and ends for all at once.
void AgentRequests(benchmark::State& state) {
  const auto machine = state.thread_index() == 0 ? std::make_unique<LiveMachine>(NamedImage()) : nullptr;
  const KxWString user = OwnSid();
  for (auto _ : state) {
    if (!AskAgent(user)) state.SkipWithError("the agent did not name all policies");
  }
  state.SetItemsProcessed(state.iterations());
}

}  // namespace

BENCHMARK(LiveEvaluation)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(AgentRequests)->Threads(1)->Threads(8)->UseRealTime()->Unit(benchmark::kMicrosecond);
