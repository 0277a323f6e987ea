// Live things as target documents: the inverse of target_document.h. Whatever a policy can ask of a file or a process
// is fetched and written down, with the user and what the machine says of the drives, so that the document is judged
// elsewhere as the thing is judged here.
//
//   ordered_json document = KxTargetDocument_Write(target);   // throws CkxDocumentFault
//   document["id"] = ...;
//
// Three things a document cannot hold: hashes by algorithms that hardly anybody uses (MD5, SHA-384, SHA-512), groups
// that a token has for denying alone, and where the system lives.
#pragma once

#include <kx_util/target_info_process.h>

#include <nlohmann/json_fwd.hpp>

/// The facts of the machine are those in force on the thread. A signature of which nothing is known is left out. A
/// fault where a text is not well-formed UTF-16, which JSON cannot carry, and where something is linked that is neither
/// a file nor a process.
nlohmann::ordered_json KxTargetDocument_Write(const CkxTargetInfoFile& target);
