// The layouts say what the library's readers do: of any bytes at all, a walk takes as many as they do, or refuses them
// where they do.
#include <gtest/gtest.h>
#include <kx_util/shared_policy_origin_props.h>
#include <kx_util/shared_policy_resource_props.h>

#include <map>

#include "Agent/engine/kx_publish/lint/lint_records.h"
#include "Agent/engine/kx_publish/record/record_walk.h"
#include "Common_CPP/util/text.h"
#include "tests/kx_publish/document/random_publication.h"
#include "tests/support/data_rows.h"
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
  const SkxPublication publication = CkxRandomPublication(seed).Make();
  std::vector<Sample> samples;
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

using PropertyReader = std::optional<size_t> (*)(const unsigned char* cursor, unsigned long remaining);

template <class Prop>
std::optional<size_t> ReadProp(const unsigned char* cursor, unsigned long remaining) {
  const unsigned long before = remaining;
  Prop prop;
  if (!prop.FromBuffer(cursor, remaining)) return std::nullopt;
  return before - remaining;
}

const std::map<std::string, PropertyReader> kPropertyReaders = {
    {"Text test", ReadProp<CkxShBufPropStr>},
    {"Bitmask test", ReadProp<CkxShBufPropBitmask>},
    {"File name test", ReadProp<CkxShBufPropFileName>},
    {"Location test", ReadProp<CkxShBufPropFileLocation>},
    {"Service name test", ReadProp<CkxShBufPropSvcName>},
    {"Version range", ReadProp<CkxShBufPropVersionRange>},
    {"Publisher test", ReadProp<CkxShBufPropPublisher>},
    {"Owner test", ReadProp<CkxShBufPropFileOwner>},
    {"Version field test", ReadProp<CkxShBufPropFileVerInfo>},
    {"Installer property test", ReadProp<CkxShBufPropFileMsiInfo>},
    {"Parent process test", ReadProp<CkxShBufPropParentProcess>},
    {"Name and value", ReadProp<CkxShBufPropNameValuePair>},
    {"File system path", ReadProp<CkxShBufPropFSPath>},
    {"Capability test", ReadProp<CkxShBufPropCapability>},
    {"Media test", ReadProp<CkxShBufPropMediaInfo>},
    {"Distribution service test", ReadProp<CkxShBufPropDistributionService>},
    {"Spawner process test", ReadProp<CkxShBufPropSpawnerProcess>},
    {"User test", ReadProp<CkxShBufPropUserOrGroup>},
    {"Package test", ReadProp<CkxShBufPropPackage>},
    {"Origin test", ReadProp<CkxShBufPropFileOrigin>},
};

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
  KxTest_ForRows<std::string, KxBytes>("records/properties.txt", [&](auto& layout, auto& whole) {
    covered.insert(layout);
    EXPECT_EQ(WalkedProperty(layout, whole.data(), whole.size()), whole.size());
    for (size_t at = 0; at < whole.size(); ++at) {
      for (const unsigned value : {0u, 1u, 2u, 0xFFu}) {
        for (const size_t count : {at, whole.size()}) {
          KxBytes bytes = whole;
          bytes[at] = static_cast<unsigned char>(value);
          const CkxExactBytes exact(bytes, count);
          ASSERT_EQ(WalkedProperty(layout, exact.cursor, count),
                    kPropertyReaders.at(layout)(exact.cursor, exact.remaining))
              << "byte " << at << " is " << value << ", of " << count;
        }
      }
    }
  });
  EXPECT_EQ(covered.size(), KxRecordLayout_Properties().size());
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

TEST(RecordWalk, TellsEachFieldAndItsPlace) {
  KxTest_ForRows<uint64_t, KxBytes, std::vector<std::string>>(
      "records/walks.txt", [](auto section, auto& bytes, auto& lines) {
        Lines visitor;
        EXPECT_EQ(Walked(static_cast<Section>(section), bytes, &visitor), bytes.size());
        EXPECT_EQ(visitor.lines, lines);
      });
}

TEST(RecordWalk, TellsWhereTheFirstFaultIs) {
  KxTest_ForRows<uint64_t, KxBytes, uint64_t, std::string, std::string>(
      "records/walk_faults.txt", [](auto section, auto& bytes, auto offset, auto& path, auto& message) {
        SkxRecordFault fault;
        EXPECT_FALSE(KxRecord_Walk(KxLint_Layout(static_cast<Section>(section)), bytes, nullptr, fault).has_value());
        EXPECT_EQ(fault.offset, offset);
        EXPECT_EQ(fault.path, path);
        EXPECT_EQ(fault.message, message);
      });
}

TEST(RecordLayout, OfTheIndexHasThreeSlots) {
  Lines visitor;
  SkxRecordFault fault;
  EXPECT_EQ(KxRecord_WalkFields(kKxIndexLayout, KxBytes(400), &visitor, fault), 384u);
  EXPECT_EQ(visitor.lines,
            (std::vector<std::string>{"0 +128 policies", "128 +128 applicationGroups", "256 +128 alerts"}));
}

}  // namespace
