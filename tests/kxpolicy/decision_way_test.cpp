// One decision the whole way, on a live machine: published, made, stamped on a token, kept in the process map, read
// back for a child, and told to the user once.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kx_util/proc_map.h>
#include <kx_util/shared_configuration.h>
#include <kx_util/shared_policies_data.h>

#include <latch>
#include <nlohmann/json.hpp>

#include "Common_CPP/file/file.h"
#include "Common_CPP/token_security_attributes/token_security_attributes.h"
#include "Common_CPP/util/guid.h"
#include "Common_CPP/util/host_name.h"
#include "Common_CPP/util/message_box.h"
#include "Common_CPP/util/text.h"
#include "tests/kxpolicy/served.h"
#include "tests/support/fake_token_attributes.h"
#include "tests/support/process_resources.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/stopped_program.h"
#include "tests/support/trace_capture.h"

namespace {

using nlohmann::json;

constexpr EkxRestrictedAccessTargetType kSomeRestriction{3};

/// A process of this machine as the system tells of it.
class LiveProcess {
 public:
  explicit LiveProcess(uint32_t pid) {
    EkxProcessLookup lookup = EkxProcessLookup::Refused;
    _description = CkxTargetInfoProcess::CreateFromPid(pid, lookup);
    if (lookup != EkxProcessLookup::Found) throw std::runtime_error("no process");
  }
  const CkxTargetInfoProcess& Target() const { return dynamic_cast<const CkxTargetInfoProcess&>(*_description); }
  void* Token() const { return _description->UserToken(); }
  KxWString Path() const { return _description->QueryPathProvider()->GetPath(); }

 private:
  CkxTargetInfoPtr _description;
};

std::string NameOfFile(const KxWString& path) {
  const std::string text = KxText_ToUtf8(path);
  return text.substr(text.find_last_of("\\/") + 1);
}

/// Programs of that name run elevated, and so does what they start; their users are told what they may not open.
std::string Policies(const std::string& program) {
  const json document = {
      {"policies",
       {{{"id", 6},
         {"name", "Settings"},
         {"action", "configuration"},
         {"configurationXml", "<Configuration><Restriction><Dialog>true</Dialog></Restriction></Configuration>"},
         {"messagesXml",
          "<Messages><Message id=\"Restricted\">%1 may not open this on "
          "&lt;$HOSTNAME&gt;</Message></Messages>"}},
        {{"id", 7},
         {"name", "Tools of administrators"},
         {"action", "elevate"},
         {"alerts", {{{"trigger", 2}, {"id", "Restricted"}}}},
         {"targets", {{{"type", "executable"}, {"fileName", program}, {"inheritable", true}}}}}}},
      {"alerts", {{{"name", "Restricted"}, {"type", "balloon"}}}},
      {"applicable", {{"*", {7}}}}};
  return document.dump();
}

/// What the system does with the marks of a token when a process starts. Where the test runs nobody does it: systems
/// other than Windows have no tokens, and Wine's keep no marks.
void HandDownMarks(void* token, void* childToken) {
  std::vector<SkxTokenAttribute> marks;
  ASSERT_TRUE(CkxTokenSecurityAttributes::List(token, marks));
  for (const SkxTokenAttribute& mark : marks) {
    if ((mark.flags & KxTokenNonInheritable) == 0) {
      ASSERT_TRUE(CkxTokenSecurityAttributes::Set(childToken, mark));
    }
  }
}

/// What the user in front of the machine is shown.
class Screen {
 public:
  Screen() : _before(KxMessageBox_SetHook(Show)) { Shown().clear(); }
  ~Screen() { KxMessageBox_SetHook(_before); }
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  static std::vector<std::string>& Shown() {
    static std::vector<std::string> shown;
    return shown;
  }

 private:
  static void Show(CkxTextView /*title*/, CkxTextView text) {
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    Shown().push_back(KxText_ToUtf8(text));
  }
  const KxMessageBoxHook _before;
};

/// Whether this asker is the one that shows it.
bool ShowUnlessShown(uint32_t pid, const KxWString& text) {
  bool wasShown = true;
  if (!KxUtilProcMap_GetAndSetRestrDlgFlag(pid, kSomeRestriction, wasShown) || wasShown) return false;
  KxMessageBox_Show(nullptr, KXW("Restricted"), text.c_str());
  return true;
}

/// Each leg of the way, in its order.
class DecisionWay : public testing::Test {
 public:
  void Publish() {
    const std::string image = KxTest_PathText(_work.Path() / "image");
    ASSERT_EQ(KxTest_RunTool({"compile", "-", "-o", image}, Policies(NameOfFile(_path))).code, 0);
    _served.emplace(image);
  }

  /// Asks until there is an answer.
  void Decide() {
    for (int tries = 0; tries < 10000; ++tries) {
      if (CkxSharedPoliciesData::GetTargetPolicyAction(_process.Target(), _info)) break;
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    ASSERT_EQ(uint32_t{_info.PolicyId}, 7u);  // out of the packed record, as below
    ASSERT_EQ(EkxPolicyAction{_info.PolicyAction}, EkxPolicyAction::Elevate);
    ASSERT_TRUE(_info.Inheritable != 0);
  }

  void StampAndKeep() {
    _fake.tokens[_process.Token()];
    ASSERT_TRUE(Stamp().SetToToken(_process.Token(), _info.Inheritable != 0));
    ASSERT_TRUE(KxUtilProcMap_OnProcessStart(_pid, 0, 0, _path, {}, {}, 0));
    ASSERT_TRUE(KxUtilProcMap_SetPolicyData(_pid, SkxProcessPolicyData(_info)));
  }

  void StartChild() {
    _started.emplace(_path, std::vector<std::string>{"child"}, KxFile_FullPath(KXW(".")).value());
    _child.emplace(_started->Pid());
    ASSERT_TRUE(KxUtilProcMap_OnProcessStart(_started->Pid(), _pid, 0, _path, {}, KXW("child"), 0));
    _fake.tokens[_child->Token()];
    HandDownMarks(_process.Token(), _child->Token());
  }

  void ReadBackFromTheMap() {
    CkxProcessData parent;
    ASSERT_TRUE(KxUtilProcMap_FindParentProcessData(_child->Target(), parent));
    EXPECT_EQ(parent.Pid, _pid);
    ASSERT_TRUE(parent.PolicyDataInitialized());
    EXPECT_EQ(std::memcmp(&parent.PolicyData.ShortInfo, &_info, sizeof(_info)), 0);
    SkxProcessPolicyData own;
    EXPECT_EQ(KxUtilProcMap_GetPolicyData(_started->Pid(), own), EkxGetCachedPropRes::NotStored) << "not decided yet";
  }

  void ReadBackFromTheToken() {
    CkxTokenPolicyData read;
    ASSERT_TRUE(read.GetFromToken(_child->Token()));
    EXPECT_EQ(read.GetPid(), _pid);
    const SkxTriggerPolicyShortInfo info(read);
    EXPECT_EQ(uint32_t{info.PolicyId}, uint32_t{_info.PolicyId});
    EXPECT_EQ(EkxPolicyAction{info.PolicyAction}, EkxPolicyAction{_info.PolicyAction});
    const GUID target = info.PolicyTargetId;
    const GUID decided = _info.PolicyTargetId;
    EXPECT_EQ(KxGuid_ToUtf8(target), KxGuid_ToUtf8(decided));
    EXPECT_TRUE(info.Inheritable != 0);
    ASSERT_TRUE(KxUtilProcMap_SetPolicyData(_started->Pid(), SkxProcessPolicyData(info)));
  }

  void KeepFromTheChild() {
    ASSERT_TRUE(CkxTokenPolicyData::DeleteFromToken(_child->Token()));
    ASSERT_TRUE(Stamp().SetToToken(_process.Token(), false));
    HandDownMarks(_process.Token(), _child->Token());
    CkxTokenPolicyData read;
    EXPECT_FALSE(read.GetFromToken(_child->Token())) << "it is not inherited";
    EXPECT_TRUE(read.GetFromToken(_process.Token()));
  }

  /// That the policy asks for one, and what it says in the words of the configuration.
  void ReadTheAlert() {
    CkxShBufPolicy* found = nullptr;
    ASSERT_TRUE(CkxSharedPoliciesData::GetPolicyById(_info.PolicyId, found));
    const CkxShBufPolicyPtr policy(found);
    ASSERT_EQ(policy->Alerts().Count(), 1u);
    const SkxPolicyAlertLink link = policy->Alerts().GetAt(0);
    CkxShBufCustGuiBase* alert = nullptr;
    ASSERT_TRUE(policy->GetAlert(link.trigger, link.type, alert));
    alert->Release();
    bool isDialog = false;
    ASSERT_TRUE(CkxSharedConfig::GetConfigValue(KXW("Restriction/Dialog"), isDialog, nullptr) && isDialog);

    const CkxMessageScope ofAProcess(nullptr, nullptr);
    const KxWString name = *KxText_FromUtf8(NameOfFile(_path));
    for (const KxWString& host : {KxWString(KXW("<$HOSTNAME>")), KxHost_NetBiosName().value()}) {
      CkxUtilStr text;  // the first of a process keeps its mark
      ASSERT_TRUE(CkxSharedConfig::GetMessageW("Restricted", name.c_str(), text));
      _text = text.View().ToString();
      EXPECT_EQ(KxText_ToUtf8(_text), KxText_ToUtf8(name + KXW(" may not open this on ") + host));
    }
  }

  /// However many find the child restricted at once.
  void ShowItOnce() {
    const Screen screen;
    std::atomic<int> winners{0};
    {
      constexpr int kAskers = 8;
      std::latch begin(kAskers);
      std::vector<std::jthread> askers;
      for (int i = 0; i < kAskers; ++i) {
        askers.emplace_back([&] {
          begin.arrive_and_wait();
          winners += ShowUnlessShown(_started->Pid(), _text) ? 1 : 0;
        });
      }
    }
    EXPECT_EQ(winners, 1);
    EXPECT_FALSE(ShowUnlessShown(_started->Pid(), _text)) << "nor to anybody who comes later";
    EXPECT_THAT(Screen::Shown(), testing::ElementsAre(KxText_ToUtf8(_text)));
    EXPECT_TRUE(ShowUnlessShown(_pid, _text)) << "each process has its own";
  }

  /// The decision of the parent is there for as long as its child runs.
  void End() {
    CkxProcessData parent;
    ASSERT_TRUE(KxUtilProcMap_OnProcessEnd(_pid));
    ASSERT_TRUE(KxUtilProcMap_FindParentProcessData(_child->Target(), parent));
    EXPECT_EQ(parent.PolicyData.ShortInfo.PolicyId, 7u);
    ASSERT_TRUE(KxUtilProcMap_OnProcessEnd(_started->Pid()));
    EXPECT_FALSE(KxUtilProcMap_FindParentProcessData(_child->Target(), parent));
    EXPECT_EQ(_served->Stop().code, 0);
  }

 private:
  CkxTokenPolicyData Stamp() const { return CkxTokenPolicyData(false, _pid, _info); }

  const CkxTraceCapture _quiet;
  const CkxRuntimeFolderScope _runtime;
  const CkxTempFolder _work;
  CkxFakeTokenAttributes _fake;  // for tokens of the system; where those are ours, they keep their marks themselves
  const LiveProcess _process{KxTest_ProcessId()};
  const uint32_t _pid = _process.Target().Pid();
  const KxWString _path = _process.Path();
  SkxTriggerPolicyShortInfo _info;
  KxWString _text;
  std::optional<CkxServedImage> _served;
  std::optional<CkxStoppedProgram> _started;
  std::optional<LiveProcess> _child;
};

/// Under Wine the marks go onto tokens of a faked system: those of its own keep none.
TEST_F(DecisionWay, FromThePublishedPolicyToTheDialogThatIsShownOnce) {
  using Way = DecisionWay;
  constexpr void (Way::*kLegs[])() = {&Way::Publish,
                                      &Way::Decide,
                                      &Way::StampAndKeep,
                                      &Way::StartChild,
                                      &Way::ReadBackFromTheMap,
                                      &Way::ReadBackFromTheToken,
                                      &Way::KeepFromTheChild,
                                      &Way::ReadTheAlert,
                                      &Way::ShowItOnce,
                                      &Way::End};
  for (const auto leg : kLegs) {
    ASSERT_NO_FATAL_FAILURE((this->*leg)());
  }
}

}  // namespace
