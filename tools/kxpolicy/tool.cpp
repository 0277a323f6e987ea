#include "tools/kxpolicy/tool.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <ostream>

#include "Agent/engine/kx_publish/document/nearest.h"
#include "Common_CPP/util/error_words.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/printable.h"
#include "tools/kxpolicy/outline/completion.h"
#include "tools/kxpolicy/tool_trace.h"

namespace {

constexpr SkxVerb kOriginVerbs[] = {
    {"convert", "Records from JSON to XML and back", KxVerb_OriginConvert},
    {"fill", "What is recorded of processes, and of the files that they make", KxVerb_OriginFill},
    {"sign", "Records that travel with a file, signed", KxVerb_OriginSign},
    {"verify", "What signed records hold", KxVerb_OriginVerify},
    {"get", "What is kept with a file of where it came from", KxVerb_OriginGet},
    {"set", "The same, in place of what it was", KxVerb_OriginSet},
    {"copy", "What is kept with one file, bound to another", KxVerb_OriginCopy},
    {"delete", "What is kept with a file, or parts of it", KxVerb_OriginDelete},
    {"migrate", "What is kept with files, signed anew", KxVerb_OriginMigrate},
};
constexpr SkxVerbGroup kOrigin = {kOriginVerbs};

constexpr SkxVerb kEaVerbs[] = {
    {"encode", "Records of extended attributes from their parts", KxVerb_EaEncode},
    {"decode", "What such records hold", KxVerb_EaDecode},
    {"list", "The attributes of a file", KxVerb_EaList},
    {"get", "One of them, with its value", KxVerb_EaGet},
    {"set", "One of them, in place of what it was", KxVerb_EaSet},
    {"delete", "One, some or all of them", KxVerb_EaDelete},
    {"size", "What they take together", KxVerb_EaSize},
};
constexpr SkxVerbGroup kEa = {kEaVerbs};

constexpr SkxVerb kConfigVerbs[] = {
    {"get", "One of them, or each that a stream asks for", KxVerb_ConfigGet},
    {"list", "All that have a value", KxVerb_ConfigList},
};
constexpr SkxVerbGroup kConfig = {kConfigVerbs};

constexpr SkxVerb kProcMapVerbs[] = {
    {"replay", "What becomes of a map of processes that is told of recorded events", KxVerb_ProcMapReplay},
};
constexpr SkxVerbGroup kProcMap = {kProcMapVerbs};

constexpr SkxVerb kVerbs[] = {
    {"new", "A folder with policies to begin with, and cases that hold them", KxVerb_New},
    {"compile", "Policy documents into an image", KxVerb_Compile},
    {"import", "Policies of other systems as a policy document", KxVerb_Import},
    {"check", "Errors in an image or in policy documents, and what cannot have been meant", KxVerb_Check},
    {"show", "The records of an image, or of what policy documents compile to", KxVerb_Show},
    {"report", "Policies, and what they decide, as one page to look at", KxVerb_Report},
    {"eval", "Which policy applies to a target, and what it does", KxVerb_Eval},
    {"summary", "Summaries of eval added up", KxVerb_Summary},
    {"test", "Policies held against cases: targets with the decision expected of each", KxVerb_Test},
    {"diff", "What two images or documents differ in, and which decisions differ", KxVerb_Diff},
    {"witness", "For each policy the smallest target document that it decides", KxVerb_Witness},
    {"describe", "Files and processes of this machine as target documents", KxVerb_Describe},
    {"events", "Recorded process starts as target documents", KxVerb_Events},
    {"suggest", "Policies from files and targets that are there", KxVerb_Suggest},
    {"match", "The match primitives, on a stream or tried out by hand", KxVerb_Match},
    {"record", "A result record as JSON", KxVerb_Record},
    {"origin", "The records of where files come from", nullptr, &kOrigin},
    {"ea", "Extended attributes, which are kept with files", nullptr, &kEa},
    {"stamp", "The policy decision that is stamped on tokens", KxVerb_Stamp},
    {"config", "The settings that configuration policies carry", nullptr, &kConfig},
    {"message", "The texts of messages that configuration policies carry", KxVerb_Message},
    {"procmap", "The map of processes that run and have ended", nullptr, &kProcMap},
    {"publish", "An image into the live sections of this machine", KxVerb_Publish},
    {"unpublish", "What is published, out again", KxVerb_Unpublish},
    {"serve", "The agent's part, from an image: publishes, answers, follows the image", KxVerb_Serve},
    {"status", "What the service of this machine has in force, and what it has done", KxVerb_Status},
    {"rollback", "The image before, back in force", KxVerb_Rollback},
    {"bench", "How many decisions a second this machine makes by an image", KxVerb_Bench},
    {"completion", "What makes a shell complete the words of this command", KxVerb_Completion},
    {"man", "The manual page of this command", KxVerb_Man},
};

/// The first argument is the verb, unless it is an option; behind a group it is one of the group's. The parser would
/// only say that a verb is missing.
void CheckVerb(std::span<const SkxVerb> verbs, std::span<const std::string> arguments, const std::string& group = "") {
  if (arguments.empty() || arguments[0].starts_with('-')) return;
  const auto isVerb = [&](const SkxVerb& verb) { return verb.name == arguments[0]; };
  const auto verb = std::find_if(verbs.begin(), verbs.end(), isVerb);
  if (verb == verbs.end()) {
    std::vector<std::string> names;
    for (const SkxVerb& each : verbs) names.emplace_back(each.name);
    throw CkxToolFault(EkxExit::UnusableArguments, "\"" + arguments[0] + "\" is no verb" +
                                                       KxNearest_Question(arguments[0], names) +
                                                       (KxNearest(arguments[0], names).empty() ? "; " : " ") +
                                                       "kxpolicy " + group + "--help lists them");
  }
  if (verb->group != nullptr) CheckVerb(verb->group->verbs, arguments.subspan(1), group + verb->name + " ");
}

/// Asked by the scripts of shells. What they hand on is no argument of ours: it is whatever somebody types.
constexpr std::string_view kComplete = "--complete=";

EkxExit Complete(std::span<const std::string> arguments, SkxStreams& streams) {
  const std::string typed = arguments[0].substr(kComplete.size());
  for (const SkxCandidate& each : KxCompletion_Of(KxTool_Outline(), arguments.subspan(1), typed)) {
    streams.out << each.text << (each.help.empty() ? "" : "\t" + each.help) << '\n';
  }
  KxTool_RequireOutput(streams);
  return EkxExit::Done;
}

EkxExit RunVerb(const std::vector<std::string>& arguments, SkxStreams& streams, CkxToolTrace& trace) {
  if (!arguments.empty() && arguments[0].starts_with(kComplete)) return Complete(arguments, streams);
  CheckVerb(kVerbs, arguments);
  const SkxParsedArguments parsed = KxOptions_Parse(kVerbs, arguments, streams);
  if (!parsed.action) return parsed.code;
  trace.Begin(parsed.trace);
  const EkxExit code = parsed.action(streams);
  if (!streams.outMayClose) KxTool_RequireOutput(streams);
  return code;
}

/// What is said without memory.
constexpr std::string_view kOutOfMemory = "kxpolicy: out of memory\n";

[[noreturn]] void EndWithoutMemory() {
  std::fwrite(kOutOfMemory.data(), 1, kOutOfMemory.size(), stderr);
  std::_Exit(static_cast<int>(EkxExit::SystemRefused));
}

/// What was thrown cannot be asked for here: unwinding has given it up.
thread_local bool isShortOfMemory = false;

void OnNoMemory() {
  isShortOfMemory = true;
  throw std::bad_alloc();
}

[[noreturn]] void OnTerminate() {
  if (isShortOfMemory) EndWithoutMemory();
  std::abort();
}

}  // namespace

SkxVerbOutline KxTool_Outline() { return KxOptions_Outline(kVerbs); }

void KxTool_EndWithoutMemory() {
  std::set_new_handler(OnNoMemory);
  std::set_terminate(OnTerminate);
}

void KxTool_RequireOutput(const SkxStreams& streams) {
  errno = 0;
  KxLastError_Set(kKxErrorSuccess);
  const bool isWritten = streams.out.rdbuf()->pubsync() == 0;  // once more, for the reason
  if (isWritten && streams.out) return;
  if (errno == EPIPE) throw CkxToolFault(EkxExit::SystemRefused, "");
  KxLastError_SetFromSystem();
  const std::string reason = KxLastError_Get() == kKxErrorSuccess ? "" : ": " + KxError_Words();
  throw CkxToolFault(EkxExit::SystemRefused, "standard output cannot be written" + reason);
}

int KxPolicy_Run(const std::vector<std::string>& arguments, SkxStreams& streams) {
  EkxExit code = EkxExit::SystemRefused;
  CkxToolTrace trace;
  try {
    try {
      code = RunVerb(arguments, streams, trace);
    } catch (const CkxToolFault& fault) {
      streams.out.flush();
      code = fault.Code();
      if (*fault.what() != 0) streams.err << "kxpolicy: " + KxText_Printable(fault.what()) + "\n";
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception& fault) {
      streams.err << "kxpolicy: " + KxText_Printable(fault.what()) + "\n";
    }
  } catch (const std::bad_alloc&) {
    code = EkxExit::SystemRefused;
    streams.err.write(kOutOfMemory.data(), kOutOfMemory.size());
  }
  if (code == EkxExit::SystemRefused) trace.LookBack();
  return static_cast<int>(code);
}
