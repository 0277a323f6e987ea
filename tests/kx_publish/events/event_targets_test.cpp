// Recorded events: what becomes of each, and that nothing which comes of any of them is no target document.
#include "Agent/engine/kx_publish/events/event_targets.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/target_document.h"
#include "tests/support/data_rows.h"

namespace {

using nlohmann::json;
using nlohmann::ordered_json;

constexpr const char* kRows = "documents/events.txt";

/// What comes of an event: documents, or what is wrong with it.
json Outcome(const std::string& kind, const json& event, uint64_t& skipped) {
  const SkxEventKind* const known = KxEventKind_Named(kind.c_str());
  EXPECT_NE(known, nullptr) << kind;
  try {
    const SkxEventTargets targets = KxEvents_Targets(*known, event);
    skipped = targets.skipped;
    return json::parse(ordered_json(targets.documents).dump());
  } catch (const CkxDocumentFault& fault) {
    return fault.Line();
  }
}

TEST(Events, BecomeWhatTheySay) {
  KxTest_ForRows<std::string, json, json, uint64_t>(
      kRows, [](const std::string& kind, const json& event, const json& expected, uint64_t expectedSkipped) {
        uint64_t skipped = 0;
        const json outcome = Outcome(kind, event, skipped);
        EXPECT_EQ(outcome, expected) << outcome.dump();
        EXPECT_EQ(skipped, expectedSkipped);
        if (!outcome.is_array()) return;
        for (const json& document : outcome) EXPECT_NO_THROW(CkxTargetDocument::FromJson(document)) << document.dump();
      });
}

TEST(Events, AreOfKindsThatHaveNames) {
  for (const SkxEventKind& kind : KxEventKinds()) EXPECT_EQ(KxEventKind_Named(kind.name), &kind);
  EXPECT_EQ(KxEventKind_Named("Sysmon"), nullptr);
}

/// Each value of the event, one after the other, is something else meanwhile.
class Distortion {
 public:
  Distortion(std::string kind, const json& event) : _kind(std::move(kind)), _event(event) {}

  int Run() {
    Walk(_event);
    return _judged;
  }

 private:
  void Walk(json& value) {
    static const json kOthers[] = {nullptr,
                                   true,
                                   -1,
                                   1.5,
                                   4294967296,
                                   "",
                                   "x",
                                   "\xC3\xA9",
                                   std::string("a\0b", 3),
                                   "S-1-",
                                   "=,=",
                                   "0x",
                                   json::array({1}),
                                   {{"#text", 1}},
                                   {{"Data", {{{"Name", 1}}}}}};
    for (const json& other : kOthers) {
      const json kept = std::exchange(value, other);
      Judge();
      value = kept;
    }
    if (value.is_structured()) {
      for (json& inner : value) Walk(inner);
    }
  }

  void Judge() {
    uint64_t skipped = 0;
    const json outcome = Outcome(_kind, _event, skipped);
    ++_judged;
    if (!outcome.is_array()) {
      EXPECT_NE(outcome, "") << _event.dump();
      return;
    }
    for (const json& document : outcome) {
      EXPECT_NO_THROW(CkxTargetDocument::FromJson(document)) << _event.dump() << document.dump();
    }
  }

  const std::string _kind;
  json _event;
  int _judged = 0;
};

TEST(Events, ThatAreDistortedAreTargetDocumentsOrFaults) {
  int judged = 0;
  KxTest_ForRows<std::string, json, json, uint64_t>(kRows, [&](const std::string& kind, const json& event, const json&,
                                                               uint64_t) { judged += Distortion(kind, event).Run(); });
  EXPECT_GT(judged, 1000);
}

/// Whether some text of the event is this one.
bool Says(const json& event, const std::string& text) {
  if (event.is_string()) return event == text;
  for (const json& inner : event.is_structured() ? event : json::array()) {
    if (Says(inner, text)) return true;
  }
  return false;
}

TEST(Events, OfRealMachinesAreAllUnderstood) {
  const char* const folder = std::getenv("KX_SHARED_DATA");
  if (folder == nullptr) GTEST_SKIP() << "KX_SHARED_DATA does not name the folder of recorded data";
  std::ifstream file(std::string(folder) + "/process_events.jsonl");
  int events = 0;
  int signedOnes = 0;
  int withUser = 0;
  for (std::string line; std::getline(file, line); ++events) {
    const json event = json::parse(line);
    uint64_t skipped = 0;
    const json outcome = Outcome("plain", event, skipped);
    ASSERT_TRUE(outcome.is_array() && outcome.size() == 1) << line << outcome;
    const json& document = outcome[0];
    EXPECT_NO_THROW(CkxTargetDocument::FromJson(document)) << document.dump();
    EXPECT_EQ(document["path"], event["image"]);
    EXPECT_EQ(document.contains("signers"), event.contains("signer"));
    signedOnes += document.contains("signers");
    if (!document.contains("user")) continue;
    ++withUser;
    EXPECT_TRUE(Says(event, document["user"]["sid"])) << line;
  }
  EXPECT_GT(events, 0);
  EXPECT_GT(signedOnes, 0);
  EXPECT_GT(withUser, 0);
}

}  // namespace
