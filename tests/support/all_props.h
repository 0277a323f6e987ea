// Every kind of property, once, for whatever goes through them all.
//
//   template <class... Prop>
//   auto Makers(KxTest_Props<Prop...>) { return std::vector{Make<Prop>...}; }
//   const auto makers = Makers(KxTest_AllProps());
#pragma once

#include <kx_util/shared_policy_origin_props.h>
#include <kx_util/shared_policy_resource_props.h>

template <class... Prop>
struct KxTest_Props {};

/// The inputs of props_fuzz name kinds by their places here: a new one goes to the end.
using KxTest_AllProps =
    KxTest_Props<CkxShBufPropStr, CkxShBufPropArguments, CkxShBufPropBitmask, CkxShBufPropFileName,
                 CkxShBufPropFileLocation, CkxShBufPropSvcName, CkxShBufPropVersionRange, CkxShBufPropPublisher,
                 CkxShBufPropPublishers, CkxShBufPropFileOwner, CkxShBufPropFileOwners, CkxShBufPropFileVerInfo,
                 CkxShBufPropFileVerInfos, CkxShBufPropFileMsiInfo, CkxShBufPropFileMsiInfos, CkxShBufPropParentProcess,
                 CkxShBufPropNameValuePair, CkxShBufPropFSPath, CkxShBufPropCapability, CkxShBufPropCapabilities,
                 CkxShBufPropMediaInfo, CkxShBufPropMediaInfos, CkxShBufPropDistributionService,
                 CkxShBufPropSpawnerProcess, CkxShBufPropUserOrGroup, CkxShBufPropUserList, CkxShBufPropPackage,
                 CkxShBufPropFileOrigin>;
