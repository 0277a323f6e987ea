// The system's calls for who may do what with a file. They stand in a table, so that tests on a system that has no such
// rights, or takes them lightly, can put another one in its place.
//
// A descriptor is as Windows has it, in one piece, with the list of who may do what and nothing else
// (`Common_CPP/file/access_list.h`).
#pragma once

#include <span>
#include <vector>

#include "Common_CPP/thread/thread_slot.h"
#include "Common_CPP/util/text_view.h"

struct SkxNativeAccess {
  /// A file or folder that exists, to see and change who may do what with it. False where the caller may not, and where
  /// the system has no such rights to change.
  bool (*open)(CkxTextView path, intptr_t& file);
  void (*close)(intptr_t file);

  /// False where it cannot be read.
  bool (*get)(intptr_t file, std::vector<unsigned char>& descriptor);

  /// Replaces the list, with the marks of the descriptor that are about it; the owner and what the system records stay.
  /// False with the last error set.
  bool (*set)(intptr_t file, std::span<const unsigned char> descriptor);
};

/// The system's own, and what is in force on this thread.
const SkxNativeAccess& KxNativeAccess_OfSystem();
const SkxNativeAccess& KxNativeAccess();

/// While it lives, `KxNativeAccess` is `table` on this thread. Scopes nest.
class CkxNativeAccessScope {
 public:
  explicit CkxNativeAccessScope(const SkxNativeAccess& table);

 private:
  const CkxThreadPointer<const SkxNativeAccess>::Scope _scope;
};
