// A file that this process appends to and others cannot, one source a platform. Nothing here is traced: the trace
// itself is written this way.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "Common_CPP/util/text_view.h"

class CkxOwnLog {
 public:
  CkxOwnLog() = default;
  ~CkxOwnLog();
  CkxOwnLog(const CkxOwnLog&) = delete;
  CkxOwnLog& operator=(const CkxOwnLog&) = delete;

  /// False with the thread's last error set, also when the file may be somebody else's.
  bool Open(CkxTextView path);

  /// Nothing when the file is not open, or no more to be asked.
  std::optional<uint64_t> Size() const;

  /// In one piece, where the system has room for it.
  bool Append(std::string_view bytes);

  /// Puts the file aside as "name.1", unless another process has done so, and begins anew.
  bool Rotate();

 private:
  bool Reopen();
  void Close();

  std::filesystem::path::string_type _name;  ///< in the folder, or from a root
  intptr_t _folder = -1;
  intptr_t _file = -1;
};
