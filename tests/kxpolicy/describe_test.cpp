// Live things are judged as their descriptions are.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "Common_CPP/process/process.h"
#include "Common_CPP/util/text.h"
#include "tests/kxpolicy/run_tool.h"
#include "tests/support/process_resources.h"
#include "tests/support/shortcut_bytes.h"
#include "tests/support/stopped_program.h"

namespace {

using nlohmann::json;

SkxProcess Look(uint32_t pid) {
  std::vector<SkxProcess> chain;
  EXPECT_EQ(KxProcess_ReadChain(pid, 64, chain), EkxProcessLookup::Found);
  return chain.at(0);
}

class Describe : public testing::Test {
 protected:
  std::string Compile(const std::string& targets) const {
    const std::string image = KxTest_PathText(_folder.Path() / "image");
    const std::string document = R"({"applicationGroups": [{"name": "Parents", "targets": [)" + App(Name()) + R"(]}],
        "policies": [{"id": 7, "name": "P", "action": "block", "targets": [)" +
                                 targets + "]}]}";
    const SkxToolRun run = KxTest_RunTool({"compile", "-", "-o", image}, document);
    EXPECT_EQ(run.code, 0) << run.err << document;
    return image;
  }

  static std::string App(const std::string& name, const std::string& more = "") {
    return R"({"type": "executable", "fileName": )" + json(name).dump() + more + "}";
  }

  /// Of this test's program.
  static std::string Name() { return KxText_ToUtf8(Path()).substr(KxText_ToUtf8(Path()).find_last_of("\\/") + 1); }
  static KxWString Path() { return Look(KxTest_ProcessId()).image; }

  /// The answers about a live thing and about its description.
  static std::pair<json, json> Answers(const std::string& image, const std::vector<std::string>& live,
                                       const std::vector<std::string>& described) {
    std::vector<std::string> eval = {"eval", image, "--format", "json"};
    eval.insert(eval.end(), live.begin(), live.end());
    std::vector<std::string> describe = {"describe"};
    describe.insert(describe.end(), described.begin(), described.end());
    const SkxToolRun documents = KxTest_RunTool(describe);
    EXPECT_EQ(documents.code, 0) << documents.err;
    const SkxToolRun first = KxTest_RunTool(eval);
    const SkxToolRun again = KxTest_RunTool({"eval", image, "--format", "json", "--targets", "-"}, documents.out);
    EXPECT_EQ(first.code + again.code, 0) << first.err << again.err;
    return {json::parse(first.out), json::parse(again.out)};
  }

  const CkxTempFolder _folder;
};

TEST_F(Describe, AFileIsJudgedAsItsDescription) {
  _folder.Write("a.exe", "abc");
  const std::string file = KxTest_PathText(_folder.Path() / "a.exe");
  const json document = json::parse(KxTest_RunTool({"describe", file}).out);
  EXPECT_EQ(document["id"], file);
  EXPECT_EQ(document["size"], 3);
  const std::string hash = document["hashes"]["SHA256"];
  EXPECT_EQ(hash, "BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD");
  const std::string owner = document["owner"];

  for (
      const auto& [more, applies] : std::map<std::string, bool>{
          {R"(, "hash": {"algorithm": "SHA256", "hex": ")" + hash + "\"}", true},
          {R"(, "hash": {"algorithm": "SHA256", "hex": "0000000000000000000000000000000000000000000000000000000000000000"})",
           false},
          {R"(, "owners": [")" + owner + "\"]", true},
          {R"(, "owners": ["S-1-5-21-9-9-9-9"])", false}}) {
    SCOPED_TRACE(more);
    const auto [live, described] = Answers(Compile(App("a.exe", more)), {"--file", file}, {file});
    EXPECT_EQ(live["matched"], applies);
    EXPECT_EQ(live, described);
  }
}

TEST_F(Describe, AShortcutIsWhatItStarts) {
  const KxWString tool = _folder.Write("tool.exe", "abc");
  _folder.Write("a.lnk", KxTest_ShortcutBytes({tool, KXW("/quiet"), {}, {}}));
  _folder.Write("broken.lnk", KxTest_ShortcutBytes({KXW("C:\\No such folder\\tool.exe"), {}, {}, {}}));
  const std::string link = KxTest_PathText(_folder.Path() / "a.lnk");
  const json document = json::parse(KxTest_RunTool({"describe", link}).out);
  EXPECT_EQ(document["id"], link);
  EXPECT_EQ(document["kind"], "process");
  EXPECT_EQ(document["commandLine"], "\"" + KxText_ToUtf8(tool) + "\" /quiet");
  for (const auto& [arguments, applies] : std::map<std::string, bool>{{"/quiet", true}, {"/loud", false}}) {
    const std::string image = Compile(App("tool.exe", R"(, "arguments": ")" + arguments + "\""));
    const auto [live, described] = Answers(image, {"--file", link}, {link});
    EXPECT_EQ(live["matched"], applies) << arguments;
    EXPECT_EQ(live, described);
  }
  const std::string broken = KxTest_PathText(_folder.Path() / "broken.lnk");
  const json itself = json::parse(KxTest_RunTool({"describe", broken}).out);
  EXPECT_EQ(itself["kind"], "file");
  EXPECT_THAT(std::string(itself["path"]), testing::EndsWith("broken.lnk"));
}

TEST_F(Describe, AProcessIsJudgedAsItsDescription) {
  const CkxStoppedProgram child(Path(), {"child", "/quiet"}, _folder.Text("."));
  const std::string pid = std::to_string(child.Pid());
  for (const auto& [more, applies] :
       std::map<std::string, bool>{{R"(, "arguments": "/quiet")", true},
                                   {R"(, "arguments": "/loud")", false},
                                   {R"(, "parentProcess": {"includedGroup": "Parents"})", true},
                                   {R"(, "parentProcess": {"excludedGroup": "Parents"})", false}}) {
    SCOPED_TRACE(more);
    const auto [live, described] = Answers(Compile(App(Name(), more)), {"--pid", pid}, {"--pid", pid});
    EXPECT_EQ(live["matched"], applies);
    EXPECT_EQ(live["id"], child.Pid());
    EXPECT_EQ(live, described);
  }
  const json asked = json::parse(
      KxTest_RunTool({"eval", Compile(App(Name())), "--pid", pid, "--user", "S-1-5-21-1-2-3-4", "--format", "json"})
          .out);
  EXPECT_EQ(asked["matched"], true);
}

/// From a live process to the decision about a file that it makes: what is recorded of it is what a policy asks for.
TEST_F(Describe, WhoMakesAFileIsItsOrigin) {
  const CkxStoppedProgram writer(Path(), {"writer"}, _folder.Text("."));
  json maker = json::parse(KxTest_RunTool({"describe", "--pid", std::to_string(writer.Pid())}).out);
  const json request = {{"path", "C:\\made.exe"}, {"installTime", 5}, {"writer", maker}};
  const json origin = json::parse(KxTest_RunTool({"origin", "fill"}, request.dump() + "\n").out).at("json");
  const std::string user = origin.at("/installer/processes/0/user/sid"_json_pointer);
  for (const char* const ofTheMachine : {"drives", "mappedDrives", "windowsFolder", "id"}) maker.erase(ofTheMachine);
  const json target = {{"kind", "process"}, {"path", "C:\\made.exe"}, {"parent", maker}, {"origin", origin}};
  for (const auto& [asked, mode, applies] :
       {std::tuple(user, "callerMadeFile", true), std::tuple(user, "callerDidNotMakeFile", false),
        std::tuple(std::string("S-1-5-21-9-9-9-9"), "callerMadeFile", false)}) {
    const std::string image = Compile(R"({"type": "executable", "origin": {"users": [")" + asked +
                                      R"("], "spawnerProcess": {"mode": ")" + mode + "\"}}}");
    const SkxToolRun run = KxTest_RunTool({"eval", image, "--target", "-", "--format", "json"}, target.dump());
    EXPECT_EQ(json::parse(run.out).at("matched"), applies) << asked << mode << run.out;
  }
}

TEST_F(Describe, WhatIsNotThereIsUnusableInput) {
  const std::string image = Compile(App("a.exe"));
  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
           {"describe", "--pid", "0"}, {"eval", image, "--pid", "0"}, {"describe", "no such file"}}) {
    const SkxToolRun run = KxTest_RunTool(arguments);
    EXPECT_EQ(run.code, 3);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, testing::StartsWith("kxpolicy: "));
  }
  EXPECT_EQ(KxTest_RunTool({"describe"}).code, 2);
  EXPECT_EQ(KxTest_RunTool({"describe", "a", "--pid", "4"}).code, 2);
  EXPECT_EQ(KxTest_RunTool({"describe", "--pid", "x"}).code, 2);
}

}  // namespace
