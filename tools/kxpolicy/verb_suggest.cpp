// suggest: a policy document from files of this machine, or from targets that were seen.
#include <filesystem>
#include <nlohmann/json.hpp>
#include <ostream>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/nearest.h"
#include "Agent/engine/kx_publish/document/policy_document.h"
#include "Agent/engine/kx_publish/document/target_document.h"
#include "Agent/engine/kx_publish/suggest/suggestion.h"
#include "Common_CPP/util/counted.h"
#include "Common_CPP/util/error_words.h"
#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/input.h"
#include "tools/kxpolicy/live_target.h"
#include "tools/kxpolicy/output.h"
#include "tools/kxpolicy/policy_input.h"
#include "tools/kxpolicy/progress.h"
#include "tools/kxpolicy/tool.h"
#include "tools/kxpolicy/trust_input.h"

namespace {

struct SuggestOptions {
  std::vector<std::string> files;
  std::string targets;
  std::string folder;
  std::string document;
  std::string action = "run";
  bool errorsOk = false;
  SkxTrustOptions trust;
};

void AddFile(const std::string& file, CkxSuggestion& suggestion) {
  try {
    suggestion.Add(*KxLive_File(file, nullptr));
  } catch (const CkxDocumentFault& fault) {
    throw CkxToolFault(EkxExit::UnusableInput, file + ": " + fault.Line());
  }
}

/// Whatever is a program, a library, a script or a package by its name. Links lead elsewhere, and are not followed.
void AddFolder(const std::string& folder, CkxSuggestion& suggestion, SkxStreams& streams) {
  namespace fs = std::filesystem;
  CkxProgress progress(streams, "looked at");
  std::error_code error;
  uint64_t looked = 0;
  fs::recursive_directory_iterator entry(fs::path(std::u8string(folder.begin(), folder.end())), error);
  for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
    progress.At(++looked);
    const std::u8string name = entry->path().u8string();
    const std::string path(name.begin(), name.end());
    const std::optional<KxWString> text = KxText_FromUtf8(path);
    const bool isWanted = !text || CkxTargetInfoFile::TypeOfPath(*text) != EkxPolicyTarget::Invalid;
    std::error_code unknown;
    if (isWanted && fs::is_regular_file(entry->symlink_status(unknown))) AddFile(path, suggestion);
  }
  if (error) throw CkxToolFault(EkxExit::UnusableInput, folder + ": cannot be read: " + KxError_Words(error));
}

/// Returns how many lines could not be used, which is none unless that is fine.
size_t AddTargets(const SuggestOptions& options, CkxSuggestion& suggestion, SkxStreams& streams) {
  CkxInput input(options.targets, streams.in);
  CkxLineReader lines(input);
  CkxProgress progress(streams, "looked at", &input);
  size_t unusable = 0;
  for (std::string line; lines.Next(line);) {
    progress.At(lines.Number(), input.Taken());
    try {
      if (lines.TooLong()) throw CkxDocumentFault("", "the line is too long");
      suggestion.Add(CkxTargetDocument::Parse(line).Target());
    } catch (const CkxDocumentFault& fault) {
      if (!options.errorsOk) {
        throw CkxToolFault(EkxExit::UnusableInput, SkxLineFault(input.Name(), lines.Number(), fault).Text());
      }
      ++unusable;
    }
  }
  return unusable;
}

void WriteDocument(const SkxPublication& publication, const std::string& place, SkxStreams& streams) {
  nlohmann::ordered_json document;
  SkxDocumentError error;
  if (!KxPolicyDocument_Write(publication, document, error)) {
    throw CkxToolFault(EkxExit::UnusableInput, error.Text());
  }
  KxOutput_Write(place, document.dump(2) + "\n", streams);
  KxOutput_Tell(place, KxCounted(publication.policies.size(), "policy", "policies"), streams);
}

std::vector<std::string> UsableActions() {
  std::vector<std::string> actions;
  for (const SkxPolicyKind& kind : kKxPolicyKinds) {
    if (KxSuggestion_Kind(kind.key) != nullptr) actions.emplace_back(kind.key);
  }
  return actions;
}

EkxExit Suggest(const SuggestOptions& options, SkxStreams& streams) {
  const SkxPolicyKind* const kind = KxSuggestion_Kind(options.action.c_str());
  if (kind == nullptr) {
    throw CkxToolFault(EkxExit::UnusableArguments, "--action: \"" + options.action +
                                                       "\" is no action for programs that targets are enough for" +
                                                       KxNearest_Question(options.action, UsableActions()));
  }
  std::vector<std::string> read = options.files;
  read.push_back(options.targets);
  KxOutput_CheckPlace(options.document, read);
  const CkxTrustInput trust(options.trust);
  CkxSuggestion suggestion;
  size_t unusable = 0;
  for (const std::string& file : options.files) AddFile(file, suggestion);
  if (!options.folder.empty()) AddFolder(options.folder, suggestion, streams);
  if (!options.targets.empty()) unusable = AddTargets(options, suggestion, streams);
  const SkxPublication publication = suggestion.Publication(*kind);
  WriteDocument(publication, options.document, streams);
  if (publication.policies.empty()) {
    streams.err << "kxpolicy: nothing was found that a policy can be about, so the document has none\n";
  }
  if (suggestion.LeftOut() != 0) {
    streams.err << "kxpolicy: left out, since no rule tells them from others: " << suggestion.LeftOut() << '\n';
  }
  if (unusable != 0) streams.err << "kxpolicy: passed over, being no target documents: " << unusable << '\n';
  return EkxExit::Done;
}

}  // namespace

KxVerbAction KxVerb_Suggest(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<SuggestOptions>();
  const CkxVerbOptions from = verb.AddChoice("from", "What the policies are to be about");
  from.Add("--file", options->files, "A file on this machine; may be given several times").File().OneValueEach();
  from.Add("--folder", options->folder, "All programs, libraries, scripts and packages in it and below").Folder();
  from.Add("--targets", options->targets, "A stream of target documents, one a line, - for standard input").File();
  verb.Add("-o,--output", options->document, "The policy document, - for standard output").File().Required();
  verb.Add("--action", options->action, "What the policies do; run where nothing is said");
  verb.AddFlag("--errors-ok", options->errorsOk, "Lines that are no target documents are passed over");
  options->trust.AddTo(verb);
  verb.Footer("Example: kxpolicy events sysmon events.jsonl | kxpolicy suggest --targets - -o policies.json");
  return [options](SkxStreams& streams) { return Suggest(*options, streams); };
}
