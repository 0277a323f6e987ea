// Publications made up from a seed: every kind, every property present and absent, texts beyond the first plane, empty
// lists, lists with elements that have no value. What they say is something that a document can say too.
#pragma once

#include <kx_util/admin_task.h>

#include <random>

#include "Agent/engine/kx_publish/model/policy_kinds.h"
#include "Agent/engine/kx_publish/model/policy_model.h"

class CkxRandomPublication {
 public:
  explicit CkxRandomPublication(uint32_t seed) : _random(seed) {}

  SkxPublication Make() {
    SkxPublication publication;
    for (const WCHAR mark : {KXW('a'), KXW('b'), KXW('c')}) {
      publication.groups.push_back({KXW("group ") + Text() + mark, Id(mark), {}});
      _groups.push_back(publication.groups.back().id);
      publication.alerts.push_back(Alert(mark));
    }
    _alerts = publication.alerts;
    for (SkxAppGroupModel& group : publication.groups) group.targets = Targets();
    for (const SkxPolicyKind& kind : kKxPolicyKinds) {
      publication.policies.push_back(Policy(kind, static_cast<uint32_t>(publication.policies.size() + 1)));
    }
    if (Flag()) publication.applicable["S-1-5-21-1-2-3-1001"] = {1, 14, 2};
    if (Flag()) publication.applicable["*"] = {};
    return publication;
  }

 private:
  uint32_t Below(uint32_t bound) { return static_cast<uint32_t>(_random() % bound); }
  bool Flag() { return Below(2) != 0; }
  uint32_t U32() { return static_cast<uint32_t>(_random()); }

  KxWString NonEmpty() {
    static constexpr KxWStringView kPieces[] = {KXW("a"),       KXW("*.exe"),        KXW("?"),
                                                KXW(" "),       KXW("\u00E4\u20AC"), KXW("\U0001F512"),
                                                KXW("C:\\x\\"), KXW("\"/~\n"),       KXW(",")};
    KxWString text;
    for (uint32_t pieces = 1 + Below(4); pieces != 0; --pieces) text += kPieces[Below(std::size(kPieces))];
    return text;
  }
  KxWString Text() { return Below(4) == 0 ? KxWString() : NonEmpty(); }
  GUID Id(uint32_t first) {
    return GUID{first, 0x1234, 0x8765, {1, 2, 3, 4, 5, 6, 7, static_cast<unsigned char>(Below(256))}};
  }
  GUID Group() { return _groups[Below(static_cast<uint32_t>(_groups.size()))]; }
  CkxSid Sid() {
    static constexpr const char* kSids[] = {"S-1-5-18", "S-1-1-0", "S-1-0-0", "S-1-5-21-4294967295-1-2-1001",
                                            "S-1-0xABCDEF012345-1-2-3-4-5-6-7-8-9-10-11-12-13-14-15"};
    return CkxSid::FromUtf8(kSids[Below(std::size(kSids))]).value();
  }

  template <class Make>
  auto Maybe(Make make) -> std::optional<decltype(make())> {
    if (Flag()) return make();
    return std::nullopt;
  }
  template <class Make>
  auto Elements(Make make) -> KxElements<decltype(make())> {
    KxElements<decltype(make())> elements;
    for (uint32_t count = Below(4); count != 0; --count) elements.push_back(Maybe(make));
    return elements;
  }

  uint16_t CompareAs() { return static_cast<uint16_t>(Below(8) == 0 ? 65535 : Below(7)); }
  SkxTextTest TextTest() { return {Text(), Flag(), CompareAs()}; }
  SkxPublisherTest Publisher() { return {TextTest(), Flag()}; }
  template <class Named>
  Named NamedTest() {
    return {{TextTest(), NonEmpty()}};
  }
  SkxVersionBounds Versions() {
    SkxVersionBounds bounds;
    if (Flag()) bounds.min = U32();
    if (Flag()) bounds.max = uint64_t{U32()} << 32 | 0xFFFFFFFF;
    if (bounds.max < bounds.min) bounds.max = bounds.min;
    return bounds;
  }
  /// The id itself, in another spelling, or compared in another way.
  SkxTextTest ClassId() {
    const auto digits =
        Flag() ? KXW("{0002DF01-0000-0000-C000-000000000046}") : KXW("{0002df01-0000-0000-c000-000000000046}");
    return {digits, Below(4) == 0, static_cast<uint16_t>(Flag() ? 1 : CompareAs())};
  }
  SkxLocationTest Location() {
    static constexpr KxWStringView kTypes[] = {KXW(""), KXW("FIXED"), KXW("ANY"), KXW("REMOVABLE,CDROM,RAMDISK")};
    return {NonEmpty(), Flag(), KxWString(kTypes[Below(std::size(kTypes))])};
  }
  SkxFileNameTest FileName(bool hashAllowed) {
    SkxFileNameTest test{Below(3) == 0 ? KxWString(KXW("*")) : Text(), CompareAs(), {}, {}, -1};
    if (!hashAllowed || Flag()) return test;
    test.hashAlgorithm = KXW("MD5");
    test.hash = KXW("MD5##00112233445566778899AABBCCDDEEFF");
    if (Flag()) test.fileSize = static_cast<int64_t>(_random() >> 1);
    return test;
  }
  SkxParentTest Parent() {
    SkxParentTest test{Group(), Flag(), Group(), Flag()};
    if (Flag()) (Flag() ? test.includedGroup : test.excludedGroup) = GUID{};
    return test;
  }
  SkxOriginTest Origin() {
    SkxOriginTest origin;
    origin.flag = Flag();
    origin.mainSourceType = Flag() ? U32() : 0;
    origin.distributionService = Maybe([&] { return NonEmpty(); });
    origin.location = Maybe([&] { return Location(); });
    origin.package = Maybe([&] {
      return SkxPackageTest{Flag(), Text(), Maybe([&] { return Versions(); }), Elements([&] { return Publisher(); })};
    });
    origin.spawnerProcess = Maybe([&] { return SkxSpawnerTest{Flag(), static_cast<uint8_t>(Below(4))}; });
    origin.sourceAddress = Maybe([&] { return TextTest(); });
    origin.users = Maybe([&] { return Elements([&] { return Sid(); }); });
    return origin;
  }
  SkxMediaTest Media() { return {MaybeTextTest(), MaybeTextTest(), MaybeTextTest(), MaybeTextTest()}; }
  SkxAlertModel Alert(WCHAR mark) {
    SkxAlertModel alert{KXW("alert ") + Text() + mark, Id(mark), kKxAlertKinds[Below(std::size(kKxAlertKinds))].body()};
    if (auto* const dialog = std::get_if<SkxDialogAlert>(&alert.body)) *dialog = {U32(), Text()};
    return alert;
  }
  /// To an alert of the publication, or to one that is elsewhere.
  SkxAlertLinkModel AlertLink() {
    const SkxAlertModel& alert = _alerts[Below(static_cast<uint32_t>(_alerts.size()))];
    const uint32_t trigger = Flag() ? 26 : U32();
    if (Flag()) return {trigger, static_cast<uint16_t>(KxAlertKind_Of(alert.body).type), alert.id};
    return {trigger, static_cast<uint16_t>(Below(4)), Id(U32())};
  }

  // What a property is made up by follows from its type, so that a kind names its fields and nothing else.
  std::optional<SkxTextTest> MaybeTextTest() {
    return Maybe([&] { return TextTest(); });
  }
  void Fill(std::optional<SkxTextTest>& test) { test = MaybeTextTest(); }
  void Fill(std::optional<SkxVersionBounds>& versions) {
    versions = Maybe([&] { return Versions(); });
  }
  void Fill(std::optional<SkxLocationTest>& location) {
    location = Maybe([&] { return Location(); });
  }
  void Fill(std::optional<SkxFileNameTest>& fileName) {
    fileName = Maybe([&] { return FileName(true); });
  }
  void Fill(std::optional<KxElements<CkxSid>>& sids) {
    sids = Maybe([&] { return Elements([&] { return Sid(); }); });
  }
  void Fill(std::optional<KxElements<SkxPublisherTest>>& publishers) {
    publishers = Maybe([&] { return Elements([&] { return Publisher(); }); });
  }
  template <std::derived_from<SkxNamedTextTest> Named>
  void Fill(std::optional<KxElements<Named>>& tests) {
    tests = Maybe([&] { return Elements([&] { return NamedTest<Named>(); }); });
  }
  void Fill(std::optional<KxElements<SkxCapabilityTest>>& capabilities) {
    capabilities = Maybe([&] { return Elements([&] { return SkxCapabilityTest{NonEmpty(), Flag()}; }); });
  }
  void Fill(std::optional<KxElements<SkxMediaTest>>& media) {
    media = Maybe([&] { return Elements([&] { return Media(); }); });
  }
  void Fill(std::optional<SkxParentTest>& parent) {
    parent = Maybe([&] { return Parent(); });
  }
  void Fill(std::optional<SkxOriginTest>& origin) {
    origin = Maybe([&] { return Origin(); });
  }
  void Fill(bool& flag) { flag = Flag(); }
  void Fill(uint32_t& number) { number = U32(); }
  template <class... Fields>
  void FillAll(Fields&... fields) {
    (Fill(fields), ...);
  }

  void Fill(SkxGroupLink& link) { link.group = Group(); }
  void Fill(SkxExeTarget& t) {
    FillAll(t.inheritable, t.fileVersion, t.productVersion, t.location, t.fileName, t.arguments, t.owners, t.publishers,
            t.versionFields, t.parentProcess, t.origin);
    t.serviceName = Maybe([&] { return NonEmpty(); });
    t.users = Text();
    t.softwareDistributorName = Text();
  }
  void Fill(SkxScriptTarget& t) {
    FillAll(t.inheritable, t.embedded, t.location, t.fileName, t.arguments, t.owners, t.publishers, t.parentProcess,
            t.origin);
  }
  void Fill(SkxMsiTarget& t) {
    FillAll(t.productVersion, t.location, t.fileName, t.arguments, t.owners, t.publishers, t.installerProperties,
            t.parentProcess, t.origin);
  }
  void Fill(SkxMsuTarget& t) { FillAll(t.location, t.fileName, t.owners, t.publishers, t.parentProcess, t.origin); }
  void Fill(SkxUrlTarget& t) { Fill(t.url); }
  void Fill(SkxAdminTaskTarget& t) {
    t.task = CkxAdminTask::All()[Below(static_cast<uint32_t>(CkxAdminTask::All().size()))].Id();
  }
  void Fill(SkxActiveXTarget& t) {
    FillAll(t.classId, t.sourceAddress, t.location, t.fileName, t.publishers);
    if (Flag()) t.classId = ClassId();
  }
  void Fill(SkxFileSystemEntryTarget& t) {
    FillAll(t.accessMask, t.path.folder);
    t.path.path = NonEmpty();
  }
  void Fill(SkxRegistryKeyTarget& t) {
    FillAll(t.accessMask, t.root);
    if (Flag()) t.root = 0x80000000 + Below(7);
    t.keyPath = Text();
  }
  void Fill(SkxComTarget& t) {
    FillAll(t.classId, t.location, t.fileName, t.owners, t.publishers, t.versionFields);
    if (Flag()) t.classId = ClassId();
  }
  void Fill(SkxExcludeTarget& t) {
    t = {Maybe([&] { return Location(); }), Maybe([&] { return FileName(false); }), Text()};
  }
  void Fill(SkxServiceTarget& t) {
    Fill(t.accessMask);
    t.service.name = NonEmpty();
  }
  void Fill(SkxMediaTarget& t) { FillAll(t.accessMask, t.media); }
  void Fill(SkxAppPackageTarget& t) {
    FillAll(t.inheritable, t.packageVersion, t.packageName, t.publishers, t.capabilities);
  }
  void Fill(SkxDllTarget& t) {
    FillAll(t.fileVersion, t.productVersion, t.location, t.fileName, t.owners, t.publishers, t.versionFields, t.origin);
  }
  std::vector<SkxTargetModel> Targets() {
    std::vector<SkxTargetModel> targets;
    for (uint32_t count = Below(5); count != 0; --count) {
      SkxTargetModel& target = targets.emplace_back();
      target.id = Id(U32());
      target.body = kKxTargetKinds[Below(std::size(kKxTargetKinds))].body();
      std::visit([this](auto& body) { Fill(body); }, target.body);
    }
    return targets;
  }

  void Fill(std::monostate) {}
  void Fill(SkxElevateOnDemandParams& params) { params = {Flag(), Flag(), Flag()}; }
  void Fill(SkxZeroTouchParams& params) { params = {Flag(), Flag(), Flag(), Flag(), Flag(), Flag(), Flag()}; }
  void Fill(SkxComputerActionParams& params) { params = {U32()}; }
  void Fill(SkxScriptParams& script) { script = {Id(U32()), Text(), Text(), Text(), Text(), Text()}; }
  void Fill(SkxConfigurationParams& params) { params = {Text(), Text()}; }
  void Fill(SkxSetSecurityParams& params) { params = {Flag()}; }
  void Fill(SkxExcludeParams& params) { params = {static_cast<uint16_t>(U32())}; }

  SkxPolicyModel Policy(const SkxPolicyKind& kind, uint32_t id) {
    SkxPolicyModel policy;
    policy.action = kind.action;
    policy.id = id;
    policy.active = Flag();
    policy.order = _random();
    policy.implicit = Flag();
    policy.name = NonEmpty();
    policy.gpId = Text();
    policy.kxGpoId = Text();
    policy.reportUsageState = Flag() ? U32() : 0;
    policy.guiType = Flag() ? U32() : 0;
    for (uint32_t count = Below(3); count != 0; --count) {
      policy.alerts.push_back(AlertLink());
    }
    policy.params = kind.params();
    std::visit([this](auto& params) { Fill(params); }, policy.params);
    if (kind.withTargets) {
      policy.policyAutomation = Flag();
      policy.targets = Targets();
    }
    return policy;
  }

  std::mt19937_64 _random;
  std::vector<GUID> _groups;
  std::vector<SkxAlertModel> _alerts;
};
