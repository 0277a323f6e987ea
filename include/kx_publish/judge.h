// Decides by policies: the one question, for as many targets as come.
//
//   const CkxJudge judge(*policies);                       // policies.h
//   const SkxDecision decision = judge.Decide(*target);    // target.h
//   puts(judge.Answer(line).c_str());                      // a target document in, an answer out
//
// Any threads may ask one judge at once. Nothing here throws but std::bad_alloc: a want of memory is no answer.
#pragma once

#include <kx_publish/decision.h>
#include <kx_publish/policies.h>
#include <kx_publish/prepare.h>
#include <kx_publish/target.h>

/// Holds what it judges by; it never changes.
class CkxJudge {
 public:
  explicit CkxJudge(const CkxPolicies& policies, EkxPrepare prepare = EkxPrepare::AtOnce);
  CkxJudge(CkxJudge&&) noexcept;
  CkxJudge& operator=(CkxJudge&&) noexcept;
  ~CkxJudge();

  SkxDecision Decide(const CkxTarget& target, EkxExplain explain = EkxExplain::None) const;

  /// The same about any description of the library's own (`kx_util/target_info.h`).
  SkxDecision Decide(const CkxTargetInfo& target, EkxExplain explain = EkxExplain::None) const;

  /// The answer to one target document, as `kxpolicy eval --targets` writes it, without a line end. A text that is no
  /// target document is answered with `{"id":…,"error":…}`.
  std::string Answer(std::string_view document, EkxExplain explain = EkxExplain::None) const;

 private:
  struct Content;
  std::unique_ptr<const Content> _content;
};
