// A handle of the system's that somebody hands over to be kept: a Windows handle, elsewhere a descriptor as a pointer.
#pragma once

/// Null is none, and so is what is -1 as a number.
bool KxHandle_IsNone(void* handle) noexcept;

/// Leaves the thread's last error as it is; of none there is nothing to close.
void KxHandle_Close(void* handle) noexcept;
