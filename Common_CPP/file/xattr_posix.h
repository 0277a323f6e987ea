// The system's extended attributes of an open file, as the library names them: without "user.", the same in letters of
// any case. Statuses as in native_ea.h; a failing call of the system sets the thread's last error too.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Of the call that failed, and its last error.
long KxXattr_StatusOfErrno();

/// Those whose name is one of the library's, each once and as the system has it: of several that are the same in
/// letters of any case the one in capitals, else the first.
long KxXattr_Names(int file, std::vector<std::string>& names);

/// By its name as the system has it. One that no record can hold is `kKxStatusEaTooLarge`.
long KxXattr_Get(int file, const std::string& name, std::vector<unsigned char>& value);

/// The one that counts of that name.
long KxXattr_Find(int file, const std::string& upperName, std::vector<unsigned char>& value);

/// Under the name in capitals; then the others of that name are removed.
long KxXattr_Set(int file, std::string_view name, std::span<const unsigned char> value);

/// All of that name. One that is not there is removed successfully.
long KxXattr_Remove(int file, std::string_view name);
