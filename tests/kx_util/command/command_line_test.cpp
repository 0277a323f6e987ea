#include "Agent/engine/kx_util/command/command_line.h"

#include "Common_CPP/util/text.h"
#include "tests/support/data_rows.h"

namespace {

TEST(CommandLine, SplitsAsTheShellDoes) {
  KxTest_ForRows<KxWString, std::vector<std::string>>("command/splitting.txt", [](const auto& line, const auto& all) {
    std::vector<std::string> split;
    for (const KxWString& argument : KxCommandLine_Split(line)) split.push_back(KxText_ToUtf8(argument));
    EXPECT_EQ(split, all);
  });
  EXPECT_TRUE(KxCommandLine_Split(CkxTextView()).empty());
}

TEST(CommandLine, TakesTheProgramOff) {
  KxTest_ForRows<std::string, KxWString, std::optional<KxWString>, std::string, std::string>(
      "command/programs.txt",
      [](const auto&, const auto& line, const auto& path, const auto& program, const auto& arguments) {
        const SkxCommandLine parts = KxCommandLine_TakeApart(line, path ? CkxTextView(*path) : CkxTextView());
        EXPECT_EQ(KxText_ToUtf8(parts.program), program);
        EXPECT_EQ(KxText_ToUtf8(parts.arguments), arguments);
      });
}

TEST(CommandLine, LooksForAProgramOnlySoFar) {
  const auto argumentsOf = [](size_t blankAt) {
    const KxWString name = KxWString(blankAt, KXW('a')) + KXW(" b.exe");
    return KxText_ToUtf8(KxCommandLine_TakeApart(name + KXW(" /q"), KXW("C:\\") + name).arguments);
  };
  EXPECT_EQ(argumentsOf(kxMaxUnquotedProgram - 7), "/q");
  EXPECT_EQ(argumentsOf(kxMaxUnquotedProgram), "b.exe /q");
}

}  // namespace
