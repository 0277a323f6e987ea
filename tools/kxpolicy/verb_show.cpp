// show: the records of an image, as the library's debug text or as a policy document that compiles back.
#include <ostream>

#include "Common_CPP/util/printable.h"
#include "tools/kxpolicy/image_input.h"
#include "tools/kxpolicy/image_records.h"
#include "tools/kxpolicy/show_format.h"
#include "tools/kxpolicy/tool.h"

namespace {

struct ShowOptions {
  std::string image;
  std::optional<uint32_t> policy;
  std::string format = "text";
};

/// Each record of a section; where the framing ends too early, a line that says where.
template <class Visit>
void ForEachRecord(const std::optional<SkxPolicyImage::Bytes>& section, const SkxRecordKind& kind,
                   const std::string& image, const char* file, std::vector<std::string>& faults, Visit visit) {
  std::vector<std::string> places;
  KxImage_ForEachRecord(section, kind, places, [&](const unsigned char* bytes, size_t offset) {
    visit(SkxShownRecord{bytes, offset, file});
  });
  for (const std::string& place : places) {
    faults.push_back(image);
    faults.back().append("/").append(file).append(": byte ").append(place);
  }
}

/// Returns how many policies were shown.
size_t ShowPolicies(const SkxPolicyImage& image, const ShowOptions& options, IkxShowFormat& format) {
  size_t shown = 0;
  ForEachRecord(image.policies, kKxPolicyRecord, options.image, "policies.sec", format.faults,
                [&](const SkxShownRecord& record) {
                  const auto& header = record.As<SkxPolicyBufHeader>();
                  if (options.policy && *options.policy != header.id) return;
                  format.Policy(record, CkxShBufPolicyPtr(CkxShBufPolicy::PolicyFromBuffer(&header, false)).get());
                  ++shown;
                });
  return shown;
}

void ShowGroups(const SkxPolicyImage& image, const ShowOptions& options, IkxShowFormat& format) {
  ForEachRecord(image.appGroups, kKxAppGroupRecord, options.image, "appgroups.sec", format.faults,
                [&](const SkxShownRecord& record) {
                  const auto& header = record.As<SkxAppGroupBufHeader>();
                  format.Group(record, CkxShBufAppGroupPtr(CkxShBufAppGroup::AppGroupFromBuffer(&header, false)).get());
                });
}

void ShowAlerts(const SkxPolicyImage& image, const ShowOptions& options, IkxShowFormat& format) {
  ForEachRecord(
      image.alerts, kKxAlertRecord, options.image, "alerts.sec", format.faults, [&](const SkxShownRecord& record) {
        const auto& header = record.As<SkxAlertBufHeader>();
        format.Alert(record, CkxShBufCustGuiPtr(CkxShBufCustGuiBase::CustGuiFromBuffer(&header, false)).get());
      });
}

std::unique_ptr<IkxShowFormat> FormatOf(const ShowOptions& options, std::ostream& out) {
  if (options.format == "text") return KxShow_TextFormat(out);
  return KxShow_JsonFormat(out, options.image, options.policy.has_value());
}

EkxExit Show(ShowOptions options, SkxStreams& streams) {
  const bool isLive = options.image.empty();
  const SkxPolicyImage image = isLive ? KxImage_LoadLive() : KxImage_Load(options.image);
  if (isLive) options.image = "live";  // as fault lines name it
  const std::unique_ptr<IkxShowFormat> format = FormatOf(options, streams.out);
  const size_t shown = ShowPolicies(image, options, *format);
  if (options.policy && shown == 0 && format->faults.empty()) {
    throw CkxToolFault(EkxExit::UnusableInput,
                       options.image + "/policies.sec: has no policy " + std::to_string(*options.policy));
  }
  if (!options.policy || options.format == "json") {
    ShowGroups(image, options, *format);
    ShowAlerts(image, options, *format);
  }
  format->End(image);
  streams.out.flush();
  for (const std::string& fault : format->faults) streams.err << "kxpolicy: " << KxText_Printable(fault) << '\n';
  return format->faults.empty() ? EkxExit::Done : EkxExit::UnusableInput;
}

}  // namespace

KxVerbAction KxVerb_Show(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<ShowOptions>();
  verb.Add("image", options->image, "Folder of a compiled image; without it the policies in force on this machine");
  verb.Add("--policy", options->policy, "Only the policy of this id");
  verb.Add("--format", options->format, "text, or json: a policy document that compiles back").OneOf({"text", "json"});
  return [options](SkxStreams& streams) { return Show(*options, streams); };
}
