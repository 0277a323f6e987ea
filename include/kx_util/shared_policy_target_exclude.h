// Targets of exclusions.
#pragma once

#include <kx_util/shared_policy_target.h>

/// What an exclusion leaves out: location; file name; users (plain string). Users that are a descriptor limit it to
/// those in that scope; without a text, and with the marker, it is for everybody.
class KX_UTIL_API CkxShBufTargetExclude : public CkxShBufTarget {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  bool MatchTarget(const CkxTargetInfo& target) const override;
  void AppendDebugMsg(CkxUtilStr& text) const override;

  bool MatchExcludedTarget(const IkxPathProvider& file) const;

  const CkxShBufPropFileLocation& Location() const { return _location; }
  const CkxShBufPropFileName& FileName() const { return _fileName; }
  CkxTextView Users() const { return _users.View(); }

 private:
  CkxShBufPropFileLocation _location;
  CkxShBufPropFileName _fileName;
  CkxShBufTargetUsers _users;
};
