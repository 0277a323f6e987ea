// The calls for extended attributes that are in force, of which one fails: for tests of what is left behind, whichever
// it is.
//
//   CkxFailingNativeEa failing(3, kKxStatusDiskFull);
//   EXPECT_FALSE(operation());
//
// Closing is not among them, nor what is asked of the system as a whole: neither fails.
#pragma once

#include "Common_CPP/file/native_ea.h"

class CkxFailingNativeEa {
 public:
  /// In force on this thread for its lifetime; one at a time. The call number `failAt`, from 0 on, ends with `status`
  /// and does nothing.
  explicit CkxFailingNativeEa(size_t failAt = SIZE_MAX, long status = kKxStatusUnsuccessful)
      : _around(KxNativeEa()), _failAt(failAt), _status(status), _scope(Table()) {
    current = this;
  }
  ~CkxFailingNativeEa() { current = nullptr; }
  CkxFailingNativeEa(const CkxFailingNativeEa&) = delete;
  CkxFailingNativeEa& operator=(const CkxFailingNativeEa&) = delete;

  size_t Calls() const { return _calls; }

 private:
  using Bytes = SkxNativeEa::Bytes;

  template <class... Parameters>
  static long Call(long (*SkxNativeEa::*member)(Parameters...), std::type_identity_t<Parameters>... parameters) {
    if (current->_calls++ == current->_failAt) return current->_status;
    return (current->_around.*member)(parameters...);
  }

  static const SkxNativeEa& Table() {
    static constexpr SkxNativeEa kTable = {
        [](CkxTextView path, unsigned access, intptr_t& file) { return Call(&SkxNativeEa::open, path, access, file); },
        [](intptr_t file) { current->_around.close(file); },
        [](intptr_t file, uint64_t& id) { return Call(&SkxNativeEa::fileId, file, id); },
        [](intptr_t file, Bytes list) { return Call(&SkxNativeEa::set, file, list); },
        [](intptr_t file, Bytes question, std::span<unsigned char> answer, size_t& written) {
          return Call(&SkxNativeEa::query, file, question, answer, written);
        },
        [](intptr_t file, uint32_t& bytes) { return Call(&SkxNativeEa::querySize, file, bytes); },
        [](intptr_t file, bool& readOnly) { return Call(&SkxNativeEa::isReadOnly, file, readOnly); },
        [](intptr_t file, bool readOnly) { return Call(&SkxNativeEa::setReadOnly, file, readOnly); },
        [](intptr_t file) { return current->_around.areKernelEasCurrent(file); },
        [] { return current->_around.hasKernelEas(); },
        nullptr,
    };
    return kTable;
  }

  static inline thread_local CkxFailingNativeEa* current = nullptr;

  const SkxNativeEa& _around;
  const size_t _failAt;
  const long _status;
  size_t _calls = 0;
  const CkxNativeEaScope _scope;
};
