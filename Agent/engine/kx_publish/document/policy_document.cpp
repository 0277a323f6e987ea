#include "Agent/engine/kx_publish/document/policy_document.h"

#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/applicable_document.h"
#include "Agent/engine/kx_publish/document/document_in.h"
#include "Agent/engine/kx_publish/document/document_out.h"
#include "Agent/engine/kx_publish/document/document_users.h"

namespace {

// Keeps every count and size of the records that come of it within their 32 bits.
constexpr size_t kMaxDocumentBytes = size_t{256} << 20;

constexpr const char* kPolicies = "policies";
constexpr const char* kGroups = "applicationGroups";
constexpr const char* kAlerts = "alerts";
constexpr const char* kApplicable = "applicable";
constexpr const char* kUserGroups = "userGroups";

EkxNameClash AddName(SkxDocumentNames& names, const SkxAppGroupModel& group) {
  return names.groups.Add({group.name, group.id});
}
EkxNameClash AddName(SkxDocumentNames& names, const SkxAlertModel& alert) {
  return names.alerts.Add({alert.name, alert.id, static_cast<uint16_t>(KxAlertKind_Of(alert.body).type)});
}

/// All documents becoming one publication. Alerts and groups go first, since policies and groups may name any of them.
class Assembly {
 public:
  explicit Assembly(SkxPublication& publication) : _publication(publication) {}

  bool Read(std::span<const SkxDocumentText> documents, SkxDocumentError& error) {
    return ForEach(documents, error, [this](const SkxDocumentText& document) { Parse(document); }) &&
           ForEach(_opened, error, [this](const Opened& document) { ReadAlerts(document); }) &&
           ForEach(_opened, error, [this](const Opened& document) { RegisterGroups(document); }) &&
           ForEach(_opened, error, [this](const Opened& document) { ReadGroups(document); }) &&
           ForEach(_opened, error, [this](const Opened& document) { _users.ReadGroups(document.json); }) &&
           ForEach(_opened, error, [this](const Opened& document) { ReadPolicies(document); }) &&
           ForEach(_opened, error, [this](const Opened& document) { ReadApplicable(document); }) && Conclude(error);
  }

 private:
  struct Opened {
    std::string name;
    nlohmann::json json;
  };

  template <class Documents, class Step>
  static bool ForEach(const Documents& documents, SkxDocumentError& error, Step step) {
    for (const auto& document : documents) {
      try {
        step(document);
      } catch (const CkxDocumentFault& fault) {
        error = {document.name, fault.Pointer(), fault.what()};
        return false;
      } catch (const std::bad_alloc&) {
        throw;  // no fault of the document
      } catch (const std::exception& fault) {
        error = {document.name, "", fault.what()};
        return false;
      }
    }
    return true;
  }

  void Parse(const SkxDocumentText& document) {
    if (document.text.size() > kMaxDocumentBytes) throw CkxDocumentFault("", "is larger than 256 MiB");
    Opened opened{document.name, KxJson_Parse(document.text, true)};
    CkxJsonObject object(opened.json, "");
    object.Find("$schema");
    for (const char* const key : {kPolicies, kGroups, kAlerts}) {
      const nlohmann::json* const list = object.Find(key);
      if (list != nullptr && !list->is_array()) throw CkxDocumentFault(object.PointerTo(key), "must be an array");
    }
    object.Find(kApplicable);
    object.Find(kUserGroups);
    object.Finish();
    _opened.push_back(std::move(opened));
  }

  /// `visit(json, pointer)` for each element under `key`.
  template <class Visit>
  static void ForElements(const Opened& document, const char* key, Visit visit) {
    const auto list = document.json.find(key);
    if (list == document.json.end()) return;
    const std::string pointer = KxJson_Pointer("", key);
    for (size_t i = 0; i < list->size(); ++i) visit((*list)[i], KxJson_Pointer(pointer, i));
  }

  /// `what`: as a fault calls it.
  template <class Model>
  void Register(const Model& model, const std::string& what, const std::string& pointer) {
    const EkxNameClash clash = AddName(_names, model);
    if (clash == EkxNameClash::Name) throw CkxDocumentFault(pointer + "/name", "another " + what + " has this name");
    if (clash == EkxNameClash::Id) throw CkxDocumentFault(pointer, "another " + what + " has this id");
  }

  void ReadAlerts(const Opened& document) {
    ForElements(document, kAlerts, [&](const nlohmann::json& json, const std::string& pointer) {
      SkxAlertModel& alert = _publication.alerts.emplace_back();
      CkxDocumentIn::ReadWhole(json, pointer, _names, alert);
      alert.source = {document.name, pointer};
      Register(alert, "alert", pointer);
    });
  }

  void RegisterGroups(const Opened& document) {
    ForElements(document, kGroups, [this](const nlohmann::json& json, const std::string& pointer) {
      nlohmann::json head = json;  // the name and the id alone; the targets may name groups that come later
      if (head.is_object()) head.erase("targets");
      SkxAppGroupModel group;
      CkxDocumentIn::ReadWhole(head, pointer, _names, group);
      Register(group, "application group", pointer);
    });
  }

  void ReadGroups(const Opened& document) {
    ForElements(document, kGroups, [&](const nlohmann::json& json, const std::string& pointer) {
      SkxAppGroupModel& group = _publication.groups.emplace_back();
      CkxDocumentIn::ReadWhole(json, pointer, _names, group);
      group.source = {document.name, pointer};
    });
  }

  void ReadPolicies(const Opened& document) {
    ForElements(document, kPolicies, [&](const nlohmann::json& json, const std::string& pointer) {
      SkxPolicyModel& policy = _publication.policies.emplace_back();
      policy.order = _publication.policies.size();
      CkxDocumentIn::ReadWhole(json, pointer, _names, policy);
      policy.source = {document.name, pointer};
      _users.Take(policy);
      const auto [other, isNew] = _policyPlaces.try_emplace(policy.id, document.name + "#" + pointer);
      if (!isNew) throw CkxDocumentFault(pointer + "/id", "the id is taken by " + other->second);
    });
  }

  void ReadApplicable(const Opened& document) {
    const auto json = document.json.find(kApplicable);
    if (json == document.json.end()) return;
    const std::string pointer = KxJson_Pointer("", kApplicable);
    if (_users.AreNamed()) throw CkxDocumentFault(pointer, "policies name their users, and the rows follow from that");
    for (const auto& [key, ids] : KxApplicable_Read(*json, pointer)) {
      for (size_t i = 0; i < ids.size(); ++i) {
        if (_policyPlaces.contains(ids[i])) continue;
        throw CkxDocumentFault(KxJson_Pointer(KxJson_Pointer(pointer, key), i), "there is no policy of this id");
      }
      std::vector<uint32_t>& row = _publication.applicable[key];
      row.insert(row.end(), ids.begin(), ids.end());
    }
  }

  bool Conclude(SkxDocumentError& error) {
    return !_users.AreNamed() || _users.Rows(_publication.policies, _publication.applicable, error);
  }

  SkxPublication& _publication;
  std::vector<Opened> _opened;
  SkxDocumentNames _names;
  std::map<uint32_t, std::string> _policyPlaces;
  CkxDocumentUsers _users;
};

/// `models` under `key`, each fault with its place. An empty list is left out unless it `isShown`.
template <class Model>
void WriteList(const std::vector<Model>& models, const char* key, const SkxDocumentNames& names, bool isShown,
               nlohmann::ordered_json& document) {
  if (models.empty() && !isShown) return;
  nlohmann::ordered_json& list = document[key] = nlohmann::ordered_json::array();
  for (size_t i = 0; i < models.size(); ++i) {
    try {
      list.push_back(CkxDocumentOut::WriteWhole(models[i], names));
    } catch (const CkxDocumentFault& fault) {
      throw CkxDocumentFault(KxJson_Pointer(KxJson_Pointer("", key), i), fault.what());
    }
  }
}

}  // namespace

std::string SkxDocumentError::Text() const {
  return (document.empty() ? "" : document + ": ") + (pointer.empty() ? "" : pointer + ": ") + message;
}

bool KxPolicyDocument_Read(std::span<const SkxDocumentText> documents, SkxPublication& publication,
                           SkxDocumentError& error) {
  SkxPublication assembled;
  if (!Assembly(assembled).Read(documents, error)) return false;
  publication = std::move(assembled);
  return true;
}

bool KxPolicyDocument_Write(const SkxPublication& publication, nlohmann::ordered_json& document,
                            SkxDocumentError& error) {
  SkxDocumentNames names;
  for (const SkxAppGroupModel& group : publication.groups) AddName(names, group);
  for (const SkxAlertModel& alert : publication.alerts) AddName(names, alert);
  try {
    nlohmann::ordered_json written;
    WriteList(publication.policies, kPolicies, names, true, written);
    WriteList(publication.groups, kGroups, names, false, written);
    WriteList(publication.alerts, kAlerts, names, false, written);
    if (!publication.applicable.empty()) written[kApplicable] = publication.applicable;
    document = std::move(written);
    return true;
  } catch (const CkxDocumentFault& fault) {
    error = {"", fault.Pointer(), fault.what()};
    return false;
  }
}
