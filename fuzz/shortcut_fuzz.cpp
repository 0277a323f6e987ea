// Shortcuts from arbitrary bytes: whatever they say, no byte outside of them is read and no text is longer than they
// are.
#include <cstdlib>

#include "Agent/engine/kx_util/target/shortcut.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::optional<SkxShortcut> shortcut = KxShortcut_Read({data, size});
  if (!shortcut) return 0;
  for (const KxWString* text :
       {&shortcut->target, &shortcut->arguments, &shortcut->startFolder, &shortcut->relativePath}) {
    if (text->size() > 2 * size) std::abort();
  }
  return 0;
}
