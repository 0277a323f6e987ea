// completion, man: what shells and manuals are told about the command.
#include <memory>
#include <ostream>

#include "tools/kxpolicy/outline/completion.h"
#include "tools/kxpolicy/outline/manual.h"
#include "tools/kxpolicy/tool.h"

namespace {

struct Shell {
  const char* name;
  const std::string_view* script;
};
constexpr Shell kShells[] = {{"bash", &kKxCompletionBash},
                             {"zsh", &kKxCompletionZsh},
                             {"fish", &kKxCompletionFish},
                             {"powershell", &kKxCompletionPs1}};

}  // namespace

KxVerbAction KxVerb_Completion(const CkxVerbOptions& verb) {
  const auto wanted = std::make_shared<std::string>();
  verb.Add("shell", *wanted, "bash, zsh, fish or powershell").Required().OneOf({"bash", "zsh", "fish", "powershell"});
  verb.Footer("Example: source <(kxpolicy completion bash)");
  return [wanted](SkxStreams& streams) {
    for (const Shell& shell : kShells) {
      if (shell.name == *wanted) streams.out << *shell.script;
    }
    return EkxExit::Done;
  };
}

KxVerbAction KxVerb_Man(const CkxVerbOptions& verb) {
  verb.Footer("Example: kxpolicy man | man -l -");
  return [](SkxStreams& streams) {
    streams.out << KxManual_Of(KxTool_Outline(), KX_VERSION);
    return EkxExit::Done;
  };
}
