#include "Agent/engine/kx_publish/image/policy_set.h"

#include "Agent/engine/kx_publish/document/applicable_document.h"
#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Common_CPP/util/text.h"

std::optional<CkxPolicySet> CkxPolicySet::FromFolder(CkxTextView folder, std::string& error) {
  SkxPolicyImage image;
  if (!KxPolicyImage_Load(folder, image, error)) return std::nullopt;
  return FromImage(std::move(image), KxText_ToUtf8(folder));
}

CkxPolicySet CkxPolicySet::FromImage(SkxPolicyImage image, std::string name) {
  CkxPolicySet set;
  set._image = std::move(image);
  if (set._image.applicable) set._applicable = KxApplicable_Parse(*set._image.applicable);  // loading has seen it
  set._name = std::move(name);
  set._isFolder = true;
  return set;
}

std::optional<CkxPolicySet> CkxPolicySet::FromDocuments(std::span<const SkxDocumentText> documents,
                                                        SkxDocumentError& error) {
  SkxPublication publication;
  if (!KxPolicyDocument_Read(documents, publication, error)) return std::nullopt;
  CkxPolicySet set;
  set._image = KxEncode_Image(publication);
  set._applicable = std::move(publication.applicable);
  if (!documents.empty()) set._name = documents.front().name;
  if (documents.size() > 1) set._name += " and " + std::to_string(documents.size() - 1) + " more";
  return set;
}

CkxAuthorNames CkxPolicySet::Names(std::string* fault) const {
  if (!_image.names) return {};
  try {
    return CkxAuthorNames::Parse(*_image.names);
  } catch (const CkxDocumentFault& refused) {
    if (fault != nullptr) *fault = refused.Line();
    return {};
  }
}

std::string CkxPolicySet::PlaceOf(const char* file) const { return _isFolder ? _name + "/" + file : _name; }
