#include "Agent/engine/kx_publish/document/sayable.h"

#include "Agent/engine/kx_publish/document/document_in.h"
#include "Agent/engine/kx_publish/document/document_out.h"

namespace {

using List = SkxUnsayable::List;

/// Why the element, written and read again, is refused; nothing when it is not.
template <class Model>
std::optional<std::string> FaultOf(const Model& model, const SkxDocumentNames& names) {
  try {
    const nlohmann::json written = CkxDocumentOut::WriteWhole(model, names);
    Model read;
    CkxDocumentIn::ReadWhole(written, "", names, read);
    return std::nullopt;
  } catch (const CkxDocumentFault& fault) {
    return fault.Line();
  }
}

class Selection {
 public:
  explicit Selection(SkxPublication& publication) : _publication(publication) {}

  std::vector<SkxUnsayable> Keep() {
    KeepAlerts();
    KeepGroups();
    KeepPolicies();
    return std::move(_unsayable);
  }

 private:
  using Faults = std::vector<std::optional<std::string>>;  // of each element of a list

  void KeepAlerts() {
    Faults faults;
    for (const SkxAlertModel& alert : _publication.alerts) {
      faults.push_back(FaultOf(alert, _names));
      if (!faults.back()) faults.back() = Register(alert);
    }
    TakeOut(_publication.alerts, List::Alerts, faults);
  }

  void KeepGroups() {
    SkxDocumentNames all;  // any group may name any other
    Faults faults;
    for (const SkxAppGroupModel& group : _publication.groups) {
      const bool isNew = all.groups.Add({group.name, group.id}) == EkxNameClash::None;
      faults.push_back(isNew ? std::nullopt : std::optional<std::string>(kTaken));
    }
    for (size_t i = 0; i < faults.size(); ++i) {
      if (!faults[i]) faults[i] = FaultOf(_publication.groups[i], all);
    }
    SpreadFaults(faults);
    TakeOut(_publication.groups, List::Groups, faults);
    for (const SkxAppGroupModel& group : _publication.groups) _names.groups.Add({group.name, group.id});
  }

  /// To the groups that name a group which has a fault, and on to those that name them.
  void SpreadFaults(Faults& faults) {
    std::multimap<GUID, size_t, SkxGuidLess> namers;
    std::vector<size_t> faulty;
    for (size_t i = 0; i < faults.size(); ++i) {
      if (faults[i] == kTaken) continue;  // another one answers to its id
      if (faults[i]) faulty.push_back(i);
      for (const GUID& id : KxSayable_NamedGroups(_publication.groups[i].targets)) namers.emplace(id, i);
    }
    while (!faulty.empty()) {
      const GUID gone = _publication.groups[faulty.back()].id;
      faulty.pop_back();
      for (auto [namer, end] = namers.equal_range(gone); namer != end; ++namer) {
        if (faults[namer->second]) continue;
        faults[namer->second] = "names the application group " + KxGuid_ToUtf8(gone) + ", which is left out";
        faulty.push_back(namer->second);
      }
    }
  }

  void KeepPolicies() {
    Faults faults;
    std::set<uint32_t> ids;
    for (const SkxPolicyModel& policy : _publication.policies) {
      faults.push_back(FaultOf(policy, _names));
      if (!faults.back() && !ids.insert(policy.id).second) faults.back() = kTaken;
    }
    TakeOut(_publication.policies, List::Policies, faults);
  }

  std::optional<std::string> Register(const SkxAlertModel& alert) {
    const auto type = static_cast<uint16_t>(KxAlertKind_Of(alert.body).type);
    if (_names.alerts.Add({alert.name, alert.id, type}) == EkxNameClash::None) return std::nullopt;
    return kTaken;
  }

  template <class Model>
  void TakeOut(std::vector<Model>& models, List list, const Faults& faults) {
    std::vector<Model> kept;
    for (size_t i = 0; i < faults.size(); ++i) {
      if (faults[i]) {
        _unsayable.push_back({list, i, *faults[i]});
      } else {
        kept.push_back(std::move(models[i]));
      }
    }
    models = std::move(kept);
  }

  static constexpr const char* kTaken = "the id is taken by one before it";

  SkxPublication& _publication;
  SkxDocumentNames _names;  // of what is kept
  std::vector<SkxUnsayable> _unsayable;
};

}  // namespace

std::vector<SkxUnsayable> KxSayable_Keep(SkxPublication& publication) { return Selection(publication).Keep(); }

KxGuids KxSayable_NamedGroups(const std::vector<SkxTargetModel>& targets) {
  KxGuids groups;
  for (const SkxTargetModel& target : targets) {
    if (const auto* const link = std::get_if<SkxGroupLink>(&target.body)) groups.insert(link->group);
    std::visit(
        [&groups](const auto& body) {
          if constexpr (requires { body.parentProcess; }) {
            if (body.parentProcess)
              groups.insert({body.parentProcess->includedGroup, body.parentProcess->excludedGroup});
          }
        },
        target.body);
  }
  groups.erase(GUID{});
  return groups;
}
