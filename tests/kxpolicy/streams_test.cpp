// What a transcript cannot hold of the verbs that print: bytes that are no text, streams without end, hostile names.
#include <gmock/gmock.h>

#include <cstring>
#include <nlohmann/json.hpp>

#include "Common_CPP/util/hex.h"
#include "tests/kxpolicy/run_tool.h"
#include "tools/kxpolicy/input.h"

namespace {

using testing::HasSubstr;

/// An image of a document.
class Image {
 public:
  explicit Image(const std::string& document) {
    EXPECT_EQ(KxTest_RunTool({"compile", "-", "-o", Path()}, document).code, 0);
  }
  std::string Path() const { return KxTest_PathText(_folder.Path() / "image"); }
  std::string Eval(std::vector<std::string> arguments, const std::string& input) const {
    arguments.insert(arguments.begin(), {"eval", Path()});
    return KxTest_RunTool(arguments, input).out;
  }

  /// The image of two policies has the first of them `count` times.
  void RepeatTheFirstPolicy(uint32_t count) const {
    const std::string section = _folder.Read("image/policies.sec");  // a count, then records: a magic, their size, ...
    uint32_t size = 0;
    std::memcpy(&size, section.data() + 8, sizeof(size));
    const uint32_t all = count + 1;
    std::string repeated(reinterpret_cast<const char*>(&all), sizeof(all));
    for (uint32_t i = 0; i < count; ++i) repeated += section.substr(4, size);
    _folder.Write("image/policies.sec", repeated + section.substr(4 + size));
  }

 private:
  const CkxTempFolder _folder;
};

std::string Policy(int id, const std::string& name, const std::string& targets) {
  return R"({"id": )" + std::to_string(id) + R"(, "name": ")" + name + R"(", "action": "block", "targets": [)" +
         targets + "]}";
}
std::string App(const std::string& name) { return R"({"type": "executable", "fileName": ")" + name + "\"}"; }

const std::string kToolLine = R"({"id":"t","kind":"file","path":"C:\\Tools\\TOOL.exe"})";

TEST(Bench, MeasuresEachWayToDecide) {
  const Image image(R"({"policies": [)" + Policy(1, "P", App("*")) + "," + Policy(2, "Q", App("*")) + "]}");
  const auto bench = [&](const std::string& targets) {
    return KxTest_RunTool({"bench", image.Path(), "--targets", "-", "--milliseconds", "5", "--format", "json"},
                          targets);
  };
  const SkxToolRun run = bench(kToolLine + "\n" + kToolLine + "\n");
  ASSERT_EQ(run.code, 0) << run.err;
  const auto answer = nlohmann::json::parse(run.out);
  EXPECT_EQ(answer["policies"], 2);
  EXPECT_EQ(answer["targets"], 2);
  for (const char* const way : {"walk", "snapshot", "stream"}) {
    EXPECT_GT(answer[way]["decisionsPerSecond"], 0) << way;
  }
  EXPECT_EQ(bench("").code, 3);
  const SkxToolRun malformed = bench(kToolLine + "\n{}\n");
  EXPECT_EQ(malformed.code, 3);
  EXPECT_THAT(malformed.err, HasSubstr("standard input:2: "));
}

TEST(Eval, ReadsAnyBytesLineByLine) {
  const Image image(R"({"policies": [)" + Policy(1, "P", App("*")) + "]}");
  const std::string stream = "\xEF\xBB\xBF" + kToolLine + "\r\n\r\n" +                                   // a mark
                             "{\"id\":7,\"kind\":\"\xFF\"}\n" +                                          // not UTF-8
                             "{\"id\":" + std::string(100000, '[') + std::string(100000, ']') + "}\n" +  // nested
                             std::string(CkxLineReader::kMaxLineBytes + 1, ' ') + "\n" + kToolLine;
  std::istringstream answers(image.Eval({"--targets", "-", "--format", "json"}, stream));
  for (const char* const answer :
       {"{\"id\":\"t\",\"matched\":true,", "{\"id\":null,\"error\":\"",
        "{\"id\":", "{\"id\":null,\"error\":\"the line is too long\"}", "{\"id\":\"t\",\"matched\":true,"}) {
    std::string line;
    ASSERT_TRUE(std::getline(answers, line)) << answer;
    EXPECT_THAT(line, testing::StartsWith(answer));
  }
  EXPECT_EQ(answers.peek(), EOF);
}

/// From some target on by policies that are prepared for many.
TEST(Eval, AnswersALongStreamAsItBegan) {
  const Image image(R"({"policies": [)" + Policy(1, "Other", App("other.exe")) + "," +
                    Policy(2, "Tool", App("tool.exe")) + "]}");
  const std::string otherLine = R"({"id":"o","kind":"file","path":"C:\\Tools\\nothing.exe"})";
  std::string stream;
  for (int i = 0; i < 400; ++i) stream += kToolLine + "\n" + otherLine + "\n";
  std::istringstream answers(image.Eval({"--targets", "-", "--format", "json"}, stream));
  std::string applies;
  std::string doesNot;
  std::getline(answers, applies);
  std::getline(answers, doesNot);
  EXPECT_THAT(applies, HasSubstr("\"policyName\":\"Tool\""));
  EXPECT_THAT(doesNot, HasSubstr("\"matched\":false"));
  for (int i = 1; i < 400; ++i) {
    std::string first;
    std::string second;
    std::getline(answers, first);
    std::getline(answers, second);
    ASSERT_EQ(first, applies) << i;
    ASSERT_EQ(second, doesNot) << i;
  }
}

TEST(Eval, ExplainsWithinBounds) {
  constexpr size_t kTargets = 700;
  std::string targets;
  for (size_t i = 0; i < kTargets; ++i) targets += App(std::string(5000, 'x')) + ",";
  const std::string large = Policy(1, "Large", targets + App("*"));
  const std::vector<std::string> explain = {"--target", "-", "--format", "json", "--explain"};
  const Image many(R"({"policies": [)" + Policy(2, "Not this", App("no")) + "," + large + "]}");
  many.RepeatTheFirstPolicy(20'000);
  const auto answer = nlohmann::json::parse(many.Eval(explain, kToolLine));
  EXPECT_EQ(answer["policyId"], 1);
  EXPECT_EQ(answer["explain"].size(), 10'001u) << "the first ones, and the one that applies";
  EXPECT_EQ(answer["explainLeftOut"], 10'000);
  EXPECT_EQ(answer["explain"].back()["targets"].back()["outcome"], "matched");

  const Image image(R"({"policies": [)" + large + "]}");
  const auto policy = nlohmann::json::parse(image.Eval(explain, kToolLine))["explain"][0];
  EXPECT_EQ(policy["targets"].size(), 501u);
  EXPECT_EQ(policy["leftOut"], kTargets - 500);
  const std::string expected = policy["targets"][0]["failed"]["expected"];
  EXPECT_THAT(expected, testing::EndsWith("xx... (4007 more)"));
  EXPECT_THAT(image.Eval({"--target", "-", "--explain"}, kToolLine),
              HasSubstr("        200 more targets are left out\n"));
}

TEST(Printing, NeverRepeatsHostileTextRaw) {
  const Image image(R"({"policies": [)" + Policy(1, R"(\u202E\u001B[2Jx\nBlock   9 Forged)", App("a\\nb")) + "]}");
  const std::string bad = "no\x1B[31m\n\u202Eme";
  const std::vector<std::string> kCommands[] = {
      {"show", image.Path()},
      {"check", image.Path()},
      {"eval", image.Path(), "--target", "-", "--explain"},
      {"eval", bad, "--target", "-"},
      {"eval", image.Path(), "--target", bad},
      {"check", bad},
      {"compile", bad, "-o", bad},
      {"match", "--pattern", bad, bad},
      {bad},
      {"eval", "--" + bad},
      {"record", "tokendata", bad},
      {"publish", bad},
      {"match", "--mode", "regExp", "--pattern", "(" + bad},
  };
  for (const auto& command : kCommands) {
    const SkxToolRun run = KxTest_RunTool(command, R"({"kind": "file", "path": "C:\\\u202E\u001B.exe"})");
    const std::string shown = run.out + run.err;
    EXPECT_FALSE(shown.empty());
    for (const char* const raw : {"\x1B", "\u202E", "\nBlock   9"}) {
      EXPECT_THAT(shown, testing::Not(HasSubstr(raw))) << command[0];
    }
  }
}

/// A stream that cannot be written, like a full disk.
class FullBuffer : public std::streambuf {};

TEST(Printing, OutputThatCannotBeWritten) {
  const std::vector<std::string> kCommands[] = {{"match"}, {"record", "tokendata", std::string(60, '0')}};
  for (const auto& command : kCommands) {
    std::istringstream in(R"({"op":"version","text":"1"})");
    FullBuffer full;
    std::ostream out(&full);
    std::ostringstream err;
    SkxStreams streams = {in, out, err};
    EXPECT_EQ(KxPolicy_Run(command, streams), 4) << command[0];
    EXPECT_EQ(err.str(), "kxpolicy: standard output cannot be written\n");
  }
}

TEST(Record, TakesNoOtherLength) {
  EXPECT_FALSE(KxHex_ToBytes(std::string_view("00").substr(0, 1))) << "half a byte";
  const std::pair<const char*, size_t> kTypes[] = {{"triggerinfo", 317},           {"triggerinfo-6.0.1.171", 316},
                                                   {"processdata", 321},           {"processdata-10.2", 319},
                                                   {"processdata-6.0.1.171", 318}, {"tokendata", 30}};
  for (const auto& [type, size] : kTypes) {
    SCOPED_TRACE(type);
    EXPECT_EQ(KxTest_RunTool({"record", type, "-"}, std::string(2 * size, '0')).code, 0);
    for (const size_t other : {size - 1, size + 1, size_t{0}}) {
      const SkxToolRun run = KxTest_RunTool({"record", type, "-"}, std::string(2 * other, '0'));
      EXPECT_EQ(run.code, 3);
      EXPECT_EQ(run.out, "");
      EXPECT_EQ(run.err, "kxpolicy: record " + std::string(type) + ": has " + std::to_string(size) + " bytes, not " +
                             std::to_string(other) + "\n");
    }
  }
}

}  // namespace
