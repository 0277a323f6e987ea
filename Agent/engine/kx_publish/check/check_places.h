// Where the findings of a check are: a byte of a section's file, or a place in a policy document.
#pragma once

#include <kx_publish/policy_check.h>

#include "Agent/engine/kx_publish/document/json_place.h"
#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/policy_document.h"
#include "Agent/engine/kx_publish/lint/lint.h"

struct SkxCheckPlace {
  std::string file;                    ///< or document
  std::optional<size_t> offset;        ///< bytes, in a file
  std::optional<std::string> pointer;  ///< in a document
  std::optional<SkxTextPlace> text{};  ///< of that value
};

/// In the image in the folder `image`.
SkxCheckPlace KxCheckPlace_InImage(const std::string& image, const SkxFinding& finding);

/// The documents that were compiled to what findings are about, in that order.
class CkxCheckedDocuments {
 public:
  /// `document` outlives this; `json` is empty where no reader takes it.
  void Add(const SkxDocumentText& document, CkxJsonDocument json) {
    _documents.push_back({document.name, std::move(json), CkxJsonPlaces(document.text)});
  }

  SkxCheckPlace PlaceOf(const SkxDocumentError& fault) const;

  /// The deepest place that the document has on the way to the field: a shorthand stands for all that it is short for.
  SkxCheckPlace PlaceOf(const SkxFinding& finding) const;

  /// Where `sid` is first named, as a row or among users.
  SkxCheckPlace PlaceOfUser(const std::string& sid) const;

  /// The policy that `fault` is in.
  void NamePolicy(const SkxDocumentError& fault, SkxCheckFinding& finding) const;

 private:
  struct Document {
    std::string name;
    CkxJsonDocument json;
    CkxJsonPlaces places;
  };

  static SkxCheckPlace PlaceIn(const Document& document, const std::string& pointer) {
    return {document.name, std::nullopt, pointer, document.places.Of(pointer)};
  }

  std::vector<Document> _documents;
};
