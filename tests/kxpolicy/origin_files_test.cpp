// What is kept with real files, by the command: on the system's own attributes where it keeps any, and on the fake of
// Windows'.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "Common_CPP/file/file.h"
#include "tests/kxpolicy/run_tool.h"
#include "tests/support/ea_fixture.h"
#include "tests/support/runtime_folder_scope.h"

namespace {

using nlohmann::json;
using testing::EndsWith;
using testing::HasSubstr;

class OriginFiles : public CkxEaFixture {
 protected:
  void SetUp() override {
    CkxEaFixture::SetUp();
    if (IsSkipped()) return;
    for (const char* const name : {"file", "other"}) {
      const KxWString path = _folder->Write(name, "content");
      if (_fake) _fake->At(path);
    }
    Secret("key", "0123456789abcdef");
    Secret("another", "fedcba9876543210");
    Secret("phrase", "pass");
  }
  void Secret(const char* name, const std::string& bytes) {
    _folder->Write(name, bytes);
    using std::filesystem::perms;
    std::filesystem::permissions(_folder->Path() / name, perms::owner_read | perms::owner_write);
  }
  std::string File(const std::string& name = "file") const { return KxTest_PathText(_folder->Path() / name); }

  /// With the key, unless another one is named.
  SkxToolRun Run(std::vector<std::string> arguments, const std::string& input = "", const char* key = "key") const {
    arguments.insert(arguments.begin(), "origin");
    if (arguments[1] != "delete") arguments.insert(arguments.end(), {"--pass-phrase-file", File("phrase")});
    if (arguments[1] != "delete" && *key != 0) arguments.insert(arguments.end(), {"--key-file", File(key)});
    return KxTest_RunTool(arguments, input);
  }
  json Get(const std::string& name = "file", const char* key = "key") const {
    const SkxToolRun run = Run({"get", File(name), "--format", "json"}, "", key);
    EXPECT_EQ(run.err, "");
    return json::parse(run.out);
  }
  /// Signed for the file by the stream's verb, in the form asked for, and put there as bytes.
  void Keep(const std::string& name, const std::string& ea, json request) {
    const std::optional<SkxFileStatus> status = KxFile_Status(_folder->Text(name));
    request["fileId"] = status.value().identity.file;
    const json answer = json::parse(Run({"sign"}, request.dump()).out);
    const bool isUri = answer.contains("bytes");
    const SkxToolRun run = KxTest_RunTool(
        {"ea", "set", File(name), ea, isUri ? "--value" : "--text", isUri ? answer["bytes"] : answer.at("document")});
    ASSERT_EQ(run.code, 0) << run.err;
  }

  const CkxRuntimeFolderScope _machine;
};

const char* const kShopOrigin =
    R"({"installer":{"installTime":133000000000000000,"processes":[{"order":0,"wellKnown":"chrome","path":"C:\\chrome.exe","publisherStatus":0,)"
    R"("user":{"sid":"S-1-5-18"}},{"order":1,"path":"C:\\Windows\\explorer.exe","publisherStatus":0}]}})";
const char* const kShopEmail = R"({"receivedTime":7,"smtpAddr":"sender@example.com","subject":"Tools"})";
const char* const kOldDriver =
    R"(<KxDrvData version="1" kxDataId=""><FileModify time="7"/><Process order="0"><Path>C:\w.exe</Path></Process></KxDrvData>)";

TEST_P(OriginFiles, AreSetReadAndDeletedInParts) {
  EXPECT_EQ(Run({"get", File(), "--format", "json"}).code, 1);
  EXPECT_EQ(Get(), (json{{"file", File()},
                         {"agent", nullptr},
                         {"driver", nullptr},
                         {"uri", nullptr},
                         {"email", nullptr},
                         {"mainSourceType", 0}}));
  EXPECT_EQ(Run({"get", File()}).out, File() + "\n  origin          nothing is kept with it\n");

  SkxToolRun run =
      Run({"set", File(), "--origin", "-", "--uri", "https://example.com/", "--email", kShopEmail}, kShopOrigin);
  EXPECT_EQ(run.code, 0) << run.err << run.out;
  EXPECT_EQ(run.out, "");
  Keep("file", "KxDrvSupData", {{"record", "driver"}, {"document", kOldDriver}});
  const json kept = Get();
  EXPECT_EQ(Run({"get", File()}).code, 0);
  EXPECT_EQ(kept["agent"]["installer"], json::parse(kShopOrigin)["installer"]);
  EXPECT_FALSE(kept["agent"].contains("file"));
  EXPECT_EQ(kept["driver"]["processes"][0]["path"], "C:\\w.exe");
  EXPECT_EQ(kept["uri"], "https://example.com/");
  EXPECT_EQ(kept["email"], json::parse(kShopEmail));
  EXPECT_EQ(kept["mainSourceType"], 1);

  run = Run({"get", File()});
  EXPECT_EQ(run.out, File() +
                         "\n"
                         "  brought by      Google Chrome (C:\\chrome.exe)\n"
                         "  started by      explorer.exe (C:\\Windows\\explorer.exe)\n"
                         "  on              2022-06-18 04:26:40 UTC\n"
                         "  for             NT AUTHORITY\\SYSTEM\n"
                         "  kind            Internet\n"
                         "  downloaded from https://example.com/\n"
                         "  attached by     sender@example.com\n"
                         "  about           Tools\n");

  const std::string none = json{{"file", File()}, {"refused", true}, {"error", "there is no such record"}}.dump();
  EXPECT_EQ(Run({"delete", File(), "--uri"}).code, 0);
  EXPECT_EQ(Get()["uri"], nullptr);
  EXPECT_NE(Get()["agent"], nullptr);
  run = Run({"delete", File(), "--uri", "--email"});
  EXPECT_EQ(run.code, 1) << "one of them is gone already";
  EXPECT_EQ(json::parse(run.out), json::parse(none));
  EXPECT_EQ(Get()["email"], nullptr);
  EXPECT_EQ(Run({"delete", File(), "--origin"}).code, 0);
  EXPECT_EQ(Get()["agent"], nullptr);
  EXPECT_EQ(Get()["driver"], nullptr);
  EXPECT_EQ(Run({"delete", File()}).code, 1);
  EXPECT_EQ(Run({"set", File(), "--uri", "a:b"}).code, 0);
  EXPECT_EQ(Run({"delete", File()}).code, 0) << "whatever there is";
}

TEST_P(OriginFiles, AreBoundToTheFileAndTheKey) {
  ASSERT_EQ(Run({"set", File(), "--origin", kShopOrigin, "--uri", "a:b"}).code, 0);
  for (const char* const ea : {"KXAgentSupData", "KXAgentUri"}) {
    const json value = json::parse(KxTest_RunTool({"ea", "get", File(), ea}).out);
    ASSERT_EQ(KxTest_RunTool({"ea", "set", File("other"), ea, "--value", value["value"]}).code, 0);
  }
  const json byHand = Get("other");
  EXPECT_EQ(byHand["agent"],
            (json{{"refused", true}, {"error", "ERROR: _FromXml failed for file [" + File("other") + "]"}}));
  EXPECT_EQ(byHand["uri"], "a:b") << "which says nothing of the file";
  EXPECT_EQ(byHand["mainSourceType"], 0);
  const SkxToolRun text = Run({"get", File("other")});
  EXPECT_EQ(text.code, 1);
  EXPECT_THAT(text.out, HasSubstr("\n  agent's record  refused: ERROR: _FromXml failed for file ["));
  const json otherKey = Get("file", "another");
  EXPECT_TRUE(otherKey["agent"].contains("refused"));
  EXPECT_TRUE(otherKey["uri"].contains("refused"));

  EXPECT_EQ(Run({"copy", File(), File("other")}).code, 0);
  EXPECT_EQ(Get("other")["agent"], Get()["agent"]);
  EXPECT_EQ(Run({"copy", File(), File("other")}, "", "another").code, 1) << "what does not hold is not copied";
  EXPECT_EQ(Get("other")["agent"], Get()["agent"]) << "and what was there stays";
}

TEST_P(OriginFiles, AreSignedAnew) {
  const auto keepOlder = [&](const std::string& name) {
    Keep(name, "KxDrvSupData", {{"record", "driver"}, {"document", kOldDriver}, {"form", "old"}});
    Keep(name, "KXAgentSupData", {{"record", "agent"}, {"origin", json::parse(kShopOrigin)}, {"form", "old"}});
    const json uri = json::parse(Run({"sign"}, R"({"record":"uri","uri":"a:b","form":"old"})").out);
    ASSERT_EQ(KxTest_RunTool({"ea", "set", File(name), "KXAgentUri", "--value", uri["bytes"]}).code, 0);
  };
  keepOlder("file");
  keepOlder("other");
  EXPECT_EQ(Get()["driver"]["version"], 1);
  EXPECT_EQ(Run({"migrate", File(), File("other")}).code, 0);
  const json kept = Get();
  EXPECT_EQ(kept["driver"]["version"], 2);
  const SkxToolRun keyAlone = KxTest_RunTool({"origin", "get", File("other"), "--key-file", File("key")});
  EXPECT_EQ(keyAlone.code, 0) << "of all three: " << keyAlone.out;
  EXPECT_EQ(Run({"migrate", File()}).code, 0);
  EXPECT_EQ(Get(), kept);

  keepOlder("file");
  const json older = Get();
  for (const char* const secret : {"--key-file", "--pass-phrase-file"}) {
    const std::string path = File(std::string_view(secret) == "--key-file" ? "key" : "phrase");
    const SkxToolRun run = KxTest_RunTool({"origin", "migrate", File(), File("other"), secret, path});
    EXPECT_EQ(run.code, 1) << secret;
    EXPECT_EQ(json::parse(run.out.substr(0, run.out.find('\n')))["file"], File());
    EXPECT_EQ(Get(), older);
  }
}

/// Exit code 1 is an answer, 4 the system's refusal; what was there stays.
TEST_P(OriginFiles, WhatIsRefused) {
  ASSERT_EQ(Run({"set", File(), "--uri", "a:b"}).code, 0);
  const struct {
    std::vector<std::string> arguments;
    int code;
    const char* key;
    std::string error;
  } kRuns[] = {
      {{"set", File(), "--origin", kShopOrigin}, 1, "", "ERROR: _ToXml failed for file [" + File() + "]"},
      {{"set", File(), "--uri", "c:d"}, 1, "", "ERROR: Failed to get expected signature."},
      {{"set", File(), "--uri", ""}, 1, "key", "ERROR: URI is empty."},
      {{"set", File(), "--email", "{}"}, 1, "key", "ERROR: Cannot find /SMTPAddr element text"},
      {{"set", File(), "--origin", R"({"installer":{"copySrc":{"path":"\u0001"}}})"},
       1,
       "key",
       "ERROR: _ToXml failed for file [" + File() + "]"},
      {{"copy", File("other"), File()}, 1, "key", "ERROR: No records to copy from file [" + File("other") + "]"},
      {{"migrate", File("other")}, 1, "key", "ERROR: No records to migrate on file : [" + File("other") + "]"},
      {{"get", File("missing")}, 4, "key", ""},
      {{"set", File("missing"), "--uri", "c:d"}, 4, "key", ""},
      {{"copy", File(), File("missing")}, 4, "key", ""},
      {{"copy", File("missing"), File()}, 4, "key", ""},
      {{"migrate", File("missing")}, 4, "key", ""},
      {{"delete", File("missing")}, 4, "key", ""},
      {{"set", File(), "--origin", "{"}, 3, "key", ""},
      {{"set", File(), "--origin", R"({"unknown":1})"}, 3, "key", ""},
      {{"set", File(), "--email", R"({"subject":7})"}, 3, "key", ""},
      {{"set", File()}, 2, "key", ""},
      {{"set", File(), "--origin", "-", "--email", "-"}, 2, "key", ""},
      {{"get", File(), "--format", "xml"}, 2, "key", ""},
      {{"migrate"}, 2, "key", ""},
  };
  for (const auto& row : kRuns) {
    const SkxToolRun run = Run(row.arguments, "", row.key);
    SCOPED_TRACE(row.arguments[0] + " " + row.arguments.back() + ": " + run.out + run.err);
    EXPECT_EQ(run.code, row.code);
    EXPECT_EQ(run.err.empty(), row.code == 1);
    EXPECT_EQ(row.code == 1 ? json::parse(run.out)["error"].get<std::string>() : "", row.error);
  }
  EXPECT_EQ(Get()["uri"], "a:b");
  _folder->Write("file.kxsrc", "no e-mail");
  EXPECT_EQ(Get()["email"], (json{{"refused", true}, {"error", "ERROR: Cannot find /KxSrcEmail element"}}));
  EXPECT_EQ(Run({"get", File()}).code, 1) << "one part is refused";
  if (_fake) {
    _fake->setStatus = kKxStatusDiskFull;
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"set", File(), "--origin", kShopOrigin},
                                                      {"set", File(), "--uri", "c:d"},
                                                      {"delete", File(), "--uri"}}) {
      EXPECT_EQ(Run(arguments).code, 4) << arguments[0] << arguments[2];
    }
    _fake->setStatus = 0;
    EXPECT_EQ(Get()["uri"], "a:b");
  }
}

INSTANTIATE_TEST_SUITE_P(Of, OriginFiles, kKxTestEaKinds, CkxEaFixture::NameOf);

}  // namespace
