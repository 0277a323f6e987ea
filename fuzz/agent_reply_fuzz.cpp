// What the library makes of an agent's reply, whatever its bytes are: the first says which of the three questions was
// asked. A reply is taken whole or not at all, and never read beyond its end.
#include <cstdlib>
#include <cstring>

#include "Agent/engine/kx_util/store/agent_requests.h"

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

void ReadApplicablePolicies(std::span<const unsigned char> reply) {
  const auto ids = KxAgent_ReadApplicablePolicies(reply);
  Require(ids.has_value() == (!reply.empty() && reply.size() % 4 == 0));
  if (!ids || ids->empty()) return;
  Require(ids->front() != 0 && ids->size() * 4 == reply.size());
  Require(std::memcmp(ids->data(), reply.data(), reply.size()) == 0);
}

void ReadUacAction(std::span<const unsigned char> reply) {
  SvcUacActionInfo action;
  std::memset(static_cast<void*>(&action), 0x5A, sizeof(action));
  const SvcUacActionInfo before = action;
  const bool read = KxAgent_ReadUacAction(reply, action);
  Require(read == (reply.size() == sizeof(action)));
  Require(std::memcmp(&action, read ? static_cast<const void*>(reply.data()) : &before, sizeof(action)) == 0);
}

void ReadHookConsent(std::span<const unsigned char> reply) {
  const std::optional<bool> hook = KxAgent_ReadHookConsent(reply);
  Require(hook.has_value() == (reply.size() == 1) && (!hook || *hook == (reply[0] != 0)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  if (size == 0) return 0;
  // In a block of exactly their size, so that a read of one too many is seen.
  const std::vector<unsigned char> reply(data + 1, data + size);
  switch (data[0] % 3) {
    case 0:
      ReadApplicablePolicies(reply);
      break;
    case 1:
      ReadUacAction(reply);
      break;
    default:
      ReadHookConsent(reply);
  }
  return 0;
}
