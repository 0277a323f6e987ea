// Input: target documents, one a line. What is suggested from them reads back, and applies to each that was taken.
#include <kx_util/shared_policies_data.h>

#include <cstdlib>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/policy_document.h"
#include "Agent/engine/kx_publish/document/target_document.h"
#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Agent/engine/kx_publish/image/image_source.h"
#include "Agent/engine/kx_publish/suggest/suggestion.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

SkxPublication ReadBack(const SkxPublication& suggested) {
  nlohmann::ordered_json document;
  SkxDocumentError error;
  Require(KxPolicyDocument_Write(suggested, document, error));
  const SkxDocumentText text{"suggested", document.dump()};
  SkxPublication publication;
  Require(KxPolicyDocument_Read(std::span(&text, 1), publication, error));
  return publication;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  CkxSuggestion suggestion;
  std::vector<CkxTargetDocument> taken;
  std::string_view lines(reinterpret_cast<const char*>(data), size);
  while (!lines.empty()) {
    const size_t end = std::min(lines.find('\n'), lines.size());
    try {
      CkxTargetDocument document = CkxTargetDocument::Parse(lines.substr(0, end));
      if (suggestion.Add(document.Target())) taken.push_back(std::move(document));
    } catch (const CkxDocumentFault&) {
      // is none
    }
    lines.remove_prefix(std::min(end + 1, lines.size()));
  }
  const CkxImageSource source(KxEncode_Image(ReadBack(suggestion.Publication(*KxSuggestion_Kind("run")))));
  const CkxPolicySourceScope scope(source);
  for (const CkxTargetDocument& document : taken) {
    const CkxMachineFactsScope machine(document.Machine());
    SkxTriggerPolicyShortInfo info;
    EkxEvaluationOutcome outcome{};
    const bool applies = CkxSharedPoliciesData::GetTargetPolicyAction(document.Target(), info, outcome);
    Require(applies || outcome == EkxEvaluationOutcome::NotAnswered);
  }
  return 0;
}
