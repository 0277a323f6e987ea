// The operations on the attributes of an open file, by the system's own handle, and what an open file is. They answer
// with a status and trace their own failures; out of memory is an exception.
#pragma once

#include <kx_util/ext_file_attributes.h>

#include "Common_CPP/file/access_grant.h"
#include "Common_CPP/file/native_ea.h"
#include "Common_CPP/util/trace.h"

inline constexpr std::string_view kKxEaScope = "CkxExtFileAttributes";

/// Traces an error that ends in its status, and answers with that. `pieces` are narrow texts, wide ones, and numbers.
template <class... Pieces>
long KxEa_Fail(long status, const Pieces&... pieces) {
  KxTrace(EkxTraceLevel::Error, kKxEaScope, pieces..., ", Status=", KxStatus_Text(status));
  return status;
}

/// For entries: the status goes to the caller, and whether it is success.
bool KxEa_Ended(long status, long* out);

/// -1 for what is no handle.
intptr_t KxEa_FileOf(void* file);
std::string_view KxEa_NameText(const char* name);  ///< "" for null

long KxEa_Get(intptr_t file, const char* name, CkxFileFullEaInfo& out);
long KxEa_Set(intptr_t file, const CkxFileFullEaInfo& info);
long KxEa_SetThroughDriver(intptr_t file, const CkxFileFullEaInfo& info);
long KxEa_Delete(intptr_t file, const char* name);
long KxEa_Size(intptr_t file, uint32_t& bytes);

/// That `bytes` are a list from end to end.
long KxEa_RequireList(std::span<const unsigned char> bytes);

/// A well-formed list, or nothing. `withStale`: kernel attributes that are outdated too, as whoever deletes wants them.
long KxEa_Load(intptr_t file, bool withStale, std::vector<unsigned char>& list);

/// A file open by its path, which outlives it. One that is read-only and was made writable is read-only again when this
/// goes, and rights that were granted are taken back.
class CkxEaFile {
 public:
  CkxEaFile() = default;
  ~CkxEaFile();
  CkxEaFile(const CkxEaFile&) = delete;
  CkxEaFile& operator=(const CkxEaFile&) = delete;

  /// Traces why not, `operation` for the public one that asks.
  long Open(const WCHAR* path, unsigned access, bool mayChangeAttributes, std::string_view operation);

  /// To read and write what the agent keeps: a caller who has no right to and may grant it has it meanwhile.
  long OpenToKeep(const WCHAR* path, std::string_view operation);
  intptr_t Handle() const { return _file; }

 private:
  bool MakeWritable(const WCHAR* path);

  intptr_t _file = -1;
  const WCHAR* _path = nullptr;
  intptr_t _attributes = -1;  ///< open to put the mark back; -1: it was not taken away
  CkxAccessGrant _grant;
};
