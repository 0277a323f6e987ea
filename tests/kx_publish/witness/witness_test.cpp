// Witnesses are decided by their policies, whatever the policies ask; what has none says why; and what the lint calls
// out of reach has none.
#include <gtest/gtest.h>
#include <kx_util/admin_task.h>
#include <kx_util/shared_policies_data.h>

#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/image/policy_set.h"
#include "Agent/engine/kx_publish/lint/lint.h"
#include "Agent/engine/kx_publish/witness/witness.h"
#include "tests/support/random_policies.h"

namespace {

using nlohmann::json;

/// The id of the policy that decides; 0 for none. By the evaluation that reads the image each time.
uint32_t DeciderOf(const SkxPolicyImage& image, const json& document) {
  const CkxTargetDocument target = CkxTargetDocument::Parse(document.dump());
  const CkxImageSource source(image);
  const CkxPolicySourceScope scope(source);
  const CkxMachineFactsScope machine(target.Machine());
  SkxTriggerPolicyShortInfo info;
  EkxEvaluationOutcome outcome = EkxEvaluationOutcome::NotAnswered;
  return CkxSharedPoliciesData::GetTargetPolicyAction(target.Target(), info, outcome) ? uint32_t{info.PolicyId} : 0;
}

std::optional<CkxPolicySet> SetOf(const std::string& text) {
  const SkxDocumentText document = {"test", text};
  SkxDocumentError error;
  std::optional<CkxPolicySet> set = CkxPolicySet::FromDocuments({&document, 1}, error);
  EXPECT_TRUE(set) << error.Text();
  return set;
}

/// A document of policies 1, 2, ... that each block what a list of targets says.
std::string Blocking(const std::vector<std::string>& targets, const std::string& rest = "") {
  std::string policies;
  for (size_t i = 0; i < targets.size(); ++i) {
    const std::string id = std::to_string(i + 1);
    policies +=
        (i == 0 ? "" : ",") + (R"({"id":)" + id + R"(,"name":"P","action":"block","targets":[)") + targets[i] + "]}";
  }
  return R"({"policies":[)" + policies + "]" + rest + "}";
}

struct Row {
  const char* targets;
  const char* document;  ///< the smallest; null where any will do
};

TEST(Witness, IsWhatATargetAsksFor) {
  const Row rows[] = {
      {R"({"type":"executable"})", R"({"kind":"file","path":"C:\\Witness\\witness.exe"})"},
      {R"({"type":"executable","fileName":"*.exe"})", R"({"kind":"file","path":"C:\\Witness\\witness.exe"})"},
      {R"({"type":"executable","fileName":{"pattern":"(a|b)pp\\d+[.]exe","compareAs":"regExp"}})",
       R"({"kind":"file","path":"C:\\Witness\\app0.exe"})"},
      {R"({"type":"executable","fileName":"a.exe","fileVersion":{"min":"2.5"}})",
       R"({"kind":"file","path":"C:\\Witness\\a.exe","fileVersion":"2.5.0.0"})"},
      {R"({"type":"executable","fileName":"a.exe","fileVersion":{"max":"7"}})", nullptr},
      {R"({"type":"executable","fileName":"a.exe","productVersion":{"min":"3","max":"4"}})",
       R"({"kind":"file","path":"C:\\Witness\\a.exe","versionInfo":{"ProductVersion":"3.0.0.0"}})"},
      {R"({"type":"executable","location":{"pattern":"D:\\Tools","types":["REMOVABLE"]}})",
       R"({"kind":"file","path":"D:\\Tools\\witness.exe","drives":{"D":"REMOVABLE"}})"},
      {R"({"type":"executable","location":"CDROM:\\setup"})",
       R"({"kind":"file","path":"D:\\setup\\witness.exe","drives":{"D":"CDROM"}})"},
      {R"({"type":"executable","location":"*\\Downloads\\*"})", nullptr},
      {R"({"type":"executable","location":{"types":["REMOTE"]}})", nullptr},
      {R"({"type":"executable","hash":{"algorithm":"SHA1","hex":"00112233445566778899AABBCCDDEEFF00112233"},"fileSize":7})",
       R"({"kind":"file","path":"C:\\Witness\\witness.exe","hashes":{"SHA1":"00112233445566778899AABBCCDDEEFF00112233"},"size":7})"},
      {R"({"type":"executable","publishers":["Vendor*"],"fileName":"a.exe"})",
       R"({"kind":"file","path":"C:\\Witness\\a.exe","signers":[{"name":"Vendor","status":"valid"}]})"},
      {R"({"type":"executable","publishers":[{"unsignedOnly":true}],"fileName":"a.exe"})",
       R"({"kind":"file","path":"C:\\Witness\\a.exe"})"},
      {R"({"type":"executable","owners":["S-1-5-32-544"],"fileName":"a.exe"})",
       R"({"kind":"file","path":"C:\\Witness\\a.exe","owner":"S-1-5-32-544"})"},
      {R"({"type":"executable","versionFields":{"CompanyName":"V*","ProductName":{"pattern":"x","compareAs":"contains"}}})",
       nullptr},
      {R"({"type":"executable","fileName":"a.exe","arguments":"* -enc*"})", nullptr},
      {R"({"type":"executable","fileName":"a.exe","arguments":"/quiet"})",
       R"({"kind":"process","path":"C:\\Witness\\a.exe","commandLine":"\"C:\\Witness\\a.exe\" /quiet"})"},
      {R"({"type":"executable","fileName":"a.exe","serviceName":"Spooler"})",
       R"({"kind":"process","path":"C:\\Witness\\a.exe","services":"Spooler"})"},
      {R"({"type":"executable","fileName":"a.exe","parentProcess":{"includedGroup":"G"}})",
       R"({"kind":"process","path":"C:\\Witness\\a.exe","parent":{"kind":"file","path":"C:\\Witness\\parent.exe"}})"},
      {R"({"type":"executable","fileName":"a.exe","parentProcess":{"excludedGroup":"G"}})", nullptr},
      {R"({"type":"applicationGroup","group":"G"})", R"({"kind":"file","path":"C:\\Witness\\parent.exe"})"},
      {R"({"type":"executable","fileName":"a.exe","origin":{"mainSourceType":"Internet"}})", nullptr},
      {R"({"type":"executable","fileName":"a.exe","origin":{"mainSourceType":"Removable"}})", nullptr},
      {R"({"type":"executable","fileName":"a.exe","origin":{"flag":true}})",
       R"({"kind":"file","path":"C:\\Witness\\a.exe","origin":{"preexisted":true}})"},
      {R"({"type":"executable","fileName":"a.exe","origin":{"users":["S-1-5-18"]}})", nullptr},
      {R"({"type":"executable","fileName":"a.exe","origin":{"distributionService":"Deploy"}})", nullptr},
      {R"({"type":"executable","fileName":"a.exe","origin":{"sourceAddress":"https://a*"}})", nullptr},
      {R"({"type":"executable","fileName":"a.exe","origin":{"package":{"name":"Suite*","publishers":["V"]}}})",
       nullptr},
      {R"({"type":"executable","fileName":"a.exe","origin":{"mainSourceType":"DevApp","package":{"name":"S*","versions":{"min":"2"},"publishers":["V","W"]}}})",
       nullptr},
      {R"({"type":"executable","fileName":"a.exe","origin":{"mainSourceType":"eMail","location":"*\\in\\*","users":["S-1-5-18"]}})",
       nullptr},
      {R"({"type":"executable","fileName":"a.exe","origin":{"mainSourceType":"SoftwareDistributor","distributionService":"D"}})",
       nullptr},
      {R"({"type":"executable","fileName":"a.exe","origin":{"location":{"pattern":"*","types":["REMOVABLE"]}}})",
       nullptr},
      {R"({"type":"executable","fileName":"a.exe","origin":{"spawnerProcess":{"mode":"callerMadeFile"}}})",
       R"({"kind":"process","path":"C:\\Witness\\a.exe","parent":{"kind":"process","path":"C:\\w.exe"},"origin":{"installer":{"processes":[{"path":"C:\\w.exe"}]}}})"},
      {R"({"type":"msi","origin":{"mainSourceType":"Share","spawnerProcess":{"mode":"callerMadeFile","allCallers":true}}})",
       nullptr},
      {R"({"type":"executable","fileName":"a.exe","origin":{"spawnerProcess":{"mode":"callerDidNotMakeFile"}}})",
       nullptr},
      {R"({"type":"script","origin":{"package":{"flag":true,"name":"Suite*"}}})", nullptr},
      {R"({"type":"script","arguments":"-x","fileName":"run.ps1"})", nullptr},
      {R"({"type":"msi","installerProperties":{"Manufacturer":"M*"},"productVersion":{"min":"2"}})", nullptr},
      {R"({"type":"msi","arguments":"*/quiet*"})", nullptr},
      {R"({"type":"msu","fileName":"windows*"})", nullptr},
      {R"({"type":"dll","location":"C:\\Lib"})", R"({"kind":"file","path":"C:\\Lib\\witness.dll"})"},
      {R"({"type":"com","classId":"{6E1F0C52-9B7D-4A31-8C55-2D0F6A9B1E77}"})", nullptr},
      {R"({"type":"activeX","sourceAddress":"https://*"})", nullptr},
      {R"({"type":"appPackage","packageName":"App*","capabilities":["webcam",{"name":"microphone","required":false}]})",
       R"({"kind":"file","appPackage":{"name":"App","capabilities":["webcam"]}})"},
      {R"({"type":"url","url":"https://example.com/*"})",
       R"({"kind":"elevator","request":{"kind":2,"url":"https://example.com/"}})"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.targets);
    const std::optional<CkxPolicySet> set = SetOf(
        Blocking({row.targets},
                 R"(,"applicationGroups":[{"name":"G","targets":[{"type":"executable","fileName":"parent.exe"}]}])"));
    ASSERT_TRUE(set);
    const SkxWitness witness = CkxWitnesses(set->Image(), set->Applicable()).Of(0);
    ASSERT_EQ(KxWitness_Word(witness.found), std::string("found")) << witness.why;
    EXPECT_EQ(DeciderOf(set->Image(), witness.document), 1u) << witness.document;
    if (row.document == nullptr) continue;
    EXPECT_EQ(json(witness.document), json::parse(row.document));
  }
}

TEST(Witness, IsOfEachAdministrativeTask) {
  for (const CkxAdminTask& task : CkxAdminTask::All()) {
    const std::string number = std::to_string(task.Id());
    const std::optional<CkxPolicySet> set = SetOf(Blocking({R"({"type":"administrativeTask","task":)" + number + "}"}));
    ASSERT_TRUE(set);
    const SkxWitness witness = CkxWitnesses(set->Image(), set->Applicable()).Of(0);
    ASSERT_EQ(witness.found, EkxWitness::Found) << number << ": " << witness.why;
    EXPECT_EQ(DeciderOf(set->Image(), witness.document), 1u) << witness.document;
  }
}

TEST(Witness, GoesRoundThePoliciesBefore) {
  const char* const rows[][2] = {
      {R"({"type":"executable","fileName":"witness.exe"})", R"({"type":"executable"})"},
      {R"({"type":"executable","location":{"pattern":"C:\\","withSubfolders":true}})", R"({"type":"executable"})"},
      {R"({"type":"executable","fileVersion":{"max":"2"}})", R"({"type":"executable","fileVersion":{"max":"3"}})"},
      {R"({"type":"executable","fileVersion":{"min":"2"}})", R"({"type":"executable","fileVersion":{"min":"1"}})"},
      {R"({"type":"executable","publishers":[{"unsignedOnly":true}]})", R"({"type":"executable","fileName":"a.exe"})"},
      {R"({"type":"executable","fileName":"a.exe"})", R"({"type":"executable","fileName":"a.exe"},{"type":"msi"})"},
      {R"({"type":"executable","fileName":{"pattern":"x*","compareAs":"wildcard"}})",
       R"({"type":"executable","fileName":{"pattern":"[a-z].exe","compareAs":"regExp"}})"},
  };
  for (const auto& [before, target] : rows) {
    SCOPED_TRACE(target);
    const std::optional<CkxPolicySet> set = SetOf(Blocking({before, target}));
    ASSERT_TRUE(set);
    const SkxWitness witness = CkxWitnesses(set->Image(), set->Applicable()).Of(1);
    ASSERT_EQ(witness.found, EkxWitness::Found) << before << witness.why;
    EXPECT_EQ(DeciderOf(set->Image(), witness.document), 2u) << witness.document;
  }
}

TEST(Witness, IsOfAUserThatThePolicyIsFor) {
  const std::optional<CkxPolicySet> set =
      SetOf(Blocking({R"({"type":"msi"})", R"({"type":"msi"})", R"({"type":"msi"})"},
                     R"(,"applicable":{"S-1-5-18":[1],"S-1-5-32-545":[2]})"));
  ASSERT_TRUE(set);
  const CkxWitnesses witnesses(set->Image(), set->Applicable());
  EXPECT_EQ(witnesses.Of(0).document["user"]["sid"], "S-1-5-18");
  EXPECT_EQ(witnesses.Of(1).document["user"]["sid"], "S-1-5-32-545");
  EXPECT_EQ(witnesses.Of(2).why, "it is applicable to nobody");
}

TEST(Witness, SaysWhyThereIsNone) {
  const std::optional<CkxPolicySet> set = SetOf(R"({"policies":[
      {"id":1,"name":"All","action":"block","targets":[{"type":"msi"}]},
      {"id":2,"name":"Some","action":"block","targets":[{"type":"msi","fileName":"a*"}]},
      {"id":3,"name":"Typo","action":"block","targets":[{"type":"executable","fileName":{"pattern":"a","compareAs":9}}]},
      {"id":4,"name":"Off","action":"block","active":false,"targets":[{"type":"msi"}]},
      {"id":5,"name":"Log","action":"logOff"},
      {"id":6,"name":"Bare","action":"block"},
      {"id":7,"name":"Both","action":"block","targets":[{"type":"executable","fileVersion":{"min":"2"},"publishers":[]}]}]})");
  ASSERT_TRUE(set);
  const CkxWitnesses witnesses(set->Image(), set->Applicable());
  const SkxWitness taken = witnesses.Of(1);
  EXPECT_EQ(taken.found, EkxWitness::TakenBefore);
  EXPECT_EQ(taken.takers, std::set<size_t>{0});
  EXPECT_EQ(DeciderOf(set->Image(), taken.document), 1u);
  const std::pair<size_t, const char*> rows[] = {
      {2, "target 1: nothing that its fileName accepts was found"},
      {3, "it is not active"},
      {4, "its action is none that decides"},
      {5, "it has no target that anything can match"},
      {6, "target 1: nothing that its publishers accepts was found"},
  };
  for (const auto& [policy, why] : rows) EXPECT_EQ(witnesses.Of(policy).why, why) << policy;
}

/// The evaluation that reads the image is asked, which witnesses did not see: they ask the prepared one.
TEST(Witness, IsDecidedByItsPolicyInAnyPublication) {
  size_t found = 0;
  size_t deciding = 0;
  for (uint32_t seed = 1; seed <= 15; ++seed) {
    for (const EkxRandomDemands demands : {EkxRandomDemands::Few, EkxRandomDemands::Some}) {
      const SkxPolicyImage image = KxEncode_Image(CkxRandomThings(seed, demands).Publication());
      const SkxApplicableRows everybody;
      const CkxWitnesses witnesses(image, everybody);
      std::set<uint32_t> outOfReach;
      for (const SkxFinding& finding : KxLint_Image(image)) {
        const std::string rule = finding.rule;
        if (finding.policyId && (rule == "unreachable" || rule == "no-targets")) outOfReach.insert(*finding.policyId);
      }
      for (size_t i = 0; i < witnesses.Policies().size(); ++i) {
        const SkxWitness witness = witnesses.Of(i);
        SCOPED_TRACE(testing::Message() << "seed " << seed << ", policy " << witness.policyId << witness.document);
        deciding += witness.found != EkxWitness::NoPart ? 1 : 0;
        if (witness.found != EkxWitness::Found) continue;
        ++found;
        EXPECT_EQ(DeciderOf(image, witness.document), witness.policyId);
        EXPECT_FALSE(outOfReach.contains(witness.policyId)) << "the lint says otherwise";
      }
    }
  }
  EXPECT_GT(found, deciding / 4) << "of " << deciding;
}

/// Bytes of any kind: nothing is read beyond them, and what is found holds.
TEST(Witness, OfADamagedImageHoldsToo) {
  for (uint32_t seed = 1; seed <= 15; ++seed) {
    CkxRandomThings things(seed);
    SkxPolicyImage image = KxEncode_Image(things.Publication());
    things.Damage(*image.policies);
    things.Damage(*image.appGroups);
    const SkxApplicableRows everybody;
    const CkxWitnesses witnesses(image, everybody);
    for (size_t i = 0; i < witnesses.Policies().size(); ++i) {
      const SkxWitness witness = witnesses.Of(i);
      if (witness.found != EkxWitness::Found) continue;
      EXPECT_EQ(DeciderOf(image, witness.document), witness.policyId) << seed << witness.document;
    }
  }
}

}  // namespace
