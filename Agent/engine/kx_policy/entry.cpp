#include "Agent/engine/kx_policy/entry.h"

#include <algorithm>
#include <memory>

#include "Common_CPP/util/printable.h"

void KxPolicyEntry_HandOut(std::string_view text, char** result) {
  auto copy = std::make_unique<char[]>(text.size() + 1);
  std::copy(text.begin(), text.end(), copy.get());
  *result = copy.release();
}

void KxPolicyEntry_Tell(std::string_view line, char** error) noexcept {
  if (error == nullptr) return;
  try {
    KxPolicyEntry_HandOut(KxText_Printable(line), error);
  } catch (const std::exception&) {
    *error = nullptr;
  }
}
