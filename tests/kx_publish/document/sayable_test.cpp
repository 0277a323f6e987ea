// What of an image can be shown as a document: what can is all there, what cannot is named.
#include "Agent/engine/kx_publish/document/sayable.h"
#include "Agent/engine/kx_publish/record/decode.h"

#include <gtest/gtest.h>

#include <functional>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/policy_document.h"
#include "tests/kx_publish/document/random_publication.h"
#include "tests/support/record_reading.h"

namespace {

SkxTargetModel Link(unsigned char group) { return {KxTest_Id(100), SkxGroupLink{KxTest_Id(group)}}; }

SkxTargetModel Program(SkxExeTarget exe) { return {KxTest_Id(101), std::move(exe)}; }

SkxTargetModel ByHash(const WCHAR* algorithm, const WCHAR* hash) {
  SkxExeTarget exe;
  exe.fileName = SkxFileNameTest{KXW("*"), 4, algorithm, hash, -1};
  return Program(exe);
}

SkxPolicyModel Policy(uint32_t id) {
  SkxPolicyModel policy;
  policy.action = EkxPolicyAction::Block;
  policy.id = id;
  policy.name = KXW("P");
  return policy;
}

SkxAppGroupModel Group(unsigned char id, std::vector<SkxTargetModel> targets = {}) {
  return {KxGuid_ToText(KxTest_Id(id)), KxTest_Id(id), std::move(targets)};
}

SkxAlertModel Alert(unsigned char id, SkxAlertBody body) {
  return {KxGuid_ToText(KxTest_Id(id)), KxTest_Id(id), std::move(body)};
}

/// Two policies; groups 1 and 2, of which 2 links to 1; a dialog and a balloon.
SkxPublication Plain() {
  return {{Policy(1), Policy(2)},
          {Group(1), Group(2, {Link(1)})},
          {Alert(3, SkxDialogAlert{}), Alert(4, SkxBalloonAlert{})},
          {}};
}

std::string Told(const std::vector<SkxUnsayable>& unsayable) {
  std::string told;
  for (const SkxUnsayable& element : unsayable) {
    told += std::string(1, "PGA"[static_cast<size_t>(element.list)]) + std::to_string(element.index) + " " +
            element.why + "\n";
  }
  return told;
}

/// The document of what was kept, read again; empty when it is refused.
std::optional<SkxPublication> ReadBack(const SkxPublication& publication) {
  nlohmann::ordered_json written;
  SkxPublication read;
  SkxDocumentError error;
  EXPECT_TRUE(KxPolicyDocument_Write(publication, written, error)) << error.Text();
  const SkxDocumentText document{"shown", written.dump()};
  if (KxPolicyDocument_Read({&document, 1}, read, error)) return read;
  ADD_FAILURE() << error.Text() << "\n" << document.text;
  return std::nullopt;
}

TEST(Sayable, WhatNoDocumentSaysIsNamed) {
  const struct {
    const char* name;
    std::function<void(SkxPublication&)> change;
    const char* told;
  } cases[] = {
      {"nothing to say against it", [](SkxPublication&) {}, ""},
      {"no name", [](SkxPublication& p) { p.policies[0].name.clear(); }, "P0 /name: must not be empty\n"},
      {"no id", [](SkxPublication& p) { p.policies[1].id = 0; }, "P1 the id 0 means no policy\n"},
      {"one id twice", [](SkxPublication& p) { p.policies[1].id = 1; }, "P1 the id is taken by one before it\n"},
      {"half a character", [](SkxPublication& p) { p.policies[0].gpId = {WCHAR{0xD83D}}; },
       "P0 a text is not well-formed UTF-16\n"},
      {"a link to nothing", [](SkxPublication& p) { p.policies[0].targets.push_back(Link(9)); },
       "P0 /targets/0/group: there is no application group of this name or id\n"},
      {"a hash of another form",
       [](SkxPublication& p) {
         p.policies[0].targets.push_back(ByHash(KXW("MD5"), KXW("00112233445566778899AABBCCDDEEFF##MD5")));
       },
       "P0 /targets/0/hash/hex: must be 32 hexadecimal digits\n"},
      {"a hash in lower case is the same",
       [](SkxPublication& p) {
         p.policies[0].targets.push_back(ByHash(KXW("md5"), KXW("Md5##00112233445566778899aabbccddeeff")));
       },
       ""},
      {"an expression that does not compile",
       [](SkxPublication& p) {
         SkxExeTarget exe;
         exe.fileName = SkxFileNameTest{KXW("a("), 5, {}, {}, -1};
         p.policies[0].targets.push_back(Program(exe));
       },
       "P0 /targets/0/fileName/pattern: the regular expression does not compile: a ( is not closed, at character 2\n"},
      {"an alert of another type",
       [](SkxPublication& p) {
         p.policies[0].alerts = {{26, 2, KxTest_Id(3)}};
       },
       "P0 /alerts/0/type: the alert is of another type\n"},
      {"a group of no id", [](SkxPublication& p) { p.groups.push_back(Group(0)); }, "G2 the null id means no group\n"},
      {"a group twice", [](SkxPublication& p) { p.groups.push_back(Group(2)); },
       "G2 the id is taken by one before it\n"},
      {"an alert twice", [](SkxPublication& p) { p.alerts[1].id = KxTest_Id(3); },
       "A1 the id is taken by one before it\n"},
      {"groups that are named go with their namers",
       [](SkxPublication& p) {
         p.groups[0].targets = {Link(9)};
         p.groups.push_back(Group(5, {Link(2)}));
         p.groups.push_back(Group(6, {Link(6)}));
         p.policies[1].targets = {Link(5)};
       },
       "G0 /targets/0/group: there is no application group of this name or id\n"
       "G1 names the application group {00000001-0000-0000-0000-000000000001}, which is left out\n"
       "G2 names the application group {00000002-0000-0000-0000-000000000002}, which is left out\n"
       "P1 /targets/0/group: there is no application group of this name or id\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    SkxPublication publication = Plain();
    c.change(publication);
    const size_t elements = publication.policies.size() + publication.groups.size() + publication.alerts.size();
    const std::vector<SkxUnsayable> unsayable = KxSayable_Keep(publication);
    EXPECT_EQ(Told(unsayable), c.told);
    EXPECT_EQ(publication.policies.size() + publication.groups.size() + publication.alerts.size() + unsayable.size(),
              elements);
    EXPECT_TRUE(ReadBack(publication).has_value());
  }
}

TEST(Sayable, GroupsAreNamedByLinksAndAsParents) {
  SkxScriptTarget script;
  script.parentProcess = SkxParentTest{GUID{}, false, KxTest_Id(2), false};
  SkxExeTarget exe;
  exe.parentProcess = SkxParentTest{KxTest_Id(3), false, KxTest_Id(1), false};
  const KxGuids named = KxSayable_NamedGroups({Link(1), {GUID{}, script}, Program(exe), {GUID{}, SkxUrlTarget{}}});
  EXPECT_EQ(named.size(), 3u);
  for (const GUID& id : {KxTest_Id(1), KxTest_Id(2), KxTest_Id(3)}) EXPECT_TRUE(named.contains(id)) << id.Data1;
}

/// The models with one byte of their records changed, as an image might hold them, of those that the library still
/// reads.
template <class Model, class Encode, class Decode>
std::vector<Model> Damaged(EkxPolicySection section, const std::vector<Model>& models, Encode encode, Decode decode,
                           std::mt19937& random) {
  std::vector<Model> damaged;
  for (const Model& model : models) {
    KxBytes bytes = encode(model);
    unsigned char& byte = bytes[8 + random() % (bytes.size() - 8)];  // the magic and the size frame the record
    byte = static_cast<unsigned char>(byte ^ (1u << random() % 8));
    if (!KxTest_ReadRecord(section, bytes)) continue;
    EXPECT_TRUE(decode(bytes, damaged.emplace_back())) << "what the library reads the model has words for";
  }
  return damaged;
}

TEST(Sayable, OfDamagedRecordsADocumentIsLeftThatReads) {
  std::mt19937 random(7);
  size_t kept = 0;
  size_t left = 0;
  for (uint32_t seed = 0; seed < 40; ++seed) {
    const SkxPublication whole = CkxRandomPublication(seed).Make();
    SkxPublication damaged;
    damaged.policies = Damaged(EkxPolicySection::Policies, whole.policies, KxEncode_Policy, KxDecode_Policy, random);
    damaged.groups = Damaged(EkxPolicySection::AppGroups, whole.groups, KxEncode_AppGroup, KxDecode_AppGroup, random);
    damaged.alerts = Damaged(EkxPolicySection::Alerts, whole.alerts, KxEncode_Alert, KxDecode_Alert, random);
    left += KxSayable_Keep(damaged).size();
    kept += damaged.policies.size();
    const std::optional<SkxPublication> read = ReadBack(damaged);
    ASSERT_TRUE(read.has_value()) << seed;
    ASSERT_EQ(read->policies.size(), damaged.policies.size()) << seed;
    ASSERT_EQ(read->groups.size(), damaged.groups.size()) << seed;
    ASSERT_EQ(read->alerts.size(), damaged.alerts.size()) << seed;
  }
  EXPECT_GT(kept, 100u);
  EXPECT_GT(left, 20u) << "and some were refused";
}

}  // namespace
