#include "Agent/engine/kx_util/target/com_server.h"

#include <gtest/gtest.h>

#include <kx_util/target_info_kinds.h>

#include "Common_CPP/registry/registry.h"
#include "tests/support/recorded_facts.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/utf8.h"

namespace {

constexpr const WCHAR* kClass = KXW("{5B1E6A0C-3B0B-4E0E-9C55-7D3C0A5B7E11}");

/// A class that this machine has registered, for as long as it lives.
class CkxRegisteredClass {
 public:
  CkxRegisteredClass() { _machine.windowsFolder = KXW("C:\\Windows"); }
  ~CkxRegisteredClass() {
    Set(KXW("LocalServer32"), nullptr);
    Set(KXW("InprocServer32"), nullptr);
  }

  void Set(const WCHAR* server, const WCHAR* registered) {
    const KxWString key = KXW("SOFTWARE\\Classes\\CLSID\\") + KxWString(kClass) + KXW("\\") + server;
    ASSERT_TRUE(registered != nullptr ? KxRegistry_SetText(key, {}, registered) : KxRegistry_Remove(key, {}));
  }

  static std::string File(EkxComUse use, const WCHAR* classId = kClass) {
    return KxText_ToUtf8(KxComServer_File(classId, use).value_or(KXW("<none>")));
  }

 private:
  const CkxRuntimeFolderScope _folder;
  CkxRecordedMachine _machine;
  const CkxMachineFactsScope _scope{_machine};
};

TEST(ComServer, IsWhatTheMachineHasRegistered) {
  static constexpr struct {
    const WCHAR* program;
    const WCHAR* library;
    const char* elevated;
    const char* control;
  } kRows[] = {
      {nullptr, nullptr, "<none>", "<none>"},
      {KXW("C:\\a.exe"), KXW("C:\\a.dll"), "C:\\a.exe", "C:\\a.dll"},
      {KXW("C:\\a.exe /x"), nullptr, "C:\\a.exe", "C:\\a.exe"},
      {nullptr, KXW(" \"C:\\b c.dll\" "), "C:\\b c.dll", "C:\\b c.dll"},
      {KXW("\"C:\\Program Files\\b c.exe\" -Embedding"), nullptr, "C:\\Program Files\\b c.exe",
       "C:\\Program Files\\b c.exe"},
      {KXW("C:\\Program Files\\b c.EXE -Embedding a.exe"), nullptr, "C:\\Program Files\\b c.EXE",
       "C:\\Program Files\\b c.EXE"},
      {KXW("C:\\no extension here"), nullptr, "C:\\no", "C:\\no"},
      {nullptr, KXW("%SystemRoot%\\System32\\x.dll"), "C:\\Windows\\System32\\x.dll", "C:\\Windows\\System32\\x.dll"},
      {nullptr, KXW("%programfiles%\\x y.dll"), "C:\\Program Files\\x y.dll", "C:\\Program Files\\x y.dll"},
      {nullptr, KXW("%SystemDrive%\\x%windir%.dll"), "C:\\xC:\\Windows.dll", "C:\\xC:\\Windows.dll"},
      {nullptr, KXW("%PATH%\\x.dll"), "<none>", "<none>"},  // an environment is whoever's the process is
      {nullptr, KXW("%x.dll"), "<none>", "<none>"},
      {nullptr, KXW("ole.dll"), "C:\\Windows\\System32\\ole.dll", "C:\\Windows\\System32\\ole.dll"},
      {KXW(""), KXW("C:\\a.dll"), "C:\\a.dll", "C:\\a.dll"},
      {KXW("\""), KXW("C:\\a.dll"), "C:\\a.dll", "C:\\a.dll"},
  };
  CkxRegisteredClass registered;
  for (const auto& row : kRows) {
    registered.Set(KXW("LocalServer32"), row.program);
    registered.Set(KXW("InprocServer32"), row.library);
    EXPECT_EQ(registered.File(EkxComUse::Elevated), row.elevated) << KxTest_Utf8(row.program);
    EXPECT_EQ(registered.File(EkxComUse::Control), row.control) << KxTest_Utf8(row.library);
  }
  registered.Set(KXW("LocalServer32"), KXW("C:\\a.exe"));
  for (const WCHAR* const wrong : {KXW(""), KXW("x"), KXW("..\\CLSID\\{5B1E6A0C-3B0B-4E0E-9C55-7D3C0A5B7E11}")}) {
    EXPECT_EQ(registered.File(EkxComUse::Elevated, wrong), "<none>");
  }
}

TEST(ComServer, IsDescribedWhereARequestNamesNoFile) {
  CkxRegisteredClass registered;
  registered.Set(KXW("LocalServer32"), KXW("C:\\no\\such\\program.exe"));
  registered.Set(KXW("InprocServer32"), KXW("C:\\no\\such\\library.dll"));
  const auto path = [](CkxConsentData::Kind kind, const WCHAR* named) {
    CkxConsentData consent;
    consent.kind = kind;
    consent.path = named;
    consent.classId = kClass;
    const CkxTargetInfoPtr target(CkxTargetInfo::CreateFromConsentData(consent, 1));
    return KxTest_Utf8(target->QueryPathProvider()->GetPath());
  };
  EXPECT_EQ(path(CkxConsentData::Kind::Com, nullptr), "C:\\no\\such\\program.exe");
  EXPECT_EQ(path(CkxConsentData::Kind::ActiveX, KXW("")), "C:\\no\\such\\library.dll");
  EXPECT_EQ(path(CkxConsentData::Kind::Com, KXW("C:\\named.exe")), "C:\\named.exe");
}

}  // namespace
