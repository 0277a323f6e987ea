// A property from the bytes of its record; null when they do not read as one.
//
//   const auto name = KxTest_Read<CkxShBufPropStr>(CkxRecordBytes().Set().Obfuscated(u"a").U8(0).U16(1).Bytes());
#pragma once

#include "tests/support/record_bytes.h"

template <class Prop>
std::unique_ptr<Prop> KxTest_Read(const KxBytes& bytes) {
  // The property may point into the bytes, and they outlive it: tests are short.
  static std::vector<std::unique_ptr<CkxExactBytes>> kept;
  kept.push_back(std::make_unique<CkxExactBytes>(bytes));
  auto prop = std::make_unique<Prop>();
  if (!prop->FromBuffer(kept.back()->cursor, kept.back()->remaining)) return nullptr;
  return prop;
}
