// The first look at policies changes no answer: over publications, descriptions, damage and lists of applicable
// policies made at random, an evaluation that nobody watches, which takes that look, and one that somebody watches,
// which does not, end alike: the outcome, all bytes of the answer, the fault, and the lines of the trace.
#include <gtest/gtest.h>
#include <kx_util/evaluation_fault.h>
#include <kx_util/shared_policies_data.h>
#include <kx_util/target_info_kinds.h>
#include <kx_util/target_info_process.h>

#include <random>
#include <set>

#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Agent/engine/kx_util/policy/policy_prefilter.h"
#include "tests/support/recorded_facts.h"
#include "tests/support/recording_observer.h"
#include "tests/support/section_source.h"
#include "tests/support/trace_capture.h"

namespace {

class RandomThings {
 public:
  explicit RandomThings(uint32_t seed, bool withEverything = false) : _engine(seed), _withEverything(withEverything) {}

  size_t Below(size_t end) { return _engine() % end; }
  bool OneOf(size_t many) { return Below(many) == 0; }

  template <size_t count>
  KxWString Any(const WCHAR* const (&texts)[count]) {
    return texts[Below(count)];
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
  static constexpr const WCHAR* kTexts[] = {
      KXW("app.exe"),   KXW("APP.EXE"), KXW("app"),    KXW("a*"),       KXW("*.exe"),   KXW("?pp.exe"),
      KXW("Vendor"),    KXW("vend"),    KXW("*ndor"),  KXW(""),         KXW("Äpp.exe"), KXW("äPP.EXE"),
      KXW("(a|b)pp.*"), KXW("["),       KXW("/quiet"), KXW("app.exe "), KXW("run.ps1"),
  };
  static constexpr const WCHAR* kPaths[] = {
      KXW("C:\\Tools\\app.exe"),
      KXW("c:/tools/sub/APP.EXE"),
      KXW("\\\\?\\C:\\Tools\\..\\Other\\äpp.exe"),
      KXW("Z:\\app.exe"),
      KXW("\\\\srv\\share\\run.ps1"),
      KXW("D:\\setup\\ app.exe "),
      KXW("app.exe"),
      KXW("C:\\Tools\\"),
      KXW(""),
      KXW("System"),
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

  uint16_t Mode() { return static_cast<uint16_t>(OneOf(12) ? Below(9) : 1 + Below(5)); }

  void Fill(KxWString& text) { text = _withEverything ? KXW("app") : Any(kTexts); }  // some may not be empty
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
    if (_withEverything || OneOf(3)) Fill(value.emplace());
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
      file.signers.push_back({Any(kTexts), static_cast<EkxPublisherStatus>(Below(6))});
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

  std::mt19937 _engine;
  const bool _withEverything;
};

struct TracedAnswer {
  EkxEvaluationOutcome outcome = EkxEvaluationOutcome::NotAnswered;
  SkxTriggerPolicyShortInfo info;
  EkxEvaluationFault fault = EkxEvaluationFault::None;
  std::set<std::string> lines;  // who describes what a check found asks again

  bool operator==(const TracedAnswer& other) const {
    return outcome == other.outcome && std::memcmp(&info, &other.info, sizeof(info)) == 0 && fault == other.fault &&
           lines == other.lines;
  }
};

/// Keeps lines up to a level, as a sink of the product does, or one for a developer.
class LevelCapture : public CkxTraceCapture {
 public:
  explicit LevelCapture(EkxTraceLevel deepest) : _deepest(deepest) {}
  EkxTraceLevel Deepest() const noexcept override { return _deepest; }

 private:
  const EkxTraceLevel _deepest;
};

TracedAnswer JudgeTraced(const CkxTargetInfo& target, EkxTraceLevel deepest) {
  const LevelCapture trace(deepest);
  TracedAnswer answer;
  CkxSharedPoliciesData::GetTargetPolicyAction(target, answer.info, answer.outcome);
  answer.fault = KxUtil_LastFault();
  const std::vector<std::string> texts = trace.Texts();
  answer.lines = {texts.begin(), texts.end()};
  return answer;
}

TEST(FirstLook, ChangesNoAnswer) {
  CkxRecordedMachine machine({{KXW('C'), EkxDriveType::Fixed}, {KXW('D'), EkxDriveType::Cdrom}});
  machine.shares = {{KXW('Z'), KXW("\\\\srv\\share")}};
  const CkxMachineFactsScope drives(machine);
  size_t applied = 0;
  size_t faulted = 0;
  size_t evaluations = 0;
  for (uint32_t seed = 1; seed <= 5000; ++seed) {
    SCOPED_TRACE(seed);
    RandomThings things(seed);
    SkxPolicyImage image = KxEncode_Image(things.Publication());
    if (seed % 2 == 0) things.Damage(*image.policies);
    if (seed % 4 == 0) things.Damage(*image.appGroups);
    CkxSectionSource source;
    source.PublishBytes(EkxPolicySection::Policies, *std::move(image.policies));
    source.PublishBytes(EkxPolicySection::AppGroups, *std::move(image.appGroups));
    source.applicable = things.Applicable();
    const CkxPolicySourceScope scope(source);
    const EkxTraceLevel deepest = seed % 3 == 0 ? EkxTraceLevel::Verbose : EkxTraceLevel::Warning;
    for (int i = 0; i < 4; ++i, ++evaluations) {
      const CkxTargetInfoPtr target = things.Description();
      const TracedAnswer unwatched = JudgeTraced(*target, deepest);
      CkxRecordingObserver observer;
      const CkxEvaluationObserverScope watching(observer);
      const TracedAnswer watched = JudgeTraced(*target, deepest);
      ASSERT_EQ(unwatched.outcome, watched.outcome);
      ASSERT_EQ(unwatched.lines, watched.lines);
      ASSERT_TRUE(unwatched == watched);
      applied += watched.outcome == EkxEvaluationOutcome::PolicyApplies;
      faulted += watched.fault != EkxEvaluationFault::None;
    }
  }
  EXPECT_GT(applied, evaluations / 20);  // else the things would be too random to mean much
  EXPECT_GT(faulted, evaluations / 100);
}

/// A kind that the first look does not get over would be made and asked each time, and nobody would notice.
TEST(FirstLook, GoesOverEveryFieldOfEveryKind) {
  const CkxTargetInfoElevator request(1, CkxUtilStr(), nullptr);  // for no address: no target is about it
  const CkxTargetInfoFile file(KxTest_FileAt(KXW("C:\\a.txt")), nullptr);
  for (uint32_t seed = 1; seed <= 50; ++seed) {
    for (size_t kind = 0; kind < RandomThings::kBodies; ++kind) {
      RandomThings things(seed, true);
      SkxTargetModel target;
      target.body = things.Body(kind);
      if (std::holds_alternative<SkxAdminTaskTarget>(target.body)) continue;
      if (std::holds_alternative<SkxGroupLink>(target.body)) continue;
      const bool isAddress = std::holds_alternative<SkxUrlTarget>(target.body);
      SkxPublication publication;
      SkxPolicyModel& policy = publication.policies.emplace_back();
      policy.action = EkxPolicyAction::Block;
      policy.name = KXW("A policy");
      policy.targets = {target};
      const SkxPolicyImage image = KxEncode_Image(publication);
      const auto* const record = reinterpret_cast<const SkxPolicyBufHeader*>(image.policies->data() + sizeof(uint32_t));
      CkxPolicyPrefilter firstLook(isAddress ? static_cast<const CkxTargetInfo&>(file) : request);
      EXPECT_FALSE(firstLook.MayApply(*record)) << "kind " << target.body.index() << ", seed " << seed;
    }
  }
}

}  // namespace
