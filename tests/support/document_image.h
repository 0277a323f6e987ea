// The image of a policy document, for tests of what is answered from it.
//
//   const CkxImageSource source(KxTest_Image(json({{"policies", policies}}).dump()));
//   const CkxPolicySourceScope scope(source);
#pragma once

#include <stdexcept>

#include "Agent/engine/kx_publish/document/policy_document.h"
#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Agent/engine/kx_publish/image/image_source.h"

/// Throws for what is no policy document.
inline SkxPolicyImage KxTest_Image(const std::string& document) {
  SkxPublication publication;
  SkxDocumentError error;
  const SkxDocumentText text[] = {{"document", document}};
  if (!KxPolicyDocument_Read(text, publication, error)) throw std::runtime_error(error.Text());
  return KxEncode_Image(publication);
}
