// Input: what /proc tells of a process: a byte that selects the file, then its text.
#include <algorithm>
#include <cstdlib>

#include "Agent/engine/kx_util/command/command_line.h"
#include "Common_CPP/process/proc_text_posix.h"
#include "Common_CPP/util/text.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

/// Whatever the name of the process is, what the kernel says behind it is read alike.
void ReadStat(std::string_view text) {
  const std::optional<SkxProcStat> stat = KxProc_ParseStat(text);
  const size_t name = text.rfind(')');
  if (!stat) return;
  Require(name != std::string_view::npos);
  const std::optional<SkxProcStat> again = KxProc_ParseStat("1 (a) b" + std::string(text.substr(name)));
  Require(again && again->parent == stat->parent && again->startTicks == stat->startTicks);
  Require(again->state == stat->state && again->isKernelThread == stat->isKernelThread);
}

void ReadStatus(std::string_view text) {
  const std::optional<SkxProcStatus> status = KxProc_ParseStatus(text);
  Require(!status || (!status->groups.empty() && status->groups.size() <= text.size()));
}

/// The arguments behind the program's name come out of the line as they went in.
void ReadCommandLine(std::string_view text) {
  const KxWString line = KxProc_CommandLine(text);
  const std::vector<KxWString> apart = KxCommandLine_Split(line);
  const size_t count =
      static_cast<size_t>(std::count(text.begin(), text.end(), '\0')) + (text.empty() || text.back() == '\0' ? 0 : 1);
  Require(apart.size() == count);
  for (size_t i = 0; i < count; ++i) {
    const size_t end = std::min(text.find('\0'), text.size());
    const std::optional<KxWString> argument = KxText_FromUtf8(text.substr(0, end));
    if (argument && i != 0) Require(apart[i] == *argument);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  if (size == 0) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
  switch (data[0] % 3) {
    case 0:
      ReadStat(text);
      break;
    case 1:
      ReadStatus(text);
      break;
    default:
      ReadCommandLine(text);
  }
  return 0;
}
