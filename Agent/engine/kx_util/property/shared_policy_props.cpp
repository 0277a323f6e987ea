// What properties match. A property that is not initialized asks for nothing, unless said otherwise.
#include <kx_util/match_arguments.h>
#include <kx_util/match_file.h>
#include <kx_util/match_location.h>
#include <kx_util/match_service_name.h>
#include <kx_util/shared_policy_props.h>

#include "Common_CPP/util/trace.h"

namespace {

/// Whether `test(property)` holds for any (for every) element of a list property.
template <class Prop, class Test>
bool AnyOf(const CkxShBufPropList<Prop>& list, Test test) {
  for (const CkxPropNode<Prop>& node : list.Elements()) {
    if (test(node.prop)) return true;
  }
  return false;
}

template <class Prop, class Test>
bool AllOf(const CkxShBufPropList<Prop>& list, Test test) {
  return !AnyOf(list, [&](const Prop& prop) { return !test(prop); });
}

}  // namespace

bool CkxShBufPropStr::Match(CkxTextView value) const {
  return !Initialized() || KxUtil_MatchStr(Pattern(), value, CaseSensitive(), CompareAs());
}

bool CkxShBufPropArguments::Match(CkxTextView commandLine, CkxTextView programPath) const {
  if (!Initialized()) return true;
  // A command line holds the program at least: an empty one is not known, and so are the arguments.
  return !commandLine.IsEmpty() &&
         KxUtil_MatchCmdLineArguments(Pattern(), commandLine, programPath, CaseSensitive(), CompareAs());
}

bool CkxShBufPropBitmask::Match(uint32_t value) const {
  return !Initialized() || KxUtil_MatchBitmask(Mask(), value, CompareAs());
}

bool CkxShBufPropFileName::MatchFileName(const IkxPathProvider& file) const {
  if (!Initialized()) return true;
  return Hash().IsEmpty() && KxUtil_MatchFilename(file, Pattern(), CompareAs());
}

bool CkxShBufPropFileName::MatchFileNameAndHash(const IkxHashProvider& file) const {
  return !Initialized() ||
         KxUtil_MatchFilenameAndHash(file, Pattern(), CompareAs(), HashAlgorithm(), Hash(), FileSize());
}

bool CkxShBufPropFileLocation::Match(const IkxPathProvider& file) const {
  return !Initialized() || KxUtil_MatchFileLocation(file, LocationTypes(), Pattern(), WithSubfolders());
}

bool CkxShBufPropSvcName::Match(CkxTextView serviceNames) const {
  return !Initialized() || KxUtil_MatchServiceName(serviceNames, Name());
}

bool CkxShBufPropSvcName::Match(const CkxTargetInfoProcess& process) const { return Match(process.ServiceNames()); }

bool CkxShBufPropVersionRange::Match(const SkxVersion& version) const {
  return !Initialized() || Range().Contains(version);
}

bool CkxShBufPropPublisher::Match(const IkxPublisherProvider& file) const {
  if (!Initialized()) return false;
  if (!UnsignedOnly()) return KxUtil_MatchPublisher(file, Pattern(), CaseSensitive(), CompareAs());
  EkxPublisherStatus status = EkxPublisherStatus::Unknown;
  return file.GetPublisher(false, status) == nullptr;
}

bool CkxShBufPropFileOwner::Match(const IkxOwnerProvider& file) const {
  return !Initialized() || KxUtil_MatchFileOwner(file, Owner());
}

bool CkxShBufPropFileVerInfo::Match(const IkxVersionInfoProvider& file) const {
  return Initialized() &&
         KxUtil_MatchFileVersionInfo(file, _field.SafeString(), Pattern(), CaseSensitive(), CompareAs());
}

bool CkxShBufPropFileMsiInfo::Match(const CkxTargetInfoFile& file) const {
  return Initialized() &&
         KxUtil_MatchFileMsiInfo(file, _property.SafeString(), Pattern(), CaseSensitive(), CompareAs());
}

bool CkxShBufPropPublishers::Match(const IkxPublisherProvider& file, bool allowed) const {
  if (!Initialized()) return true;
  if (!allowed) {
    KxTrace(EkxTraceLevel::Warning, "CkxShBufPropPublishers",
            " CkxShBufPropPublishers::Match. WARNING: This type of object is not allowed for matching by publishers");
    return false;
  }
  return AnyOf(*this, [&](const CkxShBufPropPublisher& publisher) { return publisher.Match(file); });
}

bool CkxShBufPropFileOwners::Match(const IkxOwnerProvider& file) const {
  return !Initialized() || AnyOf(*this, [&](const CkxShBufPropFileOwner& owner) { return owner.Match(file); });
}

bool CkxShBufPropFileVerInfos::Match(const IkxVersionInfoProvider& file) const {
  return !Initialized() || AllOf(*this, [&](const CkxShBufPropFileVerInfo& field) { return field.Match(file); });
}

bool CkxShBufPropFileMsiInfos::Match(const CkxTargetInfoFile& file) const {
  return !Initialized() || AllOf(*this, [&](const CkxShBufPropFileMsiInfo& info) { return info.Match(file); });
}
