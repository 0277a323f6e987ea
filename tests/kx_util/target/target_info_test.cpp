#include <kx_util/target_info.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <kx_util/target_info_kinds.h>
#include <kx_util/target_info_process.h>

#include <map>

#include "tests/support/data_rows.h"
#include "tests/support/recorded_facts.h"
#include "tests/support/trace_capture.h"
#include "tests/support/utf8.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A kind that is nothing but the base.
class Probe : public CkxTargetInfo {
 public:
  explicit Probe(const WCHAR* description = KXW(""), bool flag = false)
      : CkxTargetInfo(this, flag), _text(description) {}
  EkxPolicyTarget TargetType() const override { return EkxPolicyTarget::AdminTask; }
  using CkxTargetInfo::_Cached;
  using CkxTargetInfo::_Clean;
  using CkxTargetInfo::_GetFromCache;
  using CkxTargetInfo::_IsMissingValue;
  using CkxTargetInfo::_RemoveFromCache;
  using CkxTargetInfo::_SaveToCache;
  using CkxTargetInfo::_SetMissingValue;
  mutable int described = 0;

 protected:
  void _GetDescriptionForAlert(CkxUtilStr& text) const override {
    ++described;
    text = _text;
  }
  void _GetDescriptionForEvent(CkxUtilStr& text) const override {
    ++described;
    text = _text;
  }

 private:
  const WCHAR* const _text;
};

TEST(TargetInfoCache, KeepsTheLastValueOfAnExactKey) {
  const Probe probe;
  EXPECT_EQ(probe._GetFromCache(KXW("Key")), nullptr);
  probe._SaveToCache(KXW("Key"), KXW("one"));
  probe._SaveToCache(KXW("KEY"), KXW("other"));
  probe._SaveToCache(KXW("Key"), KXW("two"));
  EXPECT_EQ(KxTest_Utf8(probe._GetFromCache(KXW("Key"))), "two");
  EXPECT_EQ(KxTest_Utf8(probe._GetFromCache(KXW("KEY"))), "other");
  probe._RemoveFromCache(KXW("Key"));
  probe._RemoveFromCache(KXW("never there"));
  EXPECT_EQ(probe._GetFromCache(KXW("Key")), nullptr) << "one entry a key";

  const WCHAR* const kept = probe._GetFromCache(KXW("KEY"));
  for (size_t i = 1; i < 100; ++i) probe._SaveToCache(KxWString(i, KXW('k')).c_str(), KXW("x"));
  EXPECT_EQ(probe._GetFromCache(KXW("KEY")), kept) << "texts stay where they are";
  EXPECT_EQ(KxTest_Utf8(kept), "other");
}

TEST(TargetInfoCache, WhatIsKnownIsNeverComputedAgain) {
  const Probe probe;
  int computed = 0;
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(
        KxTest_Utf8(probe._Cached(KXW("there"), [&](CkxUtilStr& value) { return value = KXW("v"), ++computed != 0; })),
        "v");
  }
  EXPECT_EQ(computed, 1);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(probe._Cached(KXW("missing"), [&](CkxUtilStr&) { return ++computed == 0; }), nullptr);
  }
  EXPECT_EQ(computed, 2);
  EXPECT_TRUE(probe._IsMissingValue(KXW("missing")));
  EXPECT_FALSE(probe._IsMissingValue(KXW("Missing")));
  EXPECT_EQ(probe._GetFromCache(KXW("missing")), nullptr);
}

TEST(TargetInfo, HoldsWhatItIsGiven) {
  Probe probe(KXW(""), true);
  EXPECT_TRUE(probe.UserToken() == &probe && probe.ConstructionFlag() && !probe.OnDemandElevationRequested());
  EXPECT_FALSE(probe.IsLocalCopySource());
  probe.SetLocalCopySource(true);
  EXPECT_TRUE(probe.IsLocalCopySource());

  KxWString own = KXW("base");
  probe.SetDescriptionBase(own.c_str());
  own = KXW("gone");
  probe.SetDescriptionBase(probe.GetDescriptionBase());  // its own text may come back
  EXPECT_EQ(KxTest_Utf8(probe.GetDescriptionBase()), "base");
  CkxTargetInfoUacCOM named(KxTest_FileAt(KXW("C:\\a.dll")), {}, nullptr);
  named.SetDescriptionBase(probe.GetDescriptionBase());
  EXPECT_EQ(KxTest_Utf8(named.GetDescriptionForAlert()), "base (C:\\a.dll)");
  probe._SaveToCache(KXW("k"), KXW("v"));
  probe._Clean();
  EXPECT_EQ(probe.GetDescriptionBase(), nullptr);
  EXPECT_EQ(probe._GetFromCache(KXW("k")), nullptr);
}

TEST(TargetInfo, DescriptionsAreMadeOnceAndMissedAloud) {
  CkxTraceCapture trace;
  const Probe named(KXW("a\tname\r\nand more"));
  EXPECT_EQ(named.GetDescriptionForAlert(), named.GetDescriptionForAlert());
  EXPECT_EQ(KxTest_Utf8(named.GetDescriptionForEvent()), "a name  and more");
  EXPECT_EQ(named.described, 2);
  EXPECT_THAT(trace.Texts(), IsEmpty());

  const Probe nameless;
  EXPECT_EQ(KxTest_Utf8(nameless.GetDescriptionForAlert()), "");
  EXPECT_EQ(KxTest_Utf8(nameless.GetDescriptionForAlert()), "");
  EXPECT_EQ(KxTest_Utf8(nameless.GetDescriptionForEvent()), "");
  EXPECT_EQ(nameless.described, 2);
  EXPECT_THAT(trace.Texts(),
              ElementsAre("KXT_ERROR CkxTargetInfo: ERROR: Failed to retrieve KxAlertDesc. TargetType=8",
                          "KXT_ERROR CkxTargetInfo: ERROR: Failed to retrieve KxEventDesc. TargetType=8"));
}

TEST(TargetInfo, ComesFromConsentData) {
  int token = 0;
  CkxTraceCapture trace;
  for (const auto& [kind, type] :
       std::map<uint32_t, uint32_t>{{0, 3}, {1, 15}, {2, 5}, {3, 9}, {5, 3}, {4, 0}, {6, 0}, {77, 0}}) {
    SCOPED_TRACE(kind);
    CkxConsentData consent;
    consent.kind = static_cast<CkxConsentData::Kind>(kind);
    consent.path = KXW("C:\\no\\such\\place\\x.msi");
    consent.commandLine = KXW("x.exe /all");
    consent.url = KXW("https://example.com/x");
    consent.userToken = &token;
    const CkxTargetInfoPtr target(CkxTargetInfo::CreateFromConsentData(consent, 4711));
    ASSERT_EQ(target == nullptr, type == 0);
    if (target == nullptr) continue;
    EXPECT_EQ(static_cast<uint32_t>(target->TargetType()), type);
    EXPECT_EQ(target->UserToken(), &token);
    EXPECT_EQ(KxTest_Utf8(target->QueryPathProvider()->GetPath()), "C:\\no\\such\\place\\x.msi");
    const auto* const process = dynamic_cast<const CkxTargetInfoProcess*>(target.get());
    ASSERT_EQ(process != nullptr, kind % 2 == 0 || kind == 5);
    EXPECT_TRUE(process == nullptr || (process->Pid() == 4711 && KxTest_Utf8(process->CommandLine()) == "x.exe /all"));
  }
  std::vector<std::string> errors = trace.Texts();  // a token that is none is warned of where files are sought with it
  std::erase_if(errors, [](const std::string& line) { return !line.starts_with("KXT_ERROR"); });
  EXPECT_THAT(errors, ElementsAre("KXT_ERROR CkxTargetInfo: ERROR: Unexpected type: 4",
                                  "KXT_ERROR CkxTargetInfo: ERROR: Unexpected type: 6",
                                  "KXT_ERROR CkxTargetInfo: ERROR: Unexpected type: 77"));
}

TEST(TargetInfo, MappedPathsBecomeUnc) {
  CkxRecordedMachine machine;
  machine.shares[KXW('H')] = KXW("\\\\server\\share");
  const CkxMachineFactsScope scope(machine);
  KxTest_ForRows<KxWString, std::string>("path/mapped.txt", [](const auto& path, const auto& expected) {
    const WCHAR* unc = CkxTargetInfo::_MappedPathToUncStrDup(nullptr, path.c_str());
    EXPECT_EQ(KxTest_Utf8(unc), expected);
    EXPECT_NE(unc, path.c_str());
    CkxTargetInfo::_Free(unc);
    EXPECT_EQ(unc, nullptr);
  });
  EXPECT_EQ(CkxTargetInfo::_MappedPathToUncStrDup(nullptr, nullptr), nullptr);
}

TEST(TargetInfo, AProcessIsWhatItCarries) {
  CkxTargetInfoProcess host(KXW("C:\\tool.dat"), SkxProcessFacts(), nullptr);
  EXPECT_EQ(host.TargetType(), EkxPolicyTarget::Executable) << "under any name";
  EXPECT_EQ(&host.GetEffectiveTarget(), &host);
  host.AddLinked(CkxTargetInfoPtr(new CkxTargetInfoElevator(2, KXW("https://example.com"), nullptr)));
  host.AddLinked(CkxTargetInfoPtr(new CkxTargetInfoFile(KxTest_FileAt(KXW("C:\\a.msi")), nullptr)));
  host.SetParent(CkxTargetInfoPtr(new CkxTargetInfoProcess(KxTest_FileAt(KXW("")), SkxProcessFacts(), nullptr)));
  EXPECT_TRUE(host.GetEffectiveTarget().IsTargetInfoElevator());
  EXPECT_TRUE(host.Parent()->IsTargetInfoProcess());
}

}  // namespace
