#include "Agent/engine/kx_publish/image/encode_image.h"

#include "Agent/engine/kx_publish/document/applicable_document.h"
#include "Agent/engine/kx_publish/document/author_names.h"
#include "Agent/engine/kx_publish/record/encode.h"

SkxPolicyImage KxEncode_Image(const SkxPublication& publication) {
  SkxPolicyImage image;
  image.policies = KxEncode_Policies(publication.policies);
  image.appGroups = KxEncode_AppGroups(publication.groups);
  image.alerts = KxEncode_Alerts(publication.alerts);
  if (!publication.applicable.empty()) image.applicable = KxApplicable_Write(publication.applicable);
  if (const CkxAuthorNames names(publication); !names.IsEmpty()) image.names = names.Write();
  return image;
}
