// Where a file came from, in broad terms: the internet, an e-mail, a share, … Several may hold; the table of the source
// file ranks them, and that order counts everywhere, never the numbers.
//
//   CkxFileSrcTypeArray types;
//   types.FromStr(KXW("Share,eMail"));
//   CkxUtilStr text;
//   types.ToStr(text);  // "eMail,Share": the highest first
#pragma once

#include <memory>

#include "Common_CPP/util/owned_str.h"

/// A kind of source.
class KX_UTIL_API CkxFileSrcType {
 public:
  enum EkxType : uint32_t {
    None = 0,
    Internet = 1,
    EMail = 2,
    SoftwareDistributor = 3,
    Share = 4,
    LocalShare = 5,
    Removable = 6,
    Cdrom = 7,
    DevApp = 8,
  };

  CkxFileSrcType(EkxType type = None) : _type(type) {}                 // NOLINT(google-explicit-constructor)
  CkxFileSrcType(const char* name) : CkxFileSrcType(FromStr(name)) {}  // NOLINT(google-explicit-constructor)

  operator EkxType() const { return _type; }             // NOLINT(google-explicit-constructor)
  operator const char*() const { return ToStr(_type); }  // NOLINT(google-explicit-constructor)
  bool IsValid() const { return _type != None; }

  /// -1 when this one ranks higher, 1 when `other` does, 0 when neither does. What the table does not have ranks below
  /// everything in it.
  int ComparePriority(const CkxFileSrcType& other) const;

  /// The name; null for what the table does not have.
  static const char* ToStr(EkxType type);

  /// By its name, in capitals or not; `None` for another text and for null. Nothing outside ASCII is like a letter
  /// within it, whatever the machine's code page makes of it.
  static EkxType FromStr(const char* name);
  static EkxType FromStr(const WCHAR* name);

  /// Whether the type follows from where a file lies, or was copied from.
  static bool IsLocationBased(EkxType type);

  /// By the word for a kind of place ("REMOTE", "CDROM"), in capitals or not; `None` for a place that says nothing.
  static EkxType FromLocationType(const WCHAR* locationType);
  static const WCHAR* ToLocationType(EkxType type);  ///< null where there is no such word

 private:
  EkxType _type;
};

/// A list of types as they were given, duplicates and unknown ones included. Not for several threads at once: even
/// `ToStr` and `Sort` reorder what it holds.
class KX_UTIL_API CkxFileSrcTypeArray {
 public:
  static constexpr const char* _DELIMITER = ",";

  CkxFileSrcTypeArray();
  CkxFileSrcTypeArray(const CkxFileSrcTypeArray& other);
  CkxFileSrcTypeArray& operator=(const CkxFileSrcTypeArray& other);
  ~CkxFileSrcTypeArray();

  /// An array that was never given anything is null. Out of memory it stays as it is, as for `Add`.
  void Create();
  void Add(CkxFileSrcType::EkxType type);
  void Add(const CkxFileSrcType& type) { Add(static_cast<CkxFileSrcType::EkxType>(type)); }

  int GetCount() const;
  CkxFileSrcType GetAt(int index) const;  ///< `index` is that of an element
  bool IsNull() const { return _types == nullptr; }
  bool IsEmpty() const { return GetCount() < 1; }

  /// The highest first; what ranks the same keeps its order.
  void Sort() const;

  /// The names of the types, sorted, with commas between them; those without a name are left out. Returns `out`.
  const CkxUtilStr& ToStr(CkxUtilStr& out) const;

  /// Takes the place of what the array held: what `text` names, in its order. What is no name, a name with a blank
  /// beside it included, is left out.
  void FromStr(const WCHAR* text);

 private:
  struct Types;
  std::unique_ptr<Types> _types;
};
