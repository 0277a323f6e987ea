// The layouts say what the library's readers do: of any bytes at all, a walk takes as many as they do, or refuses them
// where they do.
#include <gtest/gtest.h>
#include <kx_util/shared_policy_origin_props.h>
#include <kx_util/shared_policy_resource_props.h>
#include <kx_util/version.h>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/policy_document.h"
#include "Agent/engine/kx_publish/lint/lint_records.h"
#include "Agent/engine/kx_publish/record/encode.h"
#include "Agent/engine/kx_publish/record/record_walk.h"
#include "Common_CPP/util/text.h"
#include "tests/kx_publish/document/random_publication.h"
#include "tests/support/record_reading.h"

namespace {

using Section = EkxPolicySection;

/// Where the sizes of a record's targets are.
class TargetSizes : public IkxRecordVisitor {
 public:
  void OnField(const SkxWalkedField& field) override {
    if (&field.layout == kKxTargetLayout.header && field.field.name == std::string_view("size")) {
      offsets.push_back(field.offset);
    }
  }
  std::vector<size_t> offsets;
};

std::optional<size_t> Walked(Section section, const KxBytes& bytes, IkxRecordVisitor* visitor = nullptr) {
  CkxExactBytes exact(bytes);
  SkxRecordFault fault;
  const auto taken = KxRecord_Walk(KxLint_Layout(section), {exact.Data(), bytes.size()}, visitor, fault);
  EXPECT_EQ(taken.has_value(), fault.message.empty());
  EXPECT_LE(fault.offset, bytes.size());
  return taken;
}

void PutU32(KxBytes& bytes, size_t offset, size_t value) {
  for (size_t i = 0; i < 4; ++i) bytes[offset + i] = static_cast<unsigned char>(value >> (8 * i));
}

struct Sample {
  Section section;
  KxBytes bytes;
};

/// One record of each kind of policy and alert, and groups, with targets of every kind among them.
std::vector<Sample> Samples(uint32_t seed) {
  std::vector<Sample> samples;
  const SkxPublication publication = CkxRandomPublication(seed).Make();
  for (const auto& policy : publication.policies) samples.push_back({Section::Policies, KxEncode_Policy(policy)});
  for (const auto& group : publication.groups) samples.push_back({Section::AppGroups, KxEncode_AppGroup(group)});
  for (const auto& alert : publication.alerts) samples.push_back({Section::Alerts, KxEncode_Alert(alert)});
  return samples;
}

TEST(RecordLayout, TakesWhatWritersWriteToTheLastByte) {
  for (uint32_t seed = 0; seed < 50; ++seed) {
    for (const Sample& sample : Samples(seed)) {
      ASSERT_EQ(Walked(sample.section, sample.bytes), sample.bytes.size()) << "seed " << seed;
      ASSERT_EQ(KxTest_ReadRecord(sample.section, sample.bytes), sample.bytes.size()) << "seed " << seed;
    }
  }
}

/// Every cut of the record, whose size says so. The targets' sizes are made small, or none would be read that is cut.
TEST(RecordLayout, RefusesTheCutsThatReadersRefuse) {
  for (uint32_t seed = 0; seed < 3; ++seed) {
    for (const Sample& sample : Samples(seed)) {
      TargetSizes targets;
      ASSERT_TRUE(Walked(sample.section, sample.bytes, &targets).has_value());
      KxBytes bytes = sample.bytes;
      for (const size_t offset : targets.offsets) PutU32(bytes, offset, 0);
      while (!bytes.empty()) {
        ASSERT_EQ(Walked(sample.section, bytes), KxTest_ReadRecord(sample.section, bytes))
            << "seed " << seed << ", section " << static_cast<int>(sample.section) << ", " << bytes.size() << " bytes";
        bytes.pop_back();
        if (bytes.size() >= 8) PutU32(bytes, 4, bytes.size());
      }
    }
  }
}

TEST(RecordLayout, AgreesWithReadersOnDamagedBytes) {
  std::mt19937 random(1);
  size_t refused = 0;
  size_t taken = 0;
  for (uint32_t seed = 0; seed < 10; ++seed) {
    for (const Sample& sample : Samples(seed)) {
      for (int round = 0; round < 100; ++round) {
        KxBytes bytes = sample.bytes;
        for (auto flips = 1 + random() % 3; flips != 0; --flips) {
          unsigned char& byte = bytes[random() % bytes.size()];
          byte = static_cast<unsigned char>(random() % 2 == 0 ? byte ^ 1u << random() % 8 : random() % 3);
        }
        const std::optional<size_t> read = KxTest_ReadRecord(sample.section, bytes);
        ASSERT_EQ(Walked(sample.section, bytes), read) << "seed " << seed << ", round " << round;
        ++(read ? taken : refused);
      }
    }
  }
  EXPECT_GT(refused, 1000u);
  EXPECT_GT(taken, 1000u);
}

// ---- properties, each on its own: those that no target has are pinned here alone

struct PropertyCase {
  const char* layout;
  std::optional<size_t> (*read)(const unsigned char* cursor, unsigned long remaining);
  KxBytes bytes;
};

template <class Prop>
std::optional<size_t> ReadProp(const unsigned char* cursor, unsigned long remaining) {
  const unsigned long before = remaining;
  Prop prop;
  if (!prop.FromBuffer(cursor, remaining)) return std::nullopt;
  return before - remaining;
}

CkxRecordBytes Str() { return CkxRecordBytes().Set().Obfuscated(u"ab").U8(1).U16(4); }
CkxRecordBytes Versions() { return CkxRecordBytes().Set().U64(1).U64(2); }
CkxRecordBytes Location() { return CkxRecordBytes().Set().Obfuscated(u"C:\\").U8(1).Text(u"FIXED"); }

std::vector<PropertyCase> PropertyCases() {
  const auto set = [] { return CkxRecordBytes().Set(); };
  return {
      {"Text test", ReadProp<CkxShBufPropStr>, Str().Bytes()},
      {"Text test", ReadProp<CkxShBufPropArguments>, Str().Bytes()},
      {"Bitmask test", ReadProp<CkxShBufPropBitmask>, set().U32(6).U16(2).Bytes()},
      {"File name test", ReadProp<CkxShBufPropFileName>,
       set().Obfuscated(u"a").U16(1).Text(u"MD5").Text(u"MD5##00").U64(9).Bytes()},
      {"Location test", ReadProp<CkxShBufPropFileLocation>, Location().Bytes()},
      {"Service name test", ReadProp<CkxShBufPropSvcName>, set().Obfuscated(u"s").Bytes()},
      {"Version range", ReadProp<CkxShBufPropVersionRange>, Versions().Bytes()},
      {"Publisher test", ReadProp<CkxShBufPropPublisher>, Str().U8(1).Bytes()},
      {"Owner test", ReadProp<CkxShBufPropFileOwner>, set().Sid(32, 544).Bytes()},
      {"Version field test", ReadProp<CkxShBufPropFileVerInfo>, Str().Obfuscated(u"f").Bytes()},
      {"Installer property test", ReadProp<CkxShBufPropFileMsiInfo>, Str().Obfuscated(u"p").Bytes()},
      {"Parent process test", ReadProp<CkxShBufPropParentProcess>, set().Id(1).U8(1).Id(2).U8(0).Bytes()},
      {"Name and value", ReadProp<CkxShBufPropNameValuePair>, Str().Obfuscated(u"v").Bytes()},
      {"File system path", ReadProp<CkxShBufPropFSPath>, set().Obfuscated(u"C:\\").U8(1).Bytes()},
      {"Capability test", ReadProp<CkxShBufPropCapability>, set().Obfuscated(u"c").U8(1).Bytes()},
      {"Media test", ReadProp<CkxShBufPropMediaInfo>, set().Append(Str()).Unset(2).Append(Str()).Bytes()},
      {"Distribution service test", ReadProp<CkxShBufPropDistributionService>, set().Obfuscated(u"d").Bytes()},
      {"Spawner process test", ReadProp<CkxShBufPropSpawnerProcess>, set().U8(1).U8(2).Bytes()},
      {"User test", ReadProp<CkxShBufPropUserOrGroup>, set().Sid(18).Bytes()},
      {"Package test", ReadProp<CkxShBufPropPackage>,
       set().U8(0).Obfuscated(u"n").Append(Versions()).U32(2).Append(Str().U8(0)).Unset().Bytes()},
      {"Origin test", ReadProp<CkxShBufPropFileOrigin>,
       set().U8(0).U32(3).Unset().Append(Location()).Unset(2).Append(Str()).Set().U32(1).Set().Sid(18).Bytes()},
  };
}

std::optional<size_t> WalkedProperty(const std::string& name, const unsigned char* bytes, size_t count) {
  for (const SkxLayout* const layout : KxRecordLayout_Properties()) {
    if (layout->name != name) continue;
    const SkxLayoutField field[] = {{"", EkxField::Property, layout, ""}};
    SkxRecordFault unused;
    return KxRecord_WalkFields({"", field}, {bytes, count}, nullptr, unused);
  }
  ADD_FAILURE() << "there is no layout " << name;
  return std::nullopt;
}

TEST(RecordLayout, OfPropertiesIsThatOfTheirReaders) {
  std::set<std::string> covered;
  for (const PropertyCase& test : PropertyCases()) {
    SCOPED_TRACE(test.layout);
    covered.insert(test.layout);
    EXPECT_EQ(WalkedProperty(test.layout, test.bytes.data(), test.bytes.size()), test.bytes.size());
    for (size_t at = 0; at < test.bytes.size(); ++at) {
      for (const unsigned value : {0u, 1u, 2u, 0xFFu}) {
        for (const size_t count : {at, test.bytes.size()}) {
          KxBytes bytes = test.bytes;
          bytes[at] = static_cast<unsigned char>(value);
          const CkxExactBytes exact(bytes, count);
          ASSERT_EQ(WalkedProperty(test.layout, exact.cursor, count), test.read(exact.cursor, exact.remaining))
              << "byte " << at << " is " << value << ", of " << count;
        }
      }
    }
  }
  EXPECT_EQ(covered.size(), KxRecordLayout_Properties().size());
}

// ---- names

/// Compares what a record has with what a document says in the place that the path names.
class AgainstDocument : public IkxRecordVisitor {
 public:
  explicit AgainstDocument(const nlohmann::ordered_json& element) : _element(element) {}

  void OnField(const SkxWalkedField& field) override {
    const nlohmann::ordered_json* const said = Find(field.path);
    if (said == nullptr) return;
    const bool isText = field.field.kind == EkxField::ObfuscatedText || field.field.kind == EkxField::NonEmptyText ||
                        field.field.kind == EkxField::Text;
    if (isText && said->is_string()) Expect(field, said->get<std::string>() == KxText_ToUtf8(field.text));
    if (field.field.kind == EkxField::Flag && said->is_boolean())
      Expect(field, said->get<bool>() == (field.Number() != 0));
    if (said->is_number_unsigned()) Expect(field, said->get<uint64_t>() == field.Number());
    if (field.field.kind == EkxField::Version && said->is_string()) {
      const auto version = SkxVersion::Parse(*KxText_FromUtf8(said->get<std::string>()));
      Expect(field, version.MostSignificant() == static_cast<uint32_t>(field.Number()));
    }
  }

  size_t compared = 0;

 private:
  /// Null where the document has no such place: what it says shorter, in other words, or by a default.
  const nlohmann::ordered_json* Find(std::string_view path) const {
    const nlohmann::ordered_json::json_pointer pointer("/" + std::string(path));
    return _element.contains(pointer) ? &_element[pointer] : nullptr;
  }
  void Expect(const SkxWalkedField& field, bool same) {
    EXPECT_TRUE(same) << field.path << " in " << _element;
    ++compared;
  }

  const nlohmann::ordered_json& _element;
};

TEST(RecordLayout, NamesFieldsAsDocumentsDo) {
  size_t compared = 0;
  const auto compare = [&](Section section, const KxBytes& bytes, const nlohmann::ordered_json& element) {
    AgainstDocument visitor(element);
    Walked(section, bytes, &visitor);
    compared += visitor.compared;
  };
  for (uint32_t seed = 0; seed < 20; ++seed) {
    const SkxPublication publication = CkxRandomPublication(seed).Make();
    nlohmann::ordered_json document;
    SkxDocumentError error;
    ASSERT_TRUE(KxPolicyDocument_Write(publication, document, error)) << error.Text();
    for (size_t i = 0; i < publication.policies.size(); ++i) {
      compare(Section::Policies, KxEncode_Policy(publication.policies[i]), document["policies"][i]);
    }
    for (size_t i = 0; i < publication.groups.size(); ++i) {
      compare(Section::AppGroups, KxEncode_AppGroup(publication.groups[i]), document["applicationGroups"][i]);
    }
    for (size_t i = 0; i < publication.alerts.size(); ++i) {
      compare(Section::Alerts, KxEncode_Alert(publication.alerts[i]), document["alerts"][i]);
    }
  }
  EXPECT_GT(compared, 3000u);
}

// ---- what a walk says of the places

/// "offset +bytes path "text"", a line a field.
class Lines : public IkxRecordVisitor {
 public:
  void OnField(const SkxWalkedField& field) override { Add("", field); }
  void OnWhole(const SkxWalkedField& field) override { Add("whole ", field); }
  std::vector<std::string> lines;

 private:
  void Add(const char* what, const SkxWalkedField& field) {
    std::string line = what + std::to_string(field.offset) + " +" + std::to_string(field.bytes.size()) + " ";
    line += field.path;
    if (!field.text.IsNull()) line += " \"" + KxText_ToUtf8(field.text) + "\"";
    lines.push_back(line);
  }
};

CkxRecordBytes LinkTarget() { return CkxRecordBytes().U32(0x22232427).SizeHere().Id(5).U32(2).Id(9); }
CkxRecordBytes UrlTarget() {
  return CkxRecordBytes().U32(0x22232427).SizeHere().Id(6).U32(7).Set().Obfuscated(u"h*").U8(0).U16(4);
}
KxBytes Group(const CkxRecordBytes& target) {
  return CkxRecordBytes().U32(0x22232426).SizeHere().Id(9).U32(2).Append(LinkTarget()).Append(target).Bytes();
}

TEST(RecordWalk, TellsEachFieldAndItsPlace) {
  Lines visitor;
  EXPECT_EQ(Walked(Section::AppGroups, Group(UrlTarget()), &visitor), 114u);
  EXPECT_EQ(visitor.lines, (std::vector<std::string>{
                               "0 +4 magic",
                               "4 +4 size",
                               "8 +16 id",
                               "24 +4 targets",
                               "28 +4 targets/0/magic",
                               "32 +4 targets/0/size",
                               "36 +16 targets/0/id",
                               "52 +4 targets/0/type",
                               "56 +16 targets/0/group",
                               "whole 28 +44 targets/0",
                               "72 +4 targets/1/magic",
                               "76 +4 targets/1/size",
                               "80 +16 targets/1/id",
                               "96 +4 targets/1/type",
                               "100 +1 targets/1/url",
                               "101 +10 targets/1/url/pattern \"h*\"",
                               "111 +1 targets/1/url/caseSensitive",
                               "112 +2 targets/1/url/compareAs",
                               "whole 100 +14 targets/1/url",
                               "whole 72 +42 targets/1",
                               "whole 24 +90 targets",
                           }));
}

TEST(RecordWalk, TellsWhereTheFirstFaultIs) {
  const auto target = [](uint32_t type) { return CkxRecordBytes().U32(0x22232427).SizeHere().Id(6).U32(type); };
  const auto patched = [](KxBytes bytes, size_t offset, size_t value) {
    PutU32(bytes, offset, value);
    return bytes;
  };
  const KxBytes good = Group(UrlTarget());
  const struct {
    const char* name;
    Section section;
    KxBytes bytes;
    size_t offset;
    const char* path;
    const char* message;
  } kCases[] = {
      {"nothing",
       Section::AppGroups,
       {},
       0,
       "",
       "needs 24 bytes, but 0 bytes are left for the header of application group"},
      {"another magic", Section::Policies, KxBytes(40, 7), 0, "magic", "is 0x07070707, not 0x22232425"},
      {"a small size", Section::AppGroups, patched(good, 4, 23), 4, "size", "is 23, less than the header takes"},
      {"a large size", Section::AppGroups, patched(good, 4, 115), 4, "size", "is 115, but 114 bytes are left"},
      {"a target's magic", Section::AppGroups, patched(good, 72, 1), 72, "targets/1/magic",
       "is 0x00000001, not 0x22232427"},
      {"a target's size", Section::AppGroups, patched(good, 76, 43), 76, "targets/1/size",
       "is 43, but 42 bytes are left"},
      {"a type that nobody reads", Section::AppGroups, Group(target(22)), 96, "targets/1/type",
       "type 22 (MacPkg) is not accepted"},
      {"a type that is none", Section::AppGroups, Group(target(0xFFFFFFFF)), 96, "targets/1/type",
       "type -1 (Unknown Target Type) is not accepted"},
      {"one target too many", Section::AppGroups, patched(good, 24, 3), 114, "targets/2",
       "needs 28 bytes, but 0 bytes are left for the header of target"},
      {"a short number", Section::AppGroups, Group(target(8).U16(1)), 100, "targets/1/task",
       "needs 4 bytes, but 2 bytes are left"},
      {"a task that is none", Section::AppGroups, Group(target(8).U32(1000000)), 100, "targets/1/task",
       "there is no administrative task 1000000"},
      {"a long text", Section::AppGroups, Group(target(16).Unset(2).U32(6).Zeros(5)), 102, "targets/1/users",
       "counts 6 bytes, but 5 bytes are left"},
      {"an action that is none", Section::Policies,
       CkxRecordBytes().U32(0x22232425).SizeHere().U32(14).Zeros(28).Bytes(), 8, "action",
       "action 14 (Unknown Policy Action) is not accepted"},
      {"an alert type that is none", Section::Alerts,
       CkxRecordBytes().U32(0x22232428).SizeHere().U16(3).U16(0).Id(1).Bytes(), 8, "type", "type 3 is not accepted"},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.name);
    SkxRecordFault fault;
    EXPECT_FALSE(KxRecord_Walk(KxLint_Layout(test.section), test.bytes, nullptr, fault).has_value());
    EXPECT_EQ(fault.offset, test.offset);
    EXPECT_EQ(fault.path, test.path);
    EXPECT_EQ(fault.message, test.message);
  }
}

TEST(RecordLayout, OfTheIndexHasThreeSlots) {
  Lines visitor;
  SkxRecordFault fault;
  EXPECT_EQ(KxRecord_WalkFields(kKxIndexLayout, KxBytes(400), &visitor, fault), 384u);
  EXPECT_EQ(visitor.lines,
            (std::vector<std::string>{"0 +128 policies", "128 +128 applicationGroups", "256 +128 alerts"}));
}

}  // namespace
