#include "Agent/engine/kx_publish/json_reader.h"

#include <algorithm>
#include <set>
#include <vector>

namespace {

using nlohmann::json;

constexpr int kMaxDepth = 64;

/// Thrown by a quick look at a document that may be at fault.
struct Suspicion {};

/// Sees while a document is parsed whether it nests too deep or has a key twice, and nothing of where.
class QuickLook {
 public:
  void OnEvent(int depth, json::parse_event_t event, const json& parsed) {
    if (event == json::parse_event_t::key) {
      ++_keys.back();
    } else if (event == json::parse_event_t::object_start || event == json::parse_event_t::array_start) {
      if (depth >= kMaxDepth) throw Suspicion();
      _keys.push_back(0);
    } else if (event == json::parse_event_t::object_end || event == json::parse_event_t::array_end) {
      if (parsed.is_object() && parsed.size() != _keys.back()) throw Suspicion();
      _keys.pop_back();
    }
  }

 private:
  std::vector<size_t> _keys;  // of each open object; 0 for an array
};

/// Watches a document while it is parsed: where it is, and which keys each open object has had.
class Nesting {
 public:
  bool OnEvent(int depth, json::parse_event_t event, const json& parsed) {
    switch (event) {
      case json::parse_event_t::object_start:
      case json::parse_event_t::array_start:
        if (depth >= kMaxDepth) throw CkxDocumentFault(Pointer(), "nested too deeply");
        _open.push_back({event == json::parse_event_t::object_start, {}, {}, 0});
        break;
      case json::parse_event_t::key:
        OnKey(parsed.get_ref<const std::string&>());
        break;
      case json::parse_event_t::object_end:
      case json::parse_event_t::array_end:
        _open.pop_back();
        [[fallthrough]];
      case json::parse_event_t::value:
        if (!_open.empty()) ++_open.back().index;
        break;
    }
    return true;
  }

 private:
  struct Level {
    bool isObject;
    std::set<std::string, std::less<>> keys;
    std::string key;
    size_t index;
  };

  void OnKey(const std::string& key) {
    Level& level = _open.back();
    level.key = key;
    if (!level.keys.insert(key).second) throw CkxDocumentFault(Pointer(), "the key is there twice");
  }

  std::string Pointer() const {
    std::string pointer;
    for (const Level& level : _open) {
      pointer = level.isObject ? KxJson_Pointer(pointer, level.key) : KxJson_Pointer(pointer, level.index);
    }
    return pointer;
  }

  std::vector<Level> _open;
};

/// The parser's own words from "line ..." on; what comes before them are numbers of its exceptions.
std::string PlainMessage(const json::exception& fault) {
  const std::string_view what = fault.what();
  for (const std::string_view mark : {"parse error at ", "] "}) {
    if (const size_t at = what.find(mark); at != what.npos) return std::string(what.substr(at + mark.size()));
  }
  return std::string(what);
}

[[noreturn]] void Refuse(const std::string& pointer, const std::string& what) { throw CkxDocumentFault(pointer, what); }

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
  Refuse(pointer,
         "must be a whole number from " + std::to_string(Limits::min()) + " to " + std::to_string(Limits::max()));
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

bool ToBool(const json& value, const std::string& pointer) {
  if (!value.is_boolean()) Refuse(pointer, "must be true or false");
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

nlohmann::json KxJson_Parse(std::string_view text, bool commentsAllowed) {
  QuickLook quick;
  const auto look = [&quick](int depth, json::parse_event_t event, json& parsed) {
    quick.OnEvent(depth, event, parsed);
    return true;
  };
  Nesting nesting;
  const auto watch = [&nesting](int depth, json::parse_event_t event, json& parsed) {
    return nesting.OnEvent(depth, event, parsed);
  };
  try {
    try {
      return json::parse(text, look, true, commentsAllowed);
    } catch (const Suspicion&) {
      return json::parse(text, watch, true, commentsAllowed);  // names the place
    }
  } catch (const json::exception& fault) {
    throw CkxDocumentFault("", PlainMessage(fault));
  }
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
}

const nlohmann::json* CkxJsonObject::Find(const char* key) {
  const auto found = _json.find(key);
  if (found == _json.end()) return nullptr;
  if (std::find(_known.begin(), _known.end(), &*found) == _known.end()) _known.push_back(&*found);
  return &*found;
}

void CkxJsonObject::Finish() const {
  if (_known.size() == _json.size()) return;
  for (const auto& [key, value] : _json.items()) {
    if (std::find(_known.begin(), _known.end(), &value) == _known.end()) Refuse(PointerTo(key), "unknown key");
  }
}
