// Makes the smallest program files that have a version resource, for tests. What is put down reads like the layout.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

#include "Common_CPP/util/base.h"

/// Little-endian bytes, one after the other.
class CkxTestBytes {
 public:
  CkxTestBytes& U16(uint32_t value) { return Number(value, 2); }
  CkxTestBytes& U32(uint32_t value) { return Number(value, 4); }
  CkxTestBytes& Raw(std::string_view text) {
    bytes.insert(bytes.end(), text.begin(), text.end());
    return *this;
  }
  CkxTestBytes& Text(KxWStringView text) {
    for (const WCHAR unit : text) U16(unit);
    return U16(0);
  }
  CkxTestBytes& Append(const CkxTestBytes& other) {
    bytes.insert(bytes.end(), other.bytes.begin(), other.bytes.end());
    return *this;
  }
  CkxTestBytes& PadTo(size_t size) {
    bytes.resize(std::max(size, bytes.size()));
    return *this;
  }
  CkxTestBytes& Align() { return PadTo((bytes.size() + 3) / 4 * 4); }
  void Set16(size_t at, size_t value) {
    bytes[at] = static_cast<unsigned char>(value);
    bytes[at + 1] = static_cast<unsigned char>(value >> 8);
  }
  size_t Size() const { return bytes.size(); }

  std::vector<unsigned char> bytes;

 private:
  CkxTestBytes& Number(uint32_t value, int size) {
    for (int i = 0; i < size; ++i) bytes.push_back(static_cast<unsigned char>(value >> 8 * i));
    return *this;
  }
};

enum class EkxTestNode : uint16_t { Binary = 0, Text = 1 };

inline CkxTestBytes KxTest_VersionNode(KxWStringView key, EkxTestNode type, const CkxTestBytes& value,
                                       const std::vector<CkxTestBytes>& children = {}) {
  CkxTestBytes node;
  node.U16(0);  // length, below
  node.U16(static_cast<uint32_t>(type == EkxTestNode::Text ? value.Size() / 2 : value.Size()));
  node.U16(static_cast<uint32_t>(type)).Text(key).Align().Append(value);
  for (const CkxTestBytes& child : children) node.Align().Append(child);
  node.Set16(0, node.Size());
  return node;
}

inline CkxTestBytes KxTest_VersionText(KxWStringView name, KxWStringView text) {
  return KxTest_VersionNode(name, EkxTestNode::Text, CkxTestBytes().Text(text));
}

inline CkxTestBytes KxTest_VersionTable(KxWStringView name, const std::vector<CkxTestBytes>& texts) {
  return KxTest_VersionNode(name, EkxTestNode::Text, {}, texts);
}

inline CkxTestBytes KxTest_Version(uint32_t fileMs, uint32_t fileLs, uint32_t productMs, uint32_t productLs,
                                   const std::vector<CkxTestBytes>& children) {
  CkxTestBytes fixed;
  fixed.U32(0xFEEF04BD).U32(0x10000).U32(fileMs).U32(fileLs).U32(productMs).U32(productLs).PadTo(52);
  return KxTest_VersionNode(KXW("VS_VERSION_INFO"), EkxTestNode::Binary, fixed, children);
}

/// Version 1.2.3.4 of a product 5.6.7.8, with a table of texts.
inline CkxTestBytes KxTest_UsualVersion() {
  const CkxTestBytes table =
      KxTest_VersionTable(KXW("040904B0"), {KxTest_VersionText(KXW("CompanyName"), KXW("Vendor Inc.")),
                                            KxTest_VersionText(KXW("FileDescription"), KXW("Tool")),
                                            KxTest_VersionText(KXW("ProductVersion"), KXW("5.6 beta"))});
  const CkxTestBytes translation =
      KxTest_VersionNode(KXW("Translation"), EkxTestNode::Binary, CkxTestBytes().U16(0x409).U16(0x4B0));
  return KxTest_Version(0x00010002, 0x00030004, 0x00050006, 0x00070008,
                        {KxTest_VersionNode(KXW("StringFileInfo"), EkxTestNode::Text, {}, {table}),
                         KxTest_VersionNode(KXW("VarFileInfo"), EkxTestNode::Text, {}, {translation})});
}

/// Where the parts of such a file begin.
struct SkxTestPeLayout {
  static constexpr size_t kNtHeaders = 64;
  static constexpr size_t kOptionalHeader = kNtHeaders + 24;
  static constexpr size_t kResources = 0x200;
  static constexpr size_t kVersion = kResources + 0x58;
  size_t directories;  ///< after the optional header's own fields
  size_t sectionHeader;
};
constexpr SkxTestPeLayout kTestPe32 = {SkxTestPeLayout::kOptionalHeader + 96, SkxTestPeLayout::kOptionalHeader + 224};
constexpr SkxTestPeLayout kTestPe32Plus = {SkxTestPeLayout::kOptionalHeader + 112,
                                           SkxTestPeLayout::kOptionalHeader + 240};

/// A file of headers and one section of resources; its last byte is the last of the version resource.
inline CkxTestBytes KxTest_PeImage(const SkxTestPeLayout& layout, const CkxTestBytes& version) {
  constexpr uint32_t kAddress = 0x1000;
  const bool plus = layout.directories == kTestPe32Plus.directories;
  const auto size = static_cast<uint32_t>(version.Size());
  CkxTestBytes file;
  file.Raw("MZ").PadTo(60).U32(SkxTestPeLayout::kNtHeaders);
  file.Raw(std::string_view("PE\0\0", 4)).U16(plus ? 0x8664 : 0x14C).U16(1).U32(0).U32(0).U32(0);
  file.U16(static_cast<uint32_t>(layout.sectionHeader - SkxTestPeLayout::kOptionalHeader)).U16(0x22);
  file.U16(plus ? 0x20B : 0x10B).PadTo(layout.directories - 4).U32(16);
  file.U32(0).U32(0).U32(0).U32(0).U32(kAddress).U32(0x58 + size).PadTo(layout.sectionHeader);
  file.Raw(".rsrc").PadTo(layout.sectionHeader + 8);
  file.U32(0x58 + size)
      .U32(kAddress)
      .U32(0x58 + size)
      .U32(SkxTestPeLayout::kResources)
      .PadTo(SkxTestPeLayout::kResources);

  const auto directory = [&file](uint32_t id, uint32_t entry) {
    file.U32(0).U32(0).U32(0).U16(0).U16(1).U32(id).U32(entry);
  };
  directory(16, 0x80000018);  // type: version
  directory(1, 0x80000030);   // name
  directory(0x409, 0x48);     // language
  file.U32(kAddress + 0x58).U32(size).U32(0).U32(0);
  return file.Append(version);
}
