#include "Agent/engine/kx_publish/document/target_document_out.h"

#include <gtest/gtest.h>
#include <kx_util/target_info_kinds.h>

#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/target_document.h"

namespace {

using nlohmann::json;

json WrittenAgain(const CkxTargetDocument& document) {
  const CkxMachineFactsScope machine(document.Machine());
  return json(KxTargetDocument_Write(static_cast<const CkxTargetInfoFile&>(document.Target())));
}

TEST(TargetDocumentOut, WritesWhatWasRead) {
  for (
      const char* const text : {
          R"({"kind": "file", "path": "C:\\a.exe", "targetType": 3, "executionLevel": "requireAdministrator", "program": {},
               "user": {"sid": "S-1-0-0"}})",
          R"({"kind": "file", "path": "H:\\Dir\\Ünï.txt", "targetType": 0, "size": 0, "modified": 133000000000000000,
               "hashes": {"SHA1": "9A", "SHA256": "0F"},
               "signers": [{"name": "Vendör", "status": "valid"}, {"status": "weak"}],
               "owner": "S-1-5-18", "ownerName": "NT AUTHORITY\\SYSTEM", "fileVersion": "1.2.3.4",
               "versionInfo": {"CompanyName": "Vendör", "ProductVersion": ""}, "msi": {"ProductVersion": "3"},
               "appPackage": {"name": "Vendor.App", "version": "1.0.0.0", "publisher": "CN=Vendör",
                              "capabilities": ["webcam"]},
               "program": {"machine": 332, "subsystem": 3, "managed": true, "runtimeVersion": "v4.0.30319"},
               "media": {"type": "USB", "vendor": "Vendör", "product": "", "serialNumber": "00A7"},
               "drives": {"H": "REMOTE"}, "mappedDrives": {"H": "\\\\server\\share"},
               "user": {"sid": "S-1-5-21-1-2-3-1001", "groups": ["S-1-5-32-545"],
                        "denyOnlyGroups": ["S-1-5-32-544"], "admin": true}})",
          R"({"kind": "process", "path": "C:\\Dir\\app.exe", "targetType": 3, "pid": 4711,
               "commandLine": "app \"x y\"", "services": "Spooler/Netlogon",
               "drives": {"C": "FIXED", "D": "CDROM"}, "windowsFolder": "C:\\WinNT",
               "user": {"sid": "S-1-5-18"},
               "parent": {"kind": "process", "path": "C:\\explorer.exe", "targetType": 3,
                          "user": {"sid": "S-1-5-21-1-2-3-1001", "groups": ["S-1-5-32-545"]},
                          "parent": {"kind": "file", "path": "System", "targetType": 0,
                                     "signers": [{"status": "system"}, {"status": "system"}]}},
               "linked": [{"kind": "process", "path": "D:\\a.txt", "targetType": 4, "pid": 4711, "commandLine": "a 1"},
                          {"kind": "file", "path": "C:\\a.msix", "targetType": 20, "appPackage": {}, "media": {}}]})",
      }) {
    SCOPED_TRACE(text);
    EXPECT_EQ(WrittenAgain(CkxTargetDocument::Parse(text)).dump(1), json::parse(text).dump(1));
  }
}

/// Signers are told by their places, so that one of which nothing is known takes the second one's with it.
TEST(TargetDocumentOut, LeavesOutWhatIsUnknown) {
  const json written = WrittenAgain(CkxTargetDocument::Parse(
      R"({"kind": "file", "path": "C:\\a.exe", "signers": [{"name": "A"}, {"name": "B", "status": "valid"}],
          "drives": {"C": "REMOTE", "D": "FIXED"}})"));
  EXPECT_FALSE(written.contains("signers"));
  EXPECT_EQ(written["drives"], json({{"C", "REMOTE"}})) << "those that are concerned";
}

TEST(TargetDocumentOut, RefusesWhatDocumentsCannotHold) {
  SkxFileFacts facts;
  facts.path = KXW("C:\\\xD800.exe");
  EXPECT_THROW(KxTargetDocument_Write(CkxTargetInfoFile(facts, nullptr)), CkxDocumentFault);

  CkxTargetInfoProcess process(SkxFileFacts(), SkxProcessFacts(), nullptr);
  process.AddLinked(CkxTargetInfoPtr(new CkxTargetInfoElevator(2, KXW("http://x"), nullptr)));
  EXPECT_THROW(KxTargetDocument_Write(process), CkxDocumentFault);
}

}  // namespace
