// eval: which policy applies to live files, to a live process, to one target document, or to each of a stream of them.
#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <ostream>

#include "Agent/engine/kx_publish/decision/decision.h"
#include "Agent/engine/kx_publish/decision/decision_json.h"
#include "Agent/engine/kx_publish/decision/decision_summary.h"
#include "Agent/engine/kx_publish/decision/fault_answer.h"
#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/target_document.h"
#include "tools/kxpolicy/decision_text.h"
#include "tools/kxpolicy/image_input.h"
#include "tools/kxpolicy/input.h"
#include "tools/kxpolicy/live_target.h"
#include "tools/kxpolicy/policy_input.h"
#include "tools/kxpolicy/progress.h"
#include "tools/kxpolicy/secret_input.h"
#include "tools/kxpolicy/tool.h"
#include "tools/kxpolicy/trust_input.h"

namespace {

constexpr const char* kWithoutAnAgent =
    "kxpolicy: a policy on this machine could not be asked. `kxpolicy serve DIR` publishes an image and answers for "
    "the "
    "agent; policies before --file, a folder or documents, are asked without one.\n";

struct EvalOptions {
  std::vector<std::string> policies;
  std::vector<std::string> files;
  std::string fileList;
  std::optional<uint32_t> pid;
  std::string target;
  std::string targets;
  std::string user;
  SkxTrustOptions trust;
  SkxSecretOptions secrets;
  std::string explain;
  bool summary = false;
  bool errorsOk = false;
  std::string format = "text";
  bool brief = false;
  std::string fields = kKxBriefMembers;
  KxDecisionMembers members = kKxAllMembers;
  SkxDecisionWish wish;
};

/// Writes answers in the order asked, in the format asked for.
class Answers {
 public:
  Answers(const EvalOptions& options, SkxStreams& streams)
      : _json(options.format == "json"),
        _members(options.members),
        _isLive(options.policies.empty()),
        _streams(streams) {
    if (options.summary) _summary.emplace();
  }

  /// The summary, where one is asked for in place of the answers.
  CkxDecisionSummary* Summary() { return _summary ? &*_summary : nullptr; }

  /// `nameOf()` is how a person calls the target; only the table asks for it.
  template <class Name>
  void Write(SkxDecision decision, Name nameOf) {
    if (_isLive) Judge(decision);
    if (_summary) return _summary->Count(decision);
    if (_json) {
      Line(KxDecision_ToJson(decision, _members));
      return;
    }
    Heading();
    Line(KxDecision_ToRow(decision, nameOf()));
    _streams.out << KxDecision_ExplanationText(decision);
  }

  /// `told` is the same to a person.
  void WriteFault(const std::string& line, const std::string& fault, const SkxLineFault& told) {
    if (_summary) return _summary->CountUnusable();
    if (_json) {
      Line(KxFaultAnswer_Of(line, fault));
      return;
    }
    Heading();
    SkxDecision none;
    none.error = "unusable: " + told.what;
    Line(KxDecision_ToRow(none, told.place));
  }

  void End() {
    if (_summary) _streams.out << (_json ? _summary->ToJson() + "\n" : _summary->ToText());
  }

  /// Whether there was a question that this machine could not be asked.
  bool IsAnyUnanswered() const { return _isAnyUnanswered; }

 private:
  /// An image is judged as it is; a machine where nothing is published, or that cannot be asked, has not answered.
  void Judge(SkxDecision& decision) {
    if (decision.outcome == EkxEvaluationOutcome::NothingPublished && decision.error.empty()) {
      decision.error = "No policies are published on this machine";
    }
    _isAnyUnanswered = _isAnyUnanswered || decision.outcome == EkxEvaluationOutcome::NothingPublished ||
                       decision.outcome == EkxEvaluationOutcome::NotAnswered;
  }

  void Heading() {
    if (!_headed) Line(KxDecision_TableHeading());
    _headed = true;
  }
  void Line(const std::string& line) {
    _streams.out << line << '\n';
    if (!_streams.out || _streams.outIsTerminal) KxTool_RequireOutput(_streams);
  }

  const bool _json;
  const KxDecisionMembers _members;
  const bool _isLive;
  SkxStreams& _streams;
  std::optional<CkxDecisionSummary> _summary;
  bool _headed = false;
  bool _isAnyUnanswered = false;
};

/// How a person calls a target: its id, else its path.
std::string NameOf(const CkxTargetDocument& document) {
  const auto id = nlohmann::json::parse(document.IdJson());
  if (id.is_string()) return id.get<std::string>();
  const IkxPathProvider* const file = document.Target().QueryPathProvider();
  return id.is_null() && file != nullptr ? KxText_ToUtf8(file->GetPath()) : document.IdJson();
}

EkxExit EvalStream(const EvalOptions& options, const std::optional<CkxSid>& user, const CkxImageJudge& judge,
                   Answers& answers, SkxStreams& streams) {
  CkxInput input(options.targets, streams.in);
  CkxLineReader lines(input);
  CkxProgress progress(streams, "evaluated", &input);
  EkxExit code = EkxExit::Done;
  for (std::string line; lines.Next(line);) {
    progress.At(lines.Number(), input.Taken());
    try {
      if (lines.TooLong()) throw CkxDocumentFault("", "the line is too long");
      const CkxTargetDocument document = CkxTargetDocument::Parse(line, user);
      answers.Write(KxDecision_OfDocument(document, options.wish, judge), [&] { return NameOf(document); });
    } catch (const CkxDocumentFault& fault) {
      answers.WriteFault(lines.TooLong() ? "" : line, fault.Line(), SkxLineFault(input.Name(), lines.Number(), fault));
      if (!options.errorsOk) code = EkxExit::UnusableInput;
    }
  }
  return code;
}

EkxExit EvalDocument(const EvalOptions& options, const std::optional<CkxSid>& user, const CkxImageJudge& judge,
                     Answers& answers, SkxStreams& streams) {
  CkxInput input(options.target, streams.in);
  const SkxDocumentText text = {input.Name(), input.ReadAll()};
  try {
    const CkxTargetDocument document = CkxTargetDocument::Parse(text.text, user);
    answers.Write(KxDecision_OfDocument(document, options.wish, judge), [&] { return NameOf(document); });
  } catch (const CkxDocumentFault& fault) {
    throw CkxToolFault(EkxExit::UnusableInput,
                       KxPolicyInput_FaultLine({text}, {text.name, fault.Pointer(), fault.what()}));
  }
  return EkxExit::Done;
}

void EvalFile(const std::string& file, const EvalOptions& options, void* token, const CkxImageJudge& judge,
              Answers& answers) {
  SkxDecision decision = KxDecision_Of(*KxLive_File(file, token), options.wish, judge);
  decision.idJson = nlohmann::json(file).dump();
  answers.Write(std::move(decision), [&] { return file; });
}

/// A stream of paths: one that cannot be read is answered in its place.
EkxExit EvalFileList(const EvalOptions& options, void* token, const CkxImageJudge& judge, Answers& answers,
                     SkxStreams& streams) {
  CkxInput input(options.fileList, streams.in);
  CkxLineReader lines(input);
  CkxProgress progress(streams, "evaluated", &input);
  EkxExit code = EkxExit::Done;
  for (std::string line; lines.Next(line);) {
    progress.At(lines.Number(), input.Taken());
    try {
      EvalFile(line, options, token, judge, answers);
    } catch (const CkxToolFault& fault) {
      if (fault.Code() != EkxExit::UnusableInput) throw;
      answers.WriteFault("", fault.what(),
                         SkxLineFault(input.Name(), lines.Number(), CkxDocumentFault("", fault.what())));
      if (!options.errorsOk) code = EkxExit::UnusableInput;
    }
  }
  return code;
}

EkxExit EvalFiles(const EvalOptions& options, void* token, const CkxImageJudge& judge, Answers& answers) {
  for (const std::string& file : options.files) EvalFile(file, options, token, judge, answers);
  return EkxExit::Done;
}

EkxExit EvalProcess(const EvalOptions& options, void* token, const CkxImageJudge& judge, Answers& answers) {
  const CkxTargetInfoPtr process = KxLive_Process(*options.pid, token);
  SkxDecision decision = KxDecision_Of(*process, options.wish, judge);
  decision.idJson = std::to_string(*options.pid);
  answers.Write(std::move(decision), [&] { return KxText_ToUtf8(process->QueryPathProvider()->GetPath()); });
  return EkxExit::Done;
}

EkxExit EvalLive(const EvalOptions& options, const std::optional<CkxSid>& user, const CkxImageJudge& judge,
                 Answers& answers, SkxStreams& streams) {
  std::optional<CkxAccessToken> token;
  if (user) token.emplace(*user, std::vector<CkxSid>{}, false);
  void* const handle = token ? token->Handle() : nullptr;
  if (!options.fileList.empty()) return EvalFileList(options, handle, judge, answers, streams);
  return options.pid ? EvalProcess(options, handle, judge, answers) : EvalFiles(options, handle, judge, answers);
}

void CheckStandardInput(const EvalOptions& options) {
  std::vector<std::string> paths = options.policies;
  paths.insert(paths.end(), {options.target, options.targets, options.fileList});
  KxInput_CheckStandardInput(paths);
}

/// A slip that would be told as a file that is missing.
void CheckExplain(const EvalOptions& options) {
  const bool isClose = std::find(options.policies.begin(), options.policies.end(), "close") != options.policies.end();
  std::error_code ignored;
  if (options.explain != "all" || !isClose || std::filesystem::exists("close", ignored)) return;
  throw CkxToolFault(EkxExit::UnusableArguments, "\"close\" is taken for a file here; did you mean --explain=close?");
}

EkxExplain ExplainOf(const std::string& word) {
  if (word.empty()) return EkxExplain::None;
  return word == "close" ? EkxExplain::Close : EkxExplain::All;
}

EkxExit Eval(EvalOptions options, SkxStreams& streams) {
  CheckStandardInput(options);
  CheckExplain(options);
  std::optional<CkxSid> user;
  if (!options.user.empty()) {
    user = CkxSid::FromUtf8(options.user);
    if (!user) throw CkxToolFault(EkxExit::UnusableArguments, "--user: \"" + options.user + "\" is no SID");
  }
  CkxAuthorNames names;
  std::optional<CkxImageSource> image;
  std::optional<CkxPolicySourceScope> scope;
  if (!options.policies.empty()) {
    CkxPolicySet set = KxPolicyInput_Open(options.policies, streams.in);
    if (!options.explain.empty()) names = KxPolicyInput_Names(set, streams.err);
    image.emplace(set.TakeImage());
    scope.emplace(*image);
  }
  options.wish = {ExplainOf(options.explain), &names};
  const CkxTrustInput trust(options.trust);
  const CkxSecretInput secrets(options.secrets, EkxUnnamedSecrets::Machines);
  Answers answers(options, streams);
  if (CkxDecisionSummary* const summary = answers.Summary()) {
    summary->AddPolicies(image ? image->Image() : KxImage_LoadLive());
  }
  const bool isImage = image && options.explain.empty();
  const CkxImageJudge judge(KxPolicySource_Current(), isImage ? EkxPrepare::WhenItPays : EkxPrepare::Never);
  const EkxExit code = !options.targets.empty()  ? EvalStream(options, user, judge, answers, streams)
                       : !options.target.empty() ? EvalDocument(options, user, judge, answers, streams)
                                                 : EvalLive(options, user, judge, answers, streams);
  answers.End();
  if (!answers.IsAnyUnanswered()) return code;
  streams.err << kWithoutAnAgent;
  return EkxExit::SystemRefused;
}

/// The table has its columns.
KxDecisionMembers MembersAskedFor(const EvalOptions& options) {
  if (options.format != "json") {
    throw CkxToolFault(EkxExit::UnusableArguments, "--brief and --fields need --format json");
  }
  try {
    return KxDecisionMembers_Of(options.fields);
  } catch (const CkxDocumentFault& fault) {
    throw CkxToolFault(EkxExit::UnusableArguments, "--fields: " + fault.Line());
  }
}

}  // namespace

KxVerbAction KxVerb_Eval(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<EvalOptions>();
  verb.Add("policies", options->policies,
           kKxPolicyInputHelp + std::string("; without any the policies in force on this machine"))
      .Path();
  const CkxVerbOptions what = verb.AddChoice("target", "What to evaluate");
  what.Add("--file", options->files, "Files on this machine; policies are named before").File();
  what.Add("--files", options->fileList, "The same, a path a line of this file, - for standard input").File();
  what.Add("--pid", options->pid, "A process on this machine, by its number");
  what.Add("--target", options->target, "One target document, - for standard input").File();
  what.Add("--targets", options->targets, "A stream of target documents, one a line, - for standard input").File();
  verb.Add("--user", options->user, "SID of the user to ask for, in place of the target's own").NotEmpty();
  options->trust.AddTo(verb);
  options->secrets.AddTo(verb);
  const CkxOption explain = verb.AddFlag("--explain{all}", options->explain,
                                         "Also say which policies were looked at and why each did not apply; "
                                         "--explain=close: only policies that apply or came close")
                                .OneOf({"all", "close"});
  const CkxOption summary =
      verb.AddFlag("--summary", options->summary, "In place of the answers how many targets each policy decided");
  summary.Excludes(explain);
  verb.AddFlag("--errors-ok", options->errorsOk, "Lines of a stream that cannot be used do not change the exit code");
  verb.Add("--format", options->format, "text (a table) or json (one object a line)").OneOf({"text", "json"});
  const CkxOption brief =
      verb.AddFlag("--brief", options->brief, "Of a JSON answer only whether a policy applies, which, and its action");
  const CkxOption fields =
      verb.Add("--fields", options->fields, "Of a JSON answer only these members, between commas").Excludes(brief);
  summary.Excludes(brief);
  summary.Excludes(fields);
  verb.Footer("Example: kxpolicy eval policies.jsonc --file setup.exe --explain");
  return [options, brief, fields](SkxStreams& streams) {
    if (brief.IsGiven() || fields.IsGiven()) options->members = MembersAskedFor(*options);
    return Eval(*options, streams);
  };
}
