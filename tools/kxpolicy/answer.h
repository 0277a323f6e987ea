// Answers to the requests of a stream (json_stream.h) that are put together as JSON.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "tools/kxpolicy/refusal.h"

/// What the library refused, and why: an answer like any other.
inline nlohmann::ordered_json KxAnswer_Refused(const CkxRefusal& refusal) {
  return {{"refused", true}, {"error", refusal.Text()}};
}

/// The members of an object, without braces. What it quotes of somebody else's bytes need not be UTF-8.
inline std::string KxAnswer_Members(const nlohmann::ordered_json& answer) {
  const std::string text = answer.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
  return text.substr(1, text.size() - 2);
}
