#include "Agent/engine/kx_util/target/shortcut.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "Common_CPP/util/text.h"
#include "tests/support/record_bytes.h"

namespace {

enum : uint32_t {
  kItems = 1,
  kInfo = 2,
  kFolder = 16,
  kArguments = 32,
  kWide = 128,
  kNoInfo = 256,
  kTyped = 512,
  kTypedFirst = 1u << 25
};

CkxRecordBytes Ascii(std::string_view text) { return CkxRecordBytes().Append(KxBytes(text.begin(), text.end())).U8(0); }

CkxRecordBytes LinkHeader(uint32_t flags) {
  return CkxRecordBytes().U32(76).U32(0x00021401).U32(0).U32(0xC0).U32(0x46000000).U32(flags).PadTo(76);
}

CkxRecordBytes Item(const CkxRecordBytes& content) {
  return CkxRecordBytes().U16(static_cast<unsigned>(content.Size() + 2)).Append(content);
}

CkxRecordBytes Items(const std::vector<CkxRecordBytes>& items) {
  CkxRecordBytes list;
  for (const CkxRecordBytes& item : items) list.Append(Item(item));
  list.U16(0);
  return CkxRecordBytes().U16(static_cast<unsigned>(list.Size())).Append(list);
}

CkxRecordBytes Computer() {
  return CkxRecordBytes().U8(0x1F).U8(0x50).U32(0x20D04FE0).U32(0x10693AEA).U32(0x0008D8A2).U32(0x9D30302B);
}
CkxRecordBytes Drive() { return CkxRecordBytes().U8(0x2F).Append(Ascii("C:\\")).PadTo(23); }

/// A folder or file with its short name, and its long one unless that is empty.
CkxRecordBytes Entry(unsigned kind, std::string_view shortName, std::u16string_view longName = {},
                     unsigned version = 3) {
  CkxRecordBytes entry;
  entry.U8(kind).U8(0).U32(100).U32(0).U16(0x20).Append(Ascii(shortName)).Align(2);
  const auto block = static_cast<unsigned>(entry.Size() + 2);  // counted with the item's size
  if (longName.empty()) return entry.U16(0);
  CkxRecordBytes names;
  names.U16(version).U32(0xBEEF0004).U32(0).U32(0).U16(0);
  if (version >= 7) names.Zeros(18);
  names.U16(0);
  if (version >= 9) names.Zeros(4);
  if (version >= 8) names.Zeros(4);
  names.Plain(longName).U16(block);
  return entry.U16(static_cast<unsigned>(names.Size() + 2)).Append(names);
}

CkxRecordBytes LocalInfo(std::string_view base, std::string_view suffix) {
  const CkxRecordBytes texts = Ascii(base).Append(Ascii(suffix));
  CkxRecordBytes info;
  info.U32(static_cast<uint32_t>(28 + texts.Size())).U32(28).U32(1).U32(0).U32(28).U32(0);
  return info.U32(static_cast<uint32_t>(28 + base.size() + 1)).Append(texts);
}

CkxRecordBytes RemoteInfo(std::string_view share, std::u16string_view wideShare, std::string_view suffix) {
  const bool isWide = !wideShare.empty();
  const uint32_t names = isWide ? 28 : 20;
  CkxRecordBytes network;
  network.U32(0).U32(0).U32(names).U32(0).U32(0);
  if (isWide) network.U32(static_cast<uint32_t>(names + share.size() + 1)).U32(0);
  network.Append(Ascii(share));
  if (isWide) network.Plain(wideShare);
  const auto suffixAt = static_cast<uint32_t>(28 + network.Size());
  CkxRecordBytes info;
  info.U32(static_cast<uint32_t>(suffixAt + suffix.size() + 1)).U32(28).U32(2).U32(0).U32(0).U32(28).U32(suffixAt);
  return info.Append(network).Append(Ascii(suffix));
}

CkxRecordBytes Counted(std::u16string_view text) {
  CkxRecordBytes counted;
  counted.U16(static_cast<unsigned>(text.size()));
  for (const char16_t unit : text) counted.U16(unit);
  return counted;
}

CkxRecordBytes TypedBlock(std::u16string_view path) {
  CkxRecordBytes block;
  return block.U32(0x314).U32(0xA0000001).Zeros(260).Plain(path).PadTo(0x314).U32(0);
}

std::string TargetOf(const CkxRecordBytes& bytes) {
  const auto shortcut = KxShortcut_Read(bytes.Bytes());
  return shortcut ? KxText_ToUtf8(shortcut->target) : "no shortcut";
}

const std::vector<CkxRecordBytes> kWayToTool = {Computer(), Drive(), Entry(0x31, "PROGRA~1", u"Program Files"),
                                                Entry(0x32, "TOOL~1.EXE", u"T\u00F6\u00F6l.exe", 9)};

TEST(Shortcut, LeadsAlongItsItems) {
  EXPECT_EQ(TargetOf(LinkHeader(kItems).Append(Items(kWayToTool))), "C:\\Program Files\\T\u00F6\u00F6l.exe");
  EXPECT_EQ(TargetOf(LinkHeader(kItems).Append(Items({Computer(), Drive()}))), "C:\\");
  for (const unsigned version : {3u, 7u, 8u, 9u}) {
    const auto items = Items({Computer(), Drive(), Entry(0x32, "S~1", u"Long name", version)});
    EXPECT_EQ(TargetOf(LinkHeader(kItems).Append(items)), "C:\\Long name") << version;
  }
  EXPECT_EQ(TargetOf(LinkHeader(kItems).Append(Items({Computer(), Drive(), Entry(0x32, "SHORT.EXE")}))),
            "C:\\SHORT.EXE");
  EXPECT_EQ(TargetOf(LinkHeader(kItems).Append(Items({Computer()}))), "");
  EXPECT_EQ(TargetOf(LinkHeader(kItems).Append(Items({Drive(), Entry(0x32, "A.EXE")}))), "") << "of no computer";
  EXPECT_EQ(TargetOf(LinkHeader(kItems).Append(Items({Computer(), Drive(), Entry(0x71, "PANEL")}))), "") << "no file";
}

TEST(Shortcut, LeadsToWhereTheFileWasFound) {
  EXPECT_EQ(TargetOf(LinkHeader(kInfo).Append(LocalInfo("C:\\Tools\\a.exe", ""))), "C:\\Tools\\a.exe");
  EXPECT_EQ(TargetOf(LinkHeader(kInfo).Append(LocalInfo("C:\\Tools", "b\\a.exe"))), "C:\\Tools\\b\\a.exe");
  EXPECT_EQ(TargetOf(LinkHeader(kInfo).Append(RemoteInfo("\\\\server\\share", u"", "a.exe"))),
            "\\\\server\\share\\a.exe");
  EXPECT_EQ(TargetOf(LinkHeader(kInfo).Append(RemoteInfo("\\\\s?", u"\\\\s\u00E9", "a.exe"))), "\\\\s\u00E9\\a.exe");
  EXPECT_EQ(TargetOf(LinkHeader(kInfo | kNoInfo).Append(LocalInfo("C:\\a.exe", ""))), "");
}

/// Of several places that say something else, the shell follows one.
TEST(Shortcut, TheShellsOrderDecides) {
  const auto target = [](uint32_t flags) {
    return TargetOf(LinkHeader(flags | kWide)
                        .Append(Items(kWayToTool))
                        .Append(LocalInfo("C:\\info.exe", ""))
                        .Append(TypedBlock(u"%windir%\\typed.exe")));
  };
  EXPECT_EQ(target(kItems | kInfo | kTyped), "C:\\Program Files\\T\u00F6\u00F6l.exe");
  EXPECT_EQ(target(kItems | kInfo | kTyped | kTypedFirst), "%windir%\\typed.exe");
  EXPECT_EQ(target(kItems | kInfo | kTypedFirst), "C:\\Program Files\\T\u00F6\u00F6l.exe");
  EXPECT_EQ(TargetOf(LinkHeader(kTyped).Append(TypedBlock(u"%windir%\\typed.exe"))), "%windir%\\typed.exe");
  const auto foreign = LinkHeader(kTyped).U32(12).U32(0xA0000009).U32(0).Append(TypedBlock(u"behind.exe"));
  EXPECT_EQ(TargetOf(foreign), "behind.exe");
}

TEST(Shortcut, TextsAreCountedAndPathsEnd) {
  const auto wide = KxShortcut_Read(
      LinkHeader(kFolder | kArguments | kWide).Append(Counted(u"C:\\")).Append(Counted(u"/x \u00E9")).Bytes());
  ASSERT_TRUE(wide);
  EXPECT_EQ(wide->startFolder, KXW("C:\\"));
  EXPECT_EQ(wide->arguments, KXW("/x \u00E9"));
  CkxRecordBytes narrow = LinkHeader(kArguments);
  narrow.U16(4).U8('/').U8('x').U8(' ').U8(0xE9);
  EXPECT_EQ(KxShortcut_Read(narrow.Bytes())->arguments, KXW("/x \u00E9"));

  // A folder that tells more units than there can be hides the arguments from readers that believe it.
  CkxRecordBytes hiding = LinkHeader(kFolder | kArguments | kWide).U16(900);
  for (int unit = 0; unit < 260; ++unit) hiding.U16(' ');
  const std::u16string longArguments(5000, u'a');
  const auto found = KxShortcut_Read(hiding.Append(Counted(longArguments)).Bytes());
  ASSERT_TRUE(found);
  EXPECT_EQ(found->startFolder.size(), 260u);
  EXPECT_EQ(found->arguments.size(), 5000u);
}

TEST(Shortcut, OthersAreNone) {
  EXPECT_EQ(TargetOf(LinkHeader(0)), "");
  EXPECT_EQ(TargetOf(LinkHeader(0).SetU16(0, 77)), "no shortcut");
  EXPECT_EQ(TargetOf(LinkHeader(0).SetU16(4, 0x1402)), "no shortcut");
  EXPECT_EQ(TargetOf(LinkHeader(kInfo).U32(3)), "no shortcut");
  EXPECT_EQ(TargetOf(LinkHeader(0).PadTo(kKxMaxShortcutBytes)), "");
  EXPECT_EQ(TargetOf(LinkHeader(0).PadTo(kKxMaxShortcutBytes + 1)), "no shortcut");
}

CkxRecordBytes WithEverything() {
  return LinkHeader(kItems | kInfo | kFolder | kArguments | kWide)
      .Append(Items(kWayToTool))
      .Append(RemoteInfo("\\\\server\\share", u"\\\\server\\share", "a.exe"))
      .Append(Counted(u"C:\\"))
      .Append(Counted(u"/x"));
}

TEST(Shortcut, EveryCutIsRefused) {
  const KxBytes whole = WithEverything().Bytes();
  ASSERT_TRUE(KxShortcut_Read(whole));
  for (size_t size = 0; size < whole.size(); ++size) {
    const KxBytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    ASSERT_FALSE(KxShortcut_Read(cut)) << size;
  }
}

TEST(Shortcut, NoByteLeadsAstray) {
  const KxBytes whole = WithEverything().Bytes();
  for (size_t at = 0; at < whole.size(); ++at) {
    for (const int change : {0x01, 0x80, 0xFF}) {
      KxBytes broken = whole;
      broken[at] ^= static_cast<unsigned char>(change);
      const auto shortcut = KxShortcut_Read(broken);
      if (!shortcut) continue;
      ASSERT_LE(shortcut->target.size() + shortcut->arguments.size(), whole.size()) << at;
    }
  }
}

TEST(Shortcut, OfPeopleThatWeDoNotKnow) {
  const char* const folder = std::getenv("KX_SHARED_DATA");
  if (folder == nullptr) GTEST_SKIP() << "KX_SHARED_DATA does not name the folder of recorded data";
  const std::filesystem::path shortcuts = std::filesystem::path(folder) / "shortcuts";
  if (!std::filesystem::is_directory(shortcuts)) GTEST_SKIP() << "no shortcuts in " << folder;
  const struct {
    const char* name;
    const char* target;
    size_t arguments;  // units
  } kKnown[] = {
      {"broken_link_info", "C:\\Program Files\\xt\\xt.exe", 0},
      {"darwin_block", "C:\\Windows\\Installer\\{DB8757A3-1B62-4136-8D95-D2CB9F00E36C}\\test_icon.ico", 0},
      {"microsoft_example", "C:\\test\\a.txt", 0},
      {"padded_cli_arguments", "C:\\Windows\\System32\\cmd.exe", 1431},
      {"sample", "C:\\Users\\Jonathan\\AppData\\Roaming\\.minecraft", 0},
      {"sample12", "C:\\AnonymusBrowser-v2.0\\AnonymusBrowser.exe", 9},
      {"sample2", "C:\\Users\\TEMP\\AppData\\Roaming\\.minecraft", 0},
      {"sample3", "", 0},
      {"unknown_target", "", 0},
  };
  for (const auto& known : kKnown) {
    std::ifstream in(shortcuts / (std::string(known.name) + ".lnk"), std::ios::binary);
    const KxBytes bytes(std::istreambuf_iterator<char>(in), {});
    const auto shortcut = KxShortcut_Read(bytes);
    ASSERT_TRUE(shortcut) << known.name;
    EXPECT_EQ(KxText_ToUtf8(shortcut->target), known.target);
    EXPECT_EQ(shortcut->arguments.size(), known.arguments) << known.name;
  }
}

}  // namespace
