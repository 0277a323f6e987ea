// Facts of a removable medium or the device that it is in: what it says of itself when it is plugged in. A fact that is
// not given is unknown.
//
//   SkxMediaFacts media;
//   if (KxUtil_GetMediaFacts(KXW("E:\\"), media) && target.MatchMedia(media)) Enforce(target.AccessMask());
#pragma once

#include <optional>

#include "Common_CPP/util/text_view.h"

/// The kinds that this machine is asked for: storage on the USB; a disc, whatever its drive is connected by.
inline constexpr const WCHAR* kKxMediaUsb = KXW("USB");
inline constexpr const WCHAR* kKxMediaOpticalDisc = KXW("CDROM");

/// The device behind a file; what is absent is not known of it.
struct SkxMediaFacts {
  std::optional<KxWString> type;          ///< the kind of medium, for instance "USB"
  std::optional<KxWString> vendor;        ///< who made it
  std::optional<KxWString> product;       ///< what its maker calls it
  std::optional<KxWString> serialNumber;  ///< of this very piece
};

/// Of what `path` lies on, a file, a folder or a drive of this machine, as the calling thread's user sees it; asked of
/// the system each time. False, with nothing changed, for what is on a device of the machine's own, on another machine,
/// or where the system does not tell.
KX_UTIL_API bool KxUtil_GetMediaFacts(CkxTextView path, SkxMediaFacts& media) noexcept;
