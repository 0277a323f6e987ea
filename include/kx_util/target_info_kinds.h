// The smaller kinds of target descriptions: an elevation request, an ActiveX control, a COM object behind an elevation
// prompt.
#pragma once

#include <kx_util/target_info_file.h>

/// A request to elevate something that is no file yet, such as a download. Has no provider at all.
class KX_UTIL_API CkxTargetInfoElevator : public CkxTargetInfo {
 public:
  static constexpr uint32_t kUrlRequest = 2;

  /// `type` is what a record says of it; else the kind of request does.
  CkxTargetInfoElevator(uint32_t requestKind, CkxUtilStr url, void* userToken, bool flag = false,
                        std::optional<EkxPolicyTarget> type = std::nullopt);
  bool IsTargetInfoElevator() const override { return true; }
  EkxPolicyTarget TargetType() const override { return _type; }
  uint32_t RequestKind() const { return _requestKind; }
  const WCHAR* Url() const { return _url.String(); }

 protected:
  void _GetDescriptionForAlert(CkxUtilStr& text) const override;
  void _GetDescriptionForEvent(CkxUtilStr& text) const override;

 private:
  const uint32_t _requestKind;
  const CkxUtilStr _url;
  const EkxPolicyTarget _type;
};

/// What the kinds share that stand for a file without being one: the providers of that file.
class KX_UTIL_API CkxTargetInfoServer : public CkxTargetInfo {
 public:
  /// `type` is the kind's, where the facts do not say another.
  CkxTargetInfoServer(SkxFileFacts facts, SkxServerFacts server, EkxPolicyTarget type, void* userToken, bool flag);
  CkxTargetInfoServer(const WCHAR* path, SkxServerFacts server, EkxPolicyTarget type, void* userToken, bool flag);
  const IkxPathProvider* QueryPathProvider() const override { return &_file; }
  const IkxHashProvider* QueryHashProvider() const override { return &_file; }
  const IkxPublisherProvider* QueryPublisherProvider() const override { return &_file; }
  EkxPolicyTarget TargetType() const override { return _type; }
  CkxTextView ClassId() const { return _server.classId; }  ///< empty when unknown

 protected:
  const SkxServerFacts& Server() const { return _server; }
  const CkxTargetInfoFile& File() const { return _file; }
  void _GetDescriptionForAlert(CkxUtilStr& text) const override;
  void _GetDescriptionForEvent(CkxUtilStr& text) const override;

 private:
  const CkxTargetInfoFile _file;
  const SkxServerFacts _server;
  const EkxPolicyTarget _type;
};

/// A control that a page asks to install or to run.
class KX_UTIL_API CkxTargetInfoActiveX : public CkxTargetInfoServer {
 public:
  template <class Source>
  CkxTargetInfoActiveX(Source source, SkxServerFacts server, void* userToken, bool flag = false)
      : CkxTargetInfoServer(std::move(source), std::move(server), EkxPolicyTarget::ActiveX, userToken, flag) {}
  bool IsTargetInfoActiveX() const override { return true; }
  CkxTextView SourceAddress() const { return Server().sourceAddress; }  ///< empty when unknown
};

/// A component that asks to be made elevated.
class KX_UTIL_API CkxTargetInfoUacCOM : public CkxTargetInfoServer {
 public:
  template <class Source>
  CkxTargetInfoUacCOM(Source source, SkxServerFacts server, void* userToken, bool flag = false)
      : CkxTargetInfoServer(std::move(source), std::move(server), EkxPolicyTarget::Com, userToken, flag) {}
  bool IsTargetInfoUacCOM() const override { return true; }
  const IkxOwnerProvider* QueryOwnerProvider() const override { return &File(); }
  const IkxVersionInfoProvider* QueryVersionInfoProvider() const override { return &File(); }
};
