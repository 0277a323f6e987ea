// Files as descriptions look at them: bounded random reads, size, time, identity and owner. Paths are UTF-16 on every
// platform; where the system's names are bytes they are taken as UTF-8.
#pragma once

#include <vector>

#include "Common_CPP/file/byte_source.h"
#include "Common_CPP/security/sid.h"
#include "Common_CPP/util/text_view.h"

/// Which file it is, whatever its name: two paths with the same identity are one file.
struct SkxFileIdentity {
  uint64_t volume = 0;
  uint64_t file = 0;
  bool operator==(const SkxFileIdentity&) const = default;
};

struct SkxFileStatus {
  uint64_t size = 0;             ///< bytes
  int64_t modificationTime = 0;  ///< file time: 100 ns since 1601 UTC
  int64_t changeTime = 0;        ///< of the content or anything else; no program can set it
  SkxFileIdentity identity;
  bool operator==(const SkxFileStatus&) const = default;
};

/// A regular file open for reading. Reads are by position; a file that shrinks gives short reads, never a fault.
class CkxFileReader : public IkxByteSource {
 public:
  CkxFileReader() = default;
  CkxFileReader(CkxFileReader&& other) noexcept;
  CkxFileReader& operator=(CkxFileReader&& other) noexcept;
  ~CkxFileReader() override;

  /// False, with the thread's last error set, when there is no such file, it may not be read, or it is no regular file.
  bool Open(CkxTextView path);

  /// The same, but a file that may not be read is open nevertheless: nothing can be read of it, and the rest is told.
  bool OpenForFacts(CkxTextView path);

  bool Status(SkxFileStatus& status) const;

  /// The system's own, for calls that read by themselves; stays this object's.
  intptr_t NativeHandle() const { return _handle; }
  std::optional<CkxSid> Owner() const;

  /// Where the file really lies, with no link, short name or drive that stands for a folder on the way; maybe behind a
  /// prefix that `KxPath_Normalized` takes away. Nothing when the system has no such name for it.
  std::optional<KxWString> FinalPath() const;

  std::optional<size_t> ReadAt(uint64_t offset, std::span<unsigned char> bytes) const override;

  /// Whether a read failed since it was opened, though the file may be read: what was made of those reads says nothing.
  bool HasFailed() const { return _hasFailed; }

 private:
  bool Take(intptr_t handle);  ///< of a regular file, else it is closed
  friend class CkxHeldFolder;
  void Close();
  intptr_t _handle = -1;
  mutable bool _hasFailed = false;
};

/// Of a regular file, which need not be readable.
std::optional<SkxFileStatus> KxFile_Status(CkxTextView path);

/// The absolute path that `path` stands for from the current folder, with "." and ".." resolved by text alone. Nothing
/// needs to exist there. Nothing for an empty path, and for one that has no form on this system.
std::optional<KxWString> KxFile_FullPath(CkxTextView path);

/// Why the file at `path` was just now not opened, read or written, in words for a person: by the thread's last error,
/// of which a folder has none of its own.
std::string KxFile_WhyRefused(CkxTextView path);

/// The whole of a file of at most `limit` bytes; nothing when it cannot be read or is larger.
std::optional<std::vector<unsigned char>> KxFile_ReadAll(CkxTextView path, uint64_t limit);
std::optional<std::vector<unsigned char>> KxFile_ReadAll(const CkxFileReader& file, uint64_t limit);

/// Writes beside `path`, flushes to the disk and renames into place, so that a reader sees the old file or the new one,
/// also after a power failure. A failure leaves the old one, but for the last step: where the system fails to hand the
/// new name to the disk, the new file has it. False with the thread's last error set; `progress` says how far it came.
struct SkxReplaceProgress {
  bool isCreated = false;  ///< the file beside it
  size_t written = 0;      ///< bytes; all of them when it could not be renamed
};
bool KxFile_ReplaceAll(CkxTextView path, std::span<const unsigned char> bytes, SkxReplaceProgress* progress = nullptr);

/// Writes a file that is not there yet, and flushes it to the disk; its name is there once its folder is flushed
/// (held_folder.h). False with the thread's last error set; what was made of it stays.
bool KxFile_WriteNew(CkxTextView path, std::span<const unsigned char> bytes);

/// "DOMAIN\\name" of an account, or the SID's text where the system knows no name.
KxWString KxSid_AccountName(const CkxSid& sid);
