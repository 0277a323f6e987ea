// What an evaluation costs on a live machine: asking the agent which policies apply to the user, opening the sections,
// and the walk. The measure is the agent's request alone, in turns with it, so that figures of different machines can
// be compared. The agent answers on its own threads in this process.
#include <benchmark/benchmark.h>
#include <grp.h>
#include <kx_util/shared_policies_data.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <numeric>
#include <stdexcept>

#include "Agent/engine/kx_publish/document/applicable_document.h"
#include "Agent/engine/kx_publish/service/agent_service.h"
#include "Agent/engine/kx_publish/service/publication.h"
#include "Agent/engine/kx_util/store/agent_requests.h"
#include "Agent/engine/kx_util/store/live_policy_source.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/util/text.h"
#include "bench/bench_policies.h"
#include "bench/plain_read.h"

namespace {

constexpr uint32_t kPolicies = 1000;

/// A runtime folder of this process's own, which others may enter, gone with all that it holds at the end of the scope.
class RuntimeFolder {
 public:
  RuntimeFolder() : _path(std::filesystem::temp_directory_path() / "kx-bench-XXXXXX") {
    if (mkdtemp(_path.data()) == nullptr) throw std::runtime_error("no runtime folder: " + _path);
    chmod(_path.c_str(), 0755);
    setenv("KX_RUNTIME_DIR", _path.c_str(), 1);
  }
  ~RuntimeFolder() {
    unsetenv("KX_RUNTIME_DIR");
    std::error_code ignored;
    std::filesystem::remove_all(_path, ignored);
  }
  RuntimeFolder(const RuntimeFolder&) = delete;
  RuntimeFolder& operator=(const RuntimeFolder&) = delete;

  const std::string& Path() const { return _path; }

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

  std::string Socket(const std::string& channel) const { return _folder.Path() + "/" + channel + ".sock"; }

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

/// About a process that policy `applies` is the first to be about, or none for 0: all 1,000 are walked either way, when
/// it is the last. Its description is made anew for each evaluation. Beside the ratio, what its parts take.
void LiveEvaluation(benchmark::State& state, uint32_t applies) {
  const SkxPolicyImage image = NamedImage();
  const BenchPolicies bench(image);
  const LiveMachine machine(image);
  const KxWString user = OwnSid();
  bool succeeded = true;
  const auto request = [&] { succeeded = AskAgent(user) && succeeded; };
  const auto evaluate = [&] {
    const auto target = applies != 0 ? bench.TargetOfPolicy(applies) : bench.UnmatchedTarget();
    SkxTriggerPolicyShortInfo info;
    EkxEvaluationOutcome outcome = EkxEvaluationOutcome::NotAnswered;
    CkxSharedPoliciesData::GetTargetPolicyAction(*target, info, outcome);
    const bool isAsExpected =
        applies != 0 ? info.PolicyId == applies : outcome == EkxEvaluationOutcome::NoPolicyApplies;
    succeeded = isAsExpected && succeeded;
  };
  const auto walk = [&] {
    const CkxPolicySourceScope scope(bench.Source());
    evaluate();
  };
  const auto sections = [&] {
    std::unique_ptr<const IkxPolicySource> pinned;
    succeeded = KxPolicySource_Live().Pin(pinned) == EkxSectionState::Open && pinned->IsCurrent() && succeeded;
  };

  CkxBenchTurns whole;
  CkxBenchTurns parts;
  for (auto _ : state) {
    whole.Take(evaluate, request);
    parts.Take(sections, walk);
  }
  if (!succeeded) state.SkipWithError("not asked, not opened, or another policy applied");
  state.counters["ratio"] = whole.Ratio();
  state.counters["whole us"] = whole.Work() / 1e3;
  state.counters["request us"] = whole.Measure() / 1e3;
  state.counters["sections us"] = parts.Work() / 1e3;
  state.counters["walk us"] = parts.Measure() / 1e3;
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

/// A user without rights, as a process of its own, that keeps thousands of connections to the agent open, says nothing
/// on any, and opens each anew that it loses. Only root can make one. Made before this process has other threads.
class IdleConnections {
 public:
  static constexpr int kConnections = 2500;

  IdleConnections() {
    if (pipe(_begin) != 0 || pipe(_ready) != 0) throw std::runtime_error("no pipes");
    _process = fork();
    if (_process == 0) Attack();
    if (_process < 0) throw std::runtime_error("no process");
  }
  ~IdleConnections() {
    kill(_process, SIGKILL);
    waitpid(_process, nullptr, 0);
    for (const int end : {_begin[0], _begin[1], _ready[0], _ready[1]}) close(end);
  }
  IdleConnections(const IdleConnections&) = delete;
  IdleConnections& operator=(const IdleConnections&) = delete;

  /// Returns once all are open.
  bool Begin(const std::string& socket) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    socket.copy(address.sun_path, sizeof(address.sun_path) - 1);
    char all = 0;
    return write(_begin[1], &address, sizeof(address)) == sizeof(address) && read(_ready[0], &all, 1) == 1;
  }

 private:
  static int Open(const sockaddr_un& address) {
    const int connection = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) _exit(2);
    return connection;
  }

  [[noreturn]] void Attack() const {
    const rlimit files = {2 * kConnections, 2 * kConnections};
    sockaddr_un address{};
    if (setrlimit(RLIMIT_NOFILE, &files) != 0 || setgroups(0, nullptr) != 0 || setresgid(65534, 65534, 65534) != 0 ||
        setresuid(65534, 65534, 65534) != 0 || read(_begin[0], &address, sizeof(address)) != sizeof(address)) {
      _exit(1);
    }
    std::vector<pollfd> connections(kConnections);
    for (pollfd& connection : connections) connection = {Open(address), POLLIN, 0};
    if (write(_ready[1], "", 1) != 1) _exit(1);
    for (;;) {
      poll(connections.data(), connections.size(), -1);
      int anew = 0;
      for (pollfd& connection : connections) {
        if (connection.revents == 0 || anew == 20) continue;
        close(connection.fd);
        connection.fd = Open(address);
        ++anew;
      }
      usleep(10000);  // two thousand a second: the figure is to be the server's, not that of a busy processor
    }
  }

  int _begin[2];
  int _ready[2];
  pid_t _process;
};

/// How long the agent takes to answer one user while another one holds all connections that it can get. The measure is
/// the quiet agent of the same run.
void AgentBesideIdleConnections(benchmark::State& state) {
  if (geteuid() != 0) return state.SkipWithError("only root can be two users");
  IdleConnections attack;
  const LiveMachine machine(NamedImage());
  const KxWString user = OwnSid();
  const auto ask = [&] { return AskAgent(user); };
  Durations quiet;
  Durations attacked;
  for (int i = 0; i < 1000; ++i) {
    if (!quiet.Take(ask)) return state.SkipWithError("the agent did not name all policies");
  }
  if (!attack.Begin(machine.Socket("applicablePoliciesSer"))) return state.SkipWithError("no connections");
  for (auto _ : state) {
    if (!attacked.Take(ask)) return state.SkipWithError("the agent did not name all policies");
    state.SetIterationTime(attacked.LastSeconds());
  }
  state.counters["quiet us"] = quiet.MedianMicroseconds();
  state.counters["attacked us"] = attacked.MedianMicroseconds();
  state.counters["ratio"] = attacked.MedianMicroseconds() / quiet.MedianMicroseconds();
}

}  // namespace

BENCHMARK(AgentBesideIdleConnections)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(3000);
BENCHMARK_CAPTURE(LiveEvaluation, none_of_1000, 0)->Iterations(300)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(LiveEvaluation, last_of_1000, 1000)->Iterations(300)->Unit(benchmark::kMicrosecond);
BENCHMARK(AgentRequests)->Threads(1)->Threads(8)->UseRealTime()->Unit(benchmark::kMicrosecond);
