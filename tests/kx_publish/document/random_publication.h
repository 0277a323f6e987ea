// Publications made up from a seed: every kind, every property present and absent, texts beyond the first plane, empty
// lists, lists with elements that have no value. What they say is something that a document can say too.
//
// A struct is made up line by line of its table of records, so that a new field needs nothing here; the overloads below
// are for what a document cannot say of every value.
#pragma once

#include <kx_util/admin_task.h>

#include <random>

#include "Agent/engine/kx_publish/model/policy_kinds.h"
#include "Agent/engine/kx_publish/record/encode.h"
#include "Agent/engine/kx_publish/record/policy_records.h"
#include "Agent/engine/kx_util/regexp/regexp.h"

class CkxRandomPublication {
 public:
  explicit CkxRandomPublication(uint32_t seed) : _random(seed) {}

  SkxPublication Make() {
    SkxPublication publication;
    for (const WCHAR mark : {KXW('a'), KXW('b'), KXW('c')}) {
      publication.groups.push_back({KXW("group ") + Text() + mark, Id(mark), {}});
      _groups.push_back(publication.groups.back().id);
      SkxAlertModel& alert = publication.alerts.emplace_back();
      FillKind(alert, kKxAlertKinds);
      alert.name = KXW("alert ") + Text() + mark;
      alert.id = Id(mark);
    }
    _alerts = publication.alerts;
    for (SkxAppGroupModel& group : publication.groups) Fill(group.targets, EkxField::List);
    for (const SkxPolicyKind& kind : kKxPolicyKinds) {
      SkxPolicyModel& policy = publication.policies.emplace_back();
      FillPolicy(kind, policy);
      policy.id = static_cast<uint32_t>(publication.policies.size());
    }
    if (Flag()) publication.applicable["S-1-5-21-1-2-3-1001"] = {1, 14, 2};
    if (Flag()) publication.applicable["*"] = {};
    return publication;
  }

 private:
  uint32_t Below(size_t bound) { return static_cast<uint32_t>(_random() % bound); }
  bool Flag() { return Below(2) != 0; }
  uint32_t U32() { return static_cast<uint32_t>(_random()); }
  uint16_t CompareAs() { return static_cast<uint16_t>(Below(8) == 0 ? 65535 : Below(7)); }

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

  // Values, by their types and by how they are stored.
  void Fill(bool& flag, EkxField /*kind*/) { flag = Flag(); }
  template <std::unsigned_integral Number>
  void Fill(Number& number, EkxField kind) {
    number = static_cast<Number>(_random());
    if (Below(2) == 0) number = static_cast<Number>(Below(4));
    if (kind == EkxField::CompareAs) number = static_cast<Number>(CompareAs());
    if (kind == EkxField::TaskId)
      number = static_cast<Number>(CkxAdminTask::All()[Below(CkxAdminTask::All().size())].Id());
  }
  void Fill(int64_t& number, EkxField /*kind*/) { number = static_cast<int64_t>(_random() >> 1); }
  void Fill(KxWString& text, EkxField /*kind*/) { text = Text(); }
  void Fill(GUID& id, EkxField kind) { id = kind == EkxField::GroupId ? _groups[Below(_groups.size())] : Id(U32()); }
  void Fill(CkxSid& sid, EkxField /*kind*/) {
    static constexpr const char* kSids[] = {"S-1-5-18", "S-1-1-0", "S-1-0-0", "S-1-5-21-4294967295-1-2-1001",
                                            "S-1-0xABCDEF012345-1-2-3-4-5-6-7-8-9-10-11-12-13-14-15"};
    sid = CkxSid::FromUtf8(kSids[Below(std::size(kSids))]).value();
  }
  template <class Value>
  void Fill(std::optional<Value>& property, EkxField /*kind*/) {
    if (Flag()) Fill(property.emplace(), EkxField::Property);
    if constexpr (std::is_same_v<Value, KxWString>) {
      if (property) *property = NonEmpty();
    }
  }
  template <class Element>
  void Fill(std::vector<Element>& list, EkxField /*kind*/) {
    for (uint32_t count = Below(4); count != 0; --count) Fill(list.emplace_back(), EkxField::List);
  }
  template <class Struct>
  requires std::is_class_v<Struct>
  void Fill(Struct& object, EkxField /*kind*/) {
    FillLines<Struct>(object);
    MakeSayable(object);
    if constexpr (requires { object.pattern, object.compareAs; }) MakeCompile(object.compareAs, object.pattern);
  }
  void Fill(SkxTargetModel& target, EkxField /*kind*/) {
    FillLines<SkxTargetHeaderPart>(target);
    FillKind(target, kKxTargetKinds);
  }

  template <class Record, class Object>
  void FillLines(Object& object) {
    std::apply([&](const auto&... line) { (FillLine(object, line), ...); }, kKxRecord<Record>.lines);
  }
  template <class Object, class Struct, class Value, class Stored>
  void FillLine(Object& object, const SkxMember<Struct, Value, Stored>& line) {
    Fill(object.*line.member, line.kind);
  }
  template <class Object, class Base>
  void FillLine(Object& object, const SkxBase<Base>& /*line*/) {
    FillLines<Base>(object);
  }
  template <class Object, class Line>
  void FillLine(Object& /*object*/, const Line& /*line*/) {}  // a frame, a code, what is unused

  template <class Object, class Kind, size_t count>
  void FillKind(Object& object, const Kind (&kinds)[count]) {
    object.body = kinds[Below(count)].body();
    std::visit([this](auto& body) { this->Fill(body, EkxField::Part); }, object.body);
  }
  void FillPolicy(const SkxPolicyKind& kind, SkxPolicyModel& policy) {
    FillLines<SkxPolicyHeaderPart>(policy);
    FillLines<SkxPolicyCommonPart>(policy);
    if (kind.withTargets) FillLines<SkxPolicyTargetsPart>(policy);
    policy.action = kind.action;
    policy.params = kind.params();
    std::visit([this](auto& params) { this->Fill(params, EkxField::Part); }, policy.params);
    policy.name = NonEmpty();
  }

  // What a document says of some values only.
  template <class Struct>
  void MakeSayable(Struct& /*object*/) {}
  void MakeCompile(uint16_t compareAs, KxWString& pattern) {
    static constexpr KxWStringView kExpressions[] = {KXW(""), KXW("^(a|b)+\\.exe$"), KXW("[^\"/~]{2,}"),
                                                     KXW("\u00E4.*")};
    if (compareAs != static_cast<uint16_t>(EkxStrCompareAs::StrRegExp) || CkxRegExp().Parse(pattern, false).IsOk())
      return;
    pattern = kExpressions[Below(std::size(kExpressions))];
  }
  void MakeSayable(SkxActiveXTarget& target) { MakeClassId(target.classId); }
  void MakeSayable(SkxComTarget& target) { MakeClassId(target.classId); }
  void MakeSayable(SkxExcludeTarget& target) {
    if (target.fileName) *target.fileName = {target.fileName->pattern, target.fileName->compareAs, {}, {}, -1};
  }
  void MakeSayable(SkxVersionFieldTest& test) { test.name = NonEmpty(); }
  void MakeSayable(SkxInstallerPropertyTest& test) { test.name = NonEmpty(); }
  void MakeSayable(SkxCapabilityTest& test) { test.name = NonEmpty(); }
  void MakeSayable(SkxServiceTest& test) { test.name = NonEmpty(); }
  void MakeSayable(SkxFsPath& path) { path.path = NonEmpty(); }
  void MakeSayable(SkxRegistryKeyTarget& target) {
    if (Flag()) target.root = 0x80000000 + Below(7);
  }
  void MakeSayable(SkxVersionBounds& bounds) {
    if (Flag()) bounds.min = SkxVersionBounds::kOpen;
    if (Flag()) bounds.max = SkxVersionBounds::kOpen;
    if (bounds.min != SkxVersionBounds::kOpen && bounds.max < bounds.min) std::swap(bounds.min, bounds.max);
  }
  void MakeSayable(SkxLocationTest& location) {
    static constexpr KxWStringView kTypes[] = {KXW(""), KXW("FIXED"), KXW("ANY"), KXW("REMOVABLE,CDROM,RAMDISK")};
    location.pattern = NonEmpty();
    location.types = kTypes[Below(std::size(kTypes))];
  }
  void MakeSayable(SkxFileNameTest& test) {
    if (Below(3) == 0) test.pattern = KXW("*");
    const bool byHash = Flag();
    test.hashAlgorithm = byHash ? KXW("MD5") : KXW("");
    test.hash = byHash ? KXW("MD5##00112233445566778899AABBCCDDEEFF") : KXW("");
    if (!byHash || Flag()) test.fileSize = Flag() && byHash ? 0 : -1;
  }
  void MakeSayable(SkxParentTest& test) {
    if (Flag()) (Flag() ? test.includedGroup : test.excludedGroup) = GUID{};
  }
  /// To an alert of the publication, or to one that is elsewhere.
  void MakeSayable(SkxAlertLinkModel& link) {
    if (Flag()) link.trigger = 26;
    if (Flag()) return;
    const SkxAlertModel& alert = _alerts[Below(_alerts.size())];
    link.alert = alert.id;
    link.type = static_cast<uint16_t>(KxAlertKind_Of(alert.body).type);
  }
  /// The id itself, in another spelling, or compared in another way.
  void MakeClassId(std::optional<SkxTextTest>& classId) {
    if (!Flag()) return;
    const auto digits =
        Flag() ? KXW("{0002DF01-0000-0000-C000-000000000046}") : KXW("{0002df01-0000-0000-c000-000000000046}");
    classId = {digits, Below(4) == 0, static_cast<uint16_t>(Flag() ? 1 : CompareAs())};
    MakeCompile(classId->compareAs, classId->pattern);
  }

  std::mt19937_64 _random;
  std::vector<GUID> _groups;
  std::vector<SkxAlertModel> _alerts;
};
