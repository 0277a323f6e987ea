// Policy documents checked: their faults, or what cannot have been meant in what they say.
#pragma once

#include <kx_publish/policy_check.h>

#include "Agent/engine/kx_publish/check/check_places.h"

struct SkxDocumentCheck {
  std::vector<SkxCheckFinding> findings;
  bool isJson = true;  ///< else nothing was read, and all findings are about that
};
SkxDocumentCheck KxCheck_Documents(std::span<const SkxDocumentText> documents);

/// What cannot have been meant in a publication that was read from `documents`; `image` is compiled from it.
std::vector<SkxCheckFinding> KxCheck_Publication(const SkxPublication& publication, const SkxPolicyImage& image,
                                                 const CkxCheckedDocuments& documents);

/// As it is told.
SkxCheckFinding KxCheck_Finding(const SkxFinding& finding, const SkxCheckPlace& place);

/// About no record: a row of users, a document that says something else than a publication.
SkxCheckFinding KxCheck_Finding(EkxSeverity severity, const char* rule, const std::string& message,
                                const SkxCheckPlace& place);
SkxCheckFinding KxCheck_Finding(const SkxRowFinding& row, const SkxCheckPlace& place);
