#include "Agent/engine/kx_publish/document/policy_document.h"

#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/applicable_document.h"
#include "Agent/engine/kx_publish/document/document_in.h"
#include "Agent/engine/kx_publish/document/document_out.h"
#include "Agent/engine/kx_publish/document/document_users.h"
#include "Agent/engine/kx_publish/document/policy_document_faults.h"
#include "Agent/engine/kx_publish/model/derived_id.h"

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

  /// The faults, none when all is well. Past the first one what is read is of use for finding others alone.
  std::vector<SkxDocumentError> Read(std::span<const SkxDocumentText> documents) {
    ForEach(documents, [this](const SkxDocumentText& document) { Parse(document); });
    if (!_errors.empty()) return std::move(_errors);  // what is missing might be in there
    ForEach(_opened, [this](const Opened& document) { ReadAlerts(document); });
    ForEach(_opened, [this](const Opened& document) { RegisterGroups(document); });
    ForEach(_opened, [this](const Opened& document) { ReadGroups(document); });
    const size_t before = _errors.size();
    ForEach(_opened, [this](const Opened& document) { _users.ReadGroups(document.Json()); });
    _areUsersKnown = _errors.size() == before;
    ForEach(_opened, [this](const Opened& document) { ReadPolicies(document); });
    ForEach(_opened, [this](const Opened& document) { ReadApplicable(document); });
    if (_errors.empty()) Conclude();
    return std::move(_errors);
  }

 private:
  struct Opened {
    std::string name;
    CkxJsonDocument document;

    const nlohmann::json& Json() const { return document.Root(); }
  };

  /// An object without its targets, which may name groups that come later.
  static CkxJsonDocument HeadOf(const nlohmann::json& group) {
    CkxJsonDocument head = CkxJsonDocument::Object();
    for (const auto& [key, value] : group.items()) {
      if (key != "targets") head.Root()[key] = value.is_structured() ? nlohmann::json(value.type()) : value;
    }
    return head;
  }

  template <class Documents, class Step>
  void ForEach(const Documents& documents, Step step) {
    for (const auto& document : documents) Guarded(document.name, [&] { step(document); });
  }

  /// False when `step` is at fault, which is noted.
  template <class Step>
  bool Guarded(const std::string& document, Step step) {
    try {
      step();
      return true;
    } catch (const CkxDocumentFault& fault) {
      Tell({document, fault.Pointer(), fault.what()});
    } catch (const std::bad_alloc&) {
      throw;  // no fault of the document
    } catch (const std::exception& fault) {
      Tell({document, "", fault.what()});
    }
    return false;
  }

  void Tell(SkxDocumentError error) {
    if (_told.insert(error.Text()).second) _errors.push_back(std::move(error));
  }

  /// What is at fault is there all the same, for whoever names it.
  template <class Step>
  static void ReadNamed(CkxNameDirectory& names, const nlohmann::json& json, Step step) {
    try {
      step();
    } catch (const CkxDocumentFault&) {
      const auto name = json.is_object() ? json.find("name") : json.end();
      const std::string text = name != json.end() && name->is_string() ? name->get<std::string>() : std::string();
      if (const std::optional<KxWString> wide = KxText_FromUtf8(text); wide && !wide->empty()) {
        names.Add({*wide, KxDerivedId("at fault/" + text)});
      }
      throw;
    }
  }

  void Parse(const SkxDocumentText& document) {
    if (document.text.size() > kMaxDocumentBytes) throw CkxDocumentFault("", "is larger than 256 MiB");
    Opened opened{document.name, CkxJsonDocument(document.text, true)};
    CkxJsonObject object(opened.Json(), "");
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

  /// `visit(json, pointer)` for each element under `key`; one that is at fault does not keep others from being read.
  template <class Visit>
  void ForElements(const Opened& document, const char* key, Visit visit) {
    const auto list = document.Json().find(key);
    if (list == document.Json().end()) return;
    const std::string pointer = KxJson_Pointer("", key);
    for (size_t i = 0; i < list->size(); ++i) {
      Guarded(document.name, [&] { visit((*list)[i], KxJson_Pointer(pointer, i)); });
    }
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
      ReadNamed(_names.alerts, json, [&] {
        CkxDocumentIn::ReadWhole(json, pointer, _names, alert);
        alert.source = {document.name, pointer};
        Register(alert, "alert", pointer);
      });
    });
  }

  void RegisterGroups(const Opened& document) {
    ForElements(document, kGroups, [this](const nlohmann::json& json, const std::string& pointer) {
      const CkxJsonDocument head = HeadOf(json);
      SkxAppGroupModel group;
      ReadNamed(_names.groups, json, [&] {
        CkxDocumentIn::ReadWhole(json.is_object() ? head.Root() : json, pointer, _names, group);
        Register(group, "application group", pointer);
      });
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
      const auto id = json.is_object() ? json.find("id") : json.end();
      if (id != json.end() && id->is_number_unsigned()) _policyIds.insert(id->get<uint64_t>());
      SkxPolicyModel& policy = _publication.policies.emplace_back();
      policy.order = _publication.policies.size();
      CkxDocumentIn::ReadWhole(json, pointer, _names, policy);
      policy.source = {document.name, pointer};
      if (_areUsersKnown) _users.Take(policy);
      const auto [other, isNew] = _policyPlaces.try_emplace(policy.id, document.name + "#" + pointer);
      if (!isNew) throw CkxDocumentFault(pointer + "/id", "the id is taken by " + other->second);
    });
  }

  void ReadApplicable(const Opened& document) {
    const auto json = document.Json().find(kApplicable);
    if (json == document.Json().end()) return;
    const std::string pointer = KxJson_Pointer("", kApplicable);
    if (_users.AreNamed()) throw CkxDocumentFault(pointer, "policies name their users, and the rows follow from that");
    for (const auto& [key, ids] : KxApplicable_Read(*json, pointer)) {
      for (size_t i = 0; i < ids.size(); ++i) {
        if (_policyIds.contains(ids[i])) continue;
        throw CkxDocumentFault(KxJson_Pointer(KxJson_Pointer(pointer, key), i), "there is no policy of this id");
      }
      std::vector<uint32_t>& row = _publication.applicable[key];
      row.insert(row.end(), ids.begin(), ids.end());
    }
  }

  void Conclude() {
    SkxDocumentError error;
    const bool isSaid = !_users.AreNamed() || _users.Rows(_publication.policies, _publication.applicable, error);
    if (!isSaid) _errors.push_back(std::move(error));
  }

  SkxPublication& _publication;
  std::vector<SkxDocumentError> _errors;
  std::vector<Opened> _opened;
  SkxDocumentNames _names;
  std::map<uint32_t, std::string> _policyPlaces;
  std::set<uint64_t> _policyIds;  // of those at fault too
  CkxDocumentUsers _users;
  bool _areUsersKnown = true;
  std::set<std::string> _told;  // errors: a group's head is read twice
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

bool KxPolicyDocument_Read(std::span<const SkxDocumentText> documents, SkxPublication& publication,
                           SkxDocumentError& error) {
  std::vector<SkxDocumentError> errors;
  if (KxPolicyDocument_ReadAll(documents, publication, errors)) return true;
  error = std::move(errors.front());
  return false;
}

bool KxPolicyDocument_ReadAll(std::span<const SkxDocumentText> documents, SkxPublication& publication,
                              std::vector<SkxDocumentError>& errors) {
  SkxPublication assembled;
  errors = Assembly(assembled).Read(documents);
  if (errors.empty()) publication = std::move(assembled);
  return errors.empty();
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
