// Whether a program lies where the system keeps one of its own. Elsewhere anything may bear that name.
#pragma once

#include <optional>

#include "Common_CPP/util/text_view.h"

class CkxSystemPlace {
 public:
  /// Of a program's full path, which must outlive it.
  explicit CkxSystemPlace(CkxTextView programPath);

  /// `place` is a wildcard, "?:\Windows\System32\cmd.exe". Users may make the system's folders anew on another drive: a
  /// place that begins with "?:" is on the drive that the system lives on where that is known
  /// (IkxMachineFacts::WindowsFolder), else on any.
  bool Is(CkxTextView place) const;

 private:
  const std::optional<KxWString> _normalized;
  const CkxTextView _path;
  const bool _isOnSystemDrive;
};
