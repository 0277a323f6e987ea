// What became of many targets, in numbers that add up: those of several machines or days are one summary together.
//
//   CkxSummary summary(*policies);                // so that policies that never decide are told too
//   summary.Count(judge.Decide(*target));         // for each; summary.CountUnusable() for a line that is no target
//   puts(summary.ToText().c_str());
//   summary.Add(textOfAnotherSummary, error);     // what ToJson wrote
//
// It takes the memory of the policies, whatever the number of targets. Nothing here throws but std::bad_alloc.
#pragma once

#include <kx_publish/decision.h>
#include <kx_publish/policies.h>

/// For one thread at a time.
class CkxSummary {
 public:
  CkxSummary();
  explicit CkxSummary(const CkxPolicies& policies);
  CkxSummary(CkxSummary&&) noexcept;
  CkxSummary& operator=(CkxSummary&&) noexcept;
  ~CkxSummary();

  void Count(const SkxDecision& decision);
  void CountUnusable();

  /// False, with nothing added, for what is no summary, and where a sum does not fit 64 bits.
  bool Add(std::string_view json, SkxDocumentError& error);

  /// One object, as `kxpolicy eval --summary --format json` writes it.
  std::string ToJson() const;

  /// Several lines for a person, each with its end.
  std::string ToText() const;

 private:
  struct Content;
  std::unique_ptr<Content> _content;
};
