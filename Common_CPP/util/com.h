// COM for the calling thread, in the multithreaded model. Where the system has no COM both calls do nothing and
// succeed.
#pragma once

#include <cstdint>

/// An HRESULT: negative when the thread has been initialised in another model already, which then stays as it is.
int32_t KxCom_Initialize();

/// Pairs with one `KxCom_Initialize` that did not fail.
void KxCom_Uninitialize();
