#include "tools/kxpolicy/ea_answer.h"

#include <nlohmann/json.hpp>

#include "Common_CPP/util/hex.h"

using nlohmann::ordered_json;

ordered_json KxEaAnswer_Of(const CkxFileFullEaInfo& info, bool withValue) {
  ordered_json answer = {{"name", info.Name()}, {"flags", info.Flags()}};
  if (withValue) answer["value"] = KxHex_FromBytes({info.Value(), info.ValueLength()});
  answer["size"] = info.Size();
  return answer;
}

std::string KxEaAnswer_Line(const ordered_json& answer) {
  return answer.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}
