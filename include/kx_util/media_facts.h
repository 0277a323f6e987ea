// Recorded facts of a removable medium or the device that it is in: what it says of itself when it is plugged in. A
// fact that is not given is unknown.
#pragma once

#include <optional>

#include "Common_CPP/util/base.h"

struct SkxMediaFacts {
  std::optional<KxWString> type;          ///< the kind of medium, for instance "USB"
  std::optional<KxWString> vendor;        ///< who made it
  std::optional<KxWString> product;       ///< what its maker calls it
  std::optional<KxWString> serialNumber;  ///< of this very piece
};
