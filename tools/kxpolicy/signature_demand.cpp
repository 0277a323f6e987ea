#include "tools/kxpolicy/signature_demand.h"

#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/tool.h"

void SkxSignatureOptions::AddTo(const CkxVerbOptions& verb) {
  const CkxOption required =
      verb.Add("--require-signature", roots,
               "Certificates (PEM file, or a folder of them): the image must be signed by who is certified by one")
          .NotEmpty()
          .OneValueEach()
          .Path();
  verb.Add("--signer", signer, "The name of who must have signed it, as the certificate has it")
      .NotEmpty()
      .Needs(required);
}

CkxSignatureDemand::CkxSignatureDemand(const SkxSignatureOptions& options)
    : _isMade(!options.roots.empty()), _roots(EkxTrustRoots::AddedAlone) {
  const std::optional<KxWString> signer = KxText_FromUtf8(options.signer);
  if (!signer) throw CkxToolFault(EkxExit::UnusableArguments, "--signer: is not UTF-8");
  _signer = *signer;
  for (const std::string& root : options.roots) {
    const std::optional<KxWString> path = KxText_FromUtf8(root);
    if (!path || !_roots.Add(*path)) {
      throw CkxToolFault(EkxExit::UnusableInput, root + ": has no certificates that can be read");
    }
  }
}

SkxSigner CkxSignatureDemand::SignerOf(const SkxPolicyImage& image) const {
  return KxImageSignature_Look(image, _roots);
}

std::string CkxSignatureDemand::FaultOf(const SkxSigner& signer) const {
  return _isMade ? KxImageSignature_Fault(signer, _signer) : "";
}

std::optional<std::string> CkxSignatureDemand::Require(const SkxPolicyImage& image, const std::string& path) const {
  if (!_isMade) return std::nullopt;
  const SkxSigner signer = SignerOf(image);
  const std::string fault = FaultOf(signer);
  if (!fault.empty()) throw CkxToolFault(EkxExit::UnusableInput, path + "/image.p7s: " + fault);
  return KxText_ToUtf8(signer.name);
}
