// Records of an image for the command's tests, put together by hand.
#pragma once

#include "tests/support/record_bytes.h"

/// The common part of a policy record up to its targets.
inline CkxRecordBytes KxTest_PolicyHead(uint32_t id, uint32_t action, std::u16string_view name) {
  CkxRecordBytes record;
  record.U32(0x22232425).SizeHere().U32(action).U32(id);
  record.U8(1).Zeros(7).U64(id).U8(0).Zeros(7);
  record.Obfuscated(name).Absent().Absent().U32(0).U32(0);
  record.U32(0);  // alerts
  return record;
}

/// An executable target that asks for a file name only.
inline KxBytes KxTest_NamedFile(unsigned char id, std::u16string_view fileName) {
  CkxRecordBytes target;
  target.U32(0x22232427).SizeHere().Id(id).U32(3).U8(0).Unset(3);
  target.Set().Obfuscated(fileName).U16(4).Absent().Absent().U64(~uint64_t{0});
  target.Unset(6).Absent().Unset().Absent();
  return target.Bytes();
}

inline KxBytes KxTest_Policy(uint32_t id, uint32_t action, std::u16string_view name, std::u16string_view fileName) {
  return KxTest_PolicyHead(id, action, name)
      .U8(0)
      .U32(1)
      .Append(KxTest_NamedFile(static_cast<unsigned char>(id), fileName))
      .Bytes();
}

/// A target that stands for the targets of a group.
inline KxBytes KxTest_GroupLink(unsigned char id, unsigned char group) {
  return CkxRecordBytes().U32(0x22232427).SizeHere().Id(id).U32(2).Id(group).Bytes();
}

/// A group of one target.
inline KxBytes KxTest_AppGroup(unsigned char id, const KxBytes& target) {
  return CkxRecordBytes().U32(0x22232426).SizeHere().Id(id).U32(1).Append(target).Bytes();
}

/// u32 count, then the records back to back.
inline KxBytes KxTest_Section(const std::vector<KxBytes>& records) {
  CkxRecordBytes section;
  section.U32(static_cast<uint32_t>(records.size()));
  for (const KxBytes& record : records) section.Append(record);
  return section.Bytes();
}
