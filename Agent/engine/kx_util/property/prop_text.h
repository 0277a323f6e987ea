// Properties in words, as whoever wrote the policy would put them: for the debug texts of targets, and for what a check
// that failed had expected. A property that is not initialized is "anything".
#pragma once

#include <kx_util/shared_policy_origin_props.h>
#include <kx_util/shared_policy_resource_props.h>

void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropStr& prop);            // starts with foo, case-sensitive
void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropFileName& prop);       // equals a.exe, MD5##00FF, 10 bytes
void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropFileLocation& prop);   // C:\Tools with subfolders, on FIXED
void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropSvcName& prop);        // Spooler
void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropVersionRange& prop);   // 1.0.0.0 to 2.0.0.0
void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropPublisher& prop);      // equals Vendor, or "unsigned"
void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropFileOwner& prop);      // S-1-5-18
void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropFileVerInfo& prop);    // CompanyName equals Vendor
void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropPublishers& prop);     // the elements, joined by " or "
void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropFileOwners& prop);     // the same
void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropFileVerInfos& prop);   // the elements, joined by " and "
void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropParentProcess& prop);  // in {G}, not in {G} (any ancestor)
void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropFileOrigin& prop);     // of source type 3
void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropFileMsiInfo& prop);    // ProductCode equals {...}
void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropFileMsiInfos& prop);   // the elements, joined by " and "
void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropCapability& prop);     // internetClient, or "not webcam"
void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropCapabilities& prop);   // the elements, joined by " and "
void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropMediaInfo& prop);      // Type equals USB, Vendor equals V

/// "1.2.3.4"; an empty version, which a bound may be, has no text.
void KxPropText_Append(CkxUtilStr& text, const SkxVersion& version);
