#include <kx_util/match_file.h>

#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/file/path.h"
#include "Common_CPP/util/trace.h"

namespace {

/// Brackets a publisher match in the trace, on every way out: asking for a signer may take long.
class CkxPublisherMatchEvents {
 public:
  CkxPublisherMatchEvents() { KxTrace(EkxTraceLevel::Trace, kScope, "_KxTlgMatchPublisherStartImpl"); }
  ~CkxPublisherMatchEvents() { KxTrace(EkxTraceLevel::Trace, kScope, "_KxTlgMatchPublisherStopImpl"); }
  CkxPublisherMatchEvents(const CkxPublisherMatchEvents&) = delete;
  CkxPublisherMatchEvents& operator=(const CkxPublisherMatchEvents&) = delete;

 private:
  static constexpr std::string_view kScope = "KxUtil_MatchPublisher";
};

struct SkxAskedSigner {
  CkxTextView name;
  EkxPublisherStatus status = EkxPublisherStatus::Unknown;
};

SkxAskedSigner AskForSigner(const IkxPublisherProvider& provider, bool second) {
  SkxAskedSigner signer;
  signer.name = provider.GetPublisher(second, signer.status);
  return signer;
}

}  // namespace

bool KxUtil_MatchFilename(const IkxPathProvider& provider, CkxTextView pattern, EkxStrCompareAs compareAs) {
  const CkxTextView path = provider.GetPath();
  return !path.IsEmpty() && KxUtil_MatchStr(pattern, KxPath_FileName(path), false, compareAs);
}

bool KxUtil_MatchHash(const IkxHashProvider& provider, CkxTextView algorithm, CkxTextView hash, int64_t fileSize) {
  return KxEntry(false, [&] {
    if (hash.IsEmpty()) return true;
    if (algorithm.IsEmpty()) return false;
    if (fileSize != IkxPathProvider::kUnknownSize && provider.GetFileSize() != fileSize) return false;
    const CkxTextView actual = provider.GetHashStringUsing(algorithm.ToString().c_str());
    return !actual.IsNull() && KxText_Equals(actual, hash, false);
  });
}

bool KxUtil_MatchFilenameAndHash(const IkxHashProvider& provider, CkxTextView namePattern, EkxStrCompareAs compareAs,
                                 CkxTextView algorithm, CkxTextView hash, int64_t fileSize) {
  return KxUtil_MatchFilename(provider, namePattern, compareAs) &&
         KxUtil_MatchHash(provider, algorithm, hash, fileSize);
}

bool KxUtil_MatchFileOwner(const IkxOwnerProvider& provider, const CkxSid& owner) {
  const CkxSid* const actual = provider.GetOwner();
  return actual != nullptr && actual->Equals(owner);
}

bool KxUtil_MatchPublisher(const IkxPublisherProvider& provider, CkxTextView pattern, bool caseSensitive,
                           EkxStrCompareAs compareAs) {
  return KxEntry(false, [&] {
    const CkxPublisherMatchEvents events;
    const auto matches = [&](const SkxAskedSigner& signer) {
      return !signer.name.IsEmpty() && KxUtil_MatchStr(pattern, signer.name, caseSensitive, compareAs);
    };
    const SkxAskedSigner first = AskForSigner(provider, false);
    if (first.status != EkxPublisherStatus::Valid && first.status != EkxPublisherStatus::ValidByWeakDigest)
      return false;
    if (!matches(first)) return false;
    if (first.status == EkxPublisherStatus::Valid) return true;
    const SkxAskedSigner second = AskForSigner(provider, true);
    return second.status == EkxPublisherStatus::Valid && matches(second);
  });
}

bool KxUtil_MatchFilePublisher(const WCHAR* path, CkxTextView pattern, bool caseSensitive, EkxStrCompareAs compareAs) {
  return KxEntry(false, [&] {
    const CkxTargetInfoFile file(path, nullptr);
    return KxUtil_MatchPublisher(file, pattern, caseSensitive, compareAs);
  });
}

bool KxUtil_MatchFileVersionInfo(const IkxVersionInfoProvider& provider, const WCHAR* field, CkxTextView pattern,
                                 bool caseSensitive, EkxStrCompareAs compareAs) {
  const CkxTextView text = provider.GetVersionInfo(field);
  return !text.IsNull() && KxUtil_MatchStr(pattern, text, caseSensitive, compareAs);
}

bool KxUtil_MatchFileMsiInfo(const CkxTargetInfoFile& file, const WCHAR* property, CkxTextView pattern,
                             bool caseSensitive, EkxStrCompareAs compareAs) {
  const CkxTextView text = file.GetMsiProperty(property);
  return !text.IsNull() && KxUtil_MatchStr(pattern, text, caseSensitive, compareAs);
}
