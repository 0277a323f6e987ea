// Input: a target document. What comes of it is looked at from all sides.
#include <kx_util/target_info_process.h>

#include <cstdlib>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/target_document.h"
#include "Common_CPP/file/machine_facts.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

/// A status that is given must be one of the table, and a fact that is asked for twice must stay the same.
void LookAt(const CkxTargetInfo& target) {
  Require(target.GetDescriptionForAlert() != nullptr && target.GetDescriptionForEvent() != nullptr);
  if (const IkxPathProvider* const path = target.QueryPathProvider()) {
    Require(path->GetPath() != nullptr && path->GetFileSize() >= IkxPathProvider::kUnknownSize);
    Require(path->GetModificationTime() == path->GetModificationTime());
  }
  if (const IkxHashProvider* const hashes = target.QueryHashProvider()) {
    CkxUtilStr algorithm;
    CkxUtilStr hash;
    if (hashes->GetHash(algorithm, hash)) Require(hashes->GetHashStringUsing(algorithm.String()) != nullptr);
  }
  if (const IkxPublisherProvider* const publishers = target.QueryPublisherProvider()) {
    for (const bool second : {false, true}) {
      EkxPublisherStatus status = EkxPublisherStatus::Revoked;
      publishers->GetPublisher(second, status);
      Require(status <= EkxPublisherStatus::Revoked);
    }
  }
  if (const IkxOwnerProvider* const owners = target.QueryOwnerProvider()) {
    const CkxSid* const owner = owners->GetOwner();
    Require(owner == nullptr || owner->IsValid());
    owners->GetOwnerDomainUserName();
  }
  if (const IkxVersionInfoProvider* const versions = target.QueryVersionInfoProvider()) {
    versions->GetVersionInfo(KXW("CompanyName"));
  }
}

void LookAtAll(const CkxTargetInfo& target) {
  LookAt(target);
  const CkxTargetInfo& effective = target.GetEffectiveTarget();
  if (&effective != &target) LookAtAll(effective);
  if (!target.IsTargetInfoProcess()) return;
  const CkxTargetInfo* const parent = static_cast<const CkxTargetInfoProcess&>(target).Parent();
  if (parent != nullptr) LookAtAll(*parent);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  try {
    const CkxTargetDocument document = CkxTargetDocument::Parse(text);
    const CkxMachineFactsScope machine(document.Machine());
    LookAtAll(document.Target());
    const nlohmann::json id = nlohmann::json::parse(document.IdJson());
    Require(id.dump() == document.IdJson());
  } catch (const CkxDocumentFault& fault) {
    Require(fault.Pointer().empty() || fault.Pointer().front() == '/');
    Require(fault.what()[0] != 0);
  }
  return 0;
}
