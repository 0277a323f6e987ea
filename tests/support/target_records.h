// Records of targets and of the groups and policies that hold them, put together by hand.
//
//   const CkxRecordBytes app = Exe(5, {{kFileName, FileName(u"app.exe")}});
//   source.Publish(EkxPolicySection::AppGroups, {Group(1, {app, Link(6, 2)}).Bytes()});
#pragma once

#include <map>

#include "tests/support/record_bytes.h"

namespace kx_test_records {

inline CkxRecordBytes Target(uint32_t type, unsigned char id) {
  return CkxRecordBytes().U32(0x22232427).SizeHere().Id(id).U32(type);
}

/// The property that asks for that name: equals, no hash, any size.
inline CkxRecordBytes FileName(std::u16string_view name) {
  return CkxRecordBytes().Set().Obfuscated(name).U16(1).Absent().Absent().U64(~uint64_t{0});
}

/// Where properties of a program stand in its record, which has eleven.
enum ExeProperty { kFileName = 3, kParentProcess = 9, kOrigin = 10 };

/// A program that children inherit from, of which nothing is asked but `properties`.
inline CkxRecordBytes Exe(unsigned char id, const std::map<ExeProperty, CkxRecordBytes>& properties = {}) {
  CkxRecordBytes exe = Target(3, id).U8(1);
  for (int place = 0; place <= kOrigin; ++place) {
    if (place == kOrigin) exe.Text(u"KxNoUsers");
    const auto property = properties.find(static_cast<ExeProperty>(place));
    exe.Append(property != properties.end() ? property->second : CkxRecordBytes().Unset());
  }
  return exe.Absent();
}

/// Requests for addresses that are like `pattern`.
inline CkxRecordBytes Url(unsigned char id, std::u16string_view pattern) {
  return Target(7, id).Set().Obfuscated(pattern).U8(0).U16(4);
}
inline CkxRecordBytes Exclude(unsigned char id, std::u16string_view name) {
  return Target(16, id).Unset().Append(FileName(name)).Absent();
}
inline CkxRecordBytes Link(unsigned char id, unsigned char group) { return Target(2, id).Id(group); }

inline CkxRecordBytes List(const std::vector<CkxRecordBytes>& elements) {
  CkxRecordBytes list;
  list.U32(static_cast<uint32_t>(elements.size()));
  for (const CkxRecordBytes& element : elements) list.Append(element);
  return list;
}

inline CkxRecordBytes Group(unsigned char id, const std::vector<CkxRecordBytes>& targets) {
  return CkxRecordBytes().U32(0x22232426).SizeHere().Id(id).Append(List(targets));
}

/// 24 bytes: show the alert `id` on that event.
inline CkxRecordBytes AlertLink(uint32_t trigger, unsigned type, unsigned char id) {
  return CkxRecordBytes().U32(trigger).U16(type).U16(0).Id(id);
}

inline CkxRecordBytes PolicyHeader(uint32_t action, uint32_t id = 7, bool active = true) {
  CkxRecordBytes header;
  header.U32(0x22232425).SizeHere().U32(action).U32(id);
  header.U8(active).Zeros(7);
  header.U64(0x1A2B3C4D5E6F7081);  // order
  return header.U8(0).Zeros(7);    // implicit
}

/// A policy up to its alert links, and with `links`.
inline CkxRecordBytes NamedPolicy(uint32_t action, uint32_t id = 7, bool active = true) {
  return PolicyHeader(action, id, active).Obfuscated(u"Name").Text(u"{gp}").Text(u"{kx}").U32(5).U32(101);
}
inline CkxRecordBytes Policy(uint32_t action, const std::vector<CkxRecordBytes>& links = {}) {
  return NamedPolicy(action).Append(List(links));
}

/// A policy with `targets`, its automation on, and `tail` of its kind.
inline CkxRecordBytes PolicyWith(uint32_t action, const std::vector<CkxRecordBytes>& targets,
                                 const CkxRecordBytes& tail = {}, uint32_t id = 7) {
  return NamedPolicy(action, id).U32(0).U8(1).Append(List(targets)).Append(tail);
}

/// The fields that the kinds of policies with targets end with.
inline CkxRecordBytes PolicyTail(uint32_t action) {
  switch (action) {
    case 4:
      return CkxRecordBytes().U8(1).U8(0).U8(1);
    case 6:
      return CkxRecordBytes().U8(1).U8(1).U8(0).U8(1).U8(0).U8(1).U8(0);
    case 11:
      return CkxRecordBytes().U8(1);
    case 12:
      return CkxRecordBytes().U16(0);
    default:
      return {};
  }
}

}  // namespace kx_test_records
