// The process map: whether it costs more to find one process among many, and whether readers keep each other waiting.
#include <benchmark/benchmark.h>
#include <kx_util/proc_map.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <latch>
#include <memory>
#include <random>
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

constexpr uint32_t kFew = 100;
constexpr uint32_t kMany = 100'000;
constexpr size_t kLookups = 40'000;
constexpr size_t kParents = 500;
constexpr int kRounds = 30;

/// A map of so many processes, each with a child; the parents have ended. Asked about others each time, at random.
class BenchProcMap {
 public:
  explicit BenchProcMap(uint32_t processes) : _random(processes), _processes(processes) {
    const CkxProcMapScope scope(_map);
    for (uint32_t i = 0; i < processes; ++i) Start(Parent(i), 0);
    for (uint32_t i = 0; i < processes; ++i) Start(Child(i), Parent(i));
    for (uint32_t i = 0; i < processes; ++i) KxUtilProcMap_OnProcessEnd(Parent(i));
  }

  /// Nanoseconds for one of many.
  double TimeOfRunning() {
    std::vector<uint32_t> pids(kLookups);
    for (uint32_t& pid : pids) pid = Child(Any());
    const CkxProcMapScope scope(_map);
    return KxBench_NanosecondsOf([&] {
             for (const uint32_t pid : pids) {
               uint32_t bits = 0;
               if (!KxUtilProcMap_GetZeroTouchState(pid, bits)) std::abort();
               benchmark::DoNotOptimize(bits);
             }
           }) /
           kLookups;
  }

  double TimeOfEndedParents() {
    std::vector<std::unique_ptr<CkxTargetInfoProcess>> children;
    for (size_t i = 0; i < kParents; ++i) {
      SkxProcessFacts facts;
      facts.parentPid = Parent(Any());
      facts.parentCreationTime = 1;
      children.push_back(std::make_unique<CkxTargetInfoProcess>(SkxFileFacts(), std::move(facts), nullptr));
    }
    const CkxProcMapScope scope(_map);
    return KxBench_NanosecondsOf([&] {
             for (const auto& child : children) {
               CkxProcessData data;
               if (!KxUtilProcMap_FindParentProcessData(*child, data)) std::abort();
             }
           }) /
           kParents;
  }

 private:
  static uint32_t Child(uint32_t i) { return 2 + 8 * i; }
  static uint32_t Parent(uint32_t i) { return 4 + 8 * i; }
  static void Start(uint32_t pid, uint32_t parentPid) {
    KxUtilProcMap_OnProcessStart(pid, parentPid, 0, KXW("C:\\Windows\\System32\\svchost.exe"), {}, {}, 0);
  }
  uint32_t Any() { return static_cast<uint32_t>(_random() % _processes); }

  std::mt19937 _random;
  const uint32_t _processes;
  BenchProcMapSystem _system;
  const CkxRecordedProcMap _map{_system};
};

/// The least that this machine takes for one record of many: a line of memory out of so many, each known only when the
/// one before has been read.
class PlainLines {
 public:
  PlainLines() : _lines(kMany) {}

  double Time() {
    std::vector<uint32_t> numbers(kLookups);
    for (uint32_t& number : numbers) number = static_cast<uint32_t>(_random() % kMany);
    return KxBench_NanosecondsOf([&] {
             uint32_t read = 0;  // nothing but 0, which nobody knows
             for (const uint32_t number : numbers) read = _lines[number + read].first;
             benchmark::DoNotOptimize(read);
           }) /
           kLookups;
  }

 private:
  struct alignas(64) Line {
    uint32_t first = 0;
  };
  std::mt19937 _random{kMany};
  std::vector<Line> _lines;
};

/// In 100,000 records beside 100, and beside a plain line more.
void AmongMany(benchmark::State& state, double (BenchProcMap::*time)()) {
  BenchProcMap few(kFew);
  BenchProcMap many(kMany);
  PlainLines lines;
  double ofFew = 1e300;
  double ofMany = 1e300;
  double ofLine = 1e300;
  for (auto _ : state) {
    for (int round = 0; round < kRounds; ++round) {  // in turns, so that all have the same chances
      ofFew = std::min(ofFew, (few.*time)());
      ofMany = std::min(ofMany, (many.*time)());
      ofLine = std::min(ofLine, lines.Time());
    }
  }
  state.counters["ns_of_100"] = ofFew;
  state.counters["ns_of_100000"] = ofMany;
  state.counters["ns_plain_line"] = ofLine;
  state.counters["ratio"] = ofMany / ofFew;
  state.counters["ratio_to_floor"] = ofMany / (ofFew + ofLine);
}

constexpr int kReaders = 8;
constexpr uint32_t kReads = 1'000'000;  // far more than a thread is given at a time: they do run at once

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
    for (int round = 0; round < 4; ++round) {
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

BENCHMARK_CAPTURE(AmongMany, running, &BenchProcMap::TimeOfRunning)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(AmongMany, ended_parent, &BenchProcMap::TimeOfEndedParents)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(EightReaders)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();
