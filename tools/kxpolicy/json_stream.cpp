#include "tools/kxpolicy/json_stream.h"

#include <nlohmann/json.hpp>
#include <ostream>

#include "Agent/engine/kx_publish/decision/fault_answer.h"
#include "Agent/engine/kx_publish/document/json_reader.h"
#include "tools/kxpolicy/input.h"
#include "tools/kxpolicy/memory.h"

namespace {

std::string AnswerToLine(const std::string& line, const KxStreamAnswer& answer) {
  const nlohmann::json value = KxJson_Parse(line, false);
  CkxJsonObject request(value, "");
  const nlohmann::json* const id = request.Find("id");
  const std::string members = answer(request);
  KxTool_RequireMemory();
  request.Finish();
  return "{\"id\":" + (id != nullptr ? id->dump() : "null") + "," + members + "}";
}

}  // namespace

EkxExit KxJsonStream_Run(std::istream& in, SkxStreams& streams, const KxStreamAnswer& answer) {
  EkxExit code = EkxExit::Done;
  CkxLineReader lines(in);
  for (std::string line; lines.Next(line);) {
    try {
      if (lines.TooLong()) throw CkxDocumentFault("", "the line is too long");
      streams.out << AnswerToLine(line, answer) << '\n';
    } catch (const CkxDocumentFault& fault) {
      streams.out << KxFaultAnswer_Of(lines.TooLong() ? "" : line, fault.Line()) << '\n';
      code = EkxExit::UnusableInput;
    }
    if (!streams.out || streams.outIsTerminal) KxTool_RequireOutput(streams);
  }
  return code;
}
