// The process map: whether it costs more to find one process among many, and whether readers keep each other waiting.
#include <benchmark/benchmark.h>
#include <kx_util/proc_map.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <latch>
#include <shared_mutex>
#include <thread>
#include <unordered_map>
#include <vector>

#include "Common_CPP/thread/spread_lock.h"
#include "bench/plain_read.h"

namespace {

/// Every process began at the same time, and is no service.
class BenchProcMapSystem : public IkxProcMapSystem {
 public:
  int64_t Now() override { return 1; }
  std::optional<int64_t> CreationTime(uint32_t) override { return 1; }
  std::optional<uint32_t> ProcessOfThread(uint32_t) override { return std::nullopt; }
  KxWString ServicesOf(uint32_t) override { return {}; }
  void Close(void*) override {}
};

constexpr uint32_t kLookups = 4000;
constexpr uint32_t kSamples = 500;  // of the processes, spread over the whole map
constexpr int kRounds = 60;

/// A map of so many processes, each with a child; the parents have ended.
class BenchProcMap {
 public:
  explicit BenchProcMap(uint32_t processes) : _processes(processes) {
    const CkxProcMapScope scope(_map);
    for (uint32_t i = 0; i < processes; ++i) Start(Parent(i), 0);
    for (uint32_t i = 0; i < processes; ++i) Start(Child(i), Parent(i));
    for (uint32_t i = 0; i < processes; ++i) KxUtilProcMap_OnProcessEnd(Parent(i));
    for (uint32_t i = 0; i < kSamples; ++i) {
      SkxProcessFacts facts;
      facts.pid = Child(i * std::max(1U, processes / kSamples));
      facts.parentPid = facts.pid + 2;
      facts.parentCreationTime = 1;
      _samples.push_back(std::make_unique<CkxTargetInfoProcess>(SkxFileFacts(), std::move(facts), nullptr));
    }
  }

  uint32_t Child(uint32_t i) const { return 2 + 8 * (i % _processes); }
  uint32_t Parent(uint32_t i) const { return 4 + 8 * (i % _processes); }

  const CkxTargetInfoProcess& Sample(uint32_t i) const { return *_samples[i % kSamples]; }

  /// Nanoseconds for one of many.
  double Time(void (*look)(const CkxTargetInfoProcess& process)) const {
    const CkxProcMapScope scope(_map);
    return KxBench_NanosecondsOf([&] {
             for (uint32_t i = 0; i < kLookups; ++i) look(Sample(i));
           }) /
           kLookups;
  }

 private:
  static void Start(uint32_t pid, uint32_t parentPid) {
    KxUtilProcMap_OnProcessStart(pid, parentPid, 0, KXW("C:\\Windows\\System32\\svchost.exe"), {}, {}, 0);
  }

  const uint32_t _processes;
  BenchProcMapSystem _system;
  const CkxRecordedProcMap _map{_system};
  std::vector<std::unique_ptr<CkxTargetInfoProcess>> _samples;
};

void LookUpRunning(const CkxTargetInfoProcess& process) {
  uint32_t bits = 0;
  if (!KxUtilProcMap_GetZeroTouchState(process.Pid(), bits)) std::abort();
  benchmark::DoNotOptimize(bits);
}

void FindEndedParent(const CkxTargetInfoProcess& process) {
  CkxProcessData data;
  if (!KxUtilProcMap_FindParentProcessData(process, data)) std::abort();
}

/// In 100,000 records beside 100.
void AmongMany(benchmark::State& state, void (*look)(const CkxTargetInfoProcess& process)) {
  const BenchProcMap few(100);
  const BenchProcMap many(100'000);
  double ofFew = 1e300;
  double ofMany = 1e300;
  for (auto _ : state) {
    for (int round = 0; round < kRounds; ++round) {  // in turns, so that both have the same chances
      ofFew = std::min(ofFew, few.Time(look));
      ofMany = std::min(ofMany, many.Time(look));
    }
  }
  state.counters["ns_of_100"] = ofFew;
  state.counters["ns_of_100000"] = ofMany;
  state.counters["ratio"] = ofMany / ofFew;
}

constexpr int kReaders = 8;
constexpr uint32_t kReads = 200'000;

/// Nanoseconds of processor a read, stalls for memory that others write included; whatever else the machine does.
template <class Read>
double TimeOfReaders(Read read) {
  std::latch begin(kReaders);
  std::vector<std::thread> threads;
  const std::clock_t before = std::clock();
  for (int reader = 0; reader < kReaders; ++reader) {
    threads.emplace_back([&] {
      begin.arrive_and_wait();
      for (uint32_t i = 0; i < kReads; ++i) read(i);
    });
  }
  for (std::thread& thread : threads) thread.join();
  return 1e9 * static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC / (double{kReaders} * kReads);
}

/// The lock of the map beside one shared lock, around the same look-up.
void EightReaders(benchmark::State& state) {
  std::unordered_map<uint32_t, uint32_t> values;
  for (uint32_t i = 0; i < 1000; ++i) values[4 * i] = i;
  const auto look = [&](uint32_t i) { benchmark::DoNotOptimize(values.find(4 * (i % 1000))); };
  const CkxSpreadLock spread;
  std::shared_mutex plain;
  double ofSpread = 1e300;
  double ofPlain = 1e300;
  for (auto _ : state) {
    for (int round = 0; round < 10; ++round) {
      ofSpread = std::min(ofSpread, TimeOfReaders([&](uint32_t i) {
                            const CkxSpreadLock::Reading reading(spread);
                            look(i);
                          }));
      ofPlain = std::min(ofPlain, TimeOfReaders([&](uint32_t i) {
                           const std::shared_lock reading(plain);
                           look(i);
                         }));
    }
  }
  state.counters["ns_a_read"] = ofSpread;
  state.counters["ns_plain_lock"] = ofPlain;
  state.counters["ratio"] = ofSpread / ofPlain;
}

}  // namespace

BENCHMARK_CAPTURE(AmongMany, running, LookUpRunning)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(AmongMany, ended_parent, FindEndedParent)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(EightReaders)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();
