// What the library knows about a file is kept with the file, in its extended attributes (EAs): small named values that
// the file system stores beside the content. `CkxFileFullEaInfo` is one of them as the exact record that the system
// takes and returns, `CkxExtFileAttributes` sets, reads, lists and deletes them.
//
//   CkxFileFullEaInfo uri;
//   long status = 0;
//   if (CkxExtFileAttributes::GetFromFile(path, "KXAgentUri", uri, &status)) Show(uri.Value(), uri.ValueLength());
//   if (status == kKxStatusNoEasOnFile) ...  // the file has none of that name: no record, not a failure
//
// The record, little-endian and without padding:
//
//   0  u32   where the next record of a list begins, from here; 0 in the last, and in a record that stands alone
//   4  u8    flags: 0, or `kNeedEa`
//   5  u8    bytes of the name, n
//   6  u16   bytes of the value, v
//   8  n+1   the name and its zero; names are the same in letters of any case
//   9+n  v   the value; a value of no bytes is no attribute, so that setting one removes what is there
//
// In a list each record begins on 4 bytes. Anybody who may write a file may set its attributes: what is found there
// proves nothing by itself. Names that begin with "$KERNEL." are the exception: the kernel alone sets them, on behalf
// of this library through the driver helper, and they are gone once the file's content has changed. Where there is no
// such kernel, `NativeDrvEaHelper` keeps them as plain attributes with a mark of the file as it was; a mark that does
// not fit the file any more makes them absent.
//
// A file is given by path, which is followed like any other program follows it, or as a handle: the system's own on
// Windows, elsewhere the descriptor as a pointer. Null and -1 are no handles. Statuses are NT statuses on every
// platform.
#pragma once

#include <vector>

#include "Common_CPP/util/nt_status.h"
#include "Common_CPP/util/text_view.h"

/// One extended attribute as a record: made from its parts, read, and kept with a file.
class KX_UTIL_API CkxFileFullEaInfo {
 public:
  static constexpr unsigned char kNeedEa = 0x80;
  static constexpr size_t kHeaderBytes = 8;
  static constexpr size_t kMaxNameLength = 254;

  CkxFileFullEaInfo() = default;
  CkxFileFullEaInfo(CkxFileFullEaInfo&& other) noexcept;
  CkxFileFullEaInfo& operator=(CkxFileFullEaInfo&& other) noexcept;
  CkxFileFullEaInfo(const CkxFileFullEaInfo&) = delete;
  CkxFileFullEaInfo& operator=(const CkxFileFullEaInfo&) = delete;

  /// Each of these leaves the object as it was when it returns false. A text is stored with its zero, a wide one as
  /// UTF-16LE; a null text is an empty value.
  bool Set(const char* name, const unsigned char* value, unsigned short valueLen, unsigned char flags);
  bool Set(const char* name, const char* value, unsigned char flags);
  bool Set(const char* name, const WCHAR* value, unsigned char flags);

  /// The first `size` bytes hold one whole record, maybe one of a list and with more behind it. A copy stands alone.
  bool CopyFrom(const unsigned char* record, unsigned long size);
  bool Attach(const unsigned char* record, unsigned long size);  ///< without a copy: dies with `record`

  // 0 and null of an object that holds nothing.
  unsigned char Flags() const;
  const char* Name() const;
  unsigned char NameLength() const;
  unsigned short ValueLength() const;
  const unsigned char* Value() const;  ///< behind the record's end when there are no bytes

  /// The whole record, without what lies behind it.
  const unsigned char* Record() const { return _record; }
  unsigned long Size() const { return _size; }
  bool IsOwned() const { return !_owned.empty(); }

  /// Not empty, shorter than 255 characters of ASCII, none below 0x20 and none of \/:*?"<>|,+=[];
  static bool IsValidName(const char* name);

 private:
  static bool _IsValidNameChar(char character);
  bool _SetText(const char* name, const void* value, size_t bytes, unsigned char flags);

  std::vector<unsigned char> _owned;
  const unsigned char* _record = nullptr;  ///< in `_owned`, or somebody else's
  uint32_t _size = 0;
};

/// Static operations on a file, and as an object a file's loaded list. Each operation returns whether it succeeded; the
/// status is that of the failing call, 0 after success. Setting replaces a value of the same name in one step.
class KX_UTIL_API CkxExtFileAttributes {
 public:
  using POSITION = const unsigned char*;  ///< a record of the loaded list; null at its end

  /// The driver: sets the one record, or removes it where its value is empty, and returns an NT status.
  using DrvEaHelper = long (*)(void* file, const void* record, unsigned long size);

  CkxExtFileAttributes() = default;
  CkxExtFileAttributes(const CkxExtFileAttributes&) = delete;
  CkxExtFileAttributes& operator=(const CkxExtFileAttributes&) = delete;

  /// `changeAttributes`: a file that is marked read-only may lose that mark for the length of the call. A name that
  /// begins with "$KERNEL." goes through the driver helper, and is refused where there is none.
  static bool SetToFile(const WCHAR* path, const CkxFileFullEaInfo& info, bool changeAttributes,
                        long* status = nullptr);
  static bool SetToFile(const WCHAR* path, const char* name, const char* value, bool changeAttributes,
                        long* status = nullptr);
  static bool SetToFile(const WCHAR* path, const char* name, const WCHAR* value, bool changeAttributes,
                        long* status = nullptr);
  static bool SetToFile(void* file, const CkxFileFullEaInfo& info, long* status = nullptr);
  static bool SetToFile(void* file, const char* name, const char* value, long* status = nullptr);
  static bool SetToFile(void* file, const char* name, const WCHAR* value, long* status = nullptr);

  /// False with `kKxStatusNoEasOnFile` for a file that has none of that name.
  static bool GetFromFile(const WCHAR* path, const char* name, CkxFileFullEaInfo& out, long* status = nullptr);
  static bool GetFromFile(void* file, const char* name, CkxFileFullEaInfo& out, long* status = nullptr);

  /// One that is not there is deleted successfully.
  static bool DeleteFromFile(const WCHAR* path, const char* name, bool changeAttributes = false,
                             long* status = nullptr);
  static bool DeleteFromFile(void* file, const char* name, long* status = nullptr);

  /// What cannot be deleted stays, and the others are deleted nevertheless.
  static bool DeleteAllFromFile(const WCHAR* path, bool changeAttributes = false, long* status = nullptr);

  /// Those whose name has `prefix` anywhere in it, in letters of any case.
  static bool DeleteFromFileByPrefix(const WCHAR* path, const char* prefix, bool changeAttributes = false,
                                     long* status = nullptr);

  /// Of all attributes as the file system counts them; at least what a list of them takes. 0 without attributes, and
  /// where the size is returned directly also on failure.
  static bool GetEaSize(void* file, unsigned long& size, long* status = nullptr);
  static bool GetEaSize(const WCHAR* path, unsigned long& size, long* status = nullptr);
  static unsigned long GetEaSize(const WCHAR* path);
  static unsigned long GetEaSize(void* file);

  /// Takes the place of what was loaded; a failure leaves nothing. A file without attributes is an empty list. Bytes
  /// that are not a list from end to end are refused whole.
  bool LoadAllFromFile(const WCHAR* path, long* status = nullptr);
  bool LoadAllFromFile(void* file, long* status = nullptr);

  /// The same of a list that somebody else has read: a copy of `bytes`, which are one or more.
  bool LoadAllFromBuffer(const unsigned char* list, unsigned long bytes);

  /// Where the loaded list begins; null when it is empty.
  POSITION GetHeadPosition() const { return _list.empty() ? nullptr : _list.data(); }

  /// `copy` false: `out` points into the list and dies with it.
  bool GetAt(POSITION position, CkxFileFullEaInfo& out, bool copy) const;
  bool GetNext(POSITION& position, CkxFileFullEaInfo& out, bool copy) const;  ///< and moves on

  /// Sets an attribute through the driver helper. Fails, with nothing called, where `DrvSetEnabled` is false.
  static bool DrvSetToFile(void* file, const CkxFileFullEaInfo& info, long* status = nullptr);
  static bool DrvSetToFile(void* file, const char* name, const char* value, long* status = nullptr);
  static bool DrvSetToFile(void* file, const char* name, const WCHAR* value, long* status = nullptr);

  /// Null: no helper, the state at first.
  static void SetDrvEaHelper(DrvEaHelper helper);
  static DrvEaHelper _GetDrvEaHelper();
  static bool DrvSetEnabled();
  static bool KernelExtAttrSupportedByOS();  ///< Windows 8 and later, and wherever `NativeDrvEaHelper` has one

  /// A helper for systems whose kernel keeps no such attributes; null on Windows, where only a driver can be one.
  static DrvEaHelper NativeDrvEaHelper();

 private:
  std::vector<unsigned char> _list;  ///< chained records, whole
};
