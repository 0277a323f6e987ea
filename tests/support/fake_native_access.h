// A fake of who may do what with files, in memory, where the system that the tests run on has no such rights or takes
// them lightly. A handle stays with its file, whatever takes the file's name.
#pragma once

#include <functional>
#include <map>
#include <memory>

#include "Common_CPP/file/native_access.h"
#include "Common_CPP/util/last_error.h"

class CkxFakeNativeAccess {
 public:
  using Bytes = std::vector<unsigned char>;
  struct File {
    Bytes descriptor;
    std::vector<Bytes> set;  ///< what was set, one after the other
  };

  /// In force on this thread for its lifetime; one at a time.
  CkxFakeNativeAccess() : _scope(Table()) { fake = this; }
  ~CkxFakeNativeAccess() { fake = nullptr; }
  CkxFakeNativeAccess(const CkxFakeNativeAccess&) = delete;
  CkxFakeNativeAccess& operator=(const CkxFakeNativeAccess&) = delete;

  /// The file of that name, which others can have at another time.
  std::shared_ptr<File>& At(const KxWString& path) { return _files[path]; }
  size_t OpenFiles() const { return _open.size(); }

  size_t failAt = SIZE_MAX;  ///< the call that fails, from 0 on
  size_t calls = 0;
  std::function<void(const File& file)> onSet = [](const File&) {};

 private:
  static bool Fails() {
    if (fake->calls++ != fake->failAt) return false;
    KxLastError_Set(kKxErrorAccessDenied);
    return true;
  }

  static const SkxNativeAccess& Table() {
    static constexpr SkxNativeAccess kTable = {
        [](CkxTextView path, intptr_t& file) {
          const auto found = fake->_files.find(path.ToString());
          if (Fails() || found == fake->_files.end()) return false;
          fake->_open[file = fake->_next++] = found->second;
          return true;
        },
        [](intptr_t file) { fake->_open.erase(file); },
        [](intptr_t file, Bytes& descriptor) {
          if (Fails()) return false;
          descriptor = fake->_open.at(file)->descriptor;
          return true;
        },
        [](intptr_t file, std::span<const unsigned char> descriptor) {
          if (Fails()) return false;
          File& changed = *fake->_open.at(file);
          changed.descriptor.assign(descriptor.begin(), descriptor.end());
          changed.set.push_back(changed.descriptor);
          fake->onSet(changed);
          return true;
        },
    };
    return kTable;
  }

  static inline thread_local CkxFakeNativeAccess* fake = nullptr;

  std::map<KxWString, std::shared_ptr<File>> _files;
  std::map<intptr_t, std::shared_ptr<File>> _open;
  intptr_t _next = 1;
  const CkxNativeAccessScope _scope;
};
