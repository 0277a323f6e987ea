// The three records that travel with a file, read from a file that is open and set on one: the agent's document, the
// driver's, and the URI of a download. What is read holds for exactly that file: its identifier is asked of the same
// handle.
//
// Files are native handles, as `Common_CPP/file/native_ea.h` has them; `path` is for the trace.
#pragma once

#include <kx_util/supplemental_file_data.h>

#include "Agent/engine/kx_util/attribute/ea_calls.h"

class CkxSrcUrlData;

// What writes ends with a status: the system's, or this one, which is none of the system's, where a record could not be
// made, whatever the reason.
inline constexpr long kKxKeptRefused = KxStatus_Of(0xE0000001);

/// For entries that write: whether `status` is success, with what callers are told in `out`.
bool KxKept_Ended(long status, long* out);

/// Nothing, with a line in the trace, when the system does not tell.
std::optional<uint64_t> KxKept_FileId(intptr_t file, CkxTextView path);

// Each leaves what it reads empty, or as it was, where it does not answer with `Read`. That there is no record is no
// error in the trace.

EkxKeptRecord KxKept_Bytes(intptr_t file, CkxTextView path, const char* name, CkxFileFullEaInfo& info);

/// The text of a document, which ends at its first zero.
EkxKeptRecord KxKept_Text(intptr_t file, CkxTextView path, const char* name, std::string& text);

EkxKeptRecord KxKept_AgentOrigin(intptr_t file, CkxTextView path, CkxFileOrigin& origin);
EkxKeptRecord KxKept_DriverData(intptr_t file, CkxTextView path, CkxDrvXmlData& data);
EkxKeptRecord KxKept_Url(intptr_t file, CkxTextView path, CkxSrcUrlData& data);

/// Sets the records of a file, or with a failure none: those that were set already become what they were. Through the
/// driver where one is installed, who may more. The status of the call that failed.
long KxKept_Set(intptr_t file, CkxTextView path, std::span<const CkxFileFullEaInfo> records);

/// False, with the reason in the trace, for a file that is not on this machine's own drives.
bool KxKept_RequireLocal(CkxTextView path);
