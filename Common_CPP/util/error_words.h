// Why the system refused, in words for a person: the same on every system, and in no other language or encoding.
#pragma once

#include <string>
#include <system_error>

/// The thread's last error: "no permission"; "error 1337" where there are no words.
std::string KxError_Words();

/// The same of what the standard library was told.
std::string KxError_Words(const std::error_code& error);
