// What an installer package or a patch says of itself.
//
// Its properties are those of the table "Property", by the names that they have there; of a patch, which is applied to
// products that have their own, those of "MsiPatchMetadata" that no company has added. Beside them, from the summary
// information and therefore there before anything is installed:
//
//   Summary.Title, .Subject, .Author, .Keywords, .Comments, .Template, .LastAuthor, .RevisionNumber
//   PackageCode          of a package: which build of it this is, "{...}"
//   PatchCode            of a patch: which one it is, "{...}"
//   TargetProductCodes   of a patch: the products that it is for, "{...};{...}"
//   ProductName, Manufacturer   of a patch that does not say: of what, and by whom, as its summary has it
#pragma once

#include <map>
#include <optional>

#include "Common_CPP/util/text_view.h"

class IkxByteSource;

struct SkxMsiPackage {
  bool isPatch = false;
  std::map<KxWString, KxWString> properties;  ///< none of them empty

  /// Names differ by case; null when there is none.
  const KxWString* Property(CkxTextView name) const;
};

/// Nothing when it is neither, or broken.
std::optional<SkxMsiPackage> KxMsi_Read(const IkxByteSource& file);
