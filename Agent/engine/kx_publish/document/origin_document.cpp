#include "Agent/engine/kx_publish/document/origin_document.h"

#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_util/origin/source_fields.h"

namespace {

using nlohmann::json;
using nlohmann::ordered_json;

constexpr const WCHAR* kHashMark = KXW("##");

/// The member that a child element is.
std::string MemberOf(const char* element) {
  std::string name = element;
  name[0] = static_cast<char>(name[0] | 0x20);
  return name;
}

std::string Utf8Of(CkxTextView text) {
  std::string utf8 = KxText_ToUtf8(text);
  if (KxText_FromUtf8(utf8) != text.ToString()) throw CkxDocumentFault("", "a text is not well-formed UTF-16");
  return utf8;
}

CkxSid SidAtPlace(const std::string& text, const std::string& pointer) {
  const std::optional<CkxSid> sid = CkxSid::FromUtf8(text);
  if (!sid) throw CkxDocumentFault(pointer, "\"" + text + "\" is no SID");
  return *sid;
}

class OriginOut {
 public:
  OriginOut(ordered_json& object, const SkxOriginDocumentOptions& options) : _object(object), _options(options) {}

  template <class Number_>
  void Number(const char* name, Number_ number) {
    if constexpr (std::is_enum_v<Number_>) {
      _object[name] = static_cast<uint32_t>(number);
    } else {
      _object[name] = number;
    }
  }
  void KnownNumber(const char* name, uint32_t number, uint32_t unknown) {
    if (number != unknown) _object[name] = number;
  }
  void Place(const char* name, int32_t place) { _object[name] = place; }
  void Flag(const char* name, bool flag) {
    if (flag) _object[name] = true;
  }
  void Text(const char* name, CkxTextView text) {
    if (!text.IsEmpty()) _object[name] = Utf8Of(text);
  }
  void Child(const char* name, CkxTextView text) { Text(MemberOf(name).c_str(), text); }
  template <class Attributes>
  void Child(const char* name, CkxTextView text, Attributes attributes) {
    Child(name, text);
    attributes(*this);
  }
  void Constant(const char* name, CkxTextView text) { Text(name, text); }
  void Constant(const char* name, int32_t number) { _object[name] = number; }
  void CopySource(const SkxFileSrcCopySource& source) {
    ordered_json object = ordered_json::object();
    OriginOut(object, _options).CopySourceAlone(source);
    if (!object.empty()) _object["copySrc"] = std::move(object);
  }
  void CopySourceAlone(const SkxFileSrcCopySource& source) {
    Text("path", source.path);
    Text("locationType", source.locationType);
    Text("localShareName", source.localShareName);
  }
  void Hash(CkxTextView hash) {
    const size_t mark = KxText_Find(hash, kHashMark, true);
    if (mark == CkxTextView::npos) return;
    Text("hash", hash.Part(mark + 2));
    Text("hashAlgorithm", hash.Part(0, mark));
  }
  void Sid(const char* name, const std::optional<CkxSid>& sid) {
    if (sid) _object[name] = sid->ToUtf8();
  }
  void Sids(const char* /*name*/, const char* all, const std::vector<CkxSid>& sids) {
    for (const CkxSid& sid : sids) _object[all].push_back(sid.ToUtf8());
  }
  void SourceTypes(const char* name, const CkxFileSrcProcess& process) {
    if (!_options.withSourceTypes) return;
    CkxUtilStr types;
    Text(name, process.SourceTypes().ToStr(types).View());
  }
  void Fresh(const char* name, bool flag) { Flag(name, flag); }
  void File(const SkxFileSrcFile& file) {
    if (!_options.withFile) return;
    if (file.smScrRep != 0) Number("smScrRep", file.smScrRep);
    Record("File", file);
  }
  template <class Record_>
  void Record(const char* name, const Record_& record, bool isThere = true) {
    if (!isThere) return;
    OriginOut out(_object[MemberOf(name)] = ordered_json::object(), _options);
    KxSourceFields(out, record);
  }
  template <class Record_>
  void Record(const char* name, const std::optional<Record_>& record) {
    if (record) Record(name, *record);
  }
  void Record(const char* /*name*/, const char* all, const std::vector<CkxFileSrcProcess>& processes) {
    for (const CkxFileSrcProcess& process : processes) {
      OriginOut out(_object[all].emplace_back(ordered_json::object()), _options);
      KxSourceFields(out, process);
    }
  }

 private:
  ordered_json& _object;
  const SkxOriginDocumentOptions _options;
};

class OriginIn {
 public:
  explicit OriginIn(CkxJsonObject& object) : _object(object) {}

  template <class Number_>
  void Number(const char* name, Number_& number) {
    if constexpr (std::is_enum_v<Number_>) {
      auto code = static_cast<uint32_t>(number);
      if (_object.Optional(name, code)) number = static_cast<Number_>(code);
    } else {
      _object.Optional(name, number);
    }
  }
  void KnownNumber(const char* name, uint32_t& number, uint32_t /*unknown*/) { Number(name, number); }
  void Place(const char* name, int32_t& place) { Number(name, place); }
  void Flag(const char* name, bool& flag) { _object.Optional(name, flag); }
  void Text(const char* name, KxWString& text) { _object.Optional(name, text); }
  void Child(const char* name, KxWString& text) { Text(MemberOf(name).c_str(), text); }
  template <class Attributes>
  void Child(const char* name, KxWString& text, Attributes attributes) {
    Child(name, text);
    attributes(*this);
  }
  void Constant(const char* name, CkxTextView constant) {
    KxWString text;
    if (!_object.Optional(name, text) || text == constant.ToString()) return;
    throw CkxDocumentFault(_object.PointerTo(name), "must be \"" + KxText_ToUtf8(constant) + "\"");
  }
  void Constant(const char* name, int32_t number) { _object.Optional(name, number); }
  void CopySource(SkxFileSrcCopySource& source) {
    Inside("copySrc", [&](OriginIn& in) { in.CopySourceAlone(source); });
  }
  void CopySourceAlone(SkxFileSrcCopySource& source) {
    Text("path", source.path);
    Text("locationType", source.locationType);
    Text("localShareName", source.localShareName);
  }
  void Hash(KxWString& hash) {
    KxWString digits, algorithm;
    Text("hash", digits);
    Text("hashAlgorithm", algorithm);
    if (!digits.empty() || !algorithm.empty()) hash = algorithm + kHashMark + digits;
  }
  void Sid(const char* name, std::optional<CkxSid>& sid) {
    std::string text;
    if (_object.Optional(name, text)) sid = SidAtPlace(text, _object.PointerTo(name));
  }
  void Sids(const char* /*name*/, const char* all, std::vector<CkxSid>& sids) {
    Each(all, [&](const json& value, const std::string& pointer) {
      sids.push_back(SidAtPlace(KxJson_As<std::string>(value, pointer), pointer));
    });
  }
  /// Follows from the other members, whatever is said.
  void SourceTypes(const char* name, const CkxFileSrcProcess& /*process*/) {
    KxWString answered;
    _object.Optional(name, answered);
  }
  void Fresh(const char* name, bool& flag) { Flag(name, flag); }
  void File(SkxFileSrcFile& file) {
    Record("File", file);
    Number("smScrRep", file.smScrRep);
  }
  template <class Record_>
  void Record(const char* name, Record_& record, bool isThere = true) {
    Record_ read;
    Inside(MemberOf(name).c_str(), [&](OriginIn& in) { KxSourceFields(in, read); });
    if (isThere) record = std::move(read);
  }
  template <class Record_>
  void Record(const char* name, std::optional<Record_>& record) {
    Inside(MemberOf(name).c_str(), [&](OriginIn& in) { KxSourceFields(in, record.emplace()); });
  }
  void Record(const char* name, std::optional<CkxFileSrcPackage>& package) {
    const std::string member = MemberOf(name);
    Inside(member.c_str(), [&](OriginIn& in) { in.Package(package.emplace()); });
    if (package && package->Type() == EkxFileSrcPackageType::None) package.reset();
  }
  void Record(const char* /*name*/, const char* all, std::vector<CkxFileSrcProcess>& processes) {
    Each(all, [&](const json& value, const std::string& pointer) {
      KxOriginDocument_Read(value, pointer, processes.emplace_back());
    });
  }
  void Package(CkxFileSrcPackage& package) {
    KxSourceFields(*this, package);
    if (package.Type() <= EkxFileSrcPackageType::Email) return;
    throw CkxDocumentFault(_object.PointerTo("type"), "is no type of package: must be 0 to 4");
  }

 private:
  template <class Read>
  void Inside(const char* name, Read read) {
    const json* const value = _object.Find(name);
    if (value == nullptr) return;
    CkxJsonObject object(*value, _object.PointerTo(name));
    OriginIn in(object);
    read(in);
    object.Finish();
  }

  template <class Read>
  void Each(const char* name, Read read) {
    const json* const values = _object.Find(name);
    if (values == nullptr) return;
    if (!values->is_array()) throw CkxDocumentFault(_object.PointerTo(name), "must be an array");
    for (size_t i = 0; i < values->size(); ++i) read((*values)[i], KxJson_Pointer(_object.PointerTo(name), i));
  }

  CkxJsonObject& _object;
};

template <class Io, class Record>
void MembersOf(Io& io, Record& record) {
  if constexpr (std::is_same_v<Record, CkxFileSrcPackage> && std::is_same_v<Io, OriginIn>) {
    io.Package(record);
  } else {
    KxSourceFields(io, record);
  }
}

}  // namespace

template <class Record>
void KxOriginDocument_Read(const json& value, const std::string& pointer, Record& record) {
  CkxJsonObject object(value, pointer);
  OriginIn in(object);
  Record read;
  MembersOf(in, read);
  object.Finish();
  record = std::move(read);
}

template <class Record>
ordered_json KxOriginDocument_Write(const Record& record, const SkxOriginDocumentOptions& options) {
  ordered_json object = ordered_json::object();
  OriginOut out(object, options);
  MembersOf(out, record);
  return object;
}

// NOLINTBEGIN(bugprone-macro-parentheses): a type
#define KX_RECORD_DOCUMENT(Record)                                                       \
  template void KxOriginDocument_Read(const json&, const std::string& pointer, Record&); \
  template ordered_json KxOriginDocument_Write(const Record&, const SkxOriginDocumentOptions&)

KX_RECORD_DOCUMENT(SkxFileSrcFile);
KX_RECORD_DOCUMENT(SkxFileSrcCopySource);
KX_RECORD_DOCUMENT(CkxFileSrcProcess);
KX_RECORD_DOCUMENT(CkxFileSrcInstaller);
KX_RECORD_DOCUMENT(CkxFileSrcParentInstaller);
KX_RECORD_DOCUMENT(CkxFileSrcUser);
KX_RECORD_DOCUMENT(CkxFileSrcPackage);
KX_RECORD_DOCUMENT(CkxFileOrigin);
// NOLINTEND(bugprone-macro-parentheses)
