#include "Common_CPP/file/native_access.h"

// What the owner of a file may grant itself here is the mark that it may write, and that is a mark of the file like any
// read-only one: whoever opens it for its attributes has tried that already.

const SkxNativeAccess& KxNativeAccess_OfSystem() {
  static constexpr SkxNativeAccess kTable = {
      [](CkxTextView, intptr_t&) { return false; },
      [](intptr_t) {},
      [](intptr_t, std::vector<unsigned char>&) { return false; },
      [](intptr_t, std::span<const unsigned char>) { return false; },
  };
  return kTable;
}
