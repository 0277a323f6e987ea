#include "Agent/engine/kx_util/origin/well_known_process.h"

#include <gtest/gtest.h>
#include <kx_util/file_src_process.h>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/target_document.h"
#include "tests/support/data_rows.h"

namespace {

using nlohmann::json;

const CkxTargetInfoProcess& ProcessOf(const CkxTargetDocument& document) {
  return static_cast<const CkxTargetInfoProcess&>(document.Target());
}

TEST(WellKnownProcess, NamePlaceAndPublisherMustFit) {
  json shared;
  for (const CkxDataRow& row : KxTest_Rows("origin/well_known.txt")) {
    SCOPED_TRACE(row.At());
    if (row.Fields().is_object()) {
      shared = row.Fields();
      continue;
    }
    row.RequireCount(3);
    json described = shared;
    described.merge_patch(row.Fields()[1]);
    const CkxTargetDocument document = CkxTargetDocument::FromJson(described);
    const CkxMachineFactsScope machine(document.Machine());
    const SkxWellKnownProcess* const known = KxWellKnown_Of(ProcessOf(document));
    EXPECT_EQ(known != nullptr ? json(KxText_ToUtf8(known->shortName)) : json(), row.Fields()[2]);

    CkxFileSrcProcess remembered;
    if (!remembered.Fill(ProcessOf(document))) continue;
    EXPECT_EQ(KxText_ToUtf8(remembered.Facts().wellKnown), row.Fields()[2].is_null() ? "" : row.Fields()[2]);
  }
}

TEST(WellKnownProcess, HasAShortNameAndMaybeOneForPeople) {
  const struct {
    const WCHAR* name;
    bool isKnown;
    const char* humanName;
  } kCases[] = {{KXW("chrome"), true, "Google Chrome"},
                {KXW("SVCHOST"), true, "Host Process for Windows Services"},
                {KXW("system"), true, "System"},
                {KXW("ftp"), true, ""},
                {KXW("totalcmd"), true, "Total Commander"},
                {KXW("chrome.exe"), false, ""},
                {KXW(""), false, ""}};
  for (const auto& c : kCases) {
    EXPECT_EQ(CkxFileSrcProcess::IsWellKnownName(c.name), c.isKnown) << KxText_ToUtf8(c.name);
    EXPECT_EQ(KxText_ToUtf8(CkxFileSrcProcess::HumanReadableNameFromWellKnown(c.name)), c.humanName);
  }
}

TEST(WellKnownProcess, IsTheAgentsWhereOneIsExpected) {
  const json agent = {{"kind", "process"},
                      {"path", "C:\\Program Files\\Vendor\\KxAgent.exe"},
                      {"signers", {{{"name", "Vendor Inc."}, {"status", "valid"}}}}};
  const struct {
    json patch;
    SkxExpectedPeer expected;
    bool isAgent;
  } kCases[] = {
      {{}, {KXW("KxAgent"), KXW("Vendor Inc.")}, true},
      {{}, {KXW("kxagent.EXE"), KXW("")}, true},
      {{}, {KXW(""), KXW("Vendor Inc.")}, false},
      {{}, {KXW("KxAgent"), KXW("vendor inc.")}, false},
      {{}, {KXW("Agent.exe"), KXW("")}, false},
      {{{"path", "C:\\Users\\a\\KxAgent.exe"}}, {KXW("KxAgent"), KXW("Vendor Inc.")}, false},
      {{{"path", "C:\\Program Files\\KxAgent.exe"}}, {KXW("KxAgent"), KXW("")}, false},
      {{{"signers", {{{"name", "Vendor Inc."}, {"status", "expired"}}}}}, {KXW("KxAgent"), KXW("Vendor Inc.")}, false},
  };
  for (const auto& c : kCases) {
    json described = agent;
    described.update(c.patch.is_null() ? json::object() : c.patch);
    const CkxTargetDocument document = CkxTargetDocument::FromJson(described);
    const CkxMachineFactsScope machine(document.Machine());
    EXPECT_EQ(KxWellKnown_IsAgent(ProcessOf(document), c.expected), c.isAgent)
        << described << KxText_ToUtf8(c.expected.image) << KxText_ToUtf8(c.expected.signer);
  }
}

}  // namespace
