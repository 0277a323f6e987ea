// The command line that is made of arguments is taken apart into them again.
#include <gtest/gtest.h>

#include <random>

#include "Agent/engine/kx_util/command/command_line.h"
#include "Common_CPP/process/proc_text_posix.h"
#include "Common_CPP/util/text.h"

namespace {

TEST(CommandLineOfArguments, IsTakenApartIntoThem) {
  std::mt19937 random(4711);
  const std::string_view units = "ab\\\\\" \t\n'^/";
  const auto text = [&](std::string_view alphabet) {
    std::string made(random() % 6, ' ');
    for (char& unit : made) unit = alphabet[random() % alphabet.size()];
    return made;
  };
  for (int round = 0; round < 20000; ++round) {
    std::vector<std::string> arguments = {text(random() % 2 == 0 ? "ab\\ \t'" : "ab\\'")};
    for (size_t count = random() % 4; count != 0; --count) arguments.push_back(text(units));
    std::string bytes;
    for (const std::string& argument : arguments) bytes.append(argument).push_back('\0');
    const KxWString line = KxProc_CommandLine(bytes);
    std::vector<std::string> apart;
    for (const KxWString& argument : KxCommandLine_Split(line)) apart.push_back(KxText_ToUtf8(argument));
    ASSERT_EQ(apart, arguments) << KxText_ToUtf8(line);
  }
}

}  // namespace
