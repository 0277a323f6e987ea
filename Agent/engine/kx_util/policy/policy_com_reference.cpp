#include "Agent/engine/kx_util/policy/policy_com_reference.h"

#include <kx_util/shared_policy.h>

#include <mutex>

#include "Common_CPP/util/com.h"

std::atomic<unsigned> CkxShBufPolicy::_m_ComRefCounter{0};
int32_t CkxShBufPolicy::_m_hRes = 0;

namespace {

/// Held on the way from no reference to one and back, with `_m_hRes`.
std::mutex& Ends() {
  static std::mutex mutex;
  return mutex;
}

/// Changes the counter by `step` without the lock, as long as it is above `floor`.
bool Step(unsigned floor, unsigned step) {
  std::atomic<unsigned>& counter = CkxShBufPolicy::_m_ComRefCounter;
  unsigned count = counter.load(std::memory_order_relaxed);
  while (count > floor) {
    if (counter.compare_exchange_weak(count, count + step, std::memory_order_acq_rel)) return true;
  }
  return false;
}

}  // namespace

void CkxPolicyComReference::Acquire() {
  if (Step(0, 1)) return;
  const std::lock_guard lock(Ends());
  if (CkxShBufPolicy::_m_ComRefCounter == 0) CkxShBufPolicy::_m_hRes = KxCom_Initialize();
  ++CkxShBufPolicy::_m_ComRefCounter;
}

void CkxPolicyComReference::Release() {
  if (Step(1, ~0u)) return;
  const std::lock_guard lock(Ends());
  if (--CkxShBufPolicy::_m_ComRefCounter == 0 && CkxShBufPolicy::_m_hRes >= 0) KxCom_Uninitialize();
}
