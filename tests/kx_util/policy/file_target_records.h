// Records of the targets that are files, by hand. Each kind has all of its properties; only the
// origin, which depends on more than a description, is given apart.
#pragma once

#include "tests/support/record_bytes.h"

namespace kx_file_targets {

inline CkxRecordBytes Header(uint32_t type) { return CkxRecordBytes().U32(0x22232427).SizeHere().Id(5).U32(type); }

inline CkxRecordBytes Unset() { return CkxRecordBytes().Unset(); }
inline CkxRecordBytes FileVersions() { return CkxRecordBytes().Set().U32(0x10000).U32(0).U32(0x1FFFF).U32(0xFFFFFFFE); }
inline CkxRecordBytes ProductVersions() { return CkxRecordBytes().Set().U32(0x20000).U32(0).U32(~0u).U32(~0u); }
inline CkxRecordBytes Location() { return CkxRecordBytes().Set().Obfuscated(u"C:\\Apps").U8(1).Text(u"FIXED,CDROM"); }
inline CkxRecordBytes FileName() {
  return CkxRecordBytes().Set().Obfuscated(u"thing*").U16(4).Text(u"SHA1").Text(u"SHA1##00FF").U64(1000);
}
inline CkxRecordBytes Arguments() { return CkxRecordBytes().Set().Obfuscated(u"/quiet").U8(0).U16(3); }
inline CkxRecordBytes Owners() { return CkxRecordBytes().Set().U32(2).Set().Sid(32, 544).Set().Sid(18); }
inline CkxRecordBytes Publishers() {
  return CkxRecordBytes().Set().U32(1).Set().Obfuscated(u"Vendor").U8(1).U16(1).U8(0);
}
inline CkxRecordBytes VersionFields() {
  return CkxRecordBytes().Set().U32(1).Set().Obfuscated(u"Vend*").U8(0).U16(4).Obfuscated(u"CompanyName");
}
inline CkxRecordBytes InstallerProperties() {
  return CkxRecordBytes().Set().U32(1).Set().Obfuscated(u"{1}").U8(0).U16(1).Obfuscated(u"ProductCode");
}
inline CkxRecordBytes Parent() { return CkxRecordBytes().Set().Id(1).U8(0).Id(0).U8(0); }
inline CkxRecordBytes Origin() { return CkxRecordBytes().Set().U8(0).U32(3).Unset(6); }
inline CkxRecordBytes ClassId() { return CkxRecordBytes().Set().Obfuscated(u"{0000000C*").U8(0).U16(4); }
inline CkxRecordBytes SourceAddress() { return CkxRecordBytes().Set().Obfuscated(u"https://vendor/").U8(0).U16(2); }
inline CkxRecordBytes PackageName() { return CkxRecordBytes().Set().Obfuscated(u"Vendor.App").U8(0).U16(1); }
inline CkxRecordBytes Capabilities() {
  return CkxRecordBytes().Set().U32(2).Set().Obfuscated(u"internetClient").U8(1).Set().Obfuscated(u"webcam").U8(0);
}

inline CkxRecordBytes Joined(CkxRecordBytes record, std::initializer_list<CkxRecordBytes> properties) {
  for (const CkxRecordBytes& property : properties) record.Append(property);
  return record;
}

inline CkxRecordBytes Script(const CkxRecordBytes& origin = Unset()) {
  return Joined(Header(4).U8(1).U8(1), {Location(), FileName(), Arguments(), Owners(), Publishers(), Parent(), origin});
}
inline CkxRecordBytes Msi(const CkxRecordBytes& origin = Unset()) {
  return Joined(Header(5), {ProductVersions(), Location(), FileName(), Arguments(), Owners(), Publishers(),
                            InstallerProperties(), Parent(), origin});
}
inline CkxRecordBytes Msu(const CkxRecordBytes& origin = Unset()) {
  return Joined(Header(6), {Location(), FileName(), Owners(), Publishers(), Parent(), origin});
}
inline CkxRecordBytes Dll(const CkxRecordBytes& origin = Unset()) {
  return Joined(Header(21), {FileVersions(), ProductVersions(), Location(), FileName(), Owners(), Publishers(),
                             VersionFields(), origin});
}
inline CkxRecordBytes ActiveX() {
  return Joined(Header(9), {ClassId(), SourceAddress(), Location(), FileName(), Publishers()});
}
inline CkxRecordBytes Com() {
  return Joined(Header(15), {ClassId(), Location(), FileName(), Owners(), Publishers(), VersionFields()});
}
inline CkxRecordBytes AppPackage() {
  return Joined(Header(20).U8(1), {FileVersions(), PackageName(), Publishers(), Capabilities()});
}

/// A target of which nothing is asked.
inline CkxRecordBytes Bare(uint32_t type) {
  constexpr struct {
    uint32_t type;
    size_t flags;
    int properties;
  } kShapes[] = {{4, 2, 7}, {5, 0, 9}, {6, 0, 6}, {21, 0, 8}, {9, 0, 5}, {15, 0, 6}, {20, 1, 4}};
  for (const auto& shape : kShapes) {
    if (shape.type == type) return Header(type).Zeros(shape.flags).Unset(shape.properties);
  }
  return {};
}
inline constexpr uint32_t kTypes[] = {4, 5, 6, 21, 9, 15, 20};

}  // namespace kx_file_targets
