// Input: an applicable.json. What is read of it is written and read again, and asked.
#include <cstdlib>

#include "Agent/engine/kx_publish/document/applicable_document.h"
#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/image/applicable_rules.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/access_token/user_scope.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const CkxApplicableRules rules(text);
  try {
    const SkxApplicableRows rows = KxApplicable_Parse(text);
    if (KxApplicable_Parse(KxApplicable_Write(rows)) != rows) std::abort();
    for (const auto& [key, ids] : rows) {
      const std::optional<CkxSid> sid = CkxSid::FromUtf8(key);
      if (!sid || key == kKxNobody) continue;  // everybody's row
      CkxAccessToken token(*sid, {}, false);
      const auto answer = rules.For(token.Handle());
      const bool isNone = !ids.empty() && ids.front() == 0;  // as the agent's own answer would be read
      if (answer != nullptr && answer->Ids() != (isNone ? std::vector<uint32_t>() : ids)) std::abort();
    }
    if (rows.empty() != (rules.For(nullptr) != nullptr && rules.For(nullptr)->IsAll())) std::abort();
  } catch (const CkxDocumentFault&) {
    if (rules.For(nullptr) != nullptr) std::abort();  // malformed rules make nothing applicable
  }
  return 0;
}
