// A fake of Windows' file system for extended attributes, in memory, where the system that the tests run on has none.
// The files are real, what is kept with them is not: they are told apart by their paths, and what somebody else has
// open by its identifier.
//
// Like the original it keeps names in capitals and finds them in letters of any case, chains records on 4 bytes,
// removes by an empty value, answers for an absent name with an empty value, holds 65,531 bytes of a file, takes what a
// program sets under "$KERNEL." and does nothing, and refuses lists, names and handles that are not as they must be.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Common_CPP/file/native_ea.h"

class CkxFakeNativeEa {
 public:
  using Bytes = std::vector<unsigned char>;
  struct File {
    std::vector<std::pair<std::string, Bytes>> eas;  ///< in the order in which they were first set
    std::map<std::string, unsigned char> flags;
    bool isReadOnly = false;
    bool isDenied = false;         ///< to write, whatever its marks
    std::set<std::string> locked;  ///< names whose changes are refused
    std::optional<uint64_t> id;    ///< in place of the real file's
    std::optional<Bytes> answer;   ///< in place of what a question for attributes would be answered
  };

  /// In force on this thread for its lifetime; one at a time.
  CkxFakeNativeEa();
  ~CkxFakeNativeEa();
  CkxFakeNativeEa(const CkxFakeNativeEa&) = delete;
  CkxFakeNativeEa& operator=(const CkxFakeNativeEa&) = delete;

  /// A document as it is kept, with its zero.
  static Bytes ValueOf(const std::string& text) { return Bytes(text.c_str(), text.c_str() + text.size() + 1); }

  File& At(const KxWString& path) { return _files[path]; }
  size_t OpenFiles() const { return _open.size(); }

  bool hasKernelEas = true;
  int refuseWritesAfter = -1;  ///< openings to write; -1: none is refused for that
  long setStatus = 0;          ///< a failure of every change
  long sizeStatus = 0;

  /// What the driver does: sets where a program cannot.
  static long Driver(void* file, const void* record, unsigned long size);

 private:
  struct Handle {
    KxWString path;
    unsigned access;
  };
  static const SkxNativeEa& Table();
  static long Open(CkxTextView path, unsigned access, intptr_t& file);
  static void Close(intptr_t file);
  static long FileId(intptr_t file, uint64_t& id);
  static long Set(intptr_t file, SkxNativeEa::Bytes list);
  static long Query(intptr_t file, SkxNativeEa::Bytes question, std::span<unsigned char> answer, size_t& written);
  static long QuerySize(intptr_t file, uint32_t& bytes);
  static long IsReadOnly(intptr_t file, bool& readOnly);
  static long SetReadOnly(intptr_t file, bool readOnly);
  static bool HasKernelEas();

  File* Of(intptr_t file, unsigned access, long& status);
  File* OfSystems(intptr_t file, unsigned access);
  static long Apply(File& file, SkxNativeEa::Bytes list, bool isDriver);

  std::map<KxWString, File> _files;
  std::map<intptr_t, Handle> _open;
  intptr_t _next = 0x1000;
  CkxNativeEaScope _scope;
};
