// Program files and manifests from arbitrary bytes: whatever they say, no byte outside of them is read and no field is
// longer than they are.
#include <cstdlib>

#include "Agent/engine/kx_util/target/execution_level.h"
#include "Agent/engine/kx_util/target/pe_program.h"
#include "Agent/engine/kx_util/target/pe_version_info.h"
#include "tests/support/memory_source.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const CkxMemorySource source(data, size);
  const std::optional<SkxProgramFacts> program = KxPe_ReadProgram(source);
  if (program && program->runtimeVersion.size() > size) std::abort();
  if (!program && KxPe_ReadExecutionLevel(source)) std::abort();
  KxManifest_ExecutionLevel({data, size});

  const std::optional<SkxPeVersionInfo> info = KxPe_ReadVersionInfo(source);
  if (!info) return 0;
  size_t bytes = 0;
  for (const auto& [name, text] : info->fields) {
    bytes += (name.size() + text.size()) * sizeof(WCHAR);
    if (info->Field(name) != &text) std::abort();
  }
  if (bytes > size) std::abort();
  return 0;
}
