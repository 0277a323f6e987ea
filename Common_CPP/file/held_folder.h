// A folder that is held: its files are read as those of one folder, whatever becomes of its name meanwhile.
//
//   CkxHeldFolder folder;
//   if (!folder.Open(path)) ...
//   CkxFileReader file;
//   if (folder.OpenFile(KXW("policies.sec"), file)) ...
//   if (!folder.IsAt(path)) ...            // another folder has the name now: what was read is no longer what is there
//
// A file is looked for in the folder itself and not under its path, so that a folder put in its place, once or back and
// forth, never contributes one of its own.
#pragma once

#include <memory>
#include <vector>

#include "Common_CPP/file/file.h"

class CkxHeldFolder {
 public:
  CkxHeldFolder();
  ~CkxHeldFolder();
  CkxHeldFolder(const CkxHeldFolder&) = delete;
  CkxHeldFolder& operator=(const CkxHeldFolder&) = delete;

  /// False, with the thread's last error set, when there is no such folder or it may not be listed.
  bool Open(CkxTextView path);

  /// Whether `path` names this folder now.
  bool IsAt(CkxTextView path) const;

  /// Of all that is in it, in no order. A name that is no text comes with U+FFFD. Nothing when it cannot be listed.
  std::optional<std::vector<KxWString>> Names() const;

  /// Opens its file `name`, as `CkxFileReader::Open` does.
  bool OpenFile(CkxTextView name, CkxFileReader& file) const;

  /// Hands its names to the disk, so that they outlast a power failure. False with the thread's last error set. Needs
  /// no memory.
  bool Flush() const;

 private:
  struct Native;
  std::unique_ptr<Native> _native;
};

/// Where the folder of that path is or would be, to be renamed to: in full, without links where the system has such,
/// and without a separator at its end. Nothing, with the thread's last error set, where that cannot be told. The
/// standard library's own ways to a path in its normal form lose a part of it on Windows where memory ends meanwhile.
std::optional<KxWString> KxFolder_Place(CkxTextView path);

/// Gives a folder, or a file, another name on its volume, where nothing has that name. Lasting once the folders are
/// flushed that it was in and is in. False with the thread's last error set, and nothing changed.
bool KxFolder_Rename(CkxTextView from, CkxTextView to);

/// Two folders, or files, of one volume trade places in one step. False with the thread's last error set, and nothing
/// changed; a system or a file system that has no such step always says so (error 50).
bool KxFolder_Exchange(CkxTextView a, CkxTextView b);
