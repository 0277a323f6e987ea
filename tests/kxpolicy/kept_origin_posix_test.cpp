// From a file that a process writes to the policy that asks who did: each step a run of the command of its own, as on a
// machine with an agent.
#include <gmock/gmock.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <thread>

#include "tests/kxpolicy/run_tool.h"
#include "tests/support/ea_folder.h"

namespace {

using nlohmann::json;

/// A shell that has written `file` and waits for its input to end, which is at the end of the scope.
class WritingShell {
 public:
  explicit WritingShell(const std::string& file) {
    int ends[2];
    if (pipe(ends) != 0) throw std::runtime_error("no pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[0], STDIN_FILENO);
    posix_spawn_file_actions_addclose(&actions, ends[1]);
    std::string words[] = {"sh", "-c", "printf content > \"$0\"; read line", file};
    char* arguments[] = {words[0].data(), words[1].data(), words[2].data(), words[3].data(), nullptr};
    const int failed = posix_spawn(&_pid, "/bin/sh", &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[0]);
    _input = ends[1];
    if (failed != 0) throw std::runtime_error("no shell");
    for (int tries = 0; tries < 1000 && (!std::filesystem::exists(file) || std::filesystem::file_size(file) < 7);
         ++tries) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
  }
  ~WritingShell() {
    close(_input);
    waitpid(_pid, nullptr, 0);
  }
  WritingShell(const WritingShell&) = delete;
  WritingShell& operator=(const WritingShell&) = delete;

  std::string Pid() const { return std::to_string(_pid); }

 private:
  pid_t _pid = -1;
  int _input = -1;
};

class KeptOriginOfARealFile : public testing::Test {
 protected:
  void SetUp() override {
    const auto parent = KxTest_EaFolder();
    if (!parent) GTEST_SKIP() << "no file system here keeps attributes of 64 KiB";
    _folder.emplace(*parent);
    for (const auto& [name, key] : {std::pair("key", "0123456789abcdef"), {"another", "fedcba9876543210"}}) {
      _folder->Write(name, key);
      using std::filesystem::perms;
      std::filesystem::permissions(_folder->Path() / name, perms::owner_read | perms::owner_write);
    }
  }
  std::string File(const std::string& name) const { return (_folder->Path() / name).string(); }

  /// One run of the command itself, which must succeed.
  std::string Run(const std::vector<std::string>& arguments, const std::string& input = "") const {
    const std::filesystem::path command = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "kxpolicy";
    _folder->Write("input", input);
    std::string line = "'" + command.string() + "'";
    for (const std::string& argument : arguments) line += " '" + argument + "'";
    FILE* const out = popen((line + " < '" + File("input") + "'").c_str(), "r");
    if (out == nullptr) throw std::runtime_error("no command");
    std::string text;
    char block[4096];
    for (size_t size = 0; (size = fread(block, 1, sizeof(block), out)) > 0;) text.append(block, size);
    EXPECT_EQ(pclose(out), 0) << line << "\n" << text;
    return text;
  }

  /// Whether the policy applies to the file; empty: without a key.
  bool Applies(const std::string& name, const std::string& key = "key") const {
    std::vector<std::string> arguments = {"eval", File("image"), "--file", File(name), "--format", "json"};
    if (!key.empty()) arguments.insert(arguments.end(), {"--key-file", File(key)});
    const json decision = json::parse(Run(arguments));
    EXPECT_FALSE(decision.contains("error")) << decision;
    return decision["matched"];
  }

  std::optional<CkxTempFolder> _folder;
};

TEST_F(KeptOriginOfARealFile, DecidesForItAndForNoOther) {
  const std::string file = File("setup.exe");
  json writer;
  {
    const WritingShell shell(file);
    writer = json::parse(Run({"describe", "--pid", shell.Pid()}));
  }
  const std::string user = writer["user"]["sid"];
  const json request = {{"path", file}, {"installTime", 133000000000000000}, {"writer", writer}};
  const json filled = json::parse(Run({"origin", "fill"}, request.dump()));
  ASSERT_EQ(filled["json"]["installer"]["processes"][0]["path"], writer["path"]);
  Run({"origin", "set", file, "--origin", "-", "--key-file", File("key")}, filled["json"].dump());
  EXPECT_THAT(Run({"origin", "get", file, "--key-file", File("key")}),
              testing::AllOf(testing::HasSubstr(writer["path"]), testing::HasSubstr("2022-06-18 04:26:40 UTC")));

  const json policies = {{"policies",
                          {{{"id", 1},
                            {"name", "What this user brought"},
                            {"action", "block"},
                            {"targets", {{{"type", "executable"}, {"origin", {{"users", {user}}}}}}}}}}};
  Run({"compile", "-", "-o", File("image")}, policies.dump());
  EXPECT_TRUE(Applies("setup.exe"));
  EXPECT_FALSE(Applies("setup.exe", "another")) << "another key";
  EXPECT_FALSE(Applies("setup.exe", "")) << "no key";

  const json described = json::parse(Run({"describe", file, "--key-file", File("key")}));
  EXPECT_EQ(described["origin"]["installer"], filled["json"]["installer"]) << "and goes where the description goes";

  const std::string record = json::parse(Run({"ea", "get", file, "KXAgentSupData"}))["value"];
  _folder->Write("other.exe", "content");
  Run({"ea", "set", File("other.exe"), "KXAgentSupData", "--value", record});
  EXPECT_FALSE(Applies("other.exe")) << "carried by hand";
  Run({"origin", "copy", file, File("other.exe"), "--key-file", File("key")});
  EXPECT_TRUE(Applies("other.exe")) << "and carried by the agent";

  std::string changed = record;
  changed[changed.size() / 2] = changed[changed.size() / 2] == '6' ? '7' : '6';
  Run({"ea", "set", file, "KXAgentSupData", "--value", changed});
  EXPECT_FALSE(Applies("setup.exe")) << "another byte";
  Run({"ea", "set", file, "KXAgentSupData", "--value", record});
  EXPECT_TRUE(Applies("setup.exe"));
}

}  // namespace
