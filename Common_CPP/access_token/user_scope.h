// Whether a user is in a scope: in a security descriptor's text (SDDL), those whom it gives access 4.
//
// Reading and everything are mapped to that one bit, and the local system (S-1-5-18) takes the place of owner and group
// whatever the text says, so that nobody is in scope merely by owning it. A text that is malformed has nobody in its
// scope and writes an error line.
//
// A token of the system is judged by the system. One made from facts, and the process's own where the system has no
// tokens, is judged by our own walk (Common_CPP/security/access_check.h); what they list is enabled, and they have
// beside that what every logon gives and nobody records, unless they list it as good for refusals alone:
//
// - S-1-1-0, everyone, unless the user is anonymous (S-1-5-7);
// - S-1-5-11, authenticated users, unless the user is anonymous or lists the guests (S-1-5-32-546);
// - S-1-5-32-544, administrators, when it is an administrator's.
//
// Nothing else is implied: users (S-1-5-32-545) are those who list it.
#pragma once

#include "Common_CPP/util/text_view.h"

/// The user of a token that stands for nobody known: in no scope, whatever it grants, and a member of nothing.
inline constexpr const char* kKxNobody = "S-1-0-0";

/// `token` is an impersonation token, or one made from facts. Null is nobody's, and a primary token is an error line.
bool KxUserScope_ContainsImpersonated(CkxTextView sddl, void* token);

/// Any token, null being the caller's own: of the thread, or of the process when the thread has none. A primary token
/// is duplicated for the question.
bool KxUserScope_Contains(CkxTextView sddl, void* token);
