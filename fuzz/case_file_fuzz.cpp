// Any text as a case file. A fault has its place, and what reads is judged without harm.
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/cases/case_judge.h"
#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/policy_document.h"
#include "Agent/engine/kx_publish/image/encode_image.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

SkxPolicyImage SomeImage() {
  const SkxDocumentText document = {"fuzz", R"({"policies": [
    {"id": 1, "name": "P", "action": "block", "targets": [{"type": "executable", "fileName": "a*.exe"}]},
    {"id": 2, "name": "Q", "action": "elevate", "targets": [{"type": "msi", "publishers": ["P"]}]}]})"};
  SkxPublication publication;
  SkxDocumentError error;
  Require(KxPolicyDocument_Read({&document, 1}, publication, error));
  return KxEncode_Image(publication);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  static CkxCaseJudge& judge = *std::make_unique<CkxCaseJudge>(SomeImage(), KxAlertNames()).release();
  try {
    const nlohmann::json json = KxJson_Parse({reinterpret_cast<const char*>(data), size}, true);
    const std::vector<SkxCase> cases = KxCaseDocument_Read(json);
    Require(KxCaseDocument_IsOne(json) && !cases.empty());
    for (const SkxCase& test : cases) {
      const SkxCaseResult result = judge.Judge(test);
      Require(result.judged == test.targets.size() || result.failed == 1);
      Require(result.failures.size() <= SkxCaseResult::kMaxTold && result.failures.size() <= result.failed);
      if (test.events) test.events->where.Takes(json["cases"][0]);
    }
  } catch (const CkxDocumentFault& fault) {
    Require(fault.Pointer().empty() || fault.Pointer().front() == '/');
    Require(fault.what()[0] != 0);
  }
  return 0;
}
