// What `show --json` prints.
#include <iterator>
#include <nlohmann/json.hpp>
#include <ostream>

#include "Agent/engine/kx_publish/document/applicable_document.h"
#include "Agent/engine/kx_publish/document/policy_document.h"
#include "Agent/engine/kx_publish/document/sayable.h"
#include "Agent/engine/kx_publish/record/decode.h"
#include "tools/kxpolicy/show_format.h"

namespace {

class JsonFormat : public IkxShowFormat {
 public:
  JsonFormat(std::ostream& out, const CkxPolicySet& shown, CkxAuthorNames names, bool onlyNamed)
      : _out(out), _shown(shown), _names(std::move(names)), _onlyNamed(onlyNamed) {}

  void Policy(const SkxShownRecord& record, const CkxShBufPolicy* policy) override {
    Add(_policies, Place(record, KxShow_PolicyTitle(record)), policy != nullptr, record.All(), KxDecode_Policy);
  }
  void Group(const SkxShownRecord& record, const CkxShBufAppGroup* group) override {
    Add(_groups, Place(record, KxShow_GroupTitle(record)), group != nullptr, record.All(), KxDecode_AppGroup);
  }
  void Alert(const SkxShownRecord& record, const CkxShBufCustGuiBase* alert) override {
    Add(_alerts, Place(record, KxShow_AlertTitle(record)), alert != nullptr, record.All(), KxDecode_Alert);
  }

  void End(const SkxPolicyImage& image) override {
    if (_onlyNamed) DropUnnamed();
    SkxPublication publication = {Models(_policies), Models(_groups), Models(_alerts), {}};
    NameAsAuthor(publication);
    for (const SkxUnsayable& element : KxSayable_Keep(publication)) {
      faults.push_back(PlaceOf(element) + ": no document can say it: " + element.why);
    }
    if (image.applicable) publication.applicable = Applicable(*image.applicable, publication.policies);
    nlohmann::ordered_json document;
    SkxDocumentError error;
    if (!KxPolicyDocument_Write(publication, document, error)) throw std::logic_error(error.Text());  // all is sayable
    _out << document.dump(2) << '\n';
  }

 private:
  template <class Model>
  struct Decoded {
    std::string place;  ///< as fault lines begin
    Model model;
  };

  /// "IMAGE/policies.sec: byte 4: policy 7, action 2"
  std::string Place(const SkxShownRecord& record, const std::string& title) const {
    return _shown.PlaceOf(record.file) + ": byte " + std::to_string(record.offset) + ": " + title;
  }

  using Bytes = std::span<const unsigned char>;

  template <class Model>
  void Add(std::vector<Decoded<Model>>& all, std::string place, bool parses, Bytes record,
           bool (*decode)(Bytes, Model&)) {
    Model model;
    if (parses && decode(record, model)) {
      all.push_back({std::move(place), std::move(model)});
    } else {
      faults.push_back(place + (parses ? " is of a kind that no document can say" : " does not parse"));
    }
  }

  template <class Model>
  static std::vector<Model> Models(std::vector<Decoded<Model>>& all) {
    std::vector<Model> models;
    models.reserve(all.size());
    for (Decoded<Model>& each : all) models.push_back(std::move(each.model));
    return models;
  }

  /// Groups and alerts are called by their ids where nobody has said more, or two are called the same.
  void NameAsAuthor(SkxPublication& publication) const {
    for (SkxPolicyModel& policy : publication.policies) _names.GiveTo(policy);
    GiveOwnNames(publication.groups);
    GiveOwnNames(publication.alerts);
  }

  template <class Model>
  void GiveOwnNames(std::vector<Model>& models) const {
    std::set<KxWString> taken;
    for (Model& model : models) {
      const KxWString id = model.name;
      _names.GiveTo(model);
      if (!taken.insert(model.name).second) model.name = id;
    }
  }

  const std::string& PlaceOf(const SkxUnsayable& element) const {
    switch (element.list) {
      case SkxUnsayable::List::Policies:
        return _policies[element.index].place;
      case SkxUnsayable::List::Groups:
        return _groups[element.index].place;
      case SkxUnsayable::List::Alerts:
        break;
    }
    return _alerts[element.index].place;
  }

  /// A document may name only policies that it has. A row that begins with 0 is one for nobody, whatever follows.
  static SkxApplicableRows Applicable(const std::string& text, const std::vector<SkxPolicyModel>& policies) {
    SkxApplicableRows rows = KxApplicable_Parse(text);  // loading the image has seen that it is well-formed
    std::set<uint32_t> shown;
    for (const SkxPolicyModel& policy : policies) shown.insert(policy.id);
    for (auto& [user, ids] : rows) {
      if (!ids.empty() && ids.front() == 0) ids.clear();
      std::erase_if(ids, [&shown](uint32_t id) { return !shown.contains(id); });
    }
    return rows;
  }

  void DropUnnamed() {
    KxGuids groups;
    KxGuids alerts;
    for (const Decoded<SkxPolicyModel>& policy : _policies) {
      groups.merge(KxSayable_NamedGroups(policy.model.targets));
      for (const SkxAlertLinkModel& link : policy.model.alerts) alerts.insert(link.alert);
    }
    AddGroupsNamedByGroups(groups);
    std::erase_if(_groups, [&groups](const auto& group) { return !groups.contains(group.model.id); });
    std::erase_if(_alerts, [&alerts](const auto& alert) { return !alerts.contains(alert.model.id); });
  }

  void AddGroupsNamedByGroups(KxGuids& named) const {
    std::map<GUID, const SkxAppGroupModel*, SkxGuidLess> byId;
    for (const Decoded<SkxAppGroupModel>& group : _groups) byId.emplace(group.model.id, &group.model);
    std::vector<GUID> open(named.begin(), named.end());
    while (!open.empty()) {
      const auto group = byId.find(open.back());
      open.pop_back();
      if (group == byId.end()) continue;
      for (const GUID& id : KxSayable_NamedGroups(group->second->targets)) {
        if (named.insert(id).second) open.push_back(id);
      }
    }
  }

  std::ostream& _out;
  const CkxPolicySet& _shown;
  const CkxAuthorNames _names;
  const bool _onlyNamed;
  std::vector<Decoded<SkxPolicyModel>> _policies;
  std::vector<Decoded<SkxAppGroupModel>> _groups;
  std::vector<Decoded<SkxAlertModel>> _alerts;
};

}  // namespace

std::unique_ptr<IkxShowFormat> KxShow_JsonFormat(std::ostream& out, const CkxPolicySet& shown, CkxAuthorNames names,
                                                 bool onlyNamed) {
  return std::make_unique<JsonFormat>(out, shown, std::move(names), onlyNamed);
}
