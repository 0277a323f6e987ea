// The functions of the C interface. Each checks what it is handed, and hands on.
#include <kx_policy.h>
#include <kx_publish/policy_check.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_policy/entry.h"
#include "Agent/engine/kx_policy/evaluation_options.h"
#include "Agent/engine/kx_policy/opened_policies.h"
#include "Agent/engine/kx_publish/decision/fault_answer.h"
#include "Agent/engine/kx_publish/document/target_document.h"
#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Agent/engine/kx_publish/program/live_target.h"
#include "Common_CPP/util/text.h"

namespace {

/// More than any policy document needs.
constexpr size_t kMaxDocumentBytes = size_t{256} << 20;

/// More than any target document needs, and what a line of a stream may have.
constexpr size_t kMaxTargetBytes = size_t{16} << 20;

KxWString PathOf(const char* path, const char* what) {
  if (path == nullptr) throw CkxPolicyEntryFault(KX_POLICY_ARGUMENT, std::string(what) + " is NULL");
  std::optional<KxWString> text = KxText_FromUtf8(path);
  if (!text || text->empty()) throw CkxPolicyEntryFault(KX_POLICY_ARGUMENT, std::string(what) + " is no path in UTF-8");
  return *std::move(text);
}

std::vector<SkxDocumentText> TextsOf(const kx_policy_document* documents, size_t count) {
  KxPolicyEntry_Require(documents != nullptr && count != 0, "there are no documents");
  std::vector<SkxDocumentText> texts;
  for (size_t i = 0; i < count; ++i) {
    const kx_policy_document& document = documents[i];
    KxPolicyEntry_Require(document.name != nullptr && document.text != nullptr, "a document's name or text is NULL");
    KxPolicyEntry_Require(KxText_FromUtf8(document.name).has_value(), "a document's name is not UTF-8");
    if (document.size > kMaxDocumentBytes) {
      throw CkxPolicyEntryFault(KX_POLICY_INPUT, std::string(document.name) + ": is too large");
    }
    texts.push_back({document.name, std::string(document.text, document.size)});
  }
  return texts;
}

[[noreturn]] void Refuse(const SkxDocumentError& fault) { throw CkxPolicyEntryFault(KX_POLICY_INPUT, fault.Text()); }

CkxPolicySet OpenFolder(const KxWString& folder) {
  std::string error;
  std::optional<CkxPolicySet> set = CkxPolicySet::FromFolder(folder, error);
  if (!set) throw CkxPolicyEntryFault(KX_POLICY_INPUT, error);
  return *std::move(set);
}

CkxPolicySet OpenDocuments(const std::vector<SkxDocumentText>& texts) {
  SkxDocumentError fault;
  std::optional<CkxPolicySet> set = CkxPolicySet::FromDocuments(texts, fault);
  if (!set) Refuse(fault);
  return *std::move(set);
}

/// What a function that opens policies is made of.
template <class Open>
int Opened(kx_policies** policies, char** error, Open open) {
  if (policies != nullptr) *policies = nullptr;
  return KxPolicyEntry(error, [&] {
    KxPolicyEntry_Require(policies != nullptr, "there is nowhere to put the policies");
    *policies = open().release();
    return KX_POLICY_OK;
  });
}

int StatusOf(const SkxDecision& decision) {
  if (!decision.error.empty()) return KX_POLICY_UNANSWERED;
  return decision.matched ? KX_POLICY_OK : KX_POLICY_NONE;
}

int Answer(const SkxDecision& decision, const SkxEvaluationOptions& options, char** answer, char** error) {
  KxPolicyEntry_HandOut(KxDecision_ToJson(decision, options.members), answer);
  if (!decision.error.empty()) KxPolicyEntry_Tell(decision.error, error);
  return StatusOf(decision);
}

int AnswerDocument(const kx_policies& policies, std::string_view text, const SkxEvaluationOptions& options,
                   char** answer, char** error) {
  const bool isTooLong = text.size() > kMaxTargetBytes;
  try {
    if (isTooLong) throw CkxDocumentFault("", "the document is too long");
    const CkxTargetDocument document = CkxTargetDocument::Parse(text, options.user);
    return Answer(policies.Judge(document, options.explain), options, answer, error);
  } catch (const CkxDocumentFault& fault) {
    const std::string line = fault.Line();
    KxPolicyEntry_HandOut(KxFaultAnswer_Of(isTooLong ? std::string_view() : text, line), answer);
    return KxPolicyEntry_Fail(KX_POLICY_INPUT, line, error);
  }
}

int AnswerFile(const kx_policies& policies, const char* path, const SkxEvaluationOptions& options, char** answer,
               char** error) {
  std::optional<CkxAccessToken> token;
  if (options.user) token.emplace(*options.user, std::vector<CkxSid>{}, false);
  std::string fault;
  const CkxTargetInfoPtr target = KxLiveTarget_File(path, token ? token->Handle() : nullptr, fault);
  if (target == nullptr) throw CkxPolicyEntryFault(KX_POLICY_INPUT, fault);
  SkxDecision decision = policies.Judge(*target, options.explain);
  decision.idJson = nlohmann::json(path).dump();
  return Answer(decision, options, answer, error);
}

/// The next line of `lines`, which loses it; without its end.
std::string_view TakeLine(std::string_view& lines) {
  const size_t end = lines.find('\n');
  std::string_view line = lines.substr(0, end);
  lines.remove_prefix(end == std::string_view::npos ? lines.size() : end + 1);
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

void Count(const kx_policies& policies, std::string_view line, const SkxEvaluationOptions& options,
           CkxDecisionSummary& summary) {
  try {
    if (line.size() > kMaxTargetBytes) throw CkxDocumentFault("", "the document is too long");
    summary.Count(policies.Judge(CkxTargetDocument::Parse(line, options.user), EkxExplain::None));
  } catch (const CkxDocumentFault&) {
    summary.CountUnusable();
  }
}

CkxDecisionSummary Summarized(const kx_policies& policies, std::string_view lines, const SkxEvaluationOptions& options,
                              const char* before) {
  CkxDecisionSummary summary = policies.EmptySummary();
  if (before != nullptr) {
    try {
      summary.Add(CkxJsonDocument(before, false).Root());
    } catch (const CkxDocumentFault& fault) {
      throw CkxPolicyEntryFault(KX_POLICY_INPUT, "the summary before: " + fault.Line());
    }
  }
  while (!lines.empty()) {
    const std::string_view line = TakeLine(lines);
    if (line.find_first_not_of(" \t") != std::string_view::npos) Count(policies, line, options, summary);
  }
  return summary;
}

std::string LinesOf(const std::vector<SkxCheckFinding>& findings) {
  std::string lines;
  for (const SkxCheckFinding& finding : findings) lines.append(finding.ToJson()).append("\n");
  return lines;
}

/// What a function that evaluates is made of.
template <class Evaluate>
int Evaluated(const kx_policies* policies, const kx_policy_options* given, char** answer, char** error,
              Evaluate evaluate) {
  if (answer != nullptr) *answer = nullptr;
  return KxPolicyEntry(error, [&] {
    KxPolicyEntry_Require(policies != nullptr, "policies is NULL");
    KxPolicyEntry_Require(answer != nullptr, "there is nowhere to put the answer");
    return evaluate(SkxEvaluationOptions::Of(given));
  });
}

}  // namespace

const char* kx_policy_version() { return KX_VERSION; }

const char* kx_policy_status_text(int status) {
  switch (status) {
    case KX_POLICY_OK:
      return "done";
    case KX_POLICY_NONE:
      return "no policy applies";
    case KX_POLICY_FAULTY:
      return "something is wrong in the documents";
    case KX_POLICY_ARGUMENT:
      return "an argument cannot be used";
    case KX_POLICY_INPUT:
      return "a document, a folder or a file cannot be used";
    case KX_POLICY_UNANSWERED:
      return "the question could not be asked";
    case KX_POLICY_REFUSED:
      return "the system refused";
    case KX_POLICY_NO_MEMORY:
      return "out of memory";
    case KX_POLICY_INTERNAL:
      return "a mistake of the library";
    default:
      return "no status";
  }
}

int kx_policy_open_image(const char* folder, kx_policies** policies, char** error) {
  return Opened(policies, error,
                [&] { return std::make_unique<kx_policies>(OpenFolder(PathOf(folder, "the folder"))); });
}

int kx_policy_open_documents(const kx_policy_document* documents, size_t count, kx_policies** policies, char** error) {
  return Opened(policies, error,
                [&] { return std::make_unique<kx_policies>(OpenDocuments(TextsOf(documents, count))); });
}

int kx_policy_open_live(kx_policies** policies, char** error) {
  return Opened(policies, error, [] { return std::make_unique<kx_policies>(); });
}

int kx_policy_evaluate(const kx_policies* policies, const char* target, size_t size, const kx_policy_options* options,
                       char** answer, char** error) {
  return Evaluated(policies, options, answer, error, [&](const SkxEvaluationOptions& checked) {
    KxPolicyEntry_Require(target != nullptr, "the target is NULL");
    return AnswerDocument(*policies, {target, size}, checked, answer, error);
  });
}

int kx_policy_evaluate_file(const kx_policies* policies, const char* path, const kx_policy_options* options,
                            char** answer, char** error) {
  return Evaluated(policies, options, answer, error, [&](const SkxEvaluationOptions& checked) {
    PathOf(path, "the path");
    return AnswerFile(*policies, path, checked, answer, error);
  });
}

int kx_policy_summarize(const kx_policies* policies, const char* targets, size_t size, const kx_policy_options* options,
                        const char* before, char** summary, char** error) {
  return Evaluated(policies, options, summary, error, [&](const SkxEvaluationOptions& checked) {
    KxPolicyEntry_Require(targets != nullptr, "targets is NULL");
    KxPolicyEntry_HandOut(Summarized(*policies, {targets, size}, checked, before).ToJson(), summary);
    return KX_POLICY_OK;
  });
}

int kx_policy_compile(const kx_policy_document* documents, size_t count, const char* folder, char** error) {
  return KxPolicyEntry(error, [&] {
    const KxWString place = PathOf(folder, "the folder");
    const CkxPolicySet set = OpenDocuments(TextsOf(documents, count));
    std::string refusal;
    if (!KxPolicyImage_Write(place, set.Image(), refusal)) throw CkxPolicyEntryFault(KX_POLICY_REFUSED, refusal);
    return KX_POLICY_OK;
  });
}

int kx_policy_check(const kx_policy_document* documents, size_t count, char** findings, char** error) {
  if (findings != nullptr) *findings = nullptr;
  return KxPolicyEntry(error, [&] {
    KxPolicyEntry_Require(findings != nullptr, "there is nowhere to put the findings");
    const std::vector<SkxCheckFinding> found = KxPolicies_Check(TextsOf(documents, count));
    if (!found.empty()) KxPolicyEntry_HandOut(LinesOf(found), findings);
    const bool isFaulty = std::any_of(found.begin(), found.end(), [](const auto& finding) { return finding.isError; });
    return isFaulty ? KX_POLICY_FAULTY : KX_POLICY_OK;
  });
}

void kx_policy_close(kx_policies* policies) { const std::unique_ptr<kx_policies> closed(policies); }

void kx_policy_free(char* text) { const std::unique_ptr<char[]> freed(text); }
