// Policies to ask or to look through, wherever they come from: the folder of an image, or policy documents, which are
// compiled in memory and leave no file behind.
//
//   std::string error;
//   std::optional<CkxPolicySet> policies = CkxPolicySet::FromFolder(folder, error);
//   if (!policies) ...
//   const CkxImageSource source(policies->Image());
#pragma once

#include <optional>
#include <span>

#include "Agent/engine/kx_publish/document/author_names.h"
#include "Agent/engine/kx_publish/document/policy_document.h"
#include "Agent/engine/kx_publish/image/policy_image.h"

class CkxPolicySet {
 public:
  /// Nothing, with one line in `error`, for a folder that is no image (`KxPolicyImage_Load`).
  static std::optional<CkxPolicySet> FromFolder(CkxTextView folder, std::string& error);

  /// All documents together. Nothing, with the place in `error`, when one is at fault.
  static std::optional<CkxPolicySet> FromDocuments(std::span<const SkxDocumentText> documents, SkxDocumentError& error);

  /// `name`: as lines call the folder that the image could be.
  static CkxPolicySet FromImage(SkxPolicyImage image, std::string name);

  const SkxPolicyImage& Image() const { return _image; }
  SkxPolicyImage TakeImage() { return std::move(_image); }
  const SkxApplicableRows& Applicable() const { return _applicable; }

  /// What the author called things, read anew. None where nobody has said, or `fault` says why it cannot be read.
  CkxAuthorNames Names(std::string* fault = nullptr) const;

  /// "DIR/policies.sec", or what the documents are called, for lines that say where something is.
  std::string PlaceOf(const char* file) const;

 private:
  CkxPolicySet() = default;

  SkxPolicyImage _image;
  SkxApplicableRows _applicable;
  std::string _name;
  bool _isFolder = false;
};
