// Installer packages from arbitrary bytes: whatever they say, no byte outside of them is read, what they say of
// themselves is bounded, and so is what is read for their signature.
#include <cstdlib>

#include "Agent/engine/kx_util/target/msi_package.h"
#include "Common_CPP/ole/compound_file.h"
#include "Common_CPP/signature/msi_signature_posix.h"
#include "tests/support/memory_source.h"

namespace {

thread_local uint64_t bytesHashed = 0;

void RequireLittleToBeHashed(const CkxMemorySource& source, size_t size) {
  const std::optional<CkxMsiSignature> signature = CkxMsiSignature::Read(source, size);
  if (!signature) return;
  bytesHashed = 0;
  const auto digest = signature->Digest(EkxHashAlgorithm::Sha256, [](uint64_t bytes) {
    bytesHashed += bytes;
    return true;
  });
  if (bytesHashed > size || (digest && (digest->size() != 32 || !signature->IsSigned()))) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const CkxMemorySource source(data, size);
  if (const std::optional<CkxCompoundFile> file = CkxCompoundFile::Open(source)) {
    const auto children = file->Children(file->Root());
    for (size_t i = 0; children && i < children->size(); ++i) {
      const auto bytes = file->Read((*children)[i], 64 * 1024);
      if (bytes && bytes->size() != (*children)[i].size) std::abort();
    }
  }
  RequireLittleToBeHashed(source, size);
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
