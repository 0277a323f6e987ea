// The command. All it does is in tool.h, where the tests reach it.
#include <iostream>

#include "Common_CPP/util/process_args.h"
#include "tools/kxpolicy/tool.h"

int main(int argc, char** argv) {
  KxTool_EndWithoutMemory();
  const CkxProcessStreams process;
  std::ios::sync_with_stdio(false);
  std::cin.tie(nullptr);  // answers are flushed one by one where a person waits for them
  SkxStreams streams = {std::cin, std::cout, std::cerr};
  streams.inIsTerminal = process.InIsTerminal();
  streams.outIsTerminal = process.OutIsTerminal();
  streams.errIsTerminal = process.ErrorIsTerminal();
  streams.isInForeground = KxProcess_IsInForeground;
  return KxPolicy_Run(KxProcess_Arguments(argc, argv), streams);
}
