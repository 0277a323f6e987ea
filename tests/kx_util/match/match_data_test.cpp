// What the match primitives answer, as requests to `kxpolicy match` and their answers: another implementation of the
// matching can be held against the same files.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "tests/kxpolicy/run_tool.h"
#include "tests/support/data_rows.h"
#include "tests/support/trace_capture.h"

namespace {

using nlohmann::json;

std::vector<std::string> Errors(const CkxTraceCapture& trace) {
  std::vector<std::string> errors = trace.Texts();
  std::erase_if(errors, [](const std::string& line) { return !line.starts_with("KXT_ERROR "); });
  return errors;
}

/// Of a row [request, answer, errors that are traced...]; both have the members of `shared` and of the row.
void ExpectAnswer(const json& shared, const json& row) {
  json request = shared;
  request.update(row.at(0));
  json answer = row.at(1);
  answer["id"] = request.contains("id") ? request["id"] : json();

  const CkxTraceCapture trace;
  const SkxToolRun run = KxTest_RunTool({"match"}, request.dump());
  EXPECT_EQ(json::parse(run.out, nullptr, false), answer);
  EXPECT_EQ(run.code, 0) << run.err;
  EXPECT_THAT(Errors(trace), testing::ElementsAreArray(row.begin() + 2, row.end()));
}

TEST(MatchData, EachOperationHasItsAnswer) {
  for (const char* const file : {"texts", "numbers", "source_types", "command_lines", "locations"}) {
    json shared;
    for (const CkxDataRow& row : KxTest_Rows(std::string("match/") + file + ".txt")) {
      SCOPED_TRACE(row.At());
      if (row.Fields().is_object()) {
        shared = row.Fields();
      } else {
        ExpectAnswer(shared, row.Fields());
      }
    }
  }
}

}  // namespace
