// Publications, descriptions and lists of applicable policies made at random, all that there is of each and damaged as
// often as not; and what became of one evaluation. For tests that two ways to the same answer agree.
//
// Many of the texts are the same by one comparison and differ by another, so that things match often enough.
#pragma once

#include <kx_util/evaluation_fault.h>
#include <kx_util/match_str.h>
#include <kx_util/policy_source.h>
#include <kx_util/shared_policies_data.h>
#include <kx_util/target_info_kinds.h>
#include <kx_util/target_info_process.h>

#include <random>
#include <set>

#include "Agent/engine/kx_publish/image/encode_image.h"
#include "tests/support/record_bytes.h"
#include "tests/support/trace_capture.h"

/// What a target demands: few things, and most of them exactly; a bit of everything; or all that there is.
enum class EkxRandomDemands { Few, Some, All };

class CkxRandomThings {
 public:
  explicit CkxRandomThings(uint32_t seed, EkxRandomDemands demands = EkxRandomDemands::Some)
      : _demands(demands), _engine(seed) {}

  size_t Below(size_t end) { return _engine() % end; }
  bool OneOf(size_t many) { return Below(many) == 0; }

  template <size_t count>
  KxWString Any(const WCHAR* const (&texts)[count]) {
    const bool isUsual = _demands == EkxRandomDemands::Few && OneOf(2);
    return texts[Below(isUsual ? kUsual : count)];
  }

  SkxPublication Publication() {
    SkxPublication publication;
    for (size_t i = 0; i < kGroups; ++i) {
      publication.groups.push_back({{}, GroupId(i), Targets()});
    }
    for (uint32_t id = 1; id <= 8; ++id) publication.policies.push_back(Policy(id));
    return publication;
  }

  CkxTargetInfoPtr Description() {
    const SkxServerFacts server = {Any(kTexts), Any(kTexts)};
    switch (Below(10)) {
      case 0:
        return CkxTargetInfoPtr(new CkxTargetInfoActiveX(File(), server, nullptr));
      case 1:
        return CkxTargetInfoPtr(new CkxTargetInfoUacCOM(File(), server, nullptr));
      case 2:
        return CkxTargetInfoPtr(new CkxTargetInfoElevator(2, CkxUtilStr(Any(kTexts).c_str()), nullptr));
      case 3:
      case 4:
        return CkxTargetInfoPtr(new CkxTargetInfoFile(File(), nullptr));
      default:
        return Process();
    }
  }

  CkxApplicablePolicies Applicable() {
    if (!OneOf(3)) return CkxApplicablePolicies::All();
    std::vector<uint32_t> ids(1 + Below(6));
    for (uint32_t& id : ids) id = static_cast<uint32_t>(1 + Below(8));
    if (OneOf(2)) ids.push_back(0xFFFFFFFF);  // so far apart that they are no bits
    return CkxApplicablePolicies(std::move(ids));
  }

  void Damage(KxBytes& bytes) {
    for (size_t changes = Below(4); changes != 0 && bytes.size() > 4; --changes) {
      bytes[4 + Below(bytes.size() - 4)] = static_cast<unsigned char>(OneOf(2) ? Below(4) : Below(256));
    }
    if (OneOf(8)) bytes.resize(Below(bytes.size() + 1));
  }

  static constexpr size_t kBodies = 12;

  SkxTargetBody Body(size_t kind) {
    SkxExeTarget exe;
    SkxScriptTarget script;
    SkxMsiTarget msi;
    SkxMsuTarget msu;
    SkxDllTarget dll;
    SkxComTarget com;
    SkxActiveXTarget control;
    SkxExcludeTarget exclude;
    SkxAppPackageTarget package;
    SkxUrlTarget url;
    switch (kind) {
      case 0:
        Fill(script.location, script.fileName, script.arguments, script.owners, script.publishers, script.parentProcess,
             script.origin);
        return script;
      case 1:
        Fill(msi.productVersion, msi.location, msi.fileName, msi.arguments, msi.owners, msi.publishers,
             msi.installerProperties, msi.parentProcess, msi.origin);
        return msi;
      case 2:
        Fill(msu.location, msu.fileName, msu.owners, msu.publishers, msu.parentProcess, msu.origin);
        return msu;
      case 3:
        Fill(dll.fileVersion, dll.productVersion, dll.location, dll.fileName, dll.owners, dll.publishers,
             dll.versionFields, dll.origin);
        return dll;
      case 4:
        Fill(com.classId, com.location, com.fileName, com.owners, com.publishers, com.versionFields);
        return com;
      case 5:
        Fill(control.classId, control.sourceAddress, control.location, control.fileName, control.publishers);
        return control;
      case 6:
        Fill(exclude.location, exclude.fileName);
        return exclude;
      case 7:
        Fill(package.packageVersion, package.packageName, package.publishers, package.capabilities);
        return package;
      case 8:
        Fill(url.url);
        return url;
      case 9:
        return SkxAdminTaskTarget{static_cast<uint32_t>(Below(30))};
      case 10:
        return SkxGroupLink{GroupId(Below(kGroups + 1))};
      default:
        Fill(exe.fileVersion, exe.productVersion, exe.location, exe.fileName, exe.arguments, exe.owners, exe.publishers,
             exe.versionFields, exe.serviceName, exe.parentProcess, exe.origin);
        return exe;
    }
  }

 private:
  static constexpr size_t kGroups = 3;
  static constexpr size_t kUsual = 2;  // the first texts of each list, of which there are more where demands are few
  static constexpr const WCHAR* kTexts[] = {
      KXW("app.exe"),   KXW("APP.EXE"), KXW("app"),    KXW("a*"),       KXW("*.exe"),   KXW("?pp.exe"),
      KXW("Vendor"),    KXW("vend"),    KXW("*ndor"),  KXW(""),         KXW("Äpp.exe"), KXW("äPP.EXE"),
      KXW("(a|b)pp.*"), KXW("["),       KXW("/quiet"), KXW("app.exe "), KXW("run.ps1"),
  };
  static constexpr const WCHAR* kPaths[] = {
      KXW("C:\\Tools\\app.exe"),   KXW(""),
      KXW("c:/tools/sub/APP.EXE"), KXW("\\\\?\\C:\\Tools\\..\\Other\\äpp.exe"),
      KXW("Z:\\app.exe"),          KXW("\\\\srv\\share\\run.ps1"),
      KXW("D:\\setup\\ app.exe "), KXW("app.exe"),
      KXW("C:\\Tools\\"),          KXW("System"),
      KXW("/usr/bin/app"),
  };
  static constexpr const WCHAR* kPlaces[] = {
      KXW("C:\\Tools"),  KXW("c:\\tools\\*"),        KXW("*"), KXW("\\\\srv\\share"),
      KXW("*\\share\\"), KXW("CDROM:\\setup"),       KXW(""),  KXW("C:"),
      KXW("D:\\Tools"),  KXW("C:\\\\Tools\\.\\sub"),
  };
  static constexpr const WCHAR* kDrives[] = {KXW(""), KXW("FIXED"), KXW("REMOTE,CDROM"), KXW("ANY"), KXW("x")};
  static constexpr const WCHAR* kNames[] = {KXW("CompanyName"), KXW("ProductName"), KXW("")};

  static GUID GroupId(size_t group) { return {static_cast<uint32_t>(group), 1, 2, {}}; }

  uint16_t Mode() {
    if (_demands == EkxRandomDemands::Few && !OneOf(3)) return static_cast<uint16_t>(EkxStrCompareAs::StrEquals);
    return static_cast<uint16_t>(OneOf(12) ? Below(9) : 1 + Below(5));
  }

  void Fill(KxWString& text) {
    text = _demands == EkxRandomDemands::All ? KXW("app") : Any(kTexts);
  }  // some may not be empty
  void Fill(CkxSid& sid) { sid = OneOf(2) ? CkxSid::Null() : *CkxSid::FromUtf8("S-1-5-18"); }
  void Fill(SkxTextTest& test) {
    test.pattern = OneOf(20) ? KxWString(300, KXW('a')) : Any(kTexts);
    test.caseSensitive = OneOf(3);
    test.compareAs = Mode();
  }
  void Fill(SkxPublisherTest& test) {
    Fill(static_cast<SkxTextTest&>(test));
    test.unsignedOnly = OneOf(4);
  }
  void Fill(SkxVersionFieldTest& test) { FillNamed(test); }
  void Fill(SkxInstallerPropertyTest& test) { FillNamed(test); }
  void FillNamed(SkxNamedTextTest& test) {
    Fill(static_cast<SkxTextTest&>(test));
    test.name = Any(kNames);
  }
  void Fill(SkxFileNameTest& test) {
    test.pattern = Any(kTexts);
    test.compareAs = Mode();
    if (!OneOf(4)) return;
    test.hashAlgorithm = KXW("SHA1");
    test.hash = OneOf(2) ? KXW("SHA1##00FF") : KXW("SHA1##EE");
  }
  void Fill(SkxLocationTest& test) { test = {Any(kPlaces), OneOf(2), Any(kDrives)}; }
  void Fill(SkxVersionBounds& bounds) { bounds.min = uint64_t{1 + Below(2)} << 48; }
  void Fill(SkxParentTest& test) {
    test.includedGroup = OneOf(2) ? GroupId(Below(kGroups)) : GUID{};
    test.excludedGroup = OneOf(2) ? GroupId(Below(kGroups + 1)) : GUID{};
  }
  void Fill(SkxPackageTest& test) { Fill(test.publishers); }
  void Fill(SkxSpawnerTest& test) { test.mode = static_cast<uint8_t>(Below(4)); }
  void Fill(SkxCapabilityTest& test) { test.name = KXW("webcam"); }
  void Fill(SkxOriginTest& test) {
    test.flag = OneOf(2);
    Fill(test.distributionService, test.location, test.package, test.spawnerProcess, test.sourceAddress, test.users);
  }
  template <class Value>
  void Fill(std::vector<Value>& elements) {
    elements.resize(Below(4));
    for (Value& element : elements) Fill(element);
  }
  template <class Value>
  void Fill(std::optional<Value>& value) {
    const bool isThere = _demands == EkxRandomDemands::All || OneOf(_demands == EkxRandomDemands::Few ? 8 : 3);
    if (isThere) Fill(value.emplace());
  }
  template <class First, class... Others>
  requires(sizeof...(Others) != 0) void Fill(First& first, Others&... others) {
    Fill(first);
    Fill(others...);
  }

  std::vector<SkxTargetModel> Targets() {
    std::vector<SkxTargetModel> targets(Below(4));
    for (SkxTargetModel& target : targets) {
      target.id.Data1 = static_cast<uint32_t>(1 + Below(1000));
      target.body = Body(Below(kBodies + 4));
    }
    return targets;
  }

  SkxPolicyModel Policy(uint32_t id) {
    SkxPolicyModel policy;
    policy.id = id;
    policy.name = KXW("A policy");
    if (OneOf(4)) policy.alerts.resize(1);
    policy.targets = Targets();
    switch (Below(6)) {
      case 0:
        policy.action = EkxPolicyAction::Trust;
        policy.params = SkxElevateOnDemandParams{};
        break;
      case 1:
        policy.action = EkxPolicyAction::RunAndCollectEvents;
        policy.params = SkxZeroTouchParams{};
        break;
      case 2:
        policy.action = EkxPolicyAction::Exclude;
        policy.params = SkxExcludeParams{static_cast<uint16_t>(Below(3))};
        break;
      default:
        policy.action = EkxPolicyAction::Block;
        break;
    }
    return policy;
  }

  SkxFileFacts File() {
    SkxFileFacts file;
    file.path = Any(kPaths);
    if (OneOf(3)) file.targetType = static_cast<uint32_t>(3 + Below(4));
    if (OneOf(8)) file.targetType = static_cast<uint32_t>(EkxPolicyTarget::Dll);
    if (OneOf(2)) file.hashes = {{KXW("SHA1"), KXW("00FF")}};
    for (size_t signers = Below(3); signers != 0; --signers) {
      const bool isValid = OneOf(2);
      file.signers.push_back(
          {Any(kTexts), isValid ? EkxPublisherStatus::Valid : static_cast<EkxPublisherStatus>(Below(6))});
    }
    if (OneOf(2)) file.versionInfo = {{KXW("companyname"), Any(kTexts)}, {KXW("ProductName"), KXW("App")}};
    if (OneOf(2)) file.msiProperties = {{KXW("CompanyName"), Any(kTexts)}};
    if (OneOf(2)) file.fileVersion = KXW("1.2.3.4");
    if (OneOf(4)) file.appPackage = {Any(kTexts), KXW("1.2.3.4"), KXW("CN=Vendor"), {KXW("webcam")}};
    return file;
  }

  CkxTargetInfoPtr Process() {
    SkxProcessFacts facts;
    facts.commandLine = OneOf(4) ? KXW("powershell.exe -File C:\\Tools\\run.ps1") : KXW("app.exe /quiet");
    facts.services = OneOf(2) ? KXW("app/Vendor") : KXW("");
    auto process = std::make_unique<CkxTargetInfoProcess>(File(), std::move(facts), nullptr);
    if (OneOf(2)) process->SetParent(CkxTargetInfoPtr(new CkxTargetInfoProcess(File(), {}, nullptr)));
    if (OneOf(3)) process->AddLinked(CkxTargetInfoPtr(new CkxTargetInfoFile(File(), nullptr)));
    return CkxTargetInfoPtr(process.release());
  }

  const EkxRandomDemands _demands;
  std::mt19937 _engine;
};

struct SkxTracedAnswer {
  EkxEvaluationOutcome outcome = EkxEvaluationOutcome::NotAnswered;
  SkxTriggerPolicyShortInfo info;
  EkxEvaluationFault fault = EkxEvaluationFault::None;
  std::set<std::string> errors;  // who describes what a check found asks again

  bool operator==(const SkxTracedAnswer& other) const {
    return outcome == other.outcome && std::memcmp(&info, &other.info, sizeof(info)) == 0 && fault == other.fault &&
           errors == other.errors;
  }
};

/// Keeps lines up to a level, as a sink of the product does, or one for a developer.
class CkxLevelCapture : public CkxTraceCapture {
 public:
  explicit CkxLevelCapture(EkxTraceLevel deepest) : _deepest(deepest) {}
  EkxTraceLevel Deepest() const noexcept override { return _deepest; }

 private:
  const EkxTraceLevel _deepest;
};

/// What `judge(info, outcome)` ends with.
template <class Judge>
SkxTracedAnswer KxTest_Traced(Judge judge, EkxTraceLevel deepest = EkxTraceLevel::Warning) {
  const CkxLevelCapture trace(deepest);
  SkxTracedAnswer answer;
  judge(answer.info, answer.outcome);
  answer.fault = KxUtil_LastFault();
  const std::vector<std::string> lines = trace.Texts();
  answer.errors = {lines.begin(), lines.end()};
  return answer;
}

/// The publication in force, read for `target`.
inline SkxTracedAnswer KxTest_Walked(const CkxTargetInfo& target, EkxTraceLevel deepest = EkxTraceLevel::Warning) {
  const auto walk = [&](SkxTriggerPolicyShortInfo& info, EkxEvaluationOutcome& outcome) {
    CkxSharedPoliciesData::GetTargetPolicyAction(target, info, outcome);
  };
  return KxTest_Traced(walk, deepest);
}
