// Installer packages from arbitrary bytes: whatever they say, no byte outside of them is read, and what they say of
// themselves is bounded.
#include <cstdlib>

#include "Agent/engine/kx_util/target/msi_package.h"
#include "Common_CPP/ole/compound_file.h"
#include "tests/support/memory_source.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const CkxMemorySource source(data, size);
  if (const std::optional<CkxCompoundFile> file = CkxCompoundFile::Open(source)) {
    const auto children = file->Children(file->Root());
    for (size_t i = 0; children && i < children->size(); ++i) {
      const auto bytes = file->Read((*children)[i], 64 * 1024);
      if (bytes && bytes->size() != (*children)[i].size) std::abort();
    }
  }
  const std::optional<SkxMsiPackage> package = KxMsi_Read(source);
  if (!package) return 0;
  size_t units = 0;
  for (const auto& [name, text] : package->properties) {
    units += name.size() + text.size();
    if (text.empty() || package->Property(name) != &text) std::abort();
  }
  if (units > 4 * 1024 * 1024) std::abort();
  return 0;
}
