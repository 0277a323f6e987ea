// tests/data/decisions/*.json: policies, things that are about to run, and what is decided about them, why, and what is
// told. A file is a list of sheets: a policy `document`, a `target` document, and `cases` that change both a little:
//
//   document, target   what is different, as JSON merge patches
//   targets            others of the first policy
//   instead            another thing altogether
//   applies            id of the policy that decides, 0 when it is not given
//   failed             the one check that ends it, "fileName: expected / found" or its name alone
//   steps              all that an observer is told
//   trace              the errors and warnings that are traced; none when it is not given
//
// Whatever is decided about a file or a process is also decided about it as `describe` would write it down. Of a sheet
// that is `inOrder` each case must also be the one that decides when all after it hold too: what is cheap to look at
// comes first. And whatever is decided while somebody watches is decided while nobody does.
#include <gtest/gtest.h>
#include <kx_util/shared_policies_data.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/target_document.h"
#include "Agent/engine/kx_publish/document/target_document_out.h"
#include "Agent/engine/kx_publish/image/image_source.h"
#include "tests/support/policy_documents.h"
#include "tests/support/recording_observer.h"
#include "tests/support/trace_capture.h"

namespace {

using nlohmann::json;
using Lines = std::vector<std::string>;

struct Decision {
  uint32_t applies = 0;
  Lines steps;
  Lines trace;

  /// The checks that failed, without their mark.
  Lines Failed() const {
    Lines failed;
    for (const std::string& step : steps) {
      if (step.starts_with("check ")) failed.push_back(step.substr(6));
    }
    return failed;
  }
};

json Patched(json base, const json& owner, const char* key) {
  if (owner.contains(key)) base.merge_patch(owner[key]);
  return base;
}

Decision Decide(const json& document, const json& thing) {
  const CkxImageSource source(KxTest_Compile(document.dump()));
  const CkxPolicySourceScope scope(source);
  const CkxTargetDocument target = CkxTargetDocument::FromJson(thing);
  const CkxMachineFactsScope machine(target.Machine());
  SkxTriggerPolicyShortInfo unwatched;
  CkxSharedPoliciesData::GetTargetPolicyAction(target.Target(), unwatched);
  const CkxTraceCapture trace;
  CkxRecordingObserver observer;
  const CkxEvaluationObserverScope watching(observer);
  SkxTriggerPolicyShortInfo info;
  const bool applies = CkxSharedPoliciesData::GetTargetPolicyAction(target.Target(), info);
  EXPECT_EQ(std::memcmp(&info, &unwatched, sizeof(info)), 0);
  Decision decision = {applies ? uint32_t{info.PolicyId} : 0, observer.lines, trace.Texts()};
  std::erase_if(decision.trace, [](const std::string& line) {
    return !line.starts_with("KXT_ERROR") && !line.starts_with("KXT_WARNING");
  });
  return decision;
}

void ExpectFailed(const Decision& decision, const std::string& expected) {
  const Lines failed = decision.Failed();
  ASSERT_EQ(failed.size(), 1u);
  const bool isNameAlone = expected.find(':') == std::string::npos;
  EXPECT_EQ(isNameAlone ? failed[0].substr(0, failed[0].find(':')) : failed[0], expected);
}

void Expect(const Decision& decision, const json& test) {
  EXPECT_EQ(decision.applies, test.value("applies", 0u));
  EXPECT_EQ(decision.trace, test.value("trace", Lines()));
  if (test.contains("steps")) {
    EXPECT_EQ(decision.steps, test["steps"].get<Lines>());
  }
  if (test.contains("failed")) ExpectFailed(decision, test["failed"]);
}

/// The thing with all that describing its description says of it, in other words perhaps; itself where that is no file.
json Described(const json& thing) {
  const CkxTargetDocument target = CkxTargetDocument::FromJson(thing);
  const CkxMachineFactsScope machine(target.Machine());
  json described = thing;
  if (!target.Target().IsTargetInfoFile()) return described;
  try {
    described.merge_patch(json(KxTargetDocument_Write(static_cast<const CkxTargetInfoFile&>(target.Target()))));
  } catch (const CkxDocumentFault&) {
    return thing;  // what is linked to it cannot be described
  }
  return described;
}

void ExpectSame(const Decision& decision, const Decision& other) {
  EXPECT_EQ(decision.applies, other.applies);
  EXPECT_EQ(decision.steps, other.steps);
  EXPECT_EQ(decision.trace, other.trace);
}

/// Keys that nobody looks at expect nothing.
void ExpectKnownKeys(const json& object, std::initializer_list<std::string_view> known) {
  for (const auto& [key, value] : object.items()) {
    EXPECT_NE(std::find(known.begin(), known.end(), key), known.end()) << key;
  }
}

/// `later`: the sheet's thing with all that the cases after this one change; with what this one changes afterwards.
void PlayCase(const json& sheet, const json& test, json& later) {
  ExpectKnownKeys(test, {"name", "document", "targets", "target", "instead", "applies", "failed", "steps", "trace"});
  json document = Patched(sheet.value("document", json::object()), test, "document");
  if (test.contains("targets")) document.at("policies").at(0)["targets"] = test.at("targets");
  const json target = Patched(sheet.value("target", json::object()), test, "target");
  const json thing = test.value("instead", target);
  const Decision decision = Decide(document, thing);
  Expect(decision, test);
  ExpectSame(decision, Decide(document, Described(thing)));
  if (!sheet.value("inOrder", false) || !test.contains("failed")) return;
  later = Patched(later, test, "target");
  const std::string failed = test.at("failed");
  ExpectFailed(Decide(document, later), failed.substr(0, failed.find(':')));
}

void PlaySheet(const json& sheet) {
  SCOPED_TRACE(sheet.at("name").get<std::string>());
  ExpectKnownKeys(sheet, {"name", "document", "target", "inOrder", "cases"});
  const json& cases = sheet.at("cases");
  ASSERT_FALSE(cases.empty());
  json later = sheet.value("target", json::object());
  for (auto test = cases.rbegin(); test != cases.rend(); ++test) {
    SCOPED_TRACE(test->at("name").get<std::string>());
    try {
      PlayCase(sheet, *test, later);
    } catch (const std::exception& fault) {
      ADD_FAILURE() << fault.what();
    }
  }
}

TEST(Decisions, AreAsWritten) {
  size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator("tests/data/decisions")) {
    SCOPED_TRACE(entry.path());
    std::ifstream file(entry.path(), std::ios::binary);
    const json sheets = json::parse(file, nullptr, true, true);
    EXPECT_FALSE(sheets.empty());
    for (const json& sheet : sheets) PlaySheet(sheet);
    ++files;
  }
  EXPECT_GT(files, 0u) << "tests run at the root of the sources";
}

}  // namespace
