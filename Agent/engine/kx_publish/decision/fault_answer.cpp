#include "Agent/engine/kx_publish/decision/fault_answer.h"

#include <nlohmann/json.hpp>

using nlohmann::json;

namespace {

/// Writing JSON recurses, and the line may be at fault for nesting too deep: what lies that deep is left out.
constexpr int kMaxDepth = 64;

std::string IdOf(const std::string& line, const std::string& noId) {
  const auto shallow = [](int depth, json::parse_event_t, json&) { return depth <= kMaxDepth; };
  const json value = json::parse(line, shallow, false);
  return value.is_object() && value.contains("id") ? value["id"].dump() : noId;
}

}  // namespace

std::string KxFaultAnswer_Of(const std::string& line, const std::string& fault, const std::string& noId) {
  // The fault may quote the line, and the line need not be UTF-8.
  return "{\"id\":" + IdOf(line, noId) +
         ",\"error\":" + json(fault).dump(-1, ' ', false, json::error_handler_t::replace) + "}";
}
