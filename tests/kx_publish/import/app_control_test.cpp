// App Control policies: file rules, signers and scenarios, and what the documents that they become decide.
#include "tests/kx_publish/import/imported.h"

namespace {

using Status = EkxImportStatus;

/// The parts of a policy; what is left out is empty.
struct SkxTestPolicy {
  std::string fileRules{};
  std::string signers{};
  std::string userMode{};  ///< of the product signers of user mode
  std::string drivers{};
  std::string options = "Enabled:UMCI|Disabled:Script Enforcement";
  std::string attributes = "PolicyType=\"Base Policy\"";
  std::string id = "{1}";
  std::string baseId = "{1}";

  std::string Xml() const {
    std::string rules;
    for (size_t at = 0; at < options.size();) {
      const size_t end = std::min(options.find('|', at), options.size());
      rules += "<Rule><Option>" + options.substr(at, end - at) + "</Option></Rule>";
      at = end + 1;
    }
    const auto scenario = [](const std::string& value, const std::string& product) {
      return "<SigningScenario Value=\"" + value + "\" ID=\"S" + value + "\"><ProductSigners>" + product +
             "</ProductSigners></SigningScenario>";
    };
    return "<?xml version=\"1.0\"?><SiPolicy xmlns=\"urn:schemas-microsoft-com:sipolicy\" " + attributes +
           "><PolicyID>" + id + "</PolicyID><BasePolicyID>" + baseId + "</BasePolicyID><Rules>" + rules +
           "</Rules><FileRules>" + fileRules + "</FileRules><Signers>" + signers + "</Signers><SigningScenarios>" +
           scenario("131", drivers) + scenario("12", userMode) + "</SigningScenarios></SiPolicy>";
  }
};

std::string Rule(const std::string& element, const std::string& id, const std::string& asks) {
  return "<" + element + " ID=\"" + id + "\" FriendlyName=\"\" " + asks + "/>";
}
std::string Refs(std::initializer_list<const char*> ids) {
  std::string refs;
  for (const char* const id : ids) refs += "<FileRuleRef RuleID=\"" + std::string(id) + "\"/>";
  return "<FileRulesRef>" + refs + "</FileRulesRef>";
}
std::string Signer(const std::string& id, const std::string& parts) {
  return "<Signer ID=\"" + id + "\" Name=\"n\"><CertRoot Type=\"TBS\" Value=\"00\"/>" + parts + "</Signer>";
}
std::string Denied(const std::string& id, const std::string& parts = "") {
  return "<DeniedSigners><DeniedSigner SignerId=\"" + id + "\">" + parts + "</DeniedSigner></DeniedSigners>";
}
std::string Allowed(const std::string& id, const std::string& parts = "") {
  return "<AllowedSigners><AllowedSigner SignerId=\"" + id + "\">" + parts + "</AllowedSigner></AllowedSigners>";
}
CkxTestImported Imported(const SkxTestPolicy& policy) { return {EkxImportKind::AppControl, policy.Xml()}; }

constexpr const char* kVendor = "<CertPublisher Value=\"Vendor\"/>";
const std::string kAllowAll = Rule("Allow", "ALL", "FileName=\"*\"");

TEST(AppControl, FileRulesDecide) {
  const std::string sha1(40, 'A');
  const std::string sha256(64, 'b');
  const CkxTestImported imported = Imported(
      {.fileRules = Rule("Allow", "path", "FilePath=\"%OSDRIVE%\\App*\\*\"") +
                    Rule("Allow", "hash", "Hash=\"" + sha256 + "\"") + Rule("Deny", "old", "Hash=\"" + sha1 + "\"") +
                    Rule("Deny", "range",
                         "FileName=\"tool.exe\" MinimumFileVersion=\"2.0.0.0\" MaximumFileVersion=\"2.5.0.0\"") +
                    Rule("Deny", "upto", "FileName=\"info.exe\" MinimumFileVersion=\"4.21.0.0\"") +
                    Rule("Allow", "from", "ProductName=\"Suite\" MinimumFileVersion=\"3.0.0.0\"") +
                    Rule("Allow", "mark", "FilePath=\"%SYSTEM32%\\7z??.exe\"") +
                    Rule("Deny", "unused", "FileName=\"unused.exe\""),
       .userMode = Refs({"path", "hash", "old", "range", "upto", "from", "mark"})});
  const std::string allowed = R"("kind":"file","path":"C:\\Apps\\x.exe",)";
  const std::vector<std::pair<std::string, const char*>> rows = {
      {allowed + R"("size":1)", "run"},
      {R"("kind":"file","path":"C:\\Other\\x.exe")", "block"},
      {R"("kind":"file","path":"C:\\Other\\x.dll")", "block"},
      {R"("kind":"file","path":"C:\\Other\\x.msi")", "-"},  // scripts and packages are not enforced
      {R"("kind":"file","path":"C:\\x.exe","hashes":{"AUTHENTICODE-SHA256":")" + sha256 + "\"}", "run"},
      {R"("kind":"file","path":"C:\\x.exe","hashes":{"SHA256":")" + sha256 + "\"}", "block"},
      {allowed + R"("hashes":{"AUTHENTICODE-SHA1":")" + sha1 + "\"}", "block"},
      {allowed + R"("fileVersion":"1.9.0.0","versionInfo":{"OriginalFilename":"TOOL.EXE"})", "run"},
      {allowed + R"("fileVersion":"2.0.0.0","versionInfo":{"OriginalFilename":"TOOL.EXE"})", "block"},
      {allowed + R"("fileVersion":"2.5.0.1","versionInfo":{"OriginalFilename":"TOOL.EXE"})", "run"},
      {allowed + R"("fileVersion":"4.21.0.0","versionInfo":{"OriginalFilename":"info.exe"})", "block"},
      {allowed + R"("fileVersion":"1.0.0.0","versionInfo":{"OriginalFilename":"info.exe"})", "block"},
      {allowed + R"("fileVersion":"4.22.0.0","versionInfo":{"OriginalFilename":"info.exe"})", "run"},
      {allowed + R"("versionInfo":{"OriginalFilename":"unused.exe"})", "run"},
      {R"("kind":"file","path":"C:\\x.exe","fileVersion":"3.0.0.0","versionInfo":{"ProductName":"Suite"})", "run"},
      {R"("kind":"file","path":"C:\\x.exe","fileVersion":"2.9.0.0","versionInfo":{"ProductName":"Suite"})", "block"},
      {R"("kind":"file","path":"C:\\Windows\\System32\\7z32.exe")", "run"},
      {R"("kind":"file","path":"C:\\Windows\\System32\\7z320.exe")", "block"},
  };
  for (const auto& [target, decision] : rows) EXPECT_EQ(imported.Decide("{" + target + "}"), decision) << target;
  EXPECT_EQ(imported.Rule("hash").status, Status::Exact);
  EXPECT_EQ(imported.Rule("path").status, Status::Approximate);  // who can write there
  EXPECT_EQ(imported.Rule("upto").status, Status::Approximate);
  EXPECT_EQ(imported.Rule("unused").status, Status::NotExpressed);
}

TEST(AppControl, SignersDecide) {
  const CkxTestImported imported = Imported(
      {.fileRules =
           kAllowAll + Rule("FileAttrib", "A",
                            "FileName=\"script.exe\" MinimumFileVersion=\"0.0.0.0\" MaximumFileVersion=\"9.0.0.0\""),
       .signers = Signer("S", std::string(kVendor) + "<FileAttribRef RuleID=\"A\"/>") +
                  Signer("W", "<CertPublisher Value=\"Worse\"/>"),
       .userMode = Refs({"ALL"}) + Denied("S") + Denied("W", "<ExceptAllowRule AllowRuleID=\"ALL\"/>")});
  constexpr SkxTestDecision kRows[] = {
      {R"("kind":"file","path":"C:\\x.exe")", "run"},
      {R"("kind":"file","path":"C:\\x.exe","signers":[{"name":"Vendor","status":4}])", "run"},
      {R"("kind":"file","path":"C:\\x.exe","signers":[{"name":"Vendor","status":4}],"fileVersion":"1.0.0.0","versionInfo":{"OriginalFilename":"Script.exe"})",
       "block"},
      {R"("kind":"file","path":"C:\\x.exe","fileVersion":"1.0.0.0","versionInfo":{"OriginalFilename":"Script.exe"})",
       "run"},
      {R"("kind":"file","path":"C:\\x.exe","signers":[{"name":"Worse","status":4}])", "run"},  // all of it is excepted
  };
  KxTest_ExpectDecisions(imported, kRows);
}

TEST(AppControl, ScriptsAreJudgedWhereTheyAreEnforced) {
  const std::string sha256(64, 'C');
  const CkxTestImported imported = Imported(
      {.fileRules = Rule("Allow", "h", "Hash=\"" + sha256 + "\""), .userMode = Refs({"h"}), .options = "Enabled:UMCI"});
  const std::string hashes = R"(","hashes":{"SHA256":")" + sha256 + "\"}";
  const std::vector<std::pair<std::string, const char*>> rows = {
      {R"("kind":"file","path":"C:\\x.ps1)" + hashes, "run"}, {R"("kind":"file","path":"C:\\x.ps1")", "block"},
      {R"("kind":"file","path":"C:\\x.bat")", "-"},           {R"("kind":"file","path":"C:\\x.msi)" + hashes, "run"},
      {R"("kind":"file","path":"C:\\x.msi")", "block"},       {R"("kind":"file","path":"C:\\x.exe)" + hashes, "block"},
  };
  for (const auto& [target, decision] : rows) EXPECT_EQ(imported.Decide("{" + target + "}"), decision) << target;
}

TEST(AppControl, AnAuditOnlyReports) {
  const CkxTestImported imported = Imported({.fileRules = Rule("Allow", "p", "FilePath=\"C:\\A\\*\""),
                                             .userMode = Refs({"p"}),
                                             .options = "Enabled:UMCI|Enabled:Audit Mode|Disabled:Script Enforcement"});
  constexpr SkxTestDecision kRows[] = {
      {R"("kind":"file","path":"C:\\A\\x.exe","user":{"sid":"S-1-5-21-1-2-3-4"})", "run"},
      {R"("kind":"file","path":"C:\\x.exe","user":{"sid":"S-1-5-21-1-2-3-4"})", "log"},
  };
  KxTest_ExpectDecisions(imported, kRows);
}

TEST(AppControl, WhatCannotBeSaidIsListed) {
  const std::string digits(40, '0');
  struct {
    const char* what;
    SkxTestPolicy policy;
    Status status;
    const char* reason;
  } const kRows[] = {
      {"another macro",
       {.fileRules = Rule("Allow", "R", "FilePath=\"%TEMP%\\*\""), .userMode = Refs({"R"})},
       Status::NotExpressed,
       "variable"},
      {"application ids",
       {.fileRules = Rule("Deny", "R", "FileName=\"a\" AppIDs=\"x\""), .userMode = Refs({"R"})},
       Status::NotExpressed,
       "AppIDs"},
      {"asks for nothing",
       {.fileRules = Rule("Allow", "R", ""), .userMode = Refs({"R"})},
       Status::NotExpressed,
       "nothing"},
      {"long text",
       {.fileRules = Rule("Allow", "R", "ProductName=\"" + std::string(257, 'x') + "\""), .userMode = Refs({"R"})},
       Status::NotExpressed,
       "too long"},
      {"variable without a separator",
       {.fileRules = Rule("Allow", "R", "FilePath=\"%WINDIR%Other\\*\""), .userMode = Refs({"R"})},
       Status::NotExpressed,
       "separator"},
      {"signer twice",
       {.signers = Signer("R", kVendor), .userMode = Allowed("R") + Allowed("R")},
       Status::Approximate,
       "twice"},
      {"hash", {.fileRules = Rule("Deny", "R", "Hash=\"12\""), .userMode = Refs({"R"})}, Status::NotExpressed, "SHA-1"},
      {"generic rule",
       {.fileRules = Rule("FileRule", "R", "FileName=\"a\""), .userMode = Refs({"R"})},
       Status::NotExpressed,
       "documented"},
      {"drivers",
       {.fileRules = Rule("Deny", "R", "FileName=\"a\""), .drivers = Refs({"R"})},
       Status::NotExpressed,
       "drivers"},
      {"no reference", {.fileRules = Rule("Deny", "R", "FileName=\"a\"")}, Status::NotExpressed, "refers"},
      {"nothing there", {.userMode = Refs({"R"})}, Status::NotExpressed, "not there"},
      {"there twice",
       {.fileRules = Rule("Deny", "R", "FileName=\"a\"") + Rule("Deny", "R", "FileName=\"b\""),
        .userMode = Refs({"R"})},
       Status::NotExpressed,
       "twice"},
      {"authority alone", {.signers = Signer("R", ""), .userMode = Allowed("R")}, Status::NotExpressed, "authority"},
      {"two publishers",
       {.signers = Signer("R", std::string(kVendor) + kVendor), .userMode = Allowed("R")},
       Status::NotExpressed,
       "authority"},
      {"purpose, allowed",
       {.signers = Signer("R", std::string(kVendor) + "<CertEKU ID=\"E\"/>"), .userMode = Allowed("R")},
       Status::NotExpressed,
       "CertEKU"},
      {"purpose, denied",
       {.signers = Signer("R", std::string(kVendor) + "<CertEKU ID=\"E\"/>"), .userMode = Denied("R")},
       Status::Approximate,
       "CertEKU"},
      {"maker, allowed",
       {.signers = Signer("R", std::string(kVendor) + "<CertOemID Value=\"E\"/>"), .userMode = Allowed("R")},
       Status::NotExpressed,
       "CertOemID"},
      {"signer by name",
       {.signers = Signer("R", kVendor), .userMode = Allowed("R")},
       Status::Approximate,
       "name alone"},
      {"package family, allowed",
       {.fileRules = Rule("Allow", "R", "PackageFamilyName=\"App_x\""), .userMode = Refs({"R"})},
       Status::NotExpressed,
       "digest"},
      {"package family, denied",
       {.fileRules = Rule("Deny", "R", "PackageFamilyName=\"App_x\""), .userMode = Refs({"R"})},
       Status::Approximate,
       "digest"},
      {"page hash",
       {.fileRules = "<Deny ID=\"R\" FriendlyName=\"x Hash Page Sha1\" Hash=\"" + digits + "\"/>",
        .userMode = Refs({"R"})},
       Status::NotExpressed,
       "pages"},
      {"page hash beside the whole",
       {.fileRules = "<Deny ID=\"R\" FriendlyName=\"x Hash Page Sha1\" Hash=\"" + digits +
                     "\"/><Deny ID=\"Q\" FriendlyName=\"x Hash Sha1\" Hash=\"" + digits + "\"/>",
        .userMode = Refs({"R", "Q"})},
       Status::Approximate,
       "Q tells"},
      {"user mode is off",
       {.fileRules = Rule("Deny", "R", "FileName=\"a\""), .userMode = Refs({"R"}), .options = "Enabled:X"},
       Status::NotExpressed,
       "user mode"},
      {"exception not there",
       {.signers = Signer("R", kVendor), .userMode = Allowed("R", "<ExceptDenyRule DenyRuleID=\"none\"/>")},
       Status::NotExpressed,
       "exception"},
  };
  for (const auto& row : kRows) {
    const CkxTestImported imported = Imported(row.policy);
    EXPECT_EQ(imported.Rule("R").status, row.status) << row.what;
    EXPECT_NE(KxImport_Report(imported.result.policy, false).find(row.reason), std::string::npos) << row.what;
  }
}

TEST(AppControl, PoliciesTogether) {
  const SkxTestPolicy open = {.fileRules = kAllowAll + Rule("Deny", "d", "FilePath=\"C:\\A\\D\\*\""),
                              .userMode = Refs({"ALL", "d"}),
                              .id = "{open}"};
  const SkxTestPolicy closed = {
      .fileRules = Rule("Allow", "a", "FilePath=\"C:\\A\\*\""), .userMode = Refs({"a"}), .id = "{closed}"};
  SkxTestPolicy more = {
      .fileRules = Rule("Allow", "m", "FilePath=\"C:\\M\\*\"") + Rule("Deny", "n", "FilePath=\"C:\\*\""),
      .userMode = Refs({"m", "n"}),
      .attributes = "PolicyType=\"Supplemental Policy\"",
      .id = "{more}",
      .baseId = "{closed}"};
  struct {
    const char* what;
    std::vector<SkxTestPolicy> policies;
    const char* decisions;  // of C:\A, C:\A\D, C:\M, C:\X
  } const kRows[] = {
      {"one that denies some", {open}, "run block run run"},
      {"one that allows some", {closed}, "run run block block"},
      {"both", {open, closed}, "run block block block"},
      {"with a supplement", {closed, more}, "run run run block"},
      {"all three", {more, open, closed}, "run block run block"},
  };
  for (const auto& row : kRows) {
    std::vector<SkxImportFile> files;
    for (const SkxTestPolicy& policy : row.policies) files.push_back({policy.id + ".xml", policy.Xml()});
    const CkxTestImported imported(EkxImportKind::AppControl, files);
    std::string decisions;
    for (const std::string folder : {"A", "A\\\\D", "M", "X"}) {
      decisions +=
          (decisions.empty() ? "" : " ") + imported.Decide(R"({"kind":"file","path":"C:\\)" + folder + R"(\\x.exe"})");
    }
    EXPECT_EQ(decisions, row.decisions) << row.what;
  }

  const auto fault = [](const std::vector<SkxTestPolicy>& policies) {
    std::vector<SkxImportFile> files;
    for (const SkxTestPolicy& policy : policies) files.push_back({std::to_string(files.size()), policy.Xml()});
    SkxImportResult result;
    std::string text;
    EXPECT_FALSE(KxImport(EkxImportKind::AppControl, files, {}, result, text));
    EXPECT_TRUE(result.document.empty());
    return text;
  };
  EXPECT_NE(fault({closed, closed}).find("each allow only some"), std::string::npos);
  EXPECT_NE(fault({open, more}).find("is not among the files"), std::string::npos);
  SkxTestPolicy audited = open;
  audited.options += "|Enabled:Audit Mode";
  EXPECT_NE(fault({closed, audited}).find("audited"), std::string::npos);
  SkxTestPolicy withScripts = open;
  withScripts.options = "Enabled:UMCI";
  EXPECT_NE(fault({closed, withScripts}).find("scripts"), std::string::npos);
}

}  // namespace
