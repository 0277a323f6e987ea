// Processes of this machine, as descriptions look at them.
//
// Any process may end, and its number be given to another one, at any moment; a look is of one process all the same:
// it is held (Windows: its handle, elsewhere: its folder in /proc) while it is looked at. What a process can write
// itself, its command line and its current folder, is what it says of itself and no proof of anything.
//
//   std::vector<SkxProcess> chain;
//   if (KxProcess_ReadChain(pid, 32, chain) == EkxProcessLookup::Found) Describe(chain[0], chain[1] ...);
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "Common_CPP/process/process_lookup.h"
#include "Common_CPP/util/text_view.h"

/// Which process it is, whoever has its number before or afterwards.
struct SkxProcessId {
  uint32_t pid = 0;
  int64_t creationTime = 0;  ///< file time
  bool operator==(const SkxProcessId&) const = default;
};

struct SkxProcess {
  uint32_t pid = 0;
  int64_t creationTime = 0;  ///< file time; with the number it is this process and no other
  uint32_t parentPid = 0;    ///< as the system has it: whoever has that number now need not be the parent
  uint32_t session = 0;      ///< the logon session that it is in; 0 is that of services

  bool isKernel = false;       ///< the system itself: it has no image and no command line
  KxWString image;             ///< full path
  bool isImageAtPath = true;   ///< false: the file that runs was removed or replaced, or has that name for others alone
  KxWString commandLine;       ///< to be taken apart as in command_line.h, whatever the system
  KxWString services;          ///< that it hosts: names, separated by "/"
  std::shared_ptr<void> user;  ///< its token, open for as long as that is held; null when it may not be had

  /// Nothing when it is not known, or leads elsewhere than it would in this process.
  std::optional<KxWString> currentFolder;

  SkxProcessId Id() const { return {pid, creationTime}; }
};

/// The process that has that number now. `id` is changed only when found.
EkxProcessLookup KxProcess_Identify(uint32_t pid, SkxProcessId& id);

/// Whether that very process still runs: "no such process" once it has ended, whoever has its number since.
EkxProcessLookup KxProcess_Find(const SkxProcessId& id);

/// The process that the thread of that number belongs to; nothing when there is no such thread, or it may not be
/// looked at.
std::optional<uint32_t> KxProcess_OfThread(uint32_t thread);

/// The services that the process hosts: names, separated by "/"; none on a system that has no such services.
KxWString KxProcess_Services(uint32_t pid);

/// The longest command line that is read, in units; the process of a longer one is refused.
inline constexpr size_t kKxMaxProcessCommandLine = size_t{64} << 10;

/// The process `pid`, its parent, the parent's parent and so on, up to one that has none or cannot be looked at. A
/// process that has the number of a parent, but began later than the child, is none. Refused when there are more than
/// `maxAncestors`: who starts processes of processes must not get rid of an ancestor. `chain` is changed only when
/// found.
EkxProcessLookup KxProcess_ReadChain(uint32_t pid, size_t maxAncestors, std::vector<SkxProcess>& chain);

/// What the relative or full `path` means to a process whose current folder that is; nothing where that depends on more
/// than the folder ("D:name" beside a folder on C:). By text alone: a folder that begins with "/" is one of a system
/// without drives. Without a folder only a path from the root of a drive or of a server is full.
std::optional<KxWString> KxProcess_FullPath(const std::optional<KxWString>& currentFolder, CkxTextView path);
