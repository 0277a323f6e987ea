// The checks that kinds of targets are put together from: each asks one property about a description, and tells whoever
// watches what was expected and what was there when it fails. A property that is not set asks for nothing and costs
// nothing: the fact behind it is not fetched. A remembered process (`CkxFileSrcProcess`) is asked by the same checks;
// what such a record does not hold is never a match.
#pragma once

#include <kx_util/file_src_process.h>
#include <kx_util/shared_policy_origin_props.h>
#include <kx_util/shared_policy_resource_props.h>
#include <kx_util/shared_policy_target_users.h>

#include "Agent/engine/kx_util/property/prop_text.h"
#include "Agent/engine/kx_util/watch/observe.h"

/// `matched`, by which what is about to run is of the kind that the target is about.
bool KxCheck_Kind(bool matched, const WCHAR* expected, const CkxTargetInfo& target);

bool KxCheck_Arguments(const CkxShBufPropArguments& arguments, const CkxTargetInfoProcess& process);
bool KxCheck_Arguments(const CkxShBufPropArguments& arguments, const CkxFileSrcProcess& process);

/// By name alone, or by name and hash.
bool KxCheck_FileName(const CkxShBufPropFileName& fileName, const IkxPathProvider& file);
bool KxCheck_FileNameAndHash(const CkxShBufPropFileName& fileName, const IkxHashProvider& file);

bool KxCheck_Location(const CkxShBufPropFileLocation& location, const IkxPathProvider& file);

/// The types of location are asked about the drive as the record remembers it.
bool KxCheck_Location(const CkxShBufPropFileLocation& location, const CkxFileSrcProcess& process);

bool KxCheck_Origin(const CkxShBufPropFileOrigin& origin, const CkxTargetInfoFile& file);
bool KxCheck_ServiceName(const CkxShBufPropSvcName& serviceName, CkxTextView services);  ///< separated by "/"
bool KxCheck_Owners(const CkxShBufPropFileOwners& owners, const IkxOwnerProvider& file);
bool KxCheck_FileVersion(const CkxShBufPropVersionRange& range, const CkxTargetInfoFile& file);

/// The version text of the package for an installer package, else of the file's version resource.
bool KxCheck_ProductVersion(const CkxShBufPropVersionRange& range, const CkxTargetInfoFile& file);

bool KxCheck_VersionFields(const CkxShBufPropFileVerInfos& fields, const IkxVersionInfoProvider& file);
bool KxCheck_Publishers(const CkxShBufPropPublishers& publishers, const IkxPublisherProvider& file);
bool KxCheck_ParentProcess(const CkxShBufPropParentProcess& parent, const CkxTargetInfoProcess& process);

/// An empty pattern takes every address.
bool KxCheck_Url(const CkxShBufPropStr& url, CkxTextView requested);

/// A text of the description, which is unknown when it is empty; `name` is what whoever watches knows the property by.
bool KxCheck_Text(const char* name, const CkxShBufPropStr& prop, CkxTextView actual);

bool KxCheck_InstallerProperties(const CkxShBufPropFileMsiInfos& properties, const CkxTargetInfoFile& package);
bool KxCheck_PackageVersion(const CkxShBufPropVersionRange& range, const SkxAppPackageFacts& package);

/// Each capability with its flag set is declared, each with its flag clear is not.
bool KxCheck_Capabilities(const CkxShBufPropCapabilities& capabilities, const SkxAppPackageFacts& package);

/// A property about what a remembered process does not hold: it must not be set.
template <class Prop>
bool KxCheck_NotRemembered(const char* name, const Prop& prop) {
  return KxObserve_Check(name, !prop.Initialized(), [&](CkxUtilStr& expected, CkxUtilStr& actual) {
    KxPropText_Append(expected, prop);
    actual.Append(KXW("not remembered"));
  });
}

/// Whether the user of `token`, null being the caller, is one of `users`: any, for the marker and without a text.
bool KxCheck_Users(const CkxShBufTargetUsers& users, void* token);
