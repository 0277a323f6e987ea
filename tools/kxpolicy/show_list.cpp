// What `show --list` prints: a line for each record.
#include <nlohmann/json.hpp>
#include <ostream>

#include "Agent/engine/kx_publish/model/policy_kinds.h"
#include "Common_CPP/util/guid.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/memory.h"
#include "tools/kxpolicy/show_format.h"

namespace {

struct ListedRecord {
  const char* record;
  std::string id;
  std::string kind;  ///< the action of a policy, the type of an alert, as documents call them, else their number
  std::string name;
  const char* state = "";  ///< what is out of the ordinary
};

class ListFormat : public IkxShowFormat {
 public:
  ListFormat(std::ostream& out, CkxAuthorNames names, bool asJson)
      : _out(out), _names(std::move(names)), _asJson(asJson) {}

  void Policy(const SkxShownRecord& record, const CkxShBufPolicy* policy) override {
    const auto& header = record.As<SkxPolicyBufHeader>();
    const EkxPolicyAction action = header.action;
    const auto* const kind = KxKind_Find(kKxPolicyKinds, &SkxPolicyKind::action, action);
    Row({"policy", std::to_string(header.id),
         kind != nullptr ? kind->key : std::to_string(static_cast<int32_t>(action)),
         policy != nullptr ? KxText_ToUtf8(policy->Name()) : "", StateOf(policy != nullptr, header.active != 0)});
  }

  void Group(const SkxShownRecord& record, const CkxShBufAppGroup* group) override {
    const GUID id = record.As<SkxAppGroupBufHeader>().id;
    Row({"applicationGroup", KxGuid_ToUtf8(id), "", NameOf(_names.Group(id)), StateOf(group != nullptr, true)});
  }

  void Alert(const SkxShownRecord& record, const CkxShBufCustGuiBase* alert) override {
    const auto& header = record.As<SkxAlertBufHeader>();
    const GUID id = header.id;
    const EkxAlertType type = header.type;
    const auto* const kind = KxKind_Find(kKxAlertKinds, &SkxAlertKind::type, type);
    Row({"alert", KxGuid_ToUtf8(id), kind != nullptr ? kind->key : std::to_string(static_cast<uint16_t>(type)),
         NameOf(_names.Alert(id)), StateOf(alert != nullptr, true)});
  }

  void End(const SkxPolicyImage& /*image*/) override {}

 private:
  static std::string NameOf(const SkxAuthorName* name) { return name != nullptr ? name->name : ""; }

  static const char* StateOf(bool parses, bool isActive) {
    KxTool_RequireMemory();  // of the object
    return !parses ? "does not parse" : !isActive ? "not active" : "";
  }

  void Row(const ListedRecord& row) {
    if (_asJson) {
      const nlohmann::ordered_json line = {
          {"record", row.record}, {"id", row.id}, {"kind", row.kind}, {"name", row.name}, {"state", row.state}};
      _out << line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
      return;
    }
    const auto padded = [](std::string text, size_t width) {
      return text.size() < width ? text.append(width - text.size(), ' ') : text;
    };
    std::string line = padded(row.record, 18) + padded(row.id, 40) + padded(row.kind, 22) + KxText_Printable(row.name);
    if (*row.state != '\0') line += std::string("  [") + row.state + "]";
    _out << line.substr(0, line.find_last_not_of(' ') + 1) << '\n';
  }

  std::ostream& _out;
  const CkxAuthorNames _names;
  const bool _asJson;
};

}  // namespace

std::unique_ptr<IkxShowFormat> KxShow_ListFormat(std::ostream& out, CkxAuthorNames names, bool asJson) {
  return std::make_unique<ListFormat>(out, std::move(names), asJson);
}
