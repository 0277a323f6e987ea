// Makes shortcuts, for tests: with the path as it was typed, and texts in UTF-16.
#pragma once

#include "Agent/engine/kx_util/target/shortcut.h"
#include "tests/support/record_bytes.h"

inline std::string KxTest_ShortcutBytes(const SkxShortcut& shortcut) {
  constexpr uint32_t kRelativePath = 1u << 3, kStartFolder = 1u << 4, kArguments = 1u << 5, kWide = 1u << 7,
                     kTypedPath = 1u << 9, kPrefersTypedPath = 1u << 25;
  CkxRecordBytes bytes;
  bytes.U32(76).U32(0x00021401).U32(0).U32(0xC0).U32(0x46000000);
  bytes.U32(kRelativePath | kStartFolder | kArguments | kWide | kTypedPath | kPrefersTypedPath).PadTo(76);
  for (const KxWString* text : {&shortcut.relativePath, &shortcut.startFolder, &shortcut.arguments}) {
    bytes.U16(static_cast<unsigned>(text->size()));
    for (const WCHAR unit : *text) bytes.U16(unit);
  }
  CkxRecordBytes block;
  block.U32(0x314).U32(0xA0000001).Zeros(260);
  for (const WCHAR unit : shortcut.target) block.U16(unit);
  const KxBytes all = bytes.Append(block.PadTo(0x314)).U32(0).Bytes();
  return std::string(all.begin(), all.end());
}
