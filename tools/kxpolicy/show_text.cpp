// What `show` prints for people.
#include <ostream>

#include "Agent/engine/kx_publish/record/record_walk.h"
#include "Common_CPP/util/byte_cursor.h"
#include "Common_CPP/util/format.h"
#include "Common_CPP/util/guid.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/memory.h"
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

/// Takes the tabs and the line ends out of the texts of a record.
class Flattener : public IkxRecordVisitor {
 public:
  explicit Flattener(std::vector<unsigned char>& record) : _record(record) {}

  void OnField(const SkxWalkedField& field) override {
    const EkxField kind = field.field.kind;
    if (kind != EkxField::Text && kind != EkxField::ObfuscatedText && kind != EkxField::NonEmptyText) return;
    const size_t begin = field.offset + sizeof(uint32_t);  // its count
    for (size_t i = 0; i < field.text.Size(); ++i) {
      const WCHAR unit = field.text[i];
      // However the unit is obfuscated, what changes in it changes in its bytes.
      if (unit == KXW('\t') || unit == KXW('\r') || unit == KXW('\n'))
        _record[begin + i * sizeof(WCHAR)] ^= static_cast<unsigned char>(unit ^ KXW(' '));
    }
  }

 private:
  std::vector<unsigned char>& _record;
};

std::vector<unsigned char> Flattened(const SkxShownRecord& record, const SkxRecordLayout& layout) {
  std::vector<unsigned char> copy(record.bytes, record.bytes + KxBytes_Load<uint32_t>(record.bytes + sizeof(uint32_t)));
  const std::vector<unsigned char> original = copy;
  Flattener flattener(copy);
  SkxRecordFault unused;
  KxRecord_Walk(layout, original, &flattener, unused);
  return copy;
}

/// `text` without a line end of its own: it ends a line only where `flat` does, which is the debug text of the same
/// record without line ends in its texts.
std::string WithLinesOf(CkxTextView flat, CkxTextView text) {
  if (flat.Size() != text.Size()) return KxText_Printable(text) + '\n';
  std::string lines;
  for (size_t begin = 0, at = 0; at <= text.Size(); ++at) {
    const WCHAR unit = at < text.Size() ? flat[at] : WCHAR{0};
    if (at < text.Size() && unit != KXW('\t') && unit != KXW('\r') && unit != KXW('\n')) continue;
    lines += KxText_Printable(text.Part(begin, at - begin));
    if (unit == KXW('\t') || unit == KXW('\n')) lines += static_cast<char>(unit);
    begin = at + 1;
  }
  return lines;
}

class TextFormat : public IkxShowFormat {
 public:
  explicit TextFormat(std::ostream& out) : _out(out) {}

  void Policy(const SkxShownRecord& record, const CkxShBufPolicy* policy) override {
    Show(record, KxShow_PolicyTitle(record), policy, kKxPolicyLayout,
         [](const CkxShBufPolicy& each, CkxUtilStr& text) { each._AppendDebugMsg(text); });
  }

  void Group(const SkxShownRecord& record, const CkxShBufAppGroup* group) override {
    Show(record, KxShow_GroupTitle(record), group, kKxAppGroupLayout,
         [](const CkxShBufAppGroup& each, CkxUtilStr& text) {
           for (const CkxShBufTarget& target : CkxNodes<CkxShBufTarget>(each.Targets())) target.AppendDebugMsg(text);
         });
  }

  void Alert(const SkxShownRecord& record, const CkxShBufCustGuiBase* alert) override {
    Show(record, KxShow_AlertTitle(record), alert, kKxAlertLayout,
         [](const CkxShBufCustGuiBase& each, CkxUtilStr& text) { AppendDebugMsg(text, each); });
  }

  void End(const SkxPolicyImage& /*image*/) override {}

 private:
  static CkxShBufPolicyPtr Made(const unsigned char* bytes, const CkxShBufPolicy* /*like*/) {
    return CkxShBufPolicyPtr(
        CkxShBufPolicy::PolicyFromBuffer(reinterpret_cast<const SkxPolicyBufHeader*>(bytes), false));
  }
  static CkxShBufAppGroupPtr Made(const unsigned char* bytes, const CkxShBufAppGroup* /*like*/) {
    return CkxShBufAppGroupPtr(
        CkxShBufAppGroup::AppGroupFromBuffer(reinterpret_cast<const SkxAppGroupBufHeader*>(bytes), false));
  }
  static CkxShBufCustGuiPtr Made(const unsigned char* bytes, const CkxShBufCustGuiBase* /*like*/) {
    return CkxShBufCustGuiPtr(
        CkxShBufCustGuiBase::CustGuiFromBuffer(reinterpret_cast<const SkxAlertBufHeader*>(bytes), false));
  }

  template <class Object, class Append>
  void Show(const SkxShownRecord& record, const std::string& title, const Object* object, const SkxRecordLayout& layout,
            Append append) {
    KxTool_RequireMemory();  // of the object
    _out << (_first ? "" : "\n") << "== " << title << ", byte " << record.offset
         << (object == nullptr ? ": does not parse" : "") << '\n';
    _first = false;
    if (object == nullptr) return;
    CkxUtilStr text;
    append(*object, text);
    KxTool_RequireMemory();
    const std::vector<unsigned char> flatRecord = Flattened(record, layout);
    CkxUtilStr flat;
    if (const auto flatObject = Made(flatRecord.data(), object)) append(*flatObject, flat);
    KxTool_RequireMemory();
    _out << WithLinesOf(flat.View(), text.View());
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
