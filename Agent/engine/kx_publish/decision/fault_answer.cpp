#include "Agent/engine/kx_publish/decision/fault_answer.h"

#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/json_reader.h"

using nlohmann::json;

namespace {

/// Keeps of a document that is parsed what it has under "id", and nothing else. Writing JSON recurses, and the document
/// may be at fault for nesting too deep: what lies that deep is left out.
class IdReader {
 public:
  /// Null where there is none.
  const json* Id() const {
    const auto id = _kept.Root().find(kId);
    return id != _kept.Root().end() ? &*id : nullptr;
  }

  bool null() { return Add(nullptr); }
  bool boolean(bool value) { return Add(value); }
  bool number_integer(json::number_integer_t value) { return Add(value); }
  bool number_unsigned(json::number_unsigned_t value) { return Add(value); }
  bool number_float(json::number_float_t value, const std::string& /*text*/) { return Add(value); }
  bool string(std::string& value) { return Add(std::move(value)); }
  bool binary(json::binary_t& /*value*/) { return false; }  // not in JSON text
  bool start_object(size_t /*count*/) { return Open(json::value_t::object); }
  bool start_array(size_t /*count*/) { return Open(json::value_t::array); }
  bool end_object() { return Close(); }
  bool end_array() { return Close(); }
  bool parse_error(size_t /*position*/, const std::string& /*token*/, const json::exception& /*fault*/) {
    return false;
  }

  bool key(std::string& key) {
    if (_depth == 1) _isInId = key == kId;
    _key = std::move(key);
    return true;
  }

 private:
  static constexpr const char* kId = "id";
  static constexpr size_t kMaxDepth = 64;

  bool Add(json value) {
    Keep(std::move(value));
    return true;
  }

  /// Where it is kept now; null for what is not.
  json* Keep(json value) {
    if (!_isInId || _depth > kMaxDepth) return nullptr;
    json& parent = _open.empty() ? _kept.Root() : *_open.back();
    if (parent.is_array()) {
      parent.push_back(std::move(value));
      return &parent.back();
    }
    json& member = parent[_key];
    KxJson_GiveUp(member);  // the last of two counts
    member = std::move(value);
    return &member;
  }

  bool Open(json::value_t type) {
    json* const kept = Keep(json(type));
    ++_depth;
    if (kept != nullptr) _open.push_back(kept);
    return true;
  }

  bool Close() {
    --_depth;
    if (_depth > 0 && _depth <= kMaxDepth && _isInId) _open.pop_back();
    return true;
  }

  CkxJsonDocument _kept = CkxJsonDocument::Object();  // {"id": ...}
  std::vector<json*> _open;                           // containers in the id; each stays where it is while it is open
  std::string _key;
  size_t _depth = 0;  // of containers that are open
  bool _isInId = false;
};

std::string IdJsonOf(std::string_view line, const std::string& noId) {
  IdReader reader;
  const bool isRead = json::sax_parse(line, &reader);
  const json* const id = reader.Id();
  return isRead && id != nullptr ? id->dump() : noId;
}

}  // namespace

std::string KxFaultAnswer_Of(std::string_view line, const std::string& fault, const std::string& noId) {
  // The fault may quote the line, and the line need not be UTF-8.
  return "{\"id\":" + IdJsonOf(line, noId) +
         ",\"error\":" + json(fault).dump(-1, ' ', false, json::error_handler_t::replace) + "}";
}
