#include "Agent/engine/kx_util/store/expected_agent.h"

#include <kx_util/expected_agent.h>

#include <mutex>

#include "Agent/engine/kx_util/watch/evaluation_fault.h"

namespace {

std::mutex mutex;  // guards the pointer

/// Null when nothing is. Never destroyed: at the end of a process its other threads may still ask.
std::shared_ptr<const SkxExpectedPeer>& Installed() {
  static auto* const installed = std::make_unique<std::shared_ptr<const SkxExpectedPeer>>().release();
  return *installed;
}

KxWString TextOf(const WCHAR* text) { return text == nullptr ? KxWString() : KxWString(text); }

}  // namespace

std::shared_ptr<const SkxExpectedPeer> KxAgent_Expected() {
  const std::lock_guard lock(mutex);
  return Installed();
}

bool KxUtil_SetExpectedAgent(const WCHAR* image, const WCHAR* signer, const IkxProcessIdentity* identity) noexcept {
  return KxEntry(false, [&] {
    auto expected = std::make_shared<const SkxExpectedPeer>(SkxExpectedPeer{TextOf(image), TextOf(signer)});
    const std::lock_guard lock(mutex);
    Installed() = std::move(expected);
    KxPeer_SetIdentity(identity);
    return true;
  });
}
