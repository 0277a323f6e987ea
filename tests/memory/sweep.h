// Entries under memory that fails: each of their allocations in turn, once and for good. Nothing is thrown, nothing
// leaks, and the answer is the right one, or false with the fault noted.
//
//   Sweep("fitted", [&](Trial& trial) { return YesOrNothing(trial.During([&] { return Fits(text); })); });
#pragma once

#include <gtest/gtest.h>
#include <kx_util/evaluation_fault.h>

#include <functional>
#include <optional>
#include <string>

#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Agent/engine/kx_publish/image/image_source.h"
#include "Agent/engine/kx_util/regexp/compiled_expressions.h"
#include "tests/memory/failing_memory.h"
#include "tests/support/workstation_image.h"

namespace kx_no_memory {

/// What an entry answered, as text; nothing for the answer of a fault (false, null, unknown).
using Answer = std::optional<std::string>;

/// One call of an entry that may run out of memory, and the fault that it ended with.
class Trial {
 public:
  Trial(size_t failAt, bool forGood) : _memory(failAt, forGood) {}

  template <class Call>
  auto During(Call call) {
    auto answer = _memory.During(call);
    _fault = KxUtil_LastFault();
    return answer;
  }
  EkxEvaluationFault Fault() const { return _fault; }

 private:
  CkxFailingMemory _memory;
  EkxEvaluationFault _fault = EkxEvaluationFault::None;
};

/// Prepares a call with all the memory there is, makes it under `trial`, and says what it answered. Prepared anew for
/// each call, since descriptions remember.
using Entry = std::function<Answer(Trial& trial)>;

inline void Sweep(const std::string& name, const Entry& entry, size_t leastAllocations = 0) {
  SCOPED_TRACE(name);
  Trial enough(CkxFailingMemory::kNever, false);
  const auto ask = [&](Trial& trial) {
    KxExpression_ForgetAll();  // or what one call kept would be memory that the next one need not ask for
    return entry(trial);
  };
  const Answer right = ask(enough);
  const size_t count = CkxFailingMemory::Count();
  EXPECT_GE(count, leastAllocations) << "there is nothing to sweep";
  for (const bool forGood : {false, true}) {
    for (size_t failAt = 0; failAt < count; ++failAt) {
      KxExpression_ForgetAll();
      const long before = CkxFailingMemory::Live();
      Answer answer;
      EkxEvaluationFault fault = EkxEvaluationFault::None;
      try {
        Trial trial(failAt, forGood);
        answer = ask(trial);
        KxExpression_ForgetAll();
        fault = trial.Fault();
      } catch (const std::bad_alloc&) {
        FAIL() << "threw at allocation " << failAt << " of " << count;
      }
      const long held = answer ? 1 : 0;  // at most: a long text
      ASSERT_LE(CkxFailingMemory::Live() - before, held) << "leaked at allocation " << failAt;
      if (answer == right) continue;
      ASSERT_EQ(answer, std::nullopt) << "a wrong answer at allocation " << failAt << " of " << count;
      ASSERT_EQ(fault, EkxEvaluationFault::OutOfMemory) << "false without a fault at allocation " << failAt;
    }
  }
}

inline Answer YesOrNothing(bool yes) { return yes ? Answer("yes") : std::nullopt; }

/// The publication of the example.
inline const CkxImageSource& Workstation() {
  static const CkxImageSource* const source = new CkxImageSource(KxEncode_Image(KxTest_Workstation()));
  return *source;
}

}  // namespace kx_no_memory
