// Processes where the system tells of them in /proc.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/access_token/session_posix.h"
#include "Common_CPP/process/proc_text_posix.h"
#include "Common_CPP/process/process.h"
#include "Common_CPP/util/text.h"
#include "tests/support/data_rows.h"
#include "tests/support/stopped_program.h"
#include "tests/support/temp_folder.h"

namespace {

TEST(ProcText, Stat) {
  const std::string fields = " S 7 4711 42 34816 4711 4194304 1 2 3 4 5 6 7 8 20 0 1 0 123456 999 1";
  for (const std::string name : {"(sh)", "(a b)", "(a) S 1 2)", "()", "(\n)", "())"}) {
    const std::optional<SkxProcStat> stat = KxProc_ParseStat("4711 " + name + fields);
    ASSERT_TRUE(stat) << name;
    EXPECT_EQ(stat->state, 'S');
    EXPECT_EQ(stat->parent, 7u);
    EXPECT_EQ(stat->startTicks, 123456u);
    EXPECT_FALSE(stat->isKernelThread);
    EXPECT_FALSE(stat->HasEnded());
  }
  EXPECT_TRUE(KxProc_ParseStat("2 (kthreadd) S 0 0 0 0 -1 2129984 0 0 0 0 0 0 0 0 20 0 1 0 5 0 0")->isKernelThread);
  EXPECT_TRUE(KxProc_ParseStat("2 (sh) Z 1 2 2 0 -1 0 0 0 0 0 0 0 0 0 20 0 1 0 5 0 0")->HasEnded());

  const std::string whole = "4711 (sh)" + fields;
  const size_t needed = whole.find(" 999");
  for (size_t size = 0; size < needed - 6; ++size) EXPECT_FALSE(KxProc_ParseStat(whole.substr(0, size))) << size;
  for (const char* const broken : {"1 (a) S x", "1 (a) S 1 2 3 4 5 6x 7", "1 (a) S -1 2 3", "1 a S 1",
                                   "1 (a) S 4294967296 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1"}) {
    EXPECT_FALSE(KxProc_ParseStat(broken)) << broken;
  }
}

TEST(ProcText, Session) {
  const std::pair<const char*, uint32_t> kCases[] = {{"0", 0},
                                                     {"7", 7},
                                                     {"7\n", 7},
                                                     {"4294967294\n", 4294967294},
                                                     {"4294967295\n", 0},
                                                     {"", 0},
                                                     {"4294967296", 0},
                                                     {"-1", 0},
                                                     {"7 8", 0},
                                                     {" 7", 0},
                                                     {"7\n\n", 0}};
  for (const auto& [text, session] : kCases) EXPECT_EQ(KxPosixSession_Parse(text), session) << text;
}

TEST(ProcText, Status) {
  const std::string text =
      "Name:\tUid: 7\nTgid:\t4711\nUid:\t1000\t1001\t1002\t1003\nGid:\t2000\t2001\t0\t0\nGroups:\t4 24 \nX:\t1\n";
  const std::optional<SkxProcStatus> status = KxProc_ParseStatus(text);
  ASSERT_TRUE(status);
  EXPECT_EQ(status->threadGroup, 4711u);
  EXPECT_EQ(status->effectiveUser, 1001u);
  EXPECT_EQ(status->groups, (std::vector<gid_t>{4, 24, 2001}));
  for (const std::string line : {"Tgid", "\nUid", "\nGid"}) {
    std::string without = text;
    without.replace(without.find(line), line.size(), "\nOther");
    EXPECT_FALSE(KxProc_ParseStatus(without)) << line;
  }
  for (size_t size = 0; size < text.find("\t0\t0\n"); ++size) {
    const std::optional<SkxProcStatus> cut = KxProc_ParseStatus(text.substr(0, size));
    EXPECT_TRUE(!cut || cut->groups.size() == 1) << size;
  }
}

/// A row: the arguments, the line.
TEST(ProcText, CommandLine) {
  KxTest_ForRows<std::vector<std::string>, std::string>(
      "command/of_arguments.txt", [](const auto& arguments, const auto& line) {
        std::string bytes;
        for (const std::string& argument : arguments) bytes.append(argument).push_back('\0');
        EXPECT_EQ(KxText_ToUtf8(KxProc_CommandLine(bytes)), line);
        if (!arguments.empty() && !arguments.back().empty()) {
          EXPECT_EQ(KxText_ToUtf8(KxProc_CommandLine(bytes.substr(0, bytes.size() - 1))), line) << "not ended";
        }
      });
  EXPECT_EQ(KxText_ToUtf8(KxProc_CommandLine(std::string_view("a\0\xC3\xA9 \xFF\0", 7))), "a \"\uFFFD\uFFFD \uFFFD\"");
}

std::optional<SkxProcess> Look(uint32_t pid) {
  std::vector<SkxProcess> chain;
  if (KxProcess_ReadChain(pid, 64, chain) != EkxProcessLookup::Found) return std::nullopt;
  return chain.front();
}

const WCHAR* const kShell = KXW("/bin/sh");
const WCHAR* const kRoot = KXW("/");

TEST(ProcessPosix, IsWhatWasStarted) {
  const CkxStoppedProgram child(kShell, {"my shell", "-c", "read nothing", "a\"b", "", "c\\"}, KXW("/usr"));
  std::vector<SkxProcess> chain;
  ASSERT_EQ(KxProcess_ReadChain(child.Pid(), 64, chain), EkxProcessLookup::Found);
  EXPECT_EQ(KxText_ToUtf8(chain[0].image), std::filesystem::canonical("/bin/sh").string());
  EXPECT_EQ(KxText_ToUtf8(chain[0].commandLine), "\"my shell\" -c \"read nothing\" \"a\\\"b\" \"\" c\\");
  EXPECT_EQ(chain[0].currentFolder, KXW("/usr"));
  EXPECT_EQ(chain[0].services, KXW(""));
  EXPECT_EQ(chain[0].session, KxToken_Session(nullptr)) << "of the login that this process belongs to";
  EXPECT_FALSE(chain[0].isKernel);
  ASSERT_GE(chain.size(), 2u);
  EXPECT_EQ(chain[1].pid, static_cast<uint32_t>(getpid()));
  EXPECT_EQ(chain[1].creationTime, Look(chain[1].pid)->creationTime) << "always the same";
}

TEST(ProcessPosix, HasEndedThoughItsRemainsAreThere) {
  const CkxStoppedProgram child(kShell, {"sh"}, kRoot);
  EXPECT_TRUE(Look(child.Pid()));
  child.End();
  std::vector<SkxProcess> chain;
  EXPECT_EQ(KxProcess_ReadChain(child.Pid(), 64, chain), EkxProcessLookup::NoSuchProcess);
}

TEST(ProcessPosix, IsNoThread) {
  std::vector<SkxProcess> chain;
  EkxProcessLookup lookup = EkxProcessLookup::Found;
  std::thread([&] { lookup = KxProcess_ReadChain(static_cast<uint32_t>(syscall(SYS_gettid)), 64, chain); }).join();
  EXPECT_EQ(lookup, EkxProcessLookup::NoSuchProcess);
}

TEST(ProcessPosix, KnowsWhetherItsImageIsStillThere) {
  const CkxTempFolder folder;
  const std::filesystem::path program = folder.Path() / "a (deleted)";
  std::filesystem::copy_file(std::filesystem::canonical("/bin/sh"), program);
  const CkxStoppedProgram child(folder.Text("a (deleted)"), {"a"}, kRoot);
  const auto look = [&] {
    const std::optional<SkxProcess> process = Look(child.Pid());
    EXPECT_TRUE(process && process->image == folder.Text("a (deleted)"));
    return process && process->isImageAtPath;
  };
  EXPECT_TRUE(look()) << "whatever it is called";
  std::filesystem::remove(program);
  EXPECT_FALSE(look());
  folder.Write("a (deleted)", "another one");
  EXPECT_FALSE(look());
}

TEST(ProcessPosix, LongCommandLinesAreRefused) {
  const std::string most(kKxMaxProcessCommandLine - std::string("sh ").size(), 'x');
  EXPECT_TRUE(Look(CkxStoppedProgram(kShell, {"sh", most}, kRoot).Pid()));
  const CkxStoppedProgram child(kShell, {"sh", most + "x"}, kRoot);
  std::vector<SkxProcess> chain;
  EXPECT_EQ(KxProcess_ReadChain(child.Pid(), 64, chain), EkxProcessLookup::Refused);
}

TEST(ProcessPosix, OfOthersIsRefused) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become someone else";
  const auto parent = static_cast<uint32_t>(getpid());
  const auto asSomeoneElse = [&] {
    const bool ready = setgid(4242) == 0 && setuid(4241) == 0;
    std::vector<SkxProcess> chain;
    _exit(ready && KxProcess_ReadChain(parent, 64, chain) == EkxProcessLookup::Refused ? 0 : 1);
  };
  EXPECT_EXIT(asSomeoneElse(), testing::ExitedWithCode(0), "");
}

TEST(ProcessPosix, HasTheUserThatItRunsAs) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become someone else";
  const pid_t child = fork();
  if (child == 0) {
    if (setregid(0, 4242) != 0 || setreuid(0, 4241) != 0) _exit(1);
    pause();
  }
  std::optional<SkxProcess> process;
  for (int attempt = 0; attempt < 1000; ++attempt, usleep(1000)) {
    process = Look(static_cast<uint32_t>(child));
    if (process && KxToken_User(process->user.get())->ToUtf8() == "S-1-22-1-4241") break;
  }
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  ASSERT_TRUE(process);
  EXPECT_EQ(KxToken_User(process->user.get())->ToUtf8(), "S-1-22-1-4241");
  EXPECT_TRUE(KxToken_IsMember(process->user.get(), *CkxSid::FromUtf8("S-1-22-2-4242")));
  EXPECT_TRUE(KxToken_IsMember(process->user.get(), *CkxSid::FromUtf8("S-1-5-32-545")));
  EXPECT_FALSE(KxToken_IsAdministrator(process->user.get()));
}

}  // namespace
