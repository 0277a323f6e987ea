// Signed scripts from arbitrary bytes, the first of which says in which language: what is signed is part of the text.
#include <algorithm>
#include <cstdlib>

#include "Common_CPP/signature/script_signature_posix.h"
#include "tests/support/memory_source.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr const WCHAR* kNames[] = {KXW("a.ps1"), KXW("a.ps1xml"), KXW("a.mof")};
  if (size == 0) return 0;
  const WCHAR* const name = kNames[data[0] % std::size(kNames)];
  const CkxMemorySource source(data + 1, size - 1);
  const std::optional<SkxScriptSignature> script = KxScriptSignature_Read(source, size - 1, name);
  if (!script) return 0;
  if (script->covered.size() > 2 * size || script->message.size() > size) std::abort();
  if (!script->hasBlock && (script->isWhole || !script->message.empty())) std::abort();
  return 0;
}
