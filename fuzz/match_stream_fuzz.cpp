// Input: lines for the match primitives. Each that is not blank has one answer, which is JSON and has an id.
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tools/kxpolicy/input.h"
#include "tools/kxpolicy/tool.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  size_t asked = 0;
  {
    std::istringstream in(text);
    CkxLineReader lines(in);
    for (std::string line; lines.Next(line);) ++asked;
  }
  std::istringstream in(text);
  std::ostringstream out;
  std::ostringstream err;
  SkxStreams streams = {in, out, err};
  const int code = KxPolicy_Run({"match"}, streams);
  if ((code != 0 && code != 3) || !err.str().empty()) std::abort();
  std::istringstream answers(out.str());
  for (std::string answer; std::getline(answers, answer); --asked) {
    if (!nlohmann::json::parse(answer).contains("id")) std::abort();
  }
  if (asked != 0) std::abort();
  return 0;
}
