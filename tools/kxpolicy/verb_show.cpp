// show: the records of an image, as the library's debug text or as a policy document that compiles back.
#include <kx_util/shared_app_groups.h>
#include <kx_util/shared_policy.h>

#include <algorithm>
#include <ostream>
#include <set>

#include "Agent/engine/kx_publish/applicable_rules.h"
#include "Agent/engine/kx_publish/policy_decode.h"
#include "Agent/engine/kx_publish/policy_document.h"
#include "Agent/engine/kx_util/section_records.h"
#include "Common_CPP/util/guid.h"
#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/image_input.h"
#include "tools/kxpolicy/tool.h"

namespace {

struct Options {
  std::string image;
  std::optional<uint32_t> policy;
  std::string format = "text";
};

/// A record as it lies in its section, framed well; whether it parses is another question.
struct Record {
  const unsigned char* bytes;
  size_t offset;
};

/// What becomes of the records, in the order of the sections. A null object is a record that does not parse.
class Format {
 public:
  virtual ~Format() = default;
  virtual void Policy(const Record& record, const CkxShBufPolicy* policy) = 0;
  virtual void Group(const Record& record, const CkxShBufAppGroup* group) = 0;
  virtual void End(const std::optional<std::string>& applicable) = 0;

  /// A line for each thing that is not shown, with its file and its place there.
  std::vector<std::string> faults;
};

std::string DebugText(const CkxUtilStr& text) {
  std::string utf8 = KxText_ToUtf8(text.View());
  std::erase(utf8, '\r');
  return utf8;
}

uint32_t PolicyId(const Record& record) { return reinterpret_cast<const SkxPolicyBufHeader*>(record.bytes)->id; }

EkxPolicyAction PolicyAction(const Record& record) {
  return reinterpret_cast<const SkxPolicyBufHeader*>(record.bytes)->action;
}

/// "policy 7, action 2"
std::string PolicyTitle(const Record& record) {
  return "policy " + std::to_string(PolicyId(record)) + ", action " +
         std::to_string(static_cast<int32_t>(PolicyAction(record)));
}

/// "application group {...}"
std::string GroupTitle(const Record& record) {
  const GUID id = reinterpret_cast<const SkxAppGroupBufHeader*>(record.bytes)->id;
  return "application group " + KxGuid_ToUtf8(id);
}

class TextFormat : public Format {
 public:
  explicit TextFormat(std::ostream& out) : _out(out) {}

  void Policy(const Record& record, const CkxShBufPolicy* policy) override {
    Title(record, PolicyTitle(record), policy == nullptr);
    if (policy == nullptr) return;
    CkxUtilStr text;
    policy->_AppendDebugMsg(text);
    _out << DebugText(text);
  }

  void Group(const Record& record, const CkxShBufAppGroup* group) override {
    Title(record, GroupTitle(record), group == nullptr);
    if (group == nullptr) return;
    CkxUtilStr text;
    for (const CkxShBufTarget& target : CkxNodes<CkxShBufTarget>(group->Targets())) target.AppendDebugMsg(text);
    _out << DebugText(text);
  }

  void End(const std::optional<std::string>& /*applicable*/) override {}

 private:
  void Title(const Record& record, const std::string& title, bool unreadable) {
    _out << (_first ? "" : "\n") << "== " << title << ", byte " << record.offset
         << (unreadable ? ": does not parse" : "") << '\n';
    _first = false;
  }

  std::ostream& _out;
  bool _first = true;
};

struct GuidLess {
  bool operator()(const GUID& a, const GUID& b) const { return std::memcmp(&a, &b, sizeof(GUID)) < 0; }
};
using Guids = std::set<GUID, GuidLess>;

void AddNamedGroups(const std::vector<SkxTargetModel>& targets, Guids& groups) {
  for (const SkxTargetModel& target : targets) {
    if (const auto* const link = std::get_if<SkxGroupLink>(&target.body)) groups.insert(link->group);
    const auto* const exe = std::get_if<SkxExeTarget>(&target.body);
    if (exe == nullptr || !exe->parentProcess) continue;
    groups.insert({exe->parentProcess->includedGroup, exe->parentProcess->excludedGroup});
  }
}

class JsonFormat : public Format {
 public:
  JsonFormat(std::ostream& out, const std::string& image, bool onlyNamedGroups)
      : _out(out), _image(image), _onlyNamedGroups(onlyNamedGroups) {}

  void Policy(const Record& record, const CkxShBufPolicy* policy) override {
    SkxPolicyModel& model = _publication.policies.emplace_back();
    if (policy != nullptr && KxDecode_Policy(*policy, model)) return;
    _publication.policies.pop_back();
    LeaveOut("policies.sec", record, PolicyTitle(record), policy == nullptr);
  }

  void Group(const Record& record, const CkxShBufAppGroup* group) override {
    SkxAppGroupModel& model = _publication.groups.emplace_back();
    if (group != nullptr && KxDecode_AppGroup(*group, model)) return;
    _publication.groups.pop_back();
    LeaveOut("appgroups.sec", record, GroupTitle(record), group == nullptr);
  }

  void End(const std::optional<std::string>& applicable) override {
    if (applicable) ReadApplicable(*applicable);
    if (_onlyNamedGroups) DropUnnamedGroups();
    _out << KxPolicyDocument_Write(_publication).dump(2) << '\n';
  }

 private:
  void LeaveOut(const char* file, const Record& record, const std::string& title, bool unreadable) {
    faults.push_back(_image + "/" + file + ": byte " + std::to_string(record.offset) + ": " + title +
                     (unreadable ? " does not parse" : " is of a kind that no document can say"));
  }

  /// A document may name only policies that it has. A row that begins with 0 is one for nobody, whatever follows.
  void ReadApplicable(const std::string& text) {
    _publication.applicable = KxApplicable_Parse(text);  // loading the image has seen that it is well-formed
    std::set<uint32_t> shown;
    for (const SkxPolicyModel& policy : _publication.policies) shown.insert(policy.id);
    for (auto& [user, ids] : _publication.applicable) {
      if (!ids.empty() && ids.front() == 0) ids.clear();
      std::erase_if(ids, [&shown](uint32_t id) { return !shown.contains(id); });
    }
  }

  /// Groups name groups, so the search goes on until it finds no more.
  void DropUnnamedGroups() {
    Guids named;
    for (const SkxPolicyModel& policy : _publication.policies) AddNamedGroups(policy.targets, named);
    for (size_t before = 0; before != named.size();) {
      before = named.size();
      for (const SkxAppGroupModel& group : _publication.groups) {
        if (named.contains(group.id)) AddNamedGroups(group.targets, named);
      }
    }
    std::erase_if(_publication.groups, [&named](const SkxAppGroupModel& group) { return !named.contains(group.id); });
  }

  std::ostream& _out;
  const std::string _image;
  const bool _onlyNamedGroups;
  SkxPublication _publication;
};

/// Each record of a section; where the framing ends too early, a line that says where.
template <class Visit>
void ForEachRecord(const std::optional<SkxPolicyImage::Bytes>& section, const SkxRecordKind& kind,
                   const std::string& file, std::vector<std::string>& faults, Visit visit) {
  if (!section) return;
  CkxSectionRecords records(kind, *section);
  if (!records.HasCount()) return faults.push_back(file + ": byte 0: is too short for the count of its records");
  size_t offset = sizeof(uint32_t);
  for (uint32_t i = 0; i < records.Count(); ++i) {
    const unsigned char* const bytes = records.Next();
    if (bytes == nullptr) return faults.push_back(file + ": byte " + std::to_string(offset) + ": " + records.Fault());
    visit(Record{bytes, offset});
    offset += KxBytes_Load<uint32_t>(bytes + sizeof(uint32_t));
  }
}

/// Returns how many policies were shown.
size_t ShowPolicies(const SkxPolicyImage& image, const Options& options, Format& format) {
  size_t shown = 0;
  ForEachRecord(image.policies, kKxPolicyRecord, options.image + "/policies.sec", format.faults,
                [&](const Record& record) {
                  if (options.policy && *options.policy != PolicyId(record)) return;
                  const auto* const header = reinterpret_cast<const SkxPolicyBufHeader*>(record.bytes);
                  format.Policy(record, CkxShBufPolicyPtr(CkxShBufPolicy::PolicyFromBuffer(header, false)).get());
                  ++shown;
                });
  return shown;
}

void ShowGroups(const SkxPolicyImage& image, const Options& options, Format& format) {
  ForEachRecord(image.appGroups, kKxAppGroupRecord, options.image + "/appgroups.sec", format.faults,
                [&](const Record& record) {
                  const auto* const header = reinterpret_cast<const SkxAppGroupBufHeader*>(record.bytes);
                  format.Group(record, CkxShBufAppGroupPtr(CkxShBufAppGroup::AppGroupFromBuffer(header, false)).get());
                });
}

std::unique_ptr<Format> FormatOf(const Options& options, std::ostream& out) {
  if (options.format == "text") return std::make_unique<TextFormat>(out);
  return std::make_unique<JsonFormat>(out, options.image, options.policy.has_value());
}

EkxExit Run(const Options& options, SkxStreams& streams) {
  const SkxPolicyImage image = KxImage_Load(options.image);
  const std::unique_ptr<Format> format = FormatOf(options, streams.out);
  const size_t shown = ShowPolicies(image, options, *format);
  if (options.policy && shown == 0 && format->faults.empty()) {
    throw CkxToolFault(EkxExit::UnusableInput,
                       options.image + "/policies.sec: has no policy " + std::to_string(*options.policy));
  }
  if (!options.policy || options.format == "json") ShowGroups(image, options, *format);
  format->End(image.applicable);
  streams.out.flush();
  for (const std::string& fault : format->faults) streams.err << "kxpolicy: " << fault << '\n';
  return format->faults.empty() ? EkxExit::Done : EkxExit::UnusableInput;
}

}  // namespace

KxVerbAction KxVerb_Show(CLI::App& app) {
  const auto options = std::make_shared<Options>();
  app.add_option("image", options->image, "Folder of a compiled image")->required();
  app.add_option("--policy", options->policy, "Only the policy of this id");
  app.add_option("--format", options->format, "text, or json: a policy document that compiles back")
      ->check(CLI::IsMember({"text", "json"}));
  return [options](SkxStreams& streams) { return Run(*options, streams); };
}
