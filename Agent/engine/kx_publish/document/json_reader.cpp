#include "Agent/engine/kx_publish/document/json_reader.h"

#include <algorithm>
#include <cstring>
#include <nlohmann/json.hpp>
#include <vector>

#include "Agent/engine/kx_publish/document/nearest.h"

namespace {

using nlohmann::json;

constexpr size_t kMaxDepth = 64;

/// The parser's own words from "line ..." on; what comes before them are numbers of its exceptions. With advice for who
/// wrote a path as systems show it.
std::string PlainMessage(const json::exception& fault) {
  std::string_view what = fault.what();
  const bool isBackslash = what.find("after backslash") != what.npos;
  for (const std::string_view mark : {"parse error at ", "] "}) {
    const size_t at = what.find(mark);
    if (at == what.npos) continue;
    what.remove_prefix(at + mark.size());
    break;
  }
  return std::string(what) + (isBackslash ? "; a backslash is written twice" : "");
}

/// Builds a document while it is parsed. The parser's own builder would let the last of two values under one key win;
/// one that calls back on each element walks the array around it, over and over.
class Builder {
 public:
  explicit Builder(json& root) : _root(root) {}

  bool null() { return Add(nullptr); }
  bool boolean(bool value) { return Add(value); }
  bool number_integer(json::number_integer_t value) { return Add(value); }
  bool number_unsigned(json::number_unsigned_t value) { return Add(value); }
  bool number_float(json::number_float_t value, const std::string& /*text*/) { return Add(value); }
  bool string(std::string& value) { return Add(std::move(value)); }
  bool binary(json::binary_t& /*value*/) { return false; }  // not in JSON text
  bool start_object(size_t /*count*/) { return Open(json::object()); }
  bool start_array(size_t /*count*/) { return Open(json::array()); }
  bool end_object() { return Close(); }
  bool end_array() { return Close(); }

  bool key(std::string& key) {
    Level& level = _open.back();
    const auto [member, isNew] = level.value->emplace(key, nullptr);
    level.member = member;
    if (!isNew) throw CkxDocumentFault(Place(), "the key is there twice");
    return true;
  }

  bool parse_error(size_t /*position*/, const std::string& /*token*/, const json::exception& fault) {
    throw CkxDocumentFault("", PlainMessage(fault));
  }

 private:
  struct Level {
    json* value;            // stays where it is as long as the level is open: it is the last element of its parent
    json::iterator member;  // of an object: the value that comes next
  };

  json* Put(json value) {
    if (_open.empty()) return &(_root = std::move(value));
    Level& level = _open.back();
    if (level.value->is_object()) return &(*level.member = std::move(value));
    level.value->push_back(std::move(value));
    return &level.value->back();
  }

  bool Add(json value) {
    Put(std::move(value));
    return true;
  }

  bool Open(json value) {
    if (_open.size() >= kMaxDepth) throw CkxDocumentFault(Place(), "nested too deeply");
    json* const added = Put(std::move(value));
    _open.push_back({added, added->end()});
    return true;
  }

  bool Close() {
    _open.pop_back();
    return true;
  }

  /// Of the value that comes next.
  std::string Place() const {
    std::string pointer;
    for (size_t i = 0; i < _open.size(); ++i) {
      const json& value = *_open[i].value;
      const bool isOuter = i + 1 < _open.size();  // has the level below among its elements already
      pointer = value.is_object() ? KxJson_Pointer(pointer, _open[i].member.key())
                                  : KxJson_Pointer(pointer, value.size() - (isOuter ? 1 : 0));
    }
    return pointer;
  }

  json& _root;
  std::vector<Level> _open;
};

[[noreturn]] void Refuse(const std::string& pointer, const std::string& what) { throw CkxDocumentFault(pointer, what); }

/// For who put a number, or what is true or false, between quotation marks.
std::string AdviceIf(bool isQuoted) { return isQuoted ? ", without quotation marks" : ""; }

bool IsNumberAsText(const json& value) {
  if (!value.is_string()) return false;
  const auto& text = value.get_ref<const std::string&>();
  return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

template <class Number>
Number ToInteger(const json& value, const std::string& pointer) {
  using Limits = std::numeric_limits<Number>;
  if (value.is_number_unsigned()) {
    const auto number = value.get<uint64_t>();
    if (number <= static_cast<uint64_t>(Limits::max())) return static_cast<Number>(number);
  } else if (value.is_number_integer() && std::is_signed_v<Number>) {
    const auto number = value.get<int64_t>();
    if (number >= static_cast<int64_t>(Limits::min())) return static_cast<Number>(number);
  }
  Refuse(pointer, "must be a whole number from " + std::to_string(Limits::min()) + " to " +
                      std::to_string(Limits::max()) + AdviceIf(IsNumberAsText(value)));
}

const std::string& ToText(const json& value, const std::string& pointer) {
  if (!value.is_string()) Refuse(pointer, "must be a text");
  const auto& text = value.get_ref<const std::string&>();
  if (text.find('\0') != text.npos) Refuse(pointer, "must not have a NUL inside");
  return text;
}

KxWString ToWideText(const json& value, const std::string& pointer) {
  std::optional<KxWString> text = KxText_FromUtf8(ToText(value, pointer));
  if (!text.has_value()) Refuse(pointer, "must be UTF-8");
  return *std::move(text);
}

/// One of 64 bits.
uint64_t MarkOf(std::string_view key) {
  const unsigned first = key.empty() ? 0 : static_cast<unsigned char>(key.front());
  return uint64_t{1} << ((first * 5 + key.size()) % 64);
}

bool ToBool(const json& value, const std::string& pointer) {
  if (!value.is_boolean()) {
    Refuse(pointer, "must be true or false" + AdviceIf(value == "true" || value == "false"));
  }
  return value.get<bool>();
}

}  // namespace

std::string KxJson_Pointer(const std::string& pointer, std::string_view key) {
  std::string extended = pointer + '/';
  for (const char unit : key) {
    if (unit == '~') {
      extended += "~0";
    } else if (unit == '/') {
      extended += "~1";
    } else {
      extended += unit;
    }
  }
  return extended;
}

std::string KxJson_Pointer(const std::string& pointer, size_t index) { return pointer + '/' + std::to_string(index); }

void KxJson_GiveUp(nlohmann::json& value) noexcept {
  if (!value.is_structured()) return;
  for (json& child : value) KxJson_GiveUp(child);
  value.clear();
}

CkxJsonDocument::CkxJsonDocument(std::string_view text, bool commentsAllowed) : _root(std::make_unique<json>()) {
  if (text.find('\0') != text.npos) throw CkxDocumentFault("", "must not have a NUL inside");
  Builder builder(*_root);
  try {
    json::sax_parse(text, &builder, json::input_format_t::json, true, commentsAllowed);
  } catch (...) {
    KxJson_GiveUp(*_root);
    throw;
  }
}

CkxJsonDocument CkxJsonDocument::Object() {
  CkxJsonDocument document;
  document._root = std::make_unique<json>(json::value_t::object);
  return document;
}

CkxJsonDocument::CkxJsonDocument(CkxJsonDocument&& other) noexcept = default;

CkxJsonDocument::~CkxJsonDocument() {
  if (_root != nullptr) KxJson_GiveUp(*_root);
}

nlohmann::json KxJson_Parse(std::string_view text, bool commentsAllowed) {
  CkxJsonDocument document(text, commentsAllowed);
  return std::move(*document._root);
}

template <class Value>
Value KxJson_As(const nlohmann::json& value, const std::string& pointer) {
  if constexpr (std::is_same_v<Value, bool>) {
    return ToBool(value, pointer);
  } else if constexpr (std::is_same_v<Value, std::string>) {
    return ToText(value, pointer);
  } else if constexpr (std::is_same_v<Value, KxWString>) {
    return ToWideText(value, pointer);
  } else {
    return ToInteger<Value>(value, pointer);
  }
}

template bool KxJson_As(const nlohmann::json&, const std::string&);
template uint8_t KxJson_As(const nlohmann::json&, const std::string&);
template uint16_t KxJson_As(const nlohmann::json&, const std::string&);
template uint32_t KxJson_As(const nlohmann::json&, const std::string&);
template uint64_t KxJson_As(const nlohmann::json&, const std::string&);
template int32_t KxJson_As(const nlohmann::json&, const std::string&);
template int64_t KxJson_As(const nlohmann::json&, const std::string&);
template std::string KxJson_As(const nlohmann::json&, const std::string&);
template KxWString KxJson_As(const nlohmann::json&, const std::string&);

CkxJsonObject::CkxJsonObject(const nlohmann::json& object, std::string pointer)
    : _json(object), _pointer(std::move(pointer)) {
  if (!_json.is_object()) Refuse(_pointer, "must be an object");
  _known.reserve(_json.size());
  for (const auto& member : _json.get_ref<const json::object_t&>()) _marks |= MarkOf(member.first);
}

const nlohmann::json* CkxJsonObject::Find(const char* key) {
  const size_t size = std::strlen(key);
  if (_askedCount < _asked.size() && size <= kMaxAskedKey) std::memcpy(_asked[_askedCount++], key, size + 1);
  if ((_marks & MarkOf(key)) == 0) return nullptr;
  const auto found = _json.find(key);
  if (found == _json.end()) return nullptr;
  if (std::find(_known.begin(), _known.end(), &*found) == _known.end()) _known.push_back(&*found);
  return &*found;
}

void CkxJsonObject::Finish() const {
  if (_known.size() == _json.size()) return;
  for (const auto& [key, value] : _json.items()) {
    if (std::find(_known.begin(), _known.end(), &value) != _known.end()) continue;
    const std::vector<std::string> asked(_asked.begin(), _asked.begin() + static_cast<std::ptrdiff_t>(_askedCount));
    Refuse(PointerTo(key), "unknown key" + KxNearest_Question(key, asked));
  }
}
