// A library of the system that few calls need, loaded when the first of them is made: a program that starts with ours
// in it does not pay for what it may never use. From the system's folder alone, whatever lies beside the program.
#pragma once

#include "Common_CPP/util/handle_win.h"

class CkxSystemLibrary {
 public:
  explicit CkxSystemLibrary(const wchar_t* name)
      : _library(LoadLibraryExW(name, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32)) {}
  CkxSystemLibrary(const CkxSystemLibrary&) = delete;
  CkxSystemLibrary& operator=(const CkxSystemLibrary&) = delete;

  /// Null where this system's library has no function of that name. The library stays loaded with the process.
  template <class Function>
  Function* Find(const char* name) const {
    if (_library == nullptr) return nullptr;
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(_library, name)));
  }

 private:
  const HMODULE _library;
};
