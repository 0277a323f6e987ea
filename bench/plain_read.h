// The measure that other costs are told in: a plain sequential read of the same bytes in the same run, so that figures
// of different machines can be compared.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <span>
#include <vector>

#include "Common_CPP/util/byte_cursor.h"

/// Reads every byte once, eight at a time. In a place of its own, so that it is as fast whoever asks for it.
[[gnu::noinline, gnu::aligned(64)]] inline uint64_t KxBench_PlainRead(std::span<const unsigned char> bytes) {
  uint64_t sum = 0;
  size_t at = 0;
  for (; at + sizeof(uint64_t) <= bytes.size(); at += sizeof(uint64_t))
    sum += KxBytes_Load<uint64_t>(bytes.data() + at);
  for (; at < bytes.size(); ++at) sum += bytes[at];
  return sum;
}

template <class Work>
double KxBench_NanosecondsOf(Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
}

/// The fastest of many reads: the reference is to be the machine's best.
inline double KxBench_PlainReadNanoseconds(std::span<const unsigned char> bytes) {
  double best = 1e300;
  for (int i = 0; i < 200; ++i) {
    best = std::min(best, KxBench_NanosecondsOf([&] { benchmark::DoNotOptimize(KxBench_PlainRead(bytes)); }));
  }
  return best;
}

inline double KxBench_Median(std::vector<double> values) {
  if (values.empty()) return 0;
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// A thing and its measure, each done in turns of the other and in blocks long enough for the clock, so that both meet
/// the same machine: what else runs on it changes both, and the median of their ratios little.
class CkxBenchTurns {
 public:
  /// One turn of each.
  template <class Work, class Measure>
  void Take(Work work, Measure measure) {
    const double worked = Block(work);
    const double measured = Block(measure);
    _work.push_back(worked);
    _measure.push_back(measured);
    _ratios.push_back(worked / measured);
  }

  double Work() const { return KxBench_Median(_work); }        ///< nanoseconds
  double Measure() const { return KxBench_Median(_measure); }  ///< nanoseconds
  double Ratio() const { return KxBench_Median(_ratios); }

 private:
  static constexpr double kBlockNanoseconds = 200'000;

  template <class Work>
  static double Block(Work work) {
    int times = 0;
    double spent = 0;
    do {
      spent += KxBench_NanosecondsOf(work);
      ++times;
    } while (spent < kBlockNanoseconds);
    return spent / times;
  }

  std::vector<double> _work;
  std::vector<double> _measure;
  std::vector<double> _ratios;
};
