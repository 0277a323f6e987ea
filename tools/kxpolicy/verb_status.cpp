// status and rollback: what an administrator asks the service of this machine.
#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>

#include "Agent/engine/kx_publish/service/service_control.h"
#include "Common_CPP/util/counted.h"
#include "Common_CPP/util/printable.h"
#include "tools/kxpolicy/tool.h"

namespace {

constexpr size_t kMaxHitLines = 20;

std::string Time(const std::string& text) { return text.empty() ? "a time that is not known" : text; }

/// "2 d 3 h", "5 min", "7 s"
std::string Duration(uint64_t seconds) {
  constexpr uint64_t kMinute = 60;
  constexpr uint64_t kHour = 60 * kMinute;
  constexpr uint64_t kDay = 24 * kHour;
  if (seconds >= kDay) return std::to_string(seconds / kDay) + " d " + std::to_string(seconds % kDay / kHour) + " h";
  if (seconds >= kHour) {
    return std::to_string(seconds / kHour) + " h " + std::to_string(seconds % kHour / kMinute) + " min";
  }
  return seconds >= kMinute ? std::to_string(seconds / kMinute) + " min" : std::to_string(seconds) + " s";
}

std::string SignatureText(const SkxServiceStatus& status) {
  if (!status.signatureRequired) return "none is asked for";
  return "of " + KxText_PrintableQuoted(status.inForce.signer.value_or(""));
}

std::string BeforeText(const std::optional<SkxStatusImage>& before) {
  if (!before) return "none to go back to";
  std::string text = KxCounted(before->policies, "policy", "policies") + ", image " + before->digest;
  return before->signer ? text + " of " + KxText_PrintableQuoted(*before->signer) : text;
}

std::string FaultsText(const SkxStatusFaults& faults) {
  if (faults.count == 0) return "none";
  return std::to_string(faults.count) + ", the last at " + Time(faults.lastAt) + ": " + faults.last;
}

class StatusText {
 public:
  explicit StatusText(std::ostream& out) : _out(out) {}

  void Line(std::string_view name, const std::string& text) {
    constexpr size_t kNameWidth = 14;
    std::string line(name);
    line.resize(kNameWidth, ' ');
    _out << line << KxText_Printable(text) << '\n';
  }

  /// Those that decided most come first.
  void Policies(std::vector<SkxStatusPolicy> policies) {
    std::stable_sort(policies.begin(), policies.end(),
                     [](const auto& a, const auto& b) { return a.decided > b.decided; });
    const auto never = std::find_if(policies.begin(), policies.end(), [](const auto& p) { return p.decided == 0; });
    const auto hit = static_cast<size_t>(never - policies.begin());
    for (size_t i = 0; i < std::min(hit, kMaxHitLines); ++i) {
      Line(i == 0 ? "decided" : "", KxCounted(policies[i].decided, "prompt", "prompts") + " by policy " +
                                        std::to_string(policies[i].id) + " " +
                                        KxText_PrintableQuoted(policies[i].name));
    }
    if (hit > kMaxHitLines) Line("", "and by " + std::to_string(hit - kMaxHitLines) + " more policies");
    Line(hit == 0 ? "decided" : "", "none by " + KxCounted(policies.size() - hit, "policy", "policies"));
  }

 private:
  std::ostream& _out;
};

void PrintStatus(const SkxServiceStatus& status, std::ostream& out) {
  StatusText text(out);
  text.Line("folder", status.folder);
  text.Line("in force", KxCounted(status.inForce.policies, "policy", "policies") + " since " + Time(status.since) +
                            ", published as " + status.publication);
  text.Line("image", status.inForce.digest);
  text.Line("signature", SignatureText(status));
  text.Line("before", BeforeText(status.before));
  if (status.withdrawn)
    text.Line("rolled back", "image " + *status.withdrawn + ", until the folder holds another one, or a reload");
  for (const SkxRequestCounts& counts : status.requests) {
    text.Line(&counts == status.requests.data() ? "requests" : "",
              counts.request + ": " + std::to_string(counts.answered) + " answered, " + std::to_string(counts.refused) +
                  " refused, " + std::to_string(counts.failed) + " failed");
  }
  text.Policies(status.policies);
  text.Line("faults", FaultsText(status.faults));
  text.Line("running", "for " + Duration(status.uptimeSeconds) + ", since " + Time(status.startedAt) + ", process " +
                           std::to_string(status.processId));
}

/// Throws CkxToolFault unless the service did what it was asked for.
SkxServiceStatus Asked(EkxServiceRequest request) {
  SkxServiceStatus status;
  std::string why;
  switch (KxService_Ask(request, status, why)) {
    case EkxServiceReply::Status:
      return status;
    case EkxServiceReply::Refused:
      throw CkxToolFault(EkxExit::SystemRefused, "the service refuses: " + why);
    default:
      throw CkxToolFault(EkxExit::SystemRefused, why);
  }
}

struct StatusOptions {
  std::string format = "text";
};

KxVerbAction Asking(const CkxVerbOptions& verb, EkxServiceRequest request) {
  const auto options = std::make_shared<StatusOptions>();
  verb.Add("--format", options->format, "text for a person; json: one object").OneOf({"text", "json"});
  verb.Footer(
      "Asks the service of this machine, for administrators and for the account that it runs as.\nExits with 4 where "
      "none answers.");
  return [options, request](SkxStreams& streams) {
    const SkxServiceStatus status = Asked(request);
    if (options->format == "json") {
      streams.out << KxServiceStatus_Json(status) << '\n';
    } else {
      PrintStatus(status, streams.out);
    }
    return EkxExit::Done;
  };
}

}  // namespace

KxVerbAction KxVerb_Status(const CkxVerbOptions& verb) { return Asking(verb, EkxServiceRequest::Status); }
KxVerbAction KxVerb_Rollback(const CkxVerbOptions& verb) { return Asking(verb, EkxServiceRequest::Rollback); }
