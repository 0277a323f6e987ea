// show: the records of an image, or of what documents compile to, as the library's debug text, as a list, or as a
// policy document that compiles back.
#include <ostream>

#include "Agent/engine/kx_publish/image/image_records.h"
#include "Common_CPP/util/printable.h"
#include "tools/kxpolicy/image_input.h"
#include "tools/kxpolicy/policy_input.h"
#include "tools/kxpolicy/show_format.h"
#include "tools/kxpolicy/tool.h"

namespace {

struct ShowOptions {
  std::vector<std::string> policies;
  std::optional<uint32_t> policy;
  bool list = false;
  std::string format = "text";
};

CkxPolicySet Open(const ShowOptions& options, std::istream& standardInput) {
  if (options.policies.empty()) return CkxPolicySet::FromImage(KxImage_LoadLive(), "live");
  return KxPolicyInput_Open(options.policies, standardInput);
}

/// Each record of a section; where the framing ends too early, a line that says where.
template <class Visit>
void ForEachRecord(const CkxPolicySet& shown, EkxPolicySection section, const SkxRecordKind& kind, const char* file,
                   std::vector<std::string>& faults, Visit visit) {
  std::vector<std::string> places;
  KxImage_ForEachRecord(shown.Image().Section(section), kind, places, [&](const unsigned char* bytes, size_t offset) {
    visit(SkxShownRecord{bytes, offset, file});
  });
  for (const std::string& place : places) faults.push_back(shown.PlaceOf(file) + ": byte " + place);
}

/// Returns how many policies were shown.
size_t ShowPolicies(const CkxPolicySet& shown, const ShowOptions& options, IkxShowFormat& format) {
  size_t count = 0;
  ForEachRecord(shown, EkxPolicySection::Policies, kKxPolicyRecord, "policies.sec", format.faults,
                [&](const SkxShownRecord& record) {
                  const auto& header = record.As<SkxPolicyBufHeader>();
                  if (options.policy && *options.policy != header.id) return;
                  format.Policy(record, CkxShBufPolicyPtr(CkxShBufPolicy::PolicyFromBuffer(&header, false)).get());
                  ++count;
                });
  return count;
}

void ShowGroups(const CkxPolicySet& shown, IkxShowFormat& format) {
  ForEachRecord(shown, EkxPolicySection::AppGroups, kKxAppGroupRecord, "appgroups.sec", format.faults,
                [&](const SkxShownRecord& record) {
                  const auto& header = record.As<SkxAppGroupBufHeader>();
                  format.Group(record, CkxShBufAppGroupPtr(CkxShBufAppGroup::AppGroupFromBuffer(&header, false)).get());
                });
}

void ShowAlerts(const CkxPolicySet& shown, IkxShowFormat& format) {
  ForEachRecord(
      shown, EkxPolicySection::Alerts, kKxAlertRecord, "alerts.sec", format.faults, [&](const SkxShownRecord& record) {
        const auto& header = record.As<SkxAlertBufHeader>();
        format.Alert(record, CkxShBufCustGuiPtr(CkxShBufCustGuiBase::CustGuiFromBuffer(&header, false)).get());
      });
}

std::unique_ptr<IkxShowFormat> FormatOf(const ShowOptions& options, const CkxPolicySet& shown, SkxStreams& streams) {
  const bool isText = options.format == "text";
  if (options.list) return KxShow_ListFormat(streams.out, KxPolicyInput_Names(shown, streams.err), !isText);
  if (isText) return KxShow_TextFormat(streams.out);
  return KxShow_JsonFormat(streams.out, shown, KxPolicyInput_Names(shown, streams.err), options.policy.has_value());
}

EkxExit Show(const ShowOptions& options, SkxStreams& streams) {
  const CkxPolicySet shown = Open(options, streams.in);
  const std::unique_ptr<IkxShowFormat> format = FormatOf(options, shown, streams);
  const size_t count = ShowPolicies(shown, options, *format);
  if (options.policy && count == 0 && format->faults.empty()) {
    throw CkxToolFault(EkxExit::UnusableInput,
                       shown.PlaceOf("policies.sec") + ": has no policy " + std::to_string(*options.policy));
  }
  if (!options.policy || (options.format == "json" && !options.list)) {
    ShowGroups(shown, *format);
    ShowAlerts(shown, *format);
  }
  format->End(shown.Image());
  streams.out.flush();
  for (const std::string& fault : format->faults) streams.err << "kxpolicy: " << KxText_Printable(fault) << '\n';
  return format->faults.empty() ? EkxExit::Done : EkxExit::UnusableInput;
}

}  // namespace

KxVerbAction KxVerb_Show(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<ShowOptions>();
  verb.Add("policies", options->policies,
           kKxPolicyInputHelp + std::string("; without any the policies in force on this machine"))
      .Path();
  verb.Add("--policy", options->policy, "Only the policy of this id");
  verb.AddFlag("--list", options->list, "A line for each record: what it is, its id, its kind and its name");
  verb.Add("--format", options->format,
           "text, or json: a policy document that compiles back; of a list an object a line")
      .OneOf({"text", "json"});
  return [options](SkxStreams& streams) { return Show(*options, streams); };
}
