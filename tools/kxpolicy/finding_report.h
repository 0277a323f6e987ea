// The findings of a check as they are told to people and to programs.
#pragma once

#include <kx_publish/policy_check.h>

#include <iosfwd>

/// Writes findings as they come: a line each, or a JSON object.
class CkxFindingReport {
 public:
  CkxFindingReport(std::ostream& out, bool asJson) : _out(out), _asJson(asJson) {}

  void Add(const SkxCheckFinding& finding);

  size_t Errors() const { return _errors; }
  size_t Warnings() const { return _warnings; }

 private:
  std::ostream& _out;
  const bool _asJson;
  size_t _errors = 0;
  size_t _warnings = 0;
};
