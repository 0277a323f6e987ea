// For whom a target counts: a plain text field that holds a security descriptor, or the marker for nobody.
//
// A user is in scope when the descriptor gives them access 4 (which read and all map to), with the local system as
// owner and group whatever the text says, so that nobody is in scope merely by owning it.
#pragma once

#include <kx_util/shared_buffer.h>

/// Whom a target is for.
class KX_UTIL_API CkxShBufTargetUsers {
 public:
  static const WCHAR* const kNoUsers;  ///< "KxNoUsers"

  /// Reads the text and moves on; false for one that is malformed.
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining);

  /// SDDL, or the marker; may be absent.
  const WCHAR* SecurityDescStr() const { return _text.String(); }
  CkxTextView View() const { return _text.View(); }

  /// Exactly the marker. An absent or empty text is not empty in this sense.
  bool IsEmpty() const;

  /// False for the marker and for an absent or empty text; else whether the user of `token`, an impersonation token, is
  /// in scope. A null token is nobody's.
  bool IsApplicableToUserByImpToken(void* token) const;

  /// True for the marker: the opposite of the answer above, on which callers rely. False for an absent or empty text;
  /// else whether the user of `token` is in scope: null stands for the thread's token, or the process's when the thread
  /// has none.
  bool IsApplicableToUserOC(void* token) const;

 private:
  CkxShBufString _text;
};
