// The findings of a check as they are told to people and to programs.
#pragma once

#include <iosfwd>
#include <vector>

#include "Agent/engine/kx_publish/lint/lint.h"
#include "tools/kxpolicy/check_places.h"

/// A finding about no record: of a row of users, of a document that says something else than a publication.
SkxFinding KxFinding_Of(EkxSeverity severity, const char* rule, const std::string& message);

/// Writes findings as they come: a line each, or a JSON object.
class CkxFindingReport {
 public:
  CkxFindingReport(std::ostream& out, bool asJson) : _out(out), _asJson(asJson) {}

  void Add(const SkxFinding& finding, const SkxCheckPlace& place);
  void AddRow(const SkxRowFinding& row, const SkxCheckPlace& place);

  /// What cannot have been meant in a publication that was read from `documents`; `image` is compiled from it.
  void AddLint(const SkxPublication& publication, const SkxPolicyImage& image, const CkxCheckedDocuments& documents);

  size_t Errors() const { return _errors; }
  size_t Warnings() const { return _warnings; }

 private:
  std::ostream& _out;
  const bool _asJson;
  size_t _errors = 0;
  size_t _warnings = 0;
};
