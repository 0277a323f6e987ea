// The measure that other costs are told in: a plain sequential read of the same bytes in the same run, so that figures
// of different machines can be compared.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <span>

#include "Common_CPP/util/byte_cursor.h"

/// Reads every byte once, eight at a time.
inline uint64_t KxBench_PlainRead(std::span<const unsigned char> bytes) {
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
