// Makes the smallest program files that have a version resource, for tests. What is put down reads like the layout.
#pragma once

#include "tests/support/record_bytes.h"

enum class EkxTestNode : uint16_t { Binary = 0, Text = 1 };

/// Key, padding, the value, and each child at the next multiple of four bytes.
inline CkxRecordBytes KxTest_VersionNode(std::u16string_view key, EkxTestNode type, const CkxRecordBytes& value,
                                         const std::vector<CkxRecordBytes>& children = {}) {
  const size_t valueSize = type == EkxTestNode::Text ? value.Size() / 2 : value.Size();
  CkxRecordBytes node;
  node.U16(0).U16(static_cast<unsigned>(valueSize)).U16(static_cast<unsigned>(type)).Plain(key).Align(4).Append(value);
  for (const CkxRecordBytes& child : children) node.Align(4).Append(child);
  return node.SetU16(0, node.Size());
}

inline CkxRecordBytes KxTest_VersionText(std::u16string_view name, std::u16string_view text) {
  return KxTest_VersionNode(name, EkxTestNode::Text, CkxRecordBytes().Plain(text));
}

inline CkxRecordBytes KxTest_VersionTable(std::u16string_view name, const std::vector<CkxRecordBytes>& texts) {
  return KxTest_VersionNode(name, EkxTestNode::Text, {}, texts);
}

inline CkxRecordBytes KxTest_Version(uint32_t fileMs, uint32_t fileLs, uint32_t productMs, uint32_t productLs,
                                     const std::vector<CkxRecordBytes>& children) {
  CkxRecordBytes fixed;
  fixed.U32(0xFEEF04BD).U32(0x10000).U32(fileMs).U32(fileLs).U32(productMs).U32(productLs).PadTo(52);
  return KxTest_VersionNode(u"VS_VERSION_INFO", EkxTestNode::Binary, fixed, children);
}

/// Version 1.2.3.4 of a product 5.6.7.8, with a table of texts.
inline CkxRecordBytes KxTest_UsualVersion() {
  const CkxRecordBytes table = KxTest_VersionTable(
      u"040904B0", {KxTest_VersionText(u"CompanyName", u"Vendor Inc."), KxTest_VersionText(u"FileDescription", u"Tool"),
                    KxTest_VersionText(u"ProductVersion", u"5.6 beta")});
  const CkxRecordBytes translation =
      KxTest_VersionNode(u"Translation", EkxTestNode::Binary, CkxRecordBytes().U16(0x409).U16(0x4B0));
  return KxTest_Version(0x00010002, 0x00030004, 0x00050006, 0x00070008,
                        {KxTest_VersionNode(u"StringFileInfo", EkxTestNode::Text, {}, {table}),
                         KxTest_VersionNode(u"VarFileInfo", EkxTestNode::Text, {}, {translation})});
}

/// Where the parts of such a file begin.
struct SkxTestPeLayout {
  static constexpr size_t kNtHeaders = 64;
  static constexpr size_t kOptionalHeader = kNtHeaders + 24;
  static constexpr size_t kResources = 0x200;
  static constexpr uint32_t kAddress = 0x1000;  ///< of the same, as the program is loaded
  static constexpr size_t kVersion = kResources + 0x58;
  size_t directories;  ///< after the optional header's own fields
  size_t sectionHeader;
};
constexpr SkxTestPeLayout kTestPe32 = {SkxTestPeLayout::kOptionalHeader + 96, SkxTestPeLayout::kOptionalHeader + 224};
constexpr SkxTestPeLayout kTestPe32Plus = {SkxTestPeLayout::kOptionalHeader + 112,
                                           SkxTestPeLayout::kOptionalHeader + 240};

/// A file of headers and one section with one resource, of that type and name; its last byte is the last of it.
inline CkxRecordBytes KxTest_PeImage(const SkxTestPeLayout& layout, const CkxRecordBytes& resource, uint32_t type = 16,
                                     uint32_t name = 1) {
  constexpr uint32_t kAddress = SkxTestPeLayout::kAddress;
  const bool plus = layout.directories == kTestPe32Plus.directories;
  const auto size = static_cast<uint32_t>(resource.Size());
  CkxRecordBytes file;
  file.U8('M').U8('Z').PadTo(60).U32(SkxTestPeLayout::kNtHeaders);
  file.U32(0x4550).U16(plus ? 0x8664 : 0x14C).U16(1).U32(0).U32(0).U32(0);  // "PE"
  file.U16(static_cast<unsigned>(layout.sectionHeader - SkxTestPeLayout::kOptionalHeader)).U16(0x22);
  file.U16(plus ? 0x20B : 0x10B).PadTo(layout.directories - 4).U32(16);
  file.U32(0).U32(0).U32(0).U32(0).U32(kAddress).U32(0x58 + size).PadTo(layout.sectionHeader);
  file.U32(0x7273722E).U8('c').PadTo(layout.sectionHeader + 8);  // ".rsrc"
  file.U32(0x58 + size).U32(kAddress).U32(0x58 + size).U32(SkxTestPeLayout::kResources);
  file.PadTo(SkxTestPeLayout::kResources);

  const auto directory = [&file](uint32_t id, uint32_t entry) {
    file.U32(0).U32(0).U32(0).U16(0).U16(1).U32(id).U32(entry);
  };
  directory(type, 0x80000018);
  directory(name, 0x80000030);
  directory(0x409, 0x48);  // language
  file.U32(kAddress + 0x58).U32(size).U32(0).U32(0);
  return file.Append(resource);
}
