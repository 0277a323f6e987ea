// The splitting against the system's own, on lines that hit every rule and on recorded ones.
#include <gtest/gtest.h>
#include <windows.h>

// Needs windows.h before it.
#include <shellapi.h>

#include <cstdlib>
#include <fstream>
#include <random>

#include <nlohmann/json.hpp>

#include "Agent/engine/kx_util/command/command_line.h"
#include "Common_CPP/util/text.h"

namespace {

std::vector<KxWString> SystemSplit(const KxWString& line) {
  int count = 0;
  LPWSTR* const all = CommandLineToArgvW(line.c_str(), &count);
  if (all == nullptr) return {};
  std::vector<KxWString> arguments(all, all + count);
  LocalFree(all);
  return arguments;
}

TEST(CommandLineOfTheSystem, SplitsGeneratedLinesAlike) {
  constexpr KxWStringView alphabet = L"ab\\\\\"\"\"  \t\n";
  std::mt19937 random(1);
  for (int round = 0; round < 200'000; ++round) {
    KxWString line(1 + random() % 16, WCHAR{});
    for (WCHAR& unit : line) unit = alphabet[random() % alphabet.size()];
    ASSERT_EQ(KxCommandLine_Split(line), SystemSplit(line)) << KxText_ToUtf8(line);
  }
}

TEST(CommandLineOfTheSystem, SplitsRecordedLinesAlike) {
  const char* const folder = std::getenv("KX_SHARED_DATA");
  if (folder == nullptr) GTEST_SKIP() << "KX_SHARED_DATA does not name the folder of recorded data";
  std::ifstream records(std::string(folder) + "/process_events.jsonl");
  if (!records) GTEST_SKIP() << "no process_events.jsonl in " << folder;
  size_t compared = 0;
  for (std::string record; std::getline(records, record);) {
    const auto event = nlohmann::json::parse(record);
    const auto line = KxText_FromUtf8(event.value("commandLine", ""));
    if (!line || line->empty()) continue;
    ASSERT_EQ(KxCommandLine_Split(*line), SystemSplit(*line)) << event["commandLine"];
    ++compared;
  }
  EXPECT_GT(compared, 1000u);
}

}  // namespace
