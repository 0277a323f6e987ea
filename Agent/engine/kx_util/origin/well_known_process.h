// Processes that everybody knows, by one table: what they are called, where they must lie and who must have signed
// them. A file's origin says more by their names than by their paths, and a walk up from a process ends at some of
// them.
//
// A name alone is anybody's to take, so all three must fit, and the costly one is asked last: a browser that lies in a
// user's own folder, or that is not signed by its maker, is a program like any other.
#pragma once

#include <kx_util/target_info_process.h>

#include "Common_CPP/secure_named_pipe/peer_identity.h"

enum class EkxWellKnownKind : unsigned char {
  System,       ///< a part of the system
  Browser,      ///< brings files from the internet
  Messenger,    ///< likewise, from whoever writes to its user
  Mail,         ///< brings attachments
  FileManager,  ///< copies files for its user
  Archiver,     ///< takes files out of archives
  Distributor,  ///< installs software on behalf of an administrator
};

/// The folder where the program must lie, on a fixed drive.
enum class EkxWellKnownPlace : unsigned char {
  Kernel,         ///< in none: the pseudo-file "System"
  WindowsFolder,  ///< itself
  SystemFolder,   ///< "System32" or "SysWOW64"
  Servicing,      ///< "servicing" of the Windows folder
  Ccm,            ///< "CCM" of the Windows folder
  Anywhere,
};

struct SkxWellKnownProcess {
  const WCHAR* shortName;  ///< in records of origins: "explorer"
  const WCHAR* image;      ///< file name; null for the kernel
  const WCHAR* humanName;  ///< null where there is none
  const WCHAR* publisher;  ///< of a signature that holds, maybe with a legal form behind it; null: not known, and no
                           ///< process fits
  EkxWellKnownPlace place;
  EkxWellKnownKind kind;
  bool endsWalk;  ///< whatever started it did not bring the file: it runs for as long as its user is there
};

/// The row of that short name, in letters of any case; null when there is none.
const SkxWellKnownProcess* KxWellKnown_ByName(CkxTextView shortName);

/// The row that the process fits with name, place and publisher; null when it is no such process.
const SkxWellKnownProcess* KxWellKnown_Of(const CkxTargetInfoProcess& process);

/// Whether the process is the agent's own: its image has the name that is expected of the agent, lies where only
/// administrators install programs, and has the signer, where one is expected. Where no image is expected nothing is.
bool KxWellKnown_IsAgent(const CkxTargetInfoProcess& process, const SkxExpectedPeer& expected);
