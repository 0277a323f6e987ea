// AppLocker policies: each kind of rule, and what the documents that they become decide.
#include "tests/kx_publish/import/imported.h"

namespace {

using Status = EkxImportStatus;

constexpr const char* kEverybody = "S-1-1-0";

std::string Rule(const std::string& kind, const std::string& id, const std::string& action,
                 const std::string& condition, const std::string& exceptions = "",
                 const std::string& user = kEverybody) {
  return "<" + kind + " Id=\"" + id + "\" Name=\"rule " + id + "\" Description=\"\" UserOrGroupSid=\"" + user +
         "\" Action=\"" + action + "\"><Conditions>" + condition + "</Conditions>" +
         (exceptions.empty() ? "" : "<Exceptions>" + exceptions + "</Exceptions>") + "</" + kind + ">";
}
std::string Path(const std::string& path) { return "<FilePathCondition Path=\"" + path + "\"/>"; }
std::string PathRule(const std::string& id, const std::string& action, const std::string& path,
                     const std::string& exceptions = "", const std::string& user = kEverybody) {
  return Rule("FilePathRule", id, action, Path(path), exceptions, user);
}
std::string Publisher(const std::string& name, const std::string& product, const std::string& binary,
                      const std::string& low, const std::string& high) {
  return "<FilePublisherCondition PublisherName=\"" + name + "\" ProductName=\"" + product + "\" BinaryName=\"" +
         binary + "\"><BinaryVersionRange LowSection=\"" + low + "\" HighSection=\"" + high +
         "\"/></FilePublisherCondition>";
}
std::string Hash(const std::string& type, const std::string& data) {
  return "<FileHashCondition><FileHash Type=\"" + type + "\" Data=\"" + data +
         "\" SourceFileName=\"a\" SourceFileLength=\"1\"/></FileHashCondition>";
}
std::string Collection(const std::string& type, const std::string& rules, const std::string& mode = "Enabled") {
  return "<RuleCollection Type=\"" + type + "\" EnforcementMode=\"" + mode + "\">" + rules + "</RuleCollection>";
}
std::string Policy(const std::string& collections) {
  return "<AppLockerPolicy Version=\"1\">" + collections + "</AppLockerPolicy>";
}
CkxTestImported Imported(const std::string& xml) { return {EkxImportKind::AppLocker, xml}; }

TEST(AppLocker, PathsDecide) {
  const CkxTestImported imported = Imported(Policy(Collection(
      "Exe", PathRule("w", "Allow", "%WINDIR%\\*") + PathRule("p", "Allow", "%PROGRAMFILES%\\Vendor\\a*b.exe") +
                 PathRule("s", "Deny", "%SYSTEM32%\\bad.exe") + PathRule("h", "Allow", "%HOT%\\tool\\*") +
                 PathRule("o", "Allow", "%osdrive%\\Data\\*") + PathRule("u", "Allow", "\\\\srv\\pub\\*") +
                 PathRule("a", "Deny", "*\\Old\\run.exe"))));
  constexpr SkxTestDecision kRows[] = {
      {R"("kind":"file","path":"C:\\Windows\\notepad.exe")", "run"},
      {R"("kind":"file","path":"c:\\WINDOWS\\sub\\deep\\x.exe")", "run"},
      {R"("kind":"file","path":"C:\\WindowsOther\\x.exe")", "block"},
      {R"("kind":"file","path":"D:\\Windows\\x.exe")", "block"},
      {R"("kind":"file","path":"C:\\Windows\\System32\\bad.exe")", "block"},
      {R"("kind":"file","path":"C:\\Windows\\SysWOW64\\bad.exe")", "block"},
      {R"("kind":"file","path":"C:\\Windows\\System32\\sub\\bad.exe")", "run"},
      {R"("kind":"file","path":"C:\\Program Files\\Vendor\\ab.exe")", "run"},
      {R"("kind":"file","path":"C:\\Program Files (x86)\\Vendor\\axxb.exe")", "run"},
      {R"("kind":"file","path":"C:\\Program Files\\Vendor\\a1\\2b.exe")", "run"},
      {R"("kind":"file","path":"C:\\Program Files\\Vendor\\c1\\2b.exe")", "block"},
      {R"("kind":"file","path":"C:\\Program Files\\Vendor\\a.exe")", "block"},
      {R"("kind":"file","path":"E:\\tool\\x.exe","drives":{"E":"REMOVABLE"})", "run"},
      {R"("kind":"file","path":"E:\\tool\\x.exe","drives":{"E":"FIXED"})", "block"},
      {R"("kind":"file","path":"C:\\Data\\x.exe")", "run"},
      {R"("kind":"file","path":"C:\\Data\\Old\\run.exe")", "block"},
      {R"("kind":"file","path":"\\\\srv\\pub\\x.exe")", "run"},
      {R"("kind":"file","path":"C:\\elsewhere\\x.dll")", "-"},
      {R"("kind":"file","path":"C:\\elsewhere\\x.ps1")", "-"},
      {R"("kind":"process","path":"C:\\elsewhere\\x.exe")", "block"},
  };
  KxTest_ExpectDecisions(imported, kRows);
  EXPECT_EQ(imported.Rule("w").status, Status::Exact);
  EXPECT_EQ(imported.Rule("h").status, Status::Approximate);
}

TEST(AppLocker, PublishersDecide) {
  const std::string vendor = "O=&quot;VENDOR, INC.&quot;, L=TOWN, C=US";
  const CkxTestImported imported = Imported(Policy(Collection(
      "Exe", Rule("FilePublisherRule", "old", "Deny", Publisher(vendor, "SUITE", "EDIT.EXE", "*", "2.9.9.9")) +
                 Rule("FilePublisherRule", "range", "Deny", Publisher(vendor, "*", "*", "5.0.0.0", "5.1.0.0")) +
                 Rule("FilePublisherRule", "suite", "Allow", Publisher(vendor, "SUITE", "*", "1.0.0.0", "*")) +
                 Rule("FilePublisherRule", "system", "Allow",
                      Publisher("O=MICROSOFT CORPORATION, L=REDMOND, S=WASHINGTON, C=US", "*", "*", "*", "*")))));
  constexpr SkxTestDecision kRows[] = {
      {R"("kind":"file","path":"C:\\x.exe","signers":[{"name":"Vendor, Inc.","status":4}],"fileVersion":"3.0.0.0","versionInfo":{"ProductName":"Suite","OriginalFilename":"Edit.exe"})",
       "run"},
      {R"("kind":"file","path":"C:\\x.exe","signers":[{"name":"Vendor, Inc.","status":4}],"fileVersion":"2.9.9.9","versionInfo":{"ProductName":"Suite","OriginalFilename":"Edit.exe"})",
       "block"},
      {R"("kind":"file","path":"C:\\x.exe","signers":[{"name":"Vendor, Inc.","status":4}],"fileVersion":"2.0.0.0","versionInfo":{"ProductName":"Suite","OriginalFilename":"Other.exe"})",
       "run"},
      {R"("kind":"file","path":"C:\\x.exe","signers":[{"name":"Vendor, Inc.","status":4}],"fileVersion":"0.9.0.0","versionInfo":{"ProductName":"Suite","OriginalFilename":"Other.exe"})",
       "block"},
      {R"("kind":"file","path":"C:\\x.exe","signers":[{"name":"Vendor, Inc.","status":4}],"fileVersion":"5.1.0.0","versionInfo":{"ProductName":"Suite"})",
       "block"},
      {R"("kind":"file","path":"C:\\x.exe","signers":[{"name":"Vendor, Inc.","status":3}],"fileVersion":"3.0.0.0","versionInfo":{"ProductName":"Suite"})",
       "block"},
      {R"("kind":"file","path":"C:\\x.exe","fileVersion":"3.0.0.0","versionInfo":{"ProductName":"Suite"})", "block"},
      {R"("kind":"file","path":"C:\\x.exe","signers":[{"name":"Microsoft Windows","status":4}])", "run"},
      {R"("kind":"file","path":"C:\\x.exe","signers":[{"name":"Microsoft Corporation","status":4}])", "run"},
      {R"("kind":"file","path":"C:\\x.exe","signers":[{"name":"Microsoft Imitators","status":4}])", "block"},
  };
  KxTest_ExpectDecisions(imported, kRows);
  EXPECT_EQ(imported.Rule("suite").status, Status::Approximate);
}

TEST(AppLocker, HashesDecide) {
  const std::string digits(64, 'a');
  const std::string rules = Rule("FileHashRule", "h", "Allow", Hash("SHA256", "0x" + digits));
  const CkxTestImported imported = Imported(Policy(Collection("Exe", rules) + Collection("Script", rules)));
  const auto asked = [&](const std::string& path, const std::string& algorithm) {
    return imported.Decide(R"({"kind":"file","path":"C:\\)" + path + R"(","hashes":{")" + algorithm + R"(":")" +
                           digits + R"("}})");
  };
  EXPECT_EQ(asked("x.exe", "AUTHENTICODE-SHA256"), "run");
  EXPECT_EQ(asked("x.exe", "SHA256"), "block");  // which another file could have
  EXPECT_EQ(asked("x.ps1", "SHA256"), "run");
  EXPECT_EQ(asked("x.ps1", "AUTHENTICODE-SHA256"), "run");
}

TEST(AppLocker, CollectionsJudgeTheirOwnFiles) {
  const CkxTestImported imported = Imported(Policy(
      Collection("Script", PathRule("s", "Allow", "C:\\S\\*")) + Collection("Dll", PathRule("d", "Allow", "C:\\D\\*")) +
      Collection("Msi", Rule("FilePublisherRule", "m", "Allow", Publisher("*", "SUITE", "*", "2.0", "*"))) +
      Collection("Appx", Rule("FilePublisherRule", "x", "Allow",
                              Publisher("CN=Vendor, O=V, C=US", "Vendor.App", "*", "*", "*"))) +
      Collection("Exe", "")));
  constexpr SkxTestDecision kRows[] = {
      {R"("kind":"file","path":"C:\\S\\a.cmd")", "run"},
      {R"("kind":"file","path":"C:\\a.cmd")", "block"},
      {R"("kind":"file","path":"C:\\a.wsf")", "-"},
      {R"("kind":"file","path":"C:\\D\\a.ocx")", "run"},
      {R"("kind":"file","path":"C:\\a.dll")", "block"},
      {R"("kind":"file","path":"C:\\a.cpl")", "-"},
      {R"("kind":"file","path":"C:\\a.exe")", "-"},
      {R"("kind":"file","path":"C:\\a.msi","signers":[{"name":"V","status":4}],"msi":{"ProductName":"Suite","ProductVersion":"2.1"})",
       "run"},
      {R"("kind":"file","path":"C:\\a.msi","signers":[{"name":"V","status":4}],"msi":{"ProductName":"Suite","ProductVersion":"1.1"})",
       "block"},
      {R"("kind":"file","path":"C:\\a.appx","targetType":16,"signers":[{"name":"Vendor","status":4}],"appPackage":{"name":"Vendor.App","version":"1.0.0.0","publisher":"CN=Vendor"})",
       "run"},
      {R"("kind":"file","path":"C:\\a.appx","targetType":16,"signers":[{"name":"Vendor","status":4}],"appPackage":{"name":"Vendor.Other","version":"1.0.0.0","publisher":"CN=Vendor"})",
       "block"},
  };
  KxTest_ExpectDecisions(imported, kRows);
}

TEST(AppLocker, ModesSayWhatADenialDoes) {
  const std::string rules = PathRule("a", "Allow", "C:\\A\\*") + PathRule("d", "Deny", "C:\\A\\D\\*");
  struct {
    const char* mode;
    const char* denied;
  } const kModes[] = {{"Enabled", "block"}, {"NotConfigured", "block"}, {"AuditOnly", "log"}, {"Strange", "block"}};
  for (const auto& row : kModes) {
    const CkxTestImported imported = Imported(Policy(Collection("Exe", rules, row.mode)));
    for (const char* const user :
         {"", R"(,"user":{"sid":"S-1-5-21-1-2-3-4"})", R"(,"user":{"sid":"S-1-5-18","admin":true})"}) {
      const auto decide = [&](const std::string& path) {
        return imported.Decide(R"({"kind":"file","path":"C:\\)" + path + "\"" + user + "}");
      };
      if (std::string(row.mode) == "AuditOnly" && *user == 0) continue;  // nobody's events are collected
      EXPECT_EQ(decide(R"(A\\x.exe)"), "run") << row.mode;
      EXPECT_EQ(decide(R"(A\\D\\x.exe)"), row.denied) << row.mode << user;
      EXPECT_EQ(decide(R"(B\\x.exe)"), row.denied) << row.mode << user;
    }
  }
  // A collection that nothing configures does not stop another one's audit; an enforced one does.
  const std::vector<SkxImportFile> files = {{"1.xml", Policy(Collection("Exe", rules, "AuditOnly"))},
                                            {"2.xml", Collection("Exe", "", "NotConfigured")},
                                            {"3.xml", Collection("Exe", "")}};
  EXPECT_TRUE(CkxTestImported(EkxImportKind::AppLocker, {files[0], files[1]}).result.policy.sets[0].isAudit);
  const CkxTestImported mixed(EkxImportKind::AppLocker, files);
  EXPECT_FALSE(mixed.result.policy.sets[0].isAudit);
  EXPECT_EQ(mixed.result.policy.notes.size(), 1U);
}

TEST(AppLocker, GroupsHaveTheirRules) {
  const CkxTestImported imported = Imported(Policy(
      Collection("Exe", PathRule("all", "Allow", "C:\\All\\*") + PathRule("admins", "Allow", "*", "", "S-1-5-32-544") +
                            PathRule("guests", "Deny", "C:\\All\\G\\*", "", "S-1-5-32-546"))));
  constexpr SkxTestDecision kRows[] = {
      {R"("kind":"file","path":"C:\\All\\x.exe","user":{"sid":"S-1-5-21-1-2-3-4"})", "run"},
      {R"("kind":"file","path":"C:\\x.exe","user":{"sid":"S-1-5-21-1-2-3-4"})", "block"},
      {R"("kind":"file","path":"C:\\x.exe","user":{"sid":"S-1-5-21-1-2-3-4","groups":["S-1-5-32-544"]})", "run"},
      {R"("kind":"file","path":"C:\\All\\G\\x.exe","user":{"sid":"S-1-5-21-1-2-3-4","groups":["S-1-5-32-544"]})",
       "run"},
      {R"("kind":"file","path":"C:\\All\\G\\x.exe","user":{"sid":"S-1-5-21-1-2-3-4","groups":["S-1-5-32-546"]})",
       "block"},
      {R"("kind":"file","path":"C:\\All\\G\\x.exe","user":{"sid":"S-1-5-21-1-2-3-4","groups":["S-1-5-32-546","S-1-5-32-544"]})",
       "block"},
      {R"("kind":"file","path":"C:\\x.exe")", "block"},
  };
  KxTest_ExpectDecisions(imported, kRows);
}

/// Nothing that is not understood passes for something else.
TEST(AppLocker, WhatCannotBeSaidIsListed) {
  const std::string digits(64, '0');
  const std::string good = Path("C:\\x\\*");
  struct {
    const char* what;
    std::string collection;
    std::string rule;
    const char* reason;
  } const kRows[] = {
      {"action", "Exe", PathRule("r", "Maybe", "*"), "action"},
      {"user", "Exe", PathRule("r", "Allow", "*", "", "Everyone"), "SID"},
      {"variable", "Exe", PathRule("r", "Allow", "%TEMP%\\*"), "variable"},
      {"question mark", "Exe", PathRule("r", "Allow", "C:\\?\\*"), "question mark"},
      {"relative path", "Exe", PathRule("r", "Allow", "x.exe"), "begins with"},
      {"folder", "Exe", PathRule("r", "Allow", "C:\\x\\"), "folder"},
      {"asterisks", "Exe", PathRule("r", "Allow", "C:\\*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a"), "asterisks"},
      {"no condition", "Exe", Rule("FilePathRule", "r", "Allow", ""), "one condition"},
      {"two conditions", "Exe", Rule("FilePathRule", "r", "Allow", good + good), "one condition"},
      {"condition", "Exe", Rule("FilePathRule", "r", "Allow", "<Later/>"), "Later"},
      {"exception", "Exe", Rule("FilePathRule", "r", "Allow", good, "<PLACEHOLDER/>"), "PLACEHOLDER"},
      {"attribute", "Exe", Rule("FilePathRule", "r", "Allow", "<FilePathCondition Path=\"*\" Only=\"1\"/>"), "Only"},
      {"organisation", "Exe", Rule("FilePublisherRule", "r", "Allow", Publisher("L=TOWN", "*", "*", "*", "*")),
       "publisher"},
      {"open quotation", "Exe",
       Rule("FilePublisherRule", "r", "Allow", Publisher("O=&quot;A, L=T", "*", "*", "*", "*")), "publisher"},
      {"part of a name", "Exe", Rule("FilePublisherRule", "r", "Allow", Publisher("*", "SUI*", "*", "*", "*")),
       "asterisk"},
      {"version", "Exe", Rule("FilePublisherRule", "r", "Allow", Publisher("*", "*", "*", "1.x", "*")), "version"},
      {"large version", "Exe", Rule("FilePublisherRule", "r", "Allow", Publisher("*", "*", "*", "65536", "*")),
       "version"},
      {"five parts", "Exe", Rule("FilePublisherRule", "r", "Allow", Publisher("*", "*", "*", "1.2.3.4.5", "*")),
       "version"},
      {"bounds", "Exe", Rule("FilePublisherRule", "r", "Allow", Publisher("*", "*", "*", "2.0", "1.0")), "lowest"},
      {"script's product", "Script", Rule("FilePublisherRule", "r", "Allow", Publisher("*", "P", "*", "*", "*")),
       "scripts"},
      {"package's path", "Appx", PathRule("r", "Allow", "*"), "packages"},
      {"package's program", "Appx", Rule("FilePublisherRule", "r", "Allow", Publisher("*", "P", "B", "*", "*")),
       "program"},
      {"hash algorithm", "Exe", Rule("FileHashRule", "r", "Allow", Hash("SHA1", "0x" + digits)), "SHA-256"},
      {"hash digits", "Exe", Rule("FileHashRule", "r", "Allow", Hash("SHA256", "0x" + digits + "0")), "SHA-256"},
      {"no hash", "Exe", Rule("FileHashRule", "r", "Allow", "<FileHashCondition/>"), "no hash"},
      {"collection", "Fonts", PathRule("r", "Allow", "*"), "type"},
  };
  for (const auto& row : kRows) {
    const CkxTestImported imported = Imported(Policy(Collection(row.collection, row.rule)));
    const SkxImportedRule& rule = imported.Rule("r");
    EXPECT_EQ(rule.status, Status::NotExpressed) << row.what;
    EXPECT_NE(KxImport_Report(imported.result.policy, false).find(row.reason), std::string::npos) << row.what;
    for (const SkxPolicyModel& policy : imported.publication.policies) {
      EXPECT_EQ(policy.action, EkxPolicyAction::Block) << row.what;  // no allowance came of it
    }
  }
}

// --- exceptions ---

TEST(AppLocker, ExceptionsLeaveTheRestToOtherRules) {
  struct {
    const char* what;
    std::string rules;
    std::vector<std::pair<const char*, const char*>> decisions;  // by folder of C:\F\x.exe
  } const kRows[] = {
      {"an allow rule", PathRule("1", "Allow", "*", Path("C:\\E\\*")), {{"A", "run"}, {"E", "block"}}},
      {"another rule allows the exception",
       PathRule("1", "Allow", "*", Path("C:\\E\\*")) + PathRule("2", "Allow", "C:\\E\\In\\*"),
       {{"A", "run"}, {"E", "block"}, {"E\\\\In", "run"}}},
      {"another rule with exceptions allows it",
       PathRule("1", "Allow", "*", Path("C:\\E\\*")) +
           PathRule("2", "Allow", "C:\\E\\In\\*", Path("C:\\E\\In\\Not\\*")),
       {{"A", "run"}, {"E", "block"}, {"E\\\\In", "run"}, {"E\\\\In\\\\Not", "block"}}},
      {"a deny rule, everything allowed",
       PathRule("1", "Deny", "C:\\D\\*", Path("C:\\D\\E\\*")) + PathRule("2", "Allow", "*"),
       {{"A", "run"}, {"D", "block"}, {"D\\\\E", "run"}}},
      {"a deny rule, nothing allowed there",
       PathRule("1", "Deny", "C:\\D\\*", Path("C:\\D\\E\\*")) + PathRule("2", "Allow", "C:\\A\\*"),
       {{"A", "run"}, {"D", "block"}, {"D\\\\E", "block"}}},
      {"a deny rule, a part allowed",
       PathRule("1", "Deny", "C:\\D\\*", Path("C:\\D\\E\\*")) + PathRule("2", "Allow", "C:\\D\\E\\In\\*"),
       {{"D", "block"}, {"D\\\\E", "block"}, {"D\\\\E\\\\In", "run"}}},
      {"another rule denies the exception",
       PathRule("1", "Deny", "C:\\D\\*", Path("C:\\D\\E\\*")) + PathRule("2", "Deny", "C:\\D\\E\\Not\\*") +
           PathRule("3", "Allow", "*"),
       {{"D", "block"}, {"D\\\\E", "run"}, {"D\\\\E\\\\Not", "block"}}},
  };
  for (const auto& row : kRows) {
    const CkxTestImported imported = Imported(Policy(Collection("Exe", row.rules)));
    EXPECT_EQ(KxImport_Count(imported.result.policy, "a.xml").exact, imported.result.policy.sets[0].rules.size())
        << row.what;
    for (const auto& [folder, decision] : row.decisions) {
      EXPECT_EQ(imported.Decide(R"({"kind":"file","path":"C:\\)" + std::string(folder) + R"(\\x.exe"})"), decision)
          << row.what << ": " << folder;
    }
  }
}

TEST(AppLocker, ExceptionsByPublisherAreConditionsToo) {
  const CkxTestImported imported = Imported(Policy(Collection(
      "Exe", Rule("FilePathRule", "d", "Deny", Path("C:\\D\\*"), Publisher("O=GOOD, C=US", "*", "*", "*", "*")) +
                 PathRule("a", "Allow", "C:\\*"))));
  constexpr SkxTestDecision kRows[] = {
      {R"("kind":"file","path":"C:\\D\\x.exe")", "block"},
      {R"("kind":"file","path":"C:\\D\\x.exe","signers":[{"name":"Good","status":4}])", "run"},
      {R"("kind":"file","path":"E:\\x.exe","signers":[{"name":"Good","status":4}])", "block"},
      {R"("kind":"file","path":"C:\\x.exe")", "run"},
  };
  KxTest_ExpectDecisions(imported, kRows);
}

}  // namespace
