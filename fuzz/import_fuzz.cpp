// Any bytes as a policy of another system: the first says of which. What is imported is a document that compiles, and
// the same bytes make the same one.
#include <cstdlib>

#include "Agent/engine/kx_publish/document/policy_document.h"
#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Agent/engine/kx_publish/import/import.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const EkxImportKind kind = data[0] % 2 == 0 ? EkxImportKind::AppLocker : EkxImportKind::AppControl;
  const SkxImportFile file = {"fuzz.xml", std::string(reinterpret_cast<const char*>(data + 1), size - 1)};
  SkxImportResult result;
  std::string fault;
  if (!KxImport(kind, {&file, 1}, {}, result, fault)) {
    if (fault.empty() || !result.document.empty()) std::abort();
    return 0;
  }
  const SkxDocumentText document = {"imported", result.document};
  SkxPublication publication;
  SkxDocumentError error;
  if (!KxPolicyDocument_Read({&document, 1}, publication, error)) std::abort();
  if (publication.policies.size() != result.policies) std::abort();
  for (const SkxPolicyModel& policy : publication.policies) {
    if (policy.targets.empty()) std::abort();  // which would be about everything
  }
  KxEncode_Image(publication);
  if (KxImport_Report(result.policy, false).empty() != KxImport_Report(result.policy, true).empty()) std::abort();

  SkxImportResult again;
  if (!KxImport(kind, {&file, 1}, {}, again, fault) || again.document != result.document) std::abort();
  return 0;
}
