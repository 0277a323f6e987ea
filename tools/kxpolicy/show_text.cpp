#include <ostream>

#include "Common_CPP/util/format.h"
#include "Common_CPP/util/guid.h"
#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/show_format.h"

namespace {

/// In the manner of the policies' own texts.
void AppendDebugMsg(CkxUtilStr& text, const CkxShBufCustGuiBase& alert) {
  KxText_AppendFormat(text, KXW("Alert id:\t%s\r\nType:\t%d\r\n"), KxGuid_ToText(alert.Id()),
                      static_cast<int>(alert.AlertType()));
  const auto* const dialog = dynamic_cast<const CkxShBufCustGuiDialog*>(&alert);
  if (dialog == nullptr) return;
  KxText_AppendFormat(text, KXW("Dialog type:\t%d\r\nHTML path:\t%s\r\n"), static_cast<uint32_t>(dialog->DlgType()),
                      dialog->HtmlPathView());
}

class TextFormat : public IkxShowFormat {
 public:
  explicit TextFormat(std::ostream& out) : _out(out) {}

  void Policy(const SkxShownRecord& record, const CkxShBufPolicy* policy) override {
    Show(record, KxShow_PolicyTitle(record), policy, [&](CkxUtilStr& text) { policy->_AppendDebugMsg(text); });
  }

  void Group(const SkxShownRecord& record, const CkxShBufAppGroup* group) override {
    Show(record, KxShow_GroupTitle(record), group, [&](CkxUtilStr& text) {
      for (const CkxShBufTarget& target : CkxNodes<CkxShBufTarget>(group->Targets())) target.AppendDebugMsg(text);
    });
  }

  void Alert(const SkxShownRecord& record, const CkxShBufCustGuiBase* alert) override {
    Show(record, KxShow_AlertTitle(record), alert, [&](CkxUtilStr& text) { AppendDebugMsg(text, *alert); });
  }

  void End(const SkxPolicyImage& /*image*/) override {}

 private:
  template <class Append>
  void Show(const SkxShownRecord& record, const std::string& title, const void* object, Append append) {
    _out << (_first ? "" : "\n") << "== " << title << ", byte " << record.offset
         << (object == nullptr ? ": does not parse" : "") << '\n';
    _first = false;
    if (object == nullptr) return;
    CkxUtilStr text;
    append(text);
    std::string utf8 = KxText_ToUtf8(text.View());
    std::erase(utf8, '\r');
    _out << utf8;
  }

  std::ostream& _out;
  bool _first = true;
};

}  // namespace

std::string KxShow_PolicyTitle(const SkxShownRecord& record) {
  const auto& header = record.As<SkxPolicyBufHeader>();
  return "policy " + std::to_string(header.id) + ", action " + std::to_string(static_cast<int32_t>(header.action));
}

std::string KxShow_GroupTitle(const SkxShownRecord& record) {
  const GUID id = record.As<SkxAppGroupBufHeader>().id;
  return "application group " + KxGuid_ToUtf8(id);
}

std::string KxShow_AlertTitle(const SkxShownRecord& record) {
  const auto& header = record.As<SkxAlertBufHeader>();
  const GUID id = header.id;
  return "alert " + KxGuid_ToUtf8(id) + ", type " + std::to_string(static_cast<uint16_t>(header.type));
}

std::unique_ptr<IkxShowFormat> KxShow_TextFormat(std::ostream& out) { return std::make_unique<TextFormat>(out); }
