#include "Agent/engine/kx_publish/document/policy_document.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Common_CPP/util/guid.h"

namespace {

struct Outcome {
  bool read = false;
  SkxPublication publication;
  SkxDocumentError error;
};

Outcome Read(std::vector<SkxDocumentText> documents) {
  Outcome outcome;
  outcome.read = KxPolicyDocument_Read(documents, outcome.publication, outcome.error);
  return outcome;
}

Outcome Read(const std::string& text) { return Read({{"doc.jsonc", text}}); }

/// A document with one block policy, number 7, that has `target`.
std::string WithTarget(const std::string& target) {
  return R"({"policies":[{"id":7,"name":"P","action":"block","targets":[)" + target + R"(]}],)" +
         R"("applicationGroups":[{"name":"G"}]})";
}

/// A program target with `fields`.
std::string WithExe(const std::string& fields) { return WithTarget(R"({"type":"executable",)" + fields + "}"); }

/// A document with two alerts and a policy, number 7, that has `link`.
std::string WithAlertLink(const std::string& link) {
  return R"({"alerts":[{"name":"Ask","type":"dialog"},{"name":"Tell","type":"balloon"}],)"
         R"("policies":[{"id":7,"name":"P","action":"run","alerts":[{"trigger":26,)" +
         link + "}]}]}";
}

/// A document with one policy, number 7, that has `fields`.
std::string WithPolicy(const std::string& fields) { return R"({"policies":[{"id":7,"name":"P",)" + fields + "}]}"; }

struct Fault {
  const char* name;
  std::string document;
  std::string pointer;
  const char* message;  // a part of it
};

std::string Repeated(const std::string& piece, int times) {
  std::string text;
  for (; times > 0; --times) text += piece;
  return text;
}

constexpr const char* kTarget = "/policies/0/targets/0";

TEST(PolicyDocument, FaultsNameTheirPlace) {
  const Fault faults[] = {
      {"no JSON", "{\n\"policies\": [}", "", "line 2, column 14"},
      {"not an object", "[]", "", "must be an object"},
      {"a key twice", R"({"policies":[{"id":1,"id":2}]})", "/policies/0/id", "twice"},
      {"a key twice, further in", R"({"policies":[{"id":1},{"a/b":[[],{"c":[1,2],"d":{},"c":3}]}]})",
       "/policies/1/a~1b/1/c", "twice"},
      {"an unknown key at the top", R"({"polices":[]})", "/polices", "unknown key"},
      {"policies that are no list", R"({"policies":{}})", "/policies", "must be an array"},
      {"a policy without a name", R"({"policies":[{"id":1,"action":"run"}]})", "/policies/0", "\"name\" is missing"},
      {"an empty name", R"({"policies":[{"id":1,"name":"","action":"run"}]})", "/policies/0/name", "must not be empty"},
      {"a NUL in a name", R"({"policies":[{"id":1,"name":"a\u0000b","action":"run"}]})", "/policies/0/name", "NUL"},
      {"the id 0", R"({"policies":[{"id":0,"name":"P","action":"run"}]})", "/policies/0", "id 0"},
      {"an id beyond 32 bits", R"({"policies":[{"id":4294967296,"name":"P","action":"run"}]})", "/policies/0/id",
       "4294967295"},
      {"a negative id", R"({"policies":[{"id":-1,"name":"P","action":"run"}]})", "/policies/0/id", "whole number"},
      {"a fraction for an id", R"({"policies":[{"id":1.5,"name":"P","action":"run"}]})", "/policies/0/id",
       "whole number"},
      {"an id twice", R"({"policies":[{"id":1,"name":"P","action":"run"},{"id":1,"name":"Q","action":"run"}]})",
       "/policies/1/id", "taken by doc.jsonc#/policies/0"},
      {"an unknown action", WithPolicy(R"("action":"allow")"), "/policies/0/action", "\"run\", \"block\""},
      {"active as a number", WithPolicy(R"("action":"run","active":1)"), "/policies/0/active", "true or false"},
      {"targets of a policy without", WithPolicy(R"("action":"logOff","targets":[])"), "/policies/0/targets",
       "unknown key"},
      {"a field of another action", WithPolicy(R"("action":"run","allowAccess":true)"), "/policies/0/allowAccess",
       "unknown key"},
      {"a missing field of an action", WithPolicy(R"("action":"setSecurity")"), "/policies/0",
       "\"allowAccess\" is missing"},
      {"an exclude type beyond 16 bits", WithPolicy(R"("action":"exclude","excludeType":65536)"),
       "/policies/0/excludeType", "65535"},
      {"a link to no alert", WithAlertLink(R"("type":"dialog","id":"x")"), "/policies/0/alerts/0/id",
       "name of an alert or a GUID"},
      {"an unknown type of a link", WithAlertLink(R"("type":"toast","id":"Ask")"), "/policies/0/alerts/0/type",
       "\"dialog\", \"balloon\""},
      {"another type than the alert's", WithAlertLink(R"("type":"balloon","id":"Ask")"), "/policies/0/alerts/0/type",
       "of another type"},
      {"no type of an alert that is elsewhere", WithAlertLink(R"("id":"{00000000-0000-0000-0000-000000000001}")"),
       "/policies/0/alerts/0", "\"type\" is missing"},
      {"a target without a type", WithTarget("{}"), kTarget, "\"type\" is missing"},
      {"an unknown type", WithTarget(R"({"type":"Script"})"), "/policies/0/targets/0/type", "\"script\", \"msi\""},
      {"an unknown key of a target", WithExe(R"("filename":"a")"), "/policies/0/targets/0/filename", "unknown key"},
      {"a target id that is no GUID", WithExe(R"("id":"1")"), "/policies/0/targets/0/id", "must be a GUID"},
      {"an unknown group", WithTarget(R"({"type":"applicationGroup","group":"H"})"), "/policies/0/targets/0/group",
       "no application group"},
      {"an unknown group id",
       WithTarget(R"({"type":"applicationGroup","group":"{00000000-0000-0000-0000-000000000001}"})"),
       "/policies/0/targets/0/group", "no application group"},
      {"a link without a group", WithTarget(R"({"type":"applicationGroup"})"), kTarget, "\"group\" is missing"},
      {"an unknown compare mode", WithExe(R"("fileName":{"pattern":"a","compareAs":"exact"})"),
       "/policies/0/targets/0/fileName/compareAs", "\"equals\""},
      {"a pattern that is missing", WithExe(R"("arguments":{"caseSensitive":true})"), "/policies/0/targets/0/arguments",
       "\"pattern\" is missing"},
      {"a NUL in a shorthand", WithExe(R"("fileName":"a\u0000")"), "/policies/0/targets/0/fileName", "NUL"},
      {"a hash with another digit", WithExe(R"("hash":{"algorithm":"MD5","hex":"0011223344556677889900112233445G"})"),
       "/policies/0/targets/0/hash/hex", "32 hexadecimal digits"},
      {"a hash of another length", WithExe(R"("hash":{"algorithm":"SHA1","hex":"00112233445566778899001122334455"})"),
       "/policies/0/targets/0/hash/hex", "40 hexadecimal digits"},
      {"an unknown hash algorithm", WithExe(R"("hash":{"algorithm":"CRC","hex":""})"),
       "/policies/0/targets/0/hash/algorithm", "MD5"},
      {"a size without a hash", WithExe(R"("fileName":"a","fileSize":1)"), "/policies/0/targets/0/fileSize",
       "together with a hash"},
      {"a hash in an exclusion",
       WithTarget(R"({"type":"exclude","hash":{"algorithm":"MD5","hex":"00112233445566778899001122334455"}})"), kTarget,
       "not by hash"},
      {"a key of another kind", WithTarget(R"({"type":"script","fileVersion":"1"})"),
       "/policies/0/targets/0/fileVersion", "unknown key"},
      {"an unnamed installer property",
       WithTarget(R"({"type":"msi","installerProperties":[{"property":"","pattern":""}]})"),
       "/policies/0/targets/0/installerProperties/0/property", "must not be empty"},
      {"a task of no name", WithTarget(R"({"type":"administrativeTask","task":"Doom"})"), "/policies/0/targets/0/task",
       "no administrative task"},
      {"a task of no number", WithTarget(R"({"type":"administrativeTask","task":0})"), "/policies/0/targets/0/task",
       "no administrative task"},
      {"no task", WithTarget(R"({"type":"administrativeTask"})"), kTarget, "\"task\" is missing"},
      {"a class that is no GUID", WithTarget(R"({"type":"com","classId":"Word.Application"})"),
       "/policies/0/targets/0/classId", "must be a GUID"},
      {"a class as a number", WithTarget(R"({"type":"activeX","classId":1})"), "/policies/0/targets/0/classId",
       "must be an object"},
      {"an empty capability", WithTarget(R"({"type":"appPackage","capabilities":["a",""]})"),
       "/policies/0/targets/0/capabilities/1", "must not be empty"},
      {"an entry without a path", WithTarget(R"({"type":"fileSystemEntry","accessMask":1})"), kTarget,
       "\"path\" is missing"},
      {"an entry with an empty path", WithTarget(R"({"type":"fileSystemEntry","path":"","accessMask":1})"),
       "/policies/0/targets/0/path", "must not be empty"},
      {"an entry without access", WithTarget(R"({"type":"fileSystemEntry","path":"C:\\"})"), kTarget,
       "\"accessMask\" is missing"},
      {"an unknown root", WithTarget(R"({"type":"registryKey","root":"HKPD","keyPath":"","accessMask":1})"),
       "/policies/0/targets/0/root", "\"HKLM\""},
      {"a root without a path", WithTarget(R"({"type":"registryKey","root":"HKLM","accessMask":1})"), kTarget,
       "\"keyPath\" is missing"},
      {"access to a nameless service", WithTarget(R"({"type":"service","serviceName":"","accessMask":1})"),
       "/policies/0/targets/0/serviceName", "must not be empty"},
      {"access in decimal text", WithTarget(R"({"type":"usbDevice","accessMask":"12"})"),
       "/policies/0/targets/0/accessMask", "hexadecimal"},
      {"access without digits", WithTarget(R"({"type":"usbDevice","accessMask":"0x"})"),
       "/policies/0/targets/0/accessMask", "hexadecimal"},
      {"access with more than digits", WithTarget(R"({"type":"usbDevice","accessMask":"0x1 "})"),
       "/policies/0/targets/0/accessMask", "hexadecimal"},
      {"access beyond 32 bits", WithTarget(R"({"type":"usbDevice","accessMask":"0x100000000"})"),
       "/policies/0/targets/0/accessMask", "hexadecimal"},
      {"negative access", WithTarget(R"({"type":"usbDevice","accessMask":-1})"), "/policies/0/targets/0/accessMask",
       "whole number"},
      {"a medium's unknown text", WithTarget(R"({"type":"opticalDisc","accessMask":1,"media":[null,{"maker":"V"}]})"),
       "/policies/0/targets/0/media/1/maker", "unknown key"},
      {"an empty location", WithExe(R"("location":"")"), "/policies/0/targets/0/location", "no file"},
      {"an unknown location type", WithExe(R"("location":{"types":["FIXED","TAPE"]})"),
       "/policies/0/targets/0/location/types/1", "\"CDROM\""},
      {"five version parts", WithExe(R"("fileVersion":"1.2.3.4.5")"), "/policies/0/targets/0/fileVersion",
       "must be a version"},
      {"a version part beyond 16 bits", WithExe(R"("fileVersion":{"min":"65536"})"),
       "/policies/0/targets/0/fileVersion/min", "must be a version"},
      {"a version with a trailing dot", WithExe(R"("fileVersion":{"min":"1."})"),
       "/policies/0/targets/0/fileVersion/min", "must be a version"},
      {"a version that means none", WithExe(R"("fileVersion":{"max":"65535.65535.65535.65535"})"),
       "/policies/0/targets/0/fileVersion/max", "leave the bound out"},
      {"a minimum above the maximum", WithExe(R"("fileVersion":{"min":"2","max":"1"})"),
       "/policies/0/targets/0/fileVersion", "above max"},
      {"an owner that is no SID", WithExe(R"("owners":["S-1-5-18","BUILTIN"])"), "/policies/0/targets/0/owners/1",
       "must be a SID"},
      {"an unnamed version field", WithExe(R"("versionFields":{"":"x"})"), "/policies/0/targets/0/versionFields/",
       "must not be empty"},
      {"a version field's bad test", WithExe(R"("versionFields":{"Company/Name":7})"),
       "/policies/0/targets/0/versionFields/Company~1Name", "must be an object"},
      {"an empty service name", WithExe(R"("serviceName":"")"), "/policies/0/targets/0/serviceName",
       "must not be empty"},
      {"a parent of no group", WithExe(R"("parentProcess":{"includedAnyAncestor":true})"),
       "/policies/0/targets/0/parentProcess", "neither"},
      {"an empty distributor", WithExe(R"("origin":{"distributionService":""})"),
       "/policies/0/targets/0/origin/distributionService", "must not be empty"},
      {"a group without a name", R"({"applicationGroups":[{}]})", "/applicationGroups/0", "\"name\" is missing"},
      {"a group name twice", R"({"applicationGroups":[{"name":"G"},{"name":"G"}]})", "/applicationGroups/1/name",
       "this name"},
      {"a group id twice",
       R"({"applicationGroups":[{"name":"G","id":"{00000000-0000-0000-0000-000000000001}"},)"
       R"({"name":"H","id":"00000000-0000-0000-0000-000000000001"}]})",
       "/applicationGroups/1", "this id"},
      {"a null group id", R"({"applicationGroups":[{"name":"G","id":"{00000000-0000-0000-0000-000000000000}"}]})",
       "/applicationGroups/0", "null id"},
      {"alerts that are no list", R"({"alerts":{}})", "/alerts", "must be an array"},
      {"an alert without a type", R"({"alerts":[{"name":"A"}]})", "/alerts/0", "\"type\" is missing"},
      {"an alert of an unknown type", R"({"alerts":[{"name":"A","type":"toast"}]})", "/alerts/0/type",
       "\"dialog\" or \"balloon\""},
      {"a page of a balloon", R"({"alerts":[{"name":"A","type":"balloon","htmlPath":"a"}]})", "/alerts/0/htmlPath",
       "unknown key"},
      {"an alert name twice", R"({"alerts":[{"name":"A","type":"dialog"},{"name":"A","type":"balloon"}]})",
       "/alerts/1/name", "another alert has this name"},
      {"an alert id twice",
       R"({"alerts":[{"name":"A","type":"dialog","id":"{00000000-0000-0000-0000-000000000001}"},)"
       R"({"name":"B","type":"dialog","id":"00000000-0000-0000-0000-000000000001"}]})",
       "/alerts/1", "this id"},
      {"a null alert id", R"({"alerts":[{"name":"A","type":"dialog","id":"{00000000-0000-0000-0000-000000000000}"}]})",
       "/alerts/0", "null id"},
      {"a user that is no SID", R"({"applicable":{"ann":[]}})", "/applicable/ann", "must be a SID"},
      {"a policy that is not there", R"({"applicable":{"*":[9]}})", "/applicable/*/0", "no policy of this id"},
      {"too deep, further in", R"([0,{"a":{},"b":)" + std::string(63, '['), "/1/b" + Repeated("/0", 62),
       "nested too deeply"},
      {"too deep", std::string(65, '[') + std::string(65, ']'), Repeated("/0", 64), "nested too deeply"},
  };
  for (const Fault& fault : faults) {
    const Outcome outcome = Read(fault.document);
    ASSERT_FALSE(outcome.read) << fault.name;
    EXPECT_EQ(outcome.error.document, "doc.jsonc") << fault.name;
    EXPECT_EQ(outcome.error.pointer, fault.pointer) << fault.name;
    EXPECT_NE(outcome.error.message.find(fault.message), std::string::npos)
        << fault.name << ": " << outcome.error.message;
  }
}

SkxPolicyImage ImageOf(const std::string& text) {
  const Outcome outcome = Read(text);
  EXPECT_TRUE(outcome.read) << outcome.error.Text() << "\n" << text;
  return KxEncode_Image(outcome.publication);
}

TEST(PolicyDocument, ShorthandAndDefaultsStandForTheLongForm) {
  struct Case {
    const char* name;
    std::string brief;
    std::string full;
  };
  // SHA-256 of "group/G", "policy/7/target/0" and "alert/Tell", cut and marked as UUIDs of version 8.
  const std::string group = "{DA00E5C5-CEEF-8D73-9F00-940F2C14BA91}";
  const std::string target = "{3AB1D58A-B017-81F0-A6B8-6075F3B1F11F}";
  const std::string tell = "{B0F536A8-7C03-808A-BE68-806A8FB579EB}";
  const std::string md5 = R"({"algorithm":"MD5","hex":"00112233445566778899AABBCCDDEEFF"})";
  const Case cases[] = {
      {"a policy", R"({ /* comment */ "policies":[{"id":7,"name":"P","action":"run"}] } // end)",
       WithPolicy(R"("action":"run","active":true,"order":1,"implicit":false,"gpId":"","kxGpoId":"","guiType":0,)"
                  R"("reportUsageState":0,"alerts":[],"policyAutomation":false,"targets":[])")},
      {"a plain name", WithExe(R"("fileName":"a.exe")"),
       WithExe(R"("fileName":{"pattern":"a.exe","compareAs":"equals"})")},
      {"a name with a placeholder", WithExe(R"("fileName":"a?.exe")"),
       WithExe(R"("fileName":{"pattern":"a?.exe","compareAs":4})")},
      {"a placeholder meant as it is", WithExe(R"("fileName":{"pattern":"a?.exe","compareAs":"equals"})"),
       WithExe(R"("fileName":{"pattern":"a?.exe","compareAs":1})")},
      {"a hash alone", WithExe(R"("hash":)" + md5),
       WithExe(R"("fileName":{"pattern":"*","compareAs":"wildcard"},"hash":)" + md5)},
      {"a hash in lower case", WithExe(R"("hash":{"algorithm":"MD5","hex":"00112233445566778899aabbccddeeff"})"),
       WithExe(R"("hash":)" + md5)},
      {"location types alone", WithExe(R"("location":{"types":["FIXED"]})"),
       WithExe(R"("location":{"pattern":"*","withSubfolders":false,"types":["FIXED"]})")},
      {"one version", WithExe(R"("fileVersion":"1.2")"), WithExe(R"("fileVersion":{"min":"1.2.0.0","max":"1.2.0.0"})")},
      {"all versions that begin so", WithExe(R"("fileVersion":"1.2.*")"),
       WithExe(R"("fileVersion":{"min":"1.2.0.0","max":"1.2.65535.65535"})")},
      {"version fields by name", WithExe(R"("versionFields":{"A":"x*","B":{"pattern":"y","caseSensitive":true}})"),
       WithExe(
           R"("versionFields":[{"field":"A","pattern":"x*","compareAs":"wildcard"},{"field":"B","pattern":"y","caseSensitive":true}])")},
      {"a publisher", WithExe(R"("publishers":["V"])"),
       WithExe(R"("publishers":[{"pattern":"V","caseSensitive":false,"compareAs":"equals","unsignedOnly":false}])")},
      {"a group by its id", WithTarget(R"({"type":"applicationGroup","group":"G"})"),
       WithTarget(R"({"type":"applicationGroup","group":")" + group + "\"}")},
      {"a target's derived id", WithTarget(R"({"type":"url"})"),
       WithTarget(R"({"type":"url","id":")" + target + "\"}")},
      {"installer properties by name", WithTarget(R"({"type":"msi","installerProperties":{"A":"x*"}})"),
       WithTarget(R"({"type":"msi","installerProperties":[{"property":"A","pattern":"x*","compareAs":"wildcard"}]})")},
      {"a task by its name", WithTarget(R"({"type":"administrativeTask","task":"date AND time"})"),
       WithTarget(R"({"type":"administrativeTask","task":1})")},
      {"a class in another spelling", WithTarget(R"({"type":"com","classId":"da00e5c5-ceef-8d73-9f00-940f2c14ba91"})"),
       WithTarget(R"({"type":"com","classId":{"pattern":")" + group + R"(","compareAs":"equals"}})")},
      {"a capability", WithTarget(R"({"type":"appPackage","capabilities":["camera"]})"),
       WithTarget(R"({"type":"appPackage","capabilities":[{"name":"camera","required":true}]})")},
      {"a root key by name", WithTarget(R"({"type":"registryKey","root":"HKLM","keyPath":"A","accessMask":"0x2001f"})"),
       WithTarget(R"({"type":"registryKey","root":2147483650,"keyPath":"A","accessMask":131103})")},
      {"an alert by its name, of its type", WithAlertLink(R"("id":"Tell")"),
       WithAlertLink(R"("type":"balloon","id":")" + tell + "\"")},
      {"alert names",
       WithPolicy(R"("action":"run","alerts":[{"trigger":"replaceUacOfAdministrator","type":"balloon","id":")" +
                  target + "\"}]"),
       WithPolicy(R"("action":"run","alerts":[{"trigger":27,"type":2,"id":")" + target + "\"}]")},
  };
  for (const Case& c : cases) {
    const SkxPolicyImage brief = ImageOf(c.brief);
    const SkxPolicyImage full = ImageOf(c.full);
    EXPECT_EQ(brief.policies, full.policies) << c.name;
    EXPECT_EQ(brief.alerts, full.alerts) << c.name;
  }
}

TEST(PolicyDocument, SeveralDocumentsAreOnePublication) {
  const std::string groups =
      R"({"applicationGroups":[{"name":"A","targets":[{"type":"applicationGroup","group":"B"}]},{"name":"B"}],
                                 "alerts":[{"name":"Ask","type":"dialog"}],"applicable":{"*":[1]}})";
  const std::string first =
      R"({"policies":[{"id":1,"name":"P","action":"run","alerts":[{"trigger":1,"id":"Ask"}],
                       "targets":[{"type":"applicationGroup","group":"B"}]}]})";
  const std::string second =
      R"({"policies":[{"id":2,"name":"Q","action":"run"}],"applicable":{"*":[2],"s-1-0x5-18":[2]}})";
  const Outcome outcome = Read({{"p.jsonc", first}, {"g.jsonc", groups}, {"q.jsonc", second}});
  ASSERT_TRUE(outcome.read) << outcome.error.Text();
  ASSERT_EQ(outcome.publication.policies.size(), 2u);
  EXPECT_EQ(outcome.publication.policies[1].order, 2u) << "positions count across documents";
  ASSERT_EQ(outcome.publication.groups.size(), 2u);
  const GUID b = outcome.publication.groups[1].id;
  for (const auto& targets : {outcome.publication.policies[0].targets, outcome.publication.groups[0].targets}) {
    EXPECT_TRUE(KxGuid_Equal(std::get<SkxGroupLink>(targets.at(0).body).group, b));
  }
  ASSERT_EQ(outcome.publication.alerts.size(), 1u);
  const SkxAlertLinkModel& link = outcome.publication.policies[0].alerts.at(0);
  EXPECT_TRUE(KxGuid_Equal(link.alert, outcome.publication.alerts[0].id));
  EXPECT_EQ(link.type, 1) << "a dialog, as the alert says";
  EXPECT_EQ(outcome.publication.applicable, (SkxApplicableRows{{"*", {1, 2}}, {"S-1-5-18", {2}}}));

  const Outcome clash = Read({{"p.jsonc", first}, {"g.jsonc", groups}, {"again.jsonc", first}});
  EXPECT_EQ(clash.error.Text(), "again.jsonc: /policies/0/id: the id is taken by p.jsonc#/policies/0");
}

TEST(PolicyDocument, ATextThatJsonCannotCarryIsNotWritten) {
  SkxPublication publication;
  publication.alerts.resize(2);
  publication.alerts[1].name = KXW("a") + KxWString(1, static_cast<WCHAR>(0xD800));
  nlohmann::ordered_json document = "as it was";
  SkxDocumentError error;
  EXPECT_FALSE(KxPolicyDocument_Write(publication, document, error));
  EXPECT_EQ(error.Text(), "/alerts/1: a text is not well-formed UTF-16");
  EXPECT_EQ(document, "as it was");
}

TEST(PolicyDocument, AFaultLeavesThePublicationAsItWas) {
  SkxPublication publication;
  publication.applicable["*"] = {1};
  SkxDocumentError error;
  const SkxDocumentText document{"d", R"({"policies":[{"id":1,"name":"P","action":"run"},{}]})"};
  EXPECT_FALSE(KxPolicyDocument_Read({&document, 1}, publication, error));
  EXPECT_TRUE(publication.policies.empty());
  EXPECT_EQ(publication.applicable.size(), 1u);
}

}  // namespace
