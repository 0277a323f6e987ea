// What a service has done so far, counted by its threads and read by anybody, without either waiting for the other.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Agent/engine/kx_publish/image/policy_image.h"

/// What became of a request.
enum class EkxServiceAnswer : unsigned char {
  Answered,
  Refused,  ///< for what it is, or for who asks
  Failed,   ///< no answer could be had: the work was given up, or memory was short
};

/// A plain copy, of one moment for each number by itself.
struct SkxRequestCounts {
  std::string request;  ///< HANDLER_...
  uint64_t answered = 0;
  uint64_t refused = 0;
  uint64_t failed = 0;
};

class CkxRequestCounter {
 public:
  void Count(EkxServiceAnswer answer) { _counts[static_cast<size_t>(answer)].fetch_add(1, std::memory_order_relaxed); }

  SkxRequestCounts Read(std::string request) const {
    const auto read = [&](EkxServiceAnswer answer) {
      return _counts[static_cast<size_t>(answer)].load(std::memory_order_relaxed);
    };
    return {std::move(request), read(EkxServiceAnswer::Answered), read(EkxServiceAnswer::Refused),
            read(EkxServiceAnswer::Failed)};
  }

 private:
  std::array<std::atomic<uint64_t>, 3> _counts{};
};

struct SkxPolicyHits {
  uint32_t policyId = 0;
  uint64_t decided = 0;  ///< prompts that the service was asked about
};

/// By policy, of one image. A policy that the image before had too, by its id, goes on counting where it was.
class CkxPolicyHitCounter {
 public:
  /// `before` may be null.
  CkxPolicyHitCounter(const SkxPolicyImage& image, const CkxPolicyHitCounter* before);

  void Count(uint32_t policyId) const;

  /// In the order of the ids.
  std::vector<SkxPolicyHits> Read() const;

 private:
  struct Counter {
    uint32_t policyId;
    std::shared_ptr<std::atomic<uint64_t>> decided;  // of all images that have the policy
  };
  const Counter* Find(uint32_t policyId) const;

  std::vector<Counter> _counters;  // by id, each once; nothing changes but what they point to
};
