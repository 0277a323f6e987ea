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

}  // namespace
