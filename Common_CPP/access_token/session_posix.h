// The login session of a process, which the kernel gives it when somebody logs on and which all that it starts inherit.
#pragma once

#include <cstdint>
#include <string_view>

/// Of a folder of /proc. 0, as for what no login has started, such as services, where the system keeps no sessions.
uint32_t KxPosixSession_Of(int processFolder);

/// The content of "sessionid": a number, of which the largest means none. 0 for any other text.
uint32_t KxPosixSession_Parse(std::string_view text);
