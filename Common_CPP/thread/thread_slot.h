// A pointer that each thread has for itself, null at first.
//
//   const CkxThreadPointer<const IkxClock>& Current() {
//     static const CkxThreadPointer<const IkxClock> clock;
//     return clock;
//   }
//
// In place of the language's thread-local variables: on some platforms those take memory at a thread's first look at
// them, and end the process when there is none. A slot lives as long as the process; there are few of them.
#pragma once

#include <cstdint>
#include <new>
#include <type_traits>

#include "Common_CPP/util/base.h"

class KX_UTIL_API CkxThreadSlot {
 public:
  CkxThreadSlot() noexcept;
  CkxThreadSlot(const CkxThreadSlot&) = delete;
  CkxThreadSlot& operator=(const CkxThreadSlot&) = delete;

  /// Leaves the thread's last error as it is.
  void* Get() const noexcept;

  /// False where the system has no memory for a thread's first value of a slot beyond the usual number.
  bool Set(void* value) const noexcept;

 private:
  const uint32_t _index;
};

/// The same with the type of what it points to, which it does not own.
template <class Object>
class CkxThreadPointer {
 public:
  class Scope;

  Object* Get() const noexcept { return static_cast<Object*>(_slot.Get()); }
  bool Set(Object* object) const noexcept { return _slot.Set(const_cast<std::remove_const_t<Object>*>(object)); }

 private:
  const CkxThreadSlot _slot;
};

/// `pointer` is `object` on this thread until the scope ends, which it does on the same thread. Scopes nest.
template <class Object>
class CkxThreadPointer<Object>::Scope {
 public:
  /// Throws std::bad_alloc when the system has no memory for it: with the pointer as it was, answers would be others.
  Scope(const CkxThreadPointer& pointer, Object* object) : _pointer(pointer), _previous(pointer.Get()) {
    if (!pointer.Set(object)) throw std::bad_alloc();
  }
  ~Scope() { _pointer.Set(_previous); }
  Scope(const Scope&) = delete;
  Scope& operator=(const Scope&) = delete;

 private:
  const CkxThreadPointer& _pointer;
  Object* const _previous;
};
