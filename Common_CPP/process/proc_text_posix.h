// The files of /proc that tell of one process. Their first lines are the kernel's; the name in them is the process's
// own to choose, and its arguments are whatever bytes it has there.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string_view>
#include <vector>

#include "Common_CPP/util/text_view.h"

/// /proc/PID/stat: "4711 (name) S 1 4711 4711 ...". The name may hold blanks, parentheses and line ends.
struct SkxProcStat {
  char state = 0;
  uint32_t parent = 0;
  uint64_t startTicks = 0;  ///< since the system started
  bool isKernelThread = false;
  bool HasEnded() const { return state == 'Z' || state == 'X' || state == 'x'; }
};
std::optional<SkxProcStat> KxProc_ParseStat(std::string_view text);

/// /proc/PID/status, of which these lines count: "Tgid:\t4711", "Uid:\tREAL\tEFFECTIVE\t...", "Gid:" likewise,
/// "Groups:\tGID GID ...".
struct SkxProcStatus {
  uint32_t threadGroup = 0;  ///< the process that it is, or is a thread of
  uid_t effectiveUser = 0;
  std::vector<gid_t> groups;  ///< with the effective one
};
std::optional<SkxProcStatus> KxProc_ParseStatus(std::string_view text);

/// /proc/PID/cmdline, each argument with a NUL behind it, as one command line, which the rules of command_line.h take
/// apart into the same arguments. Two things cannot be said by those rules, and are left out: quotes in a program's
/// name that has blanks too, or begins with one. Bytes that are no UTF-8 become U+FFFD.
KxWString KxProc_CommandLine(std::string_view arguments);

/// "NAME (deleted)" as the name of an image that was removed; false for any other.
bool KxProc_TakeDeletedMark(std::string_view& image);
