#include <kx_util/shared_policies_data.h>
#include <kx_util/shared_policy_kinds.h>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "Common_CPP/util/text.h"
#include "tests/kx_util/policy/held_policy.h"
#include "tests/support/data_rows.h"
#include "tests/support/section_source.h"
#include "tests/support/trace_capture.h"

namespace {

using namespace kx_test_records;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr EkxAlertTrigger kTrigger{9};

CkxRecordBytes Alert(unsigned type, unsigned char id) {
  return CkxRecordBytes().U32(0x22232428).SizeHere().U16(type).U16(0).Id(id);
}
KxBytes Dialog(unsigned char id, uint32_t dialogType) { return Alert(1, id).U32(dialogType).Text(u"a.htm").Bytes(); }
KxBytes Balloon(unsigned char id) { return Alert(2, id).Bytes(); }

class AlertLookup : public testing::Test {
 protected:
  /// The alert that `find(alert)` gives, released when the test ends; null, and then untouched, when it finds none.
  template <class Alert = CkxShBufCustGuiBase, class Find>
  const Alert* Found(Find find) {
    Alert* const untouched = reinterpret_cast<Alert*>(this);
    Alert* alert = untouched;
    if (!find(alert)) {
      EXPECT_EQ(alert, untouched);
      return nullptr;
    }
    _kept.emplace_back(alert);
    return alert;
  }
  const CkxShBufCustGuiBase* Get(unsigned char id, EkxAlertType type) {
    return Found(
        [&](CkxShBufCustGuiBase*& alert) { return CkxSharedPoliciesData::GetAlert(KxTest_Id(id), type, alert); });
  }
  /// The dialog type of the common dialog for `kTrigger`, 0 when there is none.
  uint32_t CommonDialog() {
    const auto* const dialog = Found<CkxShBufCustGuiDialog>([&](CkxShBufCustGuiDialog*& found) {
      return CkxSharedPoliciesData::GetCommonDialog(kTrigger, found, nullptr);
    });
    return dialog != nullptr ? static_cast<uint32_t>(dialog->DlgType()) : 0;
  }

  CkxSectionSource _source;
  CkxPolicySourceScope _scope{_source};

 private:
  std::vector<CkxShBufCustGuiPtr> _kept;
};

TEST_F(AlertLookup, TheFirstOfThatIdAndTypeAsACopy) {
  CkxTraceCapture trace;
  EXPECT_EQ(Get(1, EkxAlertType::Dialog), nullptr) << "nothing is published";

  _source.Publish(EkxPolicySection::Alerts, {Balloon(1), Dialog(2, 20), Dialog(1, 10), Dialog(1, 11)});
  EXPECT_EQ(Get(3, EkxAlertType::Dialog), nullptr);
  EXPECT_EQ(Get(2, EkxAlertType::Balloon), nullptr);
  const CkxShBufCustGuiBase* const balloon = Get(1, EkxAlertType::Balloon);
  const CkxShBufCustGuiBase* const dialog = Get(1, EkxAlertType::Dialog);
  ASSERT_TRUE(balloon != nullptr && dialog != nullptr);
  _source.PublishBytes(EkxPolicySection::Alerts, {});
  EXPECT_EQ(balloon->AlertType(), EkxAlertType::Balloon);
  EXPECT_EQ(static_cast<const CkxShBufCustGuiDialog*>(dialog)->DlgType(), EkxDialogType{10});
  EXPECT_EQ(KxText_ToUtf8(static_cast<const CkxShBufCustGuiDialog*>(dialog)->HtmlPath()), "a.htm");
  EXPECT_THAT(trace.Texts(), IsEmpty());
}

TEST_F(AlertLookup, WhatIsMalformedIsTraced) {
  const KxBytes other = Balloon(1);
  KxBytes policy = other;
  policy[0] = 0x25;
  const struct {
    const char* name;
    KxBytes second;
    const char* line;
  } cases[] = {
      {"the count says more", {}, "ERROR: Alert header is out of buffer"},
      {"a policy", policy, "ERROR: Error in Alert header signature."},
      {"without its body", Alert(1, 2).Bytes(), "ERROR: Alert cannot be read. Record=1"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    _source.Publish(EkxPolicySection::Alerts, {other, c.second});
    CkxTraceCapture trace;
    EXPECT_EQ(Get(2, EkxAlertType::Dialog), nullptr);
    EXPECT_THAT(trace.Texts(), ElementsAre(std::string("KXT_ERROR CkxSharedPoliciesData: ") + c.line));
    EXPECT_NE(Get(1, EkxAlertType::Balloon), nullptr) << "what comes before it is found";
  }
}

TEST_F(AlertLookup, APolicyShowsWhatItsFirstFittingLinkNames) {
  _source.Publish(EkxPolicySection::Alerts, {Dialog(1, 10), Balloon(1), Dialog(2, 20), Balloon(3)});
  const CkxHeldPolicy<CkxShBufPolicy> policy(
      Policy(7, {AlertLink(9, 2, 3), AlertLink(9, 1, 2), AlertLink(9, 1, 1), AlertLink(8, 1, 3), AlertLink(8, 2, 77)}));
  const struct {
    const char* name;
    uint32_t trigger;
    EkxAlertType type;
    uint32_t alert;  // 0: none
  } cases[] = {
      {"dialog, the first of two", 9, EkxAlertType::Dialog, 2},
      {"balloon", 9, EkxAlertType::Balloon, 3},
      {"no such trigger", 7, EkxAlertType::Dialog, 0},
      {"a dialog's link to a balloon", 8, EkxAlertType::Dialog, 0},
      {"a link to no alert", 8, EkxAlertType::Balloon, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const CkxShBufCustGuiBase* const alert =
        Found([&](CkxShBufCustGuiBase*& found) { return policy->GetAlert(EkxAlertTrigger{c.trigger}, c.type, found); });
    EXPECT_EQ(alert != nullptr ? uint32_t{alert->Id().Data1} : 0, c.alert);
    EXPECT_TRUE(alert == nullptr || alert->AlertType() == c.type);
  }
}

/// Of [id, action, whether it is active, links].
KxBytes PolicyOf(const nlohmann::json& fields) {
  std::vector<CkxRecordBytes> links;
  for (const nlohmann::json& link : fields[3]) links.push_back(AlertLink(link[0], link[1], link[2]));
  CkxRecordBytes policy = NamedPolicy(fields[1], fields[0], fields[2]).Append(List(links));
  if (fields[1] == 10) policy.Obfuscated(u"<C/>").Obfuscated(u"<M/>");
  return policy.Bytes();
}

TEST_F(AlertLookup, TheCommonDialogIsThatOfTheFirstConfigurationPolicy) {
  _source.Publish(EkxPolicySection::Alerts, {Balloon(1), Dialog(1, 10), Dialog(2, 20)});
  _source.applicable = CkxApplicablePolicies({1, 2, 3, 4, 7});
  for (const CkxDataRow& row : KxTest_Rows("common_dialogs.txt")) {
    SCOPED_TRACE(row.At());
    row.RequireCount(4);
    std::vector<KxBytes> policies;
    for (const nlohmann::json& policy : row.Fields()[1]) policies.push_back(PolicyOf(policy));
    _source.Publish(EkxPolicySection::Policies, policies);
    CkxTraceCapture trace;
    EXPECT_EQ(CommonDialog(), row.Fields()[2]);
    EXPECT_EQ(trace.Texts(), row.Fields()[3].get<std::vector<std::string>>());
  }
  EXPECT_NE(CommonDialog(), 0u);
  _source.applicable.reset();
  EXPECT_EQ(CommonDialog(), 0u) << "whom the policies apply to cannot be told";
}

}  // namespace
