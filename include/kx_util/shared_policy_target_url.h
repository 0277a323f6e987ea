// Targets that are addresses of downloads.
#pragma once

#include <kx_util/shared_policy_target.h>

/// A request to elevate a download: the pattern of its address.
class KX_UTIL_API CkxShBufTargetUrl : public CkxShBufTarget {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  bool MatchTarget(const CkxTargetInfo& target) const override;
  void AppendDebugMsg(CkxUtilStr& text) const override;

  const CkxShBufPropStr& Url() const { return _url; }

 private:
  CkxShBufPropStr _url;
};
