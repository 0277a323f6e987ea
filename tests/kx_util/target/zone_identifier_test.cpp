#include "Agent/engine/kx_util/target/zone_identifier.h"

#include <gtest/gtest.h>
#include <kx_util/target_info_file.h>

#include "tests/support/temp_folder.h"

namespace {

TEST(ZoneIdentifier, TheFirstZoneOfItsSection) {
  const struct {
    std::string text;
    std::optional<uint32_t> zone;
  } kRows[] = {
      {"[ZoneTransfer]\r\nZoneId=3\r\nHostUrl=https://example.com/\r\n", 3},
      {"[ZoneTransfer]\nZoneId=0", 0},
      {"\xEF\xBB\xBF[zonetransfer]\n zoneid = 4 \n", 4},
      {"[Other]\nZoneId=1\n[ZoneTransfer]\n\n;note\nReferrerUrl=a=b\nZoneId=2\nZoneId=3\n", 2},
      {"[ZoneTransfer]\nHostUrl=a\n[Other]\nZoneId=3\n", std::nullopt},
      {"[ZoneTransfer]\n[ZoneTransfer]\nZoneId=3\n", std::nullopt},
      {"ZoneId=3\n", std::nullopt},
      {"[ZoneTransfer]\nZoneId=5\n", std::nullopt},
      {"[ZoneTransfer]\nZoneId=33\n", std::nullopt},
      {"[ZoneTransfer]\nZoneId=-1\n", std::nullopt},
      {"[ZoneTransfer]\nZoneId=\nZoneId=3\n", std::nullopt},
      {"[ZoneTransfer\nZoneId=3\n", std::nullopt},
      {"[ZoneTransfer] ZoneId=3\n", std::nullopt},
      {"[ZoneTransfer]\nXZoneId=3\nZoneIdX=3\nZoneId\n", std::nullopt},
      {"", std::nullopt},
  };
  for (const auto& row : kRows) EXPECT_EQ(KxZoneIdentifier_Read(row.text), row.zone) << row.text;
}

/// Beside a file, in the way of each system: its stream, or a file of that name.
TEST(ZoneIdentifier, OfALiveFile) {
  const CkxTempFolder folder;
  const KxWString file = folder.Write("setup.exe", "content");
  const auto zone = [&] { return CkxTargetInfoFile(file.c_str(), nullptr).UrlZone(); };
  EXPECT_EQ(zone(), std::nullopt);
  folder.Write("setup.exe:Zone.Identifier", "[ZoneTransfer]\nZoneId=3\n");
  if (folder.Read("setup.exe:Zone.Identifier").empty()) GTEST_SKIP() << "this file system has no such stream";
  EXPECT_EQ(zone(), 3u);
  const std::string most = "[ZoneTransfer]\nZoneId=3\n" + std::string(kKxMaxZoneIdentifierBytes - 24, ' ');
  folder.Write("setup.exe:Zone.Identifier", most);
  EXPECT_EQ(zone(), 3u);
  folder.Write("setup.exe:Zone.Identifier", most + " ");
  EXPECT_EQ(zone(), std::nullopt) << "too long to be one";
}

}  // namespace
