// What is wrong in policy documents, then what cannot have been meant, as `kxpolicy check` tells it: for editors, and
// for who takes documents from others.
//
//   for (const SkxCheckFinding& finding : KxPolicies_Check(documents)) puts(finding.ToText().c_str());
//
// Nothing here throws but std::bad_alloc.
#pragma once

#include <kx_publish/document_error.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

/// What is to be said about one place.
struct SkxCheckFinding {
  bool isError = false;                ///< else a warning: it compiles, and is probably not meant
  std::string rule;                    ///< docs/kxpolicy.md lists them; "document": it does not compile
  std::string file;                    ///< the document's name; of an image the file of the section
  std::optional<size_t> offset;        ///< bytes, in a section
  std::optional<std::string> pointer;  ///< a JSON pointer, in a document
  std::optional<size_t> line, column;  ///< of that value; both from 1, columns are bytes
  std::optional<uint32_t> policyId;    ///< where it is about a policy
  std::optional<std::string> policyName;
  std::string message;

  /// One line without its end, the one of `kxpolicy check --format json`.
  std::string ToJson() const;

  /// One line without its end for a person: "policies.jsonc:3:5: /policies/0: warning: ...".
  std::string ToText() const;
};

/// All of `documents`, which make one publication together. Faults of each policy, group and alert the first; warnings
/// where there is no fault. Of documents of which one is no JSON at all, only what keeps each from being JSON.
std::vector<SkxCheckFinding> KxPolicies_Check(std::span<const SkxDocumentText> documents);
