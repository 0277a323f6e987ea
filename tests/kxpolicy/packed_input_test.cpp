// Inputs that are packed: read as what they hold, and never taken for whole when they are cut off or damaged.
#include <gmock/gmock.h>

#include <regex>

#include "Common_CPP/util/hex.h"
#include "tests/kxpolicy/run_tool.h"

namespace {

using testing::HasSubstr;

// Two targets, packed by the programs gzip and zstd: in one piece, and each for itself.
const std::string kPlainLines =
    "{\"kind\":\"file\",\"path\":\"C:\\\\a.exe\"}\n{\"kind\":\"file\",\"path\":\"C:\\\\b.exe\"}\n";
constexpr const char* kGzip =
    "1f8b0800000000000203ab56cacecc4b51b2524acbcc4955d2512a482cc900f29cad626212f5522b52956ab9aa712b49822a01004bc7b1c946"
    "000000";
constexpr const char* kGzipOfA =
    "1f8b0800000000000203ab56cacecc4b51b2524acbcc4955d2512a482cc900f29cad626212f5522b52956ab90054ee063323000000";
constexpr const char* kGzipOfB =
    "1f8b0800000000000203ab56cacecc4b51b2524acbcc4955d2512a482cc900f29cad626292f4522b52956ab900b7e989bd23000000";
constexpr const char* kZstd =
    "28b52ffd04689d0100b4027b226b696e64223a2266696c65222c2270617468223a22433a5c5c612e657865227d0a622e657865227d0a010033"
    "a17a02b7bbfa74";
constexpr const char* kZstdOfA =
    "28b52ffd04681901007b226b696e64223a2266696c65222c2270617468223a22433a5c5c612e657865227d0a40cdc62d";
constexpr const char* kZstdOfB =
    "28b52ffd04681901007b226b696e64223a2266696c65222c2270617468223a22433a5c5c622e657865227d0a4d6285b5";
constexpr const char* kSkipped = "502a4d1803000000616263";

std::string BytesOf(const std::vector<const char*>& pieces) {
  std::string bytes;
  for (const char* const piece : pieces) {
    const auto decoded = KxHex_ToBytes(piece);
    if (decoded) bytes.append(decoded->begin(), decoded->end());
  }
  return bytes;
}

struct PackedSample {
  const char* name;
  std::vector<const char*> pieces;  // behind each of which the input may end
};
const PackedSample kSamples[] = {
    {"gzip", {kGzip}},
    {"gzip, two members", {kGzipOfA, kGzipOfB}},
    {"zstd", {kZstd}},
    {"zstd, two frames", {kZstdOfA, kZstdOfB}},
    {"zstd, frames to be skipped", {kSkipped, kZstdOfA, kSkipped, kZstdOfB, kSkipped}},
};

class PackedInput : public testing::Test {
 protected:
  PackedInput() {
    _folder.Write("p.json", R"({"policies": [{"id": 1, "name": "A", "action": "block",
                                  "targets": [{"type": "executable", "fileName": "a.exe"}]}]})");
    _folder.Write("none.json", R"({"policies": []})");
    _folder.Write("cases.json", R"({"cases": [{"events": "-", "expect": "none", "where": {"path": "*b.exe"}}]})");
  }

  /// "@" begins a path in the folder.
  SkxToolRun Run(std::vector<std::string> arguments, const std::string& input) const {
    for (std::string& argument : arguments) {
      if (argument.starts_with('@')) argument = KxTest_PathText(_folder.Path() / argument.substr(1));
    }
    return KxTest_RunTool(arguments, input);
  }
  SkxToolRun Summary(const std::string& input) const {
    return Run({"eval", "@p.json", "--targets", "-", "--summary", "--format", "json", "--errors-ok"}, input);
  }

  const CkxTempFolder _folder;
};

TEST_F(PackedInput, IsReadAsWhatItHoldsByEveryVerbOnStreams) {
  const std::vector<std::string> kVerbs[] = {
      {"eval", "@p.json", "--targets", "-"},    {"eval", "@p.json", "--files", "-", "--errors-ok"},
      {"test", "@p.json", "@cases.json"},       {"diff", "@p.json", "@none.json", "--targets", "-"},
      {"suggest", "--targets", "-", "-o", "-"}, {"events", "plain", "-", "--errors-ok"},
  };
  for (const auto& verb : kVerbs) {
    const SkxToolRun plain = Run(verb, kPlainLines);
    EXPECT_NE(plain.out, "") << verb[0];
    for (const PackedSample& sample : kSamples) {
      const SkxToolRun run = Run(verb, BytesOf(sample.pieces));
      EXPECT_EQ(run.code, plain.code) << verb[0] << " " << sample.name;
      EXPECT_EQ(run.out, plain.out) << verb[0] << " " << sample.name;
      EXPECT_EQ(run.err, plain.err) << verb[0] << " " << sample.name;
    }
  }
}

/// Except behind a piece, where it is what the pieces hold.
TEST_F(PackedInput, ThatIsCutOffIsNoEnd) {
  for (const PackedSample& sample : kSamples) {
    const std::string bytes = BytesOf(sample.pieces);
    std::vector<size_t> ends;
    for (const char* const piece : sample.pieces)
      ends.push_back((ends.empty() ? 0 : ends.back()) + BytesOf({piece}).size());
    for (size_t size = 2; size < bytes.size(); ++size) {
      SCOPED_TRACE(sample.name + std::string(" of ") + std::to_string(size));
      const SkxToolRun run = Summary(bytes.substr(0, size));
      const bool isWhole = std::find(ends.begin(), ends.end(), size) != ends.end();
      ASSERT_EQ(run.code, isWhole ? 0 : 3);
      if (isWhole) continue;
      ASSERT_EQ(run.out, "");
      static const std::regex kCutOff("kxpolicy: standard input:[123]: the [a-z]+ data is cut off\n");
      ASSERT_TRUE(std::regex_match(run.err, kCutOff)) << run.err;
    }
  }
}

/// A bit of a header that nothing depends on may be another.
TEST_F(PackedInput, ThatIsDamagedIsRefusedOrTheSame) {
  for (const PackedSample& sample : kSamples) {
    const std::string bytes = BytesOf(sample.pieces);
    const std::string whole = Summary(bytes).out;
    size_t refused = 0;
    for (size_t at = 4; at < bytes.size(); ++at) {
      std::string damaged = bytes;
      damaged[at] = static_cast<char>(damaged[at] ^ (1 << at % 8));
      const SkxToolRun run = Summary(damaged);
      ASSERT_TRUE(run.code == 3 ? run.out.empty() : run.out == whole) << sample.name << " at " << at << ": " << run.out;
      refused += run.code == 3 ? 1 : 0;
    }
    EXPECT_GT(refused, bytes.size() / 2) << sample.name;
  }
}

TEST_F(PackedInput, SaysWhatIsWrongAndWhere) {
  const std::string cutMember = BytesOf({kGzipOfB}).substr(0, 20);
  const struct {
    std::string bytes;
    const char* fault;
  } kCases[] = {
      {BytesOf({kGzipOfA, kGzipOfB}) + cutMember, "standard input:3: the gzip data is cut off"},
      {BytesOf({kGzipOfA}) + "more", "standard input:2: the gzip data is damaged"},
      {BytesOf({kZstdOfA}) + "more", "standard input:2: the zstd data is damaged"},
      {BytesOf({kZstdOfA, kGzipOfB}), "standard input:2: the zstd data is damaged"},
      {BytesOf({"28b52ffd0090", "09000078"}), "standard input:1: the zstd data needs a window of more than 128 MiB"},
      {BytesOf({"28b52ffd0188", "07", "09000078"}), "standard input:1: the zstd data needs a dictionary"},
  };
  for (const auto& [bytes, fault] : kCases) {
    const SkxToolRun run = Summary(bytes);
    EXPECT_EQ(run.code, 3) << fault;
    EXPECT_EQ(run.err, "kxpolicy: " + std::string(fault) + "\n");
  }
  EXPECT_THAT(Summary(BytesOf({"28b52ffd0088", "09000078"})).out, HasSubstr("\"unusable\":1")) << "a window of 128 MiB";

  _folder.Write("cut.gz", cutMember);
  const SkxToolRun ofFile = Run({"eval", "@p.json", "--targets", "@cut.gz"}, "");
  EXPECT_EQ(ofFile.code, 3);
  EXPECT_THAT(ofFile.err, HasSubstr("cut.gz:1: the gzip data is cut off"));
}

}  // namespace
